#include "legacy/TileCoder.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

namespace tiles {
namespace {

constexpr uint16_t kLongestShortRun = 255;
constexpr uint16_t kShortestRun = 3;  // less than these are written one by one

// The end of a run stands before the record of the tile that ends it.
constexpr size_t kLongestTile = kRecordLength[kUnchangedRun16] + kLongestRecord;

// Of a row. They are read twice, the second time from the first cache.
constexpr size_t kTilesAtOnce = 16;

}  // namespace

std::span<const uint8_t> TileCoder::Encode(const TileFrame& frame, const Places& placesOfRow) {
  Start(frame);
  const size_t rowPixels = static_cast<size_t>(frame.across) * kTileSide;
  for (int row = 0; row < frame.down; ++row) {
    const uint16_t* corner = frame.pixels + static_cast<size_t>(row) * kTileSide * rowPixels;
    EncodeRow({corner, rowPixels, frame.reductionMask}, static_cast<size_t>(frame.across), placesOfRow(row));
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

void TileCoder::EncodeRow(const TileSource& first, size_t across, std::span<uint64_t> places) {
  std::array<uint32_t, kTilesAtOnce> checksums;
  for (size_t begin = 0; begin < across; begin += kTilesAtOnce) {
    const size_t end = std::min(begin + kTilesAtOnce, across);
    kernel_.sumTiles(first.Neighbour(begin), std::span(checksums).first(end - begin));
    for (size_t i = begin; i < end; ++i) {
      const uint32_t checksum = checksums[i - begin];
      if (i < places.size() && std::exchange(places[i], checksum) == checksum) {
        AddUnchanged();
      } else {
        EncodeTile(first.Neighbour(i));
      }
    }
  }
}

void TileCoder::EncodeTile(const TileSource& tile) {
  TileColours colours;
  const Kind kind = kernel_.findColours(tile, colours);
  if (kind == kOneColour) return AddOneColour(colours.first);
  if (kind == kTwoColours) return AddTwoColours(tile, colours.second, colours.first);
  AddManyColours(tile);
}

void TileCoder::AppendToStream(Kind kind, std::initializer_list<uint16_t> numbers) {
  *end_++ = kind;
  for (const uint16_t number : numbers) {
    std::memcpy(end_, &number, sizeof number);
    end_ += sizeof number;
  }
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

void TileCoder::AddManyColours(const TileSource& tile) {
  EndCurrentRunAppendingToStream();
  EndRunForGood();
  AppendToStream(kManyColours);
  kernel_.copyPixels(tile, end_);
  end_ += kTileBytes;
}

// The set bits of the mask are L's, as the record leaves it.
void TileCoder::AddTwoColours(const TileSource& tile, uint16_t a, uint16_t b) {
  EndCurrentRunAppendingToStream();
  EndRunForGood();
  if ((last_.Is(b) && second_.Is(a)) || (last_.Is(a) && second_.Is(b))) {
    AppendToStream(kMaskOnly);
  } else if (last_.Is(b)) {
    AppendToStream(kNewSecondAndMask, {a});
    second_.Set(a);
  } else if (second_.Is(a)) {
    AppendToStream(kNewLastAndMask, {b});
    last_.Set(b);
  } else {
    AppendToStream(kTwoColours, {a, b});
    last_.Set(b);
    second_.Set(a);
  }
  kernel_.writeMask(tile, last_.colour, end_);
  end_ += kMaskBytes;
}

}  // namespace tiles
