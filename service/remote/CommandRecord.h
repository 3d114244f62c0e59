// A record for the observer, as the service's client forwards it.
#pragma once
#include <array>
#include <cstdint>
#include <span>

#include "broker/Commands.h"
#include "service/remote/PageMessages.h"

namespace remote {

struct CommandRecord {
  std::array<uint8_t, sizeof(AsciiKeyEventRecord)> bytes{};
  uint8_t length = 0;

  [[nodiscard]] std::span<const uint8_t> Bytes() const { return std::span(bytes).first(length); }
  // A move of the pointer and nothing else: the next one makes it pointless.
  [[nodiscard]] bool IsMove() const;
};

// The position counts from the desktop's origin.
[[nodiscard]] CommandRecord MakePointerRecord(const PointerInput& input);
[[nodiscard]] CommandRecord MakeKeyRecord(const KeyInput& input);
[[nodiscard]] CommandRecord MakeCharacterRecord(const CharacterInput& input);
// Code 48 or 49.
[[nodiscard]] CommandRecord MakeViewRecord(CommandCode code, bool lock, bool blank);
[[nodiscard]] CommandRecord MakeEndRecord();

}  // namespace remote
