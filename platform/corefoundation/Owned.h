// Scoped references for the files of this folder.
#pragma once
#include <CoreFoundation/CFBase.h>

#include <memory>

namespace platform::cf {

struct ReleaseReference {
  void operator()(CFTypeRef value) const noexcept { CFRelease(value); }
};

// Takes over the reference of whoever made the value; empty when null.
template <class T>
using Owned = std::unique_ptr<T, ReleaseReference>;

// One more reference; `value` may be null.
template <class T>
Owned<T> Share(T* value) {
  if (value != nullptr) CFRetain(value);
  return Owned<T>(value);
}

// One of the context structures of the interfaces, its `info` retained by its own function.
template <class Context>
Context WithInfoRetained(Context context) {
  if (context.retain != nullptr) context.info = const_cast<void*>(context.retain(context.info));
  return context;
}

}  // namespace platform::cf
