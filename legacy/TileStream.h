// The bytes of the tile stream: kinds of records, the messages that carry them, and the places of tiles. All
// numbers are little-endian.
#pragma once
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "records are sent as they lie in memory");

namespace tiles {

inline constexpr int kTileSide = 16;
inline constexpr size_t kTilePixels = 256;
inline constexpr size_t kTileBytes = 2 * kTilePixels;
inline constexpr size_t kMaskBytes = kTilePixels / 8;

// L and S are the colours that writer and reader remember: last and second. A mask has a bit for each pixel,
// row by row: 16-bit words, the leftmost pixel in the top bit.
enum Kind : uint8_t {
  kLastColour = 0,        // one colour, L
  kOneColour = 1,         // colour; L = colour
  kMaskOnly = 2,          // mask: set L, clear S
  kNewLastAndMask = 3,    // B, mask: set B, clear S; then L = B
  kNewSecondAndMask = 4,  // A, mask: set L, clear A; then S = A
  kTwoColours = 5,        // A, B, mask: set B, clear A; then L = B, S = A
  kManyColours = 6,       // the pixels, row by row
  kLastColourRun16 = 7,   // count: so many more tiles as the one before, which was kLastColour
  kLastColourRun8 = 8,
  kUnchanged = 9,
  kUnchangedRun16 = 10,  // count: so many unchanged tiles
  kUnchangedRun8 = 11,
  kKindCount = 12,
  kNoKind = 0xFF  // an empty register, a tile without a pixel
};

// Of a whole record, with its kind.
inline constexpr std::array<size_t, kKindCount> kRecordLength = {
    1, 3, 1 + kMaskBytes, 3 + kMaskBytes, 3 + kMaskBytes, 5 + kMaskBytes, 1 + kTileBytes, 3, 2, 1, 3, 2};
inline constexpr size_t kLongestRecord = 1 + kTileBytes;

// Colour masks of a pixel. Two bytes of a pixel are exchanged on their way into the stream: high byte first.
struct PixelMasks {
  int kRedComponentShift;  // green has so many bits more than 5
  uint32_t kRedMask, kGreenMask, kBlueMask;
};
inline constexpr PixelMasks kPixels555 = {0, 0x7C00, 0x03E0, 0x001F};
inline constexpr PixelMasks kPixels565 = {1, 0xF800, 0x07E0, 0x001F};

constexpr uint16_t ExchangeBytes(uint16_t pixel) { return static_cast<uint16_t>(pixel << 8 | pixel >> 8); }

// 0 to 15, for negative values too: tiles lie at multiples of 16 of the global coordinates.
constexpr int32_t WithinTile(int32_t coordinate) { return coordinate & (kTileSide - 1); }

// ---- messages. The first byte says which, the next two how long it is.

enum Message : uint8_t {
  kDimensionsMessage = 1,
  kPixelFormatMessage = 6,
  kFrameMessage = 7,
  kPieceMessage = 8
};

#pragma pack(push, 1)
struct MessageHeader {
  uint8_t kind;
  uint16_t length;  // of the whole message
};

struct DimensionsRecord {
  MessageHeader header;
  uint16_t width, height;
  uint16_t depth;  // bits a pixel, as the viewer asked for them
};

struct PixelFormatRecord {
  MessageHeader header;
  uint32_t infoSize;  // 40, up to `importantColours`
  int32_t width;
  int32_t height;  // negative: rows from the top
  uint16_t planes;
  uint16_t bitsPerPixel;
  uint32_t compression;  // 3: the masks behind it tell
  uint32_t imageSize;
  uint32_t horizontalResolution, verticalResolution;
  uint32_t coloursUsed, importantColours;
  uint32_t redMask, greenMask, blueMask;
};

// A frame follows in pieces, or nothing when all four are 0. Desktop pixels, counted from its top left corner
// where that is negative; right and bottom inclusive.
struct FrameRecord {
  MessageHeader header;
  int32_t left, top, right, bottom;
  uint16_t sequence;
};

// kPieceLength bytes of the stream each, and the last one what is left, if anything is.
struct PieceRecord {
  MessageHeader header;
  uint16_t sequence;    // of its frame
  uint16_t fullPieces;  // of its frame; the rest is not counted
  uint16_t index;       // from 0
};
#pragma pack(pop)

static_assert(sizeof(DimensionsRecord) == 9);
static_assert(sizeof(PixelFormatRecord) == 55);
static_assert(sizeof(FrameRecord) == 21);
static_assert(sizeof(PieceRecord) == 9);

inline constexpr size_t kPieceLength = 32731;

}  // namespace tiles
