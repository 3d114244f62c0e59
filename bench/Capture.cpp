// How near is a capture through the platform layer to a bare shared-memory grab?
#include <ApplicationServices/ApplicationServices.h>
#include <sys/mman.h>
#include <unistd.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <cstdio>
#include <cstdlib>

#include "bench/Rounds.h"
#include "tests/support/XServer.h"

namespace {

constexpr int kRounds = 15;
constexpr int kWidth = 1920, kHeight = 1080;

class BareGrab {
 public:
  BareGrab() : connection_(xcb_connect(nullptr, nullptr)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    const int fd = memfd_create("bare", MFD_CLOEXEC);
    if (fd < 0 || ftruncate(fd, off_t{kWidth} * kHeight * 4) != 0) std::abort();
    segment_ = xcb_generate_id(connection_);
    xcb_shm_attach_fd(connection_, segment_, fd, 0);
  }
  ~BareGrab() { xcb_disconnect(connection_); }
  BareGrab(const BareGrab&) = delete;
  BareGrab& operator=(const BareGrab&) = delete;

  void Grab(int width, int height) {
    std::free(xcb_shm_get_image_reply(
        connection_,
        xcb_shm_get_image(connection_, root_, 0, 0, static_cast<uint16_t>(width),
                          static_cast<uint16_t>(height), ~0U, XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0),
        nullptr));
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
  xcb_shm_seg_t segment_ = 0;
};

}  // namespace

int main() {
  const test::XServer server({.width = kWidth, .height = kHeight});
  BareGrab bare;
  // As in the observer: while a callback is registered, the layer knows without asking which displays there
  // are.
  CGRegisterScreenRefreshCallback([](uint32_t, const CGRect*, void*) {}, nullptr);
  const CGDirectDisplayID display = CGMainDisplayID();

  struct Case {
    int width, height, repeats;
  };
  for (const Case& c : {Case{64, 64, 400}, Case{256, 256, 200}, Case{kWidth, kHeight, 20}}) {
    std::printf("%d x %d\n", c.width, c.height);
    const auto round = [&c](auto&& capture) {
      return bench::Microseconds([&] {
               for (int i = 0; i < c.repeats; ++i) capture();
             }) /
             c.repeats;
    };
    const auto results =
        bench::Run({{"CGDisplayCreateImageForRect",
                     [&] {
                       return round([&] {
                         const CGImageRef image =
                             CGDisplayCreateImageForRect(display, CGRectMake(0, 0, c.width, c.height));
                         if (image == nullptr) std::abort();
                         CGImageRelease(image);
                       });
                     }},
                    {"bare grab", [&] { return round([&] { bare.Grab(c.width, c.height); }); }}},
                   kRounds);
    std::printf("  ratio %.2f\n", results[0].median / results[1].median);
  }
}
