// What a page says, read from bytes that are not trusted.
#pragma once
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "service/remote/ViewerHub.h"

namespace remote {

struct WantControl {
  bool want;
};
struct AnswerRequest {
  ViewerId viewer;
  bool grant;
};
struct AskSettings {
  bool lock, blank;
};
struct ShowMonitor {
  std::optional<uint32_t> id;  // none: all
};
struct Refresh {};
struct Retry {};
struct Ping {
  std::string time;  // JSON
};
using PageMessage = std::variant<WantControl, AnswerRequest, AskSettings, ShowMonitor, Refresh, Retry, Ping>;

// Nothing for what is no message of the page's.
[[nodiscard]] std::optional<PageMessage> ReadPageMessage(std::string_view json);

// Pixels of the screen; flags as in MouseEventRecord.
struct PointerInput {
  uint8_t flags;
  uint16_t x, y;
};
struct KeyInput {
  uint8_t code;
  bool pressed;
};
struct CharacterInput {
  uint8_t character;
  uint8_t fallbackCode;
  bool pressed, shift;
};
struct ReleaseInput {};
struct Drawn {
  uint32_t number;
};
using PageInput = std::variant<PointerInput, KeyInput, CharacterInput, ReleaseInput, Drawn>;

[[nodiscard]] std::optional<PageInput> ReadPageInput(std::span<const uint8_t> message);

}  // namespace remote
