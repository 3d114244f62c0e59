// The keys and buttons that a viewer holds down, so that somebody can let them go.
#pragma once
#include <cstdint>
#include <map>
#include <vector>

#include "service/remote/CommandRecord.h"

namespace remote {

// One thread at a time.
class HeldInput {
 public:
  // Notes what the viewer does; `input` counts from the desktop's origin.
  void Note(const PointerInput& input);
  void Note(const KeyInput& input);
  void Note(const CharacterInput& input);

  // What lets everything go, after which nothing is held.
  [[nodiscard]] std::vector<CommandRecord> Release();

 private:
  std::map<int, CommandRecord> keys_;  // by key code, and by character behind the codes
  uint8_t buttons_ = 0;                // flags of their release
  PointerInput last_{};
};

}  // namespace remote
