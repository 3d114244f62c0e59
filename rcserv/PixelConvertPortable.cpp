// The conversion on processors that have no other: the plain loop, which the compiler may vectorise.
#include <array>

#include "rcserv/PixelConvert.h"

namespace rcserv {

std::span<const RowConverter> RowConverters() {
  static constexpr std::array<RowConverter, 1> kConverters = {{{"plain", ConvertRowPlain}}};
  return kConverters;
}

void ConvertRow(const std::byte* source, std::byte* destination, size_t count) {
  ConvertRowPlain(source, destination, count);
}

}  // namespace rcserv
