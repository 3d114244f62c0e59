// What is read back from the screen: as much as all kinds of reading share.
#pragma once
#include <cstdint>

class RCScreenBits {
 public:
  // Of the main display as it is now.
  RCScreenBits();
  virtual ~RCScreenBits() = default;
  RCScreenBits(const RCScreenBits&) = delete;
  RCScreenBits& operator=(const RCScreenBits&) = delete;

  // Pixels.
  [[nodiscard]] uint64_t Width() const { return width_; }
  [[nodiscard]] uint64_t Height() const { return height_; }

 protected:
  // The size that the buffer is known to have. It begins with the bits of the main display's pixels, which
  // nothing holds yet.
  int64_t bufferSize_;

 private:
  uint64_t width_;
  uint64_t height_;
};
