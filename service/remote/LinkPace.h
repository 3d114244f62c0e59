// How much an update to one viewer may hold, and whether it is worth compressing: both learned from how long
// updates took from their beginning to the page's "drawn".
#pragma once
#include <array>
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

  // What the next update may hold. Pixels compress as well as they lately did; when it comes to more than
  // twice the bytes, it has to be cut.
  struct Limits {
    size_t pixels, bytes;
  };
  [[nodiscard]] Limits Next();
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
  // Seconds that the last updates took. The least of them is what any update takes.
  std::array<double, 32> taken_;
  size_t next_ = 0;
  int sinceProbe_ = 0;
  // Seconds a pixel, of raw updates and compressed ones.
  std::optional<double> cost_[2];
  bool compress_;
  int sinceTrial_ = 0;
  std::optional<Update> underWay_;
};

}  // namespace remote
