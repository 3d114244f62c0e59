#include "platform/corefoundation/MessagePortWire.h"

#include <algorithm>

namespace platform::cf {

size_t PortMessageReader::Feed(std::span<const std::byte> bytes) {
  size_t taken = 0;
  if (!broken_ && headerBytes_ < sizeof header_) {
    taken = std::min(bytes.size(), sizeof header_ - headerBytes_);
    std::memcpy(reinterpret_cast<std::byte*>(&header_) + headerBytes_, bytes.data(), taken);
    headerBytes_ += taken;
    if (headerBytes_ == sizeof header_)
      broken_ = std::memcmp(header_.magic, magic_, sizeof header_.magic) != 0 ||
                header_.length > kMaxPortMessageBytes;
  }
  if (broken_ || headerBytes_ < sizeof header_) return taken;
  const auto rest = bytes.subspan(taken, std::min(bytes.size() - taken, header_.length - body_.size()));
  body_.insert(body_.end(), rest.begin(), rest.end());
  return taken + rest.size();
}

void PortMessageReader::Reset() {
  constexpr size_t kKeptBytes = 64 << 10;
  headerBytes_ = 0;
  broken_ = false;
  if (body_.capacity() > kKeptBytes)
    body_ = {};
  else
    body_.clear();
}

}  // namespace platform::cf
