#include "rcserv/RCHtml5Screener.h"

#include "common/KCDebugging.h"
#include "rcserv/RCHtml5ScreenWorker.h"

namespace {

constexpr uint32_t kRequestTimeoutMs = 1000;

}  // namespace

RCHtml5Screener::~RCHtml5Screener() { StopScreening(); }

void RCHtml5Screener::StartScreening() {
  if (screening_) return;
  running_ = true;
  const int error = pthread_create(
      &thread_, nullptr,
      [](void* screener) -> void* {
        static_cast<RCHtml5Screener*>(screener)->ScreenerLoop();
        return nullptr;
      },
      this);
  screening_ = error == 0;
  KCSignalIf(error != 0, "RCHtml5Screener::StartScreening: pthread_create err=%ld", static_cast<long>(error));
}

void RCHtml5Screener::StopScreening() {
  if (!screening_) return;
  running_ = false;
  const int error = pthread_join(thread_, nullptr);
  screening_ = error != 0;
  KCSignalIf(error != 0, "RCHtml5Screener::StopScreening: pthread_join err=%1d", error);
}

void RCHtml5Screener::ScreenerLoop() {
  ScreenWorker worker;
  bool hadClient = false;
  const auto tell = [&](bool hasClient) {
    if (std::exchange(hadClient, hasClient) != hasClient) clientChanged_(hasClient);
  };
  while (running_) {
    worker.GrabScreen(kRequestTimeoutMs);
    tell(worker.HasClient());
  }
  tell(false);
}
