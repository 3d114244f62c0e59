// Objects with a strong and a weak count, and the pointer that counts.
#pragma once
#include <atomic>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace rcserv {

// A control block. Strong references keep the payload, weak ones only the block; all strong references
// together hold one weak one. Any thread.
class RefCountable {
 public:
  RefCountable() = default;
  RefCountable(const RefCountable&) = delete;
  RefCountable& operator=(const RefCountable&) = delete;

  virtual void AddRef() = 0;
  // True for the call that gave up the last strong reference.
  virtual bool Release() = 0;
  // Turns a weak reference into a strong one besides; false when the payload is gone.
  [[nodiscard]] virtual bool AddRefIfAlive() = 0;
  virtual void AddRefWeak() = 0;
  virtual void ReleaseWeak() = 0;
  virtual ~RefCountable() = default;

 protected:
  virtual void Discard() = 0;  // destroys the payload
  virtual void Destroy() = 0;  // frees the control block
};

// Both counts start at 1: whoever makes the block holds the first strong reference.
class RefCountedBase : public RefCountable {
 public:
  void AddRef() override { ++strong_; }

  bool Release() override {
    if (--strong_ != 0) return false;
    Discard();
    ReleaseWeak();
    return true;
  }

  [[nodiscard]] bool AddRefIfAlive() override {
    int32_t seen = strong_;
    while (seen != 0) {
      if (strong_.compare_exchange_weak(seen, seen + 1)) return true;
    }
    return false;
  }

  void AddRefWeak() override { ++weak_; }

  void ReleaseWeak() override {
    if (--weak_ == 0) Destroy();
  }

 protected:
  void Destroy() override { delete this; }

 private:
  std::atomic<int32_t> strong_{1};
  std::atomic<int32_t> weak_{1};
};

// The control block of a payload that was allocated on its own.
template <class T>
class RefCountedImplT final : public RefCountedBase {
 public:
  explicit RefCountedImplT(std::unique_ptr<T> payload) : payload_(std::move(payload)) {}

 protected:
  void Discard() override { payload_.reset(); }

 private:
  std::unique_ptr<T> payload_;
};

// Holds one strong reference, or is empty. Copies may go to other threads; one pointer belongs to one thread
// at a time.
template <class T>
class RefCountedPtrT {
 public:
  RefCountedPtrT() = default;

  RefCountedPtrT(const RefCountedPtrT& other) : RefCountedPtrT(Share(other.object_, other.control_)) {}
  RefCountedPtrT(RefCountedPtrT&& other) noexcept { swap(other); }
  template <class U>
  requires std::is_convertible_v<U*, T*> RefCountedPtrT(const RefCountedPtrT<U>& other)
      : RefCountedPtrT(Share(other.object_, other.control_)) {}

  RefCountedPtrT& operator=(RefCountedPtrT other) noexcept {
    swap(other);
    return *this;
  }
  ~RefCountedPtrT() { reset(); }

  // Takes over a reference that the caller holds.
  static RefCountedPtrT Adopt(T* object, RefCountable* control) {
    RefCountedPtrT pointer;
    pointer.object_ = object;
    pointer.control_ = control;
    return pointer;
  }

  // Adds a reference of its own; empty when either is null.
  static RefCountedPtrT Share(T* object, RefCountable* control) {
    if (object == nullptr || control == nullptr) return {};
    control->AddRef();
    return Adopt(object, control);
  }

  // Owns a newly built object from here on; it is deleted at once when there is no memory for the counts.
  static RefCountedPtrT MakeRefCountable(T* object) {
    std::unique_ptr<T> owned(object);
    if (!owned) return {};
    auto* const control = new (std::nothrow) RefCountedImplT<T>(std::move(owned));
    return Adopt(control == nullptr ? nullptr : object, control);
  }

  void reset() {
    RefCountable* const control = std::exchange(control_, nullptr);
    const T* const object = std::exchange(object_, nullptr);
    if (object != nullptr && control != nullptr) control->Release();
  }
  void swap(RefCountedPtrT& other) noexcept {
    std::swap(object_, other.object_);
    std::swap(control_, other.control_);
  }

  [[nodiscard]] bool Valid() const { return object_ != nullptr && control_ != nullptr; }
  explicit operator bool() const { return Valid(); }
  [[nodiscard]] T* get() const { return Valid() ? object_ : nullptr; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }

  // For a pointer to another part of the same payload.
  [[nodiscard]] RefCountable* control() const { return control_; }

 private:
  template <class U>
  friend class RefCountedPtrT;

  T* object_ = nullptr;
  RefCountable* control_ = nullptr;
};

}  // namespace rcserv
