// Bytes as an AppleDouble file: every resource that is found lies within them.
//
// Input: the file's bytes.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/corefoundation/ResourceFork.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::span<const std::byte> file = std::as_bytes(std::span(data, size));
  const auto fork = platform::cf::ResourceForkOf(file);
  const auto map = fork ? platform::cf::ResourceMap::Read(*fork) : std::nullopt;
  if (!map) return 0;
  // Types are looked for where they can stand: at every place of the fork.
  for (size_t at = 0; at + 4 <= fork->size(); ++at) {
    uint32_t type = 0;
    for (size_t i = 0; i < 4; ++i) type = type << 8 | std::to_integer<uint32_t>((*fork)[at + i]);
    for (int index = 1; const auto found = map->Find(type, index); ++index) {
      if (found->empty()) continue;
      if (&found->front() < file.data() || &found->back() >= file.data() + file.size()) std::abort();
    }
  }
  return 0;
}
