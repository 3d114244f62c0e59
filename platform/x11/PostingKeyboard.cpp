#include "platform/x11/PostingKeyboard.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/x11/Connection.h"
#include "platform/x11/InputDevices.h"
#include "platform/x11/KeyTypes.h"
#include "platform/x11/Xkb.h"

namespace platform::x11 {
namespace {

// Set in the type of an event that another client has sent.
constexpr uint8_t kSentFlag = 0x80;

}  // namespace

PostingKeyboard::PostingKeyboard(Connection& connection) : connection_(connection) {
  if (const auto* const extension = connection.Extension(xcb_xkb_id)) firstEvent_ = extension->first_event;
}

void PostingKeyboard::Start() {
  if (firstEvent_ == 0) return;
  xcb_connection_t* const x = connection_.Get();
  if (!connection_.Await<xcb_xkb_use_extension_reply_t>(xcb_xkb_use_extension(x, 1, 0))) return;
  // The first one belongs to the keyboard that everybody uses; further ones come with further seats.
  for (const InputDevice& device : ReadInputDevices(connection_)) {
    if (device_ == 0 && device.kind == InputDevice::Kind::kPosting && device.keyboard) device_ = device.id;
  }
  if (device_ == 0) return;
  constexpr uint16_t kNewKeyboard = XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY;
  constexpr uint16_t kTypes = XCB_XKB_MAP_PART_KEY_TYPES;
  xcb_xkb_select_events(x, device_, kNewKeyboard | XCB_XKB_EVENT_TYPE_MAP_NOTIFY, 0, kNewKeyboard, kTypes,
                        kTypes, nullptr);
}

bool PostingKeyboard::IsNewKeymap(const void* event) const {
  const auto& notice = *static_cast<const xcb_xkb_new_keyboard_notify_event_t*>(event);
  return firstEvent_ != 0 && (notice.response_type & ~kSentFlag) == firstEvent_ &&
         (notice.xkbType == XCB_XKB_NEW_KEYBOARD_NOTIFY || notice.xkbType == XCB_XKB_MAP_NOTIFY);
}

void PostingKeyboard::Adapt(uint8_t numLockCode) {
  if (device_ == 0) return;
  StopRepeat();
  IgnoreLocks(numLockCode);
}

// Programs read the keymap of the keyboard whose key arrives, and take from it how a lock counts. Posting the
// opposite Shift would do for letters only, and would turn Control with C into another shortcut; switching
// the lock off for the time of a key would show on the keyboard's lamp, and to whoever announces it.
void PostingKeyboard::IgnoreLocks(uint8_t numLockCode) {
  KeyMap map = ReadKeyMap(connection_, device_);
  const std::vector<KeyType> before = map.types;
  const uint8_t numLock = NumLockModifier(connection_, numLockCode);
  for (KeyType& type : map.types) type = WithoutLocks(type, numLock);
  if (map.types == before) return;  // told of our own change
  SendKeyMap(connection_, device_, map);
}

// The master takes over a slave's settings when that one begins to be used. If it has those of this keyboard
// already, it must be told, too; that tells all of its slaves, whose own settings are then put back.
void PostingKeyboard::StopRepeat() {
  constexpr uint8_t kNone[32] = {};
  SetRepeat(device_, kNone);
  const std::vector<InputDevice> devices = ReadInputDevices(connection_);
  const auto master = std::find_if(devices.begin(), devices.end(), [this](const InputDevice& device) {
    return device.kind == InputDevice::Kind::kMaster && device.keyboard && device.keySource == device_;
  });
  if (master == devices.end()) return;

  std::vector<std::pair<uint16_t, MallocPtr<xcb_xkb_get_controls_reply_t>>> before;
  for (const InputDevice& device : devices) {
    if (device.kind != InputDevice::Kind::kSlave || !device.keyboard) continue;
    before.emplace_back(device.id, connection_.Await<xcb_xkb_get_controls_reply_t>(
                                       xcb_xkb_get_controls(connection_.Get(), device.id)));
  }
  SetRepeat(master->id, kNone);
  for (const auto& [id, controls] : before) {
    if (controls) SetRepeat(id, controls->perKeyRepeat);
  }
}

bool PostingKeyboard::Repeats() {
  if (device_ == 0) return true;
  const auto controls =
      connection_.Await<xcb_xkb_get_controls_reply_t>(xcb_xkb_get_controls(connection_.Get(), device_));
  return !controls || std::any_of(std::begin(controls->perKeyRepeat), std::end(controls->perKeyRepeat),
                                  [](uint8_t keys) { return keys != 0; });
}

void PostingKeyboard::SetRepeat(uint16_t device, const uint8_t (&keys)[32]) {
  xcb_xkb_set_controls(connection_.Get(), device, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                       XCB_XKB_CONTROL_PER_KEY_REPEAT, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, keys);
}

}  // namespace platform::x11
