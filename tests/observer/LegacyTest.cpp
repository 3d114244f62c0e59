// An observer that runs for the tile viewer, and the service that it reports to.
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>
#include <thread>

#include "tests/observer/ObserverTest.h"
#include "tests/platform/x11/InputWitness.h"
#include "tests/support/ServicePort.h"
#include "tests/support/WaitFor.h"

namespace {

using namespace std::chrono_literals;
using Bytes = std::vector<uint8_t>;

const Bytes kStarted = {0, 8, 0, 0, 0, 0, 0, 0x10}, kStartedBlank = {0, 8, 0, 0, 0, 1, 0, 0x10};
const Bytes kEnded = {2, 4, 0, 0};
const Bytes kDesktop = {1, 9, 0, 0, 5, 0xD0, 2, 16, 0};  // 1280 x 720, 16 bits
const Bytes kWholeFrame = {7, 21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 4, 0, 0, 0xCF, 2, 0, 0};
const Bytes kBlack = {1, 0, 0, 0, 7, 0x0E, 0x0E};  // the first tile, the second, and 3598 like it

class LegacyTest : public test::ObserverTest {
 protected:
  void View(char code, char viewType = 6, char blank = 0) { Command({code, 0, 0, viewType, 0, blank}); }
  void Refresh() { Command({10}); }
  void End(char hold = 0) { Command({2, 0, 0, hold}); }
  // OrderedObserver.cpp in the observer's place.
  void StartOrdered(const std::string& milliseconds, const std::vector<std::string>& more = {}) {
    const std::string fifo = observer_.Root() + "/orders";
    mkfifo(fifo.c_str(), S_IRUSR | S_IWUSR);
    std::filesystem::copy_file(ORDERED_OBSERVER, observer_.Executable(),
                               std::filesystem::copy_options::overwrite_existing);
    std::vector<std::string> arguments = {milliseconds, fifo};
    arguments.insert(arguments.end(), more.begin(), more.end());
    StartObserver(arguments);
    orders_.open(fifo);  // waits for the reader
  }
  void Order(const std::string& order) { orders_ << order << std::endl; }

  // The next record that is no frame of nothing.
  Bytes Next() {
    Bytes record;
    do record = port_->Next();
    while (record.size() == 21 && Bytes(record.begin() + 3, record.begin() + 19) == Bytes(16, 0));
    return record;
  }
  void ExpectRecord(const Bytes& expected) {
    Bytes record;
    do record = Next();
    while (record != expected && !record.empty());
    EXPECT_EQ(record, expected);
  }
  // The desktop, then the whole picture of it, and in between that the session is started.
  void ExpectTileView(const Bytes& started = kStarted) {
    ExpectRecord(kDesktop);
    EXPECT_EQ(Next().at(0), 6);
    std::vector<Bytes> records = {Next(), Next(), Next()};
    EXPECT_EQ(std::erase(records, started), 1U);
    ASSERT_EQ(records.size(), 2U);
    ASSERT_EQ(records[0].size(), 21U);
    ASSERT_GT(records[1].size(), 9U);
    EXPECT_EQ(Bytes(records[0].begin(), records[0].end() - 2), kWholeFrame);
    EXPECT_EQ(Bytes(records[1].begin() + 9, records[1].end()), kBlack);
  }

  std::ofstream orders_;
  std::optional<test::ServicePort> port_{std::in_place};
};

TEST_F(LegacyTest, ViewsStartEndAndHold) {
  StartObserver({"-legacy"});
  View(0, 7);
  ExpectTileView();
  View(0, 2);
  ExpectRecord(kStarted);
  EXPECT_EQ(Logged("Oculon: Started."), 1) << "the same view, under its new settings";
  for (int idle = 0; idle < 5; ++idle) EXPECT_EQ(port_->Next().size(), 21U);

  End(1);
  ExpectRecord(kEnded);
  Refresh();
  EXPECT_EQ(Logged("Oculon: Started."), 1) << "held";
  View(0, 6, 1);
  ExpectTileView(kStartedBlank);
  End();
  ExpectRecord(kEnded);
  Refresh();
  ExpectTileView();

  View(49);
  ExpectRecord(kStarted);
  EXPECT_TRUE(ConnectToScreen());
  const std::string layout("2\7\0\0\0\0\0", 7);
  EXPECT_TRUE(test::WaitFor([&] { return port_->Received().back() == layout; }));
  EXPECT_FALSE(test::WaitFor([&] { return port_->Received().back() != layout; }, 500ms))
      << "no tiles while the other viewer is served";
  port_.emplace();
  View(0);
  ExpectTileView();
  EXPECT_EQ(Logged("Oculon: Started."), 3);
}

TEST_F(LegacyTest, SighupRestartsTheSessionAndLeavesTheBroker) {
  StartObserver({"-legacy"});
  View(0);
  ExpectTileView();
  const std::string pid = RecordedPid();
  for (int restart = 1; restart <= 3; ++restart) {
    observer_.Signal(SIGHUP);
    ExpectTileView();
    EXPECT_EQ(Logged("Oculon: SIGHUPed."), restart);
    EXPECT_EQ(Logged("Oculon: Stopped."), restart);
    EXPECT_EQ(RecordedPid(), pid);
  }
  EXPECT_EQ(Logged("Oculon: Quiting."), 0);
  End();
  ExpectRecord(kEnded);
}

TEST_F(LegacyTest, ItEndsCleanlyWhateverItIsDoing) {
  platform::UniqueFd screen;
  const struct {
    const char* name;
    std::function<void()> meanwhile;
  } cases[] = {
      {"idle", [] {}},
      {"tile view", [&] { View(0), ExpectTileView(); }},
      {"HTML5 view", [&] { View(49), screen = ConnectToScreen(); }},
      {"view that starts", [&] { View(0); }},
      {"restart", [&] { View(0), observer_.Signal(SIGHUP); }},
      {"X server that hangs", [&] { View(0), ExpectTileView(), server_.Freeze(), observer_.Signal(SIGHUP); }},
  };
  for (const auto& row : cases) {
    for (const int signal : {SIGTERM, SIGABRT}) {
      SCOPED_TRACE(std::string(row.name) + ", signal " + std::to_string(signal));
      port_.emplace();  // with nothing of the view before
      StartObserver({"-legacy"});
      for (const int ignored : {SIGINT, SIGQUIT, SIGUSR1, SIGALRM, SIGCHLD}) observer_.Signal(ignored);
      row.meanwhile();
      observer_.Signal(signal);
      ExpectEnd(0);
      server_.Thaw();
      EXPECT_EQ(Logged("Oculon: Stopped."), Logged("Oculon: Started."));
    }
  }
}

TEST_F(LegacyTest, ATileViewWithoutADisplayEndsTheProcess) {
  const test::XServer server({.kind = test::XServerOptions::Kind::kXvnc, .width = 640, .height = 480});
  ASSERT_EQ(server.Run({"xrandr", "--output", "VNC-0", "--off"}), 0);
  StartObserver({"-legacy"});
  View(0);
  ExpectEnd(0);
  EXPECT_EQ(Logged("Oculon: Quiting."), 1) << observer_.Log();
}

TEST_F(LegacyTest, WhenTheXServerIsGoneTheSessionIsOver) {
  StartObserver({"-legacy"});
  View(0);
  ExpectTileView();
  server_.Kill();
  ExpectEnd(1);
  EXPECT_EQ(Logged("OculonApp: the session is over: "), 1) << observer_.Log();
}

TEST_F(LegacyTest, WhatCallsAbortHasTheSessionStopped) {
  StartOrdered("1000");
  View(0);
  Order("abort");
  ExpectEnd(0);
  EXPECT_EQ(Logged("Oculon: SIGABRTed."), 1);
  EXPECT_EQ(Logged("Oculon: Stopped."), 1);
}

TEST_F(LegacyTest, AUserWhoLeavesEndsTheSessionAndAtTheLoginWindowTheBroker) {
  for (const bool atLoginWindow : {false, true}) {
    StartOrdered("1000",
                 atLoginWindow ? std::vector<std::string>{"loginwindow"} : std::vector<std::string>());
    View(0);
    const int stopped = Logged("Oculon: Stopped.");
    Order("activate");
    Order("deactivate");
    EXPECT_TRUE(test::WaitFor([&] { return Logged("Oculon: Stopped.") == stopped + 1; }));
    if (!atLoginWindow) {
      View(0);  // the broker is there
      EXPECT_EQ(Logged("Oculon: Started."), 2);
      Order("quit");
    }
    EXPECT_TRUE(test::WaitFor([&] { return RecordedPid().empty(); }));
    EXPECT_TRUE(test::WaitFor([&] { return !std::filesystem::exists(observer_.EndpointPath()); }));
    observer_.Signal(SIGTERM);
    ExpectEnd(0);
    orders_.close();
  }
}

TEST_F(LegacyTest, InATileViewTheServiceIsThereWithItsPort) {
  test::InputWitness witness;
  StartOrdered("300");
  View(0);
  const auto held = [&] { return witness.Mask() != 0; };
  for (int round = 0; round < 2; ++round) {
    Command({5, 0, 0, 0x11, 0, 0, 0, 0, 0});
    EXPECT_TRUE(test::WaitFor(held));
    EXPECT_FALSE(test::WaitFor([&] { return !held(); }, 900ms));
    port_.reset();
    EXPECT_TRUE(test::WaitFor([&] { return !held(); }));
    port_.emplace();
    EXPECT_TRUE(test::WaitFor([&] { return Logged("the service is back") == round + 1; })) << observer_.Log();
  }
  EXPECT_EQ(Logged("Oculon: Stopped."), 0) << "the view goes on";
  View(49);
  Command({5, 0, 0, 0x11, 0, 0, 0, 0, 0});
  EXPECT_TRUE(test::WaitFor(held));
  EXPECT_TRUE(test::WaitFor([&] { return !held(); })) << "the port alone is nothing to an HTML5 view";
}

TEST_F(LegacyTest, FiftyStartsAndStopsAtAnyMomentLeaveItWorking) {
  StartObserver({"-legacy"});
  std::minstd_rand random(1);
  for (int round = 0; round < 50; ++round) {
    round % 10 == 9 ? View(49) : View(0);
    std::this_thread::sleep_for(std::chrono::microseconds(random() % 30'000));
    if (round % 3 == 0) observer_.Signal(SIGHUP);
    End();
  }
  port_.emplace();
  // A restart may have been the last to start.
  EXPECT_TRUE(
      test::WaitFor([&] { return Logged("Oculon: SIGHUPed.") == Logged("Didn't shut down oculon") - 50; }));
  End();
  View(0);
  ExpectTileView();
  observer_.Signal(SIGTERM);
  ExpectEnd(0);
  EXPECT_EQ(Logged("Oculon: Stopped."), Logged("Oculon: Started."));
}

}  // namespace
