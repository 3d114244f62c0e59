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
  const char* sessionClass = nullptr;
};
Seat seat;

}  // namespace

extern "C" {
int sd_seat_get_active(const char*, char** session, uid_t* uid) {
  if (!seat.user) return -ENXIO;
  *session = strdup("c1");
  *uid = *seat.user;
  return 0;
}
int sd_session_get_class(const char*, char** sessionClass) {
  *sessionClass = strdup(seat.sessionClass);
  return 0;
}
}

namespace {

// Name, user and group in one line; "nobody" when there is no answer and the numbers are as they were.
std::string Ask() {
  uid_t uid = 4711;
  gid_t gid = 4711;
  const CFStringRef name = SCDynamicStoreCopyConsoleUser(nullptr, &uid, &gid);
  if (name == nullptr) return uid == 4711 && gid == 4711 ? "nobody" : "numbers without a name";
  char text[256] = {};
  EXPECT_TRUE(CFStringGetCString(name, text, sizeof text, kCFStringEncodingUTF8));
  CFRelease(name);
  return std::string(text) + " " + std::to_string(uid) + " " + std::to_string(gid);
}

TEST(ConsoleUserTest, TheSeatsActiveUserComesFirst) {
  setenv("DISPLAY", ":0", 1);
  constexpr uid_t kDaemon = 1;  // an account that every system has, and its group
  const struct {
    Seat active;
    const char* answer;
  } rows[] = {
      {{kDaemon, "user"}, "daemon 1 1"},
      {{kDaemon, "greeter"}, "loginwindow 1 1"},
      {{3'999'999'999U, "user"}, "nobody"},  // without an account
  };
  for (const auto& row : rows) {
    seat = row.active;
    EXPECT_EQ(Ask(), row.answer) << row.active.sessionClass;
  }
}

TEST(ConsoleUserTest, WithoutASeatItIsTheOwnerOfTheLocalDisplaysServer) {
  const passwd* account = getpwuid(getuid());
  const std::string owner =
      account->pw_name + (" " + std::to_string(getuid())) + " " + std::to_string(account->pw_gid);
  test::XServer server;
  const std::string number = server.Display();  // ":7"
  const auto expect = [](const std::string& display, const std::string& answer) {
    setenv("DISPLAY", display.c_str(), 1);
    EXPECT_EQ(Ask(), answer) << display;
  };
  for (const std::string& display : {number + ".0", "unix" + number}) expect(display, owner);
  for (const std::string& display : {"localhost" + number, std::string(), std::string("nonsense")})
    expect(display, "nobody");
  server.Freeze();  // it need not answer
  expect(number, owner);
  server.Thaw();
  server.Terminate();
  expect(number, "nobody");
}

}  // namespace
