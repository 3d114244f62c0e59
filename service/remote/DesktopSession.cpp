#include "service/remote/DesktopSession.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>
#include <variant>

#include "broker/RootFolder.h"
#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "platform/ThreadSafety.h"
#include "service/remote/Audit.h"
#include "service/remote/CommandQueue.h"
#include "service/remote/Display.h"
#include "service/remote/ObserverLife.h"
#include "service/remote/Preferences.h"
#include "service/remote/RemotePort.h"
#include "service/remote/Roster.h"
#include "service/remote/ScreenPump.h"
#include "service/remote/SharedScreenLink.h"
#include "service/remote/SharedScreenSource.h"
#include "service/remote/TileLink.h"
#include "service/remote/TileScreen.h"
#include "service/remote/UserNotice.h"

namespace remote {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kLookEvery = 250ms;

StCFTypeRef<CFURLRef> MakeFolderUrl(const std::string& path) {
  return StCFTypeRef<CFURLRef>(CFURLCreateFromFileSystemRepresentation(
      kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()), static_cast<CFIndex>(path.size()),
      true));
}

}  // namespace

void SettleFolders(const std::string& observerPath) {
  if (observerPath.empty())
    return SettleRootFolder(StCFTypeRef<CFURLRef>(CFBundleCopyBundleURL(CFBundleGetMainBundle())));
  const auto bundle = std::filesystem::absolute(observerPath).lexically_normal();
  SettleRootFolder(MakeFolderUrl(bundle.parent_path()));
}

// What the viewers' calls, the screen, the message port and the clock bring together. Jobs run on the command
// thread, and what is theirs has no lock.
class DesktopSession::Core {
 public:
  explicit Core(SessionOptions options)
      : options_(std::move(options)),
        roster_(commands_, options_.viewOnly, options_.maxViewers, options_.answerLimit),
        port_(
            {.pointer = [this](int x, int y) { roster_.TellPointer(x, y); },
             .layout = [this](uint8_t layout) { roster_.TellLayout(layout); },
             .tiles =
                 [this](std::span<const uint8_t> message) {
                   if (tiles_ != nullptr) tiles_->Take(message);
                 },
             .hasSession = [this] { return roster_.State().phase == Phase::kRunning && roster_.Count() > 0; },
             .restart = [this] { commands_.Post([this] { life_->Restart(); }); },
             .end = [this] { commands_.Post([this] { Close(EndedByService()); }); }}) {}

  ~Core() { Stop(); }

  std::string Start() {
    const std::string observer = ObserverExecutable();
    if (!options_.observerPath.empty() && access(observer.c_str(), X_OK) != 0)
      return "cannot run " + observer + ": " + std::strerror(errno);
    TakePreferences();
    if (!port_.StartBroker(CFRunLoopGetMain()))
      return "another service has the message port com.korvane.kvremote";
    pump_ = std::make_unique<ScreenPump>(MakeSource(observer), HearsDrawing(), PumpEvents());
    life_ = std::make_unique<ObserverLife>(commands_, roster_, *link_, *pump_);
    clock_ = std::thread([this] { RunClock(); });
    return {};
  }

  void Stop() {
    {
      const Locked locked(lock_);
      stopping_ = true;
      stopped_.NotifyAll();
    }
    if (clock_.joinable()) clock_.join();
    commands_.Post([this] { notice_.TakeBack(); });
    if (life_) life_->Stop();
    if (pump_) pump_->Stop();
    port_.StopBroker();
  }

  ViewerId Join(const std::shared_ptr<ViewerChannel>& channel, const std::string& address, bool local) {
    const ViewerId id = roster_.Join(channel, address);
    if (id == 0) return 0;
    pump_->Add(id, channel, local);
    commands_.Post([this, address] {
      if (!IsFinal(roster_.State().phase)) Open(address);
    });
    return id;
  }

  void Leave(ViewerId viewer) {
    pump_->Remove(viewer);
    if (roster_.Leave(viewer) == 0) commands_.Post([this] { NobodyLeft(); });
  }

  bool TakeText(ViewerId viewer, std::string_view json) {
    const auto message = ReadPageMessage(json);
    if (!message) return false;
    std::visit([this, viewer](const auto& content) { Take(viewer, content); }, *message);
    return true;
  }

  bool TakeBinary(ViewerId viewer, std::span<const uint8_t> message) {
    const auto input = ReadPageInput(message);
    if (!input) return false;
    if (const auto* const drawn = std::get_if<Drawn>(&*input))
      pump_->Drawn(viewer, drawn->number);
    else if (roster_.Take(viewer, *input))
      pump_->Poke();
    return true;
  }

 private:
  [[nodiscard]] std::string ObserverExecutable() const {
    const std::string bundle =
        options_.observerPath.empty()
            ? std::string(FetchFolder(kFolderBin)) + "/kvobserve.app"
            : std::filesystem::absolute(options_.observerPath).lexically_normal().string();
    return bundle + "/Contents/MacOS/kvobserve";
  }

  // And the link to the observer that goes with it.
  std::unique_ptr<ScreenSource> MakeSource(const std::string& executable) {
    if (!options_.legacy) {
      link_ = std::make_unique<SharedScreenLink>(options_.observerPath.empty() ? "" : executable);
      return std::make_unique<SharedScreenSource>();
    }
    auto tiles = std::make_unique<TileScreen>([this] { pump_->Poke(); });
    tiles_ = tiles.get();
    link_ = std::make_unique<TileLink>(executable, *tiles);
    return tiles;
  }

  // A service of root's has no display; the tile stream comes unasked.
  [[nodiscard]] bool HearsDrawing() const { return isStandALone() && !options_.legacy; }

  ScreenPump::Events PumpEvents() {
    return {.up = [this](unsigned watch) { commands_.Post([this, watch] { life_->Up(watch); }); },
            .lost =
                [this](unsigned watch) {
                  // Before the job, which would wait behind a command that waits for the observer.
                  link_->Interrupt();
                  commands_.Post([this, watch] { life_->Lost(watch); });
                },
            .screen = [this](ScreenSource::Origin corner) { roster_.SetCorner(corner); }};
  }

  void Take(ViewerId viewer, const WantControl& message) { roster_.Take(viewer, message); }
  void Take(ViewerId viewer, const AnswerRequest& message) { roster_.Take(viewer, message); }
  void Take(ViewerId viewer, const AskSettings& message) { roster_.Take(viewer, message); }
  void Take(ViewerId viewer, const ShowMonitor& message) { pump_->Show(viewer, message.id); }
  void Take(ViewerId viewer, const Refresh&) { pump_->Refresh(viewer); }
  void Take(ViewerId viewer, const Ping& message) { roster_.Answer(viewer, message); }
  void Take(ViewerId, const Retry&) {
    commands_.Post([this] {
      if (IsFinal(roster_.State().phase)) Open("a viewer");
    });
  }

  // ---- jobs

  // The way to a session: what the settings say, a display, the user's permission.
  void Open(const std::string& address) {
    lingerUntil_.reset();
    if (asking_ || roster_.Count() == 0) return;
    const Preferences preferences = TakePreferences();
    if (life_->Begun()) return Notify(address, preferences.notify);
    if (!preferences.session) return Close(RefusedBySettings());
    if (preferences.ask && Clock::now() < askAgainFrom_) return Close(RefusedForNow());
    roster_.SetState(Starting());
    if (const std::string why = WhyNoDisplay(); !why.empty()) return roster_.SetState(NoDisplay(why));
    if (!preferences.ask) return Admit(address, preferences.notify);

    asking_ = true;
    roster_.SetState(Waiting());
    Audit("the user is asked whether a viewer from %s may see and control the desktop", address.c_str());
    const std::string wish = options_.viewOnly ? "see" : "see and control";
    notice_.Ask("A viewer from " + address + " wants to " + wish + " this desktop. Do you allow it?",
                options_.answerLimit, [this, address, question = ++question_](UserNotice::Answer answer) {
                  commands_.Post([this, address, question, answer] {
                    // An answer may be on its way when its question is taken back and another one asked.
                    if (question == question_ && asking_) TakeUsersAnswer(answer, address);
                  });
                });
  }

  void TakeUsersAnswer(UserNotice::Answer answer, const std::string& address) {
    asking_ = false;
    if (answer == UserNotice::Answer::kRefused) askAgainFrom_ = Clock::now() + options_.askAgainAfter;
    if (roster_.Count() == 0) return roster_.SetState(Starting());
    switch (answer) {
      case UserNotice::Answer::kRefused:
        return Close(RefusedForNow());
      case UserNotice::Answer::kNobody:
        return Close(NobodyToAsk());
      case UserNotice::Answer::kNotAsked:
        return Close(CannotAskUser());
      case UserNotice::Answer::kAllowed:
        break;
    }
    const Preferences preferences = TakePreferences();
    if (!preferences.session) return Close(RefusedBySettings());
    Audit("the user has allowed it");
    Admit(address, preferences.notify);
  }

  [[nodiscard]] SessionState RefusedForNow() const {
    return RefusedByUser(std::chrono::ceil<std::chrono::seconds>(askAgainFrom_ - Clock::now()));
  }

  static void Notify(const std::string& address, bool notify) {
    if (notify) UserNotice::Show("A viewer from " + address + " sees this desktop.");
  }

  void Admit(const std::string& address, bool notify) {
    Notify(address, notify);
    idleLimit_ = options_.idle ? *options_.idle : ReadIdleLimit();
    life_->Begin();
  }

  void Close(const SessionState& state) {
    notice_.TakeBack();
    asking_ = false;
    roster_.EndControl();
    life_->End(state);
  }

  void NobodyLeft() {
    if (roster_.Count() != 0) return;
    // A page that connects again finds its question still asked.
    if (life_->Begun() || asking_)
      lingerUntil_ = Clock::now() + options_.linger;
    else
      Close(Starting());
  }

  // ---- the clock

  void RunClock() {
    auto nextPreferences = Clock::now() + options_.preferencesEvery;
    const Locked locked(lock_);
    while (!stopping_) {
      if (stopped_.WaitUntil(lock_, Clock::now() + kLookEvery)) continue;
      const auto now = Clock::now();
      roster_.ExpireRequests(now);
      const bool readPreferences = now >= nextPreferences;
      if (readPreferences) nextPreferences = now + options_.preferencesEvery;
      commands_.Post([this, readPreferences] { Look(readPreferences); });
    }
  }

  void Look(bool readPreferences) {
    const auto now = Clock::now();
    if (lingerUntil_ && now >= *lingerUntil_) {
      lingerUntil_.reset();
      if (roster_.Count() == 0) Close(Starting());
    }
    if (readPreferences && roster_.Count() > 0) {
      const Preferences preferences = TakePreferences();
      if (!preferences.session && (life_->Begun() || asking_)) Close(RefusedBySettings());
    }
    const auto idle = roster_.IdleTime(now);
    if (idleLimit_ > 0ms && idle && *idle >= idleLimit_) {
      Audit("nobody has done anything for too long");
      Close(Idle());
    }
  }

  Preferences TakePreferences() {
    const Preferences preferences = ReadPreferences();
    Permissions permissions = preferences.permissions;
    if (options_.viewOnly) permissions = {};
    roster_.SetPermissions(permissions);
    return preferences;
  }

  const SessionOptions options_;
  CommandQueue commands_;
  Roster roster_;
  RemotePort port_;
  std::unique_ptr<ObserverLink> link_;
  std::unique_ptr<ScreenPump> pump_;
  TileScreen* tiles_ = nullptr;  // the pump's source, in a legacy session
  std::unique_ptr<ObserverLife> life_;

  // The jobs'.
  UserNotice notice_;
  bool asking_ = false;
  unsigned question_ = 0;  // the number of the last one
  Clock::time_point askAgainFrom_{};
  std::optional<Clock::time_point> lingerUntil_;
  std::chrono::milliseconds idleLimit_{};

  Lock lock_;
  Condition stopped_;
  bool stopping_ GUARDED_BY(lock_) = false;
  std::thread clock_;
};

DesktopSession::DesktopSession(SessionOptions options) : core_(std::make_unique<Core>(std::move(options))) {}
DesktopSession::~DesktopSession() = default;

std::string DesktopSession::Start() { return core_->Start(); }
void DesktopSession::Stop() { core_->Stop(); }

ViewerId DesktopSession::Join(std::shared_ptr<ViewerChannel> channel, std::string address, bool local) {
  return core_->Join(channel, address, local);
}
void DesktopSession::Leave(ViewerId viewer) { core_->Leave(viewer); }
bool DesktopSession::TakeText(ViewerId viewer, std::string_view json) {
  return core_->TakeText(viewer, json);
}
bool DesktopSession::TakeBinary(ViewerId viewer, std::span<const uint8_t> message) {
  return core_->TakeBinary(viewer, message);
}

}  // namespace remote
