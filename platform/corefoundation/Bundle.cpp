// Bundles: their folders, their information and their texts in several languages.
#include "platform/corefoundation/Bundle.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <climits>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/System.h"
#include "platform/corefoundation/Localizations.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Reference.h"

namespace platform::cf {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kLocalizationExtension = ".lproj";

CFURLRef CreateFileUrl(const std::string& path, bool isDirectory) {
  return CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault,
                                                 reinterpret_cast<const UInt8*>(path.data()),
                                                 static_cast<CFIndex>(path.size()), isDirectory);
}

// Empty for a URL that is no file's.
std::string PathOf(CFURLRef url) {
  UInt8 path[PATH_MAX];
  return CFURLGetFileSystemRepresentation(url, true, path, sizeof path) ? reinterpret_cast<const char*>(path)
                                                                        : "";
}

// Empty for a string that has no UTF-8.
std::string Utf8(CFStringRef string) {
  const CFIndex size =
      CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8) + 1;
  std::string text(static_cast<size_t>(std::max<CFIndex>(size, 1)), '\0');
  if (!CFStringGetCString(string, text.data(), size, kCFStringEncodingUTF8)) return {};
  text.resize(text.find('\0'));
  return text;
}

std::vector<std::string> Texts(CFArrayRef array) {
  std::vector<std::string> texts;
  for (CFIndex i = 0; i < CFArrayGetCount(array); ++i) {
    const auto* const element = static_cast<CFTypeRef>(CFArrayGetValueAtIndex(array, i));
    if (CFGetTypeID(element) == CFStringGetTypeID()) texts.push_back(Utf8(static_cast<CFStringRef>(element)));
  }
  return texts;
}

CFArrayRef CreateArray(const std::vector<std::string>& texts) {
  const CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  for (const std::string& text : texts) {
    const Reference<CFStringRef> string(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
    if (string) CFArrayAppendValue(array, string.get());
  }
  return array;
}

bool IsFolder(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error);
}

bool IsFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

// Null when there is no such file or it holds no dictionary.
Reference<CFDictionaryRef> ReadDictionary(const fs::path& path) {
  if (!IsFile(path)) return nullptr;
  const Reference<CFURLRef> url(CreateFileUrl(path.string(), false));
  const Reference<CFReadStreamRef> stream(CFReadStreamCreateWithFile(kCFAllocatorDefault, url.get()));
  if (!stream || !CFReadStreamOpen(stream.get())) return nullptr;
  Reference<CFTypeRef> read(CFPropertyListCreateWithStream(kCFAllocatorDefault, stream.get(), 0,
                                                           kCFPropertyListImmutable, nullptr, nullptr));
  CFReadStreamClose(stream.get());
  if (!read || CFGetTypeID(read.get()) != CFDictionaryGetTypeID()) return nullptr;
  return Reference<CFDictionaryRef>(static_cast<CFDictionaryRef>(read.release()));
}

}  // namespace

}  // namespace platform::cf

// Either NAME/Contents/Info.plist and NAME/Contents/Resources, or all of it in NAME itself, where the
// resources may have a folder "Resources".
struct __CFBundle final : platform::cf::Object {
  explicit __CFBundle(std::string bundleFolder)
      : Object(platform::cf::Type::kBundle), folder(std::move(bundleFolder)) {}

  [[nodiscard]] std::u16string Description() const override {
    const platform::cf::Reference<CFURLRef> url(platform::cf::CreateFileUrl(folder.string(), true));
    return platform::cf::Describe("CFBundle", this, platform::cf::AsObject(url.get())->Text());
  }

  // What Info.plist says; never null.
  CFDictionaryRef Info();

  [[nodiscard]] std::filesystem::path Resources() const;
  // The names of the folders for languages, sorted.
  [[nodiscard]] std::vector<std::string> Localizations() const;
  // The file in the folder for a language, which may be spelt otherwise.
  [[nodiscard]] std::optional<std::filesystem::path> Find(const std::string& file,
                                                          const std::string& localization) const;
  // The texts of a table in the reader's language; null when there are none.
  platform::cf::Reference<CFDictionaryRef> Table(const std::string& name);

  const std::filesystem::path folder;

 private:
  // Best first.
  std::vector<std::string> ReadersLocalizations();

  std::once_flag readInfo_;
  platform::cf::Reference<CFDictionaryRef> info_;
};

using platform::cf::Reference;

std::filesystem::path __CFBundle::Resources() const {
  const auto contents = folder / "Contents";
  if (platform::cf::IsFolder(contents)) return contents / "Resources";
  const auto resources = folder / "Resources";
  return platform::cf::IsFolder(resources) ? resources : folder;
}

CFDictionaryRef __CFBundle::Info() {
  std::call_once(readInfo_, [this] {
    for (const char* place : {"Contents/Info.plist", "Info.plist", "Resources/Info.plist"})
      if (!info_) info_ = platform::cf::ReadDictionary(folder / place);
    if (!info_) {
      info_.reset(CFDictionaryCreate(kCFAllocatorDefault, nullptr, nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks));
    }
  });
  return info_.get();
}

std::vector<std::string> __CFBundle::Localizations() const {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(Resources(), error), end; !error && entry != end;
       entry.increment(error)) {
    const auto& path = entry->path();
    if (path.extension() == platform::cf::kLocalizationExtension && platform::cf::IsFolder(path))
      names.push_back(path.stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<std::filesystem::path> __CFBundle::Find(const std::string& file,
                                                      const std::string& localization) const {
  // Only folders that are really there are looked into: the language may come from a user's settings.
  const auto candidate = [&](const std::string& name) {
    return Resources() / (name + std::string(platform::cf::kLocalizationExtension)) / file;
  };
  const std::vector<std::string> names = Localizations();
  if (std::find(names.begin(), names.end(), localization) != names.end() &&
      platform::cf::IsFile(candidate(localization)))
    return candidate(localization);
  const std::string wanted = platform::cf::CanonicalLanguage(localization);
  for (const std::string& name : names)
    if (platform::cf::CanonicalLanguage(name) == wanted && platform::cf::IsFile(candidate(name)))
      return candidate(name);
  return std::nullopt;
}

std::vector<std::string> __CFBundle::ReadersLocalizations() {
  std::vector<std::string> preferred = platform::PreferredLanguages();
  const auto* const region =
      static_cast<CFTypeRef>(CFDictionaryGetValue(Info(), CFSTR("CFBundleDevelopmentRegion")));
  if (region != nullptr && CFGetTypeID(region) == CFStringGetTypeID())
    preferred.push_back(platform::cf::Utf8(static_cast<CFStringRef>(region)));
  return platform::cf::SuitableLocalizations(Localizations(), preferred);
}

Reference<CFDictionaryRef> __CFBundle::Table(const std::string& name) {
  const std::string file = name + ".strings";
  if (auto all = platform::cf::ReadDictionary(Resources() / file)) return all;  // the same for every language
  for (const std::string& localization : ReadersLocalizations())
    if (const auto path = Find(file, localization)) return platform::cf::ReadDictionary(*path);
  return nullptr;
}

namespace platform::cf {

namespace {

// Null when the executable's path cannot be told. The bundle lives as long as the process.
CFBundleRef MakeMainBundle() {
  const std::string executable = ExecutablePath();
  if (executable.empty()) return nullptr;
  auto* const bundle = new __CFBundle(BundleFolder(executable));
  bundle->MakeImmortal();
  return bundle;
}

}  // namespace

std::string BundleFolder(const std::string& executable) {
  constexpr std::string_view kProgramFolder = "/Contents/MacOS";
  constexpr std::string_view kExtension = ".app";
  const std::string folder = executable.substr(0, executable.rfind('/'));
  if (folder.ends_with(kProgramFolder)) {
    std::string bundle = folder.substr(0, folder.size() - kProgramFolder.size());
    const std::string name = bundle.substr(bundle.rfind('/') + 1);
    if (name.size() > kExtension.size() && name.ends_with(kExtension)) return bundle;
  }
  return folder.empty() ? "/" : folder;
}

}  // namespace platform::cf

extern "C" {

CFBundleRef CFBundleGetMainBundle() {
  static const CFBundleRef mainBundle = platform::cf::MakeMainBundle();
  return mainBundle;
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) {
  return platform::cf::CreateFileUrl(bundle->folder.string(), true);
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef url) {
  std::string folder = platform::cf::PathOf(url);
  return !folder.empty() && platform::cf::IsFolder(folder) ? new __CFBundle(std::move(folder)) : nullptr;
}

CFDictionaryRef CFBundleGetInfoDictionary(CFBundleRef bundle) { return bundle->Info(); }

CFStringRef CFBundleCopyLocalizedString(CFBundleRef bundle, CFStringRef key, CFStringRef value,
                                        CFStringRef table) {
  const Reference<CFDictionaryRef> texts =
      bundle->Table(table != nullptr ? platform::cf::Utf8(table) : "Localizable");
  const auto* const text = static_cast<CFTypeRef>(texts ? CFDictionaryGetValue(texts.get(), key) : nullptr);
  if (text != nullptr && CFGetTypeID(text) == CFStringGetTypeID())
    return static_cast<CFStringRef>(CFRetain(text));
  const bool hasValue = value != nullptr && CFStringGetLength(value) > 0;
  return static_cast<CFStringRef>(CFRetain(hasValue ? value : key));
}

CFArrayRef CFBundleCopyBundleLocalizations(CFBundleRef bundle) {
  return platform::cf::CreateArray(bundle->Localizations());
}

CFArrayRef CFBundleCopyLocalizationsForPreferences(CFArrayRef localizations, CFArrayRef preferences) {
  return platform::cf::CreateArray(platform::cf::SuitableLocalizations(platform::cf::Texts(localizations),
                                                                       platform::cf::Texts(preferences)));
}

CFURLRef CFBundleCopyResourceURLForLocalization(CFBundleRef bundle, CFStringRef name, CFStringRef type,
                                                CFStringRef subfolder, CFStringRef localization) {
  if (name == nullptr || localization == nullptr) return nullptr;
  std::string file = platform::cf::Utf8(name);
  if (type != nullptr && CFStringGetLength(type) > 0) file += "." + platform::cf::Utf8(type);
  if (subfolder != nullptr) file = platform::cf::Utf8(subfolder) + "/" + file;
  const auto path = bundle->Find(file, platform::cf::Utf8(localization));
  return path ? platform::cf::CreateFileUrl(path->string(), false) : nullptr;
}

}  // extern "C"
