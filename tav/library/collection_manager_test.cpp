#include "tav/library/collection_manager.hpp"

#include <gtest/gtest.h>

#include "tav/contracts/json_parser.hpp"

namespace tav {
namespace {

class FakeProvider final : public LibraryCollectionProvider {
 public:
  std::vector<std::string> items{"s1", "s2", "s3"};
  std::vector<std::string> objects() const override { return items; }
  void reorder(std::size_t at, std::size_t to) override { moveElement(items, at, to); }
};

struct Posted {
  std::string name;
  NotificationUserInfo info;
};

class CollectionManagerTest : public ::testing::Test {
 protected:
  CollectionManager make(ObjectCollectionType type = ObjectCollectionType::scene) {
    return CollectionManager(type, provider, defaults, center);
  }
  void listen(ObjectCollectionType type = ObjectCollectionType::scene) {
    for (const std::string& name : {collectionsUpdatedNotificationName(type), selectedCollectionChangedNotificationName(type)}) {
      tokens.push_back(center.observe(name, [this](const Notification& n) { posted.push_back({n.name, n.userInfo}); }));
    }
  }
  std::string infoText(std::size_t i, const char* key) const {
    auto it = posted.at(i).info.find(key);
    return it == posted.at(i).info.end() ? "<none>" : std::any_cast<std::string>(it->second);
  }

  std::shared_ptr<FakeProvider> provider = std::make_shared<FakeProvider>();
  std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
  NotificationCenter center;
  std::vector<NotificationObservation> tokens;
  std::vector<Posted> posted;
};

TEST(CollectionType, KeysNamesAndOneKeyJson) {
  EXPECT_EQ(key(ObjectCollectionType::filter), "FILTERS");
  EXPECT_EQ(previousFavouritesKey(ObjectCollectionType::scene), "FavouriteOverlays");
  EXPECT_EQ(previousCollectionsKey(ObjectCollectionType::filter), "ColourFilterCollections");
  EXPECT_FALSE(previousCollectionsKey(ObjectCollectionType::background));
  EXPECT_EQ(selectedCollectionChangedNotificationName(ObjectCollectionType::background),
            "Tavo.Mac.App.BACKGROUNDS.SelectedCollectionChangedNotification.Name");
  EXPECT_EQ(objectsChangedNotificationName(ObjectCollectionType::scene), "Tavo.Mac.App.SCENES.ObjectsChangedNotification.Name");
  EXPECT_EQ(imageName(CollectionType::all), "square.grid.2x2");
  EXPECT_EQ(imageName(CollectionType::templates), "folder");

  EXPECT_EQ(encodeJson(CollectionType::custom), R"({"custom":{}})");
  EXPECT_EQ(decodeJson<CollectionType>(R"({"templates":{},"later":1})"), CollectionType::templates);
  for (const char* bad : {R"({})", R"({"custom":{},"all":{}})", R"({"somethingNew":{}})"}) {
    try {
      decodeJson<CollectionType>(bad);
      ADD_FAILURE() << bad;
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.reason(), "Invalid number of keys found, expected one.") << bad;
    }
  }
  EXPECT_THROW(decodeJson<CollectionType>(R"({"custom":1})"), DecodingError);
}

TEST(ObjectCollection, JsonRoundTripAndReorder) {
  auto collection = ObjectCollection::memberwise("C1", "Mine", {"a", "b", "c", "d"}, CollectionType::custom);
  EXPECT_EQ(encodeJson(collection), R"({"id":"C1","title":"Mine","_objects":["a","b","c","d"],"type":{"custom":{}}})");
  EXPECT_EQ(decodeJson<ObjectCollection>(encodeJson(collection)), collection);
  EXPECT_THROW(decodeJson<ObjectCollection>(R"({"id":"C1","title":"Mine","type":{"custom":{}}})"), DecodingError);

  collection.reorder(0, 2);
  EXPECT_EQ(collection.objects(), (std::vector<std::string>{"b", "c", "a", "d"}));
  EXPECT_NE(std::hash<ObjectCollection>()(collection),
            std::hash<ObjectCollection>()(ObjectCollection::memberwise("C1", "Mine", {"a", "b", "c", "d"}, CollectionType::custom)));
  EXPECT_EQ(ObjectCollection().id().size(), 36u);
}

TEST_F(CollectionManagerTest, CreateAddRemoveAndTheirNotifications) {
  auto manager = make();
  listen();
  const auto created = manager.createCollection("Intros");
  EXPECT_EQ(created.type(), CollectionType::custom);
  manager.add("x", created.id());
  manager.add("x", created.id());  // already there: unchanged, still announced
  manager.remove("x", FavouriteCollection::favouritesID(ObjectCollectionType::scene));  // not a stored collection
  manager.add("f", "FAVOURITE_SCENES");
  manager.addToFavourites("f");
  manager.removeFromFavourites("f");

  ASSERT_EQ(manager.collections().size(), 1u);
  EXPECT_EQ(manager.collections()[0].objects(), std::vector<std::string>{"x"});
  EXPECT_TRUE(manager.favourites().empty());
  ASSERT_EQ(posted.size(), 6u);
  EXPECT_EQ(posted[0].name, "Tavo.Mac.App.SCENES.CollectionsUpdatedNotification.Name");
  EXPECT_EQ(infoText(0, "id"), created.id());
  EXPECT_EQ(infoText(1, "id"), "<none>");
  EXPECT_TRUE(posted[2].info.empty());
  EXPECT_EQ((std::vector{infoText(3, "added"), infoText(4, "added"), infoText(5, "removed")}), std::vector<std::string>(3, "f"));

  manager.rename(created.id(), "Outros");
  manager.rename("unknown", "Nope");
  EXPECT_EQ(manager.collections()[0].title(), "Outros");
  manager.delete_(created);
  EXPECT_TRUE(manager.collections().empty());
  EXPECT_EQ(infoText(posted.size() - 1, "id"), created.id());
}

TEST_F(CollectionManagerTest, ClearStaleWritesOnlyWhatChangesAndPostsNothing) {
  auto manager = make();
  const auto a = manager.createCollection("A");
  manager.add("x", a.id());
  manager.add("y", a.id());
  manager.addToFavourites("x");
  listen();
  manager.clearStale("x");
  EXPECT_EQ(manager.collections()[0].objects(), std::vector<std::string>{"y"});
  EXPECT_TRUE(manager.favourites().empty());
  manager.clearStale("y", a.id());
  EXPECT_TRUE(manager.collections()[0].objects().empty());
  EXPECT_TRUE(posted.empty());
  manager.addToFavourites("z");
  manager.clearStale("z", "FAVOURITE_SCENES");
  EXPECT_TRUE(manager.favourites().empty());
}

TEST_F(CollectionManagerTest, StoredValuesReadLeniently) {
  auto manager = make(ObjectCollectionType::filter);
  defaults->set("FAVOURITES_FILTERS", parseJson(R"(["a", 1])"));
  defaults->set("COLLECTIONS_FILTERS", parseJson(R"([{"id":"C"}])"));
  EXPECT_TRUE(manager.favourites().empty());
  EXPECT_TRUE(manager.collections().empty());
  defaults->set("COLLECTIONS_FILTERS", JsonValue(R"([{"id":"C","title":"T","_objects":[],"type":{"templates":{}}}])"));
  ASSERT_EQ(manager.collections().size(), 1u);
  EXPECT_EQ(manager.collections()[0].type(), CollectionType::templates);
}

TEST_F(CollectionManagerTest, SelectionDataSourceAndStepping) {
  auto manager = make();
  listen();
  EXPECT_EQ(manager.dataSource().size(), 2u);
  EXPECT_EQ(manager.selectedCollection()->id(), "LIBRARY_COLLECTION");
  EXPECT_EQ(manager.selectedCollection()->title(), "All");
  EXPECT_EQ(manager.favouriteCollection().title(), "Favourites");

  provider->items.clear();
  manager.nextCollection(true);  // library and favourites both empty
  EXPECT_EQ(manager.selectedCollectionID(), std::nullopt);
  EXPECT_TRUE(posted.empty());

  provider->items = {"s1"};
  auto templates = ObjectCollection::memberwise("T", "Templates", {"s1"}, CollectionType::templates);
  auto custom = manager.createCollection("Custom");
  manager.setCollections({templates, custom});
  posted.clear();
  // One active collection, the library: favourites and custom are empty.
  EXPECT_EQ(std::tuple(manager.dataSource().size(), manager.activeCollections().size()), std::tuple(4u, 1u));

  manager.nextCollection(false);
  EXPECT_EQ(manager.selectedCollectionID(), "FAVOURITE_SCENES");
  manager.nextCollection(false);  // skips the templates
  EXPECT_EQ(manager.selectedCollectionID(), custom.id());
  manager.nextCollection(false);  // wraps to the library
  EXPECT_EQ(manager.selectedCollectionID(), "LIBRARY_COLLECTION");
  manager.previousCollection(false);
  EXPECT_EQ(manager.selectedCollectionID(), custom.id());
  manager.setSelectedCollectionID(custom.id());  // equal: nothing posted
  EXPECT_EQ(posted.size(), 4u);
  EXPECT_EQ(posted[0].name, "Tavo.Mac.App.SCENES.SelectedCollectionChangedNotification.Name");

  manager.setSelectedCollectionID("stale");
  manager.nextCollection(false);  // a stale id counts as the library, so the next is the favourites
  EXPECT_EQ(manager.selectedCollectionID(), "FAVOURITE_SCENES");
}

TEST_F(CollectionManagerTest, ReorderFollowsTheSelectedCollection) {
  auto manager = make();
  manager.reorder(std::string("s1"), 2);
  EXPECT_EQ(provider->items, (std::vector<std::string>{"s2", "s3", "s1"}));

  manager.addToFavourites("a");
  manager.addToFavourites("b");
  manager.setSelectedCollectionID("FAVOURITE_SCENES");
  listen();
  manager.reorder(0, 1);
  EXPECT_EQ(manager.favourites(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(posted.size(), 1u);

  auto custom = manager.createCollection("C");
  for (const char* item : {"a", "b", "c", "d"}) manager.add(item, custom.id());
  manager.setSelectedCollectionID(custom.id());
  manager.addToSelected("e");
  manager.reorder(0, 2);
  EXPECT_EQ(manager.collections()[0].objects(), (std::vector<std::string>{"b", "c", "a", "d", "e"}));
}

TEST_F(CollectionManagerTest, MigrationRunsOncePerKindAndNeverForBackgrounds) {
  defaults->set("FavouriteOverlays", parseJson(R"(["f1","f2"])"));
  defaults->set("OverlayCollections",
                parseJson(R"([{"id":"OLD","title":"Old","_objects":["o1","o2"],"type":{"custom":{}}}])"));
  auto scenes = make();
  scenes.migrateCollections();
  scenes.migrateCollections();
  EXPECT_EQ(scenes.favourites(), (std::vector<std::string>{"f1", "f2"}));
  ASSERT_EQ(scenes.collections().size(), 1u);
  EXPECT_EQ(scenes.collections()[0].title(), "Old");
  EXPECT_NE(scenes.collections()[0].id(), "OLD");
  EXPECT_EQ(scenes.collections()[0].objects(), (std::vector<std::string>{"o1", "o2"}));
  EXPECT_EQ(defaults->value("MigratedCollections_SCENES"), JsonValue(true));
  EXPECT_TRUE(defaults->value("FavouriteOverlays"));

  auto backgrounds = make(ObjectCollectionType::background);
  backgrounds.migrateCollections();
  EXPECT_FALSE(defaults->value("MigratedCollections_BACKGROUNDS"));
}

}  // namespace
}  // namespace tav
