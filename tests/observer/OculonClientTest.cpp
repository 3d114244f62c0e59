// The service's end: a real observer that it starts, commands, loses, starts again and ends.
#include <sys/socket.h>

#include <array>
#include <csignal>
#include <cstring>

#include "broker/RCOculonBroker.h"
#include "common/KCFolderManager.h"
#include "tests/observer/ObserverTest.h"
#include "tests/support/WaitFor.h"

namespace {

class OculonClientTest : public test::ObserverTest {
 protected:
  OculonClientTest() { SetRootFolder(observer_.Root().c_str()); }

  long Send(int code, size_t length) {
    std::string record(length, '\0');
    record[0] = static_cast<char>(code);
    return client_.TransferData(reinterpret_cast<const unsigned char*>(record.data()),
                                static_cast<long>(length));
  }
  // What a client of the screen is told first: width and height; empty when nobody answers.
  std::vector<int32_t> AskForTheScreen() {
    const platform::UniqueFd screen = ConnectToScreen();
    std::array<char, 808> response{};
    const uint16_t request = 1;
    if (send(screen.Get(), &request, sizeof request, MSG_NOSIGNAL) != sizeof request ||
        recv(screen.Get(), response.data(), response.size(), MSG_WAITALL) !=
            static_cast<ssize_t>(response.size()))
      return {};
    std::vector<int32_t> size(2);
    std::memcpy(size.data(), response.data() + 8, 8);
    return size;
  }

  RCOculonClient client_;
};

// The result is the record's own length when it was forwarded, the least one when it was not.
TEST_F(OculonClientTest, RecordsAreForwardedByTheirLengthAndAViewLastsFromItsStartToItsEnd) {
  const struct {
    int code;
    size_t length;
    long whileStopped, whileStarted;
  } rows[] = {{4, 7, 8, 8},     {4, 12, 8, 12},   {5, 8, 9, 9},   {5, 12, 9, 12},
              {21, 10, 11, 11}, {21, 12, 11, 12}, {48, 7, 8, 8},  {48, 12, 8, 12},
              {49, 7, 8, 8},    {0, 12, 0, 0},    {10, 12, 0, 0}, {50, 12, 0, 0}};
  for (const auto& row : rows)
    EXPECT_EQ(Send(row.code, row.length), row.whileStopped) << row.code << " " << row.length;
  EXPECT_EQ(RecordedPid(), "") << "none of them starts the observer";

  EXPECT_EQ(Send(49, 12), 12);
  EXPECT_EQ(Logged("OculonHtml5: Started."), 1);
  const std::string pid = RecordedPid();
  EXPECT_NE(pid, "");
  for (const auto& row : rows)
    EXPECT_EQ(Send(row.code, row.length), row.whileStarted) << row.code << " " << row.length;
  EXPECT_TRUE(client_.start_observer());
  EXPECT_EQ(RecordedPid(), pid) << "it is the same one";

  EXPECT_EQ(Send(2, 1), 4) << "too short to be forwarded";
  EXPECT_TRUE(test::WaitFor([&] { return RecordedPid().empty(); }));
  EXPECT_EQ(Send(4, 12), 8);
}

TEST_F(OculonClientTest, ARestartedObserverShowsTheSameView) {
  EXPECT_EQ(Send(49, 8), 8);
  const std::vector<int32_t> size = AskForTheScreen();
  EXPECT_EQ(size, (std::vector<int32_t>{1280, 720}));
  for (const int signal : {SIGKILL, SIGSTOP, 0}) {
    const std::string pid = RecordedPid();
    const pid_t process = std::stoi(pid);
    if (signal != 0) kill(process, signal);
    client_.RestartObserver();
    EXPECT_NE(RecordedPid(), pid);
    EXPECT_EQ(AskForTheScreen(), size) << "without another command";
    if (signal == SIGSTOP) kill(process, SIGKILL);
  }
  EXPECT_EQ(Logged("OculonHtml5: Started."), 4);
  EXPECT_EQ(Send(2, 4), 4);
  EXPECT_TRUE(test::WaitFor([&] { return RecordedPid().empty(); }));
}

}  // namespace
