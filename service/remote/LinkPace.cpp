#include "service/remote/LinkPace.h"

#include <algorithm>

namespace remote {
namespace {

constexpr double kLeastBudget = 8 << 10;
constexpr double kRemoteBudget = 64 << 10;  // to begin with
constexpr double kMostBudget = 64 << 20;
// What an update may take longer than one of a few bytes, so that a viewer sees his own actions soon.
constexpr double kTargetSeconds = 0.06;
// Now and then an update is small, or a link that is always full would show only what full updates take.
constexpr int kProbeEvery = 16;
constexpr double kProbePart = 8;
constexpr double kNever = 1e9;
// Smaller updates take the time of their way, whatever their form.
constexpr size_t kTellingPixels = 16 << 10;
// The other form is tried now and then, since links and pages change.
constexpr int kTrialEvery = 100;
constexpr double kWorthChanging = 0.85;

double Mix(double before, double now) { return before * 0.8 + now * 0.2; }

}  // namespace

LinkPace::LinkPace(bool local) : budgetBytes_(local ? kMostBudget : kRemoteBudget), compress_(!local) {
  taken_.fill(kNever);
}

LinkPace::Limits LinkPace::Next() {
  double bytes = budgetBytes_;
  if (++sinceProbe_ >= kProbeEvery) {
    sinceProbe_ = 0;
    bytes /= kProbePart;
  }
  return {static_cast<size_t>(bytes / bytesPerPixel_) + 1, static_cast<size_t>(bytes)};
}

bool LinkPace::Compress(size_t pixels) {
  if (pixels < kTellingPixels) return compress_;
  if (++sinceTrial_ < kTrialEvery) return compress_;
  sinceTrial_ = 0;
  return !compress_;
}

void LinkPace::Sent(size_t pixels, size_t bytes, bool compressed, Clock::time_point begun) {
  underWay_ = Update{pixels, bytes, compressed, begun};
}

void LinkPace::Drawn(Clock::time_point now) {
  if (!underWay_) return;
  const Update update = *underWay_;
  underWay_.reset();
  const double seconds = std::chrono::duration<double>(now - update.begun).count();
  LearnBudget(update, seconds);
  if (update.pixels >= kTellingPixels) {
    bytesPerPixel_ = std::max(
        Mix(bytesPerPixel_, static_cast<double>(update.bytes) / static_cast<double>(update.pixels)), 0.01);
    LearnCost(update, seconds);
  }
}

void LinkPace::LearnBudget(const Update& update, double seconds) {
  taken_[next_++ % taken_.size()] = seconds;
  const double least = *std::min_element(taken_.begin(), taken_.end());
  const double beyond = std::max(seconds - least, 1e-4);
  const bool full = static_cast<double>(update.bytes) >= budgetBytes_ / 2;
  if (!full && beyond < kTargetSeconds) return;
  const double factor = std::clamp(kTargetSeconds / beyond, 0.5, 2.0);
  const double base = full ? budgetBytes_ : std::min(budgetBytes_, static_cast<double>(update.bytes));
  budgetBytes_ = std::clamp(base * factor, kLeastBudget, kMostBudget);
}

void LinkPace::LearnCost(const Update& update, double seconds) {
  const double cost = seconds / static_cast<double>(update.pixels);
  std::optional<double>& known = cost_[update.compressed];
  known = known ? Mix(*known, cost) : cost;
  const auto& used = cost_[compress_];
  const auto& other = cost_[!compress_];
  if (used && other && *other < *used * kWorthChanging) compress_ = !compress_;
}

}  // namespace remote
