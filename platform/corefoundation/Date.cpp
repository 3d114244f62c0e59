// Moments in time.
#include <CoreFoundation/CFDate.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

namespace {

using namespace std::chrono;

constexpr sys_days kEpoch = year{2001} / January / 1;

}  // namespace

struct __CFDate final : platform::cf::Object {
  explicit __CFDate(CFAbsoluteTime at) : Object(platform::cf::Type::kDate), time(at) {}

  [[nodiscard]] bool Equals(const Object& other) const override {
    return time == static_cast<const __CFDate&>(other).time;
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<double>{}(time); }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFDate", this, u"time = " + Text());
  }
  [[nodiscard]] std::u16string Text() const override;

  const CFAbsoluteTime time;
};

// "2001-01-01 00:00:00 +0000"; only the seconds since then for a year that has not four digits.
std::u16string __CFDate::Text() const {
  constexpr double kFirst = static_cast<double>((sys_seconds{sys_days{year{0} / 1 / 1}} - kEpoch).count());
  constexpr double kEnd = static_cast<double>((sys_seconds{sys_days{year{10000} / 1 / 1}} - kEpoch).count());
  char text[40];
  if (!(time >= kFirst && time < kEnd)) {
    std::snprintf(text, sizeof text, "%.17g", time);
    return platform::cf::Widen(text);
  }
  const sys_seconds moment = kEpoch + seconds(static_cast<int64_t>(std::floor(time)));
  const auto midnight = floor<days>(moment);
  const year_month_day day{midnight};
  const hh_mm_ss clock{moment - midnight};
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d +0000", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return platform::cf::Widen(text);
}

extern "C" {

CFTypeID CFDateGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kDate); }

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at) { return new __CFDate(at); }

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) { return date->time; }

CFAbsoluteTime CFAbsoluteTimeGetCurrent() { return duration<double>(system_clock::now() - kEpoch).count(); }

}  // extern "C"
