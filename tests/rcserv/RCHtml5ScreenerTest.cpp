#include "rcserv/RCHtml5Screener.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
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
  EXPECT_TRUE(viewer.Shows(witness));
  { EXPECT_TRUE(OpenScreen(viewer.Screen())) << "another reader, whose end takes the file's name away"; }
  EXPECT_TRUE(ScreenFiles().empty());

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
    })) << "picture "
        << seed;
    EXPECT_TRUE(viewer.Shows(witness));
  }
}

TEST_F(RCHtml5ScreenerTest, EveryArrangementOfMonitorsIsShownToTheSameClientWithEmptyGaps) {
  test::XServer server({.width = 640, .height = 480});
  test::XClient witness;
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  const struct {
    const char* what;
    std::vector<test::XServer::Monitor> monitors;
    Rect desktop;
    Rect primary;  // relative to the desktop's corner
  } rows[] = {{"the main one at the right",
               {{"Left", 0, 0, 300, 480}, {"*Right", 300, 40, 340, 400}},
               MakeLTRB(0, 0, 640, 480),
               MakeLTRB(300, 40, 640, 440)},
              {"apart",
               {{"*First", 40, 30, 200, 150}, {"Second", 300, 30, 200, 150}, {"Third", 150, 301, 111, 99}},
               MakeLTRB(40, 30, 500, 400),
               MakeLTRB(0, 0, 200, 150)}};
  uint32_t seed = 1;
  for (const auto& row : rows) {
    const uint32_t before = viewer.Screen().id;
    server.SetMonitors(row.monitors);
    // The second picture comes as an update of the same screen.
    for (int picture = 0; picture < 2; ++picture) {
      witness.FillNoise(0, 0, 640, 480, seed++);
      witness.Sync();
      EXPECT_TRUE(test::WaitFor([&] {
        static_cast<void>(viewer.Ask());
        return viewer.Screen().monitors.size() == row.monitors.size() && viewer.Shows(witness);
      })) << row.what
          << ": " << viewer.Shows(witness).message();
    }
    const NewScreen& screen = viewer.Screen();
    EXPECT_TRUE(MakeXYWH(screen.x, screen.y, screen.width, screen.height) == row.desktop) << row.what;
    ASSERT_TRUE(screen.monitors.contains(0)) << row.what;
    EXPECT_TRUE(screen.monitors.at(0).primary) << row.what;
    EXPECT_TRUE(screen.monitors.at(0).rect == row.primary) << row.what;
    EXPECT_NE(screen.id, before) << row.what;
    EXPECT_EQ(screen.id >> 16, before >> 16) << row.what << ": the same connection";
  }
}

TEST_F(RCHtml5ScreenerTest, AResizedDesktopMakesANewScreenForTheSameClient) {
  const test::XServer server({.kind = test::XServerOptions::Kind::kXvnc, .width = 800, .height = 600});
  test::XClient witness;
  screener_.StartScreening();
  Viewer viewer;
  ASSERT_TRUE(std::holds_alternative<NewScreen>(viewer.Ask()));
  for (const auto& [width, height] : {std::pair(1024, 768), std::pair(640, 480)}) {
    const std::string mode = std::to_string(width) + "x" + std::to_string(height);
    ASSERT_EQ(server.Run({"xrandr", "-s", mode}), 0);
    witness.FillNoise(0, 0, width, height, 1);
    witness.Sync();
    EXPECT_TRUE(test::WaitFor([&, w = width, h = height] {
      static_cast<void>(viewer.Ask());
      return viewer.Screen().width == w && viewer.Screen().height == h && viewer.Shows(witness);
    })) << mode;
  }
}

using RCHtml5ScreenerClientTest = test::ScreenFolderTest;

TEST_F(RCHtml5ScreenerClientTest, ItTellsWhenAClientComesAndGoes) {
  const test::XServer server;
  std::vector<bool> told;  // of the capture thread, and read when that has ended
  std::atomic<size_t> count{0};
  RCHtml5Screener screener([&](bool client) { told.push_back(client), ++count; });
  screener.StartScreening();
  Viewer().Ask();
  EXPECT_TRUE(test::WaitFor([&] { return count == 2; }));
  Viewer viewer;
  viewer.Ask();
  screener.StopScreening();
  EXPECT_EQ(told, (std::vector<bool>{true, false, true, false}));
}

}  // namespace
}  // namespace rcserv
