// A buffer of pixels: the base of every surface that is captured into, converted or mapped.
#pragma once
#include <cstddef>
#include <cstdint>

#include "platform/Handles.h"
#include "rcserv/PixelFormat.h"
#include "rcserv/RefCounted.h"

namespace rcserv {

// A surface's form in an accelerated drawing interface. No surface of ours has one.
class NativeSurface;

// One thread at a time.
class Surface {
 public:
  enum AccessMode : int { kReadWrite = 0, kRead = 1 };

  Surface() = default;
  Surface(const Surface&) = delete;
  Surface& operator=(const Surface&) = delete;
  virtual ~Surface() = default;

  // Null when the surface has no native form.
  virtual NativeSurface* GetNativeSurface() { return nullptr; }

  // Copies the `w` x `h` pixels at (x, y) to (dx, dy) of `dst`, which may be null. False when there is no
  // accelerated way and the caller has to copy.
  virtual bool NativeDrawTo(int x, int y, NativeSurface* dst, int dx, int dy, int w, int h);

  // A zeroed surface with a buffer of its own, rows filled up to a multiple of 4 bytes. Empty for an invalid
  // format, a dimension below 1, or when there is no memory for it.
  [[nodiscard]] static RefCountedPtrT<Surface> CreateSP(PixelFormat format, int32_t width, int32_t height);

  // Gives up the buffer and takes over the description of memory that stays the caller's. Nothing is checked:
  // rows lie `stride` bytes apart, row 0 at `bits`.
  void set(PixelFormat format, int32_t width, int32_t height, int32_t stride, void* bits,
           AccessMode accessMode);

  // The byte that holds the first bit of the pixel; null without a buffer or with an invalid format. The
  // coordinates are not checked.
  [[nodiscard]] std::byte* BitsAt(int32_t x, int32_t y) const;

  [[nodiscard]] bool owned() const { return owned_ != nullptr; }
  [[nodiscard]] bool read_only() const { return read_only_; }
  [[nodiscard]] PixelFormat format() const { return format_; }
  [[nodiscard]] int32_t width() const { return width_; }
  [[nodiscard]] int32_t height() const { return height_; }
  [[nodiscard]] int32_t stride() const { return stride_; }

 protected:
  // Allocates the zeroed buffer; false, and unchanged, when that is impossible.
  [[nodiscard]] bool Allocate(PixelFormat format, int32_t width, int32_t height);
  void ReleaseBits();

 private:
  platform::MallocPtr<std::byte> owned_;
  bool read_only_ = false;
  PixelFormat format_ = static_cast<PixelFormat>(0);
  int32_t width_ = 0;
  int32_t height_ = 0;
  int32_t stride_ = 0;
  std::byte* bits_ = nullptr;
};

// Shares the surface's counts; empty when the surface is, or has no native form.
[[nodiscard]] RefCountedPtrT<NativeSurface> GetNativeSurfaceSP(const RefCountedPtrT<Surface>& surface);

}  // namespace rcserv
