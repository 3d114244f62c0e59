#include "tests/service/remote/FakeViewer.h"

#include <gtest/gtest.h>
#include <libdeflate.h>

#include <boost/json.hpp>
#include <chrono>
#include <cstring>
#include <map>
#include <optional>

namespace test {

class FakeViewer::Channel : public remote::ViewerChannel {
 public:
  void SendText(std::string json) override {
    const std::string type(boost::json::parse(json).at("type").as_string());
    const Locked locked(lock_);
    texts_[type] = std::move(json);
  }
  void SendUpdate(std::vector<uint8_t> message) override {
    const Locked locked(lock_);
    EXPECT_FALSE(update_) << "an update before the last one was drawn";
    update_ = std::move(message);
    sent_ = std::chrono::steady_clock::now();
  }
  void Close(uint16_t code, std::string) override {
    const Locked locked(lock_);
    closeCode_ = code;
  }

  [[nodiscard]] std::string Last(const std::string& type) {
    const Locked locked(lock_);
    return texts_[type];
  }
  void Forget(const std::string& type) {
    const Locked locked(lock_);
    texts_.erase(type);
  }
  [[nodiscard]] std::optional<std::vector<uint8_t>> Update() {
    const Locked locked(lock_);
    return update_;
  }
  [[nodiscard]] double SecondsOnTheWay() {
    const Locked locked(lock_);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - sent_).count();
  }
  void Drawn() {
    const Locked locked(lock_);
    update_.reset();
  }
  [[nodiscard]] int CloseCode() {
    const Locked locked(lock_);
    return closeCode_;
  }

 private:
  Lock lock_;
  std::map<std::string, std::string> texts_ GUARDED_BY(lock_);
  std::optional<std::vector<uint8_t>> update_ GUARDED_BY(lock_);
  std::chrono::steady_clock::time_point sent_ GUARDED_BY(lock_);
  int closeCode_ GUARDED_BY(lock_) = 0;
};

FakeViewer::FakeViewer(remote::ViewerHub& hub, bool local)
    : hub_(hub), channel_(std::make_shared<Channel>()) {
  id_ = hub_.Join(channel_, "192.0.2.7", local);
}

FakeViewer::~FakeViewer() { Leave(); }

void FakeViewer::Leave() {
  if (id_ != 0 && !left_) hub_.Leave(id_);
  left_ = true;
}

int FakeViewer::CloseCode() const { return channel_->CloseCode(); }
bool FakeViewer::HasUndrawn() const { return channel_->Update().has_value(); }
std::string FakeViewer::Last(const std::string& type) const { return channel_->Last(type); }
bool FakeViewer::Said(const std::string& type, const std::string& what) const {
  return Last(type).find(what) != std::string::npos;
}
void FakeViewer::Forget(const std::string& type) { channel_->Forget(type); }

void FakeViewer::Pointer(int flags, int x, int y) {
  const auto byte = [](int value) { return static_cast<uint8_t>(value); };
  EXPECT_TRUE(Send({1, byte(flags), byte(x), byte(x >> 8), byte(y), byte(y >> 8)}));
}

void FakeViewer::Key(int code, bool pressed) { EXPECT_TRUE(Send({2, static_cast<uint8_t>(code), pressed})); }

void FakeViewer::Character(char character, bool pressed) {
  EXPECT_TRUE(Send({3, static_cast<uint8_t>(character), 0, pressed, 0}));
}

void FakeViewer::Work() {
  const auto message = channel_->Update();
  if (!message || holdAnswers_ || left_) return;
  if (channel_->SecondsOnTheWay() * bytesPerSecond_ < static_cast<double>(message->size())) return;
  TakeScreen();
  Draw(*message);
  channel_->Drawn();
  std::vector<uint8_t> drawn = {4, 0, 0, 0, 0};
  std::memcpy(drawn.data() + 1, message->data() + 4, 4);
  EXPECT_TRUE(Send(drawn));
}

void FakeViewer::TakeScreen() {
  const auto screen = boost::json::parse(Last("screen")).as_object();
  const auto id = screen.at("id").to_number<uint32_t>();
  if (id == screen_) return;
  screen_ = id;
  width_ = screen.at("width").to_number<int>();
  height_ = screen.at("height").to_number<int>();
  pixels_.assign(static_cast<size_t>(width_) * static_cast<size_t>(height_), 0xFFFF);
}

void FakeViewer::Draw(const std::vector<uint8_t>& message) {
  const auto number = [&message](size_t offset, size_t bytes) {
    uint32_t value = 0;
    EXPECT_LE(offset + bytes, message.size());
    if (offset + bytes <= message.size()) std::memcpy(&value, message.data() + offset, bytes);
    return value;
  };
  ASSERT_EQ(number(0, 1), 1U);
  EXPECT_EQ(number(4, 4), ++number_);
  if (number(8, 4) != screen_) return;

  Update update;
  update.bytes = message.size();
  const size_t count = number(2, 2);
  const size_t rawBytes = number(12, 4);
  size_t raw = 16 + 12 * count;
  const size_t packed = raw + rawBytes;
  std::vector<uint8_t> plain;
  for (size_t i = 0; i < count; ++i)
    if (number(16 + 12 * i + 8, 1) == 2)
      plain.resize(plain.size() + size_t{2} * number(16 + 12 * i + 4, 2) * number(16 + 12 * i + 6, 2));
  ASSERT_EQ(number(1, 1), plain.empty() ? 0U : 1U);
  if (!plain.empty()) {
    libdeflate_decompressor* const decompressor = libdeflate_alloc_decompressor();
    EXPECT_EQ(libdeflate_deflate_decompress(decompressor, message.data() + packed, message.size() - packed,
                                            plain.data(), plain.size(), nullptr),
              LIBDEFLATE_SUCCESS);
    libdeflate_free_decompressor(decompressor);
  } else {
    ASSERT_EQ(message.size(), packed);
  }

  size_t unpacked = 0;
  for (size_t i = 0; i < count; ++i) {
    const size_t at = 16 + 12 * i;
    const auto left = static_cast<int>(number(at, 2)), top = static_cast<int>(number(at + 2, 2));
    const auto width = static_cast<int>(number(at + 4, 2)), height = static_cast<int>(number(at + 6, 2));
    const uint32_t kind = number(at + 8, 1);
    ASSERT_TRUE(width > 0 && height > 0 && left + width <= width_ && top + height <= height_) << i;
    ASSERT_LE(kind, 2U);
    const rcserv::Rect rect = rcserv::MakeXYWH(left, top, width, height);
    for (const rcserv::Rect& other : update.rects) EXPECT_TRUE(Intersect(rect, other).IsEmpty());
    update.rects.push_back(rect);
    (kind == 0 ? update.anyRaw : kind == 1 ? update.anyOneColour : update.anyCompressed) = true;
    for (int y = top; y < top + height; ++y) {
      uint16_t* const row =
          &pixels_[static_cast<size_t>(y) * static_cast<size_t>(width_) + static_cast<size_t>(left)];
      const size_t bytes = size_t{2} * static_cast<size_t>(width);
      if (kind == 1) {
        std::fill_n(row, width, static_cast<uint16_t>(number(at + 10, 2)));
      } else if (kind == 0) {
        ASSERT_LE(raw + bytes, packed);
        std::memcpy(row, message.data() + raw, bytes);
        raw += bytes;
      } else {
        ASSERT_LE(unpacked + bytes, plain.size());
        std::memcpy(row, plain.data() + unpacked, bytes);
        unpacked += bytes;
      }
    }
  }
  updates_.push_back(std::move(update));
}

}  // namespace test
