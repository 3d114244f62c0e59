#include "service/dispatch/OpenTool.h"

#include <CoreFoundation/CoreFoundation.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string_view>

#include "common/KCStringUtils.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"

namespace service {

namespace {

constexpr std::string_view kSuffix = ".app";

bool IsFolder(const std::string& path) {
  struct stat found {};
  return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

// Empty for what is no plain file of a sensible size. The bundle may be anybody's: a FIFO must not hold us
// up.
std::string FileText(const std::string& path) {
  constexpr off_t kMaxBytes = 1 << 20;
  const platform::UniqueFd file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat found {};
  if (!file || fstat(file.Get(), &found) != 0 || !S_ISREG(found.st_mode) || found.st_size > kMaxBytes)
    return {};
  std::string text(static_cast<size_t>(found.st_size), '\0');
  const ssize_t length = read(file.Get(), text.data(), text.size());
  text.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return text;
}

// Empty when the list is damaged or names none.
std::string NamedExecutable(const std::string& infoList) {
  const StCFTypeRef<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(infoList.data()),
                                                 static_cast<CFIndex>(infoList.size())));
  const StCFTypeRef<CFPropertyListRef> list(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, nullptr));
  if (list.get() == nullptr || CFGetTypeID(list) != CFDictionaryGetTypeID()) return {};
  const CFTypeRef name =
      CFDictionaryGetValue(static_cast<CFDictionaryRef>(list.get()), CFSTR("CFBundleExecutable"));
  if (name == nullptr || CFGetTypeID(name) != CFStringGetTypeID()) return {};
  const KCStringHelper text(static_cast<CFStringRef>(name), kCFStringEncodingUTF8);
  return text.GetCStringPtr() != nullptr ? text.GetCStringPtr() : "";
}

}  // namespace

bool IsOpenTool(const LaunchOrder& order) { return order.command == "/usr/bin/open"; }

std::optional<std::string> ExecutableToOpen(const LaunchOrder& order, std::string& problem) {
  if (order.parameters.size() != 1) {
    problem = "the open tool takes one bundle";
    return std::nullopt;
  }
  std::string bundle = order.parameters.front();
  while (bundle.ends_with('/')) bundle.pop_back();
  if (!bundle.starts_with('/') || !bundle.ends_with(kSuffix) || !IsFolder(bundle)) {
    problem = "no bundle: " + bundle;
    return std::nullopt;
  }
  const std::string contents = bundle + "/Contents";
  std::string name = NamedExecutable(FileText(contents + "/Info.plist"));
  if (name.empty()) {
    name = bundle.substr(bundle.rfind('/') + 1);
    name.resize(name.size() - kSuffix.size());
  }
  if (name.empty() || name.find('/') != std::string::npos) {
    problem = "the bundle names no executable of its own: " + bundle;
    return std::nullopt;
  }
  return contents + "/MacOS/" + name;
}

}  // namespace service
