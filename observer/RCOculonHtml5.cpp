#include "observer/RCOculonHtml5.h"

#include <asl.h>

#include <utility>

#include "broker/Commands.h"
#include "common/KCasl.h"

namespace {

constexpr uint8_t kNoCommand = 0xFF;

}  // namespace

RCOculonHtml5::RCOculonHtml5(std::chrono::milliseconds serviceLimit)
    : runLoop_(CFRunLoopGetCurrent()),
      screener_([this](bool client) { client ? input_.ServiceConnected() : input_.ServiceDisconnected(); }),
      input_(serviceLimit) {}

RCOculonHtml5::~RCOculonHtml5() {
  // The broker thread ends while the screener does.
  stop_thread();
  bool wasRunning;
  {
    Locked locked(lock_);
    // A command that is still under way starts no session any more.
    wasRunning = std::exchange(brokerRunning_, false);
    StopOculonLocked();
  }
  if (wasRunning) StopBroker();
}

bool RCOculonHtml5::Run() {
  // A command that arrives at once waits until the broker counts as running.
  Locked locked(lock_);
  if (!brokerRunning_) brokerRunning_ = StartBroker();
  return brokerRunning_;
}

void RCOculonHtml5::StartOculon() {
  Locked locked(lock_);
  StartOculonLocked();
}

bool RCOculonHtml5::StartOculonLocked() {
  if (!brokerRunning_ || started_) return false;
  started_ = true;
  input_.StartHID();
  screener_.StartScreening();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonHtml5: Started.\n");
  return true;
}

void RCOculonHtml5::StopOculon() {
  Locked locked(lock_);
  StopOculonLocked();
}

void RCOculonHtml5::StopOculonLocked() {
  if (!started_) return;
  started_ = false;
  screener_.StopScreening();
  input_.StopHID();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonHtml5: Stopped.\n");
}

void RCOculonHtml5::StartHooks() {
  Locked locked(lock_);
  // A command that is still under way while this object ends starts nothing any more.
  if (brokerRunning_) input_.StartHID();
}

void RCOculonHtml5::StartView() {
  {
    Locked locked(lock_);
    // A session that runs goes on, under the new settings.
    if (!StartOculonLocked() && brokerRunning_) input_.StartHID();
  }
  RCKeyAndMouse::GetSystemKeyboardLayoutType();
}

CFDataRef RCOculonHtml5::ProcessData(int messageId, CFDataRef payload) {
  if (messageId != kCommandMessageId) return nullptr;
  switch (ReadCommandCode(payload).value_or(kNoCommand)) {
    case CMD_VIEW_END:
      if (ReadRecord<ViewEndRecord>(payload)) StopOculon();
      break;
    case CMD_VIEW_MOUSEEVENT:
      input_.ReplyTo_CMD_VIEW_MOUSEEVENT(payload, true);
      break;
    case CMD_VIEW_KBDEVENT:
      input_.ReplyTo_CMD_VIEW_KBDEVENT(payload);
      break;
    case CMD_VIEW_ASCII_KBDEVENT:
      input_.ReplyTo_CMD_VIEW_ASCII_KBDEVENT(payload);
      break;
    case CMD_VIEW_SETTINGS:
    case CMD_VIEW_START_HTML5:
      if (const auto start = ReadRecord<ViewStartRecord>(payload)) {
        input_.Handle_CMD_VIEW_START(&*start);
        start->code == CMD_VIEW_SETTINGS ? StartHooks() : StartView();
      }
      break;
    default:
      break;
  }
  return nullptr;
}
