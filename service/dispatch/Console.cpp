#include "service/dispatch/Console.h"

#include <SystemConfiguration/SystemConfiguration.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"

namespace service {

namespace {

constexpr uid_t kRoot = 0;

void Add(std::vector<std::string>& variables, const char* name, const std::string& value) {
  if (!value.empty()) variables.push_back(std::string(name) + "=" + value);
}

std::string OwnVariable(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

const std::string& FirstOf(const std::string& given, const std::string& otherwise) {
  return given.empty() ? otherwise : given;
}

std::string IfThere(const std::string& path, const std::string& value) {
  return access(path.c_str(), F_OK) == 0 ? value : "";
}

bool Names(const std::vector<std::string>& variables, std::string_view name) {
  return std::any_of(variables.begin(), variables.end(), [&](const std::string& variable) {
    return variable.starts_with(name) && variable.substr(name.size(), 1) == "=";
  });
}

// What keeps programs of one installation together when this one was started apart from others.
void AddInstallation(std::vector<std::string>& environment) {
  for (const char* name : {"KORVANE_PREFERENCES_DIR", "KORVANE_PORTS_DIR"})
    Add(environment, name, OwnVariable(name));
  if (isStandALone()) Add(environment, "TMPDIR", OwnVariable("TMPDIR"));
}

std::vector<std::string> EnvironmentOf(const platform::Account& account,
                                       std::vector<std::string> environment) {
  Add(environment, "HOME", account.home);
  Add(environment, "USER", account.name);
  Add(environment, "LOGNAME", account.name);
  Add(environment, "SHELL", FirstOf(account.shell, "/bin/sh"));
  Add(environment, "PATH",
      account.identity.user == kRoot ? "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin"
                                     : "/usr/local/bin:/usr/bin:/bin");
  if (!Names(environment, "LANG")) Add(environment, "LANG", FirstOf(OwnVariable("LANG"), "C.UTF-8"));
  AddInstallation(environment);
  return environment;
}

}  // namespace

Console::Console(const Options& options) : options_(options), root_(geteuid() == kRoot) { Refresh(); }

std::string Console::Problem() const {
  if (options_.user.empty()) return {};
  const std::optional<platform::Account> account = platform::FindAccount(options_.user);
  if (!account) return "there is no user " + options_.user;
  if (!root_ && account->identity.user != geteuid()) return "only root can start programs as another user";
  return {};
}

void Console::Refresh() {
  const bool given = !options_.user.empty() || !options_.display.empty() || !options_.xauthority.empty() ||
                     !options_.runtimeFolder.empty() || !options_.busAddress.empty();
  session_ = !root_ || given ? GivenSession() : FoundSession();
}

std::optional<uid_t> Console::User() const {
  if (!session_ || session_->loginWindow) return std::nullopt;
  return session_->user;
}

// As the options have it; a dispatcher without root's rights serves its own user, in its own session.
std::optional<Console::Session> Console::GivenSession() const {
  Session session{geteuid(), false, {}, {}};
  if (!options_.user.empty()) {
    const std::optional<platform::Account> account = platform::FindAccount(options_.user);
    if (!account) return std::nullopt;
    session.user = account->identity.user;
  } else if (root_) {
    const std::optional<Session> found = FoundSession();
    if (!found) return std::nullopt;
    session.user = found->user;
    session.loginWindow = found->loginWindow;
  }
  const std::string runtime = "/run/user/" + std::to_string(session.user);
  Add(session.variables, "DISPLAY", FirstOf(options_.display, OwnVariable("DISPLAY")));
  Add(session.variables, "XAUTHORITY", FirstOf(options_.xauthority, OwnVariable("XAUTHORITY")));
  Add(session.variables, "XDG_RUNTIME_DIR", FirstOf(options_.runtimeFolder, IfThere(runtime, runtime)));
  Add(session.variables, "DBUS_SESSION_BUS_ADDRESS",
      FirstOf(options_.busAddress, IfThere(runtime + "/bus", "unix:path=" + runtime + "/bus")));
  return session;
}

// As the session manager has it, else the owner of the server of this program's own display.
std::optional<Console::Session> Console::FoundSession() const {
  if (std::optional<platform::GraphicalSession> found = platform::ActiveGraphicalSession())
    return Session{found->user, found->loginWindow, std::move(found), {}};
  Session session;
  const StCFTypeRef<CFStringRef> user(SCDynamicStoreCopyConsoleUser(nullptr, &session.user, nullptr));
  if (user.get() == nullptr) return std::nullopt;
  for (const char* name : {"DISPLAY", "XAUTHORITY"}) Add(session.variables, name, OwnVariable(name));
  return session;
}

std::variant<Surroundings, ResultCode> Console::For(KVLaunchContext context) const {
  if (!root_ && context != kKVLaunchContextUsr) return ResultCode::kNotAllowed;
  // The login window's context takes whatever session the console shows: that is the login window's, or
  // nobody can tell whose it is.
  const bool needsUser = context == kKVLaunchContextUsr || context == kKVLaunchContextSusr;
  if ((needsUser && !User()) || (context == kKVLaunchContextLogin && !session_))
    return ResultCode::kNoSession;
  const std::optional<platform::Account> account =
      platform::FindAccount(context == kKVLaunchContextUsr ? session_->user : kRoot);
  if (!account) return ResultCode::kNoSession;

  Surroundings surroundings;
  if (root_) surroundings.identity = account->identity;
  std::vector<std::string> session;
  if (context != kKVLaunchContextSys)
    session = session_->managed ? platform::EnvironmentOf(*session_->managed) : session_->variables;
  surroundings.environment = EnvironmentOf(*account, std::move(session));
  surroundings.folder = account->home;
  return surroundings;
}

}  // namespace service
