#include "platform/x11/Session.h"

#include <poll.h>
#include <sys/socket.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>

#include "platform/System.h"
#include "platform/linux/Ending.h"
#include "platform/x11/QuietThread.h"

namespace platform::x11 {
namespace {

constexpr auto kOpenLimit = std::chrono::seconds(5);
// What exit handlers get for their last requests to a server that answers: there are keys to release and a
// screen to light, perhaps after a wait of a second or two for one of the process's threads.
constexpr int kEndingGraceMs = 3000;

bool IsEnding() {
  pollfd ending{EndingFd(), POLLIN, 0};
  return poll(&ending, 1, 0) > 0;
}

}  // namespace

// Shared by the caller, who may give up, and the thread that connects.
struct Session::Opening {
  std::string display;
  xcb_connection_t* connection = nullptr;
  int screen = 0;
  bool done = false;
  bool abandoned = false;
};

Session& Session::Instance() {
  static Session* const instance = new Session;
  return *instance;
}

xcb_connection_t* Session::Open(int& screen) {
  const auto deadline = std::chrono::steady_clock::now() + kOpenLimit;
  const char* const display = std::getenv("DISPLAY");

  const Locked locked(lock_);
  if (!watched_) {
    watched_ = StartQuietThread(
        "x11 ending", [](void* self) { static_cast<Session*>(self)->WatchEnding(); }, this);
  }
  while (opening_) {
    if (Over() || !changed_.WaitUntil(lock_, deadline)) return nullptr;
  }
  if (Over() || !watched_) return nullptr;

  const auto opening = std::make_shared<Opening>();
  opening->display = display == nullptr ? "" : display;
  opening_ = opening;
  // Detached: an attempt that hangs cannot be ended by anybody but the server.
  const bool started = StartQuietThread(
      "x11 connecting",
      [](void* self) {
        auto& session = *static_cast<Session*>(self);
        std::shared_ptr<Opening> mine;
        {
          const Locked inner(session.lock_);
          mine = session.opening_;
        }
        session.RunOpening(mine);
      },
      this);
  if (!started) {
    opening_.reset();
    return nullptr;
  }
  if (!WaitForOpeningLocked(*opening, deadline)) {
    opening->abandoned = true;
    openError_ = 0;
    return nullptr;
  }
  if (opening->connection == nullptr) return nullptr;
  screen = opening->screen;
  return opening->connection;
}

bool Session::WaitForOpeningLocked(const Opening& opening, std::chrono::steady_clock::time_point deadline) {
  while (!opening.done) {
    if (Over() || !changed_.WaitUntil(lock_, deadline)) return opening.done;
  }
  return true;
}

void Session::RunOpening(const std::shared_ptr<Opening>& opening) {
  xcb_connection_t* connection =
      xcb_connect(opening->display.empty() ? nullptr : opening->display.c_str(), &opening->screen);
  const int error = xcb_connection_has_error(connection);

  const Locked locked(lock_);
  if (error != 0 || opening->abandoned || Over()) {
    xcb_disconnect(connection);
    connection = nullptr;
  } else {
    connections_.push_back(connection);
    display_ = opening->display;
  }
  if (!opening->abandoned) openError_ = error;
  opening->connection = connection;
  opening->done = true;
  opening_.reset();
  changed_.NotifyAll();
}

void Session::Close(xcb_connection_t* connection) {
  {
    const Locked locked(lock_);
    std::erase(connections_, connection);
  }
  xcb_disconnect(connection);
}

int Session::OpenError() {
  const Locked locked(lock_);
  return openError_;
}

void Session::Lost() {
  std::string loss;
  {
    const Locked locked(lock_);
    if (Over()) return;
    // Before the cut, which wakes those who ask for it.
    if (!IsEnding()) loss_ = "the X server of display " + display_ + " has gone away";
    loss = loss_;
    CutLocked();
  }
  if (!loss.empty()) ConsoleLog("%s: the session is over", loss.c_str());
}

std::string Session::Loss() {
  const Locked locked(lock_);
  return loss_;
}

void Session::WatchEnding() {
  pollfd ending{EndingFd(), POLLIN, 0};
  while (poll(&ending, 1, -1) <= 0) {
  }
  poll(nullptr, 0, kEndingGraceMs);
  const Locked locked(lock_);
  CutLocked();
}

void Session::CutLocked() {
  over_.store(true, std::memory_order_release);
  for (xcb_connection_t* const connection : connections_) {
    shutdown(xcb_get_file_descriptor(connection), SHUT_RDWR);
  }
  changed_.NotifyAll();
}

}  // namespace platform::x11

std::string platform::SessionLoss() { return x11::Session::Instance().Loss(); }
