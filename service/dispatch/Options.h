// The command line of kvdispatch.
#pragma once
#include <chrono>
#include <optional>
#include <string>

namespace service {

struct Options {
  // Who is at the console, and how that session is reached; empty: as the machine tells.
  std::string user, display, xauthority, runtimeFolder, busAddress;
  std::chrono::seconds patience{30};  // with a client that leaves its output unread
};

// Reads the arguments; --help and --version print and end the process with status 0. Nothing when they make
// no sense: the reason has been printed to standard error.
[[nodiscard]] std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace service
