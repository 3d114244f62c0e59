#include "tools/Options.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tools {

const char kHelp[] =
    R"(kvscreen - looks at a desktop through the observer that runs on it

  kvscreen --png FILE            takes one full picture
  kvscreen --watch [SECONDS]     prints a line a second about what changes, until interrupted or for that long

Options
  --legacy         looks as a viewer of the tile stream does; the observer must run with -legacy
  --monitor N      only this monitor (0 is the main one); without it, the whole desktop
  --no-start       joins a view that already runs, and leaves it running
  --wait SECONDS   waits that long for an observer to answer, instead of giving up at once
  --help           this text

Both can be asked for at once: the picture comes first. One client is served at a time. The observer is found by the same rule that it follows itself: it
belongs to the folder that this program lies in, and its sockets lie in the user's temporary folder ($TMPDIR).

The tile stream goes to the remote-control service, whose message port is served by this program while it looks: the service must not run. The stream
tells whole desktops, so --legacy goes with neither --monitor nor --no-start.

A line of --watch
  updates      answers that carried a change
  rectangles   changed rectangles in them
  megapixels   their area
  latency      median time from a request to its answer
and with --legacy
  updates      frames, also those that show nothing new: they come as long as the observer lives
  rectangles   frames that show something
  megapixels   their area
  kilobytes    all that came

Exit status
  0   done, or interrupted while watching
  1   the arguments make no sense
  2   no observer answers
  3   the observer shows no screen or has no such monitor, or its screen was lost
  4   the picture could not be written
  5   the service's message port is taken
)";

namespace {

template <class Number>
bool ReadNumber(const char* text, Number& number) {
  const char* end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, number);
  return result.ec == std::errc() && result.ptr == end;
}

std::nullopt_t Complain(const char* what, const char* text) {
  std::fprintf(stderr, "kvscreen: %s%s; see kvscreen --help\n", what, text);
  return std::nullopt;
}

enum { kPng = 1, kWatch, kLegacy, kMonitor, kNoStart, kWait, kHelpWanted };

constexpr option kOptions[] = {
    {"png", required_argument, nullptr, kPng},    {"watch", optional_argument, nullptr, kWatch},
    {"legacy", no_argument, nullptr, kLegacy},    {"monitor", required_argument, nullptr, kMonitor},
    {"no-start", no_argument, nullptr, kNoStart}, {"wait", required_argument, nullptr, kWait},
    {"help", no_argument, nullptr, kHelpWanted},  {nullptr, 0, nullptr, 0},
};

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  opterr = 0;
  for (int found = 0; (found = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    // "--watch 5" is as good as "--watch=5".
    if (found == kWatch && optarg == nullptr && optind < argc && argv[optind][0] != '-')
      optarg = argv[optind++];

    switch (found) {
      case kPng:
        options.pngFile = optarg;
        if (options.pngFile.empty()) return Complain("--png needs the name of a file", "");
        break;
      case kWatch: {
        options.watch = true;
        int seconds = 0;
        if (optarg == nullptr) break;
        if (!ReadNumber(optarg, seconds) || seconds < 1) return Complain("not a number of seconds: ", optarg);
        options.watchSeconds = seconds;
        break;
      }
      case kLegacy:
        options.legacy = true;
        break;
      case kMonitor: {
        unsigned monitor = 0;
        if (!ReadNumber(optarg, monitor)) return Complain("not the number of a monitor: ", optarg);
        options.monitor = monitor;
        break;
      }
      case kNoStart:
        options.startView = false;
        break;
      case kWait:
        if (!ReadNumber(optarg, options.waitSeconds) || options.waitSeconds < 0) {
          return Complain("not a number of seconds: ", optarg);
        }
        break;
      case kHelpWanted:
        std::fputs(kHelp, stdout);
        std::exit(static_cast<int>(ExitCode::kDone));
      default:
        return Complain("unknown or incomplete option ", argv[optind - 1]);
    }
  }
  if (optind < argc) return Complain("unexpected argument ", argv[optind]);
  if (options.pngFile.empty() && !options.watch) return Complain("nothing to do: give --png or --watch", "");
  if (options.legacy && options.monitor)
    return Complain("--legacy shows the whole desktop, no --monitor", "");
  if (options.legacy && !options.startView)
    return Complain("--legacy starts its own view, no --no-start", "");
  return options;
}

}  // namespace tools
