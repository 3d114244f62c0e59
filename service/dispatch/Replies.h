// The dispatcher's replies, each a binary property list.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace service {

[[nodiscard]] std::string StartedReply(pid_t pid);
// `text` is UTF-8.
[[nodiscard]] std::string OutputReply(std::string_view text);
// `pid` 0: there is none.
[[nodiscard]] std::string ResultReply(int32_t result, pid_t pid);

}  // namespace service
