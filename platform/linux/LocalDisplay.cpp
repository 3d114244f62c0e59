#include "platform/linux/LocalDisplay.h"

#include <xcb/xcb.h>

#include <string_view>

#include "platform/Handles.h"

namespace platform {

std::optional<int> LocalDisplayNumber(const char* name) {
  char* hostText = nullptr;
  int number = 0;
  if (xcb_parse_display(name, &hostText, &number, nullptr) == 0) return std::nullopt;
  const MallocPtr<char> owned(hostText);
  const std::string_view host(hostText);
  return host.empty() || host == "unix" ? std::optional(number) : std::nullopt;
}

}  // namespace platform
