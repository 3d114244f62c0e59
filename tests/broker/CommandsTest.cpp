// Records that came from outside, byte by byte.
#include "broker/Commands.h"

#include <numeric>

#include "tests/broker/BrokerTest.h"

namespace {

using CommandsTest = test::BrokerTest;

// 0, 1, 2, ...: each byte is its own offset.
StCFTypeRef<CFDataRef> Counted(size_t length) {
  std::string bytes(length, 0);
  std::iota(bytes.begin(), bytes.end(), 0);
  return test::MakeData(bytes);
}

TEST_F(CommandsTest, ARecordIsReadWholeOrNotAtAll) {
  EXPECT_FALSE(ReadCommandCode(nullptr));
  EXPECT_FALSE(ReadCommandCode(Counted(0)));
  EXPECT_FALSE(ReadRecord<MouseEventRecord>(nullptr));
  for (size_t length = 0; length < 8; ++length)
    EXPECT_FALSE(ReadRecord<MouseEventRecord>(Counted(length))) << length;
  EXPECT_NE(Log().find("record 0 ignored: 7 bytes, needs 8"), std::string::npos) << Log();
  for (const size_t length : {8, 200}) {
    const auto record = ReadRecord<MouseEventRecord>(Counted(length));
    ASSERT_TRUE(record) << length;
    const std::vector<int> fields = {record->code, record->flags, record->x, record->y};
    EXPECT_EQ(fields, (std::vector<int>{0, 3, 0x0504, 0x0706})) << length;
  }
}

}  // namespace
