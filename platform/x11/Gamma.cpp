#include "platform/x11/Gamma.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <optional>

#include "platform/x11/Connection.h"
#include "platform/x11/Controllers.h"
#include "platform/x11/PixelRect.h"
#include "platform/x11/RootProperty.h"

namespace platform::x11 {
namespace {

// For each controller: its number, the length of its ramp, and red, green and blue of each step.
constexpr char kRamps[] = "_KORVANE_GAMMA_BEFORE";

// Some servers begin with a ramp of zeros or of whatever was in memory.
void MakePossible(GammaRamp& ramp) {
  for (std::vector<uint16_t>& colour : ramp.colours) {
    if (std::is_sorted(colour.begin(), colour.end()) && colour.back() != 0) continue;
    const size_t last = std::max<size_t>(colour.size() - 1, 1);
    for (size_t step = 0; step < colour.size(); ++step)
      colour[step] = static_cast<uint16_t>(step * 65535 / last);
  }
}

std::vector<GammaRamp> Parse(const std::vector<uint32_t>& values) {
  std::vector<GammaRamp> ramps;
  for (size_t at = 0; values.size() - at >= 2;) {
    GammaRamp ramp{values[at]};
    const size_t length = values[at + 1];
    at += 2;
    if (length == 0 || length > (values.size() - at) / 3) break;
    for (size_t step = 0; step < length; ++step) {
      for (std::vector<uint16_t>& colour : ramp.colours)
        colour.push_back(static_cast<uint16_t>(values[at++]));
    }
    ramps.push_back(std::move(ramp));
  }
  return ramps;
}

std::vector<uint32_t> Serialize(const std::vector<GammaRamp>& ramps) {
  std::vector<uint32_t> values;
  for (const auto& [controller, colours] : ramps) {
    values.push_back(controller);
    values.push_back(static_cast<uint32_t>(colours[0].size()));
    for (size_t step = 0; step < colours[0].size(); ++step) {
      for (const std::vector<uint16_t>& colour : colours) values.push_back(colour[step]);
    }
  }
  return values;
}

// Nothing for a controller without a ramp.
std::optional<GammaRamp> ReadRamp(Connection& connection, uint32_t controller) {
  const auto reply = connection.Await<xcb_randr_get_crtc_gamma_reply_t>(
      xcb_randr_get_crtc_gamma(connection.Get(), controller));
  if (!reply || reply->size == 0) return std::nullopt;
  const uint16_t* const first[] = {xcb_randr_get_crtc_gamma_red(reply.get()),
                                   xcb_randr_get_crtc_gamma_green(reply.get()),
                                   xcb_randr_get_crtc_gamma_blue(reply.get())};
  GammaRamp ramp{controller};
  for (size_t colour = 0; colour < 3; ++colour)
    ramp.colours[colour].assign(first[colour], first[colour] + reply->size);
  return ramp;
}

}  // namespace

std::vector<GammaRamp> RememberGamma(Connection& connection) {
  const std::vector<Controller> controllers = ReadControllers(connection);
  if (controllers.empty()) return {};
  const RootProperty property(connection, kRamps);
  const ServerGrab grab(connection);
  std::vector<GammaRamp> ramps = Parse(property.Read());
  const size_t known = ramps.size();
  for (const Controller& controller : controllers) {
    if (std::any_of(ramps.begin(), ramps.end(),
                    [&](const GammaRamp& ramp) { return ramp.controller == controller.id; }))
      continue;
    if (auto ramp = ReadRamp(connection, controller.id)) {
      MakePossible(*ramp);
      ramps.push_back(std::move(*ramp));
    }
  }
  if (ramps.size() > known) property.Write(Serialize(ramps));
  return ramps;
}

bool SendGamma(Connection& connection, const std::vector<GammaRamp>& ramps) {
  for (const auto& [controller, colours] : ramps) {
    xcb_randr_set_crtc_gamma(connection.Get(), controller, static_cast<uint16_t>(colours[0].size()),
                             colours[0].data(), colours[1].data(), colours[2].data());
  }
  return connection.Flush();
}

std::vector<GammaRamp> GammaWithin(Connection& connection, std::vector<GammaRamp> ramps,
                                   const PixelRect& area) {
  const std::vector<Controller> controllers = ReadControllers(connection);
  std::erase_if(ramps, [&](const GammaRamp& ramp) {
    return std::none_of(controllers.begin(), controllers.end(), [&](const Controller& controller) {
      return controller.id == ramp.controller && !Intersection(controller.area, area).IsEmpty();
    });
  });
  return ramps;
}

void RestoreGamma(Connection& connection) {
  const RootProperty property(connection, kRamps);
  if (!SendGamma(connection, Parse(property.Read()))) return;
  property.Delete();
  (void)connection.Finish();
}

}  // namespace platform::x11
