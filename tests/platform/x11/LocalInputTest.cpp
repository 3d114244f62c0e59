// The local user's devices: held back, and left as they are.
#include <ApplicationServices/ApplicationServices.h>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcbext.h>
#include <xcb/xinput.h>
#include <xcb/xtest.h>

#include <csignal>
#include <tuple>

#include "platform/Handles.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/VncOutputs.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

// The extension that the server is to be taken not to have; the servers of today cannot go without.
std::string missingExtension;

}  // namespace

extern "C" const xcb_query_extension_reply_t* xcb_get_extension_data(xcb_connection_t* x,
                                                                     xcb_extension_t* extension) {
  static const auto real =
      reinterpret_cast<decltype(&xcb_get_extension_data)>(dlsym(RTLD_NEXT, "xcb_get_extension_data"));
  return extension->name == missingExtension ? nullptr : real(x, extension);
}

namespace {

using test::XServer;

constexpr uint32_t kLeftShift = 0xFFE1;
constexpr uint16_t kMouse = 6, kKeyboard = 7;  // as both servers number their own devices
constexpr CGKeyCode kA = 0, kB = 11, kEscape = 53;

void Type(CGKeyCode key) {
  EXPECT_EQ(CGPostKeyboardEvent(0, key, true), kCGErrorSuccess);
  EXPECT_EQ(CGPostKeyboardEvent(0, key, false), kCGErrorSuccess);
}

// As if the user did it. `type` is one of the input extension's events.
void ActAsLocal(uint16_t device, int type, uint8_t code) {
  xcb_connection_t* const x = xcb_connect(nullptr, nullptr);
  const uint8_t firstEvent = xcb_get_extension_data(x, &xcb_input_id)->first_event;
  const platform::MallocPtr<xcb_generic_error_t> error{xcb_request_check(
      x, xcb_test_fake_input_checked(x, static_cast<uint8_t>(firstEvent + type), code, XCB_CURRENT_TIME,
                                     XCB_WINDOW_NONE, 0, 0, static_cast<uint8_t>(device)))};
  EXPECT_FALSE(error);
  xcb_disconnect(x);
}

// Another process that holds local input back until it is killed.
class Holder {
 public:
  Holder() : pid_(fork()) {
    if (pid_ == 0) {
      const char result = CGInhibitLocalEvents(true) == kCGErrorSuccess ? 'y' : 'n';
      (void)!write(ready_.writeEnd.Get(), &result, 1);
      for (;;) pause();
    }
    char result = 0;
    holds_ = read(ready_.readEnd.Get(), &result, 1) == 1 && result == 'y';
  }
  ~Holder() { Kill(); }
  void Kill() {
    if (pid_ > 0 && kill(pid_, SIGKILL) == 0) waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }
  [[nodiscard]] bool Holds() const { return holds_; }

 private:
  test::Pipe ready_;
  pid_t pid_;
  bool holds_ = false;
};

TEST(LocalInputTest, ALockEndsWithAKillAndLetsPostedEventsPass) {
  test::VncOutputs user;
  XServer server({.kind = test::XServerOptions::Kind::kXvnc, .extra = user.ServerArguments()});
  Holder holder;
  ASSERT_TRUE(holder.Holds());
  test::InputWitness witness;
  // What the server does in the order in which the user asks for it.
  const auto typeAndWait = [&user](uint16_t width) {
    user.Type('u', 60, 60);
    user.Set({{0, 0, width, 600}});
    EXPECT_TRUE(test::WaitFor([width] { return CGDisplayBounds(CGMainDisplayID()).size.width == width; }));
  };
  testing::internal::CaptureStderr();
  EXPECT_EQ(CGInhibitLocalEvents(true), kCGErrorCannotComplete);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("another program keeps it"));
  typeAndWait(800);
  EXPECT_EQ(CGPostMouseEvent({30, 30}, true, 1, false), kCGErrorSuccess);
  Type(kA);
  Type(kEscape);
  EXPECT_EQ(witness.TextUpTo("Escape"), "a");

  holder.Kill();
  typeAndWait(820);
  Type(kEscape);
  EXPECT_EQ(witness.TextUpTo("Escape"), "u");

  EXPECT_EQ(CGInhibitLocalEvents(true), kCGErrorSuccess);
  typeAndWait(840);
  Type(kEscape);
  EXPECT_EQ(witness.TextUpTo("Escape"), "");
  EXPECT_EQ(CGInhibitLocalEvents(false), kCGErrorSuccess);
  typeAndWait(860);
  Type(kEscape);
  EXPECT_EQ(witness.TextUpTo("Escape"), "u");

  user.Press(kLeftShift);
  EXPECT_TRUE(test::WaitFor([&] { return witness.Mask() == 1; }));
  EXPECT_EQ(CGInhibitLocalEvents(true), kCGErrorSuccess);
  EXPECT_EQ(witness.Mask(), 0U) << "what was held when the lock came";
}

TEST(LocalInputTest, AHeldPostedKeyDoesNotRepeatAndLocalOnesDo) {
  XServer server({.extra = {"-ardelay", "20", "-arinterval", "5"}});
  test::InputWitness witness;
  const int local = witness.RepeatingKeys(kKeyboard);
  EXPECT_GT(local, 200);
  ASSERT_EQ(CGPostKeyboardEvent(0, kA, true), kCGErrorSuccess);
  const auto seen =
      witness.Await([](const auto& inputs) { return inputs.size() > 1; }, std::chrono::milliseconds(300));
  EXPECT_EQ(seen.size(), 1U);
  EXPECT_EQ(witness.RepeatingKeys(kKeyboard), local);
  EXPECT_EQ(CGPostKeyboardEvent(0, kA, false), kCGErrorSuccess);
}

using Kind = test::XServerOptions::Kind;

class RepeatOfAllKeyboardsTest : public testing::TestWithParam<Kind> {};

TEST_P(RepeatOfAllKeyboardsTest, StopsForAHeldKeyAloneAndComesBackAlsoAfterACrash) {
  constexpr unsigned kCoreKeyboard = 0x100;
  XServer server({.kind = GetParam(), .extra = {"-ardelay", "20", "-arinterval", "5"}});
  missingExtension = "XInputExtension";
  test::InputWitness witness;
  const int before = witness.RepeatingKeys(kCoreKeyboard);
  const auto expectRepeating = [&](int count) {
    EXPECT_TRUE(test::WaitFor([&] { return witness.RepeatingKeys(kCoreKeyboard) == count; }))
        << witness.RepeatingKeys(kCoreKeyboard) << " of " << before;
  };
  ASSERT_GT(before, 200);

  test::Pipe ready;
  const pid_t killed = fork();
  if (killed == 0) {
    (void)CGPostKeyboardEvent(0, kB, true);
    (void)!write(ready.writeEnd.Get(), "y", 1);
    for (;;) pause();
  }
  char go = 0;
  ASSERT_EQ(read(ready.readEnd.Get(), &go, 1), 1);
  expectRepeating(before - 1);
  ASSERT_EQ(kill(killed, SIGKILL), 0);
  waitpid(killed, nullptr, 0);
  EXPECT_TRUE(test::WaitFor([&] {  // the server may still be busy with the end of the killed one
    test::RunInChild([] { (void)CGPostMouseEvent({9, 9}, true, 0, false); });
    return witness.RepeatingKeys(kCoreKeyboard) == before;
  }));
  Type(kB);
  (void)witness.Await([](const auto& inputs) {
    return !inputs.empty() && inputs.back().kind == test::SeenInput::Kind::kKeyUp;
  });

  ASSERT_EQ(CGPostKeyboardEvent(0, kA, true), kCGErrorSuccess);
  expectRepeating(before - 1);
  const auto seen =
      witness.Await([](const auto& inputs) { return inputs.size() > 1; }, std::chrono::milliseconds(300));
  EXPECT_EQ(seen.size(), 1U);
  ASSERT_EQ(CGPostKeyboardEvent(0, kA, true), kCGErrorSuccess);
  expectRepeating(before - 1);
  ASSERT_EQ(CGPostKeyboardEvent(0, kA, false), kCGErrorSuccess);
  expectRepeating(before);
}

using SeenKind = test::SeenInput::Kind;

struct Held {
  const char* name;
  uint16_t device;
  uint8_t press;  // the type of its event, which the release's follows
  uint8_t code;
  SeenKind pressed, released;
};

constexpr Held kHeld[] = {
    {"Key", kKeyboard, XCB_INPUT_DEVICE_KEY_PRESS, 38, SeenKind::kKeyDown, SeenKind::kKeyUp},
    {"Button", kMouse, XCB_INPUT_DEVICE_BUTTON_PRESS, 3, SeenKind::kButtonDown, SeenKind::kButtonUp},
};

class HeldWhenTheLockComesTest : public testing::TestWithParam<std::tuple<Kind, Held>> {};

TEST_P(HeldWhenTheLockComesTest, IsReleasedForGoodAndWhatIsPostedIsNot) {
  const auto& [kind, held] = GetParam();
  XServer server({.kind = kind, .extra = {"-ardelay", "20", "-arinterval", "5"}});
  test::InputWitness witness;
  const auto any = [](const test::SeenInputs& seen) { return !seen.empty(); };
  ASSERT_EQ(CGPostKeyboardEvent(0, kB, true), kCGErrorSuccess);
  EXPECT_EQ(witness.Await(any).size(), 1U);
  ActAsLocal(held.device, held.press, held.code);
  int down = 0;
  // A key that is held repeats, which Xlib shows as releases and presses.
  const auto count = [&down, &held = held](const test::SeenInputs& seen) {
    for (const test::SeenInput& input : seen) {
      EXPECT_EQ(input.detail, held.code);
      down += input.kind == held.pressed ? 1 : -1;
    }
  };
  count(witness.Await(any));

  ASSERT_EQ(CGInhibitLocalEvents(true), kCGErrorSuccess);
  count(witness.Await(
      [&held = held](const auto& seen) { return !seen.empty() && seen.back().kind == held.released; }));
  count(witness.Await([](const auto&) { return false; }, std::chrono::milliseconds(100)));
  EXPECT_EQ(down, 0);
  ActAsLocal(held.device, held.press + 1, held.code);
  EXPECT_EQ(CGInhibitLocalEvents(false), kCGErrorSuccess);
  EXPECT_EQ(witness.Await(any, std::chrono::milliseconds(100)).size(), 0U);
  ASSERT_EQ(CGPostKeyboardEvent(0, kB, false), kCGErrorSuccess);
  EXPECT_EQ(witness.Await(any).size(), 1U) << "the posted key";
}

INSTANTIATE_TEST_SUITE_P(Servers, HeldWhenTheLockComesTest,
                         testing::Combine(testing::Values(Kind::kXvfb, Kind::kXvnc),
                                          testing::ValuesIn(kHeld)),
                         [](const auto& row) {
                           return std::string(std::get<Kind>(row.param) == Kind::kXvfb ? "Xvfb" : "Xvnc") +
                                  std::get<Held>(row.param).name;
                         });

INSTANTIATE_TEST_SUITE_P(Servers, RepeatOfAllKeyboardsTest, testing::Values(Kind::kXvfb, Kind::kXvnc),
                         [](const auto& row) { return row.param == Kind::kXvfb ? "Xvfb" : "Xvnc"; });

}  // namespace
