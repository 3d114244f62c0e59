// Clock, kernel start and console lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "platform/System.h"
#include "platform/linux/NetBoot.h"

namespace {

int64_t SteadyNanoseconds() {
  return std::chrono::nanoseconds(std::chrono::steady_clock::now().time_since_epoch()).count();
}

TEST(MachineTest, HostTicksAreTheMonotonicClock) {
  const auto [numerator, denominator] = platform::GetHostTimebase();
  ASSERT_GT(denominator, 0U);
  const int64_t before = SteadyNanoseconds();
  const auto now = static_cast<int64_t>(platform::HostTicks() * numerator / denominator);
  EXPECT_LE(before, now);
  EXPECT_GE(SteadyNanoseconds(), now);
}

TEST(MachineTest, ARootOnTheNetworkIsANetBoot) {
  struct Row {
    const char* line;
    bool network;
  };
  constexpr Row kRows[] = {
      {"", false},
      {"\n", false},
      {"BOOT_IMAGE=/vmlinuz root=/dev/sda1 ro quiet\n", false},
      {"root=UUID=1f2e ip=dhcp\n", false},
      {"note=root=/dev/nfs root=/dev/vda1", false},
      {"BOOT_IMAGE=vmlinuz root=/dev/nfs nfsroot=10.0.0.1:/srv ro\n", true},
      {"quiet\tnfsroot=10.0.0.1:/srv", true},
      {"root=nfs:10.0.0.1:/srv rd.neednet=1", true},
      {"root=nfs4:10.0.0.1:/srv", true},
      {"root=nbd:10.0.0.1:disk", true},
      {"netroot=iscsi:@10.0.0.1::::disk root=LABEL=x", true},
      {"boot=nfs", true},
  };
  for (const Row& row : kRows) EXPECT_EQ(platform::NamesNetworkRoot(row.line), row.network) << row.line;
}

TEST(MachineTest, AConsoleLineGoesToStandardError) {
  testing::internal::CaptureStderr();
  platform::ConsoleLog("%d of %s", 3, "four");
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr(" tests_linux["));
  testing::internal::CaptureStderr();
  platform::ConsoleLog("%s", std::string(5000, 'x').c_str());
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_THAT(line, testing::EndsWith("x\n"));
}

}  // namespace
