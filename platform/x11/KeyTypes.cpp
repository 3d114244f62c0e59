#include "platform/x11/KeyTypes.h"

#include <sys/uio.h>
#include <xcb/xcb.h>
#include <xcb/xcbext.h>

#include <cstring>
#include <span>

#include "platform/x11/Connection.h"
#include "platform/x11/Xkb.h"

namespace platform::x11 {
namespace {

constexpr uint8_t kLock = XCB_MOD_MASK_LOCK;

// Takes records from the front; what is too short yields zeros and is told by Short().
class Reader {
 public:
  explicit Reader(std::span<const uint8_t> bytes) : bytes_(bytes) {}

  template <class Record>
  Record Take() {
    Record record{};
    const auto bytes = TakeBytes(sizeof record);
    if (!bytes.empty()) std::memcpy(&record, bytes.data(), sizeof record);
    return record;
  }
  std::span<const uint8_t> TakeBytes(size_t count) {
    if (count > bytes_.size()) {
      short_ = true;
      return {};
    }
    const auto taken = bytes_.first(count);
    bytes_ = bytes_.subspan(count);
    return taken;
  }
  [[nodiscard]] bool Short() const { return short_; }

 private:
  std::span<const uint8_t> bytes_;
  bool short_ = false;
};

template <class Record>
void Append(std::vector<uint8_t>& bytes, const Record& record) {
  const auto* const first = reinterpret_cast<const uint8_t*>(&record);
  bytes.insert(bytes.end(), first, first + sizeof record);
}

KeyType ReadType(Reader& reader) {
  const auto head = reader.Take<xcb_xkb_key_type_t>();
  KeyType type{{head.mods_mask, head.mods_mods, head.mods_vmods}, head.numLevels, {}};
  std::vector<bool> active;
  for (int entry = 0; entry < head.nMapEntries; ++entry) {
    const auto choice = reader.Take<xcb_xkb_kt_map_entry_t>();
    type.choices.push_back({{choice.mods_mask, choice.mods_mods, choice.mods_vmods}, choice.level, {}});
    active.push_back(choice.active != 0);
  }
  if (head.hasPreserve != 0) {
    for (KeyType::Choice& choice : type.choices) {
      const auto kept = reader.Take<xcb_xkb_mod_def_t>();
      choice.kept = {kept.mask, kept.realMods, kept.vmods};
    }
  }
  // One that no modifier of this keyboard can bring about.
  for (size_t entry = active.size(); entry-- > 0;) {
    if (!active[entry]) type.choices.erase(type.choices.begin() + static_cast<std::ptrdiff_t>(entry));
  }
  return type;
}

void AppendType(std::vector<uint8_t>& bytes, const KeyType& type) {
  bool anyKept = false;
  for (const KeyType::Choice& choice : type.choices) anyKept = anyKept || choice.kept.mask != 0;
  xcb_xkb_set_key_type_t head{};
  head.mask = type.modifiers.mask;
  head.realMods = type.modifiers.real;
  head.virtualMods = type.modifiers.named;
  head.numLevels = type.levels;
  head.nMapEntries = static_cast<uint8_t>(type.choices.size());
  head.preserve = anyKept ? 1 : 0;
  Append(bytes, head);
  for (const auto& [modifiers, level, kept] : type.choices) {
    Append(bytes, xcb_xkb_kt_set_map_entry_t{level, modifiers.real, modifiers.named});
  }
  if (!anyKept) return;
  for (const auto& [modifiers, level, kept] : type.choices) {
    Append(bytes, xcb_xkb_kt_set_map_entry_t{kept.mask, kept.real, kept.named});
  }
}

KeyType::Choice ChoiceFor(const KeyType& type, uint8_t modifiers) {
  for (const KeyType::Choice& choice : type.choices) {
    if (choice.modifiers.mask == modifiers) return choice;
  }
  return {};
}

// By hand: the library's own function wants the parts in structures, of which there is one for each type.
void SendTypes(Connection& connection, uint16_t device, const KeyMap& map) {
  xcb_xkb_set_map_request_t request{};
  request.deviceSpec = device;
  request.present = XCB_XKB_MAP_PART_KEY_TYPES;
  request.minKeyCode = map.minKeyCode;
  request.maxKeyCode = map.maxKeyCode;
  request.nTypes = static_cast<uint8_t>(map.types.size());
  std::vector<uint8_t> bytes;
  Append(bytes, request);
  for (const KeyType& type : map.types) AppendType(bytes, type);
  const xcb_protocol_request_t protocol{1, &xcb_xkb_id, XCB_XKB_SET_MAP, 1};
  iovec parts[3] = {{}, {}, {bytes.data(), bytes.size()}};  // the library fills the first two
  xcb_send_request(connection.Get(), 0, parts + 2, &protocol);
}

}  // namespace

KeyType WithoutLocks(const KeyType& type, uint8_t numLock) {
  const auto plain = [](unsigned mask) {
    return KeyType::Modifiers{static_cast<uint8_t>(mask), static_cast<uint8_t>(mask), 0};
  };
  const unsigned all = type.modifiers.mask | unsigned{kLock};
  KeyType result{plain(all), type.levels, {}};
  for (unsigned state = 0; state <= all; ++state) {
    if ((state & ~all) != 0) continue;
    const unsigned meant = (state & ~unsigned{kLock}) | (type.modifiers.mask & numLock);
    const KeyType::Choice choice = ChoiceFor(type, static_cast<uint8_t>(meant));
    if (choice.level == 0 && choice.kept.mask == 0) continue;
    result.choices.push_back({plain(state), choice.level, plain(choice.kept.mask & ~unsigned{kLock})});
  }
  return result;
}

KeyMap ReadKeyMap(Connection& connection, uint16_t device) {
  const auto reply = connection.Await<xcb_xkb_get_map_reply_t>(xcb_xkb_get_map(
      connection.Get(), device, XCB_XKB_MAP_PART_KEY_TYPES, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0));
  if (!reply) return {};
  const size_t bytes = 32 + size_t{reply->length} * 4;
  Reader reader({reinterpret_cast<const uint8_t*>(reply.get()), bytes});
  (void)reader.Take<xcb_xkb_get_map_reply_t>();
  KeyMap map{reply->minKeyCode, reply->maxKeyCode};
  for (int type = 0; type < reply->nTypes; ++type) map.types.push_back(ReadType(reader));
  return reader.Short() || reply->firstType != 0 ? KeyMap{} : map;
}

void SendKeyMap(Connection& connection, uint16_t device, const KeyMap& map) {
  KeyMap shorter = map;
  shorter.minKeyCode = static_cast<uint8_t>(map.minKeyCode + 1);
  SendTypes(connection, device, shorter);
  SendTypes(connection, device, map);
}

uint8_t NumLockModifier(Connection& connection, uint8_t keyCode) {
  const auto reply =
      connection.Await<xcb_get_modifier_mapping_reply_t>(xcb_get_modifier_mapping(connection.Get()));
  if (!reply || keyCode == 0) return 0;
  const xcb_keycode_t* const codes = xcb_get_modifier_mapping_keycodes(reply.get());
  for (int place = 0; place < 8 * reply->keycodes_per_modifier; ++place) {
    if (codes[place] == keyCode) return static_cast<uint8_t>(1U << place / reply->keycodes_per_modifier);
  }
  return 0;
}

}  // namespace platform::x11
