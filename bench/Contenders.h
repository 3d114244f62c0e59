// The observer and the smallest loop that could do its work, both as processes of their own that a client
// asks in the same way.
#pragma once
#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>

#include "platform/Handles.h"
#include "tests/support/ObserverProcess.h"
#include "tools/View.h"

namespace bench {

// A client's end of a screen connection. One thread.
class ScreenSocket {
 public:
  ScreenSocket() = default;
  explicit ScreenSocket(platform::UniqueFd socket) : socket_(std::move(socket)) {}

  // Sends a request and reads the answer; true when it carries a change, or a new screen. Ends the program
  // when the connection is lost: there is nothing left to measure.
  bool Ask();
  // Bytes until the peer has nothing more to say at once.
  void ReadReady();

 private:
  platform::UniqueFd socket_;
  std::array<uint32_t, 202> answer_{};
};

// Forks at once, so it is made before anything starts a thread.
class SmallestLoopProcess {
 public:
  SmallestLoopProcess();
  ~SmallestLoopProcess();
  SmallestLoopProcess(const SmallestLoopProcess&) = delete;
  SmallestLoopProcess& operator=(const SmallestLoopProcess&) = delete;

  [[nodiscard]] pid_t Pid() const { return pid_; }
  ScreenSocket screen;

 private:
  pid_t pid_ = -1;
};

// A running observer with a running view.
class ObservedDesktop {
 public:
  ObservedDesktop();
  ~ObservedDesktop();

  // The observer's screen socket is connected from here on, or again.
  void Connect();
  void Disconnect() { screen = ScreenSocket(); }
  [[nodiscard]] pid_t Pid() const { return process_.Pid(); }
  ScreenSocket screen;

 private:
  test::ObserverProcess process_;
  std::optional<tools::View> view_;
};

}  // namespace bench
