#include "rcserv/Surface.h"

#include <limits>

namespace rcserv {

namespace {

// A cache line: a vector of pixels at the start of a buffer then never lies across two.
constexpr size_t kRowAlignment = 64;

// Surface and counts in one allocation. What is discarded with the last strong reference is the pixels; the
// object follows with the last weak one.
class RefCountedSurface final : public Surface, public RefCountedBase {
 public:
  using Surface::Allocate;

 protected:
  void Discard() override { ReleaseBits(); }
};

}  // namespace

bool Surface::NativeDrawTo(int, int, NativeSurface*, int, int, int, int) { return false; }

RefCountedPtrT<Surface> Surface::CreateSP(PixelFormat format, int32_t width, int32_t height) {
  std::unique_ptr<RefCountedSurface> surface(new (std::nothrow) RefCountedSurface);
  if (!surface || !surface->Allocate(format, width, height)) return {};
  RefCountedSurface* const made = surface.release();
  return RefCountedPtrT<Surface>::Adopt(made, made);
}

bool Surface::Allocate(PixelFormat format, int32_t width, int32_t height) {
  if (BitsPerPixel(format) == 0 || width < 1 || height < 1) return false;
  const int64_t stride = PaddedStride(format, width);
  if (stride > std::numeric_limits<int32_t>::max()) return false;

  // From calloc, which gets large buffers zeroed from the system without touching them.
  size_t space = static_cast<size_t>(stride) * static_cast<size_t>(height) + kRowAlignment;
  platform::MallocPtr<std::byte> memory(static_cast<std::byte*>(std::calloc(space, 1)));
  if (!memory) return false;
  void* bits = memory.get();
  std::align(kRowAlignment, space - kRowAlignment, bits, space);
  set(format, width, height, static_cast<int32_t>(stride), bits, kReadWrite);
  owned_ = std::move(memory);
  return true;
}

void Surface::ReleaseBits() {
  owned_.reset();
  bits_ = nullptr;
}

void Surface::set(PixelFormat format, int32_t width, int32_t height, int32_t stride, void* bits,
                  AccessMode accessMode) {
  ReleaseBits();
  read_only_ = accessMode == kRead;
  format_ = format;
  width_ = width;
  height_ = height;
  stride_ = stride;
  bits_ = static_cast<std::byte*>(bits);
}

std::byte* Surface::BitsAt(int32_t x, int32_t y) const {
  const int bits = BitsPerPixel(format_);
  if (bits_ == nullptr || bits == 0) return nullptr;
  return bits_ + int64_t{y} * stride_ + int64_t{x} * bits / 8;
}

RefCountedPtrT<NativeSurface> GetNativeSurfaceSP(const RefCountedPtrT<Surface>& surface) {
  if (!surface) return {};
  return RefCountedPtrT<NativeSurface>::Share(surface->GetNativeSurface(), surface.control());
}

}  // namespace rcserv
