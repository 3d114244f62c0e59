#include "service/dispatch/Launch.h"

#include <asl.h>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "common/KCasl.h"
#include "service/dispatch/Replies.h"

namespace service {

namespace {

// Of one program before others have their turn.
constexpr int kReadsInTurn = 64;

struct PipeEnds {
  platform::UniqueFd readEnd, writeEnd;
};

std::optional<PipeEnds> MakePipe() {
  int ends[2];
  if (pipe(ends) != 0) return std::nullopt;
  for (const int fd : ends) fcntl(fd, F_SETFD, FD_CLOEXEC);
  fcntl(ends[0], F_SETFL, O_NONBLOCK);
  return PipeEnds{platform::UniqueFd(ends[0]), platform::UniqueFd(ends[1])};
}

}  // namespace

Launch::Launch(Endpoint& endpoint, std::string client, Mode mode, bool opened, std::chrono::seconds patience)
    : endpoint_(endpoint),
      client_(std::move(client)),
      mode_(mode),
      opened_(opened),
      patience_(patience),
      text_(mode == Mode::kLines) {}

bool Launch::Begin(platform::ProgramStart program, int null) {
  program.input = program.output = program.error = null;
  platform::UniqueFd writeEnd;
  if (ReadsOutput() && !opened_) {
    std::optional<PipeEnds> ends = MakePipe();
    if (!ends) return false;
    output_ = std::move(ends->readEnd);
    writeEnd = std::move(ends->writeEnd);
    program.output = program.error = writeEnd.Get();
  }
  std::optional<platform::StartingProgram> started = platform::BeginProgram(program);
  if (!started) return false;
  starting_ = std::move(*started);
  path_ = std::move(program.path);
  return true;
}

int Launch::WaitFd() const {
  if (Starting()) return starting_.outcome.Get();
  return Blocked() ? -1 : output_.Get();
}

void Launch::Continue() {
  if (Starting()) Decide();
  for (int reads = 0; pending_.empty() || SendPending();) {
    pending_ = NextReply();
    if (pending_.empty() && (!output_ || ++reads > kReadsInTurn || !ReadOutput())) return;
  }
}

void Launch::Decide() {
  error_ = platform::ProgramOutcome(starting_);
  starting_.outcome.Reset();
  if (error_ == 0) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: started %s as process %ld", path_.c_str(),
              static_cast<long>(starting_.pid));
  } else {
    output_.Reset();
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: cannot start %s: %s", path_.c_str(),
              std::strerror(error_));
  }
  TakeStatus();  // the signal of its end may have come before
}

void Launch::Reap() {
  if (!Starting() && TakeStatus()) Continue();
}

// True when the program has just turned out to have ended.
bool Launch::TakeStatus() {
  int status = 0;
  if (reaped_) return false;
  const pid_t found = waitpid(starting_.pid, &status, WNOHANG);
  if (found == 0) return false;
  reaped_ = true;
  if (found != starting_.pid) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  // Who only started it hears nothing of it any more.
  if (WIFSIGNALED(status))
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: process %ld (%s) was ended by signal %d",
              static_cast<long>(starting_.pid), path_.c_str(), WTERMSIG(status));
  return true;
}

// Empty when there is nothing to say now.
std::string Launch::NextReply() {
  if (answered_ || Starting()) return {};
  if (mode_ != Mode::kStart && error_ == 0 && !announced_) {
    announced_ = true;
    return StartedReply(starting_.pid);
  }
  if (const std::optional<std::string> piece = text_.Next()) return OutputReply(*piece);
  const std::optional<int32_t> result = Result();
  if (!result) return {};
  answered_ = true;
  return ResultReply(*result, error_ == 0 ? starting_.pid : 0);
}

// Nothing while it is not known yet.
std::optional<int32_t> Launch::Result() const {
  if (error_ != 0) return static_cast<int32_t>(opened_ ? ResultCode::kNotOpened : ResultCode::kNotStarted);
  if (mode_ == Mode::kStart || opened_) return 0;
  if (!reaped_ || output_) return std::nullopt;
  return status_;
}

// False when nothing more is there now.
bool Launch::ReadOutput() {
  std::array<char, kReadBytes> bytes;
  ssize_t length = 0;
  do {
    length = read(output_.Get(), bytes.data(), bytes.size());
  } while (length < 0 && errno == EINTR);
  if (length > 0 && (!reaped_ || readsLeft_-- > 0)) {
    if (!clientGone_) text_.Append({bytes.data(), static_cast<size_t>(length)});
    return true;
  }
  // The end of the pipe; or of the program alone, when another process still has the pipe and perhaps goes on
  // writing.
  if (length < 0 && !reaped_) return false;
  output_.Reset();
  text_.Finish();
  return true;
}

bool Launch::SendPending() {
  if (!clientGone_) {
    const Sent sent = endpoint_.Send(client_, pending_);
    if (sent == Sent::kFull) {
      if (!blockedSince_) blockedSince_ = Clock::now();
      if (Clock::now() - *blockedSince_ < patience_) return false;
      ForgetClient("reads nothing");
    }
    if (sent == Sent::kGone) ForgetClient("has gone");
  }
  blockedSince_.reset();
  pending_.clear();
  return true;
}

void Launch::ForgetClient(const char* why) {
  clientGone_ = true;
  ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: who asked for process %ld %s",
            static_cast<long>(starting_.pid), why);
}

}  // namespace service
