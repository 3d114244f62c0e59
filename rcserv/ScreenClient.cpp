#include "rcserv/ScreenClient.h"

#include <utility>
#include <variant>

namespace rcserv {

using screen_ipc::NewScreen;
using screen_ipc::Update;

ScreenClient::Answer ScreenClient::Ask(uint32_t timeoutMs) {
  changes_.clear();
  switch (connection_.MakeRequest(record_, timeoutMs)) {
    case screen_ipc::kDone:
      return std::visit([this](auto&& response) { return Take(std::forward<decltype(response)>(response)); },
                        ParseResponse(record_));
    case screen_ipc::kTimedOut:
      return Answer::kSilent;
    case screen_ipc::kFailed:
      break;
  }
  return Answer::kLost;
}

ScreenClient::Answer ScreenClient::Take(NewScreen screen) {
  pixels_ = OpenScreen(screen);
  if (!pixels_) return Take(std::monostate());
  screen_ = std::move(screen);
  changes_.push_back(Area());
  return Answer::kNewScreen;
}

ScreenClient::Answer ScreenClient::Take(const Update& update) {
  if (!pixels_) return Take(std::monostate());
  for (const Rect& area : update.rects) {
    const Rect shown = InSurface(screen_, area);
    if (!shown.IsEmpty()) changes_.push_back(shown);
  }
  return Answer::kChanges;
}

// What cannot be shown is dropped with its connection.
ScreenClient::Answer ScreenClient::Take(std::monostate) {
  Disconnect();
  return Answer::kLost;
}

void ScreenClient::Disconnect() {
  if (Descriptor() >= 0) connection_.Disconnect();
  pixels_ = {};
  screen_ = {};
}

Rect ScreenClient::Area() const { return MakeXYWH(0, 0, screen_.width, screen_.height); }

std::optional<Rect> ScreenClient::MonitorArea(uint32_t id) const {
  const auto found = screen_.monitors.find(id);
  if (found == screen_.monitors.end()) return std::nullopt;
  return Intersect(found->second.rect, Area());
}

const std::byte* ScreenClient::PixelsAt(int x, int y) const { return pixels_->BitsAt(x, y); }

}  // namespace rcserv
