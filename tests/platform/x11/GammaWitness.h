// What the first screen is made brighter or darker by.
#pragma once
#include <xcb/randr.h>

#include <cstdint>
#include <vector>

#include "platform/Handles.h"

namespace test {

using Ramp = std::vector<uint16_t>;

// The red ramp of the first controller, seen and set by another client.
class GammaWitness {
 public:
  ~GammaWitness() { xcb_disconnect(x_); }

  Ramp Read() const {
    const platform::MallocPtr<xcb_randr_get_crtc_gamma_reply_t> reply(
        xcb_randr_get_crtc_gamma_reply(x_, xcb_randr_get_crtc_gamma(x_, Controller()), nullptr));
    const uint16_t* const red = xcb_randr_get_crtc_gamma_red(reply.get());
    return {red, red + reply->size};
  }
  void Write(const Ramp& ramp) const {
    xcb_randr_set_crtc_gamma(x_, Controller(), static_cast<uint16_t>(ramp.size()), ramp.data(), ramp.data(),
                             ramp.data());
    (void)Read();
  }

 private:
  uint32_t Controller() const {
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(x_)).data->root;
    const platform::MallocPtr<xcb_randr_get_screen_resources_current_reply_t> resources(
        xcb_randr_get_screen_resources_current_reply(x_, xcb_randr_get_screen_resources_current(x_, root),
                                                     nullptr));
    return xcb_randr_get_screen_resources_current_crtcs(resources.get())[0];
  }

  xcb_connection_t* x_ = xcb_connect(nullptr, nullptr);
};

inline Ramp Line(unsigned highest) {
  Ramp ramp;
  for (unsigned step = 0; step < 256; ++step) ramp.push_back(static_cast<uint16_t>(step * highest / 255));
  return ramp;
}

}  // namespace test
