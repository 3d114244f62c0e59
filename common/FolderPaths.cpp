#include "common/FolderPaths.h"

#include <array>

namespace {

using Form = FolderPlan::Form;

constexpr std::string_view kSharedCommonFolder = "/usr/local/Korvane/common/";

// Where the folder of a location lies.
enum class Base {
  kRoot,       // in the root folder, or the root folder itself when no name is given
  kCommon,     // a fixed folder; in the root folder when stand-alone
  kSessionTmp  // in the root folder; the user's temporary folder when stand-alone
};

struct Row {
  Base base;
  std::string_view name;
  std::string_view leaf;
  Form form = Form::kPath;
};

// One row a location, in the order of FolderLocations. The bundles and the web root are folders themselves,
// so they exist even before something is installed there.
constexpr std::array<Row, kFolderSocketLogin + 1> kRows{{
    {Base::kRoot, "bin", "kvnotify"},
    {Base::kRoot, "bin", ""},
    {Base::kRoot, "bin/kvchatclient.app", "", Form::kOpenCommand},
    {Base::kRoot, "data/pids", ""},
    {Base::kRoot, "bin/kvremotemenu.app", ""},
    {Base::kRoot, "bin/kvplacard.app", ""},
    {Base::kRoot, "Scans", ""},
    {Base::kRoot, "sdcache", ""},
    {Base::kCommon, "usr/common/", ""},
    {Base::kRoot, "bin/rcwebroot", ""},
    {Base::kRoot, "", ""},
    {Base::kRoot, "", "Korvane.log"},
    {Base::kRoot, "data", "slmdata.plist"},
    {Base::kRoot, "data", "KvAppl3.ini"},
    {Base::kRoot, "data", "appsdata.db"},
    {Base::kRoot, "tmp", "userprofiles.plist"},
    {Base::kSessionTmp, "/tmp", "sipc.uds"},
    {Base::kSessionTmp, "/tmp", "sfb"},
    {Base::kSessionTmp, "/tmp", "observe", Form::kEndpoint},
    {Base::kRoot, "tmp/socket", "usr", Form::kEndpoint},
    {Base::kRoot, "tmp/socket", "sys", Form::kEndpoint},
    {Base::kRoot, "tmp/socket", "susr", Form::kEndpoint},
    {Base::kRoot, "tmp/socket", "login", Form::kEndpoint},
}};

std::string FolderOf(const Row& row, const FolderRoots& roots) {
  if (row.base == Base::kCommon && !roots.standalone) return std::string(kSharedCommonFolder);
  if (row.base == Base::kSessionTmp && roots.standalone) return roots.temporaryFolder();
  return row.name.empty() ? roots.root : AppendPathComponent(roots.root, row.name);
}

}  // namespace

std::optional<FolderPlan> PlanFolder(FolderLocations location, const FolderRoots& roots) {
  const auto index = static_cast<size_t>(location);  // a negative number is too large as well
  if (index >= kRows.size()) return std::nullopt;
  const Row& row = kRows[index];
  return FolderPlan{FolderOf(row, roots), row.leaf, row.form};
}

std::string FinishPath(const FolderPlan& plan) {
  std::string path = plan.leaf.empty() ? plan.folder : AppendPathComponent(plan.folder, plan.leaf);
  switch (plan.form) {
    case Form::kEndpoint:
      return "ipc://" + path;
    case Form::kOpenCommand:
      return "/usr/bin/open \"" + path + "\"";
    case Form::kPath:
      break;
  }
  return path;
}

std::string AppendPathComponent(std::string_view folder, std::string_view name) {
  std::string joined;
  joined.reserve(folder.size() + name.size() + 1);
  const auto append = [&joined](std::string_view part) {
    for (const char c : part)
      if (c != '/' || joined.empty() || joined.back() != '/') joined += c;
  };
  append(folder);
  if (!joined.empty()) append("/");
  append(name);
  if (joined.size() > 1 && joined.back() == '/') joined.pop_back();
  return joined;
}
