#include "observer/RCOculon.h"

#include <asl.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include "common/KCDebugging.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "legacy/RCDisplayManager.h"
#include "observer/RCOculonApp.h"
#include "observer/SignalThread.h"

namespace {

constexpr uint8_t kNoCommand = 0xFF;

// ---- signals: each of the three has a thread of its own

void Restart() {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: SIGHUPed.\n");
  RCOculon::GetOculon()->StopOculon(false);
  RCOculon::GetOculon()->StartOculon();
}

void EndBySigterm() {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: SIGTERMed.\n");
  RCOculonApp::exit();
}

void EndBySigabrt() {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: SIGABRTed.\n");
  RCOculonApp::exit();
}

// abort() raises its signal in the thread that calls it, which may hold any lock. So the stop is left to the
// signal's own thread, for as long as that may take when the lock is one that it needs.
void sig_handler_sigabrt(int) {
  constexpr unsigned kLimitSeconds = 10;
  kill(getpid(), SIGABRT);
  for (unsigned left = kLimitSeconds; left > 0;) left = sleep(left);
  _exit(0);
}

bool TakeSignals() {
  constexpr int kLastSignal = 31;
  for (int signal = 1; signal <= kLastSignal; ++signal)
    if (signal != SIGHUP && signal != SIGABRT && signal != SIGTERM) std::signal(signal, SIG_IGN);
  std::signal(SIGABRT, sig_handler_sigabrt);
  return StartSignalThread(SIGHUP, Restart) && StartSignalThread(SIGTERM, EndBySigterm) &&
         StartSignalThread(SIGABRT, EndBySigabrt);
}

}  // namespace

RCOculon* RCOculon::GetOculon(std::chrono::milliseconds serviceLimit) {
  // Never deleted: threads that end after the static objects may still have something to report.
  static auto* const oculon = new RCOculon(serviceLimit);
  return oculon;
}

RCOculon::RCOculon(std::chrono::milliseconds serviceLimit)
    : html5Screener_(
          [this](bool client) { client ? input_.ServiceConnected() : input_.ServiceDisconnected(); }),
      input_(serviceLimit) {}

bool RCOculon::Run() {
  SettleRoot();
  runLoop_ = CFRunLoopGetCurrent();
  if (CGWindowServerCFMachPort() == nullptr) {
    KCSignalIf(true, "RCOculon::Run:: CGWindowServerCFMachPort no window server");
    return false;
  }
  InstallEventHandlers();
  if (!TakeSignals()) return false;
  // A command that arrives at once waits until the broker counts as running.
  const Locked locked(lock_);
  return StartBroker();
}

void RCOculon::InstallEventHandlers() {
  constexpr EventTypeSpec kSessionEvents[] = {{kEventClassSystem, kEventSystemUserSessionActivated},
                                              {kEventClassSystem, kEventSystemUserSessionDeactivated}};
  const OSStatus error = InstallApplicationEventHandler(
      NewEventHandlerUPP([](EventHandlerCallRef, EventRef event, void* oculon) -> OSStatus {
        // Who comes back starts a view anew.
        if (GetEventKind(event) == kEventSystemUserSessionDeactivated)
          static_cast<RCOculon*>(oculon)->LeaveUserSession();
        return noErr;
      }),
      std::size(kSessionEvents), kSessionEvents, this, nullptr);
  KCSignalIf(error != noErr, "RCOculon::Run:: InstallApplicationEventHandler err=%ld",
             static_cast<long>(error));
  AEInstallEventHandler(kCoreEventClass, kAEQuitApplication,
                        NewAEEventHandlerUPP([](const AppleEvent*, AppleEvent*, SRefCon oculon) -> OSErr {
                          static_cast<RCOculon*>(oculon)->StopOculon(true);
                          return noErr;
                        }),
                        this, false);
}

void RCOculon::LeaveUserSession() { StopOculon(CFEqual(GetBrokerUserName(), CFSTR("loginwindow")) != 0); }

// ---- sessions

void RCOculon::StartOculon() {
  {
    const Locked locked(lock_);
    if (!StartOculonLocked(currentScreener_)) return;
  }
  AnnounceStart();
}

bool RCOculon::StartOculonLocked(RCAbstractScreener* screener) {
  if (quitting_) return false;
  if (started_ && currentScreener_ != screener) currentScreener_->StopScreening(false);
  currentScreener_ = screener;
  SetTileView(screener == &tileScreener_);
  input_.StartHID();
  screener->StartScreening(colorReduction_);
  if (!std::exchange(started_, true)) ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: Started.\n");
  return true;
}

void RCOculon::AnnounceStart() {
  if (!absoluteMouse_ && CGRectEqualToRect(RCDisplayManager::instance().desktopBounds(), CGRectZero)) {
    // The process's end stops the rest. A broker thread that is in here answers its command and ends before.
    quitting_ = true;
    input_.End();
    stop_thread();
    RCOculonApp::exit();
    return;
  }
  const SessionStartedRecord record = {
      .code = 0,
      .length = sizeof record,
      .unused = {},
      .flags = kSessionStarted | (input_.BlanksScreen() ? kSessionBlanksScreen : 0)};
  SendBytes(reinterpret_cast<const unsigned char*>(&record), sizeof record);
}

void RCOculon::StopOculon(bool quit) {
  if (quit) {
    // From now on nothing starts any more, and a screener that is sending comes to its end. A service that
    // does not read can hold that up for longer than the display can be reached, so the local user comes
    // first.
    quitting_ = true;
    input_.End();
  }
  {
    const Locked locked(lock_);
    StopOculonLocked(quit);
  }
  if (!quit) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "Didn't shut down oculon\n");
    return;
  }
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: Quiting.\n");
  const Locked locked(quitLock_);
  StopBroker();
}

void RCOculon::StopOculonLocked(bool quit) {
  if (!started_) return;
  sendEnabled_ = false;
  currentScreener_->StopScreening(quit);
  input_.StopHID();
  SetTileView(false);
  ASLLogger(ASL_LEVEL_INFO, 1, true, "Oculon: Stopped.\n");
  started_ = false;
  sendEnabled_ = true;
}

RCAbstractScreener* RCOculon::SelectScreener(bool html5) {
  if (html5) return &html5Screener_;
  return &tileScreener_;
}

// ---- commands

CFDataRef RCOculon::ProcessData(int messageId, CFDataRef payload) {
  if (messageId != kCommandMessageId) return nullptr;
  switch (ReadCommandCode(payload).value_or(kNoCommand)) {
    case CMD_VIEW_START:
    case CMD_VIEW_START_HTML5:
      if (const auto start = ReadRecord<ViewStartRecord>(payload)) StartView(*start);
      break;
    case CMD_VIEW_END:
      if (const auto end = ReadRecord<ViewEndRecord>(payload)) EndView(*end);
      break;
    case CMD_VIEW_MOUSEEVENT:
      input_.ReplyTo_CMD_VIEW_MOUSEEVENT(payload, absoluteMouse_);
      break;
    case CMD_VIEW_KBDEVENT:
      input_.ReplyTo_CMD_VIEW_KBDEVENT(payload);
      break;
    case CMD_VIEW_REFRESH:
      RefreshView();
      break;
    case CMD_VIEW_ASCII_KBDEVENT:
      input_.ReplyTo_CMD_VIEW_ASCII_KBDEVENT(payload);
      break;
    case CMD_VIEW_SETTINGS:
      if (const auto settings = ReadRecord<ViewStartRecord>(payload)) StartHooks(*settings);
      break;
    default:
      break;
  }
  return nullptr;
}

void RCOculon::StartView(const ViewStartRecord& start) {
  const bool html5 = start.code == CMD_VIEW_START_HTML5;
  input_.Handle_CMD_VIEW_START(&start);
  {
    const Locked locked(lock_);
    hold_ = false;
    absoluteMouse_ = html5;
    SetColorReduction(start.viewType);
    if (!StartOculonLocked(SelectScreener(html5))) return;
  }
  AnnounceStart();
  if (html5) RCKeyAndMouse::GetSystemKeyboardLayoutType();
}

void RCOculon::EndView(const ViewEndRecord& end) {
  if (end.hold != 0) {
    const Locked locked(lock_);
    hold_ = true;
  }
  SendRCEnd();
  StopOculon(false);
}

void RCOculon::RefreshView() {
  bool started = false;
  {
    const Locked locked(lock_);
    if (!hold_ && !currentScreener_->Screening()) started = StartOculonLocked(currentScreener_);
  }
  if (started) AnnounceStart();
  const Locked locked(lock_);
  currentScreener_->SignalScreenChanges();
}

void RCOculon::StartHooks(const ViewStartRecord& settings) {
  input_.Handle_CMD_VIEW_START(&settings);
  const Locked locked(lock_);
  if (!quitting_) input_.StartHID();
}

void RCOculon::SetColorReduction(unsigned char viewType) {
  constexpr uint8_t kReductions[] = {255, 255, 5, 4, 3, 2, 6};  // by view type
  colorReduction_ = viewType < std::size(kReductions) ? kReductions[viewType] : uint8_t{255};
}

// ---- records for the service

void RCOculon::SendISSData(CFDataRef data, CONTROL_TYPES type) {
  if (!MaySend()) return;
  const StatusHeader header = {
      .magic = {'R', 'C', 'H', '1'}, .reserved = {}, .controlType = type, .reserved2 = {}};
  const auto length = static_cast<size_t>(CFDataGetLength(data));
  std::vector<unsigned char> record(sizeof header + length);
  std::memcpy(record.data(), &header, sizeof header);
  if (length != 0) std::memcpy(record.data() + sizeof header, CFDataGetBytePtr(data), length);
  remoteClient_.TransferData(record.data(), static_cast<long>(record.size()));
  FollowPort();
}

void RCOculon::SendData(CFDataRef data) {
  if (MaySend()) remoteClient_.TransferData(data);
}

void RCOculon::SendRCEnd() {
  const SessionEndRecord record = {.code = 2, .length = sizeof record, .unused = {}};
  SendBytes(reinterpret_cast<const unsigned char*>(&record), sizeof record);
}

void RCOculon::SendBytes(const unsigned char* bytes, long length) {
  const StCFTypeRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault, bytes, length));
  SendISSData(data, kControlStatus);
}

// ---- whether the service is there

void RCOculon::SetTileView(bool tileView) {
  const Locked locked(portLock_);
  tileView_ = tileView;
  if (!tileView && std::exchange(portThere_, false)) input_.ServiceDisconnected();
}

void RCOculon::FollowPort() {
  {
    const Locked locked(portLock_);
    if (!tileView_) return;
  }
  const bool there = remoteClient_.StartBroker() != nullptr;
  const Locked locked(portLock_);
  if (!tileView_ || std::exchange(portThere_, there) == there) return;
  there ? input_.ServiceConnected() : input_.ServiceDisconnected();
}
