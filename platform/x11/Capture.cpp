// Takes pictures of parts of a display.
#include <CoreGraphics/CGDirectDisplay.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>

#include <utility>

#include "platform/x11/CallScope.h"
#include "platform/x11/Connection.h"
#include "platform/x11/Displays.h"
#include "platform/x11/Image.h"
#include "platform/x11/RootFormat.h"
#include "platform/x11/Segments.h"

namespace platform::x11 {
namespace {

// An image in the reply that brought it, for a server with which no memory can be shared.
class ReplyImage final : public CGImage {
 public:
  explicit ReplyImage(MallocPtr<xcb_get_image_reply_t> reply) : reply_(std::move(reply)) {
    pixels = reinterpret_cast<const std::byte*>(xcb_get_image_data(reply_.get()));
  }

  void Recycle() override { delete this; }

 private:
  MallocPtr<xcb_get_image_reply_t> reply_;
};

void Describe(CGImage& image, const PixelRect& area, const RootFormat& format) {
  image.width = area.Width();
  image.height = area.Height();
  image.strideBytes = format.StrideBytes(area.Width());
  image.format = format.pixels;
}

// The server refuses an area that has shrunk away since it was looked up, which makes a null image.
CGImageRef CaptureShared(Connection& connection, const PixelRect& area, const RootFormat& format,
                         Segment* segment) {
  const auto reply = connection.Await<xcb_shm_get_image_reply_t>(xcb_shm_get_image(
      connection.Get(), connection.Root(), static_cast<int16_t>(area.left), static_cast<int16_t>(area.top),
      static_cast<uint16_t>(area.Width()), static_cast<uint16_t>(area.Height()), ~0U,
      XCB_IMAGE_FORMAT_Z_PIXMAP, segment->ServerId(), Segment::kPixelOffset));
  if (!reply) {
    CGImageRelease(segment);
    return nullptr;
  }
  Describe(*segment, area, format);
  segment->pixels = segment->Pixels();
  return segment;
}

CGImageRef CapturePlain(Connection& connection, const PixelRect& area, const RootFormat& format) {
  auto reply = connection.Await<xcb_get_image_reply_t>(
      xcb_get_image(connection.Get(), XCB_IMAGE_FORMAT_Z_PIXMAP, connection.Root(),
                    static_cast<int16_t>(area.left), static_cast<int16_t>(area.top),
                    static_cast<uint16_t>(area.Width()), static_cast<uint16_t>(area.Height()), ~0U));
  const size_t expected = format.StrideBytes(area.Width()) * static_cast<size_t>(area.Height());
  if (!reply || static_cast<size_t>(xcb_get_image_data_length(reply.get())) < expected) return nullptr;
  auto* const image = new ReplyImage(std::move(reply));
  Describe(*image, area, format);
  return image;
}

CGImageRef Capture(Connection& connection, const PixelRect& area) {
  const std::optional<RootFormat> format = ReadRootFormat(connection);
  if (!format) return nullptr;
  Segment* const segment =
      connection.Segments().Take(format->StrideBytes(area.Width()) * static_cast<size_t>(area.Height()));
  return segment != nullptr ? CaptureShared(connection, area, *format, segment)
                            : CapturePlain(connection, area, *format);
}

}  // namespace
}  // namespace platform::x11

CGImageRef CGDisplayCreateImageForRect(CGDirectDisplayID display, CGRect rect) {
  using namespace platform::x11;
  const CallScope scope;
  const auto displays = Displays::Instance().Now();
  const DisplayInfo* const info = displays ? Find(*displays, display) : nullptr;
  if (info == nullptr) return nullptr;
  const PixelRect own = PixelsWithin(rect, {0, 0, info->bounds.Width(), info->bounds.Height()});
  if (own.IsEmpty()) return nullptr;
  const PixelRect area{own.left + info->bounds.left, own.top + info->bounds.top,
                       own.right + info->bounds.left, own.bottom + info->bounds.top};
  Connection* const connection = Connection::Current();
  return connection == nullptr ? nullptr : Capture(*connection, area);
}
