#include "bench/SmallestLoop.h"

#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>
#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "rcserv/PixelConvert.h"

namespace bench {
namespace {

struct FreeDeleter {
  void operator()(void* memory) const noexcept { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, FreeDeleter>;

class Loop {
 public:
  Loop() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_) != 0) {
      std::fprintf(stderr, "the smallest loop cannot reach the display\n");
      std::exit(1);
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
    root_ = screen->root;
    width_ = screen->width_in_pixels;
    height_ = screen->height_in_pixels;

    const std::size_t size = std::size_t{width_} * height_ * 4;
    const int fd = memfd_create("smallest", MFD_CLOEXEC);
    if (fd < 0 || ftruncate(fd, static_cast<off_t>(size)) != 0) std::abort();
    grabbed_ = static_cast<std::byte*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0));
    std::memset(grabbed_, 0, size);
    segment_ = xcb_generate_id(connection_);
    xcb_shm_attach_fd(connection_, segment_, fd, 0);
    copied_.resize(size);
    converted_.resize(size / 2);

    const xcb_query_extension_reply_t* extension = xcb_get_extension_data(connection_, &xcb_damage_id);
    damageEvent_ = static_cast<std::uint8_t>(extension->first_event + XCB_DAMAGE_NOTIFY);
    Reply<xcb_damage_query_version_reply_t>(
        xcb_damage_query_version_reply(connection_, xcb_damage_query_version(connection_, 1, 1), nullptr));
    xcb_damage_create(connection_, xcb_generate_id(connection_), root_,
                      XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES);
    // The creation itself reports the whole screen once.
    Reply<xcb_get_input_focus_reply_t>(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    ReadEvents();
    ForgetArea();
  }
  ~Loop() { xcb_disconnect(connection_); }
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  [[nodiscard]] int Fd() const { return xcb_get_file_descriptor(connection_); }

  void ReadEvents() {
    while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection_)}) {
      if ((event->response_type & 0x7f) != damageEvent_) continue;
      const auto& area = reinterpret_cast<const xcb_damage_notify_event_t*>(event.get())->area;
      left_ = std::min<int>(left_, area.x);
      top_ = std::min<int>(top_, area.y);
      right_ = std::max(right_, area.x + area.width);
      bottom_ = std::max(bottom_, area.y + area.height);
    }
  }

  // True when there was something to capture.
  bool Capture() {
    if (left_ >= right_ || top_ >= bottom_) return false;
    const int width = right_ - left_;
    const int height = bottom_ - top_;
    const Reply<xcb_shm_get_image_reply_t> reply{xcb_shm_get_image_reply(
        connection_,
        xcb_shm_get_image(connection_, root_, static_cast<std::int16_t>(left_),
                          static_cast<std::int16_t>(top_), static_cast<std::uint16_t>(width),
                          static_cast<std::uint16_t>(height), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0),
        nullptr)};
    const std::size_t row = static_cast<std::size_t>(width) * 4;
    std::memcpy(copied_.data(), grabbed_, row * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
      rcserv::ConvertRow(copied_.data() + static_cast<std::size_t>(y) * row,
                         converted_.data() + (static_cast<std::size_t>(top_ + y) * width_ + left_) * 2,
                         width);
    }
    ForgetArea();
    return reply != nullptr;
  }

 private:
  void ForgetArea() {
    left_ = top_ = INT32_MAX;
    right_ = bottom_ = INT32_MIN;
  }

  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  std::uint16_t width_ = 0;
  std::uint16_t height_ = 0;
  xcb_shm_seg_t segment_ = 0;
  std::uint8_t damageEvent_ = 0;
  std::byte* grabbed_ = nullptr;
  std::vector<std::byte> copied_;
  std::vector<std::byte> converted_;
  int left_ = INT32_MAX, top_ = INT32_MAX, right_ = INT32_MIN, bottom_ = INT32_MIN;
};

}  // namespace

void ServeSmallestLoop(int socket) {
  Loop loop;
  const char ready = 1;
  if (send(socket, &ready, 1, MSG_NOSIGNAL) != 1) return;

  std::array<std::byte, 808> answer{};
  std::array<pollfd, 2> waits{{{loop.Fd(), POLLIN, 0}, {socket, POLLIN, 0}}};
  while (true) {
    if (poll(waits.data(), waits.size(), -1) < 0) return;
    loop.ReadEvents();
    if (waits[1].revents == 0) continue;
    std::uint16_t request = 0;
    if (recv(socket, &request, sizeof request, 0) != sizeof request) return;
    const std::array<std::uint32_t, 2> head{1, loop.Capture() ? 1U : 0U};
    std::memcpy(answer.data(), head.data(), sizeof head);
    if (send(socket, answer.data(), answer.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(answer.size()))
      return;
  }
}

}  // namespace bench
