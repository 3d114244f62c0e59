// The session manager's switches between sessions, as application events.
#include <Carbon/Carbon.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <systemd/sd-login.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/MainLoop.h"

namespace {

// What the replaced functions below answer.
struct Session {
  std::string display, state;
  int active;
};
struct Manager {
  std::string ofProcess, ofUser;
  std::map<std::string, Session> sessions;
  int changes = -1;  // an eventfd; -1: there is no session manager
};
Manager manager;

int Answer(const std::string& text, char** answer) {
  if (text.empty()) return -ENODATA;
  *answer = strdup(text.c_str());
  return 0;
}

}  // namespace

extern "C" {
int sd_pid_get_session(pid_t, char** session) { return Answer(manager.ofProcess, session); }
int sd_uid_get_display(uid_t, char** session) { return Answer(manager.ofUser, session); }
int sd_session_get_display(const char* session, char** display) {
  return Answer(manager.sessions[session].display, display);
}
int sd_session_get_state(const char* session, char** state) {
  return Answer(manager.sessions[session].state, state);
}
int sd_session_is_active(const char* session) {
  const auto found = manager.sessions.find(session);
  return found == manager.sessions.end() ? -ENXIO : found->second.active;
}
int sd_get_sessions(char*** sessions) {
  *sessions = nullptr;
  if (manager.sessions.empty()) return 0;
  *sessions = static_cast<char**>(calloc(manager.sessions.size() + 1, sizeof(char*)));
  char** next = *sessions;
  for (const auto& [name, session] : manager.sessions) *next++ = strdup(name.c_str());
  return static_cast<int>(manager.sessions.size());
}
int sd_login_monitor_new(const char*, sd_login_monitor** monitor) {
  if (manager.changes < 0) return -ENOENT;
  *monitor = reinterpret_cast<sd_login_monitor*>(&manager);
  return 0;
}
sd_login_monitor* sd_login_monitor_unref(sd_login_monitor*) { return nullptr; }
int sd_login_monitor_get_fd(sd_login_monitor*) { return manager.changes; }
int sd_login_monitor_get_events(sd_login_monitor*) { return POLLIN; }
int sd_login_monitor_flush(sd_login_monitor*) {
  eventfd_t count = 0;
  return eventfd_read(manager.changes, &count);
}
}

namespace {

struct Case {
  const char* name;
  Manager manager;
  const char* own;  // the session that counts
};

void PrintTo(const Case& row, std::ostream* out) { *out << row.name; }

class SessionActivityTest : public testing::TestWithParam<Case> {};

constexpr UInt32 kMark = 4711;

// Returns when the main loop has looked at everything, and has served what came of it.
void Settle(const std::vector<UInt32>& kinds) {
  for (int look = 0; look < 2; ++look) {
    EventRef mark = nullptr;
    ASSERT_EQ(CreateEvent(nullptr, kEventClassSystem, kMark, 0, kEventAttributeNone, &mark), noErr);
    PostEventToQueue(GetMainEventQueue(), mark, kEventPriorityStandard);
    ReleaseEvent(mark);
    const auto marks = [&kinds] { return std::count(kinds.begin(), kinds.end(), kMark); };
    ASSERT_TRUE(test::RunMainLoopUntil([&, before = marks()] { return marks() > before; }));
  }
}

TEST_P(SessionActivityTest, EachChangeOfTheOwnSessionIsOneEvent) {
  setenv("DISPLAY", ":7.0", 1);
  manager = GetParam().manager;
  manager.changes = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const std::string own = GetParam().own;
  std::vector<UInt32> kinds;
  const EventTypeSpec types[] = {{kEventClassSystem, kEventSystemUserSessionActivated},
                                 {kEventClassSystem, kEventSystemUserSessionDeactivated},
                                 {kEventClassSystem, kMark}};
  const auto note = [](EventHandlerCallRef, EventRef event, void* seen) -> OSStatus {
    static_cast<std::vector<UInt32>*>(seen)->push_back(GetEventKind(event));
    return noErr;
  };
  ASSERT_EQ(InstallApplicationEventHandler(note, std::size(types), types, &kinds, nullptr), noErr);

  for (const bool active : {true, false, false, true}) {
    // The others change to the contrary.
    for (auto& [name, session] : manager.sessions) session.active = name == own ? active : !active;
    eventfd_write(manager.changes, 1);
    Settle(kinds);
  }
  manager.sessions.clear();  // all are over
  eventfd_write(manager.changes, 1);
  Settle(kinds);
  std::erase(kinds, kMark);
  std::vector<UInt32> expected = {kEventSystemUserSessionDeactivated, kEventSystemUserSessionActivated};
  if (own.empty()) expected.clear();
  EXPECT_EQ(kinds, expected);
}

INSTANTIATE_TEST_SUITE_P(
    Sessions, SessionActivityTest,
    testing::Values(
        Case{"ItsOwn", {"c1", "c2", {{"c1", {"", "online", 1}}, {"c2", {":7", "online", 1}}}}, "c1"},
        Case{"TheDisplays", {"", "c1", {{"c1", {":6", "online", 1}}, {"c2", {":7", "online", 1}}}}, "c2"},
        Case{"NotTheOneThatCloses",
             {"",
              "",
              {{"c1", {":7", "online", 1}}, {"c2", {":7", "closing", 1}}, {"c3", {"host:7", "online", 1}}}},
             "c1"},
        Case{"TheUsers", {"", "c1", {{"c1", {"", "online", 1}}, {"c2", {"host:7", "online", 1}}}}, "c1"},
        Case{"NoSession", {}, ""}, Case{"NoneOfIts", {"", "", {{"c1", {":6", "online", 1}}}}, ""}),
    [](const auto& row) { return std::string(row.param.name); });

}  // namespace
