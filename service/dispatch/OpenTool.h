// The open tool of the agent's command lines: opening a bundle starts its executable.
#pragma once
#include <optional>
#include <string>

#include "service/dispatch/LaunchOrder.h"

namespace service {

// The command is the open tool, wherever its path begins.
[[nodiscard]] bool IsOpenTool(const LaunchOrder& order);

// The executable of the bundle that the tool is to open: what its Info.plist names, else the one of the
// bundle's own name. Nothing when the only parameter is not an absolute path of a bundle folder; `problem`
// then says why.
[[nodiscard]] std::optional<std::string> ExecutableToOpen(const LaunchOrder& order, std::string& problem);

}  // namespace service
