// Packed versions, what tools and files say of theirs, and the system's profile.
#include "common/KCVersionUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"
#include "tests/support/AppleDouble.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/StandardError.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using String = StCFTypeRef<CFStringRef>;

String MakeString(const std::string& text) {
  return String{CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8)};
}

std::string Utf8(CFStringRef string) {
  if (string == nullptr) return "(null)";
  char text[512];
  return CFStringGetCString(string, text, sizeof text, kCFStringEncodingUTF8) ? text : "(does not convert)";
}

StCFTypeRef<CFURLRef> MakeUrl(const std::string& path) {
  return StCFTypeRef<CFURLRef>{CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
      false)};
}

uint32_t Number(NumVersion version) {
  uint32_t number = 0;
  std::memcpy(&number, &version, sizeof number);
  return number;
}

std::string VersionFile(const std::string& name, const std::string& version) {
  return "<plist version=\"1.0\"><dict><key>ProductName</key><string>" + name +
         "</string><key>ProductVersion</key><string>" + version + "</string></dict></plist>";
}

class VersionUtilsTest : public testing::Test {
 protected:
  VersionUtilsTest() { SetRootFolder((folder_ / "root").c_str()); }

  std::string Write(const std::string& name, const std::string& text) const {
    std::filesystem::create_directories(std::filesystem::path(folder_ / name).parent_path());
    std::ofstream(folder_ / name) << text;
    return folder_ / name;
  }
  // A program of that name.
  std::string Script(const std::string& name, const std::string& lines) const {
    const std::string path = Write(name, "#!/bin/sh\n" + lines + "\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
  }

  const test::TemporaryFolder folder_;
};

TEST_F(VersionUtilsTest, PackingAndFormattingAreNotEachOthersReverse) {
  const struct {
    const char* text;
    uint32_t packed;
    const char* formatted;
  } kRows[] = {{"1.2.3", 0x01230000, "1.2.3"},
               {"1.2.3b4", 0x01236204, "1.2.34"},  // the letter itself, 'b' is 0x62, is no stage
               {"1.2.3-4", 0x01230000, "1.2.3"},   // a hyphen stands for no letter
               {"10.1.10.480", 0x0A1A2EE0, "10.1.10224"},
               {"7", 0x07000000, "7.0.0"},
               {"x", 0, "0.0.0"}};
  for (const auto& row : kRows) {
    NumVersion version;
    KCCreateNumVersionWithCFString(MakeString(row.text), &version);
    EXPECT_EQ(Number(version), row.packed) << row.text;
    EXPECT_EQ(Utf8(String{KCCFStringCreateWithNumVersion(version)}), row.formatted) << row.text;
  }
  const std::pair<uint32_t, const char*> stages[] = {
      {0x01238000, "1.2.3"}, {0x01236004, "1.2.3b4"}, {0x01234004, "1.2.3a4"}, {0x01232004, "1.2.3d4"}};
  for (const auto& [packed, text] : stages)
    EXPECT_EQ(Utf8(String{KCCFStringCreateWithNumVersion(MakeNumVersion(packed))}), text);
}

TEST_F(VersionUtilsTest, EqualVersionsAreGreaterAndOnlyTheFirstHalfCounts) {
  const NumVersion low = MakeNumVersion(0x01234001), same = MakeNumVersion(0x09994001),
                   high = MakeNumVersion(0x01238000);
  EXPECT_TRUE(KCVersionGreaterThan(low, low));
  EXPECT_TRUE(KCVersionGreaterThan(low, same)) << "major, minor and bug-fix are not compared";
  EXPECT_TRUE(KCVersionGreaterThan(high, low));
  EXPECT_FALSE(KCVersionGreaterThan(low, high));
  EXPECT_TRUE(KCVersionLessThan(low, high));
  EXPECT_FALSE(KCVersionLessThan(low, same));
  EXPECT_TRUE(KCVersionLessThanEqual(low, same));
  EXPECT_FALSE(KCVersionLessThanEqual(high, low));
  EXPECT_TRUE(KCVersionInRange(low, low, high) && KCVersionInRange(high, low, high)) << "both ends";
  EXPECT_FALSE(KCVersionInRange(MakeNumVersion(0x01238001), low, high));
}

TEST_F(VersionUtilsTest, AToolsFirstLineIsItsVersion) {
  const struct {
    const char *name, *prints;
    bool answers;
    uint32_t packed;
    const char *ex, *detail;
  } kRows[] = {{"a tool", R"([ "$1" = -v1 ] && echo 169509344 || echo '7 SP2'; echo more)", true, 0x0A1A81E0,
                "7 SP2", "7 SP2"},
               {"endless", "while echo 16777216; do :; done", true, 0x01000000, "16777216", "16777216"},
               {"unended", "printf 42", true, 42, "42", "42"},
               {"letters", "echo beta 3", true, 0, "", "beta 3"},
               {"blank", "echo", true, 0, "", ""},
               {"silent", "exit 1", false, 0, "", ""}};
  for (const auto& row : kRows) {
    const std::string path = Script(row.name, row.prints);
    NumVersion version = MakeNumVersion(1);
    EXPECT_EQ(KCGetToolNumVersion(path.c_str(), &version), row.answers) << row.name;
    EXPECT_EQ(Number(version), row.packed) << row.name;
    char text[64];
    EXPECT_EQ(KCGetToolNumVersionEx(path.c_str(), "-v3", text, sizeof text), *row.ex != '\0') << row.name;
    EXPECT_STREQ(text, row.ex) << row.name;
    KCGetToolSPVersion(path.c_str(), text, sizeof text);
    EXPECT_STREQ(text, row.detail) << row.name;
  }
  const std::string tool = folder_ / "a tool", missing = folder_ / "missing";
  EXPECT_EQ(Utf8(String{KCGetToolVersionString(tool.c_str())}), "10.1.10224");
  EXPECT_EQ(Utf8(String{KCGetToolVersionString(missing.c_str())}), "0.0.0");
  EXPECT_EQ(Utf8(String{KCGetToolVersionStringWithSP(missing.c_str())}), "z");
  std::array<char, 4> cut{'#', '#', '#', '#'};
  EXPECT_TRUE(KCGetToolNumVersionEx(tool.c_str(), "-v3", cut.data(), 3));
  EXPECT_EQ(std::string(cut.data(), 4), std::string("7 \0#", 4));
}

TEST_F(VersionUtilsTest, APathDoesNotBecomeACommand) {
  const std::string made = folder_ / "made";
  for (const char* name : {"x$(touch made)", "x`touch made`", "x\";touch made;\"", "x\\"}) {
    const std::string path = Script(name, "echo 5");
    char text[8] = "before";
    const std::string said = test::StandardErrorOf([&] {
      std::filesystem::current_path(folder_.Path());
      KCGetToolSPVersion(path.c_str(), text, sizeof text);
    });
    EXPECT_STREQ(text, "") << name;
    EXPECT_NE(said.find(path), std::string::npos) << name;
    EXPECT_FALSE(std::filesystem::exists(made)) << name;
  }
}

TEST_F(VersionUtilsTest, OnlyTheAgentsOwnProgramsAreAsked) {
  const std::pair<const char*, const char*> rows[] = {{"root/bin/tool", "9\xE2\x88\x9A "},
                                                      {"root/bin/a.app/Contents/MacOS/a", "9\xE2\x88\x9A "},
                                                      {"root/binary/tool", ""},
                                                      {"root/bin/../tool", ""},
                                                      {"tool", ""}};
  for (const auto& [name, version] : rows) {
    const std::string path = Script(name, R"(printf '9\303 \n')");
    EXPECT_EQ(Utf8(String{KCVersionGetKorvaneApp(MakeUrl(path))}), version) << name;
  }
}

TEST_F(VersionUtilsTest, TheSystemsFilesTellItsVersion) {
  const struct {
    const char *name, *version, *expected;
  } kRows[] = {{"Mac OS X", "10.13.6", "10d6 0 0 10d68000"},
               {"Mac OS X SERVER", "10.5", "1050 1 0 10508000"},
               {"Mac OS X", "10.10", "10a0 0 0 10a08000"},
               {"Mac OS X", "10.2.8", "1028 0 1 10288000"},
               {"Mac OS X", "11.3.1", "1031 0 0 10318000"},  // whatever stands first counts as 10
               {"", "", "0 0 0 8000"}};                      // no file
  for (const auto& row : kRows) {
    const auto asked = test::RunInChild([&] {
      const std::string file = *row.version != '\0' ? Write("v", VersionFile(row.name, row.version)) : "";
      platform::SetSystemFiles({file, "", ""});
      NumVersion packed;
      (void)KCGetSystemNumVersion(&packed);
      std::filesystem::remove(folder_ / "v");  // what was read is kept
      std::fprintf(stderr, "%x %d %d %x", KCGetHexSystemVersionNumber(), KCIsServer(), UseJaguar(),
                   Number(packed));
    });
    EXPECT_EQ(asked.errors, row.expected) << row.version;
  }
}

TEST_F(VersionUtilsTest, TheServersFileComesBeforeTheSystems) {
  const std::string system = Write("system", VersionFile("System", "10.5.1"));
  const std::string server = Write("server", VersionFile("Server", "10.5.2"));
  const std::string broken = Write("broken", "<array/>");
  const struct {
    std::string system, server;
    bool isServer, told;
    const char *product, *version;
  } kRows[] = {{system, server, true, true, "Server", "10.5.2"},
               {system, folder_ / "missing", false, true, "System", "10.5.1"},
               {system, broken, true, true, "System", "10.5.1"},
               {"", "", false, false, "Mac OS X", "(null)"}};
  for (const auto& row : kRows) {
    platform::SetSystemFiles({row.system, row.server, ""});
    CFStringRef name = nullptr, version = nullptr;
    CFDateRef date = nullptr;
    EXPECT_EQ(KCGetSystemProductInfo(&name, &version, &date), row.told);
    const String ownedName{name}, ownedVersion{version};
    const StCFTypeRef<CFDateRef> ownedDate{date};
    EXPECT_EQ(Utf8(version), row.version);
    EXPECT_EQ(Utf8(String{KCGetSystemProductName()}), row.product);
    EXPECT_EQ(KCIsServerVersion(), row.isServer);
    ASSERT_EQ(date != nullptr, row.told);
    if (date == nullptr) continue;
    EXPECT_NEAR(CFDateGetAbsoluteTime(date), CFAbsoluteTimeGetCurrent(), 3600);
  }
}

TEST_F(VersionUtilsTest, AnApplicationsForkTellsItsVersion) {
  const std::string vers = std::string("\x01\x23\x60\x04\x00\x05", 6) + "\1x\1y";
  const std::string list = "<plist version=\"1.0\"><dict><key>%</key><string>4.5.6</string></dict></plist>";
  const auto keyed = [&](const char* key) { return std::string(list).replace(list.find('%'), 1, key); };
  const struct {
    test::Resources resources;
    bool told;
    const char* text;
    uint32_t packed;
    int region;
  } kRows[] = {{{{"vers", vers}}, true, "(null)", 0x01236004, 5},
               {{{"vers", vers}, {"plst", keyed("CFBundleVersion")}}, true, "4.5.6", 0x04560000, 5},
               {{{"plst", "\xFF\xFE" + keyed("CFBundleShortVersionString")}}, true, "4.5.6", 0x04560000, 0},
               {{{"plst", keyed("Other")}}, false, "(null)", 0, 0},
               {{{"vers", "\1\2"}, {"plst", ""}}, false, "(null)", 0, 0}};
  const std::string path = Write("App", "");
  for (const auto& row : kRows) {
    Write("._App", test::MakeAppleDouble(test::MakeResourceFork(row.resources)));
    CFStringRef text = nullptr;
    NumVersion version;
    SInt16 region = 9;
    EXPECT_EQ(KCGetApplicationVersion(MakeUrl(path), &text, &version, &region), row.told);
    EXPECT_EQ(Utf8(String{text}), row.text);
    EXPECT_EQ(Number(version), row.packed);
    EXPECT_EQ(region, row.region);
  }
}

TEST_F(VersionUtilsTest, ABundlesInformationTellsItsVersion) {
  const std::pair<const char*, bool> rows[] = {{"CFBundleShortVersionString", true},
                                               {"CFBundleVersion", false}};
  for (const auto& [key, told] : rows) {
    Write("b/Info.plist", std::string("<plist version=\"1.0\"><dict><key>") + key +
                              "</key><string>1.2.3</string></dict></plist>");
    const StCFTypeRef<CFBundleRef> bundle{CFBundleCreate(kCFAllocatorDefault, MakeUrl(folder_ / "b"))};
    NumVersion version = MakeNumVersion(1);
    EXPECT_EQ(KCGetBundleVersion(bundle, &version), told);
    EXPECT_EQ(Number(version), told ? 0x01230000U : 0U);
    EXPECT_EQ(Utf8(KCGetBundleVersionString(bundle)), told ? "1.2.3" : "(null)");
  }
}

TEST_F(VersionUtilsTest, TheProfilersAnswerIsFollowedToTheValue) {
  const std::string item =
      "<plist version=\"1.0\"><array><dict><key>_items</key><array><dict><key>a</key><dict>"
      "<key>b</key><string>found</string></dict></dict></array></dict></array></plist>";
  Write("answer", item);
  const std::string print = "cat '" + folder_ / "answer'";
  const struct {
    std::string does;
    std::vector<CFTypeRef> path;
    const char* value;
  } kRows[] = {{"[ \"$#$1$2\" = '2-xmlSP x' ] && " + print, {CFSTR("a"), CFSTR("b")}, "found"},
               {print + "; kill -9 $$", {CFSTR("a"), CFSTR("b")}, "found"},
               {"yes '<!-- much -->' | head -n 99999;" + print, {CFSTR("a"), CFSTR("b")}, "found"},
               {print, {CFSTR("a"), CFSTR("c")}, "(null)"},
               {print, {CFSTR("a"), CFSTR("b"), CFSTR("c")}, "(null)"},
               {"head -c 99 '" + folder_ / "answer'; kill -9 $$", {CFSTR("a")}, "(null)"},
               {"echo rubbish", {CFSTR("a")}, "(null)"},
               {"echo '<plist version=\"1.0\"><array><dict><key>_items</key><array/></dict></array></plist>'",
                {CFSTR("a")},
                "(null)"},
               {"exit 0", {CFSTR("a")}, "(null)"}};
  for (const auto& row : kRows) {
    platform::SetSystemFiles({"", "", Script("profiler", row.does)});
    std::vector<const void*> keys(row.path.begin(), row.path.end());
    const StCFTypeRef<CFArrayRef> path{CFArrayCreate(
        kCFAllocatorDefault, keys.data(), static_cast<CFIndex>(keys.size()), &kCFTypeArrayCallBacks)};
    const StCFTypeRef<CFTypeRef> value{KCGetSystemProfilerInfo(CFSTR("SP x"), path)};
    EXPECT_EQ(Utf8(static_cast<CFStringRef>(value.get())), row.value) << row.does;
  }
  platform::SetSystemFiles({"", "", folder_ / "missing"});
  EXPECT_EQ(KCGetSystemProfilerInfo(CFSTR("SP x"), nullptr), nullptr);
}

}  // namespace
