// Other processes, as /proc shows them.
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/System.h"

namespace platform {

namespace {

constexpr size_t kKernelNameSize = 15;
constexpr size_t kShortNameSize = 16;

std::string ProcPath(pid_t pid, const char* entry) { return "/proc/" + std::to_string(pid) + "/" + entry; }

// Empty when it cannot be read. These files are short and made whole at each read.
std::string ReadFile(const std::string& path) {
  struct Closer {
    void operator()(FILE* file) const { std::fclose(file); }
  };
  const std::unique_ptr<FILE, Closer> file(std::fopen(path.c_str(), "re"));
  if (!file) return {};
  std::array<char, 8192> buffer;
  return {buffer.data(), std::fread(buffer.data(), 1, buffer.size(), file.get())};
}

// The first number after "KEY:" at the start of a line.
std::optional<long> StatusField(const std::string& status, const std::string& key) {
  const size_t found = status.find("\n" + key + ":");
  if (found == std::string::npos) return std::nullopt;
  return std::strtol(status.c_str() + found + key.size() + 2, nullptr, 10);
}

// The status of a process; threads answer under their own numbers too and are none. Empty when there is none.
std::string ReadStatus(pid_t pid) {
  if (pid <= 0) return {};
  std::string status = ReadFile(ProcPath(pid, "status"));
  if (StatusField(status, "Tgid") != pid) status.clear();
  return status;
}

// The file name of the process's executable; empty when it may not be told.
std::string ExecutableName(pid_t pid) {
  std::array<char, 4096> target;
  const ssize_t length = readlink(ProcPath(pid, "exe").c_str(), target.data(), target.size());
  if (length <= 0) return {};
  std::string_view path(target.data(), static_cast<size_t>(length));
  constexpr std::string_view kDeleted = " (deleted)";
  if (path.ends_with(kDeleted)) path.remove_suffix(kDeleted.size());
  return std::string(path.substr(path.rfind('/') + 1));
}

}  // namespace

std::optional<std::string> ProcessShortName(pid_t pid) {
  if (ReadStatus(pid).empty()) return std::nullopt;
  std::string name = ReadFile(ProcPath(pid, "comm"));
  if (name.empty()) return std::nullopt;  // it ended meanwhile
  name.pop_back();                        // the newline
  if (name.size() < kKernelNameSize) return name;

  // Only a longer form of the same name: a script's executable is its interpreter.
  const std::string executable = ExecutableName(pid);
  return executable.starts_with(name) ? executable.substr(0, kShortNameSize) : name;
}

std::optional<uid_t> ProcessOwner(pid_t pid) {
  const std::optional<long> owner = StatusField(ReadStatus(pid), "Uid");
  if (!owner) return std::nullopt;
  return static_cast<uid_t>(*owner);
}

}  // namespace platform
