// Scoped owner of a Core Foundation reference.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <utility>

// Holds a reference and releases it at the end of the scope, unless it is only borrowed or was handed on.
template <class Ref>
class StCFTypeRef {
 public:
  StCFTypeRef() = default;
  // Takes what a Create or Copy function returned (may be null). A reference that a Get function returned
  // comes with `owns` false and is only looked at.
  explicit StCFTypeRef(Ref reference, bool owns = true) : owns_(owns), reference_(reference) {}
  StCFTypeRef(StCFTypeRef&& other) noexcept : owns_(other.owns_), reference_(other.Release()) {}
  StCFTypeRef& operator=(StCFTypeRef&& other) noexcept {
    if (this == &other) return *this;
    Drop();
    owns_ = other.owns_;
    reference_ = other.Release();
    return *this;
  }
  StCFTypeRef(const StCFTypeRef&) = delete;
  StCFTypeRef& operator=(const StCFTypeRef&) = delete;
  ~StCFTypeRef() { Drop(); }

  [[nodiscard]] Ref get() const { return reference_; }
  operator Ref() const { return reference_; }

  // Hands the reference to the caller, who releases it if this object owned it; null remains.
  [[nodiscard]] Ref Release() {
    owns_ = false;
    return std::exchange(reference_, nullptr);
  }

 private:
  void Drop() {
    if (owns_ && reference_ != nullptr) CFRelease(reference_);
  }

  bool owns_ = false;
  Ref reference_ = nullptr;
};
