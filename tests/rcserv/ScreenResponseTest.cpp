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

TEST(ScreenResponseTest, OnlySoundResponsesAreAccepted) {
  const auto tell = [](ResponseRecord& response, uint32_t count, int16_t right) {
    response = {};
    response.update = {kUpdate, count, {{{1, 2, right, 4}}}};
  };
  const struct {
    const char* what;
    size_t accepted;  // the index in Response
    std::function<void(ResponseRecord&)> spoil;
  } rows[] = {
      {"sound", 1, [](auto&) {}},
      {"lowest height", 0, [](auto& r) { r.newScreen.height = kMin; }},
      {"rows that overlap", 0, [](auto& r) { r.newScreen.stride = 5; }},
      {"2 GiB", 0, [](auto& r) { r.newScreen.stride = 1 << 16, r.newScreen.height = 1 << 15; }},
      {"49 monitors", 0, [](auto& r) { r.newScreen.monitorCount = 49; }},
      {"reversed monitor", 0, [](auto& r) { r.newScreen.monitors[0].rect.left = 3; }},
      {"unknown kind", 0, [](auto& r) { r.newScreen.kind = 2; }},
      {"one rectangle", 2, [&](auto& r) { tell(r, 1, 3); }},
      {"100 rectangles, most empty", 2, [&](auto& r) { tell(r, 100, 3); }},
      {"101 rectangles", 0, [&](auto& r) { tell(r, 101, 3); }},
      {"reversed rectangle", 0, [&](auto& r) { tell(r, 1, 0); }},
  };
  for (const auto& row : rows) {
    ResponseRecord response{};
    response.newScreen = {kNewScreen, 0x0001000A, 3, 2, 8, -5, 6, 1, {{{0, {0, 0, 2, 2}, 1, {}}}}};
    row.spoil(response);
    EXPECT_EQ(ParseResponse(response).index(), row.accepted) << row.what;
  }
}

TEST(ScreenResponseTest, AreasAreCutAtTheSurface) {
  const struct {
    int32_t origin;
    Rect area, inSurface;
  } rows[] = {{-5, MakeLTRB(-4, -5, -3, -2), MakeLTRB(1, 0, 2, 3)},
              {-5, MakeLTRB(-100, -100, 100, 100), MakeLTRB(0, 0, 10, 10)},
              {kMin, MakeLTRB(-32768, -32768, 32767, 32767), {}},
              {kMax, MakeLTRB(-32768, -32768, 32767, 32767), {}}};
  for (const auto& row : rows) {
    const Rect cut = InSurface({1, 10, 10, 20, row.origin, row.origin, {}}, row.area);
    EXPECT_TRUE(row.inSurface.IsEmpty() ? cut.IsEmpty() : cut == row.inSurface) << &row - rows;
  }
}

using OpenScreenTest = test::ScreenFolderTest;

TEST_F(OpenScreenTest, AFileThatIsTooShortIsNotReadFrom) {
  const NewScreen claimed{65546, 100, 100, 200, 0, 0, {}};
  testing::internal::CaptureStderr();
  EXPECT_FALSE(CreateScreen(65546, -1, 7));
  EXPECT_FALSE(OpenScreen(claimed)) << "no file";
  const std::string log = testing::internal::GetCapturedStderr();
  EXPECT_NE(log.find("Failed CreateScreen: [65546: -1 x 7 (0)]\n"), std::string::npos) << log;
  EXPECT_NE(log.find("Failed OpenScreen: [65546: 100 x 100 (200)]\n"), std::string::npos) << log;
  for (const int rows : {99, 100}) {
    const auto file = CreateScreen(65546, 100, rows);
    ASSERT_TRUE(file);
    EXPECT_EQ(static_cast<bool>(OpenScreen(claimed)), rows == 100);
  }
}

}  // namespace
}  // namespace rcserv::screen_ipc
