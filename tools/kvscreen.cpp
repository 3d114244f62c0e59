// kvscreen: looks at a desktop through the observer that runs on it. Start reading in main(), at the end.
#include <unistd.h>
#include <chrono>

#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "broker/RootFolder.h"
#include "common/KCFolderManager.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"
#include "rcserv/ScreenClient.h"
#include "tools/Options.h"
#include "tools/PngFile.h"
#include "tools/TileClient.h"
#include "tools/View.h"
#include "tools/Watch.h"

namespace {

using namespace std::chrono_literals;
using rcserv::ScreenClient;
using tools::ExitCode;

constexpr uint32_t kFirstAnswerTimeoutMs = 1000;
constexpr int kFirstAnswerTries = 5;
// The observer has said that its session runs before it answers the command.
constexpr auto kTileSessionTimeout = 5s;
constexpr auto kTilePictureTimeout = 20s;

volatile std::sig_atomic_t gInterrupted = 0;

bool Interrupted() { return gInterrupted != 0; }

// An interrupt, or a reader of our output that is gone, ends the view in good order; a second one ends the
// program at once.
void CatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = [](int) { gInterrupted = 1; };
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) sigaction(signal, &action, nullptr);
}

bool WaitForObserver(const std::string& endpoint, int seconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  while (!tools::View::ObserverListens(endpoint)) {
    if (Interrupted() || std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(50ms);
  }
  return true;
}

// What is there may still be a dead observer's.
bool ScreenSocketIsThere() { return access(FetchFolder(kFolderScreenIPCSocket), F_OK) == 0; }

// The observer makes its screen socket some moments after the view has started.
void WaitForScreenSocket() {
  const auto deadline = std::chrono::steady_clock::now() + 1s;
  while (!ScreenSocketIsThere() && std::chrono::steady_clock::now() < deadline)
    std::this_thread::sleep_for(2ms);
}

// The first answer of a connection brings the whole screen.
bool FetchScreen(ScreenClient& screen) {
  WaitForScreenSocket();
  for (int i = 0; i < kFirstAnswerTries && !Interrupted(); ++i) {
    if (screen.Ask(kFirstAnswerTimeoutMs) == ScreenClient::Answer::kNewScreen) return true;
  }
  return false;
}

// What was asked for, in the screen; nothing, and said so, when there is no such monitor.
std::optional<rcserv::Rect> ChooseArea(const ScreenClient& screen, std::optional<uint32_t> monitor) {
  const auto area = monitor ? screen.MonitorArea(*monitor) : screen.Area();
  if (area && !area->IsEmpty()) return area;
  std::fprintf(stderr, "kvscreen: there is no monitor %u; these are there:", monitor.value_or(0));
  for (const auto& [id, unused] : screen.Monitors()) std::fprintf(stderr, " %u", id);
  std::fputs("\n", stderr);
  return std::nullopt;
}

std::optional<std::chrono::seconds> WatchLimit(const tools::Options& options) {
  if (!options.watchSeconds) return std::nullopt;
  return std::chrono::seconds(*options.watchSeconds);
}

// `error`: what WritePng() gave.
ExitCode TellWritten(const std::string& error, const std::string& file) {
  if (error.empty()) return ExitCode::kDone;
  std::fprintf(stderr, "kvscreen: cannot write %s: %s\n", file.c_str(), error.c_str());
  return ExitCode::kNotWritten;
}

ExitCode TellNoCommands(const std::string& endpoint) {
  std::fprintf(stderr, "kvscreen: the observer at %s takes no commands\n", endpoint.c_str());
  return ExitCode::kNoObserver;
}

// ---- the shared screen

ExitCode LookAtScreen(const tools::Options& options, const std::string& endpoint) {
  const bool someViewRuns = ScreenSocketIsThere();
  if (!options.startView && !someViewRuns) {
    std::fputs("kvscreen: no view runs; without --no-start one is started\n", stderr);
    return ExitCode::kNoScreen;
  }
  tools::View view;
  if (options.startView && !view.Start(endpoint, CMD_VIEW_START_HTML5)) return TellNoCommands(endpoint);

  ScreenClient screen;
  if (!FetchScreen(screen)) {
    std::fprintf(
        stderr,
        "kvscreen: the observer shows no screen at %s\n"
        "  Another client may look at it already, for one is served at a time, or the observer hangs.\n"
        "  Its log is %s\n",
        FetchFolder(kFolderScreenIPCSocket), FetchFolder(kFolderLogFile));
    if (someViewRuns) view.LeaveRunning();
    return ExitCode::kNoScreen;
  }

  const auto area = ChooseArea(screen, options.monitor);
  if (!area) return ExitCode::kNoScreen;
  if (!options.pngFile.empty()) {
    const ExitCode taken =
        TellWritten(tools::WritePng(options.pngFile, screen.PixelsAt(area->left, area->top), area->Width(),
                                    area->Height(), screen.StrideBytes(), tiles::kPixels555),
                    options.pngFile);
    if (taken != ExitCode::kDone) return taken;
  }
  if (options.watch && !tools::Watch(screen, options.monitor, WatchLimit(options), Interrupted)) {
    std::fprintf(stderr, "kvscreen: the observer's screen is lost; its log is %s\n",
                 FetchFolder(kFolderLogFile));
    return ExitCode::kNoScreen;
  }
  return ExitCode::kDone;
}

// ---- the tile stream

std::string WritePicture(const RCTileDecoder& picture, const std::string& file) {
  return tools::WritePng(file, reinterpret_cast<const std::byte*>(picture.Pixels().data()), picture.Width(),
                         picture.Height(), std::ptrdiff_t{picture.Width()} * 2, picture.Masks());
}

ExitCode TellNoStream(tools::TileClient& tiles, const char* otherwise) {
  const std::string error = tiles.Error();
  if (!error.empty())
    std::fprintf(stderr, "kvscreen: the tile stream makes no sense: %s\n", error.c_str());
  else
    std::fprintf(stderr, "kvscreen: %s\n  The observer's log is %s\n",
                 Interrupted() ? "interrupted before every display was drawn" : otherwise,
                 FetchFolder(kFolderLogFile));
  return ExitCode::kNoScreen;
}

// One that runs already, left behind by a viewer that has died, tells its desktop only when it begins anew.
bool StartTileView(tools::View& view, tools::TileClient& tiles, const std::string& endpoint) {
  if (!view.Start(endpoint, CMD_VIEW_START)) return false;
  if (tiles.ForSession(kTileSessionTimeout, Interrupted) != tools::TileClient::Wait::kThere ||
      tiles.KnowsDesktop())
    return true;
  view.End();
  return view.Start(endpoint, CMD_VIEW_START);
}

ExitCode FollowTiles(const tools::Options& options, const std::string& endpoint, tools::TileClient& tiles) {
  using Wait = tools::TileClient::Wait;
  tools::View view;
  const bool someViewRuns = ScreenSocketIsThere();
  if (!StartTileView(view, tiles, endpoint)) return TellNoCommands(endpoint);
  if (tiles.ForSession(0s, Interrupted) == Wait::kTimedOut) {
    if (someViewRuns) view.LeaveRunning();
    return TellNoStream(tiles, tools::View::ObserverListens(endpoint)
                                   ? "no tile stream comes: kvobserve must run with -legacy"
                                   : "the observer has ended instead of starting a view");
  }
  if (tiles.ForPicture(kTilePictureTimeout, Interrupted) != Wait::kThere)
    return TellNoStream(tiles, "the tile stream does not show every display");

  if (!options.pngFile.empty()) {
    const ExitCode taken = TellWritten(WritePicture(tiles.Picture(), options.pngFile), options.pngFile);
    if (taken != ExitCode::kDone) return taken;
  }
  if (options.watch && !tools::Watch(tiles, WatchLimit(options), Interrupted))
    return TellNoStream(tiles, "the tile stream is lost");
  return ExitCode::kDone;
}

ExitCode LookAtTiles(const tools::Options& options, const std::string& endpoint) {
  tools::TileClient tiles;
  if (!tiles.Start()) {
    std::fputs(
        "kvscreen: the message port com.korvane.kvremote is taken\n"
        "  Does the remote-control service run? Then the tile stream is for it.\n",
        stderr);
    return ExitCode::kPortTaken;
  }
  const ExitCode result = FollowTiles(options, endpoint, tiles);
  if (const int count = tiles.StrangeMessages(); count != 0)
    std::fprintf(stderr, "kvscreen: messages at the port that were no records of an observer: %d\n", count);
  return result;
}

// ----

ExitCode Look(const tools::Options& options) {
  const std::string endpoint = FetchFolder(kFolderObserveEndpoint);
  if (!WaitForObserver(endpoint, options.waitSeconds)) {
    std::fprintf(stderr,
                 "kvscreen: no observer answers at %s\n"
                 "  Is kvobserve running, for this user, and with the same TMPDIR? Its log is %s\n",
                 endpoint.c_str(), FetchFolder(kFolderLogFile));
    return ExitCode::kNoObserver;
  }
  return options.legacy ? LookAtTiles(options, endpoint) : LookAtScreen(options, endpoint);
}

}  // namespace

int main(int argc, char** argv) {
  const auto options = tools::ParseOptions(argc, argv);
  if (!options) return static_cast<int>(ExitCode::kUsage);
  CatchInterrupts();
  // What happens here is told to the person who asked, not to the agent's log.
  ASLSetFilter(0);
  platform::EchoConsoleLog(false);
  // A program that is no bundle has its own folder as its bundle's.
  SettleRootFolder(StCFTypeRef<CFURLRef>(CFBundleCopyBundleURL(CFBundleGetMainBundle())));
  return static_cast<int>(Look(*options));
}
