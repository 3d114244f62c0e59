// Where the picture comes from: the observer's shared screen, or its tile stream.
#pragma once
#include <cstdint>
#include <vector>

#include "rcserv/Rect.h"
#include "rcserv/ScreenClient.h"
#include "service/remote/ServiceMessages.h"
#include "service/remote/UpdateEncoder.h"

namespace remote {

// One thread, the screen thread.
class ScreenSource {
 public:
  using Answer = rcserv::ScreenClient::Answer;

  virtual ~ScreenSource() = default;

  // Connects, asks, or goes on waiting for the answer; never waits. Pixels change in here alone.
  [[nodiscard]] virtual Answer Ask() = 0;
  // Readable when Ask() has news; -1 without a connection.
  [[nodiscard]] virtual int Descriptor() const = 0;
  // Its process runs. False, too, as long as it was not found.
  [[nodiscard]] virtual bool ObserverLives() = 0;
  // The next Ask() begins with a new screen.
  virtual void Drop() = 0;

  [[nodiscard]] virtual ScreenShape Shape() const = 0;
  // Where the screen's corner lies on the desktop.
  struct Origin {
    int x = 0, y = 0;
  };
  [[nodiscard]] virtual Origin Corner() const = 0;
  // In the screen.
  [[nodiscard]] virtual const std::vector<rcserv::Rect>& Changes() const = 0;
  [[nodiscard]] virtual PixelView Pixels() const = 0;
};

}  // namespace remote
