// The ref-counted family that every Core Foundation value belongs to.
//
// The opaque types of the headers (__CFString, __CFData, ...) derive from Object and from nothing else, so a
// reference of any of them, passed on as CFTypeRef, is the address of its Object.
#pragma once
#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>
#include <utility>

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
  kMessagePort,
  kMachPort,
  kInputSource,
  kEventLoopTimer,
  kEvent,
  kEventHandler
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
  constexpr void MakeImmortal() noexcept { immortal_ = true; }

  [[nodiscard]] Type GetType() const noexcept { return type_; }

  // By identity, unless a type compares values. `other` is of the same type.
  [[nodiscard]] virtual bool Equals(const Object& other) const { return this == &other; }
  [[nodiscard]] virtual CFHashCode Hash() const { return reinterpret_cast<CFHashCode>(this) >> 4; }

  // For people who debug: kind, address, value.
  [[nodiscard]] virtual std::u16string Description() const = 0;
  // What "%@" shows.
  [[nodiscard]] virtual std::u16string Text() const { return Description(); }
  // What a container shows, whose own lines begin at `indent` blanks: the text, in quotes where it would not
  // read as one word.
  [[nodiscard]] virtual std::u16string ElementText(size_t indent) const;

 protected:
  // With one reference, the maker's.
  constexpr explicit Object(Type type) noexcept : type_(type) {}
  virtual ~Object() = default;

 private:
  const Type type_;
  bool immortal_ = false;
  mutable std::atomic<CFIndex> count_{1};
};

// Keeps a value alive; may be empty.
class Kept {
 public:
  Kept() = default;
  // One more reference; null is a fault.
  explicit Kept(CFTypeRef value) : value_(CFRetain(value)) {}
  // Takes over the reference that a Create or Copy function returned, which may be null.
  static Kept Adopt(CFTypeRef value) {
    Kept kept;
    kept.value_ = value;
    return kept;
  }
  Kept(const Kept& other) : value_(other.value_ == nullptr ? nullptr : CFRetain(other.value_)) {}
  Kept(Kept&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  Kept& operator=(Kept other) noexcept {
    std::swap(value_, other.value_);
    return *this;
  }
  ~Kept() {
    if (value_ != nullptr) CFRelease(value_);
  }

  [[nodiscard]] CFTypeRef Get() const { return value_; }
  // The caller's to release from now on.
  [[nodiscard]] CFTypeRef Release() { return std::exchange(value_, nullptr); }
  explicit operator bool() const { return value_ != nullptr; }

 private:
  CFTypeRef value_ = nullptr;
};

inline const Object* AsObject(CFTypeRef value) { return static_cast<const Object*>(value); }

// "<CFKind 0xADDRESS>{DETAILS}"
std::u16string Describe(const char* kind, const void* address, const std::u16string& details);

}  // namespace platform::cf
