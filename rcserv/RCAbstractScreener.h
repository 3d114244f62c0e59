// What a session controller asks of whatever shows the screen.
#pragma once

// One thread at a time: the controller's.
class RCAbstractScreener {
 public:
  RCAbstractScreener() = default;
  RCAbstractScreener(const RCAbstractScreener&) = delete;
  RCAbstractScreener& operator=(const RCAbstractScreener&) = delete;
  virtual ~RCAbstractScreener() = default;

  // Start and stop may be called at any time; what is already so stays so. `colorReduction`: the level of the
  // tile stream.
  virtual void StartScreening(unsigned char colorReduction) = 0;
  // `quit`: the controller ends for good.
  virtual void StopScreening(bool quit) = 0;

  // Wakes a screener that waits for changes.
  virtual void SignalScreenChanges() = 0;
  [[nodiscard]] virtual bool Screening() const = 0;
};
