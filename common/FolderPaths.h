// The table of the agent's locations and how a path is put together from it; touches no file.
#pragma once
#include <optional>
#include <string>
#include <string_view>

#include "common/KCFolderManager.h"

// What the locations are resolved against.
struct FolderRoots {
  std::string root;
  bool standalone = false;
  // Gives the user's temporary folder; called only for a location that lies there.
  std::string (*temporaryFolder)() = nullptr;
};

struct FolderPlan {
  enum class Form { kPath, kEndpoint, kOpenCommand };

  // What must exist; empty when there is no such folder (no temporary folder).
  std::string folder;
  // Appended once the folder exists; may be empty.
  std::string_view leaf;
  Form form = Form::kPath;
};

// Nothing for a number that is no location.
std::optional<FolderPlan> PlanFolder(FolderLocations location, const FolderRoots& roots);

// What a lookup gives once the plan's folder exists.
std::string FinishPath(const FolderPlan& plan);

// `name` inside `folder`, with exactly one separator wherever there is one and none at the end.
std::string AppendPathComponent(std::string_view folder, std::string_view name);
