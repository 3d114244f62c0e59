// The records that the service and the observer exchange: codes, layouts, and how a received record is read.
//
// Records are packed and in the host's byte order (little-endian); byte 0 is the code.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <type_traits>

// What the service asks for. Any other code is ignored; the reply to each of them is empty.
enum CommandCode : uint8_t {
  CMD_VIEW_START = 0,
  CMD_VIEW_END = 2,
  CMD_VIEW_MOUSEEVENT = 4,
  CMD_VIEW_KBDEVENT = 5,
  CMD_VIEW_REFRESH = 10,
  CMD_VIEW_ASCII_KBDEVENT = 21,
  CMD_VIEW_SETTINGS = 48,
  CMD_VIEW_START_HTML5 = 49
};

// The message id that carries commands; requests with another id are answered and ignored.
inline constexpr int kCommandMessageId = 1;

#pragma pack(push, 1)

// CMD_VIEW_START, CMD_VIEW_SETTINGS, CMD_VIEW_START_HTML5.
struct ViewStartRecord {
  uint8_t code;
  uint8_t unused[2];
  uint8_t viewType;     // 2 to 6 choose a colour reduction of the tile stream, anything else none
  uint8_t lockInput;    // non-zero: lock the local keyboard and mouse
  uint8_t blankScreen;  // bit 0: blank the local screen
};
static_assert(sizeof(ViewStartRecord) == 6);

struct ViewEndRecord {
  uint8_t code;
  uint8_t unused[2];
  uint8_t hold;  // non-zero: a later CMD_VIEW_REFRESH does not start the session again
};
static_assert(sizeof(ViewEndRecord) == 4);

struct MouseEventRecord {
  uint8_t code;
  uint8_t unused[2];
  // Bit 0: move; bit 1: left down; bit 2: left up, read when bit 1 is clear; bits 3 and 4: right, likewise.
  uint8_t flags;
  uint16_t x;
  uint16_t y;
};
static_assert(sizeof(MouseEventRecord) == 8);

struct KeyEventRecord {
  uint8_t code;
  uint8_t unused[2];
  uint8_t keyCode;  // in the viewer's code set; 0 is no key
  uint8_t flags;    // bit 7: released
  uint8_t unused2[4];
};
static_assert(sizeof(KeyEventRecord) == 9);

struct AsciiKeyEventRecord {
  uint8_t code;
  uint8_t unused[2];
  uint8_t fallbackKeyCode;  // in the viewer's code set, for a character that has no key
  uint8_t flags;            // bit 7: released
  uint8_t shift;            // non-zero: typed with Shift
  uint8_t unused2[3];
  uint8_t character;  // 7 bits
  uint8_t unused3;
};
static_assert(sizeof(AsciiKeyEventRecord) == 11);

// What the observer sends to the service's message port. Byte 1 of a record is its length.

// What stands behind a StatusHeader.
enum CONTROL_TYPES : uint8_t {
  kControlStatus = 0  // a record below, or a piece of the tile stream
};

// Stands in front of a status record.
struct StatusHeader {
  char magic[4];        // "RCH1"
  uint8_t reserved[4];  // zero
  CONTROL_TYPES controlType;
  uint8_t reserved2[3];  // zero
};
static_assert(sizeof(StatusHeader) == 12);

struct SessionStartedRecord {
  uint8_t code;  // 0
  uint8_t length;
  uint8_t unused[2];
  uint32_t flags;  // kSessionStarted, kSessionBlanksScreen
};
inline constexpr uint32_t kSessionStarted = 0x10000000;
inline constexpr uint32_t kSessionBlanksScreen = 0x100;  // the screen is to be blank
static_assert(sizeof(SessionStartedRecord) == 8);

struct SessionEndRecord {
  uint8_t code;  // 2
  uint8_t length;
  uint8_t unused[2];
};
static_assert(sizeof(SessionEndRecord) == 4);

struct PointerPositionRecord {
  uint8_t code;  // 4
  uint8_t length;
  uint8_t unused[2];
  uint16_t x;
  uint16_t y;
};
static_assert(sizeof(PointerPositionRecord) == 8);

// Sent without a StatusHeader.
struct KeyboardLayoutRecord {
  uint8_t code;  // 50
  uint8_t length;
  uint8_t unused;
  uint8_t layout;  // 0 other, 1 French, 2 German, 3 Japanese
  uint8_t unused2[3];
};
static_assert(sizeof(KeyboardLayoutRecord) == 7);

#pragma pack(pop)

// The first byte of a command; nothing for a record without one (null or empty), which is logged.
[[nodiscard]] std::optional<uint8_t> ReadCommandCode(CFDataRef data);

// Copies the first `size` bytes into `record`. False, and logged, when there are fewer.
[[nodiscard]] bool CopyRecord(CFDataRef data, void* record, size_t size);

// A received record; nothing when it is shorter than its fields, which is logged. Longer ones are cut.
template <class Record>
[[nodiscard]] std::optional<Record> ReadRecord(CFDataRef data) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  Record record;
  if (!CopyRecord(data, &record, sizeof record)) return std::nullopt;
  return record;
}
