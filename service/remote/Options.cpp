#include "service/remote/Options.h"

#include <getopt.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace remote {

namespace {

constexpr char kHelp[] =
    R"(kvremote - shows this desktop in a browser, and lets a person work on it

It starts the observer of its own installation when somebody looks, prints one line, the address to open, and stays in the foreground until
SIGTERM or SIGINT ends it. Whoever has the address has the desktop: it holds a token, which is new at every start.

Options
  --address A         the IP address to listen at (127.0.0.1)
  --port N            the port (a free one)
  --tls CERT KEY      serve https with this certificate and its key, two PEM files; any address but a loopback one needs it
  --view-only         nobody controls, all only watch
  --legacy            show the observer's tile stream instead of its shared screen
  --observer PATH     the observer's bundle, a folder kvobserve.app (the one beside this program)
  --idle MINUTES      end the session after that time without input, 0 for never (the setting InactivityTimeout)
  --max-viewers N     how many may look at the same time, 1 to 50 (8)
  --version           prints the version
  --help              this text

Exit status
  0   ended by a signal
  1   it cannot listen there, the certificate or the observer cannot be used, or another one serves this machine
  2   the arguments make no sense
)";

constexpr int kMostMinutes = 7 * 24 * 60;
constexpr int kMostViewers = 50;  // connections are left for their pages

std::nullopt_t Complain(const char* what, const char* text) {
  std::fprintf(stderr, "kvremote: %s%s; see kvremote --help\n", what, text);
  return std::nullopt;
}

[[noreturn]] void PrintAndEnd(const char* text) {
  std::fputs(text, stdout);
  std::exit(0);
}

enum {
  kAddress = 1,
  kPort,
  kTls,
  kViewOnly,
  kLegacy,
  kObserver,
  kIdle,
  kMaxViewers,
  kVersionWanted,
  kHelpWanted
};

constexpr option kOptions[] = {{"address", required_argument, nullptr, kAddress},
                               {"port", required_argument, nullptr, kPort},
                               {"tls", required_argument, nullptr, kTls},
                               {"view-only", no_argument, nullptr, kViewOnly},
                               {"legacy", no_argument, nullptr, kLegacy},
                               {"observer", required_argument, nullptr, kObserver},
                               {"idle", required_argument, nullptr, kIdle},
                               {"max-viewers", required_argument, nullptr, kMaxViewers},
                               {"version", no_argument, nullptr, kVersionWanted},
                               {"help", no_argument, nullptr, kHelpWanted},
                               {nullptr, 0, nullptr, 0}};

// A whole number from `least` to `most`.
std::optional<int> NumberIn(const char* text, int least, int most) {
  int number = 0;
  const char* const end = text + std::strlen(text);
  const auto result = std::from_chars(text, end, number);
  if (result.ec != std::errc() || result.ptr != end || number < least || number > most) return std::nullopt;
  return number;
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  std::optional<int> number;
  opterr = 0;
  // A leading + ends the options at the first argument that is none.
  for (int found = 0; (found = getopt_long(argc, argv, "+", kOptions, nullptr)) != -1;) {
    if (optarg != nullptr && *optarg == '\0') return Complain("an option has an empty value", "");
    switch (found) {
      case kAddress:
        options.web.address = optarg;
        break;
      case kPort:
        if (!(number = NumberIn(optarg, 1, UINT16_MAX))) return Complain("not a port: ", optarg);
        options.web.port = static_cast<uint16_t>(*number);
        break;
      case kTls:
        if (optind >= argc) return Complain("--tls needs two files: a certificate and its key", "");
        options.web.certificateFile = optarg;
        options.web.keyFile = argv[optind++];
        break;
      case kViewOnly:
        options.session.viewOnly = true;
        break;
      case kLegacy:
        options.session.legacy = true;
        break;
      case kObserver:
        options.session.observerPath = optarg;
        break;
      case kIdle:
        if (!(number = NumberIn(optarg, 0, kMostMinutes)))
          return Complain("not a number of minutes: ", optarg);
        options.session.idle = std::chrono::minutes(*number);
        break;
      case kMaxViewers:
        if (!(number = NumberIn(optarg, 1, kMostViewers)))
          return Complain("not a number of viewers: ", optarg);
        options.session.maxViewers = static_cast<size_t>(*number);
        break;
      case kVersionWanted:
        PrintAndEnd(AGENT_VERSION "\n");
      case kHelpWanted:
        PrintAndEnd(kHelp);
      default:
        return Complain("unknown or incomplete option ", argv[optind - 1]);
    }
  }
  if (optind < argc) return Complain("unexpected argument ", argv[optind]);
  if (!IsIpAddress(options.web.address)) return Complain("not an IP address: ", options.web.address.c_str());
  if (!IsLoopback(options.web.address) && options.web.certificateFile.empty())
    return Complain("only with --tls can others than this machine be let in, so not at ",
                    options.web.address.c_str());
  return options;
}

}  // namespace remote
