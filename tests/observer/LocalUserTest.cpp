// What the person at the machine notices of a view: locked devices, a dark screen, windows that move.
#include <gmock/gmock.h>
#include <xcb/xcb.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <utility>

#include "common/KCFolderManager.h"
#include "rcserv/ScreenClient.h"
#include "tests/observer/ObserverTest.h"
#include "tests/platform/x11/GammaWitness.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/VncOutputs.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XClient.h"

namespace {

using test::Line;
using test::WaitFor;
using testing::Each;

constexpr uint32_t kEscapeSymbol = 0xFF1B;

struct LocalUser {
  test::VncOutputs user_;
};

// To the server the remote viewer's keyboard and pointer are the machine's own.
class LocalUserTest : protected LocalUser, public test::ObserverTest {
 protected:
  LocalUserTest()
      : ObserverTest({.kind = test::XServerOptions::Kind::kXvnc, .extra = user_.ServerArguments()}) {
    setenv("KORVANE_PREFERENCES_DIR", preferences_.Path().c_str(), 1);
    SetRootFolder(observer_.Root().c_str());
  }

  void StartLockedAndDark() { Command({49, 0, 0, 0, 1, 1}); }
  void Key(char code, bool pressed) { Command({5, 0, 0, code, pressed ? '\0' : '\x80', 0, 0, 0, 0}); }
  void SetPreference(const std::string& setting, bool value) {
    EXPECT_EQ(server_.Run({KVPREFS, "remote", setting, value ? "true" : "false"}), 0);
  }

  // What arrives of the user's u, and of the viewer's a after it.
  std::string TypedByBoth() {
    user_.Type('u', 60, 60);
    // The server takes the user's messages in turn.
    user_.Set({{0, 0, ++width_, 600}});
    EXPECT_TRUE(WaitFor([&] {
      return painter_.Read(width_, 0, 1, 1).empty() && !painter_.Read(width_ - 1, 0, 1, 1).empty();
    }));
    for (const char code : {'A', '\x1B'}) Key(code, true), Key(code, false);
    return witness_.TextUpTo("Escape");
  }
  std::string TypedByUser() {
    user_.Type('u', 60, 60);
    user_.Type(kEscapeSymbol, 60, 60);
    return witness_.TextUpTo("Escape");
  }
  // The viewer sees that pixel.
  bool Shows(int x, int y, uint16_t pixel) {
    rcserv::ScreenClient viewer;
    return WaitFor([&] {
      uint16_t seen = 0;
      if (viewer.Ask(1000) == rcserv::ScreenClient::Answer::kNewScreen)
        std::memcpy(&seen, viewer.PixelsAt(x, y), sizeof seen);
      return seen == pixel;
    });
  }

  const test::TemporaryFolder preferences_;
  const test::GammaWitness gamma_;
  test::InputWitness witness_;
  test::XClient painter_;
  uint16_t width_ = 800;
};

TEST_F(LocalUserTest, LockAndDarknessEndWithTheViewAndWithTheProcess) {
  const struct {
    const char* name;
    std::function<void()> end;
  } rows[] = {{"view end", [&] { EndView(); }},
              {"exit", [&] { observer_.Signal(SIGTERM), ExpectEnd(0); }},
              {"kill", [&] {
                 observer_.Signal(SIGKILL);
                 EXPECT_EQ(observer_.WaitForEnd(), 128 + SIGKILL);
                 EXPECT_EQ(TypedByUser(), "u");
                 StartObserver();
               }}};
  (void)painter_.OpenWindow(300, 200, 64, 64, 0xF8A810);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    if (observer_.Pid() < 0) StartObserver();
    gamma_.Write(Line(50000));
    StartLockedAndDark();
    EXPECT_EQ(TypedByBoth(), "a");
    EXPECT_THAT(gamma_.Read(), Each(0));
    EXPECT_TRUE(Shows(330, 230, 31 << 10 | 21 << 5 | 2));
    Command({4, 0, 0, 1 | 2, 10, 0, 10, 0});
    Key(0x10, true);
    EXPECT_TRUE(WaitFor([&] { return witness_.Mask() == 0x101; }));
    row.end();
    EXPECT_TRUE(WaitFor([&] { return gamma_.Read() == Line(50000); }));
    EXPECT_TRUE(WaitFor([&] { return witness_.Mask() == 0; })) << witness_.Mask();
    EXPECT_EQ(TypedByUser(), "u");
  }
}

TEST_F(LocalUserTest, AnObserverOfTileViewersLeavesNothingAlsoWhenNoViewWasStarted) {
  StartObserver({"-legacy"});
  gamma_.Write(Line(50000));
  Command({48, 0, 0, 0, 1, 1});
  EXPECT_EQ(TypedByBoth(), "a");
  EXPECT_THAT(gamma_.Read(), Each(0));
  Command({4, 0, 0, 1 | 2, 10, 0, 10, 0});
  Key(0x10, true);
  EXPECT_TRUE(WaitFor([&] { return witness_.Mask() == 0x101; }));
  observer_.Signal(SIGTERM);
  ExpectEnd(0);
  EXPECT_TRUE(WaitFor([&] { return gamma_.Read() == Line(50000); }));
  EXPECT_TRUE(WaitFor([&] { return witness_.Mask() == 0; })) << witness_.Mask();
  EXPECT_EQ(TypedByUser(), "u");
}

TEST_F(LocalUserTest, APermissionThatIsChangedHoldsFromTheNextViewOn) {
  StartObserver();
  gamma_.Write(Line(50000));
  for (const bool lock : {true, false}) {
    SetPreference("AllowHIDLock", lock);
    SetPreference("AllowBlankScreen", !lock);
    StartLockedAndDark();
    SetPreference("AllowHIDLock", !lock);
    EXPECT_EQ(TypedByBoth(), lock ? "a" : "ua");
    EXPECT_EQ(gamma_.Read(), Line(lock ? 50000 : 0));
    EndView();
  }
}

// A window that belongs to a window manager of the test's own.
class ManagedWindow {
 public:
  ManagedWindow()
      : manager_(test::Spawn({"setpriv", "--pdeathsig", "TERM", "openbox"}, {.error = "/dev/null"})) {
    const xcb_screen_t* const screen = xcb_setup_roots_iterator(xcb_get_setup(x_)).data;
    root_ = screen->root;
    xcb_create_window(x_, XCB_COPY_FROM_PARENT, window_, root_, 0, 0, 200, 100, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
    xcb_map_window(x_, window_);
    xcb_flush(x_);
  }
  ~ManagedWindow() {
    kill(manager_, SIGTERM);
    test::WaitForChild(manager_);
    xcb_disconnect(x_);
  }

  // Its frame's title takes part of what is above it.
  [[nodiscard]] bool HasTitle() const {
    const platform::MallocPtr<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(x_, xcb_query_tree(x_, window_), nullptr));
    return tree->parent != root_ && Place().second > 10;
  }
  [[nodiscard]] std::pair<int, int> Place() const {
    const platform::MallocPtr<xcb_translate_coordinates_reply_t> place(
        xcb_translate_coordinates_reply(x_, xcb_translate_coordinates(x_, window_, root_, 0, 0), nullptr));
    return {place->dst_x, place->dst_y};
  }

 private:
  pid_t manager_;
  xcb_connection_t* x_ = xcb_connect(nullptr, nullptr);
  uint32_t window_ = xcb_generate_id(x_);
  uint32_t root_ = 0;
};

class DragTest : public test::ObserverTest {
 protected:
  void Mouse(int flags, int x, int y) {
    const auto byte = [](int value) { return static_cast<char>(value); };
    Command({4, 0, 0, byte(flags), byte(x & 255), byte(x >> 8), byte(y & 255), byte(y >> 8)});
  }
};

TEST_F(DragTest, AWindowGoesWhereTheViewerDragsIt) {
  const ManagedWindow window;
  ASSERT_TRUE(WaitFor([&] { return window.HasTitle(); })) << "is openbox installed?";
  StartObserver();
  StartView();
  constexpr int kMove = 1, kLeftDown = 2, kLeftUp = 4;
  const int x = window.Place().first, y = window.Place().second;
  // A hand moves many times: the manager begins to follow after the first one that it sees.
  const auto follows = [&](int right, int lower) {
    return WaitFor([&] {
      Mouse(kMove, x + 100 + right, y - 8 + lower);
      return window.Place() == std::pair(x + right, y + lower);
    });
  };
  Mouse(kMove | kLeftDown, x + 100, y - 8);
  EXPECT_TRUE(follows(300, 200));
  EXPECT_TRUE(follows(700, 500));
  Mouse(kLeftUp, 0, 0);
  Mouse(kMove, 10, 10);
  EXPECT_FALSE(
      WaitFor([&] { return window.Place() != std::pair(x + 700, y + 500); }, std::chrono::milliseconds(200)));
}

}  // namespace
