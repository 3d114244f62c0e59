#include "platform/x11/Controllers.h"

#include <xcb/randr.h>

#include <algorithm>

#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

double RefreshRate(const xcb_randr_get_screen_resources_current_reply_t& resources, uint32_t mode) {
  const auto* const modes = xcb_randr_get_screen_resources_current_modes(&resources);
  const auto* const end = modes + xcb_randr_get_screen_resources_current_modes_length(&resources);
  const auto* const found = std::find_if(modes, end, [mode](const auto& info) { return info.id == mode; });
  if (found == end || found->htotal == 0 || found->vtotal == 0) return 0;
  return found->dot_clock / (static_cast<double>(found->htotal) * found->vtotal);
}

}  // namespace

std::vector<Controller> ReadControllers(Connection& connection) {
  std::vector<Controller> controllers;
  if (connection.Extension(xcb_randr_id) == nullptr) return controllers;
  xcb_connection_t* const x = connection.Get();
  const auto resources = connection.Await<xcb_randr_get_screen_resources_current_reply_t>(
      xcb_randr_get_screen_resources_current(x, connection.Root()));
  if (!resources) return controllers;
  const xcb_randr_crtc_t* const ids = xcb_randr_get_screen_resources_current_crtcs(resources.get());
  for (int i = 0; i < resources->num_crtcs; ++i) {
    const auto info = connection.Await<xcb_randr_get_crtc_info_reply_t>(
        xcb_randr_get_crtc_info(x, ids[i], resources->config_timestamp));
    if (!info || info->mode == XCB_NONE) continue;
    controllers.push_back({ids[i],
                           {info->x, info->y, info->x + info->width, info->y + info->height},
                           info->mode,
                           RefreshRate(*resources, info->mode)});
  }
  return controllers;
}

}  // namespace platform::x11
