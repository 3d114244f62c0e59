// How fast are captured pixels converted for the shared screen, beside memcpy, libyuv and pixman?
//
// memcpy is asked for the same traffic: the conversion reads 4 bytes and writes 2 for a pixel, so memcpy
// copies 3 bytes for a pixel (3 read, 3 written).
#include <libyuv/convert_from_argb.h>
#include <pixman.h>

#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "bench/Rounds.h"
#include "rcserv/Bitmap.h"

namespace {

using rcserv::BitmapT;
using rcserv::kCaptureFormat;
using rcserv::kScreenFormat;
using rcserv::Surface;

constexpr int kRounds = 15;

struct PixmanUnref {
  void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using PixmanImage = std::unique_ptr<pixman_image_t, PixmanUnref>;

PixmanImage WrapForPixman(pixman_format_code_t format, const Surface& surface) {
  return PixmanImage(pixman_image_create_bits(format, surface.width(), surface.height(),
                                              reinterpret_cast<uint32_t*>(surface.BitsAt(0, 0)),
                                              surface.stride()));
}

// Page-aligned memory plus an offset. memcpy's string instructions are several times slower on some
// processors when source and destination have nearly the same place within a page; it is given the better
// arrangement.
class CopyBuffer {
 public:
  CopyBuffer(size_t size, size_t offset)
      : memory_(static_cast<std::byte*>(std::aligned_alloc(4096, (size + offset + 4095) / 4096 * 4096))),
        offset_(offset) {
    std::memset(Data(), 1, size);
  }
  [[nodiscard]] std::byte* Data() const { return memory_.get() + offset_; }

 private:
  platform::MallocPtr<std::byte> memory_;
  size_t offset_;
};

void FillWithNoise(const Surface& surface) {
  std::minstd_rand random(1);
  std::byte* bits = surface.BitsAt(0, 0);
  for (int64_t i = 0; i < int64_t{surface.stride()} * surface.height(); ++i)
    bits[i] = static_cast<std::byte>(random() >> 8);
}

// A contestant whose round is many runs, and whose result is the time of one.
bench::Contestant Repeated(const char* name, int64_t pixels, std::function<void()> run) {
  constexpr int64_t kPixelsPerRound = 120'000'000;
  return {name, [runs = std::max<int64_t>(1, kPixelsPerRound / pixels), run = std::move(run)] {
            return bench::Microseconds([&] {
                     for (int64_t i = 0; i < runs; ++i) run();
                   }) /
                   static_cast<double>(runs);
          }};
}

void Measure(int width, int height) {
  const BitmapT<kCaptureFormat> source(Surface::CreateSP(kCaptureFormat, width, height));
  BitmapT<kScreenFormat> target(Surface::CreateSP(kScreenFormat, width, height));
  if (!source || !target) return;
  FillWithNoise(*source);
  const PixmanImage pixmanSource = WrapForPixman(PIXMAN_x8r8g8b8, *source);
  const PixmanImage pixmanTarget = WrapForPixman(PIXMAN_x1r5g5b5, *target);
  const size_t copied = size_t{3} * static_cast<size_t>(width) * static_cast<size_t>(height);
  const CopyBuffer copyFrom(copied, 0);
  const CopyBuffer copyTo(copied, 2048);

  const int64_t pixels = int64_t{width} * height;

  std::vector<bench::Contestant> contestants = {
      Repeated("memcpy of the same bytes", pixels,
               [&] { std::memcpy(copyTo.Data(), copyFrom.Data(), copied); }),
      Repeated("ours", pixels,
               [&] {
                 static_cast<void>(source.DrawTo(0, 0, target, 0, 0, width, height,
                                                 rcserv::PixelTransformT<kCaptureFormat, kScreenFormat>()));
               }),
      Repeated("libyuv ARGBToARGB1555", pixels,
               [&] {
                 libyuv::ARGBToARGB1555(reinterpret_cast<const uint8_t*>(source->BitsAt(0, 0)),
                                        source->stride(), reinterpret_cast<uint8_t*>(target->BitsAt(0, 0)),
                                        target->stride(), width, height);
               }),
      Repeated("pixman x8r8g8b8 to x1r5g5b5", pixels, [&] {
        pixman_image_composite32(PIXMAN_OP_SRC, pixmanSource.get(), nullptr, pixmanTarget.get(), 0, 0, 0, 0,
                                 0, 0, width, height);
      })};
  for (const rcserv::RowConverter& converter : rcserv::RowConverters()) {
    contestants.push_back(Repeated(converter.name, pixels, [&source, &target, &converter] {
      for (int row = 0; row < source->height(); ++row)
        converter.convert(source->BitsAt(0, row), target->BitsAt(0, row),
                          static_cast<size_t>(source->width()));
    }));
  }

  std::printf("%d x %d, time of a frame\n", width, height);
  const std::vector<bench::Summary> results = bench::Run(contestants, kRounds);
  const double ours = results[1].median;
  std::printf("  ours: %.2f of memcpy's speed, %.2f times libyuv's, %.1f times pixman's\n",
              results[0].median / ours, results[2].median / ours, results[3].median / ours);
}

}  // namespace

int main() {
  Measure(1920, 1080);
  Measure(256, 256);
  Measure(64, 64);
}
