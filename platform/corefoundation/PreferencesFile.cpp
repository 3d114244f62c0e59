#include "platform/corefoundation/PreferencesFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <span>
#include <thread>
#include <vector>

#include "platform/System.h"
#include "platform/ThreadSafety.h"

namespace platform::cf {

// A file as it was found.
struct PreferencesFile::Parsed {
  FileStamp stamp;
  Reference<CFDictionaryRef> values;
  std::string unreadable;  // why the bytes could not be had
  std::string damage;      // what is wrong with them
};

namespace {

constexpr std::chrono::seconds kLockTimeout{10};
constexpr off_t kLargestFile = 64 << 20;
// Administrators read the files and programs of every user read their settings.
constexpr mode_t kReadableByAll = 0644;
constexpr mode_t kFolderReadableByAll = 0755;
constexpr int64_t kNanoseconds = 1'000'000'000;

struct Trouble {
  Lock lock;
  std::string last GUARDED_BY(lock);
};

Trouble& SharedTrouble() {
  static Trouble& shared = *new Trouble;
  return shared;
}

int64_t Nanoseconds(const timespec& time) {
  return static_cast<int64_t>(time.tv_sec) * kNanoseconds + time.tv_nsec;
}

FileStamp MakeStamp(const struct stat& found) {
  return {
      0, found.st_dev, found.st_ino, found.st_size, Nanoseconds(found.st_mtim), Nanoseconds(found.st_ctim)};
}

std::string InFolderOf(const std::string& path, const std::string& suffix) {
  const size_t name = path.rfind('/') + 1;
  return path.substr(0, name) + "." + path.substr(name) + suffix;
}

std::string Utf8(CFStringRef text) {
  if (text == nullptr) return {};
  std::string bytes(
      static_cast<size_t>(CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8)) +
          1,
      '\0');
  if (!CFStringGetCString(text, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8))
    return {};
  return bytes.c_str();
}

// Everything that is left of a file; 0 or errno's value.
int ReadAll(int fd, std::vector<UInt8>& bytes) {
  for (;;) {
    UInt8 chunk[16384];
    const ssize_t count = read(fd, chunk, sizeof chunk);
    if (count == 0) return 0;
    if (count > 0) {
      bytes.insert(bytes.end(), chunk, chunk + count);
    } else if (errno != EINTR) {
      return errno;
    }
  }
}

int WriteAll(int fd, std::span<const UInt8> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes = bytes.subspan(static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return errno;
    }
  }
  return 0;
}

// Null, with the reason in `damage`, when the bytes are no dictionary.
Reference<CFDictionaryRef> ParseDictionary(CFDataRef data, std::string& damage) {
  CFErrorRef why = nullptr;
  Reference<CFTypeRef> list(
      CFPropertyListCreateWithData(kCFAllocatorDefault, data, kCFPropertyListImmutable, nullptr, &why));
  const Reference<CFErrorRef> error(why);
  if (!list) {
    if (error) damage = Utf8(Reference<CFStringRef>(CFErrorCopyDescription(error.get())).get());
    if (damage.empty()) damage = "it is no property list";
    return nullptr;
  }
  if (CFGetTypeID(list.get()) != CFDictionaryGetTypeID()) {
    damage = "it holds no dictionary";
    return nullptr;
  }
  return Reference<CFDictionaryRef>(static_cast<CFDictionaryRef>(list.release()));
}

// Whatever the umask of the program that comes first: a folder that only root could enter would hide the
// settings from everyone else. 0, also when it is there already, or errno's value.
int MakeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kFolderReadableByAll) == 0) {
    return chmod(path.c_str(), kFolderReadableByAll) == 0 ? 0 : errno;
  }
  return errno == EEXIST ? 0 : errno;
}

// Makes those above it too. Where no folder can be made (/proc), one stays missing with its parent there.
int MakeFolders(const std::string& path) {
  const int error = MakeFolder(path);
  const size_t parentEnd = path.rfind('/');
  if (error != ENOENT || parentEnd == std::string::npos) return error;
  if (const int parentError = MakeFolders(path.substr(0, parentEnd))) return parentError;
  return MakeFolder(path);
}

}  // namespace

PreferencesFile::PreferencesFile(std::string path)
    : path_(std::move(path)), lockPath_(InFolderOf(path_, ".lock")), newPath_(InFolderOf(path_, ".new")) {}

FileStamp PreferencesFile::Stamp() const {
  struct stat found {};
  if (stat(path_.c_str(), &found) != 0) return {.error = errno};
  return MakeStamp(found);
}

PreferencesFile::Parsed PreferencesFile::Parse() const {
  Parsed parsed;
  // Of the moment before: if the file changes meanwhile, the next look finds another stamp.
  parsed.stamp = Stamp();
  // A pipe under the file's name must not hold us up.
  const UniqueFd file(open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file) {
    if (errno != ENOENT) parsed.unreadable = std::strerror(errno);
    return parsed;
  }
  struct stat found {};
  if (fstat(file.Get(), &found) != 0) found = {};
  parsed.stamp = MakeStamp(found);
  if (!S_ISREG(found.st_mode)) {
    parsed.unreadable = "it is not a plain file";
    return parsed;
  }
  if (found.st_size > kLargestFile) {
    parsed.unreadable = "it is larger than any settings are";
    return parsed;
  }
  std::vector<UInt8> bytes;
  if (const int error = ReadAll(file.Get(), bytes)) {
    parsed.unreadable = std::strerror(error);
    return parsed;
  }
  const Reference<CFDataRef> data(
      CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
  parsed.values = ParseDictionary(data.get(), parsed.damage);
  return parsed;
}

bool PreferencesFile::Refresh(Reading& last) {
  if (Stamp() != last.stamp) last = Read(false);
  return last.sound;
}

PreferencesFile::Reading PreferencesFile::Read(bool locked) {
  Parsed parsed = Parse();
  if (!parsed.damage.empty()) {
    UniqueFd lock;
    std::string whyNot;
    if (!locked) lock = LockOutOthers(whyNot);
    // Somebody else may have kept it aside, or replaced it, before the lock was ours.
    if (lock) parsed = Parse();
    if (!parsed.damage.empty()) {
      const std::string fate = whyNot.empty() ? SetAside() : "it stays where it is: " + whyNot;
      Report(path_ + " is damaged (" + parsed.damage + ") and reads as empty; " + fate);
      const FileStamp now = Stamp();
      return {now, nullptr, now.error == ENOENT};
    }
  }
  if (!parsed.unreadable.empty()) {
    Report("cannot read " + path_ + ": " + parsed.unreadable);
    return {parsed.stamp, nullptr, false};
  }
  ReportClear();
  return {parsed.stamp, std::move(parsed.values), true};
}

std::string PreferencesFile::SetAside() const {
  constexpr int kMostKept = 1000;
  std::string kept = path_ + ".damaged";
  struct stat found {};
  for (int number = 2; lstat(kept.c_str(), &found) == 0; ++number) {
    if (number > kMostKept) return "it stays where it is: too many are kept already";
    kept = path_ + ".damaged-" + std::to_string(number);
  }
  if (rename(path_.c_str(), kept.c_str()) == 0) return "it is kept as " + kept;
  return std::string("it stays where it is: ") + std::strerror(errno);
}

UniqueFd PreferencesFile::LockOutOthers(std::string& whyNot) const {
  // Only who may write can open it: a lock on a file that everyone can read would let everyone stop the
  // writers.
  constexpr mode_t kOwnerOnly = 0600;
  UniqueFd file(open(lockPath_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kOwnerOnly));
  const auto deadline = std::chrono::steady_clock::now() + kLockTimeout;
  while (!file || flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
    if (!file || (errno != EWOULDBLOCK && errno != EINTR)) {
      whyNot = std::strerror(errno);
      return {};
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      whyNot = "another process keeps " + lockPath_ + " locked";
      return {};
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return file;
}

bool PreferencesFile::Update(Reading& last, const Change& change) {
  std::string whyNot;
  if (const int error = MakeFolders(path_.substr(0, path_.rfind('/')))) {
    return Fail(std::strerror(error));
  }
  const UniqueFd lock = LockOutOthers(whyNot);
  if (!lock) return Fail(whyNot);
  if (Stamp() != last.stamp) last = Read(true);
  return last.sound && Replace(last, change(last.values.get()).get());
}

// XML, which people can read; binary for text that XML cannot spell.
bool PreferencesFile::Replace(Reading& last, CFDictionaryRef values) {
  for (const auto format : {kCFPropertyListXMLFormat_v1_0, kCFPropertyListBinaryFormat_v1_0}) {
    const Reference<CFDataRef> data(
        CFPropertyListCreateData(kCFAllocatorDefault, values, format, 0, nullptr));
    if (!data) continue;
    // What is kept in memory is what every other process will read.
    std::string damage;
    Reference<CFDictionaryRef> readBack = ParseDictionary(data.get(), damage);
    if (!readBack) continue;
    if (const int error = WriteNew(data.get(), last)) return Fail(std::strerror(error));
    last.values = std::move(readBack);
    ReportClear();
    return true;
  }
  return Fail("a value is no property list");
}

int PreferencesFile::WriteNew(CFDataRef data, Reading& last) const {
  unlink(newPath_.c_str());
  const UniqueFd file(
      open(newPath_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, kReadableByAll));
  if (!file) return errno;

  const std::span bytes(CFDataGetBytePtr(data), static_cast<size_t>(CFDataGetLength(data)));
  int error = WriteAll(file.Get(), bytes);
  // The kernel's own times of change are coarse: two saves in one tick would look alike.
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  const int64_t changed = std::max(Nanoseconds(now), last.stamp.contentChanged + 1);
  now = {static_cast<time_t>(changed / kNanoseconds), static_cast<long>(changed % kNanoseconds)};
  const timespec times[] = {now, now};
  struct stat written {};
  if (error == 0 && (fchmod(file.Get(), kReadableByAll) != 0 || futimens(file.Get(), times) != 0 ||
                     fsync(file.Get()) != 0 || rename(newPath_.c_str(), path_.c_str()) != 0 ||
                     fstat(file.Get(), &written) != 0)) {
    error = errno;
  }
  if (error == 0) {
    last.stamp = MakeStamp(written);
  } else {
    unlink(newPath_.c_str());
  }
  return error;
}

bool PreferencesFile::Fail(const std::string& why) {
  Report("cannot write " + path_ + ": " + why);
  return false;
}

void PreferencesFile::Report(const std::string& trouble) {
  if (reported_ == trouble) return;
  reported_ = trouble;
  ConsoleLog("preferences: %s", trouble.c_str());
  Trouble& shared = SharedTrouble();
  const Locked locked(shared.lock);
  shared.last = trouble;
}

void PreferencesFile::ReportClear() {
  if (reported_.empty()) return;
  Trouble& shared = SharedTrouble();
  const Locked locked(shared.lock);
  if (shared.last == reported_) shared.last.clear();
  reported_.clear();
}

std::string LastPreferencesTrouble() {
  Trouble& shared = SharedTrouble();
  const Locked locked(shared.lock);
  return shared.last;
}

}  // namespace platform::cf
