// Owns the thread that serves the screen to the HTML5 viewer.
#pragma once
#include <pthread.h>

#include <atomic>
#include <functional>
#include <utility>

#include "rcserv/RCAbstractScreener.h"

// The worker, with its surface and its socket, lives on the capture thread from its first moment to its last.
class RCHtml5Screener : public RCAbstractScreener {
 public:
  class ScreenWorker;      // RCHtml5ScreenWorker.h
  class DisplayImageRefs;  // RCHtml5DisplayImages.h

  // `clientChanged` is called on the capture thread when a client of the screen has come (true) and when it
  // has gone (false), also because the screening stops.
  explicit RCHtml5Screener(std::function<void(bool)> clientChanged = [](bool) {})
      : clientChanged_(std::move(clientChanged)) {}
  ~RCHtml5Screener() override;

  void StartScreening();
  void StartScreening(unsigned char) override { StartScreening(); }
  // Waits for the thread: for one request's time-out, about a second, and a capture.
  void StopScreening();
  void StopScreening(bool) override { StopScreening(); }
  // The thread asks the worker again by itself.
  void SignalScreenChanges() override {}
  [[nodiscard]] bool Screening() const override { return screening_; }

 private:
  void ScreenerLoop();

  const std::function<void(bool)> clientChanged_;
  bool screening_ = false;  // a thread exists
  std::atomic<bool> running_{false};
  pthread_t thread_{};
};
