// URLs. Of a file's: a path as bytes, kept as it was given, and the folder that a relative one is resolved
// against.
#include <CoreFoundation/CFURL.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
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

// What RFC 2396 knows, brackets for addresses of six octet pairs, and escapes of two digits.
bool IsUrlText(std::u16string_view text) {
  constexpr std::u16string_view kAllowed =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@&=+$,[]#%";
  constexpr std::u16string_view kHexDigits = u"0123456789abcdefABCDEF";
  if (text.find_first_not_of(kAllowed) != text.npos || std::ranges::count(text, u'#') > 1) return false;
  for (size_t at = 0; (at = text.find(u'%', at)) != text.npos; ++at) {
    const auto digits = text.substr(at + 1, 2);
    if (digits.size() < 2 || digits.find_first_not_of(kHexDigits) != digits.npos) return false;
  }
  return true;
}

// Of text whose escapes are whole.
std::string Unescape(std::string_view text) {
  std::string bytes;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text.front() != '%') {
      bytes += text.front();
      continue;
    }
    int byte = 0;
    std::from_chars(text.data() + 1, text.data() + 3, byte, 16);
    bytes += static_cast<char>(byte);
    text.remove_prefix(2);
  }
  return bytes;
}

// "scheme:" at the start, or nothing.
std::string_view SchemeOf(std::string_view text) {
  constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  constexpr std::string_view kOthers = "0123456789+-.";
  const auto end = std::ranges::find_if(text, [&](char c) {
    return kLetters.find(c) == std::string_view::npos && kOthers.find(c) == std::string_view::npos;
  });
  if (end == text.end() || *end != ':' || kLetters.find(text.front()) == std::string_view::npos) return {};
  return text.substr(0, static_cast<size_t>(end - text.begin()) + 1);
}

struct UrlParts {
  std::string prefix;  // scheme and authority
  std::string path;    // without escapes; empty when there is none, or one that no system call takes
};

UrlParts Split(std::string_view text) {
  text = text.substr(0, text.find_first_of("?#"));
  size_t start = SchemeOf(text).size();
  if (text.substr(start).starts_with("//")) {
    start = std::min(text.find('/', start + 2), text.size());
  } else if (start > 0 && !text.substr(start).starts_with('/')) {
    return {std::string(text), {}};  // "mailto:someone" names no path
  }
  UrlParts parts{std::string(text.substr(0, start)), Unescape(text.substr(start))};
  if (parts.path.find('\0') != std::string::npos) parts.path.clear();
  return parts;
}

CFStringRef CreateUtf8String(std::string_view bytes) {
  return CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                 static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
}

}  // namespace

struct __CFURL final : platform::cf::Object {
  // Of a path that holds no NUL, and ends with a separator when it names a folder.
  __CFURL(std::string before, std::string givenPath, std::string baseFolder)
      : __CFURL(UrlParts{before, givenPath}, std::move(baseFolder),
                platform::cf::CreateString(platform::cf::Widen(before + Escape(givenPath)))) {}
  // As it is written; takes over the text.
  __CFURL(UrlParts parts, std::string baseFolder, CFStringRef written)
      : Object(platform::cf::Type::kURL),
        prefix(std::move(parts.prefix)),
        path(std::move(parts.path)),
        base(std::move(baseFolder)),
        text(written) {}
  ~__CFURL() override { CFRelease(text); }

  [[nodiscard]] bool Equals(const Object& other) const override {
    const auto& url = static_cast<const __CFURL&>(other);
    return CFEqual(text, url.text) && base == url.base;
  }
  [[nodiscard]] CFHashCode Hash() const override { return CFHash(text); }
  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFURL", this, u"string = " + Text());
  }
  [[nodiscard]] std::u16string Text() const override { return text->units; }

  // Whether the path is one of this machine; without a scheme it is.
  [[nodiscard]] bool NamesFile() const {
    return !path.empty() && (prefix.empty() || prefix.starts_with("file:"));
  }

  const std::string prefix;
  const std::string path;
  const std::string base;  // empty for an absolute path
  const CFStringRef text;  // lives as long as the URL, for CFURLGetString
};

extern "C" {

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef, const UInt8* path, CFIndex length,
                                                 Boolean isDirectory) {
  if (path == nullptr || length <= 0) return nullptr;
  const std::string_view given(reinterpret_cast<const char*>(path), static_cast<size_t>(length));
  if (given.find('\0') != std::string_view::npos) return nullptr;
  const bool absolute = given.front() == '/';
  return new __CFURL(absolute ? "file://" : "", WithDirectoryMark(given, isDirectory),
                     absolute ? "" : WorkingFolder());
}

CFURLRef CFURLCreateWithFileSystemPath(CFAllocatorRef allocator, CFStringRef path, CFURLPathStyle,
                                       Boolean isDirectory) {
  std::string bytes(static_cast<size_t>(CFStringGetLength(path)) * 3 + 1, '\0');
  if (!CFStringGetCString(path, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8)) {
    return nullptr;
  }
  // Not up to the first NUL: a path with one is refused.
  CFIndex used = 0;
  CFStringGetBytes(path, CFRangeMake(0, CFStringGetLength(path)), kCFStringEncodingUTF8, 0, false, nullptr, 0,
                   &used);
  return CFURLCreateFromFileSystemRepresentation(allocator, reinterpret_cast<const UInt8*>(bytes.data()),
                                                 used, isDirectory);
}

CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef) {
  if (!IsUrlText(text->units)) return nullptr;
  const std::string ascii(text->units.begin(), text->units.end());
  return new __CFURL(Split(ascii), "", CFStringCreateCopy(allocator, text));
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size) {
  if (!url->NamesFile()) return false;
  const bool resolve = resolveAgainstBase && !url->base.empty();
  const std::string path =
      resolve ? Resolve(url->base, url->path) : std::string(WithoutTrailingSeparators(url->path));
  if (buffer == nullptr || size < 0 || path.size() >= static_cast<size_t>(size)) return false;
  std::memcpy(buffer, path.c_str(), path.size() + 1);
  return true;
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url) {
  if (url->path.empty()) return nullptr;
  const auto path = WithoutTrailingSeparators(url->path);
  if (path == "/") return new __CFURL(url->prefix, "/../", url->base);
  const size_t start = path.rfind('/') + 1;  // 0 when there is no separator
  const auto last = path.substr(start);
  std::string folder(path.substr(0, start));
  if (last == "." || last == "..") {
    // These name no entry of the folder before them, so its parent is one step more.
    folder.append(last == ".." ? "../../" : "../");
  } else if (folder.empty()) {
    folder = "./";
  }
  return new __CFURL(url->prefix, std::move(folder), url->base);
}

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
  const auto path = WithoutTrailingSeparators(url->path);
  return CreateUtf8String(path == "/" ? path : path.substr(path.rfind('/') + 1));
}

CFStringRef CFURLGetString(CFURLRef url) { return url->text; }

}  // extern "C"
