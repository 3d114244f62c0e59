#include "rcserv/RCHtml5Screener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "rcserv/PixelConvert.h"
#include "rcserv/ScreenIPCApple.h"
#include "rcserv/ScreenResponse.h"
#include "rcserv/SharedScreenWorkerApple.h"
#include "tests/rcserv/ScreenFolder.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"
#include "tests/support/XServer.h"

namespace rcserv {
namespace {

using screen_ipc::NewScreen;
using screen_ipc::Update;
using ServerKind = test::XServerOptions::Kind;

// A client that keeps what it was told and maps what it was offered.
class Viewer {
 public:
  // Asks until there is an answer; nothing after 20 seconds.
  screen_ipc::Response Ask() {
    screen_ipc::ResponseRecord record{};
    if (!test::WaitFor([&] { return cli_.MakeRequest(record, 0) == screen_ipc::kDone; })) return {};
    screen_ipc::Response response = ParseResponse(record);
    if (const auto* screen = std::get_if<NewScreen>(&response)) {
      screen_ = *screen;
      surface_ = OpenScreen(screen_);
    }
    return response;
  }

  [[nodiscard]] const NewScreen& Screen() const { return screen_; }

  // The surface holds what the witness sees where a monitor is, and zero elsewhere.
  [[nodiscard]] testing::AssertionResult Shows(test::XClient& witness) const {
    const int width = screen_.width;
    const std::vector<uint32_t> desktop = witness.Read(screen_.x, screen_.y, width, screen_.height);
    if (desktop.empty() || !surface_) return testing::AssertionFailure() << "nothing to compare";
    for (int y = 0; y < screen_.height; ++y) {
      for (int x = 0; x < width; ++x) {
        uint16_t pixel = 0;
        std::memcpy(&pixel, surface_->BitsAt(x, y), sizeof pixel);
        const uint16_t expected =
            IsOnAMonitor(x, y) ? ConvertPixel(desktop[static_cast<size_t>(y * width + x)]) : uint16_t{0};
        if (pixel != expected)
          return testing::AssertionFailure() << x << "," << y << ": " << pixel << ", not " << expected;
      }
    }
    return testing::AssertionSuccess();
  }

 private:
  [[nodiscard]] bool IsOnAMonitor(int x, int y) const {
    return std::any_of(screen_.monitors.begin(), screen_.monitors.end(), [x, y](const auto& entry) {
      return !Intersect(entry.second.rect, MakeXYWH(x, y, 1, 1)).IsEmpty();
    });
  }

  screen_ipc::Cli cli_;
  NewScreen screen_;
  BitmapT<kScreenFormat> surface_;
};

class RCHtml5ScreenerTest : public test::ScreenFolderTest {
 protected:
  RCHtml5Screener screener_;
};

TEST_F(RCHtml5ScreenerTest, TheMapShowsTheDesktopAndFollowsIt) {
  const test::XServer server({.width = 333, .height = 211});
  test::XClient witness;
  witness.FillNoise(0, 0, 333, 211, 1);
  witness.Sync();
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  EXPECT_EQ(viewer.Screen().width, 333);
  EXPECT_EQ(viewer.Screen().height, 211);
  EXPECT_TRUE(viewer.Shows(witness));

  uint32_t seed = 2;
  for (const Rect& painted : {MakeXYWH(0, 0, 1, 1), MakeXYWH(332, 210, 1, 1), MakeXYWH(17, 31, 129, 67),
                              MakeXYWH(0, 0, 333, 211), MakeXYWH(64, 64, 64, 64)}) {
    witness.FillNoise(painted.left, painted.top, painted.Width(), painted.Height(), seed++);
    witness.Sync();
    Rect told;
    EXPECT_TRUE(test::WaitFor([&] {
      const auto response = viewer.Ask();
      const auto* update = std::get_if<Update>(&response);
      for (const Rect& rect : update != nullptr ? update->rects : std::vector<Rect>())
        told = Unite(told, rect);
      return told == painted;
    })) << told.left
        << "," << told.top << "-" << told.right << "," << told.bottom;
    EXPECT_TRUE(viewer.Shows(witness));
  }
}

struct Layout {
  const char* name;
  std::vector<std::pair<const char*, const char*>> monitors;  // name ("*": primary), geometry
  Rect desktop;
  Rect primary;  // relative to the desktop's corner
};
void PrintTo(const Layout& layout, std::ostream* out) { *out << layout.name; }

class LayoutTest : public RCHtml5ScreenerTest, public testing::WithParamInterface<Layout> {};

TEST_P(LayoutTest, EveryMonitorIsShownAtItsPlaceAndGapsStayEmpty) {
  const test::XServer server({.width = 640, .height = 480});
  const char* output = "screen";  // given to the first one, in place of the server's own monitor
  for (const auto& [name, geometry] : GetParam().monitors) {
    ASSERT_EQ(server.Run({"xrandr", "--setmonitor", name, geometry, output}), 0);
    output = "none";
  }
  test::XClient witness;
  witness.FillNoise(0, 0, 640, 480, 1);
  witness.Sync();
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  const NewScreen& screen = viewer.Screen();
  EXPECT_EQ(MakeXYWH(screen.x, screen.y, screen.width, screen.height), GetParam().desktop);
  EXPECT_EQ(screen.monitors.size(), GetParam().monitors.size());
  ASSERT_TRUE(screen.monitors.contains(0));
  EXPECT_TRUE(screen.monitors.at(0).primary);
  EXPECT_EQ(screen.monitors.at(0).rect, GetParam().primary);
  EXPECT_TRUE(viewer.Shows(witness));

  witness.FillNoise(0, 0, 640, 480, 2);
  witness.Sync();
  EXPECT_TRUE(test::WaitFor([&] {
    static_cast<void>(viewer.Ask());
    return static_cast<bool>(viewer.Shows(witness));
  })) << viewer.Shows(witness).message();
}

INSTANTIATE_TEST_SUITE_P(
    Desktops, LayoutTest,
    testing::Values(Layout{"MainAtTheRight",
                           {{"Left", "300/1x480/1+0+0"}, {"*Right", "340/1x400/1+300+40"}},
                           MakeLTRB(0, 0, 640, 480),
                           MakeLTRB(300, 40, 640, 440)},
                    Layout{"OneAboveTheOther",
                           {{"Top", "400/1x200/1+100+0"}, {"*Bottom", "500/1x280/1+20+200"}},
                           MakeLTRB(20, 0, 520, 480),
                           MakeLTRB(0, 200, 500, 480)},
                    Layout{"Apart",
                           {{"*First", "200/1x150/1+40+30"},
                            {"Second", "200/1x150/1+300+30"},
                            {"Third", "111/1x99/1+150+301"}},
                           MakeLTRB(40, 30, 500, 400),
                           MakeLTRB(0, 0, 200, 150)}),
    [](const auto& layout) { return layout.param.name; });

TEST_F(RCHtml5ScreenerTest, AnotherMonitorMakesANewScreenForTheSameClient) {
  const test::XServer server({.width = 640, .height = 480});
  test::XClient witness;
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  const uint32_t first = viewer.Screen().id;
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "Left", "320/1x480/1+0+0", "screen"}), 0);
  ASSERT_EQ(server.Run({"xrandr", "--setmonitor", "Right", "320/1x400/1+320+0", "none"}), 0);
  witness.FillNoise(0, 0, 640, 480, 1);
  witness.Sync();
  EXPECT_TRUE(test::WaitFor([&] {
    static_cast<void>(viewer.Ask());
    return viewer.Screen().monitors.size() == 2 && viewer.Shows(witness);
  }));
  EXPECT_NE(viewer.Screen().id, first);
  EXPECT_EQ(viewer.Screen().id >> 16, first >> 16) << "the same connection";
  EXPECT_EQ(ScreenFiles().size(), 1U);
}

TEST_F(RCHtml5ScreenerTest, AResizedDesktopMakesANewScreenForTheSameClient) {
  const test::XServer server({.kind = ServerKind::kXvnc, .width = 800, .height = 600});
  test::XClient witness;
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  struct Mode {
    const char* name;
    int width, height;
  };
  for (const Mode& mode : {Mode{"1024x768", 1024, 768}, Mode{"640x480", 640, 480}}) {
    ASSERT_EQ(server.Run({"xrandr", "-s", mode.name}), 0);
    witness.FillNoise(0, 0, mode.width, mode.height, 1);
    witness.Sync();
    EXPECT_TRUE(test::WaitFor([&] {
      static_cast<void>(viewer.Ask());
      return viewer.Screen().width == mode.width && viewer.Screen().height == mode.height &&
             viewer.Shows(witness);
    })) << mode.name;
  }
}

TEST_F(RCHtml5ScreenerTest, StoppingLeavesNeitherSocketNorFile) {
  const test::XServer server({.width = 100, .height = 100});
  for (const bool withClient : {false, true, true}) {
    EXPECT_FALSE(screener_.Screening());
    screener_.StartScreening(1);
    screener_.StartScreening();
    EXPECT_TRUE(screener_.Screening());
    EXPECT_TRUE(test::WaitFor([&] { return std::filesystem::exists(SocketPath()); }));
    Viewer viewer;
    if (withClient) {
      EXPECT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
      EXPECT_EQ(ScreenFiles().size(), 1U);
    }
    screener_.StopScreening();
    screener_.StopScreening();
    EXPECT_FALSE(screener_.Screening());
    EXPECT_FALSE(std::filesystem::exists(SocketPath()));
    EXPECT_TRUE(ScreenFiles().empty());
  }
}

TEST_F(RCHtml5ScreenerTest, WithoutAnXServerClientsAreDroppedAndStoppingStillWorks) {
  test::XServer server({.width = 100, .height = 100});
  screener_.StartScreening();
  screen_ipc::Cli cli;
  screen_ipc::ResponseRecord record{};
  ASSERT_TRUE(test::WaitFor([&] { return cli.MakeRequest(record, 0) == screen_ipc::kDone; }));
  server.Kill();
  SharedScreenWorker::SetDisplayChange();
  EXPECT_TRUE(test::WaitFor([&] { return cli.MakeRequest(record, 0) == screen_ipc::kFailed; }));
  screener_.StopScreening();
  EXPECT_TRUE(ScreenFiles().empty());
}

}  // namespace
}  // namespace rcserv
