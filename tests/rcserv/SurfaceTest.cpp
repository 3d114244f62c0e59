#include "rcserv/Surface.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

// An allocation that is too large returns null under the sanitizers as it does without them.
extern "C" const char* __asan_default_options() { return "allocator_may_return_null=1"; }
extern "C" const char* __tsan_default_options() { return "allocator_may_return_null=1"; }

namespace rcserv {
namespace {

PixelFormat Format(int value) { return static_cast<PixelFormat>(value); }

TEST(SurfaceTest, RowsAreFilledUpToFourBytes) {
  struct Case {
    int format, width, height, stride;
  };
  for (const Case& c : {Case{1, 1, 1, 4}, Case{1, 2, 3, 4}, Case{1, 3, 1, 8}, Case{6, 3, 2, 12},
                        Case{4, 1, 1, 4}, Case{4, 5, 1, 8}, Case{9, 1, 1, 4}}) {
    const auto surface = Surface::CreateSP(Format(c.format), c.width, c.height);
    ASSERT_TRUE(surface) << c.format << " " << c.width;
    EXPECT_EQ(surface->stride(), c.stride) << c.format << " " << c.width;
    EXPECT_TRUE(surface->owned());
    EXPECT_FALSE(surface->read_only());
    const std::byte* bits = surface->BitsAt(0, 0);
    EXPECT_TRUE(std::all_of(bits, bits + c.stride * c.height, [](std::byte b) { return b == std::byte{0}; }));
  }
}

TEST(SurfaceTest, WhatCannotBeMadeIsEmpty) {
  struct Case {
    int format, width, height;
  };
  constexpr int kMax = std::numeric_limits<int>::max();
  for (const Case& c : {Case{0, 1, 1}, Case{10, 1, 1}, Case{-1, 1, 1}, Case{1, 0, 1}, Case{1, 1, 0},
                        Case{1, -5, 1}, Case{1, 1, -5}, Case{6, kMax, 1}, Case{6, 500'000'000, kMax}}) {
    EXPECT_FALSE(Surface::CreateSP(Format(c.format), c.width, c.height)) << c.format << " " << c.width;
  }
}

TEST(SurfaceTest, AddressesFollowFormatAndStride) {
  std::array<std::byte, 64> memory{};
  Surface surface;
  EXPECT_EQ(surface.BitsAt(0, 0), nullptr);
  surface.set(kScreenFormat, 3, 2, 20, memory.data(), Surface::kRead);
  EXPECT_EQ(surface.BitsAt(2, 1), memory.data() + 24);
  EXPECT_TRUE(surface.read_only());
  EXPECT_FALSE(surface.owned());
  surface.set(kCaptureFormat, 3, 2, 20, memory.data(), Surface::kReadWrite);
  EXPECT_EQ(surface.BitsAt(2, 1), memory.data() + 28);
  EXPECT_FALSE(surface.read_only());
  surface.set(Format(10), 3, 2, 20, memory.data(), Surface::kReadWrite);
  EXPECT_EQ(surface.BitsAt(0, 0), nullptr);
}

TEST(SurfaceTest, HasNoNativeForm) {
  const auto surface = Surface::CreateSP(kScreenFormat, 4, 4);
  EXPECT_FALSE(GetNativeSurfaceSP(surface));
  EXPECT_FALSE(surface->NativeDrawTo(0, 0, nullptr, 0, 0, 4, 4));
}

}  // namespace
}  // namespace rcserv
