// The monitors that make up the desktop, each with a small number that stays its own.
#pragma once
#include <cstdint>
#include <map>
#include <string>

#include "rcserv/Rect.h"

namespace rcserv {

// A monitor as the system reports it, in global desktop coordinates.
struct OsMonitor {
  Rect rect;
  bool primary = false;
};
using OsMonitors = std::map<std::string, OsMonitor>;

// Asks the window system for the active displays, at most 16, each under "MonitorUnit:" and its unit number.
// False when the query failed.
[[nodiscard]] bool OsGetMonitors(OsMonitors& monitors);

// A monitor of the configuration; the rectangle counts from the desktop's top left corner.
struct Monitor {
  Rect rect;
  bool primary = false;
  bool viewed = false;
};
using Monitors = std::map<uint32_t, Monitor>;

// One thread at a time.
class MonitorConfig {
 public:
  // Describes the primary monitor after every enumeration, even when that changes whose number it was.
  static constexpr uint32_t kPrimaryId = 0;

  MonitorConfig() = default;
  MonitorConfig(const MonitorConfig&) = delete;
  MonitorConfig& operator=(const MonitorConfig&) = delete;
  virtual ~MonitorConfig() = default;

  // Asks for the monitors and takes them over. False, and the configuration stays, when that fails or finds
  // none.
  [[nodiscard]] bool EnumerateMonitors();

  // Shows or hides a monitor in the view; at least one always stays viewed. False for an unknown number and
  // for the last viewed one.
  [[nodiscard]] bool ViewMonitor(uint32_t id, bool view);

  // In ascending order of their numbers.
  [[nodiscard]] const Monitors& monitors() const { return monitors_; }
  // In global coordinates; its left and top are the desktop's origin.
  [[nodiscard]] const Rect& desktop() const { return desktop_; }
  // All monitors' bounding box, relative to the origin.
  [[nodiscard]] const Rect& bounds() const { return bounds_; }
  [[nodiscard]] size_t viewed_count() const { return viewed_count_; }

 protected:
  virtual bool EnumerateOsMonitors(OsMonitors& monitors);
  // The number of monitors is another one than before.
  virtual void OnMonitorsChanged() {}
  virtual void OnViewChanged(uint32_t /*id*/, bool /*viewed*/, size_t /*viewedCount*/) {}

 private:
  [[nodiscard]] uint32_t CreateMonitorId(const std::string& name);
  [[nodiscard]] bool EnumerateMonitors(Monitors monitors, int32_t x, int32_t y);

  std::map<std::string, uint32_t> ids_;  // grows only: a monitor that comes back finds its number
  Monitors monitors_;
  Rect desktop_;
  Rect bounds_;
  size_t viewed_count_ = 0;
  uint32_t next_id_ = 0;
};

}  // namespace rcserv
