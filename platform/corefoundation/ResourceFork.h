// The resources in the bytes of a resource fork, and the fork in the bytes of an AppleDouble file.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace platform::cf {

// The resource fork (entry 2) of an AppleDouble file: a part of `file`, empty when it has no such entry.
// Nothing when these bytes are no AppleDouble file or the entry reaches beyond it.
std::optional<std::span<const std::byte>> ResourceForkOf(std::span<const std::byte> file);

// The directory of a resource fork. The bytes may come from anywhere: a fork in which anything reaches
// beyond its part is refused as a whole.
//
// Source: "Resource File Format" of the platform's public documentation; all numbers are big-endian.
class ResourceMap {
 public:
  // Borrows the bytes for as long as it lives. Nothing when they are no resource fork.
  static std::optional<ResourceMap> Read(std::span<const std::byte> fork);

  // The `index`th resource of a type in the order of the map, from 1.
  [[nodiscard]] std::optional<std::span<const std::byte>> Find(uint32_t type, int index) const;

 private:
  struct Resource {
    uint32_t type;
    std::span<const std::byte> data;
  };

  std::vector<Resource> resources_;
};

}  // namespace platform::cf
