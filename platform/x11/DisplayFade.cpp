// Fading to a colour and back, and keeping a display dark.
#include <CoreGraphics/CGDisplayFade.h>
#include <poll.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <utility>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/linux/Ending.h"
#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Displays.h"
#include "platform/x11/Gamma.h"
#include "platform/x11/InputWatch.h"

namespace platform::x11 {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kStepsASecond = 60;
constexpr float kLongestReservation = 15;

// Any thread. One holder at a time, for as long as it asked for.
class Reservation {
 public:
  static Reservation& Instance() {
    static Reservation* const instance = new Reservation;
    return *instance;
  }

  // The invalid token when somebody else has it.
  [[nodiscard]] CGDisplayFadeReservationToken Take(float seconds) EXCLUDES(lock_) {
    const Locked locked(lock_);
    const auto now = Clock::now();
    if (held_ && now < end_) return kCGDisplayFadeReservationInvalidToken;
    held_ = true;
    end_ = now + std::chrono::duration_cast<Clock::duration>(Seconds(seconds));
    return ++last_;
  }
  [[nodiscard]] bool IsHeldBy(CGDisplayFadeReservationToken token) EXCLUDES(lock_) {
    const Locked locked(lock_);
    return held_ && token == last_ && Clock::now() < end_;
  }
  // False when it was not this one's.
  [[nodiscard]] bool Release(CGDisplayFadeReservationToken token) EXCLUDES(lock_) {
    const Locked locked(lock_);
    return token == last_ && std::exchange(held_, false);
  }

 private:
  Lock lock_;
  bool held_ GUARDED_BY(lock_) = false;
  Clock::time_point end_ GUARDED_BY(lock_);
  CGDisplayFadeReservationToken last_ GUARDED_BY(lock_) = kCGDisplayFadeReservationInvalidToken;
};

// The calling thread's, announced as one that may leave the screen dark. Null without a server.
Connection* DarkeningConnection() {
  Connection* const connection = Connection::Current();
  return connection != nullptr && InputWatch::Instance().Start() ? connection : nullptr;
}

uint16_t Intensity(double value) {
  return value > 0 ? static_cast<uint16_t>(std::lround(std::min(value, 1.0) * 65535)) : uint16_t{0};
}

std::vector<GammaRamp> Blend(std::vector<GammaRamp> ramps, double fraction, const float (&colour)[3]) {
  for (GammaRamp& ramp : ramps) {
    for (size_t i = 0; i < 3; ++i) {
      for (uint16_t& value : ramp.colours[i])
        value = Intensity(value / 65535.0 * (1 - fraction) + static_cast<double>(colour[i]) * fraction);
    }
  }
  return ramps;
}

// True when the process begins to end first: then there is no time for anything that only looks well.
bool WaitUntil(Clock::time_point time) {
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
  pollfd ending{EndingFd(), POLLIN, 0};
  return poll(&ending, 1, static_cast<int>(std::max<int64_t>(left.count(), 0))) > 0;
}

}  // namespace
}  // namespace platform::x11

using namespace platform::x11;

CGError CGAcquireDisplayFadeReservation(float seconds, CGDisplayFadeReservationToken* token) {
  if (token == nullptr || !(seconds > 0 && seconds <= kLongestReservation)) return kCGErrorIllegalArgument;
  *token = kCGDisplayFadeReservationInvalidToken;
  const CallScope scope;
  Connection* const connection = DarkeningConnection();
  if (connection == nullptr) return kCGErrorCannotComplete;
  const bool anyRamp = !RememberGamma(*connection).empty();
  if (!anyRamp) return connection->Alive() ? kCGErrorNoneAvailable : kCGErrorCannotComplete;
  *token = Reservation::Instance().Take(seconds);
  return *token == kCGDisplayFadeReservationInvalidToken ? kCGErrorCannotComplete : kCGErrorSuccess;
}

// One that may go on in the background is over at the return, too.
CGError CGDisplayFade(CGDisplayFadeReservationToken token, float seconds, CGDisplayBlendFraction from,
                      CGDisplayBlendFraction to, float red, float green, float blue, int) {
  if (!Reservation::Instance().IsHeldBy(token) || !(seconds >= 0 && seconds <= kLongestReservation))
    return kCGErrorIllegalArgument;
  const CallScope scope;
  Connection* const connection = DarkeningConnection();
  if (connection == nullptr) return kCGErrorCannotComplete;
  const std::vector<GammaRamp> before = RememberGamma(*connection);
  const float colour[] = {red, green, blue};
  const auto start = Clock::now();
  const int steps = std::max(1, static_cast<int>(static_cast<double>(seconds) * kStepsASecond));
  for (int step = 1; step <= steps; ++step) {
    const auto time = start + Seconds(static_cast<double>(seconds) * step / steps);
    if (WaitUntil(std::chrono::time_point_cast<Clock::duration>(time))) step = steps;
    const double fraction = static_cast<double>(from) + static_cast<double>(to - from) * step / steps;
    if (!SendGamma(*connection, Blend(before, fraction, colour))) return kCGErrorCannotComplete;
  }
  return connection->Finish() ? kCGErrorSuccess : kCGErrorCannotComplete;
}

CGError CGReleaseDisplayFadeReservation(CGDisplayFadeReservationToken token) {
  return Reservation::Instance().Release(token) ? kCGErrorSuccess : kCGErrorIllegalArgument;
}

CGError CGSetDisplayTransferByFormula(CGDirectDisplayID display, CGGammaValue redMin, CGGammaValue redMax,
                                      CGGammaValue redGamma, CGGammaValue greenMin, CGGammaValue greenMax,
                                      CGGammaValue greenGamma, CGGammaValue blueMin, CGGammaValue blueMax,
                                      CGGammaValue blueGamma) {
  const CallScope scope;
  Connection* const connection = DarkeningConnection();
  const auto displays = Displays::Instance().Now();
  if (connection == nullptr || !displays) return kCGErrorCannotComplete;
  const DisplayInfo* const info = Find(*displays, display);
  if (info == nullptr) return kCGErrorIllegalArgument;
  std::vector<GammaRamp> ramps = GammaWithin(*connection, RememberGamma(*connection), info->bounds);
  if (ramps.empty()) return connection->Alive() ? kCGErrorNoneAvailable : kCGErrorCannotComplete;

  const double formulas[3][3] = {
      {redMin, redMax, redGamma}, {greenMin, greenMax, greenGamma}, {blueMin, blueMax, blueGamma}};
  for (GammaRamp& ramp : ramps) {
    for (size_t i = 0; i < 3; ++i) {
      const auto& [low, high, exponent] = formulas[i];
      const double last = std::max<double>(static_cast<double>(ramp.colours[i].size()) - 1, 1);
      double step = 0;
      for (uint16_t& value : ramp.colours[i])
        value = Intensity(low + (high - low) * std::pow(step++ / last, exponent));
    }
  }
  return SendGamma(*connection, ramps) && connection->Finish() ? kCGErrorSuccess : kCGErrorCannotComplete;
}

void CGDisplayRestoreColorSyncSettings() {
  const CallScope scope;
  if (Connection* const connection = Connection::Current()) RestoreGamma(*connection);
}
