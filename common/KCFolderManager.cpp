#include "common/KCFolderManager.h"

#include <array>
#include <set>
#include <string>

#include "common/FolderPaths.h"
#include "common/StCFTypeRef.h"
#include "platform/System.h"
#include "platform/ThreadSafety.h"

namespace {

struct Location {
  std::string path;
  StCFTypeRef<CFStringRef> reference;
};

struct FolderState {
  Lock lock;
  std::string root GUARDED_BY(lock) = "/Library/Application Support/Korvane/";
  bool standalone GUARDED_BY(lock) = false;
  // Every location that was resolved; an entry never changes again.
  std::array<Location, kFolderSocketLogin + 1> roots GUARDED_BY(lock);
  // What was answered for folders that could not be made: kept only because callers never free an answer.
  std::set<std::string> bareFolders GUARDED_BY(lock);
};

// Never destroyed: threads look up the log file while the exit handlers run.
FolderState& State() {
  static FolderState& state = *new FolderState;
  return state;
}

bool IsLocation(FolderLocations location) {
  return location >= 0 && static_cast<size_t>(location) <= kFolderSocketLogin;
}

const char* Cached(FolderLocations location) {
  FolderState& state = State();
  const Locked locked(state.lock);
  const Location& entry = state.roots[static_cast<size_t>(location)];
  return entry.reference != nullptr ? entry.path.c_str() : nullptr;
}

FolderRoots CurrentRoots() {
  FolderState& state = State();
  const Locked locked(state.lock);
  return {state.root, state.standalone, &platform::UserTemporaryFolder};
}

const char* KeepBareFolder(const std::string& folder) {
  FolderState& state = State();
  const Locked locked(state.lock);
  return state.bareFolders.insert(folder).first->c_str();
}

// The first of several threads that resolve a location at once decides.
const char* Keep(FolderLocations location, std::string path) {
  StCFTypeRef<CFStringRef> reference{
      CFStringCreateWithCString(kCFAllocatorDefault, path.c_str(), kCFStringEncodingUTF8)};
  if (reference == nullptr) return KeepBareFolder(path);  // a temporary folder whose name is not UTF-8

  FolderState& state = State();
  const Locked locked(state.lock);
  Location& entry = state.roots[static_cast<size_t>(location)];
  if (entry.reference == nullptr) entry = {std::move(path), std::move(reference)};
  return entry.path.c_str();
}

}  // namespace

void SetRootFolder(const char* path) {
  if (path == nullptr) return;
  const StCFTypeRef<CFStringRef> text{
      CFStringCreateWithCString(kCFAllocatorDefault, path, kCFStringEncodingUTF8)};
  if (text == nullptr) {
    // Not through the agent's log: that would look its file up under the wrong root.
    platform::ConsoleLog("SetRootFolder: not UTF-8, ignored: %s", path);
    return;
  }
  FolderState& state = State();
  const Locked locked(state.lock);
  state.root = path;
  state.standalone = true;
}

const char* FetchFolder(FolderLocations location) {
  if (!IsLocation(location)) return nullptr;
  if (const char* path = Cached(location)) return path;

  const std::optional<FolderPlan> plan = PlanFolder(location, CurrentRoots());
  if (!platform::CreateFolders(plan->folder)) return KeepBareFolder(plan->folder);
  return Keep(location, FinishPath(*plan));
}

CFStringRef FetchFolderRef(FolderLocations location) {
  if (FetchFolder(location) == nullptr) return nullptr;
  FolderState& state = State();
  const Locked locked(state.lock);
  return state.roots[static_cast<size_t>(location)].reference;
}

bool isStandALone() {
  FolderState& state = State();
  const Locked locked(state.lock);
  return state.standalone;
}
