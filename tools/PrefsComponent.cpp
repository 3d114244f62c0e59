#include "tools/PrefsComponent.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <numeric>

#include "common/KCPrefsRemote.h"
#include "common/KCPrefsScanner.h"
#include "common/KCPrefsTarvex.h"
#include "tools/PrefsText.h"

namespace tools {

namespace {

using Value = StCFTypeRef<CFTypeRef>;

CFTypeRef NoDefault() { return nullptr; }

std::span<const KCPrefRow> MachineTable() {
  static const KCPrefRow rows[] = {{kZVTPref_ServerIPAddress, KCPrefType::kString, false,
                                    [] { return CFRetain(KCPrefsManager::GetDefaultServerIPAddress()); }},
                                   {kZVTPref_TenantUniqueId, KCPrefType::kString, false, NoDefault},
                                   {kZVTPref_Location, KCPrefType::kAny, false, NoDefault},
                                   {kZVTPref_HardwareUUID, KCPrefType::kString, false, NoDefault},
                                   {kZVTPref_ScannerUUID, KCPrefType::kString, false, NoDefault},
                                   {kZVTPref_ScannerUUIDSource, KCPrefType::kString, false, NoDefault},
                                   {kZVTPref_OldScannerUUID, KCPrefType::kString, false, NoDefault}};
  return rows;
}

CFStringRef DomainOf(CFStringRef machineKey) {
  for (const CFStringRef key :
       {kZVTPref_HardwareUUID, kZVTPref_ScannerUUID, kZVTPref_ScannerUUIDSource, kZVTPref_OldScannerUUID})
    if (CFEqual(key, machineKey)) return kKVMSUUIDID;
  return kKVMSApplicationID;
}

CFDictionaryRef AsDictionary(CFTypeRef value) {
  const bool is = value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
  return is ? static_cast<CFDictionaryRef>(value) : nullptr;
}

std::vector<std::string> KeysOf(CFDictionaryRef dictionary) {
  std::vector<const void*> keys(static_cast<size_t>(CFDictionaryGetCount(dictionary)));
  CFDictionaryGetKeysAndValues(dictionary, keys.data(), nullptr);
  std::vector<std::string> names;
  for (const void* key : keys) names.push_back(Utf8Of(static_cast<CFStringRef>(key)));
  // Levels by their number, everything else by name.
  std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
    const auto isNumber = [](const std::string& text) {
      return !text.empty() &&
             std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    };
    if (isNumber(a) && isNumber(b) && a.size() != b.size()) return a.size() < b.size();
    return a < b;
  });
  return names;
}

// Borrowed from `top`; null when a step leads nowhere.
CFTypeRef Follow(CFTypeRef top, std::span<const std::string> steps) {
  for (const std::string& step : steps) {
    const CFDictionaryRef dictionary = AsDictionary(top);
    if (dictionary == nullptr) return nullptr;
    top = CFDictionaryGetValue(dictionary, StringOf(step));
  }
  return top;
}

// `top`, which may be null, with the value at the end of the steps replaced; removed for null.
Value CreateWith(CFTypeRef top, std::span<const std::string> steps, CFTypeRef value) {
  if (steps.empty()) return Value(value, false);
  const CFDictionaryRef old = AsDictionary(top);
  StCFTypeRef<CFMutableDictionaryRef> changed(
      old != nullptr ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, old)
                     : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                 &kCFTypeDictionaryValueCallBacks));
  const auto key = StringOf(steps.front());
  const Value inner =
      CreateWith(old != nullptr ? CFDictionaryGetValue(old, key) : nullptr, steps.subspan(1), value);
  if (inner != nullptr) {
    CFDictionarySetValue(changed, key, inner);
  } else {
    CFDictionaryRemoveValue(changed, key);
  }
  return Value(changed.Release());
}

bool IsLevelNumber(const std::string& text) {
  unsigned number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number <= 255 &&
         std::to_string(number) == text;
}

// A group is stored whole, also for the sake of one entry: the others are as good as not set.
bool IsDefaultEntry(const Setting& setting, CFTypeRef value) {
  if (setting.steps.empty()) return false;
  const Value fallback(setting.row->createDefault());
  const CFTypeRef entry = Follow(fallback, setting.steps);
  return entry != nullptr && CFEqual(entry, value);
}

// What a getter takes for an answer.
bool Counts(CFTypeRef stored, KCPrefType type, bool negativeIsReplaced) {
  if (stored == nullptr || !IsOfType(stored, type)) return false;
  long long number = 0;
  if (negativeIsReplaced) CFNumberGetValue(static_cast<CFNumberRef>(stored), kCFNumberLongLongType, &number);
  return number >= 0;
}

constexpr const char* kLevelEntries[] = {"BitsPerPixel", "UpdatesPerSecond", "SecondsPerKeyFrame"};

KCPrefType TypeOfLevelEntry(const std::string& entry) {
  return entry == kLevelEntries[2] ? KCPrefType::kReal : KCPrefType::kNumber32;
}

Setting MakeSetting(const KCPrefRow& row) {
  return {Utf8Of(row.key), row.key, {}, {}, row.type, row.negativeIsReplaced, &row};
}

Setting MakeEntry(const KCPrefRow& row, std::vector<std::string> steps, KCPrefType type) {
  std::string name = Utf8Of(row.key);
  for (const std::string& step : steps) name += "." + step;
  return {std::move(name), row.key, {}, std::move(steps), type, type == KCPrefType::kNumber32, &row};
}

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Levenshtein's.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

}  // namespace

std::vector<std::string> NearestNames(const std::string& name, const std::vector<std::string>& names) {
  constexpr size_t kMostShown = 3;
  const std::string wanted = Lower(name);
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& candidate : names) {
    const std::string other = Lower(candidate);
    const bool contains = wanted.size() >= 3 && other.find(wanted) != std::string::npos;
    const size_t distance = contains ? 1 : Distance(wanted, other);
    if (distance <= 1 + name.size() / 4) near.emplace_back(distance, candidate);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  if (near.size() > kMostShown) near.resize(kMostShown);
  std::vector<std::string> best;
  for (auto& [distance, candidate] : near) best.push_back(std::move(candidate));
  return best;
}

std::span<const PrefsComponent> PrefsComponent::All() {
  static const PrefsComponent components[] = {
      {"remote", "remote control: what an operator may do, how the user is told, how the screen is sent",
       kUSRApplicationID, KCPrefsRemote::Table()},
      {"scanner", "the inventory scanner", kZVTApplicationID, KCPrefsScanner::Table()},
      {"patch", "the patch product", kTarvexApplicationID, KCPrefsTarvex::Table()},
      {"machine", "this machine: its server, location and identifiers", nullptr, MachineTable()}};
  return components;
}

const PrefsComponent* PrefsComponent::Find(const std::string& name) {
  for (const PrefsComponent& component : All()) {
    const bool byIdentifier = component.identifier_ != nullptr && Utf8Of(component.identifier_) == name;
    if (name == component.name_ || byIdentifier) return &component;
  }
  return nullptr;
}

bool PrefsComponent::Refresh() const {
  if (!KCPrefsManager::SynchronizePreferences()) return false;
  return identifier_ != nullptr ||
         CFPreferencesSynchronize(kKVMSUUIDID, kCFPreferencesAnyUser, kCFPreferencesCurrentHost) != 0;
}

Value PrefsComponent::CopyStored(CFStringRef key) const {
  if (identifier_ != nullptr) return Value(KCPrefsManager(identifier_).GetPreference(key));
  return Value(CFPreferencesCopyValue(key, DomainOf(key), kCFPreferencesAnyUser, kCFPreferencesCurrentHost));
}

bool PrefsComponent::Save(CFStringRef key, CFTypeRef value) const {
  if (identifier_ != nullptr) {
    KCPrefsManager(identifier_).SavePreference(key, value);
  } else {
    CFPreferencesSetValue(key, value, DomainOf(key), kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
  }
  return Refresh();  // tries again what was not saved, and tells whether that went well
}

void PrefsComponent::AddEntries(const KCPrefRow& row, std::vector<Setting>& list) const {
  const Effective effective = Get(MakeSetting(row));
  const Value fallback(row.createDefault());
  // A default that the stored dictionary lacks is shown too: it can be set.
  for (const std::string& entry : KeysOf(AsDictionary(effective.value))) {
    if (row.type == KCPrefType::kFlags) {
      list.push_back(MakeEntry(row, {entry}, KCPrefType::kBoolean));
      continue;
    }
    const CFTypeRef level = Follow(effective.value, std::span(&entry, 1));
    if (AsDictionary(level) == nullptr) continue;
    for (const std::string& inner : KeysOf(AsDictionary(level)))
      list.push_back(MakeEntry(row, {entry, inner}, TypeOfLevelEntry(inner)));
  }
  for (const std::string& entry : KeysOf(AsDictionary(fallback))) {
    if (Follow(effective.value, std::span(&entry, 1)) == nullptr && row.type == KCPrefType::kFlags)
      list.push_back(MakeEntry(row, {entry}, KCPrefType::kBoolean));
  }
}

std::vector<Setting> PrefsComponent::List() const {
  std::vector<Setting> list;
  for (const KCPrefRow& row : rows_) {
    if (row.type == KCPrefType::kFlags || row.type == KCPrefType::kLevels) {
      AddEntries(row, list);
    } else {
      list.push_back(MakeSetting(row));
    }
  }
  for (Setting& other : Unlisted()) list.push_back(std::move(other));
  return list;
}

// A domain's other keys are the components themselves, so only a component has such.
std::vector<Setting> PrefsComponent::Unlisted() const {
  std::vector<Setting> list;
  if (identifier_ == nullptr) return list;
  const Value stored(KCPrefsManager::GetKVMSPreference(identifier_));
  if (AsDictionary(stored) == nullptr) return list;
  for (const std::string& name : KeysOf(AsDictionary(stored))) {
    const auto listed = [&name](const KCPrefRow& row) { return Utf8Of(row.key) == name; };
    if (std::any_of(rows_.begin(), rows_.end(), listed)) continue;
    Setting setting{name, nullptr, StringOf(name), {}, KCPrefType::kAny, false, nullptr};
    setting.key = setting.ownKey;
    list.push_back(std::move(setting));
  }
  return list;
}

std::optional<Setting> PrefsComponent::Lookup(const std::string& name) const {
  for (const KCPrefRow& row : rows_) {
    const std::string key = Utf8Of(row.key);
    if (name == key) return MakeSetting(row);
    if (!name.starts_with(key + ".")) continue;
    const std::string entry = name.substr(key.size() + 1);
    const Value fallback(row.createDefault());
    if (row.type == KCPrefType::kFlags) {
      if (Follow(fallback, std::span(&entry, 1)) == nullptr) return std::nullopt;
      return MakeEntry(row, {entry}, KCPrefType::kBoolean);
    }
    const size_t dot = entry.find('.');
    if (row.type != KCPrefType::kLevels || dot == std::string::npos) return std::nullopt;
    std::vector<std::string> steps{entry.substr(0, dot), entry.substr(dot + 1)};
    const bool known =
        std::find(std::begin(kLevelEntries), std::end(kLevelEntries), steps[1]) != std::end(kLevelEntries);
    if (!IsLevelNumber(steps[0]) || !known) return std::nullopt;
    const KCPrefType type = TypeOfLevelEntry(steps[1]);
    return MakeEntry(row, std::move(steps), type);
  }
  for (Setting& other : Unlisted())
    if (other.name == name) return std::move(other);
  return std::nullopt;
}

std::vector<std::string> PrefsComponent::NamesLike(const std::string& name) const {
  std::vector<std::string> names;
  for (const Setting& setting : List()) names.push_back(setting.name);
  for (const KCPrefRow& row : rows_)
    if (row.type == KCPrefType::kFlags || row.type == KCPrefType::kLevels) names.push_back(Utf8Of(row.key));
  return NearestNames(name, names);
}

std::vector<Setting> PrefsComponent::Entries(const Setting& group) const {
  std::vector<Setting> list;
  const bool isGroup = group.type == KCPrefType::kFlags || group.type == KCPrefType::kLevels;
  if (isGroup && group.row != nullptr) AddEntries(*group.row, list);
  return list;
}

Effective PrefsComponent::Get(const Setting& setting) const {
  Value stored = CopyStored(setting.key);
  if (setting.row == nullptr) return {std::move(stored), false, {}};

  Effective effective;
  if (Counts(stored, setting.row->type, setting.row->negativeIsReplaced)) {
    effective.isDefault = false;
  } else {
    effective.ignored = std::move(stored);
    stored = Value(setting.row->createDefault());
  }
  const CFTypeRef value = Follow(stored, setting.steps);
  if (Counts(value, setting.type, false)) {
    effective.value = Value(CFRetain(value));
    effective.isDefault = effective.isDefault || IsDefaultEntry(setting, value);
  } else if (!setting.steps.empty()) {
    if (value != nullptr) effective.ignored = Value(CFRetain(value));
    // A flag that is not there, or no boolean, is off.
    if (setting.type == KCPrefType::kBoolean) effective.value = Value(kCFBooleanFalse, false);
  }
  return effective;
}

bool PrefsComponent::Set(const Setting& setting, CFTypeRef value) const {
  if (setting.steps.empty()) return Save(setting.key, value);
  // What is not stored yet is stored whole, as the setter of a single flag does.
  const Effective group = Get(MakeSetting(*setting.row));
  return Save(setting.key, CreateWith(group.value, setting.steps, value));
}

bool PrefsComponent::Remove(const Setting& setting) const {
  if (CopyStored(setting.key) == nullptr) return true;
  if (setting.steps.empty()) return Save(setting.key, nullptr);
  const Value fallback(setting.row->createDefault());
  return Set(setting, Follow(fallback, setting.steps));
}

}  // namespace tools
