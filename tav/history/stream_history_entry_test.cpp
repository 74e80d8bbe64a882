#include "tav/history/stream_history_entry.hpp"

#include <gtest/gtest.h>

#include "tav/history/stream_history_migrator.hpp"

namespace tav {
namespace {

using Entry = StreamHistoryEntry;
using Kind = Entry::ConnectionEvent::Kind;

Entry::Destination destination(std::vector<Kind> kinds) {
  Entry::Destination d;
  d.platform = Entry::Platform::twitch;
  d.accountID = "acc";
  d.displayName = "Me";
  for (std::size_t i = 0; i < kinds.size(); ++i) d.connectionEvents.push_back({Date{double(i)}, kinds[i]});
  return d;
}

Entry fullEntry() {
  Entry e;
  e.id = *Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  e.dateStarted = Date{700000000};
  e.dateEnded = Date{700003600.5};
  e.title = "Friday";
  e.category = "Music";
  auto d = destination({Kind::connected, Kind::ended});
  d.externalURL = Url::parse("https://twitch.tv/me");
  d.peakViewers = 40;
  d.endpoint = Entry::Endpoint{"rtmp://live.example/app", "abcd"};
  d.bitrateSamples = {{Date{700000010}, 6000}};
  e.destinations = {d};
  e.viewerSamples = {Entry::ViewerSample::make(Date{700000060}, {{Entry::Platform::twitch, 12}})};
  e.chatRateSamples = {{Date{700000060}, 30}};
  e.moments = {{Date{700000100}, Entry::Moment::Kind::titleChange, Entry::Platform::twitch, "New title", std::nullopt}};
  e.topChatters = {{"fan", Entry::Platform::kick, 12, Entry::TopChatter::Role::vip}};
  e.topEmotes = {{"Kappa", Entry::Platform::twitch, 3, "25"}};
  e.output = Entry::Output{1920, 1080, 30, std::nullopt};
  return e;
}

TEST(StreamHistoryEntry, WritesExactKeysInOrderAndReadsBack) {
  const Entry entry = fullEntry();
  const std::string json = encodeJson(entry);
  EXPECT_EQ(json,
            R"({"schemaVersion":2,"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","dateStarted":700000000,)"
            R"("dateEnded":700003600.5,"title":"Friday","category":"Music","destinations":[{"platform":"twitch",)"
            R"("accountID":"acc","displayName":"Me","externalURL":"https://twitch.tv/me","peakViewers":40,)"
            R"("endpoint":{"serverAddress":"rtmp://live.example/app","streamKeyTail":"abcd"},)"
            R"("bitrateSamples":[{"t":700000010,"kbps":6000}],"connectionEvents":[{"t":0,"kind":"connected"},)"
            R"({"t":1,"kind":"ended"}]}],"viewerSamples":[{"t":700000060,"counts":{"twitch":12}}],)"
            R"("chatRateSamples":[{"t":700000060,"messagesPerMin":30}],"moments":[{"t":700000100,)"
            R"("kind":"titlechange","platform":"twitch","label":"New title"}],"topChatters":[{"name":"fan",)"
            R"("platform":"kick","messageCount":12,"role":"vip"}],"topEmotes":[{"name":"Kappa","platform":"twitch",)"
            R"("count":3,"id":"25"}],"output":{"width":1920,"height":1080,"frameRate":30}})");
  const Entry back = decodeJson<Entry>(json);
  EXPECT_EQ(back, entry);
  EXPECT_EQ(std::hash<Entry>()(back), std::hash<Entry>()(entry));
  Entry other = entry;
  other.destinations[0].subsAtEnd = 1;
  EXPECT_NE(other, entry);
  EXPECT_NE(std::hash<Entry>()(other), std::hash<Entry>()(entry));
  EXPECT_EQ(StreamHistoryMigrator::migrate(entry), entry);
}

TEST(StreamHistoryEntry, OlderAndForeignDocumentsReadByTheirRules) {
  const std::string base =
      R"({"schemaVersion":1,"id":"e621e1f8-c36c-495a-93fc-0c247a3e6e5f","dateStarted":1,"dateEnded":2,"title":"T",)"
      R"("viewerSamples":[{"t":1,"counts":{"tiktok":5,"kick":2}}],"chatRateSamples":[],"moments":[],"topChatters":[],)"
      R"("topEmotes":[],"destinations":[{"platform":"kick","accountID":"a","displayName":"A"},)"
      R"({"platform":"youtube","accountID":"b","displayName":"B","connectionEvents":[{"t":1,"kind":"connected"},)"
      R"({"t":2,"kind":"reconnecting"},{"t":3,"kind":"failed"}]}]})";
  const Entry entry = StreamHistoryMigrator::migrate(decodeJson<Entry>(base));
  EXPECT_EQ(entry.schemaVersion, 1);
  EXPECT_TRUE(entry.destinations[0].bitrateSamples.empty());
  EXPECT_TRUE(entry.destinations[0].connectionEvents.empty());
  ASSERT_EQ(entry.destinations[1].connectionEvents.size(), 2u);
  EXPECT_EQ(entry.destinations[1].connectionEvents[1].kind, Kind::failed);
  EXPECT_EQ(entry.viewerSamples[0][Entry::Platform::kick], 2);
  EXPECT_FALSE(entry.viewerSamples[0][Entry::Platform::youtube]);
  const std::string written = encodeJson(entry);
  EXPECT_NE(written.find(R"("counts":{"kick":2,"tiktok":5})"), std::string::npos);
  EXPECT_NE(written.find(R"("displayName":"A","bitrateSamples":[],"connectionEvents":[]})"), std::string::npos);
  EXPECT_EQ(std::tuple(written.find("category"), written.find("null")),
            std::tuple(std::string::npos, std::string::npos));

  struct Bad {
    std::string from, to, path;
  };
  for (const Bad& bad : std::vector<Bad>{
           {R"("title":"T",)", "", "title"},
           {R"("platform":"kick")", R"("platform":"tiktok")", "destinations[0].platform"},
           {R"({"t":2,"kind":"reconnecting"})", R"({"t":2})", "destinations[1].connectionEvents[1].kind"},
           {R"("moments":[])", R"("moments":[{"t":1,"kind":"boom","label":"x"}])", "moments[0].kind"},
           {R"("dateStarted":1)", R"("dateStarted":"yesterday")", "dateStarted"},
       }) {
    std::string text = base;
    text.replace(text.find(bad.from), bad.from.size(), bad.to);
    try {
      decodeJson<Entry>(text);
      ADD_FAILURE() << bad.path;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), bad.path);
    }
  }
}

TEST(StreamHistoryEntry, EveryDestinationFailed) {
  Entry entry;
  EXPECT_FALSE(entry.endedWithEveryDestinationFailed());
  entry.destinations = {destination({Kind::connected, Kind::failed}), destination({Kind::failed})};
  EXPECT_TRUE(entry.endedWithEveryDestinationFailed());
  entry.destinations[1] = destination({Kind::failed, Kind::ended});
  EXPECT_FALSE(entry.endedWithEveryDestinationFailed());
  entry.destinations[1] = destination({});
  EXPECT_FALSE(entry.endedWithEveryDestinationFailed());
}

TEST(StreamHistoryEntry, EndpointKeepsNoSecrets) {
  struct Case {
    std::string address, key, expectedAddress, expectedTail;
  };
  for (const Case& c : std::vector<Case>{
           {"rtmp://live.example/app", "ab", "rtmp://live.example/app", "ab"},
           {"rtmps://user:pw@live.example:443/app/x?token=1", "live_123456789", "rtmps://live.example:443/app/x", "6789"},
           {"not a url at all", "1234", "not a url at all", "1234"},
           {"rtmp://LIVE.example//app", "k", "rtmp://LIVE.example//app", "k"},
       }) {
    const auto endpoint = Entry::Endpoint::fromFullStreamKey(c.address, c.key);
    EXPECT_EQ(std::tie(endpoint.serverAddress, endpoint.streamKeyTail), std::tie(c.expectedAddress, c.expectedTail));
  }
}

TEST(StreamHistoryEntry, EmoteImageUrls) {
  Entry::TopEmote emote{"e", Entry::Platform::twitch, 1, "emotesv2_abc-1"};
  EXPECT_EQ(emote.imageURL()->absoluteString(),
            "https://static-cdn.jtvnw.net/emoticons/v2/emotesv2_abc-1/default/dark/2.0");
  emote.platform = Entry::Platform::kick;
  EXPECT_EQ(emote.imageURL()->absoluteString(), "https://files.kick.com/emotes/emotesv2_abc-1/fullsize");
  emote.platform = Entry::Platform::youtube;
  EXPECT_FALSE(emote.imageURL());
  for (const char* id : {"a/b", "", "a b", "é"}) {
    emote = {"e", Entry::Platform::twitch, 1, id};
    EXPECT_FALSE(emote.imageURL()) << id;
  }
  EXPECT_TRUE(isKeyBased(Entry::Platform::instagram));
  EXPECT_FALSE(isKeyBased(Entry::Platform::youtube));
  EXPECT_TRUE(isOnAir(Kind::recovered));
  EXPECT_FALSE(isOnAir(Kind::lost));
}

}  // namespace
}  // namespace tav
