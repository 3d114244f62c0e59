// Which key of a keyboard each of the platform's virtual keys is.
#pragma once
#include <cstddef>
#include <cstdint>
#include <span>

namespace platform::x11 {

// Virtual keys are 0 to 127.
inline constexpr size_t kVirtualKeyCount = 128;

inline constexpr uint16_t kVirtualCapsLock = 57;
inline constexpr uint16_t kVirtualNumLock = 71;

// Shift, Control, Option and Command of either side.
constexpr bool IsModifier(uint16_t virtualKey) {
  return virtualKey >= 54 && virtualKey <= 62 && virtualKey != kVirtualCapsLock;
}

struct VirtualKey {
  uint16_t key;
  // XKB's names of it, which tell its place on the keyboard; the first one that a keyboard has counts.
  const char* names[2];
};

// Every key of ANSI, ISO and JIS keyboards.
[[nodiscard]] std::span<const VirtualKey> VirtualKeys();

}  // namespace platform::x11
