// Captured pixels against those that a second client reads, on real servers.
#include <gtest/gtest.h>

#include <cmath>

#include "tests/platform/x11/Pictures.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace {

using test::Capture;
using test::Image;
using test::PixelsOf;

struct Server {
  const char* name;
  test::XServerOptions options;

  friend std::ostream& operator<<(std::ostream& out, const Server& server) { return out << server.name; }
};

// What the root's pixel value shows, 8 bits a channel; the missing low bits of a channel repeat its high
// ones.
uint32_t Shown(uint32_t pixel, int depth) {
  if (depth == 30) return (pixel >> 22 & 0xff) << 16 | (pixel >> 12 & 0xff) << 8 | (pixel >> 2 & 0xff);
  if (depth != 16) return pixel;
  const uint32_t red = pixel >> 11 & 0x1f;
  const uint32_t green = pixel >> 5 & 0x3f;
  const uint32_t blue = pixel & 0x1f;
  return (red << 3 | red >> 2) << 16 | (green << 2 | green >> 4) << 8 | (blue << 3 | blue >> 2);
}

class CaptureOnServer : public testing::TestWithParam<Server> {};

INSTANTIATE_TEST_SUITE_P(
    Servers, CaptureOnServer,
    testing::Values(Server{"Xvfb", {.width = 640, .height = 480}},
                    Server{"Xvnc", {.kind = test::XServerOptions::Kind::kXvnc, .width = 640, .height = 480}},
                    Server{"WithoutSharedMemory",
                           {.width = 640, .height = 480, .extra = {"-extension", "MIT-SHM"}}},
                    Server{"SixteenBits", {.width = 640, .height = 480, .depth = 16}},
                    Server{"ThirtyBits", {.width = 640, .height = 480, .depth = 30}}),
    [](const auto& server) { return server.param.name; });

TEST_P(CaptureOnServer, EveryPixelIsTheOneThatAnotherClientReads) {
  const test::XServer server(GetParam().options);
  test::XClient witness;
  witness.FillNoise(0, 0, 640, 480, 1);
  (void)witness.OpenWindow(600, 100, 100, 50, 0x5a5a);
  const CGDirectDisplayID display = CGMainDisplayID();

  struct {
    int x, y, width, height;
  } const areas[] = {{0, 0, 640, 480}, {0, 0, 1, 1},     {639, 479, 1, 1},
                     {1, 1, 3, 5},     {637, 0, 3, 480}, {0, 478, 640, 2},
                     {17, 33, 99, 7},  {5, 0, 301, 480}, {128, 64, 256, 256}};
  for (const auto& area : areas) {
    SCOPED_TRACE(testing::Message() << area.width << "x" << area.height << "+" << area.x << "+" << area.y);
    std::vector<uint32_t> expected = witness.Read(area.x, area.y, area.width, area.height);
    for (uint32_t& pixel : expected) pixel = Shown(pixel, GetParam().options.depth);
    const Image image = Capture(display, area.x, area.y, area.width, area.height);
    ASSERT_TRUE(image);
    EXPECT_TRUE(PixelsOf(image.get()) == expected);
  }
}

TEST(CaptureTest, AnAreaIsRoundedOutwardsAndCutToTheDisplay) {
  const test::XServer server({.width = 320, .height = 200});
  const CGDirectDisplayID display = CGMainDisplayID();
  struct {
    CGRect rect;
    size_t width, height;  // 0: a null image
  } const rows[] = {
      {CGRectMake(10.5, 10.5, 1, 1), 2, 2},
      {CGRectMake(-5, -5, 10, 10), 5, 5},
      {CGRectMake(310, 190, 100, 100), 10, 10},
      {CGRectMake(-1e300, -1e300, 2e300, 2e300), 320, 200},
      {CGRectMake(std::nan(""), 0, 10, 10), 0, 0},
      {CGRectMake(320, 0, 10, 10), 0, 0},
      {CGRectNull, 0, 0},
  };
  for (const auto& row : rows) {
    const Image image(CGDisplayCreateImageForRect(display, row.rect));
    EXPECT_EQ(CGImageGetWidth(image.get()), row.width) << "row " << &row - rows;
    EXPECT_EQ(CGImageGetHeight(image.get()), row.height) << "row " << &row - rows;
  }
  EXPECT_FALSE(Capture(display + 1, 0, 0, 10, 10));
}

TEST(CaptureTest, AnImageKeepsItsPixelsWhileOthersComeAndGoAndTheServerEnds) {
  test::XServer server({.width = 320, .height = 200});
  test::XClient witness;
  const CGDirectDisplayID display = CGMainDisplayID();
  std::vector<Image> images;
  for (uint32_t shade = 1; shade <= 12; ++shade) {
    witness.Fill(0, 0, 320, 200, shade);
    witness.Sync();
    images.push_back(Capture(display, 0, 0, shade * 20, 100));
    if (shade % 3 == 0) images[shade / 3 - 1].reset();
  }
  server.Kill();
  for (uint32_t shade = 1; shade <= 12; ++shade) {
    if (!images[shade - 1]) continue;
    SCOPED_TRACE(shade);
    EXPECT_EQ(PixelsOf(images[shade - 1].get()), std::vector<uint32_t>(size_t{100} * shade * 20, shade));
  }
}

TEST(CaptureTest, AnotherClientsServerGrabHoldsNothingUp) {
  const test::XServer server({.width = 320, .height = 200});
  test::XClient witness;
  witness.Fill(0, 0, 320, 200, 0x123456);
  ASSERT_TRUE(Capture(CGMainDisplayID(), 0, 0, 1, 1));
  witness.GrabServer();
  EXPECT_EQ(PixelsOf(Capture(CGMainDisplayID(), 7, 7, 1, 1).get()), std::vector<uint32_t>{0x123456});
}

}  // namespace
