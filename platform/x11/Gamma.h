// The ramps by which the displays show colours. What is captured does not change by them.
#pragma once
#include <cstdint>
#include <vector>

namespace platform::x11 {

class Connection;
struct PixelRect;

// One display controller's.
struct GammaRamp {
  uint32_t controller = 0;
  // Red, green, blue; of one length, 0 to 65535.
  std::vector<uint16_t> colours[3] = {};
};

// Remembers on the server what the ramps are, unless that was done before anybody changed them, and returns
// them; a ramp that no display can have had becomes a straight line. Empty: no display has a ramp, or the
// server is gone.
[[nodiscard]] std::vector<GammaRamp> RememberGamma(Connection& connection);

// Sends ramps. False when the server is gone.
[[nodiscard]] bool SendGamma(Connection& connection, const std::vector<GammaRamp>& ramps);

// Those of `ramps` whose controllers show a part of an area of the root.
[[nodiscard]] std::vector<GammaRamp> GammaWithin(Connection& connection, std::vector<GammaRamp> ramps,
                                                 const PixelRect& area);

// All ramps as they were when they were remembered.
void RestoreGamma(Connection& connection);

}  // namespace platform::x11
