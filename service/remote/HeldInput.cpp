#include "service/remote/HeldInput.h"

namespace remote {
namespace {

constexpr int kCharacters = 256;

struct Button {
  uint8_t press, release;
};
constexpr Button kButtons[] = {{2, 4}, {8, 16}};

}  // namespace

void HeldInput::Note(const PointerInput& input) {
  last_ = input;
  // A press counts before a release of the same record, as it does for the observer.
  for (const Button& button : kButtons) {
    if ((input.flags & button.press) != 0)
      buttons_ |= button.release;
    else if ((input.flags & button.release) != 0)
      buttons_ &= static_cast<uint8_t>(~button.release);
  }
}

void HeldInput::Note(const KeyInput& input) {
  if (input.pressed)
    keys_[input.code] = MakeKeyRecord({input.code, false});
  else
    keys_.erase(input.code);
}

void HeldInput::Note(const CharacterInput& input) {
  CharacterInput release = input;
  release.pressed = false;
  if (input.pressed)
    keys_[kCharacters + input.character] = MakeCharacterRecord(release);
  else
    keys_.erase(kCharacters + input.character);
}

std::vector<CommandRecord> HeldInput::Release() {
  std::vector<CommandRecord> records;
  for (const auto& [key, record] : keys_) records.push_back(record);
  keys_.clear();
  if (buttons_ != 0) records.push_back(MakePointerRecord({buttons_, last_.x, last_.y}));
  buttons_ = 0;
  return records;
}

}  // namespace remote
