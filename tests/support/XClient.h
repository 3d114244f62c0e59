// Another X client, the tests' witness: it paints, and it reads pixels back by a plain image request, sharing
// neither code nor connection nor transport with what is tested.
#pragma once
#include <cstdint>
#include <memory>
#include <vector>

struct xcb_connection_t;
struct xcb_screen_t;

namespace test {

// One thread at a time. Requests are sent at the latest by Sync(). Pixels are the root visual's own values:
// 0x00RRGGBB at depth 24.
class XClient {
 public:
  // The server that DISPLAY names. Throws std::runtime_error when it cannot be reached.
  XClient();

  // Paints on the root.
  void Fill(int x, int y, int width, int height, uint32_t pixel);
  // Fills a part of the root with one colour each, so that a misplaced row or column shows. Deterministic by
  // `seed`.
  void FillNoise(int x, int y, int width, int height, uint32_t seed);

  // A mapped window that no window manager touches.
  [[nodiscard]] uint32_t OpenWindow(int x, int y, int width, int height, uint32_t pixel);
  void CloseWindow(uint32_t window);

  // Returns when the server has done everything that was asked.
  void Sync();

  // Rows from the top, unused bits cleared; empty when a part of the area is outside the root.
  [[nodiscard]] std::vector<uint32_t> Read(int x, int y, int width, int height);

  // From here on nobody else is served.
  void GrabServer();

 private:
  struct Disconnect {
    void operator()(xcb_connection_t* connection) const noexcept;
  };
  std::unique_ptr<xcb_connection_t, Disconnect> connection_;
  const xcb_screen_t* screen_ = nullptr;
  uint32_t context_ = 0;
  size_t bytes_ = 0;  // of a pixel
  uint32_t mask_ = 0;
};

}  // namespace test
