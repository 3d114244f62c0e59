#include "service/remote/CommandRecord.h"

#include <cstring>

namespace remote {
namespace {

constexpr uint8_t kMoveOnly = 1;
constexpr uint8_t kReleased = 0x80;
// The client forwards no shorter view records.
constexpr uint8_t kViewRecordLength = 8;

template <class Record>
CommandRecord Pack(const Record& record, uint8_t length = sizeof(Record)) {
  CommandRecord packed;
  static_assert(sizeof record <= sizeof packed.bytes);
  std::memcpy(packed.bytes.data(), &record, sizeof record);
  packed.length = length;
  return packed;
}

}  // namespace

bool CommandRecord::IsMove() const {
  return length == sizeof(MouseEventRecord) && bytes[0] == CMD_VIEW_MOUSEEVENT &&
         bytes[offsetof(MouseEventRecord, flags)] == kMoveOnly;
}

CommandRecord MakePointerRecord(const PointerInput& input) {
  return Pack(MouseEventRecord{CMD_VIEW_MOUSEEVENT, {}, input.flags, input.x, input.y});
}

CommandRecord MakeKeyRecord(const KeyInput& input) {
  return Pack(KeyEventRecord{CMD_VIEW_KBDEVENT, {}, input.code, input.pressed ? uint8_t{0} : kReleased, {}});
}

CommandRecord MakeCharacterRecord(const CharacterInput& input) {
  return Pack(AsciiKeyEventRecord{CMD_VIEW_ASCII_KBDEVENT,
                                  {},
                                  input.fallbackCode,
                                  input.pressed ? uint8_t{0} : kReleased,
                                  input.shift,
                                  {},
                                  input.character,
                                  0});
}

CommandRecord MakeViewRecord(CommandCode code, bool lock, bool blank) {
  return Pack(ViewStartRecord{code, {}, 0, lock, blank}, kViewRecordLength);
}

CommandRecord MakeEndRecord() { return Pack(ViewEndRecord{CMD_VIEW_END, {}, 0}); }

}  // namespace remote
