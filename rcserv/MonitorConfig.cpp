#include "rcserv/MonitorConfig.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "rcserv/CGRectConversion.h"

namespace rcserv {

namespace {

constexpr uint32_t kMaxDisplays = 16;

Rect UnionOf(const Monitors& monitors) {
  Rect area;
  for (const auto& [id, monitor] : monitors) area = Unite(area, monitor.rect);
  return area;
}

void PutPrimaryFirst(Monitors& monitors) {
  const auto primary =
      std::find_if(monitors.begin(), monitors.end(), [](const auto& entry) { return entry.second.primary; });
  if (primary == monitors.end() || primary->first == MonitorConfig::kPrimaryId) return;
  const auto [first, inserted] = monitors.try_emplace(MonitorConfig::kPrimaryId, primary->second);
  if (inserted) {
    monitors.erase(primary);
  } else {
    std::swap(first->second, primary->second);
  }
}

}  // namespace

bool OsGetMonitors(OsMonitors& monitors) {
  std::array<CGDirectDisplayID, kMaxDisplays> displays{};
  uint32_t count = 0;
  if (CGGetActiveDisplayList(kMaxDisplays, displays.data(), &count) != kCGErrorSuccess) return false;
  for (uint32_t i = 0; i < std::min(count, kMaxDisplays); ++i) {
    char key[32];
    std::snprintf(key, sizeof key, "MonitorUnit:%u", CGDisplayUnitNumber(displays[i]));
    monitors.try_emplace(key,
                         OsMonitor{ToRect(CGDisplayBounds(displays[i])), CGDisplayIsMain(displays[i]) != 0});
  }
  return true;
}

bool MonitorConfig::EnumerateOsMonitors(OsMonitors& monitors) { return OsGetMonitors(monitors); }

uint32_t MonitorConfig::CreateMonitorId(const std::string& name) {
  const auto [entry, inserted] = ids_.try_emplace(name, next_id_);
  if (inserted) ++next_id_;
  return entry->second;
}

bool MonitorConfig::EnumerateMonitors() {
  OsMonitors found;
  if (!EnumerateOsMonitors(found) || found.empty()) return false;

  Monitors monitors;
  for (const auto& [name, monitor] : found)
    monitors[CreateMonitorId(name)] = {.rect = monitor.rect, .primary = monitor.primary};
  const Rect area = UnionOf(monitors);
  for (auto& [id, monitor] : monitors)
    monitor.rect = Translate(monitor.rect, -int64_t{area.left}, -int64_t{area.top});
  return EnumerateMonitors(std::move(monitors), area.left, area.top);
}

bool MonitorConfig::EnumerateMonitors(Monitors monitors, int32_t x, int32_t y) {
  if (monitors.empty()) return false;
  PutPrimaryFirst(monitors);

  size_t viewedCount = 0;
  for (auto& [id, monitor] : monitors) {
    const auto before = monitors_.find(id);
    monitor.viewed = before != monitors_.end() && before->second.viewed;
    if (monitor.viewed) ++viewedCount;
  }
  if (viewedCount == 0) {
    // The first one is the primary one whenever there is one.
    monitors.begin()->second.viewed = true;
    viewedCount = 1;
  }

  const bool numberChanged = monitors.size() != monitors_.size();
  bounds_ = UnionOf(monitors);
  desktop_ = bounds_.IsPoint() ? Rect() : Translate(bounds_, x, y);
  viewed_count_ = viewedCount;
  monitors_ = std::move(monitors);
  if (numberChanged) OnMonitorsChanged();
  return true;
}

bool MonitorConfig::ViewMonitor(uint32_t id, bool view) {
  const auto entry = monitors_.find(id);
  if (entry == monitors_.end()) return false;
  Monitor& monitor = entry->second;
  if (monitor.viewed == view) return true;
  if (!view && viewed_count_ < 2) return false;
  view ? ++viewed_count_ : --viewed_count_;
  monitor.viewed = view;
  OnViewChanged(id, view, viewed_count_);
  return true;
}

}  // namespace rcserv
