#include "legacy/TileCoder.h"

#include <algorithm>
#include <cstring>

namespace tiles {
namespace {

constexpr uint16_t kLongestShortRun = 255;
constexpr uint16_t kShortestRun = 3;  // less than these are written one by one

// The end of a run stands before the record of the tile that ends it.
constexpr size_t kLongestTile = kRecordLength[kUnchangedRun16] + kLongestRecord;

}  // namespace

std::span<const uint8_t> TileCoder::Encode(const TileFrame& frame, const Places& placesOfRow) {
  Start(frame);
  const size_t rowPixels = static_cast<size_t>(frame.across) * kTileSide;
  for (int row = 0; row < frame.down; ++row) {
    const std::span<uint64_t> places = placesOfRow(row);
    const uint16_t* source = frame.pixels + static_cast<size_t>(row) * kTileSide * rowPixels;
    for (size_t column = 0; column < static_cast<size_t>(frame.across); ++column, source += kTileSide) {
      EncodeTile(source, frame, column < places.size() ? &places[column] : nullptr);
    }
  }
  EndCurrentRunAppendingToStream();
  return {bytes_.get(), end_};
}

void TileCoder::Start(const TileFrame& frame) {
  last_ = second_ = {};
  EndRunForGood();
  const size_t needed =
      (static_cast<size_t>(frame.across) * static_cast<size_t>(frame.down) + 1) * kLongestTile;
  if (needed > capacity_) {
    bytes_ = std::make_unique_for_overwrite<uint8_t[]>(needed);
    capacity_ = needed;
  }
  end_ = bytes_.get();
}

void TileCoder::EncodeTile(const uint16_t* source, const TileFrame& frame, uint64_t* place) {
  TilePixels tile;
  const ReadResult read =
      kernel_.readTile(source, static_cast<size_t>(frame.across) * kTileSide, frame.reductionMask, tile);
  if (place != nullptr) {
    if (*place == read.checksum) return AddUnchanged();
    *place = read.checksum;
  }
  if (read.oneColour) return AddOneColour(tile.pixels[0]);
  const TileColours colours = kernel_.findColours(tile);
  colours.kind == kTwoColours ? AddTwoColours(colours) : AddManyColours(tile);
}

void TileCoder::AppendToStream(Kind kind, std::initializer_list<uint16_t> numbers, const void* body,
                               size_t length) {
  *end_++ = kind;
  for (const uint16_t number : numbers) {
    std::memcpy(end_, &number, sizeof number);
    end_ += sizeof number;
  }
  if (length == 0) return;
  std::memcpy(end_, body, length);
  end_ += length;
}

// ---- runs

void TileCoder::EndCurrentRunAppendingToStream() {
  if (run_ == kLastColourRun16 || run_ == kUnchangedRun16) {
    AppendToStream(run_, {runCount_});
  } else if (run_ == kLastColourRun8 || run_ == kUnchangedRun8) {
    if (runCount_ < kShortestRun) {
      for (uint16_t i = 0; i < runCount_; ++i) AppendToStream(repeated_);
    } else {
      AppendToStream(run_);
      *end_++ = static_cast<uint8_t>(runCount_);
    }
  }
}

void TileCoder::EndRunForGood() { StartRun(kNoKind, kNoKind, 0); }

void TileCoder::StartRun(Kind kind, Kind repeated, uint16_t count) {
  run_ = kind;
  repeated_ = repeated;
  runCount_ = count;
}

bool TileCoder::ContinueRun(Kind shortRun, Kind longRun) {
  if (run_ != shortRun && run_ != longRun) return false;
  if (run_ == shortRun && runCount_ == kLongestShortRun) run_ = longRun;
  ++runCount_;
  return true;
}

// ---- tiles

void TileCoder::AddOneColour(uint16_t colour) {
  if (!last_.Is(colour)) {
    EndCurrentRunAppendingToStream();
    EndRunForGood();
    last_.Set(colour);
    AppendToStream(kOneColour, {colour});
  } else if (!ContinueRun(kLastColourRun8, kLastColourRun16)) {
    EndCurrentRunAppendingToStream();
    StartRun(kLastColourRun8, kLastColour, 0);
    AppendToStream(kLastColour);
  }
}

void TileCoder::AddUnchanged() {
  if (ContinueRun(kUnchangedRun8, kUnchangedRun16)) return;
  EndCurrentRunAppendingToStream();
  StartRun(kUnchangedRun8, kUnchanged, 1);
}

void TileCoder::AddManyColours(const TilePixels& tile) {
  EndCurrentRunAppendingToStream();
  EndRunForGood();
  AppendToStream(kManyColours, {}, tile.pixels.data(), kTileBytes);
}

void TileCoder::AddTwoColours(const TileColours& colours) {
  EndCurrentRunAppendingToStream();
  EndRunForGood();
  const uint16_t a = colours.second;
  const uint16_t b = colours.first;
  const auto append = [this, &colours](Kind kind, std::initializer_list<uint16_t> numbers) {
    AppendToStream(kind, numbers, colours.mask.data(), kMaskBytes);
  };
  if (last_.Is(b)) {
    if (second_.Is(a)) return append(kMaskOnly, {});
    append(kNewSecondAndMask, {a});
    second_.Set(a);
  } else if (second_.Is(b) && last_.Is(a)) {
    // The colours have changed their parts, and so do the bits.
    std::array<uint16_t, kTileSide> inverted;
    std::transform(colours.mask.begin(), colours.mask.end(), inverted.begin(),
                   [](uint16_t bits) { return static_cast<uint16_t>(~bits); });
    AppendToStream(kMaskOnly, {}, inverted.data(), kMaskBytes);
  } else {
    if (second_.Is(a)) {
      append(kNewLastAndMask, {b});
    } else {
      append(kTwoColours, {a, b});
      second_.Set(a);
    }
    last_.Set(b);
  }
}

}  // namespace tiles
