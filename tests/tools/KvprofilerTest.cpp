// kvprofiler as the agent and its users run it.
#include <CoreFoundation/CoreFoundation.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "common/KCSystemProfile.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"

namespace {

class KvprofilerTest : public testing::Test {
 protected:
  // The exit status; output and errors are in files.
  int Run(const std::string& arguments) {
    return test::WaitForChild(
        test::Spawn({"sh", "-c", KVPROFILER " >" + out_ + " 2>" + folder_ / "err" + " " + arguments}));
  }
  [[nodiscard]] std::string Out() const { return test::FileText(out_); }

  const test::TemporaryFolder folder_;
  const std::string out_ = folder_ / "out";
};

std::string Utf8(CFTypeRef value) {
  char text[512];
  return value != nullptr && CFGetTypeID(value) == CFStringGetTypeID() &&
                 CFStringGetCString(static_cast<CFStringRef>(value), text, sizeof text, kCFStringEncodingUTF8)
             ? text
             : "";
}

TEST_F(KvprofilerTest, TheAgentFindsItBesideItsProgramsAndReadsIt) {
  ASSERT_EQ(platform::GetSystemFiles().profiler, KVPROFILER) << "the tests lie beside it as well";
  const auto ask = [](CFStringRef dataType, CFStringRef key) {
    const void* keys[] = {key};
    const StCFTypeRef<CFArrayRef> path{CFArrayCreate(kCFAllocatorDefault, keys, 1, &kCFTypeArrayCallBacks)};
    return Utf8(StCFTypeRef<CFTypeRef>{KCGetSystemProfilerInfo(dataType, path)});
  };
  char host[256];
  ASSERT_EQ(gethostname(host, sizeof host), 0);
  EXPECT_EQ(ask(CFSTR("SPSoftwareDataType"), CFSTR("local_host_name")), host);
  EXPECT_EQ(ask(CFSTR("SPSoftwareDataType"), CFSTR("platform_UUID")), "");
  EXPECT_EQ(ask(CFSTR("SPUnknownDataType"), CFSTR("platform_UUID")), "");
  const std::string uuid = ask(CFSTR("SPHardwareDataType"), CFSTR("platform_UUID"));
  EXPECT_EQ(ask(CFSTR("SPHardwareDataType"), CFSTR("platform_UUID")), uuid) << "the same each time";
  ASSERT_EQ(Run("SPHardwareDataType"), 0);
  // A machine may have neither firmware that tells one nor an identifier of its own.
  EXPECT_EQ(Out().find("Hardware UUID: " + uuid + "\n") != std::string::npos, !uuid.empty())
      << "and for people: " << Out();
}

TEST_F(KvprofilerTest, ItSaysWhatItDoesNotUnderstand) {
  EXPECT_EQ(Run("-xml SPUnknownDataType SPHardwareDataType"), 1);
  EXPECT_NE(Out().find("<array/>"), std::string::npos) << "no items";
  EXPECT_NE(Out().find("hardware_overview"), std::string::npos) << "what is known is there";
  EXPECT_NE(test::FileText(folder_ / "err").find("'SPUnknownDataType'"), std::string::npos);
  EXPECT_EQ(Run("-x"), 1);
  EXPECT_EQ(Out(), "");
  EXPECT_EQ(Run("--help"), 0);
  EXPECT_NE(Out().find("-xml"), std::string::npos);
  EXPECT_EQ(Run("-xml >/dev/full"), 2);
}

}  // namespace
