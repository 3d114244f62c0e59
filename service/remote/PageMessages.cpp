#include "service/remote/PageMessages.h"

#include <boost/json.hpp>
#include <cstring>

namespace remote {
namespace {

namespace json = boost::json;

std::optional<bool> Flag(const json::object& object, std::string_view name) {
  const json::value* const value = object.if_contains(name);
  if (value == nullptr || !value->is_bool()) return std::nullopt;
  return value->get_bool();
}

std::optional<uint32_t> Number(const json::value* value) {
  if (value == nullptr || !value->is_int64()) return std::nullopt;
  const int64_t number = value->get_int64();
  if (number < 0 || number > UINT32_MAX) return std::nullopt;
  return static_cast<uint32_t>(number);
}

std::optional<PageMessage> ReadAnswer(const json::object& object) {
  const auto viewer = Number(object.if_contains("viewer"));
  const auto grant = Flag(object, "grant");
  if (!viewer || !grant) return std::nullopt;
  return AnswerRequest{*viewer, *grant};
}

std::optional<PageMessage> ReadSettings(const json::object& object) {
  const auto lock = Flag(object, "lock");
  const auto blank = Flag(object, "blank");
  if (!lock || !blank) return std::nullopt;
  return AskSettings{*lock, *blank};
}

std::optional<PageMessage> ReadMonitor(const json::object& object) {
  const json::value* const id = object.if_contains("id");
  if (id != nullptr && id->is_null()) return ShowMonitor{};
  const auto number = Number(id);
  if (!number) return std::nullopt;
  return ShowMonitor{number};
}

std::optional<PageMessage> ReadPing(const json::object& object) {
  const json::value* const time = object.if_contains("time");
  if (time == nullptr || !time->is_number()) return std::nullopt;
  return Ping{json::serialize(*time)};
}

template <class Record>
std::optional<Record> Copy(std::span<const uint8_t> message) {
  static_assert(alignof(Record) == 1);
  Record record;
  if (message.size() != sizeof record) return std::nullopt;
  std::memcpy(&record, message.data(), sizeof record);
  return record;
}

enum Kind : uint8_t { kPointer = 1, kKey = 2, kCharacter = 3, kDrawn = 4, kRelease = 5 };
constexpr uint8_t kPointerFlags = 0x1F;
constexpr uint8_t kLastCharacter = 127;

#pragma pack(push, 1)
struct PointerRecord {
  uint8_t kind, flags;
  uint16_t x, y;
};
struct KeyRecord {
  uint8_t kind, code, pressed;
};
struct CharacterRecord {
  uint8_t kind, character, fallbackCode, pressed, shift;
};
struct DrawnRecord {
  uint8_t kind;
  uint32_t number;
};
#pragma pack(pop)

std::optional<PageInput> ReadPointer(std::span<const uint8_t> message) {
  const auto record = Copy<PointerRecord>(message);
  if (!record || record->flags > kPointerFlags) return std::nullopt;
  return PointerInput{record->flags, record->x, record->y};
}

std::optional<PageInput> ReadKey(std::span<const uint8_t> message) {
  const auto record = Copy<KeyRecord>(message);
  if (!record) return std::nullopt;
  return KeyInput{record->code, record->pressed != 0};
}

std::optional<PageInput> ReadCharacter(std::span<const uint8_t> message) {
  const auto record = Copy<CharacterRecord>(message);
  if (!record || record->character > kLastCharacter) return std::nullopt;
  return CharacterInput{record->character, record->fallbackCode, record->pressed != 0, record->shift != 0};
}

}  // namespace

std::optional<PageMessage> ReadPageMessage(std::string_view text) {
  json::error_code error;
  json::parse_options options;
  options.max_depth = 4;
  const json::value value = json::parse(text, error, {}, options);
  const json::object* const object = error ? nullptr : value.if_object();
  const json::value* const type = object == nullptr ? nullptr : object->if_contains("type");
  if (type == nullptr || !type->is_string()) return std::nullopt;
  const json::string& name = type->get_string();

  if (name == "control") {
    const auto want = Flag(*object, "want");
    if (!want) return std::nullopt;
    return WantControl{*want};
  }
  if (name == "answer") return ReadAnswer(*object);
  if (name == "settings") return ReadSettings(*object);
  if (name == "monitor") return ReadMonitor(*object);
  if (name == "refresh") return Refresh{};
  if (name == "retry") return Retry{};
  if (name == "ping") return ReadPing(*object);
  return std::nullopt;
}

std::optional<PageInput> ReadPageInput(std::span<const uint8_t> message) {
  if (message.empty()) return std::nullopt;
  switch (message[0]) {
    case kPointer:
      return ReadPointer(message);
    case kKey:
      return ReadKey(message);
    case kCharacter:
      return ReadCharacter(message);
    case kDrawn: {
      const auto record = Copy<DrawnRecord>(message);
      if (!record) return std::nullopt;
      return Drawn{record->number};
    }
    case kRelease:
      if (message.size() != 1) return std::nullopt;
      return ReleaseInput{};
    default:
      return std::nullopt;
  }
}

}  // namespace remote
