// Clock, kernel start and console lines.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "platform/System.h"
#include "platform/linux/NetBoot.h"
#include "tests/support/StandardError.h"

namespace {

TEST(MachineTest, HostTicksAreTheMonotonicClock) {
  const auto [numerator, denominator] = platform::GetHostTimebase();
  const auto steady = [] {
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
  };
  const int64_t before = steady();
  const auto now = static_cast<int64_t>(platform::HostTicks() * numerator / denominator);
  EXPECT_LE(before, now);
  EXPECT_GE(steady(), now);
}

TEST(MachineTest, ARootOnTheNetworkIsANetBoot) {
  for (const char* line : {"BOOT_IMAGE=vmlinuz root=/dev/nfs ro\n", "quiet\tnfsroot=10.0.0.1:/srv",
                           "root=nfs4:10.0.0.1:/srv", "root=nbd:10.0.0.1:disk", "netroot=iscsi:@10.0.0.1",
                           "root=nfs:10.0.0.1:/srv rd.neednet=1", "boot=nfs"})
    EXPECT_TRUE(platform::NamesNetworkRoot(line)) << line;
  for (const char* line : {"", "BOOT_IMAGE=/vmlinuz root=/dev/sda1 ro quiet\n", "root=UUID=1f2e ip=dhcp\n",
                           "note=root=/dev/nfs root=/dev/vda1"})
    EXPECT_FALSE(platform::NamesNetworkRoot(line)) << line;
}

TEST(MachineTest, AConsoleLineGoesToStandardErrorHoweverLong) {
  const std::string text(5000, 'x');
  EXPECT_THAT(test::StandardErrorOf([&] { platform::ConsoleLog("%d %s", 3, text.c_str()); }),
              testing::MatchesRegex(".* tests_linux\\[[0-9]+\\].* 3 x+\n"));
}

}  // namespace
