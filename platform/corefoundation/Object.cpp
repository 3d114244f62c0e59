// Reference counts, and comparison and description of values of any type.
#include "platform/corefoundation/Object.h"

#include <cstdio>
#include <cstdlib>
#include <limits>

#include "platform/corefoundation/String.h"

namespace platform::cf {

namespace {

const Object& Checked(CFTypeRef value, const char* what) {
  if (value == nullptr) Fault(what);
  return *AsObject(value);
}

}  // namespace

void Fault(const char* what) {
  std::fprintf(stderr, "Core Foundation: %s\n", what);
  std::abort();
}

void Object::Retain() const noexcept {
  if (!immortal_) count_.fetch_add(1, std::memory_order_relaxed);
}

void Object::Release() const noexcept {
  if (immortal_) return;
  const CFIndex before = count_.fetch_sub(1, std::memory_order_acq_rel);
  if (before < 1) Fault("a value was released too often");
  if (before == 1) delete this;
}

CFIndex Object::RetainCount() const noexcept {
  return immortal_ ? std::numeric_limits<CFIndex>::max() : count_.load(std::memory_order_relaxed);
}

std::u16string Object::ElementText(size_t) const { return QuotedUnlessWord(Text()); }

std::u16string Describe(const char* kind, const void* address, const std::u16string& details) {
  char head[64];
  std::snprintf(head, sizeof head, "<%s %p>{", kind, address);
  return Widen(head) + details + u"}";
}

}  // namespace platform::cf

using platform::cf::AsObject;
using platform::cf::Checked;

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;

void* CFAllocatorAllocate(CFAllocatorRef, CFIndex size, CFOptionFlags) {
  return size > 0 ? std::malloc(static_cast<size_t>(size)) : nullptr;
}

void* CFAllocatorReallocate(CFAllocatorRef, void* memory, CFIndex size, CFOptionFlags) {
  if (size > 0) return std::realloc(memory, static_cast<size_t>(size));
  std::free(memory);
  return nullptr;
}

void CFAllocatorDeallocate(CFAllocatorRef, void* memory) { std::free(memory); }

CFTypeRef CFRetain(CFTypeRef value) {
  Checked(value, "CFRetain of null").Retain();
  return value;
}

void CFRelease(CFTypeRef value) { Checked(value, "CFRelease of null").Release(); }

CFIndex CFGetRetainCount(CFTypeRef value) { return Checked(value, "CFGetRetainCount of null").RetainCount(); }

CFTypeID CFGetTypeID(CFTypeRef value) {
  return static_cast<CFTypeID>(Checked(value, "CFGetTypeID of null").GetType());
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
  const auto& left = Checked(a, "CFEqual with null");
  const auto& right = Checked(b, "CFEqual with null");
  return &left == &right || (left.GetType() == right.GetType() && left.Equals(right));
}

CFHashCode CFHash(CFTypeRef value) { return Checked(value, "CFHash of null").Hash(); }

}  // extern "C"
