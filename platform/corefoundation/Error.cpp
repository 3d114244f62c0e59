// Why a call failed: a code and a sentence.
#include "platform/corefoundation/Error.h"

#include <functional>
#include <string>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFError final : platform::cf::Object {
  __CFError(CFIndex number, std::u16string text)
      : Object(platform::cf::Type::kError), code(number), sentence(std::move(text)) {}

  [[nodiscard]] bool Equals(const Object& other) const override {
    const auto& error = static_cast<const __CFError&>(other);
    return code == error.code && sentence == error.sentence;
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<CFIndex>{}(code); }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFError", this,
                                  platform::cf::Widen("code = " + std::to_string(code) + ": ") + sentence);
  }
  [[nodiscard]] std::u16string Text() const override { return sentence; }

  const CFIndex code;
  const std::u16string sentence;
};

namespace platform::cf {

void ReportError(CFErrorRef* error, CFIndex code, std::string_view sentence) {
  if (error != nullptr) *error = new __CFError(code, Widen(sentence));
}

}  // namespace platform::cf

extern "C" {

CFIndex CFErrorGetCode(CFErrorRef error) { return error->code; }

CFStringRef CFErrorCopyDescription(CFErrorRef error) { return platform::cf::CreateString(error->sentence); }

}  // extern "C"
