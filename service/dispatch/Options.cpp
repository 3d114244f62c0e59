#include "service/dispatch/Options.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace service {

namespace {

constexpr char kHelp[] =
    R"(kvdispatch - starts programs for the agent: as root, in the session of the user at the console, at the login window

It stays in the foreground until SIGTERM or SIGINT ends it; the programs that it started go on. It serves the installation whose bin folder it lies
in, and writes to that installation's log. Without root's rights it starts programs of its own user only.

Options
  --user NAME         this user is at the console, whatever the machine says
  --display :N        the display of that session; the default is this program's own $DISPLAY
  --xauthority FILE   the display's key; the default is $XAUTHORITY
  --runtime-dir DIR   the session's XDG_RUNTIME_DIR; the default is /run/user/UID when it is there
  --bus ADDRESS       the session's DBUS_SESSION_BUS_ADDRESS; the default is the bus in /run/user/UID when it is there
  --patience SECONDS  how long a client may leave a program's output unread before the rest is dropped (30)
  --version           prints the version
  --help              this text

Without --user the session manager says who is at the console; where there is none, it is the owner of the display's server.

Exit status
  0   ended by a signal
  1   another one serves this installation, its endpoints cannot be made, or it cannot start programs as that user
  2   the arguments make no sense
)";

std::nullopt_t Complain(const char* what, const char* text) {
  std::fprintf(stderr, "kvdispatch: %s%s; see kvdispatch --help\n", what, text);
  return std::nullopt;
}

[[noreturn]] void PrintAndEnd(const char* text) {
  std::fputs(text, stdout);
  std::exit(0);
}

enum { kUser = 1, kDisplay, kXauthority, kRuntimeFolder, kBus, kPatience, kVersionWanted, kHelpWanted };

constexpr option kOptions[] = {{"user", required_argument, nullptr, kUser},
                               {"display", required_argument, nullptr, kDisplay},
                               {"xauthority", required_argument, nullptr, kXauthority},
                               {"runtime-dir", required_argument, nullptr, kRuntimeFolder},
                               {"bus", required_argument, nullptr, kBus},
                               {"patience", required_argument, nullptr, kPatience},
                               {"version", no_argument, nullptr, kVersionWanted},
                               {"help", no_argument, nullptr, kHelpWanted},
                               {nullptr, 0, nullptr, 0}};

bool ReadSeconds(const char* text, std::chrono::seconds& seconds) {
  constexpr int kMost = 24 * 60 * 60;
  int number = 0;
  const char* const end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, number);
  if (result.ec != std::errc() || result.ptr != end || number < 0 || number > kMost) return false;
  seconds = std::chrono::seconds(number);
  return true;
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  opterr = 0;
  for (int found = 0; (found = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    switch (found) {
      case kUser:
        options.user = optarg;
        break;
      case kDisplay:
        options.display = optarg;
        if (options.display.find(':') == std::string::npos) return Complain("not a display: ", optarg);
        break;
      case kXauthority:
        options.xauthority = optarg;
        break;
      case kRuntimeFolder:
        options.runtimeFolder = optarg;
        break;
      case kBus:
        options.busAddress = optarg;
        break;
      case kPatience:
        if (!ReadSeconds(optarg, options.patience)) return Complain("not a number of seconds: ", optarg);
        break;
      case kVersionWanted:
        PrintAndEnd(AGENT_VERSION "\n");
      case kHelpWanted:
        PrintAndEnd(kHelp);
      default:
        return Complain("unknown or incomplete option ", argv[optind - 1]);
    }
    if (optarg != nullptr && *optarg == '\0') return Complain("an option has an empty value", "");
  }
  if (optind < argc) return Complain("unexpected argument ", argv[optind]);
  return options;
}

}  // namespace service
