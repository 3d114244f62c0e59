// Records that came from outside, byte by byte.
#include "broker/Commands.h"

#include <functional>
#include <numeric>

#include "tests/broker/BrokerTest.h"

namespace {

using test::MakeData;

class CommandsTest : public test::BrokerTest {};

// 0, 1, 2, ...: each byte is its own offset.
std::string Counted(size_t length) {
  std::string bytes(length, 0);
  std::iota(bytes.begin(), bytes.end(), 0);
  return bytes;
}

struct RecordCase {
  const char* name;
  size_t size;
  std::function<std::optional<std::vector<int>>(CFDataRef)> read;  // the fields that are not unused
  std::vector<int> fields;
};

template <class Record, class Fields>
auto Reader(Fields fields) {
  return [fields](CFDataRef data) -> std::optional<std::vector<int>> {
    const auto record = ReadRecord<Record>(data);
    if (!record) return std::nullopt;
    return fields(*record);
  };
}

TEST_F(CommandsTest, ARecordIsReadWholeOrNotAtAll) {
  const RecordCase cases[] = {
      {"start",
       6,
       Reader<ViewStartRecord>([](const ViewStartRecord& r) {
         return std::vector<int>{r.code, r.viewType, r.lockInput, r.blankScreen};
       }),
       {0, 3, 4, 5}},
      {"end",
       4,
       Reader<ViewEndRecord>([](const ViewEndRecord& r) {
         return std::vector<int>{r.code, r.hold};
       }),
       {0, 3}},
      {"mouse",
       8,
       Reader<MouseEventRecord>([](const MouseEventRecord& r) {
         return std::vector<int>{r.code, r.flags, r.x, r.y};
       }),
       {0, 3, 0x0504, 0x0706}},
      {"key",
       9,
       Reader<KeyEventRecord>([](const KeyEventRecord& r) {
         return std::vector<int>{r.code, r.keyCode, r.flags};
       }),
       {0, 3, 4}},
      {"character",
       11,
       Reader<AsciiKeyEventRecord>([](const AsciiKeyEventRecord& r) {
         return std::vector<int>{r.code, r.fallbackKeyCode, r.flags, r.shift, r.character};
       }),
       {0, 3, 4, 5, 9}},
  };
  for (const RecordCase& row : cases) {
    SCOPED_TRACE(row.name);
    EXPECT_FALSE(row.read(nullptr));
    for (size_t length = 0; length < row.size; ++length)
      EXPECT_FALSE(row.read(MakeData(Counted(length)))) << length;
    EXPECT_EQ(row.read(MakeData(Counted(row.size))), row.fields);
    EXPECT_EQ(row.read(MakeData(Counted(row.size + 100))), row.fields);
  }
  EXPECT_NE(Log().find("record 0 ignored: 10 bytes, needs 11"), std::string::npos) << Log();
}

TEST_F(CommandsTest, ARecordWithoutAByteHasNoCode) {
  EXPECT_EQ(ReadCommandCode(nullptr), std::nullopt);
  EXPECT_EQ(ReadCommandCode(MakeData("")), std::nullopt);
  EXPECT_EQ(ReadCommandCode(MakeData("\x31")), CMD_VIEW_START_HTML5);
}

}  // namespace
