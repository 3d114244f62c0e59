// A window on the session's display that tells the user something, or asks.
#pragma once
#include <chrono>
#include <optional>
#include <string>

namespace tools {

enum class NoticeKind {
  kNotice,   // goes away by itself, or by a click
  kQuestion  // "Allow" and "Refuse"
};

// Shows the text (UTF-8; what is no UTF-8 is replaced) and waits for the user, for the time to pass, or for
// the end of `pipe`: a pipe's reading end that does not block, borrowed; -1 for none. True when a question
// was allowed; every other end is a no, closing the window and a display that goes away among them. Nothing
// without a display.
//
// A question takes no answer in its first half second: a click or a key that was meant for another window is
// no consent. Where no window manager would give it the keyboard it takes it, for as long as it is there.
[[nodiscard]] std::optional<bool> ShowNotice(NoticeKind kind, const std::string& text,
                                             std::chrono::seconds limit, int pipe);

}  // namespace tools
