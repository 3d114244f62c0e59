// The command line of kvscreen.
#pragma once
#include <optional>
#include <string>

namespace tools {

struct Options {
  std::string pngFile;  // empty: no picture
  bool watch = false;
  std::optional<int> watchSeconds;  // none: until interrupted
  bool legacy = false;              // the tile stream instead of the shared screen
  bool startView = true;
  std::optional<unsigned> monitor;  // none: the whole desktop
  int waitSeconds = 0;              // for an observer to answer
};

enum class ExitCode : int {
  kDone = 0,
  kUsage = 1,
  kNoObserver = 2,
  kNoScreen = 3,
  kNotWritten = 4,
  kPortTaken = 5,
};

// What `kvscreen --help` prints.
extern const char kHelp[];

// Reads the arguments; --help prints and ends the process with status 0. Nothing when they make no sense: the
// reason has been printed to standard error.
[[nodiscard]] std::optional<Options> ParseOptions(int argc, char** argv);

}  // namespace tools
