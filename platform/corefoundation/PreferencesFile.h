// One preferences file on disk: reading it, and replacing it so that nobody ever sees half of it.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

#include <functional>
#include <string>

#include "platform/Handles.h"
#include "platform/corefoundation/Reference.h"

namespace platform::cf {

// Tells one state of a file from another: writers give every new state a later time of change than the one
// before, because the number of a replaced file may be given to the next.
struct FileStamp {
  int error = 0;  // why there is nothing to look at
  dev_t device = 0;
  ino_t number = 0;
  off_t size = 0;
  int64_t contentChanged = 0;  // nanoseconds
  int64_t rightsChanged = 0;

  bool operator==(const FileStamp&) const = default;
};

// One thread at a time; any number of processes. What goes wrong is told to the console once, until it goes
// well again, and stays in LastPreferencesTrouble().
class PreferencesFile {
 public:
  // What the file held when it was last looked at.
  struct Reading {
    FileStamp stamp;
    Reference<CFDictionaryRef> values;  // null when there are none
    // The file could be read, or there was none. What could not be read is never replaced.
    bool sound = true;
  };

  using Change = std::function<Reference<CFDictionaryRef>(CFDictionaryRef values)>;

  // `path` has a folder.
  explicit PreferencesFile(std::string path);

  // Takes over what has changed since `last`; one stat when nothing has. A damaged file is kept aside under
  // another name, if this process may, and reads as empty. False when the file cannot be read.
  bool Refresh(Reading& last);

  // With every other writer locked out: refreshes `last`, replaces the file by what `change` makes of its
  // values (which may be null), and lets `last` be that. False when the file could not be written; it is then
  // what it was.
  bool Update(Reading& last, const Change& change);

 private:
  struct Parsed;

  [[nodiscard]] FileStamp Stamp() const;
  [[nodiscard]] Parsed Parse() const;
  Reading Read(bool locked);
  // With the lock held. Says where the file is now.
  [[nodiscard]] std::string SetAside() const;
  // Nothing, with the reason, when this process may not write here or somebody does not let go.
  [[nodiscard]] UniqueFd LockOutOthers(std::string& whyNot) const;
  bool Replace(Reading& last, CFDictionaryRef values);
  // Returns errno's value, 0 when the file is in place.
  [[nodiscard]] int WriteNew(CFDataRef data, Reading& last) const;
  // Reports; false.
  bool Fail(const std::string& why);
  void Report(const std::string& trouble);
  void ReportClear();

  const std::string path_;
  const std::string lockPath_;
  // Its name is fixed: whatever lies there while the lock is held was left by a writer that was killed.
  const std::string newPath_;
  std::string reported_;
};

// The line that was last told to the console about a file that is still in trouble; empty when all is well.
std::string LastPreferencesTrouble();

}  // namespace platform::cf
