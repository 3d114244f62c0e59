#include "platform/x11/ScreenEvents.h"

#include <xcb/damage.h>
#include <xcb/randr.h>
#include <xcb/xcb.h>

#include <utility>

#include "platform/x11/Connection.h"

namespace platform::x11 {
namespace {

constexpr size_t kMostAreas = 4096;
// Set in the type of an event that another client has sent.
constexpr uint8_t kSentFlag = 0x80;

constexpr uint16_t kMonitorEvents = XCB_RANDR_NOTIFY_MASK_SCREEN_CHANGE | XCB_RANDR_NOTIFY_MASK_CRTC_CHANGE |
                                    XCB_RANDR_NOTIFY_MASK_OUTPUT_CHANGE |
                                    XCB_RANDR_NOTIFY_MASK_RESOURCE_CHANGE;

}  // namespace

std::unique_ptr<ScreenEvents> ScreenEvents::Open() {
  std::unique_ptr<Connection> connection = Connection::Open();
  if (!connection) return nullptr;
  std::unique_ptr<ScreenEvents> events(new ScreenEvents(std::move(connection)));
  if (!events->Server().Flush()) return nullptr;
  return events;
}

ScreenEvents::ScreenEvents(std::unique_ptr<Connection> connection) : connection_(std::move(connection)) {
  xcb_connection_t* const x = connection_->Get();
  // Monitors that are only named anew bring no RandR event, only this one.
  const uint32_t mask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
  xcb_change_window_attributes(x, connection_->Root(), XCB_CW_EVENT_MASK, &mask);
  if (const auto* const randr = connection_->Extension(xcb_randr_id)) {
    randrFirstEvent_ = randr->first_event;
    (void)connection_->Await<xcb_randr_query_version_reply_t>(xcb_randr_query_version(x, 1, 5));
    xcb_randr_select_input(x, connection_->Root(), kMonitorEvents);
  }
}

ScreenEvents::~ScreenEvents() = default;

int ScreenEvents::Fd() const { return connection_->Fd(); }

bool ScreenEvents::StartDrawing() {
  xcb_connection_t* const x = connection_->Get();
  const auto* const extension = connection_->Extension(xcb_damage_id);
  if (extension == nullptr) return false;
  damageEvent_ = static_cast<uint8_t>(extension->first_event + XCB_DAMAGE_NOTIFY);
  if (!connection_->Await<xcb_damage_query_version_reply_t>(xcb_damage_query_version(x, 1, 1))) return false;
  damage_ = xcb_generate_id(x);
  // The first event reports the whole root, which nobody has drawn; it is here when the request is known to
  // be done.
  if (!connection_->Succeeded(xcb_damage_create_checked(x, damage_, connection_->Root(),
                                                        XCB_DAMAGE_REPORT_LEVEL_RAW_RECTANGLES))) {
    damage_ = 0;
    return false;
  }
  std::vector<CGRect> thrownAway;
  while (const MallocPtr<xcb_generic_event_t> event{xcb_poll_for_queued_event(x)}) {
    Read(event.get(), thrownAway, missedChange_);
  }
  return true;
}

void ScreenEvents::StopDrawing() {
  xcb_damage_destroy(connection_->Get(), damage_);
  damage_ = 0;
  (void)connection_->Flush();
}

bool ScreenEvents::Drain(std::vector<CGRect>& redrawn, bool& monitorsChanged) {
  monitorsChanged = std::exchange(missedChange_, false) || monitorsChanged;
  for (size_t areas = 0; areas < kMostAreas; ++areas) {
    const MallocPtr<xcb_generic_event_t> event(xcb_poll_for_event(connection_->Get()));
    if (!event) break;
    Read(event.get(), redrawn, monitorsChanged);
  }
  return connection_->Alive();
}

void ScreenEvents::Read(const void* event, std::vector<CGRect>& redrawn, bool& monitorsChanged) const {
  const auto type =
      static_cast<uint8_t>(static_cast<const xcb_generic_event_t*>(event)->response_type & ~kSentFlag);
  if (damage_ != 0 && type == damageEvent_) {
    const auto& damage = *static_cast<const xcb_damage_notify_event_t*>(event);
    if (damage.damage != damage_) return;
    redrawn.push_back(CGRectMake(damage.area.x, damage.area.y, damage.area.width, damage.area.height));
    return;
  }
  const bool fromRandr =
      randrFirstEvent_ != 0 && type >= randrFirstEvent_ && type <= randrFirstEvent_ + XCB_RANDR_NOTIFY;
  if (type == XCB_CONFIGURE_NOTIFY || fromRandr) monitorsChanged = true;
}

}  // namespace platform::x11
