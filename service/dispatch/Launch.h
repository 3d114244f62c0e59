// One program that was asked for, from its start to the last word to whoever asked.
#pragma once
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/Handles.h"
#include "platform/Programs.h"
#include "service/dispatch/Endpoint.h"
#include "service/dispatch/LaunchOrder.h"
#include "service/dispatch/OutputText.h"

namespace service {

// Never waits: whoever owns it calls Continue() when WaitFd() is readable, when a child has ended, and now
// and then while Blocked(). What the client has no room for stays in the program's pipe; a client that has
// gone, or that reads nothing for too long, gets no more, and the program's output is then read and dropped.
class Launch {
 public:
  // `opened`: the open tool was asked for; it has done its work when the program runs.
  Launch(Endpoint& endpoint, std::string client, Mode mode, bool opened, std::chrono::seconds patience);

  // Begins to start `program`, of which the standard files are set here; `null` is an open /dev/null. False
  // when there is no room for one more program: nothing has been answered then.
  [[nodiscard]] bool Begin(platform::ProgramStart program, int null);

  void Continue();
  // The program may have ended.
  void Reap();

  // -1: nothing.
  [[nodiscard]] int WaitFd() const;
  [[nodiscard]] bool Blocked() const { return !pending_.empty(); }
  // The program has been reaped and everything said.
  [[nodiscard]] bool Over() const { return reaped_ && answered_ && pending_.empty(); }

 private:
  using Clock = std::chrono::steady_clock;

  static constexpr size_t kReadBytes = 16 << 10;
  // As much as a pipe holds at most: nothing of what the program itself wrote is lost.
  static constexpr int kReadsAfterEnd = (1 << 20) / kReadBytes;

  [[nodiscard]] bool Starting() const { return static_cast<bool>(starting_.outcome); }
  [[nodiscard]] bool ReadsOutput() const { return mode_ == Mode::kStream || mode_ == Mode::kLines; }
  void Decide();
  bool TakeStatus();
  [[nodiscard]] bool ReadOutput();
  [[nodiscard]] std::string NextReply();
  [[nodiscard]] std::optional<int32_t> Result() const;
  // True when `pending_` need not be kept any longer.
  [[nodiscard]] bool SendPending();
  void ForgetClient(const char* why);

  Endpoint& endpoint_;
  const std::string client_;
  const Mode mode_;
  const bool opened_;
  const std::chrono::seconds patience_;
  std::string path_;

  platform::StartingProgram starting_;  // with an outcome until that is known
  int error_ = 0;                       // why the program does not run
  platform::UniqueFd output_;
  OutputText text_;
  bool reaped_ = false;
  int readsLeft_ = kReadsAfterEnd;
  int32_t status_ = 0;  // the program's, once it is reaped

  std::string pending_;  // what the client had no room for
  std::optional<Clock::time_point> blockedSince_;
  bool announced_ = false;
  bool answered_ = false;
  bool clientGone_ = false;
};

}  // namespace service
