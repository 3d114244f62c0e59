// The two booleans.
#include <CoreFoundation/CFNumber.h>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFBoolean final : platform::cf::Object {
  constexpr explicit __CFBoolean(bool content) : Object(platform::cf::Type::kBoolean), value(content) {
    MakeImmortal();
  }

  [[nodiscard]] CFHashCode Hash() const override { return value ? 1 : 0; }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFBoolean", this, u"value = " + Text());
  }
  [[nodiscard]] std::u16string Text() const override { return value ? u"true" : u"false"; }

  const bool value;
};

namespace {

// There before any code runs, and never destroyed: threads that outlive main() still use it.
union Lasting {
  constexpr explicit Lasting(bool content) : boolean(content) {}
  ~Lasting() {}

  __CFBoolean boolean;
};

constinit Lasting trueValue{true};
constinit Lasting falseValue{false};

}  // namespace

extern "C" {

constinit const CFBooleanRef kCFBooleanTrue = &trueValue.boolean;
constinit const CFBooleanRef kCFBooleanFalse = &falseValue.boolean;

CFTypeID CFBooleanGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kBoolean); }

Boolean CFBooleanGetValue(CFBooleanRef boolean) { return boolean->value; }

}  // extern "C"
