// File URLs: a path as bytes, kept as it was given, and the folder that a relative one is resolved against.
#include <CoreFoundation/CFURL.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/String.h"
#include "platform/corefoundation/StringEncoding.h"

namespace {

// Percent escapes for all but what RFC 2396 lets stand in a path; parameters begin at a semicolon there.
std::string Escape(std::string_view path) {
  constexpr std::string_view kPlain =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'()/:@&=+$,";
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string escaped;
  for (const char c : path) {
    if (c != '\0' && kPlain.find(c) != std::string_view::npos) {
      escaped += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    escaped += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
  }
  return escaped;
}

std::string_view WithoutTrailingSeparators(std::string_view path) {
  const size_t last = path.find_last_not_of('/');
  return last == std::string_view::npos ? path.substr(0, 1) : path.substr(0, last + 1);
}

std::string WithDirectoryMark(std::string_view path, bool isDirectory) {
  std::string marked(WithoutTrailingSeparators(path));
  if (isDirectory && !marked.ends_with('/')) marked += '/';
  return marked;
}

// `relative` from the folder `base`, with "." and ".." worked off.
std::string Resolve(const std::string& base, const std::string& relative) {
  std::vector<std::string_view> parts;
  const std::string joined = base + '/' + relative;
  std::string_view rest = joined;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find('/'), rest.size());
    const auto part = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (part.empty() || part == ".") continue;
    if (part != "..") {
      parts.push_back(part);
    } else if (!parts.empty()) {
      parts.pop_back();
    }
  }
  std::string path;
  for (const auto part : parts) path.append("/").append(part);
  return path.empty() ? "/" : path;
}

std::string WorkingFolder() {
  char folder[PATH_MAX];
  return getcwd(folder, sizeof folder) != nullptr ? folder : "";
}

CFStringRef CreateUtf8String(std::string_view bytes) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
}

}  // namespace

struct __CFURL final : platform::cf::Object {
  // `givenPath` is not empty and holds no NUL; it ends with a separator when it names a folder.
  __CFURL(std::string givenPath, std::string baseFolder)
      : Object(platform::cf::Type::kURL),
        path(std::move(givenPath)),
        base(std::move(baseFolder)),
        text(platform::cf::CreateString(
            platform::cf::Widen((path.front() == '/' ? "file://" : "") + Escape(path)))) {}
  ~__CFURL() override { CFRelease(text); }

  [[nodiscard]] bool Equals(const Object& other) const override {
    const auto& url = static_cast<const __CFURL&>(other);
    return path == url.path && base == url.base;
  }
  [[nodiscard]] CFHashCode Hash() const override { return std::hash<std::string>{}(path); }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFURL", this, u"string = " + Text());
  }
  [[nodiscard]] std::u16string Text() const override { return text->units; }

  const std::string path;
  const std::string base;  // empty for an absolute path
  const CFStringRef text;  // lives as long as the URL, for CFURLGetString
};

extern "C" {

CFTypeID CFURLGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kURL); }

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory) {
  if (path == nullptr || length <= 0) return nullptr;
  const std::string_view given(reinterpret_cast<const char*>(path), static_cast<size_t>(length));
  if (given.find('\0') != std::string_view::npos) return nullptr;
  return new __CFURL(WithDirectoryMark(given, isDirectory), given.front() == '/' ? "" : WorkingFolder());
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size) {
  const bool resolve = resolveAgainstBase && !url->base.empty();
  const std::string path =
      resolve ? Resolve(url->base, url->path) : std::string(WithoutTrailingSeparators(url->path));
  if (buffer == nullptr || size < 0 || path.size() >= static_cast<size_t>(size)) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url) {
  const auto path = WithoutTrailingSeparators(url->path);
  if (path == "/") return new __CFURL("/../", url->base);
  const size_t start = path.rfind('/') + 1;  // 0 when there is no separator
  const auto last = path.substr(start);
  std::string folder(path.substr(0, start));
  if (last == "." || last == "..") {
    // These name no entry of the folder before them, so its parent is one step more.
    folder.append(last == ".." ? "../../" : "../");
  } else if (folder.empty()) {
    folder = "./";
  }
  return new __CFURL(std::move(folder), url->base);
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
  const auto path = WithoutTrailingSeparators(url->path);
  return CreateUtf8String(path == "/" ? path : path.substr(path.rfind('/') + 1));
}

CFStringRef CFURLGetString(CFURLRef url) { return url->text; }

}  // extern "C"
