#include "tools/PrefsText.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include "common/KCStringUtils.h"

namespace tools {

namespace {

using Value = StCFTypeRef<CFTypeRef>;

// Core Foundation counts from the start of 2001.
constexpr std::chrono::sys_days kEpoch{std::chrono::year{2001} / 1 / 1};

template <class Number>
bool ReadNumber(const std::string& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

Value ParseBoolean(const std::string& text, std::string& wanted) {
  wanted = "true or false";
  if (text == "true" || text == "yes") return Value(kCFBooleanTrue, false);
  if (text == "false" || text == "no") return Value(kCFBooleanFalse, false);
  return {};
}

template <class Integer>
Value ParseInteger(const std::string& text, CFNumberType type, bool noNegative, std::string& wanted) {
  const long long lowest = noNegative ? 0 : std::numeric_limits<Integer>::min();
  constexpr long long kHighest = std::numeric_limits<Integer>::max();
  wanted = "a whole number from " + std::to_string(lowest) + " to " + std::to_string(kHighest);
  long long number = 0;
  if (!ReadNumber(text, number) || number < lowest || number > kHighest) return {};
  const auto value = static_cast<Integer>(number);
  return Value(CFNumberCreate(kCFAllocatorDefault, type, &value));
}

Value ParseReal(const std::string& text, std::string& wanted) {
  wanted = "a number";
  double number = 0;
  if (!ReadNumber(text, number) || !std::isfinite(number)) return {};
  return Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number));
}

Value ParseText(const std::string& text, std::string& wanted) {
  wanted = "a text in UTF-8 that is not empty (--remove gives back the default)";
  if (text.empty()) return {};
  return Value(StringOf(text).Release());
}

Value ParseURL(const std::string& text, std::string& wanted) {
  wanted = "an absolute path or a URL";
  const auto string = StringOf(text);
  if (string == nullptr) return {};
  if (text.starts_with('/')) {
    const StCFTypeRef<CFURLRef> url(
        CFURLCreateWithFileSystemPath(kCFAllocatorDefault, string, kCFURLPOSIXPathStyle, true));
    return Value(CFRetain(CFURLGetString(url)));
  }
  const StCFTypeRef<CFURLRef> url(CFURLCreateWithString(kCFAllocatorDefault, string, nullptr));
  if (url == nullptr || text.find("://") == std::string::npos) return {};
  return Value(CFRetain(CFURLGetString(url)));
}

Value ParseDate(const std::string& text, std::string& wanted) {
  using namespace std::chrono;
  wanted = "a date as 2026-11-21 or 2026-11-21T09:05:07Z";
  int y = 0, mo = 0, d = 0, h = 0, mi = 0, s = 0, used = 0;
  const bool dayOnly = std::sscanf(text.c_str(), "%4d-%2d-%2d%n", &y, &mo, &d, &used) == 3 &&
                       static_cast<size_t>(used) == text.size();
  if (!dayOnly) {
    used = 0;
    std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2dZ%n", &y, &mo, &d, &h, &mi, &s, &used);
    if (used == 0 || static_cast<size_t>(used) != text.size()) return {};
  }
  const year_month_day day{year{y}, month{static_cast<unsigned>(mo)},
                           std::chrono::day{static_cast<unsigned>(d)}};
  if (!day.ok() || h < 0 || h > 23 || mi < 0 || mi > 59 || s < 0 || s > 59) return {};
  const auto time = sys_days(day) + hours(h) + minutes(mi) + seconds(s) - kEpoch;
  return Value(CFDateCreate(kCFAllocatorDefault, static_cast<double>(duration_cast<seconds>(time).count())));
}

Value ParseData(const std::string& text, std::string& wanted) {
  wanted = "bytes as hexadecimal digits, two for each";
  const std::string digits = text.starts_with("0x") ? text.substr(2) : text;
  if (digits.empty() || digits.size() % 2 != 0) return {};
  std::vector<UInt8> bytes;
  for (size_t i = 0; i < digits.size(); i += 2) {
    UInt8 byte = 0;
    const auto [end, error] = std::from_chars(&digits[i], &digits[i] + 2, byte, 16);
    if (error != std::errc() || end != &digits[i] + 2) return {};
    bytes.push_back(byte);
  }
  return Value(CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
}

std::string ShowNumber(CFNumberRef number) {
  const StCFTypeRef<CFStringRef> text(
      CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%@"), number));
  return Utf8Of(text);
}

std::string ShowDate(CFDateRef date) {
  using namespace std::chrono;
  const double absolute = std::floor(CFDateGetAbsoluteTime(date));
  constexpr double kLimit = 1e11;  // some thousand years either way
  if (!(std::abs(absolute) < kLimit)) return "a date beyond all calendars";
  const sys_seconds time = kEpoch + seconds(static_cast<long long>(absolute));
  const auto midnight = floor<days>(time);
  const year_month_day day{midnight};
  const hh_mm_ss clock{time - midnight};
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(day.year()),
                static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

std::string ShowData(CFDataRef data) {
  std::string digits;
  const UInt8* bytes = CFDataGetBytePtr(data);
  for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
    char two[3];
    std::snprintf(two, sizeof two, "%02x", bytes[i]);
    digits += two;
  }
  return digits;
}

}  // namespace

std::string Utf8Of(CFStringRef text) {
  const KCStringHelper helper(text, kCFStringEncodingUTF8);
  return helper.GetCStringPtr() != nullptr ? helper.GetCStringPtr() : "";
}

StCFTypeRef<CFStringRef> StringOf(const std::string& text) {
  return StCFTypeRef<CFStringRef>(
      CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
}

const char* NameOfType(KCPrefType type) {
  switch (type) {
    case KCPrefType::kBoolean:
      return "boolean";
    case KCPrefType::kNumber16:
      return "16-bit number";
    case KCPrefType::kNumber32:
      return "32-bit number";
    case KCPrefType::kReal:
      return "number";
    case KCPrefType::kString:
      return "text";
    case KCPrefType::kURL:
      return "URL";
    case KCPrefType::kDate:
      return "date";
    case KCPrefType::kData:
      return "data";
    case KCPrefType::kFlags:
      return "flags";
    case KCPrefType::kLevels:
      return "levels";
    case KCPrefType::kDictionary:
      return "dictionary";
    case KCPrefType::kAny:
      break;
  }
  return "any";
}

bool IsOfType(CFTypeRef value, KCPrefType type) {
  const CFTypeID id = CFGetTypeID(value);
  switch (type) {
    case KCPrefType::kBoolean:
      return id == CFBooleanGetTypeID();
    case KCPrefType::kNumber16:
    case KCPrefType::kNumber32:
    case KCPrefType::kReal:
      return id == CFNumberGetTypeID();
    case KCPrefType::kString:
    case KCPrefType::kURL:
      return id == CFStringGetTypeID() && CFStringGetLength(static_cast<CFStringRef>(value)) > 0;
    case KCPrefType::kDate:
      return id == CFDateGetTypeID();
    case KCPrefType::kData:
      return id == CFDataGetTypeID();
    case KCPrefType::kFlags:
    case KCPrefType::kLevels:
    case KCPrefType::kDictionary:
      return id == CFDictionaryGetTypeID();
    case KCPrefType::kAny:
      break;
  }
  return true;
}

std::string ShowValue(CFTypeRef value) {
  if (value == nullptr) return {};
  const CFTypeID id = CFGetTypeID(value);
  if (id == CFBooleanGetTypeID()) return value == kCFBooleanTrue ? "true" : "false";
  if (id == CFNumberGetTypeID()) return ShowNumber(static_cast<CFNumberRef>(value));
  if (id == CFStringGetTypeID()) return Utf8Of(static_cast<CFStringRef>(value));
  if (id == CFDateGetTypeID()) return ShowDate(static_cast<CFDateRef>(value));
  if (id == CFDataGetTypeID()) return ShowData(static_cast<CFDataRef>(value));
  return id == CFDictionaryGetTypeID() ? "a dictionary" : "an array";
}

Value ParseValue(const std::string& text, KCPrefType type, bool noNegative, std::string& wanted) {
  switch (type) {
    case KCPrefType::kBoolean:
      return ParseBoolean(text, wanted);
    case KCPrefType::kNumber16:
      return ParseInteger<int16_t>(text, kCFNumberSInt16Type, noNegative, wanted);
    case KCPrefType::kNumber32:
      return ParseInteger<int32_t>(text, kCFNumberSInt32Type, noNegative, wanted);
    case KCPrefType::kReal:
      return ParseReal(text, wanted);
    case KCPrefType::kString:
    case KCPrefType::kAny:
      return ParseText(text, wanted);
    case KCPrefType::kURL:
      return ParseURL(text, wanted);
    case KCPrefType::kDate:
      return ParseDate(text, wanted);
    case KCPrefType::kData:
      return ParseData(text, wanted);
    case KCPrefType::kFlags:
    case KCPrefType::kLevels:
    case KCPrefType::kDictionary:
      break;
  }
  wanted = "no value from here";
  return {};
}

}  // namespace tools
