// What a hostile observer can send: messages of any content one after the other, and a stream of any bytes in
// sound messages. And the way back: pixels that are encoded come out as they went in.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "legacy/RCTileDecoder.h"
#include "legacy/TileCoder.h"
#include "legacy/TileMessages.h"

namespace {

using Bytes = std::span<const uint8_t>;

constexpr int kAcross = 5;
constexpr int kDown = 3;
constexpr int kWidth = kAcross * tiles::kTileSide;
constexpr int kHeight = kDown * tiles::kTileSide;

Bytes Take(Bytes& input, size_t length) {
  const Bytes taken = input.first(std::min(length, input.size()));
  input = input.subspan(taken.size());
  return taken;
}

void Desktop(RCTileDecoder& decoder) {
  tiles::SendDesktop(kWidth, kHeight, 16, tiles::kPixels555, [&](Bytes message) {
    if (decoder.Take(message) != RCTileDecoder::Result::kDesktop) std::abort();
  });
}

// Each message behind a byte with its length; a message takes its true length where it has a place for one.
// The desktop's origin comes first.
void TakeAnyMessages(Bytes input) {
  const Bytes origin = Take(input, 2);
  RCTileDecoder decoder(origin.empty() ? 0 : -origin[0], origin.size() < 2 ? 0 : -origin[1]);
  Desktop(decoder);
  while (!input.empty()) {
    const Bytes given = Take(input, 1 + size_t{input[0]});
    std::vector<uint8_t> message(given.begin() + 1, given.end());
    if (message.size() >= 3 && message[0] != 0) {
      message[1] = static_cast<uint8_t>(message.size());
      message[2] = static_cast<uint8_t>(message.size() >> 8);
    }
    // A desktop of any size takes its memory; a few of them are enough.
    if (message.size() >= 7 && message[0] == tiles::kDimensionsMessage) message[4] = message[6] = 0;
    if (decoder.Take(message) == RCTileDecoder::Result::kRefused && decoder.Error().empty()) std::abort();
  }
  if (decoder.Pixels().size() != static_cast<size_t>(decoder.Width()) * static_cast<size_t>(decoder.Height()))
    std::abort();
}

void TakeAnyStream(Bytes input) {
  RCTileDecoder decoder;
  Desktop(decoder);
  const auto before = decoder.Pixels();
  auto result = RCTileDecoder::Result::kMoreToCome;
  tiles::SendFrame(0, 0, kWidth - 1, kHeight - 1, 1, input,
                   [&](Bytes message) { result = decoder.Take(message); });
  if (result != RCTileDecoder::Result::kPicture && decoder.Pixels() != before) std::abort();
}

// The input's bytes, over and over.
void EncodeAndDecode(Bytes input) {
  if (input.size() < 3) return;
  const uint8_t spread = Take(input, 1)[0];
  std::vector<uint16_t> pixels(size_t{kWidth} * kHeight);
  for (size_t i = 0; i < pixels.size(); ++i) {
    const size_t at = (spread < 128 ? i : i / tiles::kTileSide) % (input.size() - 1);
    pixels[i] = static_cast<uint16_t>(input[at] << 8 | input[at + 1]);
  }
  for (const tiles::Kernel& kernel : tiles::Kernels()) {
    tiles::TileCoder coder(kernel);
    RCTileDecoder decoder;
    Desktop(decoder);
    const auto stream =
        coder.Encode({pixels.data(), kAcross, kDown, 0}, [](int) { return std::span<uint64_t>(); });
    tiles::SendFrame(0, 0, kWidth - 1, kHeight - 1, 1, stream, [&](Bytes message) {
      if (decoder.Take(message) == RCTileDecoder::Result::kRefused) std::abort();
    });
    if (decoder.Pixels() != pixels) std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const Bytes input(data + 1, size - 1);
  if (data[0] % 3 == 0) TakeAnyMessages(input);
  if (data[0] % 3 == 1) TakeAnyStream(input);
  if (data[0] % 3 == 2) EncodeAndDecode(input);
  return 0;
}
