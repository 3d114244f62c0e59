#include "tools/TileClient.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

#include "broker/Commands.h"

namespace tools {
namespace {

using Bytes = std::span<const uint8_t>;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// How soon an interrupt is heard, which wakes nobody.
constexpr auto kSlice = 50ms;

constexpr uint8_t kSessionStarted = 0, kSessionEnd = 2, kPointerPosition = 4, kKeyboardLayout = 50;

// A record of the session has its length in its second byte. A message of the tile stream begins with other
// codes.
template <class Record>
bool Is(uint8_t code, Bytes record) {
  return record.size() == sizeof(Record) && record[0] == code && record[1] == sizeof(Record);
}

std::optional<Bytes> WithoutHeader(Bytes data) {
  StatusHeader header;
  if (data.size() <= sizeof header) return std::nullopt;
  std::memcpy(&header, data.data(), sizeof header);
  if (std::memcmp(header.magic, "RCH1", sizeof header.magic) != 0 || header.controlType != kControlStatus)
    return std::nullopt;
  return data.subspan(sizeof header);
}

int64_t PixelCount(const rcserv::Rect& rect) {
  return rect.IsEmpty() ? 0 : int64_t{rect.Width()} * rect.Height();
}

// At least so many pixels lie in one of the rectangles. All of them, when no three overlap.
int64_t LeastCovered(std::span<const rcserv::Rect> rects) {
  int64_t count = 0;
  for (size_t i = 0; i < rects.size(); ++i) {
    count += PixelCount(rects[i]);
    for (size_t j = 0; j < i; ++j) count -= PixelCount(Intersect(rects[i], rects[j]));
  }
  return count;
}

}  // namespace

// ---- waiting

TileClient::Wait TileClient::ForSession(std::chrono::milliseconds limit, bool (*interrupted)()) {
  return For(&Seen::session, limit, interrupted);
}

TileClient::Wait TileClient::ForPicture(std::chrono::milliseconds limit, bool (*interrupted)()) {
  return For(&Seen::everyDisplay, limit, interrupted);
}

TileClient::Wait TileClient::ForMessage(std::chrono::milliseconds limit, bool (*interrupted)()) {
  const Wait result = For(&Seen::message, limit, interrupted);
  const Locked locked(lock_);
  seen_.message = false;
  return result;
}

TileClient::Wait TileClient::For(bool Seen::*what, std::chrono::milliseconds limit, bool (*interrupted)()) {
  const auto deadline = Clock::now() + limit;
  const Locked locked(lock_);
  for (;;) {
    if (!error_.empty()) return Wait::kRefused;
    if (seen_.*what) return Wait::kThere;
    if (interrupted()) return Wait::kInterrupted;
    const auto now = Clock::now();
    if (now >= deadline) return Wait::kTimedOut;
    static_cast<void>(changed_.WaitUntil(lock_, std::min(deadline, now + kSlice)));
  }
}

bool TileClient::KnowsDesktop() {
  const Locked locked(lock_);
  return seen_.desktop;
}

std::string TileClient::Error() {
  const Locked locked(lock_);
  return error_;
}

RCTileDecoder TileClient::Picture() {
  const Locked locked(lock_);
  return decoder_;
}

TileClient::Traffic TileClient::TakeTraffic() {
  const Locked locked(lock_);
  return std::exchange(traffic_, {});
}

int TileClient::StrangeMessages() {
  const Locked locked(lock_);
  return strange_;
}

// ---- the port's thread

void TileClient::Take(Bytes data) {
  const Locked locked(lock_);
  traffic_.bytes += data.size();
  if (const auto record = WithoutHeader(data))
    TakeRecord(*record);
  else if (!Is<KeyboardLayoutRecord>(kKeyboardLayout, data))
    ++strange_;
  seen_.message = true;
  changed_.NotifyAll();
}

void TileClient::TakeRecord(Bytes record) {
  if (Is<SessionStartedRecord>(kSessionStarted, record))
    seen_.session = true;
  else if (!Is<SessionEndRecord>(kSessionEnd, record) && !Is<PointerPositionRecord>(kPointerPosition, record))
    TakeTiles(record);
}

void TileClient::TakeTiles(Bytes message) {
  // Frames of a view that began before us are nothing to start from.
  const bool begins = message[0] == tiles::kDimensionsMessage;
  if (!error_.empty() || !(seen_.desktop || begins)) return;
  switch (decoder_.Take(message)) {
    case RCTileDecoder::Result::kMoreToCome:
      break;
    case RCTileDecoder::Result::kDesktop:
      seen_.desktop = true;
      if (begins) drawn_.clear();
      break;
    case RCTileDecoder::Result::kNoPixels:
      traffic_.changes.Add({});
      // Every display is drawn once before it is looked at again.
      seen_.everyDisplay = seen_.everyDisplay || !drawn_.empty();
      break;
    case RCTileDecoder::Result::kPicture:
      TakeDrawn(decoder_.Drawn());
      break;
    case RCTileDecoder::Result::kRefused:
      error_ = decoder_.Error();
      break;
  }
}

// The first frame of a display shows all of it, and the later ones lie inside.
void TileClient::TakeDrawn(const tiles::Area& area) {
  const rcserv::Rect rect = rcserv::MakeLTRB(area.left, area.top, area.right, area.bottom);
  traffic_.changes.Add({&rect, 1});
  if (seen_.everyDisplay) return;
  const bool again = std::any_of(drawn_.begin(), drawn_.end(),
                                 [&](const rcserv::Rect& before) { return Intersect(before, rect) == rect; });
  drawn_.push_back(rect);
  seen_.everyDisplay = again || LeastCovered(drawn_) == int64_t{decoder_.Width()} * decoder_.Height();
}

}  // namespace tools
