// The session manager's answer, and what the session's own processes know of it.
#include "platform/GraphicalSession.h"

#include <systemd/sd-login.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/Handles.h"
#include "platform/System.h"
#include "platform/linux/LocalDisplay.h"
#include "platform/linux/SessionVariables.h"

namespace platform {

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 5> kNames = {"DISPLAY", "XAUTHORITY", "XDG_RUNTIME_DIR",
                                                    "DBUS_SESSION_BUS_ADDRESS", "LANG"};

// Other transports start programs, and a list may hold one of those.
bool IsLocalBus(std::string_view address) {
  return address.starts_with("unix:") && address.find(';') == std::string_view::npos;
}

bool IsSafe(std::string_view name, std::string_view value) {
  if (value.empty()) return false;
  if (name == "DISPLAY") return value.front() == ':';
  if (name == "DBUS_SESSION_BUS_ADDRESS") return IsLocalBus(value);
  if (name == "LANG") return value.find('/') == std::string_view::npos;
  return value.front() == '/';
}

std::string EnvironmentOfProcess(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/environ", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// By its control group; a program that the user's service manager started says so itself.
bool BelongsTo(const std::string& session, pid_t pid, std::string_view environment) {
  char* name = nullptr;
  const int known = sd_pid_get_session(pid, &name);
  const MallocPtr<char> owner(name);
  if (known >= 0) return session == owner.get();
  return (std::string("\0", 1) + std::string(environment))
             .find(std::string("\0XDG_SESSION_ID=", 16) + session + '\0') != std::string::npos;
}

// What the session's leader and the other processes of its user know: of the first one that has a display,
// completed by the others.
Variables VariablesOfProcesses(const std::string& session, uid_t user) {
  Variables best;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc", error)) {
    const std::string name = entry.path().filename();
    pid_t pid = 0;
    if (std::from_chars(name.data(), name.data() + name.size(), pid).ec != std::errc() ||
        ProcessOwner(pid) != user)
      continue;
    const std::string environment = EnvironmentOfProcess(pid);
    if (!BelongsTo(session, pid, environment)) continue;
    Variables found = SessionVariables(environment);
    if (found.contains("DISPLAY") && !best.contains("DISPLAY")) std::swap(best, found);
    best.merge(found);
  }
  return best;
}

void AddIfThere(Variables& variables, const char* name, const std::string& value, const std::string& path) {
  std::error_code error;
  if (fs::exists(path, error)) variables.emplace(name, value);
}

// Empty when the session manager does not know.
template <class Subject>
std::string Told(int (*question)(Subject, char**), Subject subject) {
  char* answer = nullptr;
  const int known = question(subject, &answer);
  const MallocPtr<char> owned(answer);
  return known >= 0 ? owned.get() : "";
}
std::string Ask(int (*question)(const char*, char**), const std::string& session) {
  return Told(question, session.c_str());
}

// Processes may outlive a session, which is then closing, while the next one has the same display.
std::string SessionOfDisplay() {
  const std::optional<int> display = LocalDisplayNumber(nullptr);
  char** list = nullptr;
  if (!display || sd_get_sessions(&list) < 0) return "";
  std::string found;
  for (char** next = list; next != nullptr && *next != nullptr; ++next) {  // no list when there are none
    const MallocPtr<char> owned(*next);
    const std::string name = *next;
    const std::string own = Ask(sd_session_get_display, name);
    if (!own.empty() && LocalDisplayNumber(own.c_str()) == display &&
        Ask(sd_session_get_state, name) != "closing")
      found = name;
  }
  std::free(list);
  return found;
}

}  // namespace

Variables SessionVariables(std::string_view environment) {
  Variables found;
  while (!environment.empty()) {
    const std::string_view line = environment.substr(0, environment.find('\0'));
    environment.remove_prefix(std::min(line.size() + 1, environment.size()));
    const size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (std::find(kNames.begin(), kNames.end(), name) != kNames.end() && IsSafe(name, value))
      found.emplace(name, value);
  }
  return found;
}

std::string OwnSession() {
  constexpr pid_t kThisProcess = 0;
  if (const std::string name = Told(sd_pid_get_session, kThisProcess); !name.empty()) return name;
  const std::string name = SessionOfDisplay();
  return !name.empty() ? name : Told(sd_uid_get_display, getuid());
}

std::optional<GraphicalSession> ActiveGraphicalSession() {
  char* text = nullptr;
  GraphicalSession session;
  const int active = sd_seat_get_active("seat0", &text, &session.user);
  const MallocPtr<char> name(text);
  if (active < 0 || !name) return std::nullopt;
  session.name = name.get();
  session.loginWindow = Ask(sd_session_get_class, session.name) == "greeter";
  return session;
}

std::vector<std::string> EnvironmentOf(const GraphicalSession& session) {
  Variables variables = VariablesOfProcesses(session.name, session.user);
  const std::string display = Ask(sd_session_get_display, session.name);
  if (IsSafe("DISPLAY", display)) variables.emplace("DISPLAY", display);
  const std::string runtime = "/run/user/" + std::to_string(session.user);
  AddIfThere(variables, "XDG_RUNTIME_DIR", runtime, runtime);
  AddIfThere(variables, "DBUS_SESSION_BUS_ADDRESS", "unix:path=" + runtime + "/bus", runtime + "/bus");
  std::vector<std::string> environment;
  for (const auto& [variable, value] : variables) environment.push_back(variable + "=" + value);
  return environment;
}

}  // namespace platform
