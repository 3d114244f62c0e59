// The settings of one component of the agent, as a tool walks them. Nothing here goes through the getters
// that heal the store: looking at settings changes none.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "common/KCPrefsTable.h"
#include "common/StCFTypeRef.h"

namespace tools {

// A setting, or an entry inside one: "FileTransferFlags.Find", "PerformanceSettings.6.BitsPerPixel".
struct Setting {
  std::string name;
  CFStringRef key;  // borrowed from the table or kept by `ownKey`
  StCFTypeRef<CFStringRef> ownKey;
  std::vector<std::string> steps;  // into the dictionary under the key
  KCPrefType type;
  bool noNegative = false;
  const KCPrefRow* row;  // null: stored, but in no table
};

// What applies, and why.
struct Effective {
  StCFTypeRef<CFTypeRef> value;  // null: none
  bool isDefault = true;
  StCFTypeRef<CFTypeRef> ignored;  // stored, but of a type that does not count
};

class PrefsComponent {
 public:
  // "remote", "scanner", "patch", "machine", in this order.
  static std::span<const PrefsComponent> All();
  // By name or identifier; null when there is none.
  static const PrefsComponent* Find(const std::string& name);

  [[nodiscard]] const char* Name() const { return name_; }
  [[nodiscard]] const char* About() const { return about_; }

  // Takes over what the files hold now. False when one cannot be read.
  [[nodiscard]] bool Refresh() const;

  // Every setting with its entries, and what is stored besides.
  [[nodiscard]] std::vector<Setting> List() const;
  // By its name; a group (all of "FileTransferFlags") too. Nothing when there is none.
  [[nodiscard]] std::optional<Setting> Lookup(const std::string& name) const;
  // The names that are most like `name`; none when nothing is.
  [[nodiscard]] std::vector<std::string> NamesLike(const std::string& name) const;
  // The entries of a group; empty for a single setting.
  [[nodiscard]] std::vector<Setting> Entries(const Setting& group) const;

  [[nodiscard]] Effective Get(const Setting& setting) const;
  // False when it could not be saved.
  [[nodiscard]] bool Set(const Setting& setting, CFTypeRef value) const;
  // Back to the default; an entry takes its default's value.
  [[nodiscard]] bool Remove(const Setting& setting) const;

 private:
  PrefsComponent(const char* name, const char* about, CFStringRef identifier, std::span<const KCPrefRow> rows)
      : name_(name), about_(about), identifier_(identifier), rows_(rows) {}

  [[nodiscard]] StCFTypeRef<CFTypeRef> CopyStored(CFStringRef key) const;
  [[nodiscard]] bool Save(CFStringRef key, CFTypeRef value) const;
  [[nodiscard]] std::vector<Setting> Unlisted() const;
  void AddEntries(const KCPrefRow& row, std::vector<Setting>& list) const;

  const char* name_;
  const char* about_;
  CFStringRef identifier_;  // null: the values lie in the domains themselves
  std::span<const KCPrefRow> rows_;
};

// Those of `names` that are nearest to `name`, the best first, ignoring case; none when nothing is near.
std::vector<std::string> NearestNames(const std::string& name, const std::vector<std::string>& names);

}  // namespace tools
