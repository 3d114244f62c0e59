// From 16-bit pixels to the bytes of the tile stream; knows no display.
#pragma once
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <span>

#include "legacy/TileKernel.h"
#include "legacy/TileStream.h"

namespace tiles {

// Host order, rows as wide as all tiles together.
struct TileFrame {
  const uint16_t* pixels;
  int across;
  int down;
  uint16_t reductionMask;  // bits that are set in every pixel
};

// The value that no checksum has: the tile in that place has not been coded yet.
inline constexpr uint64_t kNoChecksum = ~uint64_t{0};

// Codes frames one after the other; only the memory is kept from one to the next.
class TileCoder {
 public:
  explicit TileCoder(const Kernel& kernel = Kernels().back()) : kernel_(kernel) {}

  // The places of the last checksums of a row's tiles, from the left; tiles beyond its end have none and are
  // always coded.
  using Places = std::function<std::span<uint64_t>(int row)>;
  // A tile whose checksum lies in its place is coded as unchanged; the others leave theirs there.
  // The stream is borrowed until the next call.
  [[nodiscard]] std::span<const uint8_t> Encode(const TileFrame& frame, const Places& placesOfRow);

 private:
  void Start(const TileFrame& frame);
  void EncodeRow(const TileSource& first, size_t across, std::span<uint64_t> places);
  void EncodeTile(const TileSource& tile);

  // Of a record with a mask or pixels, all that stands before them.
  void AppendToStream(Kind kind, std::initializer_list<uint16_t> numbers = {});

  void EndCurrentRunAppendingToStream();
  void StartRun(Kind kind, Kind repeated, uint16_t count);
  // False when the run is of another kind.
  [[nodiscard]] bool ContinueRun(Kind shortRun, Kind longRun);
  void EndRunForGood();

  void AddOneColour(uint16_t colour);
  void AddUnchanged();
  void AddTwoColours(const TileSource& tile, uint16_t a, uint16_t b);
  void AddManyColours(const TileSource& tile);

  const Kernel kernel_;

  struct Register {
    bool set = false;
    uint16_t colour = 0x7FFF;
    [[nodiscard]] bool Is(uint16_t other) const { return set && colour == other; }
    void Set(uint16_t other) { *this = {true, other}; }
  };
  Register last_;
  Register second_;
  // The run that may go on, and the one-byte record that a short run is written as.
  Kind run_ = kNoKind;
  uint16_t runCount_ = 0;
  Kind repeated_ = kNoKind;

  // As much as the largest frame so far could take; pages that no stream has reached cost nothing.
  std::unique_ptr<uint8_t[]> bytes_;
  size_t capacity_ = 0;
  uint8_t* end_ = nullptr;
};

}  // namespace tiles
