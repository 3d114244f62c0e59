#include "common/KCToolVersion.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/KCDebugging.h"
#include "common/KCFolderManager.h"
#include "common/KCVersionUtils.h"

namespace {

struct PipeCloser {
  void operator()(FILE* stream) const { pclose(stream); }
};

bool Exists(const char* path) { return access(path, F_OK) == 0; }

// The first line that the program prints, at most `size` - 1 bytes of it with its newline. Nothing when it
// prints nothing or is not run.
std::optional<std::string> FirstLine(const char* path, const std::string& arguments, size_t size) {
  // Inside double quotes these would end the quotes or begin a command or a variable.
  if (std::strpbrk(path, "\"$`\\") != nullptr) {
    KCSignalIf(true, "KCVersionUtils: not run, its path is not one for the shell: '%s'\n", path);
    return std::nullopt;
  }
  std::fflush(nullptr);
  const std::string command = "\"" + std::string(path) + "\" " + arguments;
  const std::unique_ptr<FILE, PipeCloser> output(popen(command.c_str(), "r"));
  std::vector<char> line(size);
  if (!output || std::fgets(line.data(), static_cast<int>(size), output.get()) == nullptr)
    return std::nullopt;
  return line.data();
}

void Copy(const std::string& text, char* buffer, size_t size) {
  if (size > 0) buffer[text.copy(buffer, size - 1)] = '\0';
}

std::string WithoutNewline(const std::string& line) { return line.substr(0, line.find('\n')); }

std::string PathOf(CFURLRef url) {
  UInt8 path[PATH_MAX];
  if (url == nullptr || !CFURLGetFileSystemRepresentation(url, true, path, sizeof path)) return {};
  return std::filesystem::path(reinterpret_cast<const char*>(path)).lexically_normal();
}

constexpr size_t kLineSize = 256;

}  // namespace

bool KCGetToolNumVersion(const char* path, NumVersion* version) {
  *version = {};
  if (!Exists(path)) return false;
  const auto line = FirstLine(path, "-v1", kLineSize);
  if (!line) return false;
  *version = MakeNumVersion(static_cast<uint32_t>(std::strtoul(line->c_str(), nullptr, 10)));
  return true;
}

bool KCGetToolNumVersionEx(const char* path, const char* arguments, char* buffer, size_t size) {
  std::memset(buffer, 0, size);
  if (!Exists(path)) return false;
  const auto line = FirstLine(path, arguments, std::max(size, kLineSize));
  if (!line || line->empty() || std::isdigit(static_cast<unsigned char>(line->front())) == 0) return false;
  Copy(WithoutNewline(*line), buffer, size);
  return true;
}

void KCGetToolSPVersion(const char* path, char* buffer, size_t size) {
  const std::string text =
      Exists(path) ? WithoutNewline(FirstLine(path, "-v3", std::max(size, kLineSize)).value_or("")) : "z";
  Copy(text, buffer, size);
}

CFStringRef KCGetToolVersionString(const char* path) {
  NumVersion version;
  (void)KCGetToolNumVersion(path, &version);  // 0 is a version like any other here
  return KCCFStringCreateWithNumVersion(version);
}

CFStringRef KCGetToolVersionStringWithSP(const char* path) {
  char text[kLineSize];
  KCGetToolSPVersion(path, text, sizeof text);
  return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%s"), text);
}

CFStringRef KCVersionGetKorvaneApp(CFURLRef url) {
  constexpr size_t kLongLine = 1024;
  const std::string path = PathOf(url);
  const char* const folder = FetchFolder(kFolderBin);
  std::string line;
  if (folder != nullptr && path.starts_with(std::string(folder) + '/'))
    line = FirstLine(path.c_str(), "-v3", kLongLine).value_or("");
  if (!line.empty() && std::isspace(static_cast<unsigned char>(line.back())) != 0) line.pop_back();
  return CFStringCreateWithCString(kCFAllocatorDefault, line.c_str(), CFStringGetSystemEncoding());
}
