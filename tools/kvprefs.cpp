// kvprefs: shows and changes the agent's settings. Start reading in main(), at the end.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "broker/RootFolder.h"
#include "common/KCDebugging.h"
#include "common/KCasl.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"
#include "tools/PrefsComponent.h"
#include "tools/PrefsText.h"

namespace {

using tools::Effective;
using tools::PrefsComponent;
using tools::Setting;

enum ExitCode : int { kDone = 0, kFailed = 1, kUsage = 2 };

constexpr char kHelp[] =
    R"(kvprefs - shows and changes the settings of the agent

  kvprefs                          the components
  kvprefs COMPONENT                all settings of one, with their types and values
  kvprefs COMPONENT KEY            the value of one, alone
  kvprefs COMPONENT KEY VALUE      sets it
  kvprefs --remove COMPONENT KEY   gives it back its default
  kvprefs --help                   this text

  kvprefs remote AllowBlankScreen false
  kvprefs remote FileTransferFlags.Find true
  kvprefs remote PerformanceSettings.6.BitsPerPixel 24
  kvprefs machine "Computer - Computer Location" "Room 4"

Values
  boolean    true or false, also yes or no
  number     in decimal digits
  date       2026-11-21 or 2026-11-21T09:05:07Z
  data       hexadecimal digits, two for each byte
  URL        a URL, or the absolute path of a folder

Settings are those of the whole machine: everyone reads them, root changes them. They lie in com.korvane.kvms.plist and
com.korvane.uuid.plist in $KORVANE_PREFERENCES_DIR, else in /Library/Preferences. Programs that run see a change the next time
they look; nothing needs to be restarted.

Exit status
  0   done
  1   there is no such component or setting, the value is not of its type, the settings cannot be read or saved, or
      the answer cannot be printed
  2   the arguments make no sense
)";

// A value in a table: one line, of bounded length, without anything that a terminal would obey.
std::string OneLine(const std::string& text) {
  constexpr size_t kLongest = 60;
  std::string line;
  for (const char c : text) line += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c;
  if (line.size() <= kLongest) return line;
  size_t end = kLongest;
  while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) --end;  // whole characters only
  return line.substr(0, end) + "...";
}

size_t Width(const std::string& text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

void PrintAligned(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  constexpr size_t kGap = 2;
  for (const auto& row : rows) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      line += row[i];
      if (i + 1 < row.size()) line += std::string(widths[i] + kGap - Width(row[i]), ' ');
    }
    std::puts(line.c_str());
  }
}

std::string JoinNames(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : ", ") + name;
  return joined;
}

std::string Origin(const Effective& effective) {
  std::string origin = effective.isDefault ? "default" : "set";
  if (effective.ignored != nullptr)
    origin += "; \"" + OneLine(tools::ShowValue(effective.ignored)) + "\" is stored and does not count";
  return origin;
}

ExitCode ShowComponents() {
  std::vector<std::vector<std::string>> rows;
  for (const PrefsComponent& component : PrefsComponent::All())
    rows.push_back({component.Name(), component.About()});
  PrintAligned(rows);
  std::puts("\nkvprefs COMPONENT shows the settings of one; kvprefs --help says more.");
  return kDone;
}

ExitCode ShowAll(const PrefsComponent& component) {
  std::vector<std::vector<std::string>> rows{{"KEY", "TYPE", "VALUE", "FROM"}};
  for (const Setting& setting : component.List()) {
    const Effective effective = component.Get(setting);
    const std::string value = OneLine(tools::ShowValue(effective.value));
    rows.push_back({setting.name, tools::NameOfType(setting.type), value.empty() ? "-" : value,
                    setting.row != nullptr ? Origin(effective) : "set; in no table"});
  }
  PrintAligned(rows);
  return kDone;
}

// A group's entries with their names, everything else as the bare value.
ExitCode ShowOne(const PrefsComponent& component, const Setting& setting) {
  const std::vector<Setting> entries = component.Entries(setting);
  if (entries.empty()) {
    std::puts(tools::ShowValue(component.Get(setting).value).c_str());
    return kDone;
  }
  std::vector<std::vector<std::string>> rows;
  for (const Setting& entry : entries)
    rows.push_back({entry.name, tools::ShowValue(component.Get(entry).value)});
  PrintAligned(rows);
  return kDone;
}

ExitCode NotSaved() {
  const std::string trouble = platform::PreferencesTrouble();
  std::fprintf(stderr, "kvprefs: nothing was changed: %s\n",
               trouble.empty() ? "the settings could not be saved" : trouble.c_str());
  return kFailed;
}

ExitCode SetOne(const PrefsComponent& component, const Setting& setting, const std::string& text) {
  const std::vector<Setting> entries = component.Entries(setting);
  if (!entries.empty()) {
    std::fprintf(stderr, "kvprefs: %s is a group; set one of its entries, as %s\n", setting.name.c_str(),
                 entries.front().name.c_str());
    return kFailed;
  }
  if (setting.row == nullptr) {
    std::fprintf(stderr, "kvprefs: %s is in no table of settings; it can only be removed\n",
                 setting.name.c_str());
    return kFailed;
  }
  std::string wanted;
  const auto value = tools::ParseValue(text, setting.type, setting.noNegative, wanted);
  if (value == nullptr) {
    std::fprintf(stderr, "kvprefs: %s takes %s, not \"%s\"\n", setting.name.c_str(), wanted.c_str(),
                 text.c_str());
    return kFailed;
  }
  return component.Set(setting, value) ? kDone : NotSaved();
}

ExitCode UnknownComponent(const std::string& name) {
  std::vector<std::string> names;
  for (const PrefsComponent& component : PrefsComponent::All()) names.emplace_back(component.Name());
  std::fprintf(stderr, "kvprefs: there is no component \"%s\"; there are %s\n", name.c_str(),
               JoinNames(names).c_str());
  return kFailed;
}

ExitCode UnknownSetting(const PrefsComponent& component, const std::string& name) {
  const std::string near = JoinNames(component.NamesLike(name));
  if (near.empty()) {
    std::fprintf(stderr, "kvprefs: %s has no setting \"%s\"; kvprefs %s shows them all\n", component.Name(),
                 name.c_str(), component.Name());
  } else {
    std::fprintf(stderr, "kvprefs: %s has no setting \"%s\"; did you mean %s?\n", component.Name(),
                 name.c_str(), near.c_str());
  }
  return kFailed;
}

// What is stored must be known before anything is shown or changed. False when it cannot be read.
bool ReadSettings(const PrefsComponent& component) {
  const bool read = component.Refresh();
  const std::string trouble = platform::PreferencesTrouble();
  if (!trouble.empty()) std::fprintf(stderr, "kvprefs: %s\n", trouble.c_str());
  return read;
}

ExitCode Run(const std::vector<std::string>& words, bool remove) {
  if (words.empty()) return ShowComponents();
  const PrefsComponent* const component = PrefsComponent::Find(words[0]);
  if (component == nullptr) return UnknownComponent(words[0]);
  if (!ReadSettings(*component)) return kFailed;
  if (words.size() == 1) return ShowAll(*component);

  const auto setting = component->Lookup(words[1]);
  if (!setting) return UnknownSetting(*component, words[1]);
  if (remove) return component->Remove(*setting) ? kDone : NotSaved();
  return words.size() == 2 ? ShowOne(*component, *setting) : SetOne(*component, *setting, words[2]);
}

ExitCode Misused(const std::string& why) {
  std::fprintf(stderr, "kvprefs: %s; see kvprefs --help\n", why.c_str());
  return kUsage;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> words;
  bool remove = false;
  bool optionsEnded = false;
  for (int i = 1; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (optionsEnded || !word.starts_with("--")) {
      words.emplace_back(word);  // a negative number too
    } else if (word == "--help") {
      std::fputs(kHelp, stdout);
      return kDone;
    } else if (word == "--remove") {
      remove = true;
    } else if (word == "--") {
      optionsEnded = true;
    } else {
      return Misused("unknown option " + std::string(word));
    }
  }
  if (words.size() > 3) return Misused("unexpected argument " + words[3]);
  if (remove && words.size() != 2) return Misused("--remove needs a component and a key, and nothing else");

  // What goes wrong is told to the person who asked, not to the agent's log.
  ASLSetFilter(0);
  gDebugAction = 0;
  platform::EchoConsoleLog(false);
  // Some defaults are folders of this installation.
  SettleRootFolder(StCFTypeRef<CFURLRef>(CFBundleCopyBundleURL(CFBundleGetMainBundle())));
  const ExitCode status = Run(words, remove);
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  std::fprintf(stderr, "kvprefs: cannot print: %s\n", std::strerror(errno));
  return kFailed;
}
