#include "service/remote/ObserverLife.h"

#include <csignal>

#include "common/KCPidUtils.h"
#include "service/remote/Audit.h"
#include "service/remote/Display.h"

namespace remote {
namespace {

constexpr auto kEndLimit = std::chrono::seconds(3);
// An observer that never shows a screen is not tried as often as one that has.
constexpr int kMostFailures = 3;

}  // namespace

ObserverLife::ObserverLife(CommandQueue& commands, Roster& roster, ObserverLink& link, ScreenPump& pump)
    : commands_(commands), roster_(roster), link_(link), pump_(pump), thread_([this] { Run(); }) {}

void ObserverLife::Stop() {
  if (!thread_.joinable()) return;
  commands_.Post([this] { End(EndedByService()); });
  commands_.Close();
  const auto deadline = Clock::now() + kEndLimit;
  bool late = false;
  {
    const Locked locked(lock_);
    while (!finished_ && !late) late = !changed_.WaitUntil(lock_, deadline);
  }
  if (late) link_.Interrupt();
  thread_.join();
}

void ObserverLife::Run() {
  while (!commands_.Closed()) {
    const auto entry = commands_.Take(revival_);
    if (!entry) {
      if (revival_ && Clock::now() >= *revival_) Revive();
      continue;
    }
    if (const auto* const job = std::get_if<CommandQueue::Job>(&*entry))
      (*job)();
    else if (begun_ && !revival_)
      link_.Send(std::get<CommandRecord>(*entry));
  }
  const Locked locked(lock_);
  finished_ = true;
  changed_.NotifyAll();
}

void ObserverLife::Begin() {
  if (begun_) return;
  roster_.SetState(Starting());
  commands_.DropRecords();
  // One that a killed service has left behind would run on beside the new one.
  KCSignalProcessByNameWithConsoleUser("kvobserve", nullptr, SIGTERM);
  if (!link_.Start()) return roster_.SetState(FailedToStart());
  begun_ = true;
  policy_.Forget();
  failures_ = 0;
  Audit("session started");
  StartView();
}

void ObserverLife::StartView() {
  roster_.ForgetHeld();
  watch_ = pump_.Watch();
  const CommandRecord settings = roster_.ViewRecord(CMD_VIEW_START_HTML5);
  link_.StartView(settings);
}

void ObserverLife::End(const SessionState& state) {
  roster_.SetState(state);
  if (!begun_) return;
  begun_ = false;
  revival_.reset();
  pump_.Leave();
  link_.End();
  commands_.DropRecords();
  Audit("session ended");
}

void ObserverLife::Up(unsigned watch) {
  if (!begun_ || watch != watch_) return;
  failures_ = 0;
  roster_.SetState(Running());
  // What was asked for while it started.
  link_.Send(roster_.ViewRecord(CMD_VIEW_SETTINGS));
}

void ObserverLife::Lost(unsigned watch) {
  if (!begun_ || watch != watch_) return;
  if (const std::string why = WhyNoDisplay(); !why.empty()) return End(NoDisplay(why));
  if (++failures_ > kMostFailures) return End(FailedToStart());
  const auto now = Clock::now();
  if (const auto delay = policy_.Lost(now)) {
    Audit("the observer was lost; it is started again in %lld ms", static_cast<long long>(delay->count()));
    roster_.SetState(Restarting());
    revival_ = now + *delay;
    return;
  }
  Audit("the observer was lost too often");
  End(LostTooOften());
}

void ObserverLife::Revive() {
  revival_.reset();
  commands_.DropRecords();
  if (!link_.Restart()) return Lost(watch_);
  StartView();
}

void ObserverLife::Restart() {
  if (!begun_) return;
  Audit("the observer is started anew");
  roster_.SetState(Restarting());
  pump_.Leave();
  Revive();
}

}  // namespace remote
