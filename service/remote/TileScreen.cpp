#include "service/remote/TileScreen.h"

#include <fcntl.h>
#include <poll.h>

#include <cstring>
#include <utility>

#include "service/remote/Audit.h"

namespace remote {
namespace {

using rcserv::Rect;
using Clock = std::chrono::steady_clock;

// An observer that has nothing to show says so several times a second.
constexpr auto kSilence = std::chrono::seconds(20);

// More areas than these are gathered into one.
constexpr size_t kMostAreas = 64;

uint16_t From565(uint16_t pixel) { return static_cast<uint16_t>((pixel >> 1 & 0x7FE0) | (pixel & 0x001F)); }

}  // namespace

void TileScreen::Expect(platform::UniqueFd process) {
  const Locked locked(lock_);
  decoder_.emplace();
  observer_ = std::move(process);
  heard_ = Clock::now();
  drawn_ = anew_ = false;
  areas_.clear();
}

void TileScreen::Take(std::span<const uint8_t> message) {
  {
    const Locked locked(lock_);
    heard_ = Clock::now();
    const bool begins = !message.empty() && message[0] == tiles::kDimensionsMessage;
    // Frames of a view that began before us are nothing to start from.
    if (!decoder_ || (decoder_->Width() == 0 && !begins)) return;
    switch (decoder_->Take(message)) {
      case RCTileDecoder::Result::kMoreToCome:
      case RCTileDecoder::Result::kNoPixels:
        return;
      case RCTileDecoder::Result::kDesktop:
        if (!begins) return;
        anew_ = true;
        drawn_ = false;
        areas_.clear();
        return;
      case RCTileDecoder::Result::kPicture: {
        const tiles::Area& area = decoder_->Drawn();
        const Rect rect = rcserv::MakeLTRB(area.left, area.top, area.right, area.bottom);
        drawn_ = true;
        if (areas_.size() < kMostAreas)
          areas_.push_back(rect);
        else
          areas_.back() = Unite(areas_.back(), rect);
        break;
      }
      case RCTileDecoder::Result::kRefused:
        // What is missing would stay missing: only a new stream helps.
        Audit("the tile stream makes no sense: %s", decoder_->Error().c_str());
        decoder_.reset();
        break;
    }
  }
  news_();
}

ScreenSource::Answer TileScreen::Ask() {
  changes_.clear();
  const Locked locked(lock_);
  if (!decoder_ || !drawn_ || !LivesLocked() || Clock::now() - heard_ > kSilence) {
    Drop();
    return Answer::kLost;
  }
  if (!process_) {
    process_.Reset(fcntl(observer_.Get(), F_DUPFD_CLOEXEC, 0));
    anew_ = true;
  }
  if (std::exchange(anew_, false)) {
    width_ = decoder_->Width();
    height_ = decoder_->Height();
    ++id_;
    pixels_.resize(static_cast<size_t>(width_) * static_cast<size_t>(height_));
    areas_.clear();
    CopyLocked(Area());
    changes_.push_back(Area());
    return Answer::kNewScreen;
  }
  for (const Rect& area : areas_) {
    CopyLocked(area);
    changes_.push_back(area);
  }
  areas_.clear();
  return Answer::kChanges;
}

void TileScreen::CopyLocked(const Rect& area) {
  const bool has565 = decoder_->Masks().kRedMask == tiles::kPixels565.kRedMask;
  const auto width = static_cast<size_t>(area.Width());
  for (int y = area.top; y < area.bottom; ++y) {
    const size_t at = static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(area.left);
    const uint16_t* const from = decoder_->Pixels().data() + at;
    uint16_t* const to = pixels_.data() + at;
    if (has565)
      for (size_t x = 0; x < width; ++x) to[x] = From565(from[x]);
    else
      std::memcpy(to, from, width * sizeof *to);
  }
}

bool TileScreen::ObserverLives() {
  const Locked locked(lock_);
  return LivesLocked();
}

bool TileScreen::LivesLocked() const {
  pollfd entry{observer_.Get(), POLLIN, 0};
  return observer_ && poll(&entry, 1, 0) == 0;
}

ScreenShape TileScreen::Shape() const {
  // The stream does not tell monitors.
  return {id_, width_, height_, {{0, {.rect = Area(), .primary = true}}}};
}

PixelView TileScreen::Pixels() const {
  return {reinterpret_cast<const std::byte*>(pixels_.data()), width_ * static_cast<int>(sizeof(uint16_t))};
}

}  // namespace remote
