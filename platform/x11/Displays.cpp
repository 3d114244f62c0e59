#include "platform/x11/Displays.h"

#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Session.h"

namespace platform::x11 {
namespace {

struct Monitor {
  uint32_t nameAtom = 0;
  bool primary = false;
  PixelRect bounds;
};

// In the server's order, cut to the root; those outside of it are left out. A server that does not know of
// monitors shows one display as large as the root. Nothing when the server is gone.
std::optional<std::vector<Monitor>> ReadMonitors(Connection& connection) {
  xcb_connection_t* const x = connection.Get();
  const bool knowsMonitors = connection.Extension(xcb_randr_id) != nullptr;
  const auto geometryCookie = xcb_get_geometry(x, connection.Root());
  const auto monitorsCookie =
      knowsMonitors ? xcb_randr_get_monitors(x, connection.Root(), 1) : xcb_randr_get_monitors_cookie_t{};
  const auto geometry = connection.Await<xcb_get_geometry_reply_t>(geometryCookie);
  const auto monitors =
      knowsMonitors ? connection.Await<xcb_randr_get_monitors_reply_t>(monitorsCookie) : nullptr;
  if (!geometry || !connection.Alive()) return std::nullopt;

  const PixelRect root{0, 0, geometry->width, geometry->height};
  if (!monitors) return std::vector<Monitor>{{XCB_ATOM_NONE, true, root}};
  std::vector<Monitor> found;
  for (auto next = xcb_randr_get_monitors_monitors_iterator(monitors.get()); next.rem > 0;
       xcb_randr_monitor_info_next(&next)) {
    const xcb_randr_monitor_info_t& monitor = *next.data;
    const PixelRect bounds{monitor.x, monitor.y, monitor.x + monitor.width, monitor.y + monitor.height};
    const PixelRect visible = Intersection(bounds, root);
    if (!visible.IsEmpty()) found.push_back({monitor.name, monitor.primary != 0, visible});
  }
  return found;
}

// The first primary one, else the one that shows the root's corner, else the first.
std::vector<Monitor>::iterator MainOf(std::vector<Monitor>& monitors) {
  const auto primary =
      std::find_if(monitors.begin(), monitors.end(), [](const Monitor& m) { return m.primary; });
  if (primary != monitors.end()) return primary;
  const auto corner = std::find_if(monitors.begin(), monitors.end(),
                                   [](const Monitor& m) { return m.bounds.left <= 0 && m.bounds.top <= 0; });
  return corner != monitors.end() ? corner : monitors.begin();
}

}  // namespace

const DisplayInfo* Find(const DisplayList& displays, CGDirectDisplayID id) {
  const auto found =
      std::find_if(displays.begin(), displays.end(), [id](const auto& d) { return d.id == id; });
  return found == displays.end() ? nullptr : &*found;
}

Displays& Displays::Instance() {
  static Displays* const instance = new Displays;
  return *instance;
}

std::shared_ptr<const DisplayList> Displays::Now() {
  if (Session::Instance().Over()) return nullptr;
  {
    const Locked locked(lock_);
    if (kept_) return kept_;
  }
  Connection* const connection = Connection::Current();
  return connection == nullptr ? nullptr : Ask(*connection);
}

std::shared_ptr<const DisplayList> Displays::Ask(Connection& connection) {
  std::optional<std::vector<Monitor>> monitors = ReadMonitors(connection);
  if (!monitors) return nullptr;
  if (!monitors->empty()) std::rotate(monitors->begin(), MainOf(*monitors), std::next(MainOf(*monitors)));

  auto list = std::make_shared<DisplayList>();
  for (const Monitor& monitor : *monitors) {
    const bool mirrored = std::any_of(list->begin(), list->end(),
                                      [&](const auto& seen) { return seen.bounds == monitor.bounds; });
    if (!mirrored) list->push_back({IdOf(monitor.nameAtom), monitor.bounds, list->empty()});
  }
  return list;
}

CGDirectDisplayID Displays::IdOf(uint32_t nameAtom) {
  const Locked locked(lock_);
  return ids_.try_emplace(nameAtom, static_cast<CGDirectDisplayID>(ids_.size() + 1)).first->second;
}

std::string Displays::NameOf(Connection& connection, CGDirectDisplayID id) {
  uint32_t atom = 0;
  {
    const Locked locked(lock_);
    for (const auto& [nameAtom, known] : ids_) {
      if (known == id) atom = nameAtom;
    }
  }
  const auto name = connection.Await<xcb_get_atom_name_reply_t>(xcb_get_atom_name(connection.Get(), atom));
  if (!name) return "screen";
  return {xcb_get_atom_name_name(name.get()), static_cast<size_t>(xcb_get_atom_name_name_length(name.get()))};
}

void Displays::Keep(std::shared_ptr<const DisplayList> displays) {
  const Locked locked(lock_);
  kept_ = std::move(displays);
}

void Displays::Forget() { Keep(nullptr); }

}  // namespace platform::x11

using platform::x11::CallScope;
using platform::x11::DisplayInfo;
using platform::x11::DisplayList;
using platform::x11::Displays;

namespace {

template <class Predicate>
CGError List(uint32_t maxDisplays, CGDirectDisplayID* displays, uint32_t* count, Predicate wanted) {
  if (count == nullptr) return kCGErrorIllegalArgument;
  *count = 0;
  const CallScope scope;
  const auto now = Displays::Instance().Now();
  if (!now) return kCGErrorCannotComplete;
  for (const DisplayInfo& display : *now) {
    if (!wanted(display)) continue;
    if (displays != nullptr) {
      if (*count == maxDisplays) break;
      displays[*count] = display.id;
    }
    ++*count;
  }
  return kCGErrorSuccess;
}

// Reads something of one display; `otherwise` when it is not there.
template <class Result, class Read>
Result Of(CGDirectDisplayID id, Result otherwise, Read read) {
  const CallScope scope;
  const auto now = Displays::Instance().Now();
  const DisplayInfo* const display = now ? platform::x11::Find(*now, id) : nullptr;
  return display == nullptr ? otherwise : read(*display);
}

}  // namespace

CGError CGGetActiveDisplayList(uint32_t maxDisplays, CGDirectDisplayID* displays, uint32_t* count) {
  return List(maxDisplays, displays, count, [](const DisplayInfo&) { return true; });
}

CGError CGGetDisplaysWithRect(CGRect rect, uint32_t maxDisplays, CGDirectDisplayID* displays,
                              uint32_t* count) {
  return List(maxDisplays, displays, count, [&rect](const DisplayInfo& display) {
    return CGRectIntersectsRect(rect, platform::x11::ToCGRect(display.bounds));
  });
}

CGDirectDisplayID CGMainDisplayID() {
  const CallScope scope;
  const auto now = Displays::Instance().Now();
  return now && !now->empty() ? now->front().id : kCGNullDirectDisplay;
}

CGRect CGDisplayBounds(CGDirectDisplayID display) {
  return Of(display, CGRectZero,
            [](const DisplayInfo& info) { return platform::x11::ToCGRect(info.bounds); });
}

uint32_t CGDisplayIsMain(CGDirectDisplayID display) {
  return Of(display, uint32_t{0},
            [](const DisplayInfo& info) { return info.main ? uint32_t{1} : uint32_t{0}; });
}

// Counted from 0 in the order in which displays were first seen, as their identifiers are from 1; so also a
// display that is gone keeps its number.
uint32_t CGDisplayUnitNumber(CGDirectDisplayID display) {
  return display == kCGNullDirectDisplay ? 0 : display - 1;
}
