// What a session controller asks of whatever shows the screen.
#pragma once

// One thread at a time: the controller's.
class RCAbstractScreener {
 public:
  RCAbstractScreener() = default;
  RCAbstractScreener(const RCAbstractScreener&) = delete;
  RCAbstractScreener& operator=(const RCAbstractScreener&) = delete;
  virtual ~RCAbstractScreener() = default;

  // Start and stop may be called at any time; what is already so stays so.
  virtual void StartScreening(unsigned char option) = 0;
  virtual void StopScreening() = 0;
  [[nodiscard]] virtual bool Screening() const = 0;

  // Wakes a screener that waits for changes.
  virtual void SignalScreenChanges() = 0;
};
