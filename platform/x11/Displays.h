// The monitors of the desktop, and the identifiers by which the system knows them.
#pragma once
#include <CoreGraphics/CGDirectDisplay.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/x11/PixelRect.h"

namespace platform::x11 {

class Connection;

struct DisplayInfo {
  CGDirectDisplayID id = kCGNullDirectDisplay;
  // Root coordinates, cut to the root. Never empty.
  PixelRect bounds;
  // True of the first one of a list only.
  bool main = false;
};
using DisplayList = std::vector<DisplayInfo>;

// The member with that identifier, or null.
[[nodiscard]] const DisplayInfo* Find(const DisplayList& displays, CGDirectDisplayID id);

// Any thread. An identifier belongs to a monitor's name for the life of the process.
class Displays {
 public:
  static Displays& Instance();

  // The displays as they are: what is kept, else what the server says now. Null when there is no server.
  [[nodiscard]] std::shared_ptr<const DisplayList> Now() EXCLUDES(lock_);

  // Asks the server. Null when it is gone.
  [[nodiscard]] std::shared_ptr<const DisplayList> Ask(Connection& connection) EXCLUDES(lock_);

  // The monitor's name, as the server's tools show it.
  [[nodiscard]] std::string NameOf(Connection& connection, CGDirectDisplayID id) EXCLUDES(lock_);

  // For the thread that hears of every change: `displays` holds until Forget().
  void Keep(std::shared_ptr<const DisplayList> displays) EXCLUDES(lock_);
  void Forget() EXCLUDES(lock_);

 private:
  Displays() = default;
  [[nodiscard]] CGDirectDisplayID IdOf(uint32_t nameAtom) EXCLUDES(lock_);

  Lock lock_;
  std::shared_ptr<const DisplayList> kept_ GUARDED_BY(lock_);
  // The server never gives the number of a name away again, so it stands for the name.
  std::map<uint32_t, CGDirectDisplayID> ids_ GUARDED_BY(lock_);
};

}  // namespace platform::x11
