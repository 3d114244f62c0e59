// Writes updates: rectangles of one colour, raw ones and compressed ones.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "rcserv/Rect.h"

struct libdeflate_compressor;

namespace remote {

// Pixels of the screen, borrowed: 16 bits each, rows `strideBytes` apart from the top.
struct PixelView {
  const std::byte* pixels = nullptr;
  int strideBytes = 0;
};

// One thread. Its buffers stay for the next update.
class UpdateEncoder {
 public:
  UpdateEncoder();
  ~UpdateEncoder();
  UpdateEncoder(const UpdateEncoder&) = delete;
  UpdateEncoder& operator=(const UpdateEncoder&) = delete;

  // `pieces` as PendingArea::Take() gives them, in the picture. With `compress` false nothing is compressed;
  // with true, what compresses.
  [[nodiscard]] std::vector<uint8_t> Encode(const PixelView& picture, std::span<const rcserv::Rect> pieces,
                                            uint32_t number, uint32_t screen, bool compress);

 private:
  enum class Kind : uint8_t { kRaw = 0, kOneColour = 1, kCompressed = 2 };
  struct Part {
    rcserv::Rect rect;
    Kind kind;
    uint16_t colour;
    [[nodiscard]] bool SameKind(const Part& other) const {
      return kind == other.kind && colour == other.colour;
    }
  };
  struct CompressorDeleter {
    void operator()(libdeflate_compressor* compressor) const noexcept;
  };

  [[nodiscard]] static Part Look(const PixelView& picture, const rcserv::Rect& piece, bool compress);
  void MergePieces(const PixelView& picture, std::span<const rcserv::Rect> pieces, bool compress);
  void MergeUp(size_t row, size_t above);
  // False when nothing is to be compressed, or it did not pay.
  [[nodiscard]] bool CompressParts(const PixelView& picture);

  const std::unique_ptr<libdeflate_compressor, CompressorDeleter> compressor_;
  std::vector<Part> parts_;
  std::vector<uint8_t> plain_;
  std::vector<uint8_t> compressed_;
  size_t compressedLength_ = 0;
};

}  // namespace remote
