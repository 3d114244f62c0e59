// Values by key.
#include "platform/corefoundation/Dictionary.h"

#include <algorithm>
#include <tuple>

#include "platform/corefoundation/String.h"

using platform::cf::AsObject;
using platform::cf::Kept;

namespace platform::cf {

bool KeyOrder::operator()(const Kept& a, const Kept& b) const {
  const CFTypeID stringType = CFStringGetTypeID();
  const CFTypeID typeA = CFGetTypeID(a.Get());
  const CFTypeID typeB = CFGetTypeID(b.Get());
  if (typeA == stringType && typeB == stringType) {
    return static_cast<CFStringRef>(a.Get())->units < static_cast<CFStringRef>(b.Get())->units;
  }
  return std::tuple(typeA, CFHash(a.Get())) < std::tuple(typeB, CFHash(b.Get()));
}

namespace {

__CFDictionary::Entries& EntriesToChange(CFMutableDictionaryRef dictionary) {
  if (!dictionary->changes) Fault("a dictionary was changed that cannot be");
  return dictionary->entries;
}

}  // namespace

}  // namespace platform::cf

__CFDictionary::Entries::const_iterator __CFDictionary::Find(CFTypeRef key) const {
  const auto [first, last] = entries.equal_range(Kept(key));
  const auto found =
      std::find_if(first, last, [key](const auto& entry) { return CFEqual(entry.first.Get(), key); });
  return found == last ? entries.end() : found;
}

bool __CFDictionary::Equals(const Object& other) const {
  const auto& dictionary = static_cast<const __CFDictionary&>(other);
  if (entries.size() != dictionary.entries.size()) return false;
  return std::ranges::all_of(entries, [&dictionary](const auto& entry) {
    const auto found = dictionary.Find(entry.first.Get());
    return found != dictionary.entries.end() && CFEqual(found->second.Get(), entry.second.Get());
  });
}

std::u16string __CFDictionary::Description() const {
  return platform::cf::Describe("CFDictionary", this, Text());
}

std::u16string __CFDictionary::ElementText(size_t indent) const {
  constexpr size_t kStep = 4;
  const std::u16string margin(indent, u' ');
  std::u16string text = margin + u"{\n";
  for (const auto& [key, value] : entries) {
    text.append(indent + kStep, u' ');
    text += AsObject(key.Get())->ElementText(indent + kStep) + u" = ";
    text += AsObject(value.Get())->ElementText(indent + kStep) + u";\n";
  }
  return text + margin + u"}";
}

extern "C" {

struct CFDictionaryKeyCallBacks {
  CFIndex version;
};
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{0};
struct CFDictionaryValueCallBacks {
  CFIndex version;
};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{0};

CFTypeID CFDictionaryGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kDictionary); }

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef, const void** keys, const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks*, const CFDictionaryValueCallBacks*) {
  if (count < 0 || ((keys == nullptr || values == nullptr) && count > 0)) return nullptr;
  auto* const made = new __CFDictionary({});
  for (CFIndex i = 0; i < count; ++i) {
    if (made->Find(keys[i]) == made->entries.end()) made->entries.emplace(keys[i], values[i]);
  }
  return made;
}

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef, CFIndex, const CFDictionaryKeyCallBacks*,
                                                 const CFDictionaryValueCallBacks*) {
  return new __CFDictionary({}, true);
}

CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex, CFDictionaryRef dictionary) {
  return new __CFDictionary(dictionary->entries, true);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) {
  return static_cast<CFIndex>(dictionary->entries.size());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
  const auto found = dictionary->Find(key);
  return found == dictionary->entries.end() ? nullptr : found->second.Get();
}

Boolean CFDictionaryContainsKey(CFDictionaryRef dictionary, const void* key) {
  return dictionary->Find(key) != dictionary->entries.end();
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values) {
  for (const auto& [key, value] : dictionary->entries) {
    if (keys != nullptr) *keys++ = key.Get();
    if (values != nullptr) *values++ = value.Get();
  }
}

void CFDictionaryApplyFunction(CFDictionaryRef dictionary, CFDictionaryApplierFunction applier,
                               void* context) {
  for (const auto& [key, value] : dictionary->entries) applier(key.Get(), value.Get(), context);
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value) {
  auto& entries = platform::cf::EntriesToChange(dictionary);
  const auto found = dictionary->Find(key);
  if (found == entries.end()) {
    entries.emplace(key, value);
  } else {
    // The key that is there stays, as the value that it names is what changes.
    entries.erase(found, found)->second = Kept(value);
  }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key) {
  auto& entries = platform::cf::EntriesToChange(dictionary);
  const auto found = dictionary->Find(key);
  if (found != entries.end()) entries.erase(found);
}

void CFDictionaryRemoveAllValues(CFMutableDictionaryRef dictionary) {
  platform::cf::EntriesToChange(dictionary).clear();
}

}  // extern "C"
