#include "tav/platform/libzip_archiver.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <zip.h>

#include <cstring>
#include <string>
#include <vector>

#include "tav/platform/atomic_file.hpp"
#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

struct CraftedEntry {
  std::string name;
  std::string contents;
  mode_t unixMode = 0;  // 0: no Unix attributes
};

/// Writes a zip archive with exactly these entries, as a hostile sender could.
void writeArchive(const std::filesystem::path& file, const std::vector<CraftedEntry>& entries) {
  int code = 0;
  zip_t* zip = zip_open(file.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &code);
  ASSERT_NE(zip, nullptr);
  for (const auto& entry : entries) {
    zip_int64_t index = -1;
    if (!entry.name.empty() && entry.name.back() == '/') {
      index = zip_dir_add(zip, entry.name.c_str(), 0);
    } else {
      zip_source_t* source = zip_source_buffer(zip, entry.contents.data(), entry.contents.size(), 0);
      index = zip_file_add(zip, entry.name.c_str(), source, 0);
    }
    ASSERT_GE(index, 0) << entry.name;
    if (entry.unixMode != 0) {
      zip_file_set_external_attributes(zip, static_cast<zip_uint64_t>(index), 0, ZIP_OPSYS_UNIX,
                                       static_cast<zip_uint32_t>(entry.unixMode) << 16);
    }
  }
  ASSERT_EQ(zip_close(zip), 0);
}

TEST(LibzipArchiver, PacksAFolderAndUnpacksItBackOverExistingFiles) {
  testing::ScratchDirectory scratch;
  scratch.write("source/notes.txt", "first");
  scratch.write("source/logs/app.log", "log line\n");
  std::filesystem::create_directories(scratch / "source/empty");
  std::filesystem::create_symlink("/etc/passwd", scratch / "source/outside");
  const LibzipArchiver archiver;
  archiver.pack(scratch / "source", scratch / "out.zip");

  scratch.write("target/notes.txt", "stale");
  archiver.unpack(scratch / "out.zip", scratch / "target");
  EXPECT_EQ(readWholeFile(scratch / "target/notes.txt"), "first");
  EXPECT_EQ(readWholeFile(scratch / "target/logs/app.log"), "log line\n");
  EXPECT_TRUE(std::filesystem::is_directory(scratch / "target/empty"));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(scratch / "target/outside")));

  // An empty folder packs into a valid empty archive.
  std::filesystem::create_directories(scratch / "nothing");
  archiver.pack(scratch / "nothing", scratch / "empty.zip");
  EXPECT_NO_THROW(archiver.unpack(scratch / "empty.zip", scratch / "target"));
}

TEST(LibzipArchiver, RefusesHostileArchivesWritingNothing) {
  struct Case {
    const char* label;
    std::vector<CraftedEntry> entries;
    UnzipLimits limits;
    const char* message;
  };
  const std::string eightMegabytesOfZeros(8 << 20, '\0');
  const std::vector<Case> cases{
      {"dot-dot", {{"fine.txt", "ok"}, {"a/../../escaped.txt", "x"}}, {}, "entry \"a/../../escaped.txt\" leads out of the folder with \"..\""},
      {"absolute", {{"fine.txt", "ok"}, {"/tmp/escaped.txt", "x"}}, {}, "entry \"/tmp/escaped.txt\" has an absolute path"},
      {"symlink", {{"fine.txt", "ok"}, {"link", "/etc", S_IFLNK | 0777}}, {}, "entry \"link\" is a symbolic link"},
      {"fifo", {{"fine.txt", "ok"}, {"pipe", "", S_IFIFO | 0644}}, {}, "entry \"pipe\" is not a file or a folder"},
      {"bomb", {{"fine.txt", "ok"}, {"zeros.bin", eightMegabytesOfZeros}}, {1 << 20, 100}, "would unpack to more than the limit of 1048576 bytes"},
      {"entries", {{"1", "a"}, {"2", "b"}, {"3", "c"}, {"4", "d"}}, {1 << 20, 3}, "has 4 entries, more than the limit of 3"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.label);
    testing::ScratchDirectory scratch;
    writeArchive(scratch / "hostile.zip", c.entries);
    std::filesystem::create_directories(scratch / "target");
    EXPECT_THAT([&] { LibzipArchiver().unpack(scratch / "hostile.zip", scratch / "target", c.limits); },
                ::testing::ThrowsMessage<ZipArchiveError>(
                    ::testing::AllOf(::testing::HasSubstr(c.message), ::testing::HasSubstr("hostile.zip"))));
    EXPECT_TRUE(std::filesystem::is_empty(scratch / "target"));
    EXPECT_FALSE(std::filesystem::exists(scratch / "escaped.txt"));
  }
}

TEST(LibzipArchiver, TruncatedArchivesAndLyingSizesAreErrors) {
  testing::ScratchDirectory scratch;
  std::string text;
  for (int i = 0; i < 4000; ++i) text += "line " + std::to_string(i) + "\n";
  writeArchive(scratch / "whole.zip", {{"a.txt", text}, {"b.txt", text}});
  const std::string bytes = readWholeFile(scratch / "whole.zip");
  scratch.write("truncated.zip", std::string_view(bytes).substr(0, bytes.size() / 2));
  std::filesystem::create_directories(scratch / "target");
  EXPECT_THAT([&] { LibzipArchiver().unpack(scratch / "truncated.zip", scratch / "target"); },
              ::testing::ThrowsMessage<ZipArchiveError>(
                  ::testing::HasSubstr("truncated.zip\": is not a readable zip archive")));

  // Declared sizes of 100 bytes (local and central headers alike) over 28 KB of data.
  std::string lying = bytes;
  const std::uint32_t small = 100;
  for (std::size_t at = 0; (at = lying.find("PK\x03\x04", at)) != std::string::npos; at += 4) {
    std::memcpy(lying.data() + at + 22, &small, 4);
  }
  for (std::size_t at = 0; (at = lying.find("PK\x01\x02", at)) != std::string::npos; at += 4) {
    std::memcpy(lying.data() + at + 24, &small, 4);
  }
  scratch.write("lying.zip", lying);
  EXPECT_THROW(LibzipArchiver().unpack(scratch / "lying.zip", scratch / "target"), ZipArchiveError);
  EXPECT_LE(std::filesystem::file_size(scratch / "target/a.txt"), 100u);
}

}  // namespace
}  // namespace tav
