#include "common/KCSystemProfile.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "common/KCDebugging.h"
#include "common/KCStringUtils.h"
#include "common/PropertyListFile.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"
#include "platform/Programs.h"
#include "platform/System.h"

namespace {

// A child process that is waited for in the end.
class Child {
 public:
  explicit Child(pid_t pid) : pid_(pid) {}
  ~Child() {
    while (waitpid(pid_, nullptr, 0) < 0 && errno == EINTR) {
    }
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void Kill() const { kill(pid_, SIGKILL); }

 private:
  const pid_t pid_;
};

// Nothing when there is more than anybody's profile.
std::optional<std::vector<UInt8>> ReadAll(int fd) {
  constexpr size_t kMost = 64 << 20;
  std::vector<UInt8> bytes;
  std::array<UInt8, 16384> piece;
  for (;;) {
    const ssize_t got = read(fd, piece.data(), piece.size());
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return bytes;
    bytes.insert(bytes.end(), piece.begin(), piece.begin() + got);
    if (bytes.size() > kMost) return std::nullopt;
  }
}

// All that the program prints; nothing when it cannot be started or does not stop printing.
std::optional<std::vector<UInt8>> OutputOf(const std::string& program, const std::string& dataType) {
  int ends[2];
  if (pipe(ends) != 0) {
    KCSignalIf(true, "KCGetSystemProfilerInfo: pipe: %s\n", std::strerror(errno));
    return std::nullopt;
  }
  const platform::UniqueFd readEnd(ends[0]);
  platform::UniqueFd writeEnd(ends[1]);
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);

  const platform::UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const auto profiler = platform::BeginProgram(
      {.path = program, .arguments = {"-xml", dataType}, .input = nothing.Get(), .output = writeEnd.Get()});
  if (!profiler) return std::nullopt;
  const Child child(profiler->pid);
  writeEnd.Reset();
  if (const int error = platform::ProgramOutcome(*profiler); error != 0) {
    KCSignalIf(true, "KCGetSystemProfilerInfo: cannot start %s: %s\n", program.c_str(), std::strerror(error));
    return std::nullopt;
  }
  auto output = ReadAll(readEnd.Get());
  if (!output) {
    KCSignalIf(true, "KCGetSystemProfilerInfo: %s does not stop printing\n", program.c_str());
    child.Kill();
  }
  return output;
}

// Null when the array is null or empty.
CFTypeRef FirstOf(CFArrayRef array) {
  return array != nullptr && CFArrayGetCount(array) > 0 ? CFArrayGetValueAtIndex(array, 0) : nullptr;
}

// Null when this is no dictionary or the key is no key of it.
CFTypeRef Step(CFTypeRef from, CFTypeRef key) {
  const CFDictionaryRef dictionary = AsDictionary(from);
  return dictionary != nullptr ? CFDictionaryGetValue(dictionary, key) : nullptr;
}

}  // namespace

CFTypeRef KCGetSystemProfilerInfo(CFStringRef dataType, CFArrayRef keyPath) {
  const std::string program = platform::GetSystemFiles().profiler;
  const KCStringHelper type(dataType, kCFStringEncodingUTF8);
  if (program.empty() || type.GetCStringPtr() == nullptr) return nullptr;
  const auto output = OutputOf(program, type.GetCStringPtr());
  if (!output) return nullptr;

  const StCFTypeRef<CFDataRef> data{
      CFDataCreate(kCFAllocatorDefault, output->data(), static_cast<CFIndex>(output->size()))};
  const StCFTypeRef<CFPropertyListRef> profile{
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, nullptr)};
  CFTypeRef value = FirstOf(AsArray(Step(FirstOf(AsArray(profile)), CFSTR("_items"))));
  const CFIndex steps = keyPath != nullptr ? CFArrayGetCount(keyPath) : 0;
  for (CFIndex i = 0; i < steps && value != nullptr; ++i)
    value = Step(value, CFArrayGetValueAtIndex(keyPath, i));
  return value != nullptr ? CFRetain(value) : nullptr;
}
