// Numbers: a signed 64-bit integer or a double.
#include "platform/corefoundation/Number.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <variant>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

namespace {

using Value = std::variant<int64_t, double>;

// The integer that equals `real`, if there is one.
std::optional<int64_t> ExactInteger(double real) {
  // 2^63 is the first double above the range; -2^63 lies in it.
  constexpr double kLimit = 9223372036854775808.0;
  if (!(real >= -kLimit && real < kLimit) || real != std::trunc(real)) return std::nullopt;
  return static_cast<int64_t>(real);
}

// Integral doubles as integers, so that equal numbers have one form.
Value Canonical(const Value& value) {
  if (const double* real = std::get_if<double>(&value)) {
    if (const auto integer = ExactInteger(*real)) return *integer;
  }
  return value;
}

template <class T>
T Load(const void* source) {
  T value;
  std::memcpy(&value, source, sizeof value);
  return value;
}

template <class T>
void Store(void* target, T value) {
  std::memcpy(target, &value, sizeof value);
}

// Integers lose their upper bits. Of 8- and 16-bit targets the unsigned range counts as fitting too: callers
// store bytes and Unicode units through the signed types.
template <class T>
bool StoreInteger(int64_t value, void* target) {
  const T narrow = static_cast<T>(value);
  Store(target, narrow);
  if (narrow == value) return true;
  if constexpr (sizeof(T) <= 2)
    return value >= 0 && value <= std::numeric_limits<std::make_unsigned_t<T>>::max();
  return false;
}

// Reals lose their fraction, and stop at the limits of the target; what is not a number becomes 0.
template <class T>
bool StoreTruncated(double value, void* target) {
  constexpr T kMin = std::numeric_limits<T>::min();
  constexpr T kMax = std::numeric_limits<T>::max();
  const bool tooLarge = value >= -static_cast<double>(kMin);
  const bool tooSmall = value < static_cast<double>(kMin);
  T narrow = 0;
  if (tooLarge) {
    narrow = kMax;
  } else if (tooSmall) {
    narrow = kMin;
  } else if (!std::isnan(value)) {
    narrow = static_cast<T>(value);
  }
  Store(target, narrow);
  return !tooLarge && !tooSmall && static_cast<double>(narrow) == value;
}

template <class T>
bool StoreAsInteger(const Value& value, void* target) {
  if (const int64_t* integer = std::get_if<int64_t>(&value)) return StoreInteger<T>(*integer, target);
  return StoreTruncated<T>(std::get<double>(value), target);
}

template <class T>
bool StoreAsReal(const Value& value, void* target) {
  if (const int64_t* integer = std::get_if<int64_t>(&value)) {
    const T real = static_cast<T>(*integer);
    Store(target, real);
    return ExactInteger(real) == *integer;
  }
  const double wide = std::get<double>(value);
  const T real = static_cast<T>(wide);
  Store(target, real);
  return real == wide || std::isnan(wide);
}

}  // namespace

struct __CFNumber final : platform::cf::Object {
  explicit __CFNumber(Value content) : Object(platform::cf::Type::kNumber), value(content) {}

  [[nodiscard]] bool Equals(const Object& other) const override {
    const Value a = Canonical(value);
    const Value b = Canonical(static_cast<const __CFNumber&>(other).value);
    const bool bothNotNumbers = std::holds_alternative<double>(a) && std::holds_alternative<double>(b) &&
                                std::isnan(std::get<double>(a)) && std::isnan(std::get<double>(b));
    return bothNotNumbers || a == b;
  }

  [[nodiscard]] CFHashCode Hash() const override {
    const Value canonical = Canonical(value);
    if (const int64_t* integer = std::get_if<int64_t>(&canonical)) return std::hash<int64_t>{}(*integer);
    const double real = std::get<double>(canonical);
    return std::isnan(real) ? 0 : std::hash<double>{}(real);
  }

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFNumber", this, u"value = " + Text());
  }
  [[nodiscard]] std::u16string Text() const override;

  const Value value;
};

std::u16string __CFNumber::Text() const {
  if (const int64_t* integer = std::get_if<int64_t>(&value)) {
    return platform::cf::Widen(std::to_string(*integer));
  }
  const double real = std::get<double>(value);
  if (std::isnan(real)) return u"nan";
  if (std::isinf(real)) return real < 0 ? u"-infinity" : u"+infinity";
  char digits[40];
  std::snprintf(digits, sizeof digits, "%.17g", real);
  return platform::cf::Widen(digits);
}

namespace platform::cf {

bool HoldsReal(CFNumberRef number) { return std::holds_alternative<double>(number->value); }

}  // namespace platform::cf

extern "C" {

CFTypeID CFNumberGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kNumber); }

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void* value) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return new __CFNumber(int64_t{Load<int8_t>(value)});
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return new __CFNumber(int64_t{Load<int16_t>(value)});
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return new __CFNumber(int64_t{Load<int32_t>(value)});
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
      return new __CFNumber(Load<int64_t>(value));
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return new __CFNumber(double{Load<float>(value)});
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
      return new __CFNumber(Load<double>(value));
  }
  return nullptr;
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  switch (type) {
    case kCFNumberSInt8Type:
    case kCFNumberCharType:
      return StoreAsInteger<int8_t>(number->value, value);
    case kCFNumberSInt16Type:
    case kCFNumberShortType:
      return StoreAsInteger<int16_t>(number->value, value);
    case kCFNumberSInt32Type:
    case kCFNumberIntType:
      return StoreAsInteger<int32_t>(number->value, value);
    case kCFNumberSInt64Type:
    case kCFNumberLongType:
    case kCFNumberLongLongType:
    case kCFNumberCFIndexType:
      return StoreAsInteger<int64_t>(number->value, value);
    case kCFNumberFloat32Type:
    case kCFNumberFloatType:
      return StoreAsReal<float>(number->value, value);
    case kCFNumberFloat64Type:
    case kCFNumberDoubleType:
      return StoreAsReal<double>(number->value, value);
  }
  return false;
}

}  // extern "C"
