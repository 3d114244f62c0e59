// The ref-counted family that every Core Foundation value belongs to.
//
// The opaque types of the headers (__CFString, __CFData, ...) derive from Object and from nothing else, so a
// reference of any of them, passed on as CFTypeRef, is the address of its Object.
#pragma once
#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>

namespace platform::cf {

// What CFGetTypeID answers; stable within a process only.
enum class Type : CFTypeID {
  kString = 1,
  kData,
  kNumber,
  kBoolean,
  kDate,
  kArray,
  kDictionary,
  kUUID,
  kURL,
  kError,
  kReadStream,
  kBundle,
  kRunLoop,
  kRunLoopSource,
  kRunLoopTimer,
  kMessagePort
};

// Ends the process: a call that the interface forbids was made. `what` names it.
[[noreturn]] void Fault(const char* what);

class Object {
 public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  void Retain() const noexcept;
  // Deletes the object with the last reference.
  void Release() const noexcept;
  [[nodiscard]] CFIndex RetainCount() const noexcept;

  // From now on Retain and Release have no effect. Only before another thread sees the object.
  void MakeImmortal() noexcept { immortal_ = true; }

  [[nodiscard]] Type GetType() const noexcept { return type_; }

  // By identity, unless a type compares values. `other` is of the same type.
  [[nodiscard]] virtual bool Equals(const Object& other) const { return this == &other; }
  [[nodiscard]] virtual CFHashCode Hash() const { return reinterpret_cast<CFHashCode>(this) >> 4; }

  // For people who debug: kind, address, value.
  [[nodiscard]] virtual std::u16string Description() const = 0;
  // What "%@" shows.
  [[nodiscard]] virtual std::u16string Text() const { return Description(); }

 protected:
  // With one reference, the maker's.
  explicit Object(Type type) noexcept : type_(type) {}
  virtual ~Object() = default;

 private:
  const Type type_;
  bool immortal_ = false;
  mutable std::atomic<CFIndex> count_{1};
};

inline const Object* AsObject(CFTypeRef value) { return static_cast<const Object*>(value); }

// "<CFKind 0xADDRESS>{DETAILS}"
std::u16string Describe(const char* kind, const void* address, const std::u16string& details);

}  // namespace platform::cf
