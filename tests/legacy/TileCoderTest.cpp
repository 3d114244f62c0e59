// The tile stream: every record from a picture that forces it, everything else against the plain algorithm,
// and the way back into pixels.
#include "legacy/TileCoder.h"

#include <gmock/gmock.h>

#include <random>

#include "legacy/RCTileDecoder.h"
#include "legacy/TestPattern.h"
#include "legacy/TileMessages.h"
#include "tests/legacy/PlainEncoder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Pixels = std::vector<uint16_t>;

constexpr uint16_t kRed = 0x7C00, kGreen = 0x03E0, kBlue = 0x001F;

// A row of tiles. The mask of one with two colours is 0x8001 in its first word, else 0: the first colour is
// that of the outer pixels of the top row.
struct Row {
  Pixels pixels;
  int across;

  explicit Row(int count) : pixels(static_cast<size_t>(count) * 256), across(count) {}
  void Put(int tile, int x, int y, uint16_t colour) {
    pixels[static_cast<size_t>((y * across + tile) * 16 + x)] = colour;
  }
  void Fill(int tile, uint16_t outer, uint16_t inner) {
    for (int i = 0; i < 256; ++i) Put(tile, i % 16, i / 16, inner);
    Put(tile, 0, 0, outer);
    Put(tile, 15, 0, outer);
  }
};

// What a coder does with pictures of one size.
struct Encoder {
  tiles::TileCoder coder;
  std::vector<uint64_t> places;

  Encoder(const tiles::Kernel& kernel, size_t count) : coder(kernel), places(count, tiles::kNoChecksum) {}
  Bytes Encode(const Pixels& pixels, int across, int down, uint16_t mask = 0) {
    const auto stream = coder.Encode({pixels.data(), across, down, mask}, [&](int row) {
      return std::span(places).subspan(static_cast<size_t>(row * across), static_cast<size_t>(across));
    });
    return {stream.begin(), stream.end()};
  }
};

// Two colours for each tile of a row: the stream's records without the masks that Row makes.
struct Case {
  std::vector<std::array<uint16_t, 2>> tiles;
  Bytes stream;
};

Bytes WithMasks(const Bytes& stream) {
  Bytes all;
  for (size_t i = 0; i < stream.size();) {
    const uint8_t kind = stream[i];
    const bool masked = kind >= tiles::kMaskOnly && kind <= tiles::kTwoColours;
    const size_t numbers = tiles::kRecordLength[kind] - (masked ? 32 : 0);
    all.insert(all.end(), stream.begin() + static_cast<ptrdiff_t>(i),
               stream.begin() + static_cast<ptrdiff_t>(i + numbers));
    if (masked) {
      all.insert(all.end(), {0x01, 0x80});
      all.insert(all.end(), 30, 0);
    }
    i += numbers;
  }
  return all;
}

std::vector<std::array<uint16_t, 2>> Times(size_t count, uint16_t colour) {
  return {count, {colour, colour}};
}

TEST(TileCoderTest, EveryRecordIsWrittenForThePictureThatCallsForIt) {
  const Case cases[] = {
      {{{kRed, kRed}, {kGreen, kGreen}, {kBlue, kBlue}}, {1, 0x7C, 0x00, 1, 0x03, 0xE0, 1, 0x00, 0x1F}},
      {Times(2, kRed), {1, 0x7C, 0, 0}},
      {Times(4, kRed), {1, 0x7C, 0, 0, 0, 0}},
      {Times(20, kRed), {1, 0x7C, 0, 0, 8, 18}},
      {Times(257, kRed), {1, 0x7C, 0, 0, 8, 255}},
      {Times(258, kRed), {1, 0x7C, 0, 0, 7, 0, 1}},
      {{{kRed, 0}, {kRed, 0}}, {5, 0, 0, 0x7C, 0, 2}},
      {{{kRed, 0}, {kRed, kBlue}, {kRed, kRed}}, {5, 0, 0, 0x7C, 0, 4, 0, 0x1F, 0}},
      {{{kRed, 0}, {kBlue, 0}, {kBlue, kBlue}}, {5, 0, 0, 0x7C, 0, 3, 0, 0x1F, 0}},
      {{{kRed, 0}, {kGreen, kBlue}}, {5, 0, 0, 0x7C, 0, 5, 0, 0x1F, 0x03, 0xE0}}};
  for (const tiles::Kernel& kernel : tiles::Kernels()) {
    for (const Case& test : cases) {
      const auto count = static_cast<int>(test.tiles.size());
      Row row(count);
      for (int i = 0; i < count; ++i)
        row.Fill(i, test.tiles[static_cast<size_t>(i)][0], test.tiles[static_cast<size_t>(i)][1]);
      EXPECT_EQ(Encoder(kernel, test.tiles.size()).Encode(row.pixels, count, 1), WithMasks(test.stream))
          << kernel.name << ": " << testing::PrintToString(test.stream);
    }
    // The same two colours with their parts exchanged: the mask is inverted, and the colours stay what they
    // are.
    Row swapped(3);
    swapped.Fill(0, kRed, 0);
    swapped.Fill(1, 0, kRed);
    swapped.Fill(2, kRed, kRed);
    Bytes expected = WithMasks({5, 0, 0, 0x7C, 0, 2, 0});
    for (size_t i = 38; i < 70; ++i) expected[i] = static_cast<uint8_t>(~expected[i]);
    EXPECT_EQ(Encoder(kernel, 3).Encode(swapped.pixels, 3, 1), expected) << kernel.name;

    const std::pair<int, Bytes> unchanged[] = {
        {1, {9}}, {2, {9, 9}}, {3, {11, 3}}, {255, {11, 255}}, {256, {10, 0, 1}}};
    for (const auto& [count, stream] : unchanged) {
      const Row black(count);
      Encoder encoder(kernel, black.pixels.size() / 256);
      EXPECT_EQ(encoder.Encode(black.pixels, count, 1)[0], 1) << "black is no former checksum";
      EXPECT_EQ(encoder.Encode(black.pixels, count, 1), stream) << kernel.name;
    }
  }
}

// Few colours and large areas, so that all kinds of tiles and runs come about.
Pixels RandomPicture(std::minstd_rand& random, int across, int down) {
  Pixels pixels(static_cast<size_t>(across * down) * 256);
  const uint16_t colours[] = {0, 0x7FFF, kRed, 0x0123};
  for (int i = 0; i < across * down; ++i) {
    const int kind = static_cast<int>(random() % 8);
    const uint16_t a = colours[random() % 4];
    const uint16_t b = colours[random() % 4];
    for (int y = 0; y < 16; ++y) {
      for (int x = 0; x < 16; ++x) {
        uint16_t& pixel = pixels[static_cast<size_t>(((i / across * 16 + y) * across + i % across) * 16 + x)];
        if (kind < 4) {
          pixel = kind < 3 ? 0x0421 : a;
        } else {
          pixel = random() % 3 == 0 ? a : b;
          if (kind > 6) pixel ^= static_cast<uint16_t>(random());
        }
      }
    }
  }
  // A third colour in one corner only.
  pixels.back() = 0x5555;
  return pixels;
}

TEST(TileCoderTest, AnyFrameIsCodedAsByThePlainAlgorithm) {
  const uint16_t masks[] = {0, 0x0421, 0x0C63, 0x1CE7, 0x3DEF, 0xFFFF};
  for (const tiles::Kernel& kernel : tiles::Kernels()) {
    std::minstd_rand random(5);
    for (int round = 0; round < 60; ++round) {
      const int across = 1 + static_cast<int>(random() % 30);
      const int down = 1 + static_cast<int>(random() % 4);
      const uint16_t mask = masks[random() % 6];
      Encoder encoder(kernel, static_cast<size_t>(across * down));
      std::vector<uint64_t> places = encoder.places;
      Pixels pixels = RandomPicture(random, across, down);
      for (int frame = 0; frame < 3; ++frame) {
        ASSERT_EQ(encoder.Encode(pixels, across, down, mask),
                  test::EncodePlain(pixels, across, down, mask, &places))
            << kernel.name << ", round " << round << ", frame " << frame;
        pixels[random() % pixels.size()] ^= 0x0100;
      }
      ASSERT_EQ(encoder.places, places);
    }
  }
}

// Messages of a frame; `pixels` are those of the whole tiles that it touches.
std::vector<Bytes> Messages(int left, int top, int right, int bottom, uint16_t sequence,
                            std::span<const uint8_t> stream) {
  std::vector<Bytes> messages;
  tiles::SendFrame(left, top, right, bottom, sequence, stream, [&](std::span<const uint8_t> bytes) {
    messages.emplace_back(bytes.begin(), bytes.end());
  });
  return messages;
}

RCTileDecoder DecoderOf(int width, int height, int left = 0, int top = 0) {
  RCTileDecoder decoder(left, top);
  tiles::SendDesktop(width, height, 16, tiles::kPixels555, [&](std::span<const uint8_t> bytes) {
    EXPECT_EQ(decoder.Take(bytes), RCTileDecoder::Result::kDesktop) << decoder.Error();
  });
  return decoder;
}

TEST(TileCoderTest, PiecesOfAnySizeBecomeThePicture) {
  // 66 tiles of many colours, and one that brings the stream to the length of a piece, one less, and one
  // more.
  struct {
    size_t length;
    std::vector<size_t> pieces;
    uint16_t full;
  } const cases[] = {
      {32730, {32739}, 0}, {32731, {32740}, 1}, {32732, {32740, 10}, 1}, {65462, {32740, 32740}, 2}};
  for (const auto& test : cases) {
    const auto messages = Messages(0, 0, 15, 15, 7, Bytes(test.length));
    ASSERT_EQ(messages.size(), test.pieces.size() + 1);
    EXPECT_THAT(messages[0],
                testing::ElementsAre(7, 21, 0, 0, 0, 0, 0, 0, 0, 0, 0, 15, 0, 0, 0, 15, 0, 0, 0, 7, 0));
    for (size_t i = 0; i < test.pieces.size(); ++i) {
      const Bytes& piece = messages[i + 1];
      EXPECT_EQ(piece.size(), test.pieces[i]);
      const auto low = static_cast<uint8_t>(piece.size());
      const auto high = static_cast<uint8_t>(piece.size() >> 8);
      EXPECT_THAT(Bytes(piece.begin(), piece.begin() + 9),
                  testing::ElementsAre(8, low, high, 7, 0, test.full, 0, i, 0));
    }
  }
  // 63 tiles of noise, 137 of ever new colours and some like the last: a byte less than a piece, a piece, a
  // byte more.
  for (int repeated = 0; repeated < 3; ++repeated) {
    const int across = 63 + 137 + repeated;
    Row row(across);
    std::minstd_rand random(3);
    for (int tile = 0; tile < across; ++tile) {
      const auto colour = static_cast<uint16_t>(std::min(tile, 199));
      row.Fill(tile, colour, colour);
      for (int i = 0; tile < 63 && i < 256; ++i) row.Put(tile, i % 16, i / 16, random() & 0x7FFF);
    }
    const Bytes stream =
        Encoder(tiles::Kernels().back(), static_cast<size_t>(across)).Encode(row.pixels, across, 1);
    ASSERT_EQ(stream.size(), 32730 + static_cast<size_t>(repeated));
    RCTileDecoder decoder = DecoderOf(across * 16, 16);
    RCTileDecoder::Result result{};
    for (const Bytes& message : Messages(0, 0, across * 16 - 1, 15, 1, stream))
      result = decoder.Take(message);
    ASSERT_EQ(result, RCTileDecoder::Result::kPicture) << stream.size() << " bytes: " << decoder.Error();
    ASSERT_EQ(decoder.Pixels(), row.pixels);
  }
}

TEST(TileCoderTest, WhatIsBrokenIsNamedAndThePictureStays) {
  const Bytes good = {1, 0x7C, 0x00, 0, 8, 2};  // four red tiles
  struct {
    Bytes stream;
    const char* error;
  } const streams[] = {{{12}, "record kind 12 is unknown"},
                       {{1, 0x7C}, "the record at byte 0 is cut off"},
                       {{1, 0x7C, 0, 0}, "2 tiles are missing"},
                       {{1, 0x7C, 0, 0, 8, 3}, "a run of 3 tiles where 2 are left"},
                       {{10, 5, 0}, "a run of 5 tiles where 4 are left"},
                       {{11, 0}, "a run of no tiles"},
                       {{8, 4}, "a run without a tile to repeat"},
                       {{0}, "record kind 0 refers to a colour that was never given"},
                       {{11, 4, 9}, "1 bytes after the last tile"}};
  RCTileDecoder decoder = DecoderOf(64, 16);
  uint16_t sequence = 0;
  const auto takeAll = [&](const std::vector<Bytes>& messages) {
    RCTileDecoder::Result result{};
    for (const Bytes& message : messages) result = decoder.Take(message);
    return result;
  };
  ASSERT_EQ(takeAll(Messages(0, 0, 63, 15, ++sequence, good)), RCTileDecoder::Result::kPicture);
  const Pixels picture = decoder.Pixels();
  EXPECT_THAT(picture, testing::Each(kRed));
  for (const auto& test : streams) {
    EXPECT_EQ(takeAll(Messages(0, 0, 63, 15, ++sequence, test.stream)), RCTileDecoder::Result::kRefused);
    EXPECT_EQ(decoder.Error(), "frame " + std::to_string(sequence) + ": " + test.error);
  }

  const Bytes header = Messages(0, 0, 63, 15, 1, {})[0];
  const auto changed = [](Bytes message, size_t at, uint8_t value) {
    message.at(at) = value;
    return message;
  };
  const Bytes piece = Messages(0, 0, 63, 15, 1, good)[1];
  struct {
    std::vector<Bytes> messages;
    const char* error;
  } const sequences[] = {{{{7}}, "a message of bytes: 1"},
                         {{changed(header, 0, 9)}, "unknown message kind 9"},
                         {{changed(header, 1, 22)}, "a message of 21 bytes that says it has 22"},
                         {{changed(header, 3, 64)}, "a rectangle outside the desktop in frame 1"},
                         {{changed(header, 15, 16)}, "a rectangle outside the desktop in frame 1"},
                         {{piece}, "piece 0 of frame 1, which has not begun"},
                         {{header, changed(piece, 3, 2)}, "piece 0 of frame 2 in frame 1"},
                         {{header, changed(piece, 7, 1)}, "piece 1 of frame 1 where piece 0 is due"},
                         {{header, changed(piece, 5, 1)}, "piece 0 of frame 1 has 6 bytes"},
                         {{header, changed(header, 19, 2)}, "frame 1: piece 0 is missing"},
                         {{changed(header, 3, 1), changed(header, 19, 3)}, "frame 1: piece 0 is missing"},
                         {{header, piece, changed(header, 19, 3)}, "frame 3 where frame 2 is due"}};
  for (const auto& test : sequences) {
    decoder = DecoderOf(64, 16);
    EXPECT_EQ(takeAll(test.messages), RCTileDecoder::Result::kRefused) << test.error;
    EXPECT_EQ(decoder.Error(), test.error);
  }
}

TEST(TileCoderTest, TheTestPatternHasItsEdgesAndFullColours) {
  const Pixels pixels = tiles::DrawTestPattern({-16, 0, 288, 176}, {-5, 3, 260, 160}, tiles::kPixels565);
  const auto at = [&](int x, int y) { return pixels[static_cast<size_t>(y * 288 + x + 16)]; };
  for (const auto& [x, y] : {std::pair{-5, 3}, {254, 3}, {-5, 162}, {254, 162}}) EXPECT_EQ(at(x, y), 0xFFFF);
  EXPECT_EQ(at(-6, 3), 0);
  const uint16_t bars[] = {0xFFFF, 0xFFE0, 0x07FF, 0x07E0, 0xF81F, 0xF800, 0x001F, 0x0000};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(at(i * 260 / 8 + 5, 20), bars[i]) << i;
}

}  // namespace
