// What /sys, /proc and /etc say, read from a folder that stands for them.
#include "platform/MachineFacts.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/TemporaryFolder.h"

namespace {

class MachineFactsTest : public testing::Test {
 protected:
  void Write(const std::string& name, const std::string& text) const {
    const std::filesystem::path path = folder_ / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }

  const test::TemporaryFolder folder_;
  const std::string root_ = folder_.Path();
};

TEST_F(MachineFactsTest, TheIdentifierIsTheFirmwaresOrOneMadeFromTheMachineId) {
  // Python's uuid.uuid5 of our name space, 3bca4943-c713-4a7b-829b-a169efc3561f, and the machine's
  // identifier.
  constexpr const char* kMade = "AEF9C9C4-5FC3-58C6-96A9-F81EC786273D";
  const struct {
    const char *firmware, *machineId, *uuid;
  } kRows[] = {{"4c4c4544-0042-3510-8053-b4c04f4e4d32\n", "0123456789abcdef0123456789abcdef\n",
                "4C4C4544-0042-3510-8053-B4C04F4E4D32"},
               {"", "0123456789abcdef0123456789abcdef\n", kMade},
               {"00000000-0000-0000-0000-000000000000", "0123456789abcdef0123456789abcdef\n", kMade},
               {"FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF", "0123456789abcdef0123456789abcdef\n", kMade},
               {"03000200-0400-0500-0006-000700080009", "0123456789abcdef0123456789abcdef\n", kMade},
               {"Not Settable", "uninitialized\n", ""},
               {"", "00000000000000000000000000000000", ""}};
  for (const auto& row : kRows) {
    Write("sys/class/dmi/id/product_uuid", row.firmware);
    Write("etc/machine-id", row.machineId);
    EXPECT_EQ(platform::ReadHardwareFacts(root_).uuid, row.uuid) << row.firmware;
  }
}

TEST_F(MachineFactsTest, WhatIsNotToldIsEmpty) {
  const auto nothing = platform::ReadHardwareFacts(root_);
  EXPECT_EQ(nothing.uuid + nothing.model + nothing.processor + nothing.serialNumber, "");
  EXPECT_EQ(nothing.memoryBytes, 0);
  Write("proc/cpuinfo", "processor\t: 0\nmodel name\t: Fast CPU\n");
  Write("proc/meminfo", "MemTotal:       24682416 kB\n");
  Write("proc/uptime", "13298.30 14466.59\n");
  Write("sys/class/dmi/id/product_name", "To Be Filled By O.E.M.\n");
  Write("sys/firmware/devicetree/base/serial-number", std::string("1000\0", 5));
  Write("etc/os-release", "NAME=\"Some\"\nPRETTY_NAME=\"Some System 12\"\n");
  const auto hardware = platform::ReadHardwareFacts(root_);
  EXPECT_EQ(hardware.processor, "Fast CPU");
  EXPECT_EQ(hardware.memoryBytes, 24682416LL * 1024);
  EXPECT_EQ(hardware.model, "") << "a maker's placeholder";
  EXPECT_EQ(hardware.serialNumber, "1000");
  const auto software = platform::ReadSoftwareFacts(root_);
  EXPECT_EQ(software.system, "Some System 12");
  EXPECT_EQ(software.uptimeSeconds, 13298);
}

}  // namespace
