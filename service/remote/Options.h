// The command line of kvremote.
#pragma once
#include <optional>

#include "service/remote/DesktopSession.h"
#include "service/remote/WebServer.h"

namespace remote {

struct Options {
  SessionOptions session;
  WebSettings web;
};

// Reads the arguments; --help and --version print and end the process with status 0. Nothing when they make
// no sense: the reason has been printed to standard error.
[[nodiscard]] std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace remote
