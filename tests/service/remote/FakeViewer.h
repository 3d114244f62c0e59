// A page without a browser: keeps the rules of the viewer's protocol, and fails the test when the service
// breaks them.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/ThreadSafety.h"
#include "rcserv/Rect.h"
#include "service/remote/ViewerHub.h"

namespace test {

// The test's thread, unless said otherwise.
class FakeViewer {
 public:
  FakeViewer(remote::ViewerHub& hub, bool local);
  // Leaves.
  ~FakeViewer();
  FakeViewer(const FakeViewer&) = delete;
  FakeViewer& operator=(const FakeViewer&) = delete;

  void Leave();
  [[nodiscard]] remote::ViewerId Id() const { return id_; }
  // 0 while it is open.
  [[nodiscard]] int CloseCode() const;

  // Draws what has come, and says so, unless it holds its answers back.
  void Work();
  void HoldAnswers(bool hold) { holdAnswers_ = hold; }
  // As if every update came over such a link.
  void SetBytesPerSecond(double rate) { bytesPerSecond_ = rate; }

  [[nodiscard]] bool Say(const std::string& json) { return hub_.TakeText(id_, json); }
  [[nodiscard]] bool Send(const std::vector<uint8_t>& bytes) { return hub_.TakeBinary(id_, bytes); }
  void Pointer(int flags, int x, int y);
  void Key(int code, bool pressed);
  void Character(char character, bool pressed);

  // The last text with this member `type`; empty when none has come.
  [[nodiscard]] std::string Last(const std::string& type) const;
  // That text has this, as in "\"state\":\"running\"".
  [[nodiscard]] bool Said(const std::string& type, const std::string& what) const;
  void Forget(const std::string& type);

  [[nodiscard]] int Width() const { return width_; }
  [[nodiscard]] int Height() const { return height_; }
  // Rows from the top.
  [[nodiscard]] const std::vector<uint16_t>& Pixels() const { return pixels_; }
  struct Update {
    size_t bytes = 0;
    std::vector<rcserv::Rect> rects;
    bool anyRaw = false, anyOneColour = false, anyCompressed = false;
  };
  // All that were drawn.
  [[nodiscard]] const std::vector<Update>& Updates() const { return updates_; }
  // One that waits for its answer.
  [[nodiscard]] bool HasUndrawn() const;

 private:
  class Channel;

  void TakeScreen();
  void Draw(const std::vector<uint8_t>& message);

  remote::ViewerHub& hub_;
  const std::shared_ptr<Channel> channel_;
  remote::ViewerId id_ = 0;
  bool left_ = false;
  bool holdAnswers_ = false;
  double bytesPerSecond_ = 1e12;
  uint32_t screen_ = 0;
  uint32_t number_ = 0;
  int width_ = 0, height_ = 0;
  std::vector<uint16_t> pixels_;
  std::vector<Update> updates_;
};

}  // namespace test
