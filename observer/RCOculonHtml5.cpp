#include "observer/RCOculonHtml5.h"

#include <asl.h>

#include <utility>

#include "broker/Commands.h"
#include "common/KCasl.h"

RCOculonHtml5::RCOculonHtml5() : runLoop_(CFRunLoopGetCurrent()) {}

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
  if (!brokerRunning_ || started_) return;
  started_ = true;
  screener_.StartScreening();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonHtml5: Started.\n");
}

void RCOculonHtml5::StopOculon() {
  Locked locked(lock_);
  StopOculonLocked();
}

void RCOculonHtml5::StopOculonLocked() {
  if (!started_) return;
  started_ = false;
  screener_.StopScreening();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonHtml5: Stopped.\n");
}

CFDataRef RCOculonHtml5::ProcessData(int messageId, CFDataRef payload) {
  if (messageId != kCommandMessageId) return nullptr;
  const std::optional<uint8_t> code = ReadCommandCode(payload);
  if (code == CMD_VIEW_END) {
    if (ReadRecord<ViewEndRecord>(payload)) StopOculon();
  } else if (code == CMD_VIEW_START_HTML5) {
    if (ReadRecord<ViewStartRecord>(payload)) StartOculon();
  }
  return nullptr;
}
