// What a legacy observer shows: the tile stream that it sends to the service, received in the service's
// place.
#pragma once
#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "legacy/RCTileDecoder.h"
#include "platform/ThreadSafety.h"
#include "rcserv/Rect.h"
#include "tools/ChangeCount.h"
#include "tools/ServicePort.h"

namespace tools {

// For desktops whose corner is the origin of the display's coordinates, as every X server's is.
//
// One thread; what arrives is decoded on the port's.
class TileClient {
 public:
  // From here on the stream can come. False when the service's port is taken.
  [[nodiscard]] bool Start() { return port_.Start(); }

  // What was waited for, or why it has not come.
  enum class Wait {
    kThere,
    kTimedOut,
    kRefused,  // the stream makes no sense, and is not followed any further: Error() says why
    kInterrupted
  };
  // For the observer to say that a session runs.
  [[nodiscard]] Wait ForSession(std::chrono::milliseconds limit, bool (*interrupted)());
  // For every display to be drawn.
  [[nodiscard]] Wait ForPicture(std::chrono::milliseconds limit, bool (*interrupted)());
  // For any message.
  [[nodiscard]] Wait ForMessage(std::chrono::milliseconds limit, bool (*interrupted)());

  // The observer has told its desktop, which it does when a session begins.
  [[nodiscard]] bool KnowsDesktop();
  [[nodiscard]] std::string Error();
  // The desktop as it is now.
  [[nodiscard]] RCTileDecoder Picture();

  struct Traffic {
    ChangeCount changes;  // an update is a frame, also one that shows nothing new
    size_t bytes = 0;     // of all messages
  };
  // Since the last call.
  [[nodiscard]] Traffic TakeTraffic();
  // How many messages were no records of an observer. They are passed over.
  [[nodiscard]] int StrangeMessages();

 private:
  struct Seen {
    bool session = false;
    bool desktop = false;
    bool everyDisplay = false;
    bool message = false;  // since the last ForMessage()
  };
  [[nodiscard]] Wait For(bool Seen::*what, std::chrono::milliseconds limit, bool (*interrupted)())
      EXCLUDES(lock_);
  void Take(std::span<const uint8_t> data) EXCLUDES(lock_);
  void TakeRecord(std::span<const uint8_t> record) REQUIRES(lock_);
  void TakeTiles(std::span<const uint8_t> message) REQUIRES(lock_);
  void TakeDrawn(const tiles::Area& area) REQUIRES(lock_);

  Lock lock_;
  Condition changed_;
  RCTileDecoder decoder_ GUARDED_BY(lock_);
  std::string error_ GUARDED_BY(lock_);
  Seen seen_ GUARDED_BY(lock_);
  // Frames since the desktop was told, until every display is among them.
  std::vector<rcserv::Rect> drawn_ GUARDED_BY(lock_);
  Traffic traffic_ GUARDED_BY(lock_);
  int strange_ GUARDED_BY(lock_) = 0;
  // Last: its thread uses all the others.
  ServicePort port_{[this](std::span<const uint8_t> data) { Take(data); }};
};

}  // namespace tools
