// Owner of a Core Foundation reference for the files of this folder.
#pragma once
#include <CoreFoundation/CFBase.h>

#include <memory>
#include <type_traits>

namespace platform::cf {

struct ReleaseReference {
  void operator()(CFTypeRef value) const noexcept { CFRelease(value); }
};

// Holds what a Create or Copy function returned; may be null.
template <class Ref>
using Reference = std::unique_ptr<std::remove_pointer_t<Ref>, ReleaseReference>;

// One more owner of a value that is borrowed; null of null.
template <class Ref>
[[nodiscard]] Reference<Ref> Retained(Ref value) {
  return Reference<Ref>(value == nullptr ? nullptr : static_cast<Ref>(const_cast<void*>(CFRetain(value))));
}

}  // namespace platform::cf
