#include "tav/foundation/codable_user_default.hpp"

#include <gtest/gtest.h>

#include "tav/contracts/uuid.hpp"

namespace tav {
namespace {

struct RecordingPreset {
  std::string name;
  int bitrate = 0;
  friend bool operator==(const RecordingPreset&, const RecordingPreset&) = default;
};

}  // namespace

template <>
struct JsonCoder<RecordingPreset> {
  static RecordingPreset decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader reader(json, path);
    return {reader.required<std::string>("name"), reader.required<int>("bitrate")};
  }
  static void encode(JsonWriter& w, const RecordingPreset& v) {
    w.beginObject();
    w.field("name", v.name);
    w.field("bitrate", v.bitrate);
    w.endObject();
  }
};

namespace {

TEST(CodableUserDefault, RecordIsStoredAsJsonAndReadBack) {
  auto store = std::make_shared<InMemoryUserDefaults>();
  CodableUserDefault<RecordingPreset> preset("RECORDING_PRESET", {"Default", 6000}, store);
  EXPECT_EQ(preset.get(), (RecordingPreset{"Default", 6000}));
  preset.set({"High", 12000});
  EXPECT_EQ(store->value("RECORDING_PRESET"), decodeJson<AnyCodable>(R"({"name":"High","bitrate":12000})"));
  EXPECT_EQ(CodableUserDefault<RecordingPreset>("RECORDING_PRESET", {}, store).get(),
            (RecordingPreset{"High", 12000}));
}

TEST(CodableUserDefault, UnreadableStoredValueGivesTheDefault) {
  auto store = std::make_shared<InMemoryUserDefaults>();
  store->set("RECORDING_PRESET", decodeJson<AnyCodable>(R"({"name":"Old"})"));
  store->set("LAST_ID", JsonValue("not a uuid"));
  EXPECT_EQ(CodableUserDefault<RecordingPreset>("RECORDING_PRESET", {"Default", 1}, store).get(),
            (RecordingPreset{"Default", 1}));
  Uuid fallback = *Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  EXPECT_EQ(CodableUserDefault<Uuid>("LAST_ID", fallback, store).get(), fallback);
}

TEST(CodableUserDefault, OptionalIsStoredAsPresentOrAbsent) {
  auto store = std::make_shared<InMemoryUserDefaults>();
  CodableUserDefault<std::optional<RecordingPreset>> preset("PRESET", std::nullopt, store);
  EXPECT_EQ(preset.get(), std::nullopt);
  preset.set(RecordingPreset{"Mine", 8000});
  EXPECT_EQ(preset.get(), (RecordingPreset{"Mine", 8000}));
  preset.set(std::nullopt);
  EXPECT_FALSE(store->value("PRESET").has_value());

  // With a default, a removed key reads as the default again; a stored null reads as empty.
  CodableUserDefault<std::optional<std::string>> name("NAME", "Studio", store);
  EXPECT_EQ(name.get(), "Studio");
  store->set("NAME", JsonValue(nullptr));
  EXPECT_EQ(name.get(), std::nullopt);
}

class CountingDefaults final : public UserDefaults {
 public:
  std::optional<JsonValue> value(std::string_view key) const override { return inner.value(key); }
  bool synchronize() override {
    ++synchronizations;
    return true;
  }
  int synchronizations = 0;

 protected:
  void store(std::string_view key, const JsonValue& v) override { inner.set(key, v); }
  void erase(std::string_view key) override { inner.remove(key); }

 private:
  InMemoryUserDefaults inner;
};

TEST(CodableUserDefault, SynchronizesOnlyWhenAsked) {
  auto store = std::make_shared<CountingDefaults>();
  UserDefault<bool>("A", false, store).set(true);
  EXPECT_EQ(store->synchronizations, 0);
  UserDefault<bool>("A", false, store, true).set(false);
  EXPECT_EQ(store->synchronizations, 1);
}

TEST(UserDefault, PlainValuesReadLenientlyAcrossNumberForms) {
  auto store = std::make_shared<InMemoryUserDefaults>();
  UserDefault<std::vector<std::string>> locations("CUSTOM_RECORDING_LOCATIONS", {}, store);
  locations.set({"/a", "/b"});
  EXPECT_EQ(locations.get(), (std::vector<std::string>{"/a", "/b"}));

  store->set("FPS", JsonValue(30.0));
  EXPECT_EQ(UserDefault<int>("FPS", 60, store).get(), 30);
  store->set("SCALE", JsonValue(2));
  EXPECT_EQ(UserDefault<double>("SCALE", 1.0, store).get(), 2.0);
  store->set("BIG", JsonValue(std::int64_t{1} << 40));
  EXPECT_EQ(UserDefault<std::int64_t>("BIG", 0, store).get(), std::int64_t{1} << 40);
  EXPECT_EQ(UserDefault<int>("BIG", 7, store).get(), 7);  // out of range for int

  store->set("FLAG", JsonValue("yes"));
  EXPECT_TRUE(UserDefault<bool>("FLAG", true, store).get());
  EXPECT_EQ(UserDefault<std::string>("MISSING", "none", store).get(), "none");
}

TEST(UserDefault, DefaultStoreIsTheStandardOne) {
  auto installed = std::make_shared<InMemoryUserDefaults>();
  std::shared_ptr<UserDefaults> before = UserDefaults::standard();
  UserDefaults::setStandard(installed);
  UserDefault<std::string>("LAST_PROFILE", "").set("1080p");
  EXPECT_EQ(installed->value("LAST_PROFILE"), JsonValue("1080p"));
  UserDefaults::setStandard(before);
}

}  // namespace
}  // namespace tav
