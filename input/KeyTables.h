// Which key types a character in the layout that the session has, and which key a viewer's key code means.
#pragma once
#include <CoreGraphics/CGRemoteOperation.h>

#include <cstdint>

// What FindKey() gives for a character without a key; no platform virtual key.
inline constexpr CGKeyCode kNoKey = 255;

// Pairs of a viewer's key code and a platform virtual key, or kNoKey, ended by a pair of zeros. Of several
// pairs with the same key code the first one counts.
extern const uint16_t gMacVirtualKeys[];

// Reads the layout that the session's keyboard has now into the two tables of the process. Without a layout
// they stay as they were. Any thread: whoever looks a key up meanwhile finds it in the tables from before.
void BuildTables();

// The key that types a character, alone or with Shift. Only 7-bit characters are in the tables. Any thread.
[[nodiscard]] CGKeyCode FindKey(uint8_t character, bool withShift);
