#include "service/remote/UserNotice.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

// Some versions of this header forget that C++ programs include it.
extern "C" {
#include <sys/pidfd.h>
}

#include "common/KCDispatch.h"
#include "common/KCFolderManager.h"
#include "common/LaunchRequest.h"
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

const std::string kPipePrefix = "question-";

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
int WaitForEnd(pid_t pid, std::chrono::milliseconds limit) {
  const platform::UniqueFd process(pidfd_open(pid, 0));
  pollfd entry{process.Get(), POLLIN, 0};
  const auto deadline = std::chrono::steady_clock::now() + limit;
  int ready = 0;
  do {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    ready = poll(&entry, 1, static_cast<int>(std::max(left, 0ms).count()));
  } while (ready < 0 && errno == EINTR);
  if (ready != 1) kill(pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs it to its end, which it comes to by itself within that time.
int Run(const std::vector<std::string>& arguments, std::chrono::milliseconds time) {
  if (ThroughDispatcher()) return KCLaunchAndWait(CommandLine(arguments).c_str(), kKVLaunchContextUsr);
  const auto program = platform::BeginProgram({.path = Program(), .arguments = arguments});
  return program ? WaitForEnd(program->pid, time + kGrace) : kNotStarted;
}

// A named pipe that the user's program can see the end of: of this object, or of this process. The dispatcher
// starts programs and ends none, and in its user's session the program is nobody's child here.
class OpenPipe {
 public:
  OpenPipe() : path_(Folder() / (kPipePrefix + CreateGUID().get())) {
    RemoveLeftovers();
    // For reading as well, so that it waits for no reader.
    if (mkfifo(path_.c_str(), 0600) == 0) fd_.Reset(open(path_.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    if (!fd_ || fchmod(fd_.Get(), 0644) != 0)
      Audit("cannot make the named pipe %s: %s", path_.c_str(), std::strerror(errno));
  }
  ~OpenPipe() { Close(); }
  OpenPipe(const OpenPipe&) = delete;
  OpenPipe& operator=(const OpenPipe&) = delete;

  // Empty when it could not be made, which has been logged.
  [[nodiscard]] std::string Path() const { return fd_ ? path_ : std::string(); }

  // First its name, so that who opens it sees its end.
  void Close() {
    if (!fd_) return;
    unlink(path_.c_str());
    fd_.Reset();
  }

 private:
  static std::filesystem::path Folder() {
    return std::filesystem::path(FetchFolder(kFolderScreenIPCSocket)).parent_path();
  }

  // What a service that was killed has left behind: nobody has it open for reading.
  static void RemoveLeftovers() {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(Folder(), error)) {
      if (!entry.path().filename().string().starts_with(kPipePrefix)) continue;
      const platform::UniqueFd reached(
          open(entry.path().c_str(), O_WRONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC));
      if (!reached && errno == ENXIO) unlink(entry.path().c_str());
    }
  }

  const std::string path_;
  platform::UniqueFd fd_;
};

}  // namespace

struct UserNotice::Question {
  explicit Question(std::function<void(Answer)> callback) : answered(std::move(callback)) {}

  Lock lock;
  std::function<void(Answer)> answered GUARDED_BY(lock);  // null: taken back
  OpenPipe pipe GUARDED_BY(lock);
};

UserNotice::~UserNotice() { TakeBack(); }

void UserNotice::Show(const std::string& text) {
  // Detached: it ends by itself, with what it has shown.
  std::thread([arguments = Arguments("--notice", text, kNoticeTime)] {
    static_cast<void>(Run(arguments, kNoticeTime));
  }).detach();
}

void UserNotice::Ask(const std::string& text, std::chrono::milliseconds limit,
                     std::function<void(Answer)> answered) {
  TakeBack();
  question_ = std::make_shared<Question>(std::move(answered));
  std::string pipe;
  {
    const Locked locked(question_->lock);
    pipe = question_->pipe.Path();
  }
  // Detached: the dispatcher's reply cannot be waited for in any other way than to its end.
  std::thread([question = question_, text, limit, pipe] {
    std::vector<std::string> arguments =
        Arguments("--ask", text, std::chrono::ceil<std::chrono::seconds>(limit));
    arguments.insert(arguments.end(), {"--while-open", pipe});
    const int status = pipe.empty() ? kNotStarted : Run(arguments, limit);
    const Locked locked(question->lock);
    question->pipe.Close();
    if (question->answered) question->answered(Meaning(status));
  }).detach();
}

void UserNotice::TakeBack() {
  if (!question_) return;
  {
    const Locked locked(question_->lock);
    question_->answered = nullptr;
    question_->pipe.Close();
  }
  question_.reset();
}

}  // namespace remote
