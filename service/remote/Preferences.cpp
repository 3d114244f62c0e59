#include "service/remote/Preferences.h"

#include <algorithm>

#include "common/KCPrefsRemote.h"

namespace remote {

Preferences ReadPreferences() {
  const KCPrefsRemote& stored = *KCPrefsRemote::GetPrefs();
  const bool session = stored.GetControlObserve();
  return {.session = session,
          .permissions = {.control = session,
                          .lock = session && stored.GetLockKeyboardMouse(),
                          .blank = session && stored.GetBlankScreen()},
          .notify = stored.GetObserveNotification(),
          .ask = stored.GetPermissionRequired()};
}

std::chrono::milliseconds ReadIdleLimit() {
  return std::chrono::minutes(std::max(KCPrefsRemote::GetPrefs()->GetInactivityTimeout(), 0));
}

}  // namespace remote
