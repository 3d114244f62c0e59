#include "service/remote/ServiceMessages.h"

#include <boost/json.hpp>

#include "service/remote/Machine.h"

namespace remote {
namespace {

namespace json = boost::json;

std::string_view NameOf(Phase phase) {
  switch (phase) {
    case Phase::kStarting:
      return "starting";
    case Phase::kWaiting:
      return "waiting";
    case Phase::kRunning:
      return "running";
    case Phase::kRestarting:
      return "restarting";
    case Phase::kNoDisplay:
      return "no-display";
    case Phase::kFailed:
      return "failed";
    case Phase::kRefused:
      return "refused";
    case Phase::kEnded:
      return "ended";
  }
  return "failed";
}

std::string_view LayoutName(uint8_t layout) {
  constexpr std::string_view kNames[] = {"other", "french", "german", "japanese"};
  return kNames[layout < std::size(kNames) ? layout : 0];
}

std::string Write(json::object object) { return json::serialize(object); }

}  // namespace

std::string WelcomeText(ViewerId viewer, bool viewOnly) {
  return Write({{"type", "welcome"},
                {"viewer", viewer},
                {"computer", ComputerName()},
                {"user", UserName()},
                {"version", AGENT_VERSION},
                {"viewOnly", viewOnly}});
}

std::string PermissionsText(const Permissions& permissions) {
  return Write({{"type", "permissions"},
                {"control", permissions.control},
                {"lock", permissions.lock},
                {"blank", permissions.blank}});
}

std::string ControlText(const ControlStatus& status) {
  return Write({{"type", "control"},
                {"controller", status.controller},
                {"viewers", status.viewers},
                {"lock", status.lock},
                {"blank", status.blank}});
}

std::string StateText(const SessionState& state) {
  return Write(
      {{"type", "state"}, {"state", NameOf(state.phase)}, {"text", state.text}, {"advice", state.advice}});
}

std::string ScreenText(const ScreenShape& screen) {
  json::array monitors;
  for (const auto& [id, monitor] : screen.monitors) {
    const rcserv::Rect& rect = monitor.rect;
    monitors.push_back(json::object{{"id", id},
                                    {"left", rect.left},
                                    {"top", rect.top},
                                    {"right", rect.right},
                                    {"bottom", rect.bottom},
                                    {"primary", monitor.primary}});
  }
  return Write({{"type", "screen"},
                {"id", screen.id},
                {"width", screen.width},
                {"height", screen.height},
                {"monitors", std::move(monitors)}});
}

std::string AskText(ViewerId viewer, std::string_view address) {
  return Write({{"type", "ask"}, {"viewer", viewer}, {"from", address}});
}

std::string WithdrawText(ViewerId viewer) { return Write({{"type", "withdraw"}, {"viewer", viewer}}); }

std::string AnswerText(bool granted, std::string_view text) {
  return Write({{"type", "answer"}, {"granted", granted}, {"text", text}});
}

std::string PointerText(int x, int y) { return Write({{"type", "pointer"}, {"x", x}, {"y", y}}); }

std::string LayoutText(uint8_t layout) { return Write({{"type", "layout"}, {"layout", LayoutName(layout)}}); }

std::string PongText(std::string_view time) { return R"({"type":"pong","time":)" + std::string(time) + "}"; }

}  // namespace remote
