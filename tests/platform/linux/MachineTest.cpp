// Which kernel command lines name a root on the network.
#include "platform/linux/NetBoot.h"

#include <gtest/gtest.h>

namespace {

TEST(MachineTest, ARootOnTheNetworkIsANetBoot) {
  for (const char* line : {"root=/dev/nfs\n", "quiet\tnfsroot=10.0.0.1:/srv", "root=nfs4:10.0.0.1:/srv",
                           "root=nbd:10.0.0.1:disk", "netroot=iscsi:@10.0.0.1", "boot=nfs"})
    EXPECT_TRUE(platform::NamesNetworkRoot(line)) << line;
  for (const char* line :
       {"", "BOOT_IMAGE=/vmlinuz root=/dev/sda1 ro quiet\n", "ip=dhcp", "note=root=/dev/nfs root=/dev/vda1"})
    EXPECT_FALSE(platform::NamesNetworkRoot(line)) << line;
}

}  // namespace
