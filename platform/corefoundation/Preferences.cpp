// Which domain a setting belongs to, and where the domains lie.
#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/System.h"
#include "platform/ThreadSafety.h"
#include "platform/corefoundation/PreferencesDomain.h"
#include "platform/corefoundation/Reference.h"

namespace platform::cf {

namespace {

constexpr const char* kMachineFolder = "/Library/Preferences";
constexpr const char* kGlobalFile = "/Library/Preferences/.GlobalPreferences.plist";

std::optional<std::string> Utf8(CFStringRef text) {
  std::vector<char> bytes(
      static_cast<size_t>(CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8)) +
      1);
  if (!CFStringGetCString(text, bytes.data(), static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8))
    return std::nullopt;
  return std::string(bytes.data());
}

std::string MachineFolder() {
  const char* folder = std::getenv("KORVANE_PREFERENCES_DIR");
  return folder != nullptr && *folder != '\0' ? folder : kMachineFolder;
}

// A domain's name is one file name: it must not lead to another folder.
std::optional<std::string> MachinePath(CFStringRef application) {
  const std::optional<std::string> name = Utf8(application);
  if (!name || name->empty() || name->find('/') != std::string::npos ||
      name->find("..") != std::string::npos) {
    ConsoleLog("preferences: \"%s\" is refused as the name of a domain", name ? name->c_str() : "");
    return std::nullopt;
  }
  return MachineFolder() + "/" + *name + ".plist";
}

std::optional<std::string> UsersGlobalPath() {
  const char* home = std::getenv("HOME");
  if (home == nullptr || *home == '\0') return std::nullopt;
  return std::string(home) + kGlobalFile;
}

bool IsUsersGlobal(CFStringRef application, CFStringRef user, CFStringRef host) {
  return CFEqual(application, kCFPreferencesAnyApplication) && CFEqual(user, kCFPreferencesCurrentUser) &&
         CFEqual(host, kCFPreferencesAnyHost);
}

// Every domain that was asked for, for good; the folders are settled when it first is.
class Domains {
 public:
  // Null for a domain that is not kept.
  PreferencesDomain* Find(CFStringRef application, CFStringRef user, CFStringRef host) {
    const bool ofMachine = CFEqual(user, kCFPreferencesAnyUser) && CFEqual(host, kCFPreferencesCurrentHost);
    if (!ofMachine && !IsUsersGlobal(application, user, host)) return nullptr;
    const Locked locked(lock_);
    for (const Entry& entry : entries_)
      if (entry.ofMachine == ofMachine && CFEqual(entry.application.get(), application))
        return entry.domain.get();

    const auto path = ofMachine ? MachinePath(application) : UsersGlobalPath();
    entries_.push_back({ofMachine,
                        Reference<CFStringRef>(CFStringCreateCopy(kCFAllocatorDefault, application)),
                        path ? std::make_unique<PreferencesDomain>(*path) : nullptr});
    return entries_.back().domain.get();
  }

 private:
  struct Entry {
    bool ofMachine;
    Reference<CFStringRef> application;
    std::unique_ptr<PreferencesDomain> domain;
  };

  Lock lock_;
  std::vector<Entry> entries_ GUARDED_BY(lock_);
};

// Never destroyed: threads read settings while the exit handlers run.
Domains& SharedDomains() {
  static Domains& shared = *new Domains;
  return shared;
}

CFArrayRef CreateLanguages() {
  const std::vector<std::string> languages = PreferredLanguages();
  if (languages.empty()) return nullptr;
  const CFMutableArrayRef array = CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks);
  for (const std::string& language : languages) {
    const Reference<CFStringRef> text(
        CFStringCreateWithCString(kCFAllocatorDefault, language.c_str(), kCFStringEncodingASCII));
    if (text) CFArrayAppendValue(array, text.get());
  }
  return array;
}

}  // namespace

}  // namespace platform::cf

namespace platform {

std::string PreferencesTrouble() { return cf::LastPreferencesTrouble(); }

}  // namespace platform

using platform::cf::PreferencesDomain;
using platform::cf::Reference;
using platform::cf::SharedDomains;

extern "C" {

const CFStringRef kCFPreferencesAnyApplication = CFSTR("kCFPreferencesAnyApplication");
const CFStringRef kCFPreferencesAnyUser = CFSTR("kCFPreferencesAnyUser");
const CFStringRef kCFPreferencesCurrentUser = CFSTR("kCFPreferencesCurrentUser");
const CFStringRef kCFPreferencesAnyHost = CFSTR("kCFPreferencesAnyHost");
const CFStringRef kCFPreferencesCurrentHost = CFSTR("kCFPreferencesCurrentHost");

CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host) {
  PreferencesDomain* const domain = SharedDomains().Find(application, user, host);
  if (domain != nullptr) {
    if (const CFPropertyListRef value = domain->CopyValue(key)) return value;
  }
  // A desktop here keeps the languages in the environment of its programs.
  const bool wantsLanguages =
      platform::cf::IsUsersGlobal(application, user, host) && CFEqual(key, CFSTR("AppleLanguages"));
  return wantsLanguages ? platform::cf::CreateLanguages() : nullptr;
}

void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application,
                           CFStringRef user, CFStringRef host) {
  PreferencesDomain* const domain = SharedDomains().Find(application, user, host);
  if (domain == nullptr) return;
  Reference<CFPropertyListRef> copy;
  if (value != nullptr) {
    copy.reset(CFPropertyListCreateDeepCopy(kCFAllocatorDefault, value, kCFPropertyListImmutable));
    if (!copy) {
      platform::ConsoleLog("preferences: a value that is no property list is not stored");
      return;
    }
  }
  domain->SetValue(key, std::move(copy));
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host) {
  PreferencesDomain* const domain = SharedDomains().Find(application, user, host);
  return domain != nullptr && domain->Synchronize();
}

}  // extern "C"
