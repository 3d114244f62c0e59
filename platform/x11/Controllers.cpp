#include "platform/x11/Controllers.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <span>

#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

using Resources = xcb_randr_get_screen_resources_current_reply_t;
using ControllerInfo = xcb_randr_get_crtc_info_reply_t;

MallocPtr<Resources> ReadResources(Connection& connection) {
  return connection.Await<Resources>(
      xcb_randr_get_screen_resources_current(connection.Get(), connection.Root()));
}

// Null when the server does not have it.
const xcb_randr_mode_info_t* FindMode(const Resources& resources, uint32_t mode) {
  const auto* const modes = xcb_randr_get_screen_resources_current_modes(&resources);
  const auto* const end = modes + xcb_randr_get_screen_resources_current_modes_length(&resources);
  const auto* const found = std::find_if(modes, end, [mode](const auto& info) { return info.id == mode; });
  return found == end ? nullptr : found;
}

double RefreshRate(const Resources& resources, uint32_t mode) {
  const xcb_randr_mode_info_t* const found = FindMode(resources, mode);
  if (found == nullptr || found->htotal == 0 || found->vtotal == 0) return 0;
  return found->dot_clock / (static_cast<double>(found->htotal) * found->vtotal);
}

bool OutputHas(Connection& connection, uint32_t output, uint32_t mode, uint32_t configuration) {
  const auto info = connection.Await<xcb_randr_get_output_info_reply_t>(
      xcb_randr_get_output_info(connection.Get(), output, configuration));
  if (!info) return false;
  const std::span modes(xcb_randr_get_output_info_modes(info.get()), info->num_modes);
  return std::find(modes.begin(), modes.end(), mode) != modes.end();
}

PixelRect AreaIn(const ControllerInfo& controller, const xcb_randr_mode_info_t& mode) {
  const bool onItsSide =
      (controller.rotation & (XCB_RANDR_ROTATION_ROTATE_90 | XCB_RANDR_ROTATION_ROTATE_270)) != 0;
  return {controller.x, controller.y, controller.x + (onItsSide ? mode.height : mode.width),
          controller.y + (onItsSide ? mode.width : mode.height)};
}

// In dots as dense as they were when the connection was made.
bool ResizeRoot(Connection& connection, const PixelRect& from, const PixelRect& to) {
  if (from == to) return true;
  const xcb_screen_t& screen = connection.Screen();
  const auto millimetres = [](int pixels, int knownMillimetres, int knownPixels) {
    return static_cast<uint32_t>(std::max(1, pixels * knownMillimetres / knownPixels));
  };
  return connection.Succeeded(xcb_randr_set_screen_size_checked(
      connection.Get(), connection.Root(), static_cast<uint16_t>(to.right), static_cast<uint16_t>(to.bottom),
      millimetres(to.right, screen.width_in_millimeters, screen.width_in_pixels),
      millimetres(to.bottom, screen.height_in_millimeters, screen.height_in_pixels)));
}

}  // namespace

std::vector<Controller> ReadControllers(Connection& connection) {
  std::vector<Controller> controllers;
  if (connection.Extension(xcb_randr_id) == nullptr) return controllers;
  xcb_connection_t* const x = connection.Get();
  const auto resources = ReadResources(connection);
  if (!resources) return controllers;
  const xcb_randr_crtc_t* const ids = xcb_randr_get_screen_resources_current_crtcs(resources.get());
  for (int i = 0; i < resources->num_crtcs; ++i) {
    const auto info =
        connection.Await<ControllerInfo>(xcb_randr_get_crtc_info(x, ids[i], resources->config_timestamp));
    if (!info || info->mode == XCB_NONE) continue;
    controllers.push_back({ids[i],
                           {info->x, info->y, info->x + info->width, info->y + info->height},
                           info->mode,
                           RefreshRate(*resources, info->mode)});
  }
  return controllers;
}

CGError SwitchController(Connection& connection, uint32_t controller, uint32_t mode) {
  xcb_connection_t* const x = connection.Get();
  const auto resources = ReadResources(connection);
  const auto geometry = connection.Await<xcb_get_geometry_reply_t>(xcb_get_geometry(x, connection.Root()));
  if (!resources || !geometry) return kCGErrorCannotComplete;
  const uint32_t configuration = resources->config_timestamp;
  const auto info = connection.Await<ControllerInfo>(xcb_randr_get_crtc_info(x, controller, configuration));
  if (!info) return kCGErrorCannotComplete;
  const xcb_randr_mode_info_t* const wanted = FindMode(*resources, mode);
  const std::span outputs(xcb_randr_get_crtc_info_outputs(info.get()), info->num_outputs);
  if (wanted == nullptr || !std::ranges::all_of(outputs, [&](uint32_t output) {
        return OutputHas(connection, output, mode, configuration);
      }))
    return kCGErrorIllegalArgument;

  // The server takes no mode that reaches beyond the root, and no root that ends within a mode.
  const PixelRect before{0, 0, geometry->width, geometry->height};
  const PixelRect large = Union(before, AreaIn(*info, *wanted));
  if (!ResizeRoot(connection, before, large)) return kCGErrorCannotComplete;
  const auto reply = connection.Await<xcb_randr_set_crtc_config_reply_t>(
      xcb_randr_set_crtc_config(x, controller, XCB_CURRENT_TIME, configuration, info->x, info->y, mode,
                                info->rotation, static_cast<uint32_t>(outputs.size()), outputs.data()));
  if (!reply || reply->status != XCB_RANDR_SET_CONFIG_SUCCESS) {
    (void)ResizeRoot(connection, large, before);
    return kCGErrorCannotComplete;
  }
  PixelRect needed;
  for (const Controller& each : ReadControllers(connection)) needed = Union(needed, each.area);
  // A root that stays larger does not matter: the display has its mode.
  (void)ResizeRoot(connection, large, needed);
  return kCGErrorSuccess;
}

}  // namespace platform::x11
