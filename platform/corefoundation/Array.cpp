// Ordered collections.
#include "platform/corefoundation/Array.h"

#include <algorithm>

using platform::cf::AsObject;
using platform::cf::Fault;
using platform::cf::Kept;

bool __CFArray::Equals(const Object& other) const {
  return std::ranges::equal(values, static_cast<const __CFArray&>(other).values,
                            [](const Kept& a, const Kept& b) { return CFEqual(a.Get(), b.Get()); });
}

std::u16string __CFArray::Description() const { return platform::cf::Describe("CFArray", this, Text()); }

std::u16string __CFArray::ElementText(size_t indent) const {
  constexpr size_t kStep = 4;
  const std::u16string margin(indent, u' ');
  std::u16string text = margin + u"(";
  for (const Kept& value : values) {
    text += &value == values.data() ? u"\n" : u",\n";
    text.append(indent + kStep, u' ');
    // A container in an array puts its first bracket after both margins, as it does behind a key.
    text += AsObject(value.Get())->ElementText(indent + kStep);
  }
  return text + u"\n" + margin + u")";
}

extern "C" {

struct CFArrayCallBacks {
  CFIndex version;
};
const CFArrayCallBacks kCFTypeArrayCallBacks{0};

CFTypeID CFArrayGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kArray); }

CFArrayRef CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count, const CFArrayCallBacks*) {
  if (count < 0 || (values == nullptr && count > 0)) return nullptr;
  std::vector<Kept> content;
  for (CFIndex i = 0; i < count; ++i) content.emplace_back(values[i]);
  return new __CFArray(std::move(content));
}

CFArrayRef CFArrayCreateCopy(CFAllocatorRef, CFArrayRef array) {
  return array->changes ? new __CFArray(array->values) : static_cast<CFArrayRef>(CFRetain(array));
}

CFMutableArrayRef CFArrayCreateMutable(CFAllocatorRef, CFIndex, const CFArrayCallBacks*) {
  return new __CFArray({}, true);
}

void CFArrayAppendValue(CFMutableArrayRef array, const void* value) {
  if (!array->changes) Fault("an array was changed that cannot be");
  array->values.emplace_back(value);
}

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->values.size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  if (index < 0 || index >= CFArrayGetCount(array)) Fault("an index goes beyond its array");
  return array->values[static_cast<size_t>(index)].Get();
}

}  // extern "C"
