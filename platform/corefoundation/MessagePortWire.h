// How requests and replies of a message port travel over its stream socket.
//
// Both are a header of 16 bytes, little-endian, and the bytes that it announces.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace platform::cf {

static_assert(std::endian::native == std::endian::little);

inline constexpr size_t kMaxPortMessageBytes = size_t{64} << 20;

struct PortHeader {
  char magic[4];    // "CFMP" for a request, "CFMR" for a reply
  int32_t number;   // a request's message id, a reply's status: 0
  uint32_t flag;    // a request's bit 0: a reply is wanted; a reply: 1 when data follows, else 0
  uint32_t length;  // of the bytes that follow
};
static_assert(sizeof(PortHeader) == 16);

inline constexpr char kPortRequestMagic[] = "CFMP";
inline constexpr char kPortReplyMagic[] = "CFMR";
inline constexpr uint32_t kPortReplyWanted = 1;

inline PortHeader MakePortHeader(const char* magic, int32_t number, uint32_t flag, size_t length) {
  PortHeader header{{}, number, flag, static_cast<uint32_t>(length)};
  std::memcpy(header.magic, magic, sizeof header.magic);
  return header;
}

// Puts one message together from pieces. Holds no more memory than twice what has arrived, whatever a header
// announces.
class PortMessageReader {
 public:
  // For messages of this magic, one of the two above.
  explicit PortMessageReader(const char* magic) : magic_(magic) {}

  // Takes bytes up to the end of the message, and returns how many. Nothing more once it is complete or
  // broken.
  size_t Feed(std::span<const std::byte> bytes);

  // The header has another magic or announces too much: nothing that follows has a meaning.
  [[nodiscard]] bool IsBroken() const { return broken_; }
  [[nodiscard]] bool IsComplete() const {
    return !broken_ && headerBytes_ == sizeof header_ && body_.size() == header_.length;
  }
  // A message has begun.
  [[nodiscard]] bool HasBegun() const { return headerBytes_ > 0; }
  [[nodiscard]] size_t HeldBytes() const { return body_.size(); }

  // Of a complete message.
  [[nodiscard]] const PortHeader& Header() const { return header_; }
  [[nodiscard]] std::span<const std::byte> Body() const { return body_; }

  // For the next message.
  void Reset();

 private:
  const char* const magic_;
  PortHeader header_{};
  size_t headerBytes_ = 0;
  bool broken_ = false;
  std::vector<std::byte> body_;
};

}  // namespace platform::cf
