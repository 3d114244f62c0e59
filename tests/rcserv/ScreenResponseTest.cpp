#include "rcserv/ScreenResponse.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "rcserv/ScreenIPCApple.h"
#include "tests/rcserv/ScreenFolder.h"

namespace rcserv::screen_ipc {
namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

ResponseRecord SoundScreen() {
  ResponseRecord response{};
  response.newScreen = {.kind = kNewScreen,
                        .screenId = 0x0001000A,
                        .width = 3,
                        .height = 2,
                        .stride = 8,
                        .x = -5,
                        .y = 6,
                        .monitorCount = 2,
                        .monitors = {{{0, {0, 0, 2, 2}, 1, {}}, {7, {2, 0, 3, 2}, 0, {}}}}};
  return response;
}

TEST(ScreenResponseTest, ANewScreenIsRead) {
  const Response response = ParseResponse(SoundScreen());
  const auto* screen = std::get_if<NewScreen>(&response);
  ASSERT_NE(screen, nullptr);
  EXPECT_EQ(screen->id, 0x0001000AU);
  EXPECT_EQ(screen->stride, 8);
  EXPECT_EQ(screen->monitors.size(), 2U);
  EXPECT_EQ(screen->monitors.at(7).rect, MakeLTRB(2, 0, 3, 2));
  EXPECT_TRUE(screen->monitors.at(0).primary);
  EXPECT_EQ(InSurface(*screen, MakeLTRB(-5, 6, -3, 7)), MakeLTRB(0, 0, 2, 1));
  EXPECT_EQ(InSurface(*screen, MakeLTRB(-100, -100, 100, 100)), MakeLTRB(0, 0, 3, 2));
  EXPECT_TRUE(InSurface(*screen, MakeLTRB(10, 10, 20, 20)).IsEmpty());
}

TEST(ScreenResponseTest, NoUnsoundScreenIsAccepted) {
  struct Case {
    const char* what;
    std::function<void(NewScreenRecord&)> spoil;
  };
  const Case cases[] = {
      {"no width", [](auto& r) { r.width = 0; }},
      {"negative width", [](auto& r) { r.width = -3; }},
      {"no height", [](auto& r) { r.height = 0; }},
      {"lowest height", [](auto& r) { r.height = kMin; }},
      {"rows that overlap", [](auto& r) { r.stride = 5; }},
      {"negative stride", [](auto& r) { r.stride = -8; }},
      {"2 GiB", [](auto& r) { r.stride = 1 << 16, r.height = 1 << 15; }},
      {"largest of all", [](auto& r) { r.width = r.height = r.stride = kMax; }},
      {"49 monitors", [](auto& r) { r.monitorCount = 49; }},
      {"countless monitors", [](auto& r) { r.monitorCount = 0xFFFFFFFF; }},
      {"reversed monitor",
       [](auto& r) {
         r.monitors[1].rect = {3, 0, 2, 2};
       }},
      {"unknown kind", [](auto& r) { r.kind = 2; }},
  };
  for (const Case& c : cases) {
    ResponseRecord response = SoundScreen();
    c.spoil(response.newScreen);
    EXPECT_TRUE(std::holds_alternative<std::monostate>(ParseResponse(response))) << c.what;
  }
}

TEST(ScreenResponseTest, AnExtremeOriginDoesNotOverflow) {
  NewScreen screen;
  screen.width = screen.height = 10;
  for (const int32_t origin : {kMin, kMax}) {
    screen.x = screen.y = origin;
    EXPECT_TRUE(InSurface(screen, MakeLTRB(-32768, -32768, 32767, 32767)).IsEmpty());
  }
}

TEST(ScreenResponseTest, RectanglesAreCountedAndChecked) {
  ResponseRecord response{};
  response.update = {.kind = kUpdate, .rectCount = 3, .rects = {{{1, 2, 3, 4}, {9, 9, 9, 20}, {5, 6, 7, 8}}}};
  const Response parsed = ParseResponse(response);
  ASSERT_TRUE(std::holds_alternative<Update>(parsed));
  EXPECT_EQ(std::get<Update>(parsed).rects, (std::vector<Rect>{MakeLTRB(1, 2, 3, 4), MakeLTRB(5, 6, 7, 8)}));
  response.update.rectCount = 100;
  EXPECT_TRUE(std::holds_alternative<Update>(ParseResponse(response)));
  response.update.rectCount = 101;
  EXPECT_TRUE(std::holds_alternative<std::monostate>(ParseResponse(response)));
  response.update.rectCount = 1;
  response.update.rects[0] = {3, 2, 1, 4};
  EXPECT_TRUE(std::holds_alternative<std::monostate>(ParseResponse(response)));
}

using OpenScreenTest = test::ScreenFolderTest;

TEST_F(OpenScreenTest, AFileThatIsTooShortIsNotReadFrom) {
  const NewScreen claimed{0x0001000A, 100, 100, 200, 0, 0, {}};
  EXPECT_FALSE(OpenScreen(claimed)) << "no file";
  const auto shortFile = CreateScreen(0x0001000A, 100, 99);
  ASSERT_TRUE(shortFile);
  EXPECT_EQ(ScreenFiles(), std::vector<std::string>{"sfb0001000a"});
  EXPECT_FALSE(OpenScreen(claimed));
  const auto wholeFile = CreateScreen(0x0001000A, 100, 100);
  EXPECT_TRUE(OpenScreen(claimed));
}

TEST_F(OpenScreenTest, WhatCannotBeMadeOrOpenedIsLogged) {
  testing::internal::CaptureStderr();
  EXPECT_FALSE(CreateScreen(65546, -1, 7));
  EXPECT_FALSE(OpenScreen(65546, 4, 4, 8));
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("Failed CreateScreen: [65546: -1 x 7 (0)]\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Failed OpenScreen: [65546: 4 x 4 (8)]\n"), std::string::npos) << log;
}

}  // namespace
}  // namespace rcserv::screen_ipc
