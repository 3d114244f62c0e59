// How much an update to one viewer may hold, and whether it is worth compressing: both learned from how long
// updates took from their beginning to the page's "drawn".
#pragma once
#include <chrono>
#include <cstddef>
#include <optional>

namespace remote {

// One thread at a time.
class LinkPace {
 public:
  using Clock = std::chrono::steady_clock;

  // `local`: over loopback, which is fast until it proves otherwise.
  explicit LinkPace(bool local);

  // What the next update may hold; it may have twice the bytes.
  [[nodiscard]] size_t MaxBytes() const { return static_cast<size_t>(budgetBytes_); }
  [[nodiscard]] size_t MaxPixels() const;
  // How the next update, of so many pixels, goes.
  [[nodiscard]] bool Compress(size_t pixels);

  // An update of so many pixels and bytes, made between `begun` and now, is on its way.
  void Sent(size_t pixels, size_t bytes, bool compressed, Clock::time_point begun);
  void Drawn(Clock::time_point now);

 private:
  struct Update {
    size_t pixels, bytes;
    bool compressed;
    Clock::time_point begun;
  };

  void LearnBudget(const Update& update, double seconds);
  void LearnCost(const Update& update, double seconds);

  double budgetBytes_;
  double bytesPerPixel_ = 2;
  std::optional<double> least_;  // seconds that any update takes
  // Seconds a pixel, of raw updates and compressed ones.
  std::optional<double> cost_[2];
  bool compress_;
  int sinceTrial_ = 0;
  std::optional<Update> underWay_;
};

}  // namespace remote
