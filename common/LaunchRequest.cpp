#include "common/LaunchRequest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

constexpr size_t kUuidTextSize = 36;

StCFTypeRef<CFStringRef> CopyString(std::string_view bytes) {
  return StCFTypeRef<CFStringRef>(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false));
}

bool IsUtf8(const char* text) { return CopyString(text).get() != nullptr; }

// Takes a token off the front of `text`; false when there is none left.
bool TakeToken(const char*& text, StCFTypeRef<CFMutableStringRef>& token) {
  token = StCFTypeRef<CFMutableStringRef>(CFStringCreateMutable(kCFAllocatorDefault, 0));
  const size_t taken = copyQuotedSectionFromString(text, token);
  text += taken;
  return taken > 0;
}

// Up to `size` bytes of a file; empty when it cannot be read.
std::string ReadFile(const char* path, size_t size) {
  const platform::UniqueFd file(open(path, O_RDONLY | O_CLOEXEC));
  if (!file) return {};
  std::string bytes(size, '\0');
  ssize_t length = 0;
  do {
    length = read(file.Get(), bytes.data(), bytes.size());
  } while (length < 0 && errno == EINTR);
  bytes.resize(length > 0 ? static_cast<size_t>(length) : 0);
  return bytes;
}

}  // namespace

size_t copyQuotedSectionFromString(const char* text, CFMutableStringRef token) {
  std::string copied;
  char openQuote = '\0';
  bool escaped = false;
  size_t taken = 0;
  while (text[taken] != '\0') {
    const char c = text[taken++];
    if (c == '\\') {
      escaped = true;  // also behind another one: a token never holds a backslash
      continue;
    }
    if ((c == '"' || c == '\'') && !escaped && (openQuote == '\0' || openQuote == c)) {
      openQuote = openQuote == c ? '\0' : c;
      continue;
    }
    if (c == ' ' && !escaped && openQuote == '\0') break;
    copied += c;
    escaped = false;
  }
  if (const StCFTypeRef<CFStringRef> string = CopyString(copied); string.get() != nullptr)
    CFStringAppend(token, string);
  return taken;
}

StCFTypeRef<CFMutableDictionaryRef> CreateLaunchRequest(const char* commandLine, CFStringRef mode) {
  if (commandLine == nullptr || !IsUtf8(commandLine)) return {};
  StCFTypeRef<CFMutableDictionaryRef> request(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  StCFTypeRef<CFMutableStringRef> token;
  TakeToken(commandLine, token);
  CFDictionarySetValue(request, CFSTR("command"), token);

  const StCFTypeRef<CFMutableArrayRef> parameters(
      CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  while (TakeToken(commandLine, token)) CFArrayAppendValue(parameters, token);
  if (CFArrayGetCount(parameters) > 0) CFDictionarySetValue(request, CFSTR("parameters"), parameters);
  if (mode != nullptr) CFDictionarySetValue(request, CFSTR("mode"), mode);
  return request;
}

bool AddSecurity(CFMutableDictionaryRef request) {
  if (geteuid() != 0) return false;
  const std::string secret = ReadFile(kDispatcherSecretFile, kUuidTextSize);
  if (secret.empty()) return false;
  const StCFTypeRef<CFStringRef> text = CopyString(secret);
  if (text.get() == nullptr) return false;
  CFDictionarySetValue(request, CFSTR("secret"), text);
  return true;
}

platform::MallocPtr<char> CreateGUID() {
  const StCFTypeRef<CFUUIDRef> uuid(CFUUIDCreate(kCFAllocatorDefault));
  const StCFTypeRef<CFStringRef> text(CFUUIDCreateString(kCFAllocatorDefault, uuid));
  platform::MallocPtr<char> bytes(static_cast<char*>(std::malloc(kUuidTextSize + 1)));
  if (bytes && !CFStringGetCString(text, bytes.get(), kUuidTextSize + 1, kCFStringEncodingASCII))
    bytes.reset();
  return bytes;
}
