// A surface whose pixels are a file that two processes map.
#pragma once
#include <string>

#include "platform/Handles.h"
#include "rcserv/Surface.h"

namespace rcserv {

// The file is the bare pixels: `height` rows of `abs(stride)` bytes, row 0 first. The writer makes the file,
// the reader sees it read-only. Whichever of the two lets go of its surface also removes the file's name, so
// that no file outlives its users; what is mapped stays mapped.
class MMapSurface final : public Surface {
 public:
  enum class FileMode { kCreate, kOpen };

  // kCreate replaces a file of that name and reserves its blocks, so that no later write can fail for want of
  // space. kOpen does not look at the file's length: see FileLength(). Empty on failure, which is logged and
  // leaves nothing behind; the length must be below 2 GiB.
  [[nodiscard]] static RefCountedPtrT<MMapSurface> CreateSP(PixelFormat format, int32_t width, int32_t height,
                                                            int32_t stride, const std::string& name,
                                                            FileMode mode);

  // Made through CreateSP only.
  MMapSurface(std::string name, platform::UniqueFd file);
  ~MMapSurface() override;

  // The length of the file at this moment; 0 when it cannot be told. A reader must not touch pixels beyond
  // it.
  [[nodiscard]] int64_t FileLength() const;

 private:
  [[nodiscard]] bool SetLength(int64_t length) const;
  [[nodiscard]] bool Map(int64_t length, FileMode mode);

  std::string name_;
  platform::UniqueFd file_;
  void* address_ = nullptr;
  uint64_t length_ = 0;
};

}  // namespace rcserv
