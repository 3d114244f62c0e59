// The screen that an observer shows, kept up to date by asking.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "rcserv/Bitmap.h"
#include "rcserv/MonitorConfig.h"
#include "rcserv/Rect.h"
#include "rcserv/ScreenIPCApple.h"
#include "rcserv/ScreenResponse.h"

namespace rcserv {

// One thread.
class ScreenClient {
 public:
  enum class Answer {
    kNewScreen,  // the screen was set up, or set up anew: all of it changed
    kChanges,    // what Changes() tells, which may be nothing
    kSilent,     // no answer in time: ask again, the request stays open
    kLost        // no connection, or an answer that makes no sense: ask again to connect anew
  };

  // Sends a request and waits for its answer, whole seconds. A failure takes the whole time. With a time of 0
  // nothing waits: a caller that has other things to wait for polls the connection, and asks again.
  [[nodiscard]] Answer Ask(uint32_t timeoutMs);
  // Drops connection and screen, which the next request sets up anew.
  void Disconnect();
  // The connection's descriptor, readable when an answer came or when it is lost; -1 without one.
  [[nodiscard]] int Descriptor() const { return connection_.Descriptor(); }

  // Empty without a screen.
  [[nodiscard]] Rect Area() const;
  // The screen's, and where its top left corner lies on the desktop.
  [[nodiscard]] uint32_t Id() const { return screen_.id; }
  [[nodiscard]] int Left() const { return screen_.x; }
  [[nodiscard]] int Top() const { return screen_.y; }
  // In the screen, whose top left corner is (0, 0), and cut at its edges.
  [[nodiscard]] std::optional<Rect> MonitorArea(uint32_t id) const;
  [[nodiscard]] const rcserv::Monitors& Monitors() const { return screen_.monitors; }
  // In the screen; what lies outside of it has been cut off.
  [[nodiscard]] const std::vector<Rect>& Changes() const { return changes_; }
  // A pixel of the screen, 16 bits, and those to its right; rows lie StrideBytes() apart.
  [[nodiscard]] const std::byte* PixelsAt(int x, int y) const;
  [[nodiscard]] int StrideBytes() const { return screen_.stride; }

 private:
  [[nodiscard]] Answer Take(screen_ipc::NewScreen screen);
  [[nodiscard]] Answer Take(const screen_ipc::Update& update);
  [[nodiscard]] Answer Take(std::monostate);

  screen_ipc::Cli connection_;
  screen_ipc::ResponseRecord record_{};
  screen_ipc::NewScreen screen_;
  BitmapT<kScreenFormat> pixels_;
  std::vector<Rect> changes_;
};

}  // namespace rcserv
