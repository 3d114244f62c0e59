// Resource forks: honest ones are read, damaged and hostile ones are refused.
#include <CoreServices/CoreServices.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <fstream>
#include <string>

#include "platform/corefoundation/ResourceFork.h"
#include "tests/platform/corefoundation/Support.h"
#include "tests/support/AppleDouble.h"
#include "tests/support/TemporaryFolder.h"

namespace {

constexpr ResType kText = 0x54455854;  // "TEXT"

std::span<const std::byte> Bytes(const std::string& text) { return std::as_bytes(std::span(text)); }

bool IsRead(const std::string& file) {
  // A copy of just that size: a read beyond it is seen by the sanitizer.
  const std::vector<std::byte> exact(Bytes(file).begin(), Bytes(file).end());
  const auto fork = platform::cf::ResourceForkOf(exact);
  return fork && platform::cf::ResourceMap::Read(*fork);
}

TEST(ResourceForkTest, AForkThatIsCutOrPointsOutsideIsRefused) {
  const std::string whole = test::MakeAppleDouble(test::MakeResourceFork({{"TEXT", "words"}, {"icon", "i"}}));
  ASSERT_TRUE(IsRead(whole));
  for (size_t size = 0; size < whole.size(); ++size)
    EXPECT_FALSE(IsRead(whole.substr(0, size))) << size << " bytes";

  constexpr size_t kFork = 82, kMap = kFork + 16 + 14;
  const struct {
    const char* what;
    size_t at;
    std::string bytes;
  } kRows[] = {{"another magic number", 0, "\1"},
               {"the fork begins after the file", 42, "\x7F"},
               {"the fork's end wraps around", 42, "\xFF\xFF\xFF\xF0\xFF\xFF\xFF\xF0"},
               {"the data begin after the fork", kFork, "\xFF"},
               {"the map is longer than the fork", kFork + 12, "\x10"},
               {"the type list lies outside the map", kMap + 24, "\xFF\xFF"},
               {"there are more types than fit", kMap + 28, "\x10"},
               {"there are more resources than fit", kMap + 34, "\xFF\xFE"},
               {"the references lie outside the map", kMap + 36, "\xFF"},
               {"a resource begins after the data", kMap + 28 + 18 + 5, "\xFF"},
               {"a resource is longer than the data", kFork + 16, "\xFF\xFF\xFF\xFF"}};
  for (const auto& row : kRows) {
    std::string damaged = whole;
    damaged.replace(row.at, row.bytes.size(), row.bytes);
    EXPECT_FALSE(IsRead(damaged)) << row.what;
  }
}

TEST(ResourceForkTest, TheFileBesideHoldsTheFork) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "App", beside = folder / "._App";
  const auto open = [&] {
    FSRef file{};
    std::strcpy(reinterpret_cast<char*>(file.path), path.c_str());
    return FSOpenResFile(&file, fsRdPerm);
  };
  const auto expectError = [&](OSErr error) {
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(ResError(), error);
  };
  expectError(fnfErr);
  std::ofstream{path};
  expectError(eofErr);
  std::ofstream(beside) << test::MakeAppleDouble("");
  expectError(eofErr);
  std::ofstream(beside) << "no such format";
  expectError(mapReadErr);
  std::filesystem::remove(beside);
  ASSERT_EQ(mkfifo(beside.c_str(), 0600), 0);
  expectError(ioErr);

  std::filesystem::remove(beside);
  std::ofstream(beside) << test::MakeAppleDouble(test::MakeResourceFork({{"TEXT", "words"}}));
  const ResFileRefNum number = open();
  ASSERT_NE(number, -1);
  const Handle text = Get1IndResource(kText, 1);
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(std::string(*text, static_cast<size_t>(GetHandleSize(text))), "words");
  EXPECT_EQ(Get1IndResource(kText, 1), text) << "the file's own";
  EXPECT_EQ(Get1IndResource(kText, 2), nullptr);
  EXPECT_EQ(ResError(), resNotFound);
  CloseResFile(number);
  EXPECT_EQ(Get1IndResource(kText, 1), nullptr) << "closed";
}

}  // namespace
