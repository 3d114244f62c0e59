// Why a call failed: a sentence.
#include "platform/corefoundation/Error.h"

#include <functional>
#include <string>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"

struct __CFError final : platform::cf::Object {
  explicit __CFError(std::u16string text) : Object(platform::cf::Type::kError), sentence(std::move(text)) {}

  [[nodiscard]] bool Equals(const Object& other) const override {
    return sentence == static_cast<const __CFError&>(other).sentence;
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<std::u16string>{}(sentence); }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFError", this, sentence);
  }
  [[nodiscard]] std::u16string Text() const override { return sentence; }

  const std::u16string sentence;
};

namespace platform::cf {

void ReportError(CFErrorRef* error, std::string_view sentence) {
  if (error != nullptr) *error = new __CFError(Widen(sentence));
}

}  // namespace platform::cf

extern "C" {

CFStringRef CFErrorCopyDescription(CFErrorRef error) { return platform::cf::CreateString(error->sentence); }

}  // extern "C"
