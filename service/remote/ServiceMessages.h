// What the service tells a page, as JSON texts.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>

#include "rcserv/MonitorConfig.h"
#include "service/remote/SessionState.h"
#include "service/remote/ViewerHub.h"

namespace remote {

// What the machine's settings allow.
struct Permissions {
  bool control = false, lock = false, blank = false;
  bool operator==(const Permissions&) const = default;
};

// Who controls, and what is asked for.
struct ControlStatus {
  ViewerId controller = 0;
  size_t viewers = 0;
  bool lock = false, blank = false;
};

struct ScreenShape {
  uint32_t id = 0;
  int width = 0, height = 0;
  rcserv::Monitors monitors = {};  // relative to the screen's corner
};

[[nodiscard]] std::string WelcomeText(ViewerId viewer, bool viewOnly);
[[nodiscard]] std::string PermissionsText(const Permissions& permissions);
[[nodiscard]] std::string ControlText(const ControlStatus& status);
[[nodiscard]] std::string StateText(const SessionState& state);
[[nodiscard]] std::string ScreenText(const ScreenShape& screen);
[[nodiscard]] std::string AskText(ViewerId viewer, std::string_view address);
[[nodiscard]] std::string WithdrawText(ViewerId viewer);
[[nodiscard]] std::string AnswerText(bool granted, std::string_view text);
[[nodiscard]] std::string PointerText(int x, int y);
// `layout` as in KeyboardLayoutRecord.
[[nodiscard]] std::string LayoutText(uint8_t layout);
// `time` is JSON.
[[nodiscard]] std::string PongText(std::string_view time);

}  // namespace remote
