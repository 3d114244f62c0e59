// A session's life: its start, what may stand against it, what it loses, its end.
#include <sys/resource.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>

#include "broker/RCRemoteBroker.h"
#include "common/KCStringUtils.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/service/remote/SessionTest.h"

namespace {

using namespace std::chrono_literals;
using remote::SessionOptions;
using test::FakeViewer;

const std::string kRetry = R"({"type":"retry"})";

class LifeTest : public test::SessionTest {
 protected:
  [[nodiscard]] bool AwaitState(const FakeViewer& viewer, const std::string& state) {
    return Await([&] { return viewer.Said("state", "\"state\":\"" + state + "\""); });
  }
  [[nodiscard]] bool AwaitNoObserver() {
    return Await([&] { return ObserverPid() == 0; });
  }
};

TEST_F(LifeTest, AKilledObserverIsStartedAgainWithTheViewAndNothingHeld) {
  test::InputWitness witness;
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  for (const int signal : {SIGKILL, SIGTERM, SIGKILL}) {
    viewer.Key(0x11, true);
    EXPECT_TRUE(Await([&] { return witness.Mask() == 4; }));
    const pid_t observer = ObserverPid();
    ASSERT_GT(observer, 0);
    kill(observer, signal);
    EXPECT_TRUE(AwaitState(viewer, "restarting"));
    EXPECT_TRUE(AwaitState(viewer, "running")) << viewer.Last("state");
    EXPECT_NE(ObserverPid(), observer);
    EXPECT_TRUE(Await([&] { return witness.Mask() == 0; }));
    client_->FillNoise(10, 10, 200, 100, static_cast<uint32_t>(observer));
    client_->Sync();
    EXPECT_TRUE(AwaitPicture(viewer));
  }
  EXPECT_EQ(Logged("kvremote: the observer was lost"), 3);
}

TEST_F(LifeTest, AnObserverThatCannotBeStartedIsSaidAndTriedAgainWhenAskedFor) {
  std::filesystem::rename(observer_.Executable(), observer_.Executable() + ".away");
  StartSession();
  FakeViewer& viewer = NewViewer();
  EXPECT_TRUE(AwaitState(viewer, "failed"));
  EXPECT_TRUE(viewer.Said("state", observer_.Root() + "/Korvane.log")) << viewer.Last("state");
  std::filesystem::rename(observer_.Executable() + ".away", observer_.Executable());
  EXPECT_TRUE(viewer.Say(kRetry));
  EXPECT_TRUE(AwaitState(viewer, "running")) << viewer.Last("state");
}

TEST_F(LifeTest, AnObserverThatWasLeftBehindIsReplaced) {
  observer_.Start();
  ASSERT_TRUE(observer_.WaitUntilListening());
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  EXPECT_EQ(observer_.WaitForEnd(), 0);
  EXPECT_TRUE(AwaitPicture(viewer));
  EXPECT_GT(ObserverPid(), 0);
}

TEST_F(LifeTest, AnotherObserverIsStartedFromItsOwnPlace) {
  std::filesystem::rename(observer_.Root() + "/bin/kvobserve.app", observer_.Root() + "/kvobserve.app");
  StartSession({.observerPath = observer_.Root() + "/kvobserve.app"});
  EXPECT_TRUE(AwaitPicture(NewRunningViewer()));
}

TEST_F(LifeTest, ADisplayThatIsGoneIsSaid) {
  StartSession();
  FakeViewer& viewer = NewRunningViewer();
  client_.reset();
  server_.Kill();
  EXPECT_TRUE(AwaitState(viewer, "no-display")) << viewer.Last("state");
  EXPECT_TRUE(viewer.Said("state", "cannot be reached")) << viewer.Last("state");
  const struct {
    const char *display, *wayland, *words;
  } rows[] = {
      {"", "", "DISPLAY is not set"}, {"", "wayland-0", "Wayland"}, {"nonsense", "", "names no display"}};
  for (const auto& row : rows) {
    setenv("DISPLAY", row.display, 1);
    setenv("WAYLAND_DISPLAY", row.wayland, 1);
    EXPECT_TRUE(viewer.Say(kRetry));
    EXPECT_TRUE(Await([&] { return viewer.Said("state", row.words); })) << viewer.Last("state");
  }
  EXPECT_TRUE(AwaitNoObserver());
}

TEST_F(LifeTest, TheObserverOutlivesTheLastViewerForAWhile) {
  StartSession({.linger = 300ms});
  FakeViewer& first = NewRunningViewer();
  const pid_t observer = ObserverPid();
  first.Leave();
  EXPECT_TRUE(AwaitPicture(NewRunningViewer()));
  EXPECT_EQ(ObserverPid(), observer);
  viewers_.clear();
  EXPECT_TRUE(AwaitNoObserver());
  EXPECT_TRUE(AwaitPicture(NewRunningViewer())) << "it starts anew";
  for (const char* line : {"session started", "session ended", "has come", "has gone", "controls"})
    EXPECT_NE(Logged(line), 0) << line;
}

TEST_F(LifeTest, ASessionWithoutInputEnds) {
  StartSession({.idle = 200ms});
  FakeViewer& viewer = NewRunningViewer();
  EXPECT_TRUE(AwaitState(viewer, "ended"));
  EXPECT_TRUE(viewer.Said("state", "nothing was done")) << viewer.Last("state");
  EXPECT_TRUE(AwaitNoObserver());
  EXPECT_TRUE(viewer.Say(kRetry));
  EXPECT_TRUE(AwaitState(viewer, "running"));
}

TEST_F(LifeTest, TheSettingsMayForbidASessionAtAnyTime) {
  WritePreferences("<key>AllowControlObserve</key><false/>");
  StartSession({.preferencesEvery = 50ms});
  FakeViewer& viewer = NewViewer();
  EXPECT_TRUE(AwaitState(viewer, "refused"));
  EXPECT_TRUE(viewer.Updates().empty());
  WritePreferences("<key>NotifyObservation</key><false/>");
  EXPECT_TRUE(viewer.Say(kRetry));
  EXPECT_TRUE(AwaitState(viewer, "running")) << viewer.Last("state");
  WritePreferences("<key>AllowControlObserve</key><false/>");
  EXPECT_TRUE(AwaitState(viewer, "refused"));
  EXPECT_TRUE(AwaitNoObserver());
  EXPECT_EQ(NoticeRuns(), "");
}

TEST_F(LifeTest, UntilTheUserHasAllowedItNothingIsStartedAndNoPixelLeaves) {
  WritePreferences("<key>UserControlFilter</key><true/>");
  const struct {
    int status;
    const char *state, *words;
  } rows[] = {{1, "refused", "has not allowed it"},
              {3, "refused", "nobody is there"},
              {7, "refused", "cannot be"},
              {0, "running", ""}};
  StartSession({.askAgainAfter = 0ms});
  AnswerNotice(-1);
  FakeViewer& viewer = NewViewer();
  for (const auto& row : rows) {
    EXPECT_TRUE(AwaitState(viewer, "waiting"));
    viewer.Key(0x11, true);
    EXPECT_TRUE(Await([&] { return NoticeRuns().find("--ask") != std::string::npos; }));
    EXPECT_EQ(ObserverPid(), 0);
    EXPECT_TRUE(viewer.Updates().empty());
    AnswerNotice(row.status);
    EXPECT_TRUE(AwaitState(viewer, row.state)) << row.status;
    EXPECT_TRUE(viewer.Said("state", row.words)) << viewer.Last("state");
    AnswerNotice(-1);
    EXPECT_TRUE(viewer.Say(kRetry));
  }
  EXPECT_TRUE(AwaitPicture(viewer));
  EXPECT_NE(NoticeRuns().find("192.0.2.7 wants to see and control"), std::string::npos) << NoticeRuns();
  EXPECT_TRUE(Await([&] { return NoticeRuns().find("--notice") != std::string::npos; }));
  AnswerNotice(0);
}

TEST_F(LifeTest, AUserWhoHasRefusedIsLeftInPeaceForAWhile) {
  WritePreferences("<key>UserControlFilter</key><true/>");
  AnswerNotice(1);
  StartSession();
  FakeViewer& viewer = NewViewer();
  EXPECT_TRUE(AwaitState(viewer, "refused"));
  EXPECT_TRUE(viewer.Said("state", "not asked again for")) << viewer.Last("state");
  EXPECT_TRUE(viewer.Say(kRetry));
  viewer.Leave();
  EXPECT_TRUE(AwaitState(NewViewer(), "refused"));
  WritePreferences("");
  EXPECT_TRUE(viewers_.back().Say(kRetry));
  EXPECT_TRUE(AwaitState(viewers_.back(), "running"));
  const std::string runs = NoticeRuns();
  EXPECT_EQ(runs.find("--ask"), runs.rfind("--ask")) << runs;
}

TEST_F(LifeTest, ThePortAnswersTheAgentsOtherPrograms) {
  StartSession();
  RCRemoteClient client;
  const auto ask = [&](auto question) {
    auto answer = std::async(std::launch::async, question);
    EXPECT_TRUE(Await([&] { return answer.wait_for(0s) == std::future_status::ready; }));
    return answer.get();
  };
  EXPECT_FALSE(ask([&] { return client.HasRemoteSession(); }));
  FakeViewer& viewer = NewRunningViewer();
  EXPECT_TRUE(ask([&] { return client.HasRemoteSession(); }));
  for (const bool user : {true, false}) {
    const StCFTypeRef<CFStringRef> name(
        ask([&] { return user ? client.GetUserName() : client.GetComputerName(); }));
    const KCStringHelper text(name, kCFStringEncodingUTF8);
    ASSERT_NE(text.GetCStringPtr(), nullptr);
    EXPECT_TRUE(viewer.Said("welcome", std::string("\"") + text.GetCStringPtr() + "\""))
        << text.GetCStringPtr();
  }
  EXPECT_TRUE(Await([&] { return viewer.Said("layout", "other"); })) << "the observer's own report";
  const unsigned char pointer[] = {'R', 'C', 'H', '1', 0, 0, 0, 0, 0, 0, 0, 0, 4, 8, 0, 0, 10, 1, 20, 0};
  const unsigned char layout[] = {50, 7, 0, 2, 0, 0, 0};
  const unsigned char broken[] = {'R', 'C', 'H', '1', 0, 0, 0, 0, 0, 0, 0, 0, 4, 8};
  client.TransferData(broken, sizeof broken);
  client.TransferData(pointer, sizeof pointer);
  client.TransferData(layout, sizeof layout);
  EXPECT_TRUE(Await([&] { return viewer.Said("pointer", R"("x":266,"y":20)"); })) << viewer.Last("pointer");
  EXPECT_TRUE(Await([&] { return viewer.Said("layout", "german"); }));

  const pid_t observer = ObserverPid();
  client.RestartObserver();
  EXPECT_TRUE(Await([&] { return ObserverPid() != 0 && ObserverPid() != observer; }));
  EXPECT_TRUE(AwaitState(viewer, "running"));
  client.QuitChatClients();
  client.EndSession();
  EXPECT_TRUE(AwaitState(viewer, "ended"));
  EXPECT_TRUE(AwaitNoObserver());

  remote::DesktopSession second({});
  EXPECT_NE(second.Start().find("com.korvane.kvremote"), std::string::npos);
}

}  // namespace
