#include "common/KCVersionUtils.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/KCDebugging.h"
#include "common/KCStringUtils.h"
#include "common/PropertyListFile.h"
#include "common/StCFTypeRef.h"

namespace {

// Reads what a scanf format would, one conversion a call: false, and nothing is read, when it does not fit.
class Scanner {
 public:
  explicit Scanner(const char* text) : rest_(text) {}

  bool Number(long& number) {
    char* end = nullptr;
    const long read = std::strtol(rest_, &end, 10);
    if (end == rest_) return false;
    number = read;
    rest_ = end;
    return true;
  }
  bool Letter(char& letter) {
    if (*rest_ == '\0') return false;
    letter = *rest_++;
    return true;
  }
  bool Dot() {
    if (*rest_ != '.') return false;
    ++rest_;
    return true;
  }

 private:
  const char* rest_;
};

UInt8 Byte(long number) { return static_cast<UInt8>(static_cast<unsigned long>(number) & 0xFF); }

UInt8 Nibbles(long high, long low) {
  return static_cast<UInt8>((static_cast<unsigned long>(high) & 15) << 4 |
                            (static_cast<unsigned long>(low) & 15));
}

char StageLetter(UInt8 stage) {
  switch (stage) {
    case kStageDevelopment:
      return 'd';
    case kStageAlpha:
      return 'a';
    case kStageBeta:
      return 'b';
    default:
      return '\0';
  }
}

// Versions of two releases are equal to this: the stored order begins with the least significant byte.
unsigned FirstHalf(NumVersion version) { return version.nonRelRev | version.stage << 8U; }

// The resource fork of a file, open.
class ResourceFile {
 public:
  explicit ResourceFile(CFURLRef url) {
    FSRef file;
    if (url == nullptr || !CFURLGetFSRef(url, &file)) return;
    number_ = FSOpenResFile(&file, fsRdPerm);
    const OSErr error = number_ == -1 ? ResError() : static_cast<OSErr>(noErr);
    KCSignalIf(error == mapReadErr || error == ioErr,
               "KCGetApplicationVersion: cannot read the resource fork of %s: err=%d\n",
               reinterpret_cast<const char*>(file.path), error);
  }
  ~ResourceFile() {
    if (number_ != -1) CloseResFile(number_);
  }
  ResourceFile(const ResourceFile&) = delete;
  ResourceFile& operator=(const ResourceFile&) = delete;

  // The first one of a type, whatever its number; empty when there is none.
  [[nodiscard]] std::vector<UInt8> First(ResType type) const {
    const Handle handle = number_ != -1 ? Get1IndResource(type, 1) : nullptr;
    if (handle == nullptr) return {};
    HLock(handle);
    std::vector<UInt8> bytes(static_cast<size_t>(GetHandleSize(handle)));
    if (!bytes.empty()) std::memcpy(bytes.data(), *handle, bytes.size());
    HUnlock(handle);
    return bytes;
  }

 private:
  ResFileRefNum number_ = -1;
};

// The version in an embedded property list; null when there is none. The caller releases.
CFStringRef CopyEmbeddedVersion(std::vector<UInt8> bytes) {
  constexpr size_t kMarkSize = 2;
  constexpr UInt8 kMark[kMarkSize] = {0xFF, 0xFE};
  if (bytes.size() < kMarkSize) return nullptr;
  // Some tools put a byte-order mark before text that is not UTF-16.
  if (std::memcmp(bytes.data(), kMark, kMarkSize) == 0) std::memset(bytes.data(), ' ', kMarkSize);

  const StCFTypeRef<CFDataRef> data{
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size()))};
  const StCFTypeRef<CFPropertyListRef> list{
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, nullptr)};
  const CFDictionaryRef information = AsDictionary(list);
  if (information == nullptr) return nullptr;
  CFStringRef text = AsString(CFDictionaryGetValue(information, CFSTR("CFBundleVersion")));
  if (text == nullptr)
    text = AsString(CFDictionaryGetValue(information, CFSTR("CFBundleShortVersionString")));
  return text != nullptr ? static_cast<CFStringRef>(CFRetain(text)) : nullptr;
}

}  // namespace

CFStringRef KCCFStringCreateWithNumVersion(NumVersion version) {
  const int major = version.majorRev;
  const int minor = version.minorAndBugRev >> 4;
  const int bugFix = version.minorAndBugRev & 15;
  if (version.stage == 0 || version.stage == kStageFinal) {
    return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%d.%d.%d"), major, minor, bugFix);
  }
  // Of a stage without a letter the revision follows at once: a NUL adds nothing to the text.
  return CFStringCreateWithFormat(kCFAllocatorDefault, nullptr, CFSTR("%d.%d.%d%c%d"), major, minor, bugFix,
                                  StageLetter(version.stage), static_cast<int>(version.nonRelRev));
}

void KCCreateNumVersionWithCFString(CFStringRef text, NumVersion* version) {
  constexpr char kNoLetter = '-';
  const KCStringHelper bytes(text, kCFStringEncodingUTF8);
  Scanner scanner(bytes.GetCStringPtr() != nullptr ? bytes.GetCStringPtr() : "");
  long major = 0, minor = 0, bugFix = 0, revision = 0;
  char letter = kNoLetter;
  // Each part counts only after the one before it.
  (void)(scanner.Number(major) && scanner.Dot() && scanner.Number(minor) && scanner.Dot() &&
         scanner.Number(bugFix) && scanner.Letter(letter) && scanner.Number(revision));

  *version = {0, 0, Nibbles(minor, bugFix), Byte(major)};
  if (letter == kNoLetter) return;
  version->stage = static_cast<UInt8>(letter);
  version->nonRelRev = Byte(revision);
}

bool KCGetBundleVersion(CFBundleRef bundle, NumVersion* version) {
  *version = {};
  const CFStringRef text = KCGetBundleVersionString(bundle);
  if (text == nullptr) return false;
  KCCreateNumVersionWithCFString(text, version);
  return true;
}

CFStringRef KCGetBundleVersionString(CFBundleRef bundle) {
  return AsString(
      CFDictionaryGetValue(CFBundleGetInfoDictionary(bundle), CFSTR("CFBundleShortVersionString")));
}

bool KCGetApplicationVersion(CFURLRef url, CFStringRef* text, NumVersion* version, SInt16* region) {
  constexpr ResType kVersionResource = 0x76657273;       // "vers"
  constexpr ResType kPropertyListResource = 0x706C7374;  // "plst"
  *text = nullptr;
  *version = {};
  *region = 0;

  const ResourceFile file(url);
  const std::vector<UInt8> numbers = file.First(kVersionResource);
  const bool hasNumbers = numbers.size() >= sizeof *version + sizeof *region;
  if (hasNumbers) {
    std::memcpy(version, numbers.data(), sizeof *version);
    std::memcpy(region, numbers.data() + sizeof *version, sizeof *region);
  }
  *text = CopyEmbeddedVersion(file.First(kPropertyListResource));
  if (*text != nullptr) KCCreateNumVersionWithCFString(*text, version);
  return hasNumbers || *text != nullptr;
}

bool KCVersionInRange(NumVersion version, NumVersion low, NumVersion high) {
  return FirstHalf(low) <= FirstHalf(version) && FirstHalf(version) <= FirstHalf(high);
}

bool KCVersionLessThan(NumVersion a, NumVersion b) { return FirstHalf(a) < FirstHalf(b); }

bool KCVersionLessThanEqual(NumVersion a, NumVersion b) { return FirstHalf(a) <= FirstHalf(b); }

bool KCVersionGreaterThan(NumVersion a, NumVersion b) { return FirstHalf(b) <= FirstHalf(a); }
