// Whether the bytes of a binary property list are one.
#pragma once
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace platform::cf {

// Every binary list begins with it.
inline constexpr std::string_view kBinaryListStart = "bplist00";

// Empty when every object that can be reached from the top one is whole and the list is within the limits;
// else the reason.
//
// Objects name one another by number and may share what they name, so a short list can unfold to one of any
// size, or hold itself; the library that reads it unfolds it without a limit.
[[nodiscard]] std::string CheckBinaryList(std::span<const uint8_t> bytes);

}  // namespace platform::cf
