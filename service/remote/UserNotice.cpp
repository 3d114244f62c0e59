#include "service/remote/UserNotice.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

// Some versions of this header forget that C++ programs include it.
extern "C" {
#include <sys/pidfd.h>
}

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "platform/Handles.h"
#include "platform/Programs.h"
#include "platform/System.h"
#include "platform/ThreadSafety.h"
#include "service/remote/Audit.h"

namespace remote {
namespace {

using Answer = UserNotice::Answer;
using namespace std::chrono_literals;

constexpr auto kNoticeTime = 6s;
// What the program may take longer than it was told.
constexpr std::chrono::milliseconds kGrace = 5s;

// In place of an exit status.
constexpr int kNotStarted = -1;

bool ThroughDispatcher() { return getuid() == 0 && !isStandALone(); }

// The installation's, else the one beside this program.
std::string Program() {
  std::string installed = FetchFolder(kFolderNotifyTool);
  if (access(installed.c_str(), X_OK) == 0) return installed;
  return std::filesystem::path(platform::ExecutablePath()).parent_path() / "kvnotify";
}

std::vector<std::string> Arguments(const char* what, const std::string& text, std::chrono::seconds time) {
  return {what, text, "--seconds", std::to_string(time.count())};
}

// For the dispatcher, which splits at blanks.
std::string CommandLine(const std::vector<std::string>& arguments) {
  std::string line = "\"" + Program() + "\"";
  for (std::string argument : arguments) {
    std::erase_if(argument, [](char c) { return c == '"' || c == '\\'; });
    line += " \"" + argument + "\"";
  }
  return line;
}

Answer Meaning(int status) {
  switch (status) {
    case 0:
      return Answer::kAllowed;
    case 1:
      return Answer::kRefused;
    case 3:
      return Answer::kNobody;
    case kNotStarted:
      Audit("the user could not be asked: %s could not be started", Program().c_str());
      return Answer::kNotAsked;
    default:
      Audit("the user could not be asked: %s ended with %d", Program().c_str(), status);
      return Answer::kNotAsked;
  }
}

// The exit status, or 128 and the signal; the program is killed when it has not ended by then.
int WaitForEnd(pid_t pid, int process, std::chrono::milliseconds limit) {
  pollfd entry{process, POLLIN, 0};
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int ready = 0;
  do {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    ready = poll(&entry, 1, static_cast<int>(std::max(left, 0ms).count()));
  } while (ready < 0 && errno == EINTR);
  if (ready != 1) pidfd_send_signal(process, SIGKILL, nullptr, 0);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

struct UserNotice::Question {
  Question(std::string asked, std::chrono::milliseconds time, std::function<void(Answer)> callback)
      : text(std::move(asked)), limit(time), answered(std::move(callback)) {}

  const std::string text;
  const std::chrono::milliseconds limit;
  Lock lock;
  std::function<void(Answer)> answered GUARDED_BY(lock);  // null: taken back
  platform::UniqueFd process GUARDED_BY(lock);            // of the program, when it is a child
};

UserNotice::~UserNotice() { TakeBack(); }

void UserNotice::Show(const std::string& text) {
  const std::vector<std::string> arguments = Arguments("--notice", text, kNoticeTime);
  // Detached: it ends by itself, with what it has shown.
  std::thread([arguments] {
    if (ThroughDispatcher()) {
      KCLaunch(CommandLine(arguments).c_str(), kKVLaunchContextUsr);
      return;
    }
    const auto program = platform::BeginProgram({.path = Program(), .arguments = arguments});
    if (!program) return;
    const platform::UniqueFd process(pidfd_open(program->pid, 0));
    WaitForEnd(program->pid, process.Get(), kNoticeTime + kGrace);
  }).detach();
}

void UserNotice::Ask(const std::string& text, std::chrono::milliseconds limit,
                     std::function<void(Answer)> answered) {
  TakeBack();
  question_ = std::make_shared<Question>(text, limit, std::move(answered));
  // Detached: the dispatcher's reply cannot be waited for in any other way than to its end.
  std::thread([question = question_] { Run(question); }).detach();
}

void UserNotice::TakeBack() {
  if (!question_) return;
  {
    const Locked locked(question_->lock);
    question_->answered = nullptr;
    if (question_->process) pidfd_send_signal(question_->process.Get(), SIGKILL, nullptr, 0);
  }
  question_.reset();
}

void UserNotice::Run(const std::shared_ptr<Question>& question) {
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(question->limit);
  const std::vector<std::string> arguments = Arguments("--ask", question->text, seconds);
  int status = kNotStarted;
  if (ThroughDispatcher()) {
    status = KCLaunchAndWait(CommandLine(arguments).c_str(), kKVLaunchContextUsr);
  } else {
    std::optional<platform::StartingProgram> program;
    int process = -1;
    {
      const Locked locked(question->lock);
      if (!question->answered) return;
      program = platform::BeginProgram({.path = Program(), .arguments = arguments});
      if (program) question->process.Reset(pidfd_open(program->pid, 0));
      process = question->process.Get();
    }
    if (program) status = WaitForEnd(program->pid, process, question->limit + kGrace);
  }
  const Locked locked(question->lock);
  if (question->answered) question->answered(Meaning(status));
}

}  // namespace remote
