// The local user's devices: held back, and left as they are.
#include <ApplicationServices/ApplicationServices.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/VncOutputs.h"
#include "tests/support/WaitFor.h"
#include "tests/support/XServer.h"

namespace {

using test::XServer;

constexpr unsigned kXvfbKeyboard = 7;  // as it numbers its devices
constexpr uint32_t kLeftShift = 0xFFE1;
constexpr CGKeyCode kA = 0, kEscape = 53;

void Type(CGKeyCode key) {
  EXPECT_EQ(CGPostKeyboardEvent(0, key, true), kCGErrorSuccess);
  EXPECT_EQ(CGPostKeyboardEvent(0, key, false), kCGErrorSuccess);
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
  const int local = witness.RepeatingKeys(kXvfbKeyboard);
  EXPECT_GT(local, 200);
  ASSERT_EQ(CGPostKeyboardEvent(0, kA, true), kCGErrorSuccess);
  const auto seen =
      witness.Await([](const auto& inputs) { return inputs.size() > 1; }, std::chrono::milliseconds(300));
  EXPECT_EQ(seen.size(), 1U);
  EXPECT_EQ(witness.RepeatingKeys(kXvfbKeyboard), local);
  EXPECT_EQ(CGPostKeyboardEvent(0, kA, false), kCGErrorSuccess);
}

}  // namespace
