#include "platform/corefoundation/ResourceFork.h"

namespace platform::cf {

namespace {

using Bytes = std::span<const std::byte>;

// `length` bytes at `offset`; nothing when not all of them are there.
std::optional<Bytes> Part(Bytes bytes, uint64_t offset, uint64_t length) {
  if (offset > bytes.size() || length > bytes.size() - offset) return std::nullopt;
  return bytes.subspan(offset, length);
}

// A big-endian number of `size` bytes (at most 4).
std::optional<uint32_t> Number(Bytes bytes, uint64_t offset, size_t size) {
  const auto part = Part(bytes, offset, size);
  if (!part) return std::nullopt;
  uint32_t number = 0;
  for (const std::byte byte : *part) number = number << 8 | std::to_integer<uint32_t>(byte);
  return number;
}

// The part whose offset and length stand at two places of `header`.
std::optional<Bytes> PartNamedBy(Bytes bytes, Bytes header, uint64_t offsetAt, uint64_t lengthAt) {
  const auto offset = Number(header, offsetAt, 4);
  const auto length = Number(header, lengthAt, 4);
  return offset && length ? Part(bytes, *offset, *length) : std::nullopt;
}

// The bytes of a resource: their count stands before them.
std::optional<Bytes> ResourceData(Bytes data, uint64_t offset) {
  const auto length = Number(data, offset, 4);
  return length ? Part(data, offset + 4, *length) : std::nullopt;
}

}  // namespace

std::optional<Bytes> ResourceForkOf(Bytes file) {
  // RFC 1740, appendix B: magic, version, 16 bytes of filler, the count of entries, the entries.
  constexpr uint32_t kMagic = 0x00051607;
  constexpr uint32_t kVersion = 0x00020000;
  constexpr uint32_t kResourceFork = 2;
  constexpr uint64_t kCountAt = 24;
  constexpr uint64_t kFirstEntryAt = 26;
  constexpr uint64_t kEntrySize = 12;

  if (Number(file, 0, 4) != kMagic || Number(file, 4, 4) != kVersion) return std::nullopt;
  const auto count = Number(file, kCountAt, 2);
  for (uint64_t i = 0; i < count.value_or(0); ++i) {
    const auto entry = Part(file, kFirstEntryAt + i * kEntrySize, kEntrySize);
    if (!entry) return std::nullopt;
    if (Number(*entry, 0, 4) == kResourceFork) return PartNamedBy(file, *entry, 4, 8);
  }
  return count ? std::optional(Bytes()) : std::nullopt;
}

std::optional<ResourceMap> ResourceMap::Read(Bytes fork) {
  // The header: where data and map begin, and their lengths. The map's own header is 28 bytes up to the count
  // of types less one, which is 65535 when there is none.
  constexpr uint64_t kTypeListOffsetAt = 24;
  constexpr uint64_t kTypeEntrySize = 8;
  constexpr uint64_t kReferenceSize = 12;

  const auto data = PartNamedBy(fork, fork, 0, 8);
  const auto map = PartNamedBy(fork, fork, 4, 12);
  if (!data || !map) return std::nullopt;
  const auto typeListOffset = Number(*map, kTypeListOffsetAt, 2);
  if (!typeListOffset || *typeListOffset > map->size()) return std::nullopt;
  const Bytes typeList = map->subspan(*typeListOffset);
  const auto lastType = Number(typeList, 0, 2);
  if (!lastType) return std::nullopt;

  ResourceMap read;
  const uint32_t types = (*lastType + 1) & 0xFFFF;
  for (uint64_t i = 0; i < types; ++i) {
    const auto entry = Part(typeList, 2 + i * kTypeEntrySize, kTypeEntrySize);
    if (!entry) return std::nullopt;
    const uint32_t type = *Number(*entry, 0, 4);
    const uint32_t references = *Number(*entry, 4, 2) + 1;
    const uint32_t listOffset = *Number(*entry, 6, 2);
    // Lists that share their bytes could name billions of resources; an honest map has room for each.
    if (read.resources_.size() + references > map->size() / kReferenceSize) return std::nullopt;
    for (uint64_t k = 0; k < references; ++k) {
      const auto reference = Part(typeList, listOffset + k * kReferenceSize, kReferenceSize);
      const auto bytes = reference ? ResourceData(*data, *Number(*reference, 5, 3)) : std::nullopt;
      if (!bytes) return std::nullopt;
      read.resources_.push_back({type, *bytes});
    }
  }
  return read;
}

std::optional<Bytes> ResourceMap::Find(uint32_t type, int index) const {
  for (const Resource& resource : resources_)
    if (resource.type == type && --index == 0) return resource.data;
  return std::nullopt;
}

}  // namespace platform::cf
