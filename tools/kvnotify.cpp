// kvnotify: tells the user of the session something, or asks. Start reading in main(), at the end.
#include <fcntl.h>
#include <getopt.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "platform/Handles.h"
#include "tools/NoticeWindow.h"

namespace {

constexpr char kHelp[] =
    R"(kvnotify - shows a notice, or a question, on the display that DISPLAY names

  kvnotify --notice TEXT [OPTIONS]   shows the text for 8 seconds, or until it is clicked
  kvnotify --ask TEXT [OPTIONS]      asks, with the buttons "Allow" and "Refuse"; no answer within 30 seconds is no
  kvnotify --help                    this text

  --seconds N          N seconds instead
  --while-open PATH    only as long as some program has PATH, a named pipe, open for writing: whoever asked
                       takes the question back by closing it, or by ending

Exit status
  0   the notice was shown, or the question was allowed
  1   the question was refused, not answered, or taken back
  2   the arguments make no sense
  3   there is no display
)";

enum ExitCode { kDone = 0, kRefused = 1, kUsage = 2, kNoDisplay = 3 };

struct Options {
  std::optional<tools::NoticeKind> kind;
  std::string text;
  int seconds = 0;
  std::optional<std::string> pipe;
};

bool ReadSeconds(const char* text, int& seconds) {
  constexpr int kMost = 3600;
  const char* const end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, seconds);
  return result.ec == std::errc() && result.ptr == end && seconds >= 1 && seconds <= kMost;
}

// Nothing when the arguments make no sense.
std::optional<Options> ParseOptions(int argc, char** argv) {
  enum { kNotice = 1, kAsk, kSeconds, kWhileOpen, kHelpWanted };
  constexpr option kOptions[] = {{"notice", required_argument, nullptr, kNotice},
                                 {"ask", required_argument, nullptr, kAsk},
                                 {"seconds", required_argument, nullptr, kSeconds},
                                 {"while-open", required_argument, nullptr, kWhileOpen},
                                 {"help", no_argument, nullptr, kHelpWanted},
                                 {nullptr, 0, nullptr, 0}};
  Options options;
  for (int found = 0; (found = getopt_long(argc, argv, "", kOptions, nullptr)) != -1;) {
    switch (found) {
      case kNotice:
      case kAsk:
        if (options.kind) return std::nullopt;
        options.kind = found == kAsk ? tools::NoticeKind::kQuestion : tools::NoticeKind::kNotice;
        options.text = optarg;
        break;
      case kSeconds:
        if (!ReadSeconds(optarg, options.seconds)) return std::nullopt;
        break;
      case kWhileOpen:
        options.pipe = optarg;
        break;
      case kHelpWanted:
        std::fputs(kHelp, stdout);
        std::exit(kDone);
      default:
        return std::nullopt;
    }
  }
  if (optind != argc || !options.kind || options.text.empty()) return std::nullopt;
  if (options.seconds == 0) options.seconds = options.kind == tools::NoticeKind::kQuestion ? 30 : 8;
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = ParseOptions(argc, argv);
  if (!options) {
    std::fputs("kvnotify: these arguments make no sense; see kvnotify --help\n", stderr);
    return kUsage;
  }
  platform::UniqueFd pipe;
  if (options->pipe) {
    pipe.Reset(open(options->pipe->c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!pipe) {
      std::fprintf(stderr, "kvnotify: cannot open %s: %s\n", options->pipe->c_str(), std::strerror(errno));
      return kRefused;
    }
  }
  const auto allowed =
      tools::ShowNotice(*options->kind, options->text, std::chrono::seconds(options->seconds), pipe.Get());
  if (!allowed) {
    std::fputs("kvnotify: there is no display to show it on\n", stderr);
    return kNoDisplay;
  }
  return options->kind == tools::NoticeKind::kNotice || *allowed ? kDone : kRefused;
}
