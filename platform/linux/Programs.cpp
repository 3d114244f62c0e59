// Starting programs: fork, rights, descriptors, exec, and the news of a failure through a pipe.
#include "platform/Programs.h"

#include <fcntl.h>
#include <grp.h>
#include <linux/close_range.h>
#include <pthread.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>
#include <future>
#include <system_error>
#include <thread>
#include <utility>

extern char** environ;

namespace platform {

namespace {

constexpr mode_t kFileModeMask = 022;

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// All that the child needs, laid out before the fork: afterwards it may allocate nothing.
struct Plan {
  explicit Plan(const ProgramStart& program) : start(program), arguments{program.path} {
    arguments.insert(arguments.end(), program.arguments.begin(), program.arguments.end());
    argv = Pointers(arguments);
    if (program.environment) envp = Pointers(*program.environment);
  }

  const ProgramStart& start;
  std::vector<std::string> arguments;
  std::vector<char*> argv, envp;
};

bool PlaceStandardFiles(const ProgramStart& start) {
  // The three may be given in any order, so none is overwritten before it was used.
  const int input = fcntl(start.input, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int output = fcntl(start.output, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = fcntl(start.error, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  return dup2(input, STDIN_FILENO) >= 0 && dup2(output, STDOUT_FILENO) >= 0 &&
         dup2(error, STDERR_FILENO) >= 0;
}

// Groups first: afterwards there is no right to change them.
bool TakeIdentity(const Identity& identity) {
  if (setgroups(identity.groups.size(), identity.groups.data()) != 0 ||
      setresgid(identity.group, identity.group, identity.group) != 0 ||
      setresuid(identity.user, identity.user, identity.user) != 0)
    return false;
  if (identity.user == 0 || (setuid(0) != 0 && seteuid(0) != 0)) return true;
  errno = EPERM;
  return false;
}

void ResetSignals() {
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

// In the child; returns only when it failed, with errno.
void Become(Plan& plan) {
  const ProgramStart& start = plan.start;
  ResetSignals();
  setsid();
  umask(kFileModeMask);
  // Closed by the exec, so that the pipe of the outcome lives until then.
  if (!PlaceStandardFiles(start) || close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) != 0) return;
  if (start.identity && !TakeIdentity(*start.identity)) return;
  if (!start.folder.empty() && chdir(start.folder.c_str()) != 0 && chdir("/") != 0) return;
  execve(start.path.c_str(), plan.argv.data(), start.environment ? plan.envp.data() : environ);
}

// Signals sent to the process are not for threads of this layer.
class SignalsBlocked {
 public:
  SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsBlocked(const SignalsBlocked&) = delete;
  SignalsBlocked& operator=(const SignalsBlocked&) = delete;

 private:
  sigset_t before_;
};

void Reap(pid_t pid) {
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) {
  }
}

// Starts the program, tells `started`, and stays until its end.
void RunTask(const std::string& path, std::promise<bool> started,
             const std::shared_ptr<std::atomic<bool>>& running) {
  const std::optional<StartingProgram> program = BeginProgram({.path = path});
  const bool runs = program && ProgramOutcome(*program) == 0;
  *running = runs;
  started.set_value(runs);
  if (!program) return;
  Reap(program->pid);
  *running = false;
}

std::optional<Account> MakeAccount(
    const std::function<int(passwd* entry, char* buffer, size_t size, passwd** found)>& look) {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (look(&entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return std::nullopt;
  Account account{{entry.pw_uid, entry.pw_gid, {}}, entry.pw_name, entry.pw_dir, entry.pw_shell};

  std::vector<gid_t>& groups = account.identity.groups;
  int count = 32;
  do {
    groups.resize(static_cast<size_t>(count));
  } while (getgrouplist(entry.pw_name, entry.pw_gid, groups.data(), &count) < 0 &&
           static_cast<size_t>(count) > groups.size());
  groups.resize(static_cast<size_t>(count));
  return account;
}

}  // namespace

std::optional<Account> FindAccount(const std::string& name) {
  return MakeAccount([&](passwd* entry, char* buffer, size_t size, passwd** found) {
    return getpwnam_r(name.c_str(), entry, buffer, size, found);
  });
}

std::optional<Account> FindAccount(uid_t user) {
  return MakeAccount([&](passwd* entry, char* buffer, size_t size, passwd** found) {
    return getpwuid_r(user, entry, buffer, size, found);
  });
}

std::optional<StartingProgram> BeginProgram(const ProgramStart& start) {
  Plan plan(start);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return std::nullopt;
  UniqueFd outcome(ends[0]);
  const UniqueFd report(ends[1]);

  const SignalsBlocked blocked;  // the child must not run our handlers
  const pid_t pid = fork();
  if (pid < 0) return std::nullopt;
  if (pid == 0) {
    Become(plan);
    const int error = errno;
    [[maybe_unused]] const ssize_t written = write(report.Get(), &error, sizeof error);
    _exit(127);
  }
  return StartingProgram{pid, std::move(outcome)};
}

int ProgramOutcome(const StartingProgram& program) {
  int error = 0;
  ssize_t length = 0;
  do {
    length = read(program.outcome.Get(), &error, sizeof error);
  } while (length < 0 && errno == EINTR);
  return length == sizeof error ? error : 0;
}

bool Task::Launch(const std::string& path) {
  running_ = std::make_shared<std::atomic<bool>>(false);
  std::promise<bool> started;
  std::future<bool> result = started.get_future();
  try {
    const SignalsBlocked blocked;
    // Detached: it waits for the program, which may outlive this object and this process.
    std::thread(RunTask, path, std::move(started), running_).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return result.get();
}

}  // namespace platform
