// How an observer ends, whatever it is doing.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <future>

#include "platform/System.h"
#include "tests/observer/ObserverTest.h"
#include "tests/support/WaitFor.h"

namespace {

class EndTest : public test::ObserverTest {
 protected:
  void StartViewAndConnect() {
    StartView();
    screenClient_ = ConnectToScreen();
    ASSERT_TRUE(screenClient_);
  }
  // The client asks again and again and reads nothing.
  void Flood() {
    const std::string requests(4000, '\1');
    EXPECT_EQ(send(screenClient_.Get(), requests.data(), requests.size(), platform::SendFlags()), 4000);
  }
  void EndViewOnAThread() {
    command_ = std::async(std::launch::async, [this] { EndView(); });
  }

  platform::UniqueFd screenClient_;
  std::future<void> command_;  // ended with the fixture
};

TEST_F(EndTest, SigtermEndsItCleanlyWhateverItIsDoing) {
  const struct {
    const char* name;
    std::function<void()> meanwhile;
  } cases[] = {
      {"idle", [] {}},
      {"view", [&] { StartViewAndConnect(); }},
      {"view that starts", [&] { StartView(); }},
      {"view that ends", [&] { StartViewAndConnect(), EndViewOnAThread(); }},
      {"screen client that never reads", [&] { StartViewAndConnect(), Flood(); }},
      // The capture thread waits for the X server, the broker thread for the capture thread.
      {"X server that hangs", [&] { StartViewAndConnect(), server_.Freeze(), Flood(), EndViewOnAThread(); }},
  };
  for (const auto& row : cases) {
    for (const int signals : {1, 2}) {
      SCOPED_TRACE(std::string(row.name) + ", signals: " + std::to_string(signals));
      StartObserver();
      row.meanwhile();
      for (int i = 0; i < signals; ++i) observer_.Signal(SIGTERM);
      ExpectEnd(0);
      server_.Thaw();
      if (command_.valid()) command_.get();
      EXPECT_EQ(Logged("OculonHtml5: Stopped."), Logged("OculonHtml5: Started."));
    }
  }
}

TEST_F(EndTest, SigtermDuringTheStartIsNotLost) {
  observer_.Start();
  ASSERT_TRUE(test::WaitFor([&] { return RecordedPid() == std::to_string(observer_.Pid()); }));
  observer_.Signal(SIGTERM);
  ExpectEnd(0);
  EXPECT_GE(Logged("OculonApp: SIGTERM."), 1) << observer_.Log();
}

TEST_F(EndTest, NobodyNeedsToReadItsStandardError) {
  for (const bool gone : {false, true}) {
    const std::string path = observer_.StandardErrorPath();
    ASSERT_EQ(mkfifo(path.c_str(), S_IRUSR | S_IWUSR), 0);
    platform::UniqueFd reader(open(path.c_str(), O_RDONLY | O_NONBLOCK));
    StartObserver();
    const platform::UniqueFd writer(open(path.c_str(), O_WRONLY | O_NONBLOCK));
    while (write(writer.Get(), "x", 1) == 1) {
    }
    if (gone) reader.Reset();
    observer_.Signal(SIGTERM);
    ExpectEnd(0);
    unlink(path.c_str());
  }
}

TEST_F(EndTest, WhenTheXServerIsGoneTheSessionIsOver) {
  StartObserver();
  StartViewAndConnect();
  server_.Kill();
  ExpectEnd(1);
  const std::string loss = "the X server of display " + server_.Display() + " has gone away";
  EXPECT_EQ(Logged("OculonApp: the session is over: " + loss), 1) << observer_.Log();
  EXPECT_EQ(Logged("OculonHtml5: Stopped."), 1) << observer_.Log();
}

}  // namespace
