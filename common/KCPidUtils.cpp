#include "common/KCPidUtils.h"

#include <SystemConfiguration/SystemConfiguration.h>
#include <fcntl.h>
#include <pwd.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "common/KCDebugging.h"
#include "common/KCFolderManager.h"
#include "common/KCStringUtils.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"
#include "platform/System.h"

namespace {

constexpr size_t kPathSize = 256;
using Path = std::array<char, kPathSize>;

// "FOLDER/KEY.pid", cut to what the buffer holds.
Path PidFilePath(const char* folder, const char* key) {
  Path path{};
  const std::string whole = std::string(folder) + "/" + key + ".pid";
  whole.copy(path.data(), path.size() - 1);
  return path;
}

const char* FolderOrDefault(const char* folder) {
  return folder != nullptr ? folder : FetchFolder(kFolderPids);
}

std::array<char, PATH_MAX> UserFolder(CFStringRef user) {
  std::array<char, PATH_MAX> folder;
  KCCreateFileDirectoryWithConsoleUser(user, folder.data(), folder.size());
  return folder;
}

// Makes the folder, not those above it; all users' programs keep their files there.
void MakePidFolder(const char* folder) {
  constexpr mode_t kAllBits = 07777;
  if (mkdir(folder, kAllBits & 0777) != 0) return;
  const platform::UniqueFd made(open(folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (made) fchmod(made.Get(), kAllBits);
}

// Every user may put a name into the folder, so a link is not followed and a FIFO does not block.
constexpr int kPidFileFlags = O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;

void WritePidFile(const char* path, pid_t pid) {
  constexpr mode_t kEverybody = 0666;
  platform::UniqueFd file(open(path, O_WRONLY | O_CREAT | O_EXCL | kPidFileFlags, kEverybody));
  if (file) {
    fchmod(file.Get(), kEverybody);
  } else {
    file.Reset(open(path, O_WRONLY | O_TRUNC | kPidFileFlags));
  }
  if (!file) return;
  const std::string text = std::to_string(pid);
  const ssize_t written = write(file.Get(), text.data(), text.size());
  KCSignalIf(written != static_cast<ssize_t>(text.size()), "KCPutProcessPIDInFile: cannot write %s: %s\n",
             path, std::strerror(errno));
}

// The first number of the file; 0 when there is none, or when it is no PID.
pid_t ReadPidFile(const char* path) {
  const platform::UniqueFd file(open(path, O_RDONLY | kPidFileFlags));
  if (!file) return 0;
  char text[64];
  const ssize_t length = read(file.Get(), text, sizeof text - 1);
  if (length <= 0) return 0;
  text[length] = '\0';
  errno = 0;
  const long number = std::strtol(text, nullptr, 10);
  if (errno != 0 || number < INT_MIN || number > INT_MAX) return 0;
  return static_cast<pid_t>(number);
}

// The launcher daemon waits only until its child has recorded itself.
void EndLauncherDaemon() {
  const pid_t parent = getppid();
  if (KCVerifyPIDForKeyFile(parent, "kvdaemon")) KCSignalProcessByPid(parent, SIGTERM);
}

struct PipeCloser {
  void operator()(FILE* stream) const { pclose(stream); }
};

bool IsPlainName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
           c == '_' || c == '-';
  });
}

}  // namespace

void KCPutProcessPIDInFile(const char* folder, const char* key) {
  MakePidFolder(folder);
  WritePidFile(PidFilePath(folder, key).data(), getpid());
  EndLauncherDaemon();
}

void KCPutPIDForKeyToFile(const char* key, const char* folder) {
  KCPutProcessPIDInFile(FolderOrDefault(folder), key);
}

void KCPutPIDForKeyToFileWithConsoleUser(const char* key, CFStringRef user) {
  KCPutProcessPIDInFile(UserFolder(user).data(), key);
}

pid_t KCGetProcessPIDInFile(const char* folder, const char* key, const char* expectedName) {
  // The file of a process that is gone, or whose number another one has now, reads as 0 and stays as it is:
  // it is opened for reading only.
  const pid_t pid = ReadPidFile(PidFilePath(folder, key).data());
  return pid != 0 && KCVerifyPIDForKeyFile(pid, expectedName) ? pid : 0;
}

pid_t KCGetPIDForKeyFromFile(const char* key, const char* folder) {
  return KCGetProcessPIDInFile(FolderOrDefault(folder), key, key);
}

pid_t KCGetPIDForKeyFromFileWithConsoleUser(const char* key, CFStringRef user) {
  return KCGetProcessPIDInFile(UserFolder(user).data(), key, key);
}

int KCDeletePIDForKeyFile(const char* key, const char* folder) {
  return unlink(PidFilePath(FolderOrDefault(folder), key).data());
}

int KCDeletePIDForKeyFileWithConsoleUser(const char* key, CFStringRef user) {
  return unlink(PidFilePath(UserFolder(user).data(), key).data());
}

bool KCVerifyPIDForKeyFile(pid_t pid, const char* expectedName) {
  char name[kKCProcessNameSize];
  return KCGetProcessNameForPID(pid, name) != nullptr &&
         std::strncmp(name, expectedName, kKCProcessNameSize - 1) == 0;
}

void KCCreateFileDirectoryWithConsoleUser(CFStringRef user, char* buffer, size_t size) {
  buffer[0] = '\0';
  const StCFTypeRef<CFStringRef> consoleUser{user == nullptr ? KCCopyConsoleUser() : nullptr};
  char name[256];
  KCStringGetCString(user != nullptr ? user : consoleUser.get(), name, sizeof name,
                     CFStringGetSystemEncoding());
  const std::string path = std::string(FetchFolder(kFolderPids)) + "/" + name;
  buffer[path.copy(buffer, size - 1)] = '\0';
}

char* KCGetProcessNameForPID(pid_t pid, char* name) {
  name[0] = '\0';
  const std::optional<std::string> found = platform::ProcessShortName(pid);
  if (!found) return nullptr;
  name[found->copy(name, kKCProcessNameSize - 1)] = '\0';
  return name;
}

const char* KCGetUserNameForPID(pid_t pid) {
  const std::optional<uid_t> owner = platform::ProcessOwner(pid);
  if (!owner) return nullptr;
  const passwd* account = getpwuid(*owner);
  return account != nullptr ? account->pw_gecos : nullptr;
}

pid_t KCGetPIDForKey(const char* name) {
  if (!IsPlainName(name)) {  // the name becomes part of a shell command
    KCSignalIf(true, "KCGetPIDForKey: not the name of a process: '%s'\n", name);
    return 0;
  }
  std::fflush(nullptr);
  const std::string command = "/bin/ps -axw | /usr/bin/grep -i " + std::string(name) +
                              " | /usr/bin/grep -i -v  \"grep.-i.$1\" | /usr/bin/awk '{print $1}'";
  const std::unique_ptr<FILE, PipeCloser> lines(popen(command.c_str(), "r"));
  if (!lines) return 0;
  char line[256] = {};
  while (line[0] == '\0' && std::fgets(line, sizeof line, lines.get()) != nullptr) {
  }
  return 0;
}

bool KCSignalProcessByPid(pid_t pid, int signal) {
  // Numbers below 1 would reach whole groups of processes.
  const int error = pid < 1 ? ESRCH : kill(pid, signal) != 0 ? errno : 0;
  KCSignalIf(error != 0, "KCSignalProcessByPid(%ld, %ld) err=%ld\n", static_cast<long>(pid),
             static_cast<long>(signal), static_cast<long>(error));
  return error == 0;
}

bool KCSignalProcessByName(const char* key, int signal) {
  const pid_t pid = KCGetPIDForKeyFromFile(key, nullptr);
  return pid != 0 && KCSignalProcessByPid(pid, signal);
}

bool KCSignalProcessByNameWithConsoleUser(const char* key, CFStringRef user, int signal) {
  const pid_t pid = KCGetPIDForKeyFromFileWithConsoleUser(key, user);
  return pid != 0 && KCSignalProcessByPid(pid, signal);
}

CFStringRef KCCopyConsoleUser() {
  if (const CFStringRef user = SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr)) return user;
  return static_cast<CFStringRef>(CFRetain(CFSTR("loginwindow")));
}

CFStringRef KCCopySessionUser() { return nullptr; }

bool KCIsNetBooted() {
  if (platform::NetBootFlag()) return true;
  const char* provisioning = std::getenv("KORVANE_PROVISIONING_NETBOOTED");
  return provisioning != nullptr && strcasecmp(provisioning, "TRUE") == 0;
}
