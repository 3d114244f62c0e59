#include "common/KCasl.h"

#include <CoreFoundation/CoreFoundation.h>
#include <asl.h>
#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>

#include "common/KCFolderManager.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"
#include "platform/ThreadSafety.h"

namespace {

constexpr uint32_t kDebugBit = 1U << ASL_LEVEL_DEBUG;

std::atomic<bool> gwriteToStdErr = true;
std::atomic<bool> gsetDebug = false;
std::atomic<uint32_t> gFilterMask = 0x4F;

Lock gLogFileLock;
char glogFile[512] GUARDED_BY(gLogFileLock) = "";

struct ClientCloser {
  void operator()(aslclient client) const { asl_close(client); }
};
using Client = std::unique_ptr<std::remove_pointer_t<aslclient>, ClientCloser>;

struct MessageFreer {
  void operator()(aslmsg message) const { asl_free(message); }
};
using Message = std::unique_ptr<std::remove_pointer_t<aslmsg>, MessageFreer>;

uint32_t EffectiveMask() { return gFilterMask | (gsetDebug ? kDebugBit : 0); }

bool IsLogged(int level, uint32_t mask) {
  return level >= ASL_LEVEL_EMERG && level <= ASL_LEVEL_DEBUG && (mask & ((1U << level) | kDebugBit)) != 0;
}

std::string LogFilePath() {
  {
    const Locked locked(gLogFileLock);
    if (glogFile[0] != '\0') return glogFile;
  }
  return FetchFolder(kFolderLogFile);
}

// The log file of one message. Descriptor 0 is what counts as a failure to open it, and such a descriptor is
// not closed either; -1 goes to the log client like any other, which refuses it without harm.
class LogFile {
 public:
  explicit LogFile(const std::string& path)
      : fd_(open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644)) {}
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;
  ~LogFile() {
    if (fd_ > 0) close(fd_);
  }

  void AddTo(aslclient client) const {
    if (fd_ != 0) asl_add_log_file(client, fd_);
  }

 private:
  int fd_;
};

platform::MallocPtr<char> CopyWithoutLastNewline(const char* format) {
  platform::MallocPtr<char> copy(strdup(format));
  if (!copy) return copy;
  const size_t length = std::strlen(copy.get());
  if (length > 0 && copy.get()[length - 1] == '\n') copy.get()[length - 1] = '\0';
  return copy;
}

// Null when the format is not UTF-8 or memory is short.
platform::MallocPtr<char> FormatText(const char* format, va_list arguments) {
  const StCFTypeRef<CFStringRef> formatString{
      CFStringCreateWithCString(kCFAllocatorDefault, format, kCFStringEncodingUTF8)};
  if (formatString == nullptr) return nullptr;
  const StCFTypeRef<CFStringRef> text{
      CFStringCreateWithFormatAndArguments(kCFAllocatorDefault, nullptr, formatString, arguments)};
  if (text == nullptr) return nullptr;

  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8) + 1;
  platform::MallocPtr<char> buffer(static_cast<char*>(std::malloc(static_cast<size_t>(size))));
  if (!buffer || !CFStringGetCString(text, buffer.get(), size, kCFStringEncodingUTF8)) return nullptr;
  return buffer;
}

}  // namespace

void ASLWriteToStdErr(int on) { gwriteToStdErr = on != 0; }

void ASLSetDebug(int on) { gsetDebug = on != 0; }

void ASLSetFilter(uint32_t mask) {
  gFilterMask = mask;
  if ((mask & kDebugBit) != 0) gsetDebug = true;
}

uint32_t ASLGetFilter() { return gFilterMask; }

void ASLSetLogFile(const char* path) {
  if (path == nullptr) return;
  const Locked locked(gLogFileLock);
  const size_t length = strnlen(path, sizeof glogFile - 1);
  std::memcpy(glogFile, path, length);
  glogFile[length] = '\0';
}

void ASLLogger(int level, int stderrOption, bool toLogFile, const char* format, ...) {
  const uint32_t mask = EffectiveMask();
  if (!IsLogged(level, mask)) return;
  const platform::MallocPtr<char> line = CopyWithoutLastNewline(format);
  if (!line) return;

  const uint32_t callerOptions = gwriteToStdErr ? static_cast<uint32_t>(stderrOption) & 0xFFU : 0;
  const Client client(asl_open(nullptr, nullptr, ASL_OPT_NO_DELAY | callerOptions));
  asl_set_filter(client.get(), static_cast<int>(mask));
  std::optional<LogFile> logFile;
  if (toLogFile) logFile.emplace(LogFilePath()).AddTo(client.get());

  const Message message(asl_new(ASL_TYPE_MSG));
  va_list arguments;
  va_start(arguments, format);
  const platform::MallocPtr<char> text = FormatText(line.get(), arguments);
  va_end(arguments);
  if (text) asl_log(client.get(), message.get(), level, "%s", text.get());
}
