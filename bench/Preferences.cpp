// How near is a look at a setting to a bare dictionary look-up, and a saved setting to a bare atomic write of
// the same file?
//
// A store of ordinary size (the remote-control defaults) in a folder of its own. Reading: the boolean that
// the input layer asks for, beside finding the same boolean in a dictionary in memory; and GetPrefs, which
// every read of the agent begins with, beside one stat of the file. Saving: one boolean, which writes the
// store anew, beside opening, writing, syncing and renaming the same bytes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "bench/Rounds.h"
#include "common/KCPrefsRemote.h"
#include "platform/Handles.h"

namespace {

constexpr int kRounds = 31;
constexpr int kReads = 2000;  // a round
constexpr int kSaves = 20;

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "preferences: %s failed\n", what);
  std::exit(1);
}

// The time of one of `count` calls.
template <class Work>
double Each(int count, Work&& work) {
  return bench::Microseconds([&] {
           for (int i = 0; i < count; ++i) work(i);
         }) /
         count;
}

void WriteBare(const std::string& path, const std::string& bytes) {
  const std::string next = path + ".new";
  const platform::UniqueFd file(open(next.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  Require(write(file.Get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "write");
  Require(fsync(file.Get()) == 0 && rename(next.c_str(), path.c_str()) == 0, "fsync or rename");
}

}  // namespace

int main() {
  std::string folder = "/tmp/preferences-XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, "a folder under /tmp");
  setenv("KORVANE_PREFERENCES_DIR", folder.c_str(), 1);
  const std::string path = folder + "/com.korvane.kvms.plist";

  const KCPrefsRemote* prefs = KCPrefsRemote::GetPrefs();
  (void)prefs->GetFTCapabilityFlags();  // stores the flags
  CFRelease(prefs->GetPerformanceSettings());
  prefs->SetBlankScreen(true);
  const StCFTypeRef<CFDictionaryRef> component(
      static_cast<CFDictionaryRef>(KCPrefsManager::GetKVMSPreference(kUSRApplicationID)));
  std::ifstream store(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(store), {}};

  int on = 0;
  struct stat found {};
  std::printf("a store of %zu bytes, %d rounds\n", bytes.size(), kRounds);
  const auto results = bench::Run(
      {{"dictionary look-up",
        [&] {
          return Each(kReads, [&](int) {
            on += CFDictionaryGetValue(component, kUSRPref_BlankScreen) == kCFBooleanTrue;
          });
        }},
       {"GetBlankScreen", [&] { return Each(kReads, [&](int) { on += prefs->GetBlankScreen(); }); }},
       {"stat of the file", [&] { return Each(kReads, [&](int) { on += stat(path.c_str(), &found); }); }},
       {"GetPrefs and GetBlankScreen",
        [&] { return Each(kReads, [&](int) { on += KCPrefsRemote::GetPrefs()->GetBlankScreen(); }); }},
       {"write, sync, rename",
        [&] { return Each(kSaves, [&](int) { WriteBare(folder + "/bare", bytes); }); }},
       {"SetBlankScreen", [&] { return Each(kSaves, [&](int i) { prefs->SetBlankScreen(i % 2 != 0); }); }}},
      kRounds);
  std::filesystem::remove_all(folder);
  Require(on > 0, "reading");
  std::printf(
      "a read at %.1f times a look-up, a fresh read at %.1f times a stat, a save at %.2f times a bare one\n",
      results[1].median / results[0].median, results[3].median / results[2].median,
      results[5].median / results[4].median);
}
