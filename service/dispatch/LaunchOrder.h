// What a request asks for, once every value of it has been looked at.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "service/dispatch/ResultCodes.h"

namespace service {

enum class Mode {
  kStart,   // one reply, as soon as the program runs
  kWait,    // start and result
  kStream,  // and output as it comes
  kLines    // and output by lines
};

struct LaunchOrder {
  std::string command;  // absolute
  std::vector<std::string> parameters;
  Mode mode = Mode::kStart;
  std::string secret;  // empty: none was given
};

inline constexpr size_t kMaxRequestBytes = 1 << 20;

// Reads a property list, XML or binary, that came from outside. A command without a leading "/" is taken from
// the root folder: nothing is looked up in a path, no shell sees it. Not kDone: what is wrong, and `order` is
// to be forgotten.
[[nodiscard]] ResultCode ParseOrder(std::string_view bytes, LaunchOrder& order);

}  // namespace service
