// GL contexts of displays, and rectangles that are null, empty or turned around.
#include <ApplicationServices/ApplicationServices.h>
#include <OpenGL/OpenGL.h>
#include <OpenGL/gl.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/platform/x11/Pictures.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

bool IsLoaded(const char* library) {
  std::stringstream maps;
  maps << std::ifstream("/proc/self/maps").rdbuf();
  return maps.str().find(library) != std::string::npos;
}

CGLPixelFormatObj FormatOf(CGOpenGLDisplayMask mask) {
  const CGLPixelFormatAttribute attributes[] = {
      kCGLPFAFullScreen, kCGLPFADisplayMask, static_cast<CGLPixelFormatAttribute>(mask), {}};
  CGLPixelFormatObj format = nullptr;
  GLint count = -1;
  EXPECT_EQ(CGLChoosePixelFormat(attributes, &format, &count), kCGLNoError);
  EXPECT_EQ(count, format == nullptr ? 0 : 1);
  return format;
}

TEST(OpenGLTest, AContextLoadsTheLibraryWhenItBecomesCurrent) {
  const test::XServer server;
  const CGDirectDisplayID display = CGMainDisplayID();
  EXPECT_EQ(CGDisplayIDToOpenGLDisplayMask(display + 7), 0U);
  EXPECT_EQ(FormatOf(2), nullptr) << "no such display";
  CGLContextObj context = nullptr;
  EXPECT_EQ(CGLCreateContext(nullptr, nullptr, &context), kCGLBadPixelFormat);

  const CGLPixelFormatObj format = FormatOf(CGDisplayIDToOpenGLDisplayMask(display));
  ASSERT_EQ(CGLCreateContext(format, nullptr, &context), kCGLNoError);
  EXPECT_EQ(CGLDestroyPixelFormat(format), kCGLNoError);
  EXPECT_EQ(CGLSetFullScreen(context), kCGLBadFullScreen);
  EXPECT_FALSE(IsLoaded("libEGL"));
  ASSERT_EQ(CGLSetCurrentContext(context), kCGLNoError);
  EXPECT_TRUE(IsLoaded("libEGL"));
  EXPECT_EQ(glGetError(), GL_NO_ERROR);
  EXPECT_EQ(CGLSetCurrentContext(nullptr), kCGLNoError);
  EXPECT_EQ(CGLDestroyContext(context), kCGLNoError);
}

TEST(OpenGLTest, ABitmapOfFiveBitsTakesTheUpperOnesInHostOrder) {
  const test::XServer server{{.width = 40, .height = 20}};
  test::XClient witness;
  witness.FillNoise(0, 0, 40, 20, 9);
  witness.Sync();
  const std::vector<uint32_t> screen = witness.Read(0, 0, 40, 20);
  const test::Image image = test::Capture(CGMainDisplayID(), 0, 0, 40, 20);
  std::vector<uint16_t> pixels(48 * 24, 0xAAAA);
  const CGColorSpaceRef space = CGColorSpaceCreateWithName(kCGColorSpaceGenericRGB);
  const test::Context context(
      CGBitmapContextCreate(pixels.data(), 48, 24, 5, 96, space, kCGImageAlphaNoneSkipFirst));
  ASSERT_NE(context, nullptr);
  CGContextDrawImage(context.get(), CGRectMake(3, 1, 40, 20), image.get());
  for (size_t i = 0; i < pixels.size(); ++i) {
    const size_t x = i % 48 - 3;
    const size_t y = i / 48 - 3;
    if (x >= 40 || y >= 20) {
      ASSERT_EQ(pixels[i], 0xAAAA) << x << "," << y;
      continue;
    }
    const uint32_t pixel = screen[y * 40 + x];
    ASSERT_EQ(pixels[i], (pixel >> 9 & 0x7C00) | (pixel >> 6 & 0x3E0) | (pixel >> 3 & 0x1F)) << x << "," << y;
  }
}

TEST(GeometryTest, NullEmptyAndTurnedRectangles) {
  const CGRect turned = CGRectMake(10, 20, -4, -6);
  const CGRect empty = CGRectMake(50, 60, 0, 0);
  const struct {
    CGRect is, expected;
  } cases[] = {{CGRectUnion(CGRectNull, turned), turned},
               {CGRectUnion(turned, CGRectNull), turned},
               {CGRectUnion(CGRectNull, CGRectNull), CGRectNull},
               {CGRectUnion(turned, empty), CGRectMake(6, 14, 44, 46)},
               {CGRectUnion(CGRectMake(1440, 0, 1920, 1080), CGRectZero), CGRectMake(0, 0, 3360, 1080)},
               {CGRectIntegral(CGRectMake(-0.5, 1.25, 2, -1.5)), CGRectMake(-1, -1, 3, 3)},
               {CGRectIntegral(CGRectNull), CGRectNull},
               {CGRectOffset(turned, 1, -1), CGRectMake(7, 13, 4, 6)},
               {CGRectOffset(CGRectNull, 5, 5), CGRectNull},
               {CGRectStandardize(CGRectNull), CGRectNull},
               {CGRectIntersection(CGRectMake(0, 0, 10, 10), CGRectMake(10, 0, 5, 5)), CGRectNull}};
  for (const auto& test : cases) EXPECT_TRUE(CGRectEqualToRect(test.is, test.expected)) << &test - cases;
  const CGRect standard = CGRectStandardize(turned);
  EXPECT_EQ(standard.origin.x, 6);
  EXPECT_EQ(standard.size.height, 6);
  EXPECT_TRUE(CGRectIsEmpty(CGRectNull) && CGRectIsEmpty(empty) && !CGRectIsEmpty(turned));
}

}  // namespace
