// How an observer ends, whatever it is doing.
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <future>

#include "platform/Handles.h"
#include "platform/System.h"
#include "tests/observer/ObserverTest.h"
#include "tests/support/WaitFor.h"

namespace {

class EndTest : public test::ObserverTest {
 protected:
  void StartViewAndWait() {
    StartView();
    ASSERT_TRUE(test::WaitFor([&] { return Exists(observer_.ScreenSocketPath()); }));
  }

  // A client of the screen socket that asks again and again and reads nothing.
  [[nodiscard]] platform::UniqueFd FloodScreenSocket() const {
    platform::UniqueFd client = ConnectTo(observer_.ScreenSocketPath());
    const std::string requests(4000, '\1');
    EXPECT_EQ(send(client.Get(), requests.data(), requests.size(), platform::SendFlags()), 4000);
    return client;
  }

  void ExpectCleanEnd(int status) {
    EXPECT_EQ(observer_.WaitForEnd(), status) << observer_.Log();
    EXPECT_EQ(FilesLeft(), std::vector<std::string>{});
  }

  // Ended with the fixture.
  std::future<void> command_;
  platform::UniqueFd screenClient_;
};

TEST_F(EndTest, SigtermEndsItCleanlyWhateverItIsDoing) {
  const struct {
    const char* name;
    std::function<void()> meanwhile;
    int sessions;
  } cases[] = {
      {"idle", [] {}, 0},
      {"view", [&] { StartViewAndWait(); }, 1},
      {"view that starts", [&] { StartView(); }, 1},
      {"view that ends",
       [&] {
         StartViewAndWait();
         command_ = std::async(std::launch::async, [&] { EndView(); });
       },
       1},
      {"screen client that never reads",
       [&] {
         StartViewAndWait();
         screenClient_ = FloodScreenSocket();
       },
       1},
  };
  int sessions = 0;
  for (const auto& row : cases) {
    for (const int signals : {1, 2}) {
      SCOPED_TRACE(std::string(row.name) + ", signals: " + std::to_string(signals));
      StartObserver();
      row.meanwhile();
      for (int i = 0; i < signals; ++i) observer_.Signal(SIGTERM);
      ExpectCleanEnd(0);
      if (command_.valid()) command_.get();
      sessions += row.sessions;
      EXPECT_EQ(Logged("OculonHtml5: Stopped."), sessions);
    }
  }
}

TEST_F(EndTest, SigtermDuringTheStartIsNotLost) {
  observer_.Start();
  ASSERT_TRUE(test::WaitFor([&] { return RecordedPid() == std::to_string(observer_.Pid()); }));
  observer_.Signal(SIGTERM);
  ExpectCleanEnd(0);
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
    ExpectCleanEnd(0);
    unlink(path.c_str());
  }
}

TEST_F(EndTest, WhenTheXServerIsGoneTheSessionIsOver) {
  StartObserver();
  StartViewAndWait();
  server_.Kill();
  ExpectCleanEnd(1);
  EXPECT_EQ(Logged("OculonApp: the session is over: the X server of display " + server_.Display() +
                   " has gone away"),
            1);
  EXPECT_EQ(Logged("OculonHtml5: Stopped."), 1) << observer_.Log();
}

TEST_F(EndTest, AnXServerThatHangsDoesNotHoldUpTheEnd) {
  StartObserver();
  StartViewAndWait();
  server_.Freeze();
  // The capture thread waits for the server, the broker thread for the capture thread.
  screenClient_ = FloodScreenSocket();
  command_ = std::async(std::launch::async, [&] { EndView(); });
  observer_.Signal(SIGTERM);
  ExpectCleanEnd(0);
  server_.Thaw();
}

}  // namespace
