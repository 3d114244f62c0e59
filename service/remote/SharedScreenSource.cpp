#include "service/remote/SharedScreenSource.h"

#include <unistd.h>

#include "common/KCFolderManager.h"
#include "common/KCPidUtils.h"

namespace remote {

ScreenSource::Answer SharedScreenSource::Ask() {
  // An observer makes its socket some moments after its start; every try before would be a line of the log.
  if (Descriptor() < 0 && access(FetchFolder(kFolderScreenIPCSocket), F_OK) != 0) return Answer::kLost;
  return client_.Ask(0);
}

bool SharedScreenSource::ObserverLives() {
  return KCGetPIDForKeyFromFileWithConsoleUser("kvobserve", nullptr) != 0;
}

ScreenShape SharedScreenSource::Shape() const {
  const rcserv::Rect area = client_.Area();
  return {client_.Id(), area.Width(), area.Height(), client_.Monitors()};
}

PixelView SharedScreenSource::Pixels() const { return {client_.PixelsAt(0, 0), client_.StrideBytes()}; }

}  // namespace remote
