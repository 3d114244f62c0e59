// The settings of one domain: what its file holds, and what was set here and not written yet.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/PreferencesFile.h"
#include "platform/corefoundation/Reference.h"

namespace platform::cf {

// Any thread. Nobody who reads or sets a value waits for a file that is being written.
class PreferencesDomain {
 public:
  explicit PreferencesDomain(std::string path) : file_(std::move(path)) {}

  // What was set here last, else what the file held at the last synchronisation. The caller releases.
  CFPropertyListRef CopyValue(CFStringRef key);

  // Takes the value over as it is; null removes the key.
  void SetValue(CFStringRef key, Reference<CFPropertyListRef> value);

  // Writes key by key what was set, so what others have set meanwhile under other keys stays. False when the
  // file could not be read or written; nothing that was set is lost then.
  bool Synchronize();

 private:
  struct Change {
    Reference<CFStringRef> key;
    Reference<CFPropertyListRef> value;
  };
  using Changes = std::vector<Change>;

  Changes CopyChanges();
  void TakeOver(const Changes& written) REQUIRES(synchronizing_);

  Lock synchronizing_;  // held while the file is read or written; taken before lock_
  PreferencesFile file_ GUARDED_BY(synchronizing_);
  PreferencesFile::Reading reading_ GUARDED_BY(synchronizing_);

  Lock lock_;
  bool loaded_ GUARDED_BY(lock_) = false;
  Reference<CFDictionaryRef> stored_ GUARDED_BY(lock_);  // null: nothing
  Changes changes_ GUARDED_BY(lock_);                    // each key once
};

}  // namespace platform::cf
