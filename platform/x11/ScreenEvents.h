// The events that tell of drawing and of changed monitors, on a connection of their own.
#pragma once
#include <CoreGraphics/CGGeometry.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace platform::x11 {

class Connection;

// One thread. Nobody else may use the connection: whoever waits for a reply takes events out of the socket,
// and a poll would then miss them.
class ScreenEvents {
 public:
  // Hears of monitor changes from now on. Null without a window server.
  static std::unique_ptr<ScreenEvents> Open();
  ~ScreenEvents();

  // Hears of drawing that happens after the return. False when the server cannot tell or is gone.
  [[nodiscard]] bool StartDrawing();
  void StopDrawing();
  [[nodiscard]] bool HearsDrawing() const { return damage_ != 0; }

  // Takes in what has arrived, without waiting: appends redrawn areas (root coordinates) to `redrawn`, which
  // is held to a few thousand a call, and sets `monitorsChanged`. False when the server is gone.
  [[nodiscard]] bool Drain(std::vector<CGRect>& redrawn, bool& monitorsChanged);

  [[nodiscard]] Connection& Server() { return *connection_; }
  [[nodiscard]] int Fd() const;

 private:
  explicit ScreenEvents(std::unique_ptr<Connection> connection);
  // `event` is one of XCB's, whose type has no name that could be declared here.
  void Read(const void* event, std::vector<CGRect>& redrawn, bool& monitorsChanged) const;

  std::unique_ptr<Connection> connection_;
  uint32_t damage_ = 0;
  uint8_t damageEvent_ = 0;
  uint8_t randrFirstEvent_ = 0;
  // A change that was seen while the first picture of the drawing was thrown away.
  bool missedChange_ = false;
};

}  // namespace platform::x11
