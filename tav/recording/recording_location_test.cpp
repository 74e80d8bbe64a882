#include "tav/recording/recording_location.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/contracts/decoding_error.hpp"
#include "tav/foundation/web_address.hpp"
#include "tav/recording/volume_classification.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

class StandardStore {
 public:
  StandardStore() : before_(UserDefaults::standard()) { UserDefaults::setStandard(store_); }
  ~StandardStore() { UserDefaults::setStandard(before_); }
  InMemoryUserDefaults& store() { return *store_; }

 private:
  std::shared_ptr<UserDefaults> before_;
  std::shared_ptr<InMemoryUserDefaults> store_ = std::make_shared<InMemoryUserDefaults>();
};

TEST(RecordingLocation, JsonFormsOfEveryCase) {
  EXPECT_EQ(encodeJson(RecordingLocationType::local()), R"({"local":{}})");
  EXPECT_EQ(encodeJson(RecordingLocationType::cloud()), R"({"cloud":{}})");
  EXPECT_EQ(encodeJson(RecordingLocationType::external("Backup")), R"({"external":{"_0":"Backup"}})");
  EXPECT_EQ(encodeJson(RecordingLocation::photoLibrary()), R"({"photoLibrary":{}})");

  CustomRecordingLocation named{"ID-1", RecordingLocationType::external("Backup"), {'/', 'm', 'n', 't'}, "Clips"};
  EXPECT_EQ(encodeJson(RecordingLocation::custom(named)),
            R"({"custom":{"_0":{"id":"ID-1","type":{"external":{"_0":"Backup"}},"bookmark":"L21udA==","name":"Clips"}}})");
  CustomRecordingLocation unnamed{"ID-2", RecordingLocationType::local(), {'/'}, std::nullopt};
  EXPECT_EQ(encodeJson(unnamed), R"({"id":"ID-2","type":{"local":{}},"bookmark":"Lw=="})");

  for (const RecordingLocation& location :
       {RecordingLocation::photoLibrary(), RecordingLocation::custom(named), RecordingLocation::custom(unnamed)}) {
    EXPECT_EQ(decodeJson<RecordingLocation>(encodeJson(location)), location);
  }
}

TEST(RecordingLocation, DecodingRequiresExactlyOneKey) {
  EXPECT_THAT([] { (void)decodeJson<RecordingLocationType>(R"({"local":{},"cloud":{}})"); },
              ::testing::Throws<DecodingError>(
                  ::testing::Property(&DecodingError::reason, "Invalid number of keys found, expected one.")));
  EXPECT_THROW(decodeJson<RecordingLocationType>("{}"), DecodingError);
  EXPECT_THROW(decodeJson<RecordingLocation>(R"({"photoLibrary":{},"custom":{}})"), DecodingError);
  EXPECT_THROW(decodeJson<RecordingLocation>(R"({"elsewhere":{}})"), DecodingError);
  EXPECT_THROW(decodeJson<CustomRecordingLocation>(R"({"id":"a","type":{"local":{}},"bookmark":"%%%%"})"),
               DecodingError);
}

TEST(RecordingLocation, TitlesMessagesAndIds) {
  RecordingLocation library = RecordingLocation::photoLibrary();
  EXPECT_EQ(library.id(), "PHOTO_LIBRARY_LOCATION");
  EXPECT_EQ(library.title(), "Photo Library");
  EXPECT_EQ(library.savedMessage(), "Tavo Studio has saved this recording to your library.");
  EXPECT_FALSE(library.url().has_value());

  RecordingLocation backup = RecordingLocation::custom({"X", RecordingLocationType::external("Backup"), {}, "Clips"});
  EXPECT_EQ(backup.id(), "X");
  EXPECT_EQ(backup.title(), "Backup - Clips");
  EXPECT_EQ(backup.savedMessage(), "Tavo Studio has saved this recording at: Backup - Clips");
  EXPECT_EQ(RecordingLocation::custom({"Y", RecordingLocationType::local(), {}, std::nullopt}).title(), "On This Device");
  EXPECT_EQ(RecordingLocationType::cloud().title(), "iCloud");
}

TEST(RecordingLocation, BookmarkResolvesWhileTheFolderExists) {
  testing::ScratchDirectory scratch("tav-location");
  auto folder = scratch / "Clips";
  std::filesystem::create_directory(folder);
  RecordingLocation location = RecordingLocation::custom({"Z", RecordingLocationType::local(), makeBookmark(folder), {}});
  ASSERT_TRUE(location.url().has_value());
  EXPECT_EQ(location.url()->filePath(), folder);
  std::filesystem::remove(folder);
  EXPECT_FALSE(location.url().has_value());
  EXPECT_FALSE(resolveBookmark({'r', 'e', 'l'}).has_value());
}

TEST(RecordingLocation, CurrentDefaultsToThePhotoLibraryAndPersists) {
  StandardStore standard;
  EXPECT_EQ(RecordingLocation::current().get(), RecordingLocation::photoLibrary());
  RecordingLocation custom = RecordingLocation::custom({"A", RecordingLocationType::cloud(), {'/'}, {}});
  RecordingLocation::current().set(custom);
  EXPECT_EQ(RecordingLocation::current().get(), custom);
  EXPECT_EQ(encodeJson(*standard.store().value("CURRENT_RECORDING_LOCATION")),
            R"({"custom":{"_0":{"id":"A","type":{"cloud":{}},"bookmark":"Lw=="}}})");
}

TEST(RecordingLocation, GeneratedFileNameCarriesVersionBuildAndDate) {
  EXPECT_EQ(RecordingLocation::generateFilename("Mine.mov"), "Mine.mov");
  MainBundleInfo before = mainBundleInfo();
  setMainBundleInfo({"2.1", "345", std::nullopt});
  std::string name = RecordingLocation::generateFilename(std::string());
  setMainBundleInfo({std::nullopt, std::nullopt, std::nullopt});
  std::string bare = RecordingLocation::generateFilename(std::nullopt);
  setMainBundleInfo(before);
  // "Tavo Studio 2.1-345 at 2026-01-02 13-14-15.mov"
  EXPECT_THAT(name, ::testing::MatchesRegex(
                        "Tavo Studio 2\\.1-345 at [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}-[0-9]{2}-[0-9]{2}\\.mov"));
  EXPECT_EQ(bare.substr(0, 17), "Tavo Studio - at ");
}

TEST(RecordingLocation, ClassificationByVolume) {
  struct Case {
    const char* name;
    std::string_view path;
    VolumeResourceValues values;
    RecordingLocationType type;
    std::optional<std::string> title;
  };
  const Case cases[] = {
      {"local", "/home/a/Videos", {"Videos", "User", std::nullopt, false}, RecordingLocationType::local(), "Videos"},
      {"backup", "/media/a/Backup/Clips", {"Clips", "Backup", std::nullopt, false},
       RecordingLocationType::external("Backup"), "Clips"},
      {"backup root", "/media/a/Backup", {"Backup", "Backup", std::nullopt, false},
       RecordingLocationType::external("Backup"), std::nullopt},
      {"cloud", "/home/a/Drive/x", {"x", "User", "Drive", false}, RecordingLocationType::cloud(), "x"},
      {"provider", "/Users/a/Library/File Provider Storage/Shots", {"Shots", "Backup", "Box", false},
       RecordingLocationType::local(), "Shots"},
      {"provider root", "/Users/a/Library/File Provider Storage",
       {"File Provider Storage", std::nullopt, std::nullopt, false}, RecordingLocationType::local(), std::nullopt},
      {"nothing", "/x", {"x", std::nullopt, std::nullopt, std::nullopt}, RecordingLocationType::local(), "x"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto classified = classifyRecordingLocation(c.path, c.values);
    EXPECT_EQ(classified.first, c.type);
    EXPECT_EQ(classified.second, c.title);
  }
}

constexpr std::string_view kMounts =
    "/dev/sda2 / ext4 rw,relatime 0 0\n"
    "/dev/sdb1 /media/ann/Backup\\040Disk vfat rw,nosuid 0 0\n"
    "/dev/sr0 /media/ann/DVD iso9660 ro,nosuid 0 0\n"
    "rclone: /home/ann/Drive fuse.rclone rw,nosuid 0 0\n";

TEST(RecordingLocation, MountTableGivesVolumeFacts) {
  auto home = volumeResourceValues("/home/ann/Videos", kMounts);
  ASSERT_TRUE(home.has_value());
  EXPECT_EQ(*home, (VolumeResourceValues{"Videos", "User", std::nullopt, false}));
  auto disk = volumeResourceValues("/media/ann/Backup Disk", kMounts);
  ASSERT_TRUE(disk.has_value());
  EXPECT_EQ(*disk, (VolumeResourceValues{"Backup Disk", "Backup Disk", std::nullopt, false}));
  EXPECT_EQ(classifyRecordingLocation("/media/ann/Backup Disk", *disk).first,
            RecordingLocationType::external("Backup Disk"));
  EXPECT_EQ(volumeResourceValues("/media/ann/DVD/a", kMounts)->volumeIsReadOnly, true);
  EXPECT_EQ(volumeResourceValues("/home/ann/Drive/Clips", kMounts)->ubiquitousItemContainerDisplayName, "Drive");
  EXPECT_FALSE(volumeResourceValues("relative/path", kMounts).has_value());
  EXPECT_FALSE(volumeResourceValues("/home/ann", "").has_value());
}

TEST(RecordingLocation, AddCustomLocationAppendsAndRefusesReadOnlyVolumes) {
  StandardStore standard;
  testing::ScratchDirectory scratch("tav-location");
  auto folder = scratch / "Clips";
  std::filesystem::create_directory(folder);
  const std::string writable = "/dev/sda2 / ext4 rw 0 0\n";
  const std::string readOnly = "/dev/sda2 / ext4 ro 0 0\n";

  CustomRecordingLocation::addCustomLocation(Url::fileUrl(folder), writable);
  auto saved = CustomRecordingLocation::locations().get();
  ASSERT_EQ(saved.size(), 1u);
  const CustomRecordingLocation* custom = saved[0].customLocation();
  ASSERT_NE(custom, nullptr);
  EXPECT_EQ(custom->type, RecordingLocationType::local());
  EXPECT_EQ(custom->name, "Clips");
  EXPECT_EQ(custom->id.size(), 36u);
  EXPECT_EQ(saved[0].url()->filePath(), folder);

  EXPECT_THROW(CustomRecordingLocation::addCustomLocation(Url::fileUrl(folder), readOnly), RecordingLocationError);
  EXPECT_THROW(CustomRecordingLocation::addCustomLocation(Url::fileUrl(scratch / "missing"), writable),
               RecordingLocationError);
  EXPECT_EQ(CustomRecordingLocation::locations().get().size(), 1u);
}

}  // namespace
}  // namespace tav
