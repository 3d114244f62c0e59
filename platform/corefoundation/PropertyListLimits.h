// How large a property list may be. Lists come from files and from other processes, and unfold in memory to
// many times their size.
#pragma once
#include <cstddef>

namespace platform::cf {

// Containers within containers.
inline constexpr size_t kDeepestList = 512;
// Bytes of a list, and of all its strings and data together.
inline constexpr size_t kLargestList = size_t{64} << 20;
inline constexpr size_t kMostValues = size_t{1} << 18;
// What the dictionaries of a list may cost together, a dictionary the square of its keys: who knows how the
// library hashes keys can have each compared with all the others. One dictionary of 8192 keys, or 256 of 512.
inline constexpr size_t kMostComparisons = size_t{1} << 26;

// Counts what a list holds.
class ListTally {
 public:
  explicit ListTally(size_t mostValues = kMostValues) : mostValues_(mostValues) {}

  // False when that was one value, or one byte, too many.
  [[nodiscard]] bool Add(size_t bytes) {
    if (values_ == mostValues_ || bytes > kLargestList - bytes_) return false;
    ++values_;
    bytes_ += bytes;
    return true;
  }

  // False when a dictionary of `keys` keys was too much.
  [[nodiscard]] bool AddDictionary(size_t keys) {
    if (keys > kMostComparisons || keys * keys > kMostComparisons - comparisons_) return false;
    comparisons_ += keys * keys;
    return true;
  }

 private:
  const size_t mostValues_;
  size_t values_ = 0;
  size_t bytes_ = 0;
  size_t comparisons_ = 0;
};

}  // namespace platform::cf
