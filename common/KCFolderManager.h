// Where everything of the agent lies: one lookup by number for folders, tools, files and socket endpoints.
//
// Any thread; nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

// The numbers are fixed. Folders end without a leaf, the others are files or endpoints ("ipc://" and a path)
// in them.
enum FolderLocations : int32_t {
  kFolderNotifyTool = 0,
  kFolderBin = 1,
  kFolderChatClient = 2,  // a command line that opens the bundle
  kFolderPids = 3,
  kFolderRemoteMenu = 4,
  kFolderPlacard = 5,
  kFolderScans = 6,
  kFolderSDCache = 7,
  kFolderCommon = 8,
  kFolderWebRoot = 9,
  kFolderRoot = 10,
  kFolderLogFile = 11,
  kFolderSLMData = 12,
  kFolderApplIni = 13,
  kFolderAppsDB = 14,
  kFolderUserProfiles = 15,
  kFolderScreenIPCSocket = 16,
  kFolderSharedFrameBuffer = 17,  // a base name; the screen's number follows it
  kFolderObserveEndpoint = 18,
  kFolderSocketUsr = 19,
  kFolderSocketSys = 20,
  kFolderSocketSusr = 21,
  kFolderSocketLogin = 22
};

// Makes `path` (UTF-8) the root folder and the process stand-alone. Null changes nothing, nor does a path
// that is not UTF-8. Comes before the first lookup: what was looked up before stays as it was.
void SetRootFolder(const char* path);

// The location as UTF-8, valid for good; its folder is made when it is missing. Null for a number that is no
// location. When the folder cannot be made: the path of that folder alone, and the next call tries again.
const char* FetchFolder(FolderLocations location);

// The same as a borrowed string; null also when the folder cannot be made.
CFStringRef FetchFolderRef(FolderLocations location);

// SetRootFolder was called.
bool isStandALone();
