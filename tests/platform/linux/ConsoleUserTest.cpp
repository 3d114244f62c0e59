// Whose console this is: the session manager's answer, else the display server's owner.
#include <SystemConfiguration/SystemConfiguration.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <systemd/sd-login.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "tests/support/XServer.h"

namespace {

// The session that is active on the machine's seat, as the replaced functions below tell it.
struct Seat {
  std::optional<uid_t> user;
  const char* sessionClass = "user";
};
Seat& TheSeat() {
  static Seat seat;
  return seat;
}

}  // namespace

extern "C" {
int sd_seat_get_active(const char* seat, char** session, uid_t* uid) {
  EXPECT_STREQ(seat, "seat0");
  if (!TheSeat().user) return -ENXIO;
  *session = strdup("c1");
  *uid = *TheSeat().user;
  return 0;
}
int sd_session_get_class(const char* session, char** sessionClass) {
  EXPECT_STREQ(session, "c1");
  if (TheSeat().sessionClass == nullptr) return -ENXIO;  // it ended meanwhile
  *sessionClass = strdup(TheSeat().sessionClass);
  return 0;
}
}

namespace {

constexpr uid_t kDaemon = 1;  // an account that every system has

std::string NameOf(uid_t uid) {
  const passwd* account = getpwuid(uid);
  return account != nullptr ? account->pw_name : "";
}

struct Answer {
  std::optional<std::string> name;
  uid_t uid = 4711;
  gid_t gid = 4711;
};

Answer Ask() {
  Answer answer;
  const CFStringRef name = SCDynamicStoreCopyConsoleUser(nullptr, &answer.uid, &answer.gid);
  if (name == nullptr) return answer;
  char text[256];
  EXPECT_TRUE(CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8));
  CFRelease(name);
  answer.name = text;
  return answer;
}

TEST(ConsoleUserTest, TheSeatsActiveUserComesFirst) {
  setenv("DISPLAY", ":0", 1);
  for (const char* sessionClass : {"user", static_cast<const char*>(nullptr)}) {
    TheSeat() = {kDaemon, sessionClass};
    const Answer answer = Ask();
    EXPECT_EQ(answer.name, NameOf(kDaemon));
    EXPECT_EQ(answer.uid, kDaemon);
    EXPECT_EQ(answer.gid, getpwuid(kDaemon)->pw_gid);
  }
}

TEST(ConsoleUserTest, AGreeterIsTheLoginWindow) {
  TheSeat() = {kDaemon, "greeter"};
  EXPECT_EQ(Ask().name, "loginwindow");
  const CFStringRef name = SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr);
  ASSERT_NE(name, nullptr);
  CFRelease(name);
}

TEST(ConsoleUserTest, WithoutASeatItIsTheOwnerOfTheDisplaysServer) {
  const test::XServer server;
  const std::string number = server.Display();  // ":7"
  for (const std::string& display : {number, number + ".0", "unix" + number}) {
    setenv("DISPLAY", display.c_str(), 1);
    const Answer answer = Ask();
    EXPECT_EQ(answer.name, NameOf(getuid())) << display;
    EXPECT_EQ(answer.uid, getuid()) << display;
  }
  setenv("DISPLAY", ("localhost" + number).c_str(), 1);
  EXPECT_EQ(Ask().name, std::nullopt) << "another machine's, for all we can tell";

  setenv("DISPLAY", number.c_str(), 1);
  server.Freeze();
  EXPECT_EQ(Ask().name, NameOf(getuid())) << "it need not answer";
  server.Thaw();
}

TEST(ConsoleUserTest, NobodyIsThereWithoutALocalDisplay) {
  test::XServer server;
  const std::string gone = server.Display();
  server.Terminate();
  for (const std::string& display : {std::string(), gone, std::string("nonsense")}) {
    setenv("DISPLAY", display.c_str(), 1);
    const Answer answer = Ask();
    EXPECT_EQ(answer.name, std::nullopt) << display;
    EXPECT_EQ(answer.uid, 4711U) << display;
    EXPECT_EQ(answer.gid, 4711U) << display;
  }
}

TEST(ConsoleUserTest, AUserWithoutAnAccountIsNobody) {
  TheSeat() = {3'999'999'999U, "user"};
  EXPECT_EQ(Ask().name, std::nullopt);
}

}  // namespace
