// What the web server knows of the session: viewers come, speak and go.
#pragma once
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "service/remote/ViewerChannel.h"

namespace remote {

// Number of a viewer, from 1; 0 is none.
using ViewerId = uint32_t;

// Any thread. Nothing here waits for the observer.
class ViewerHub {
 public:
  virtual ~ViewerHub() = default;

  // `address` is the peer's, without a port, for people to read; `local`: over loopback. 0 when there are too
  // many viewers; the channel has then been closed with a reason.
  [[nodiscard]] virtual ViewerId Join(std::shared_ptr<ViewerChannel> channel, std::string address,
                                      bool local) = 0;
  virtual void Leave(ViewerId viewer) = 0;

  // A message of the page, of at most kMaxText or kMaxBinary bytes. False when it makes no sense: the
  // connection is to be ended.
  static constexpr size_t kMaxText = 4096;
  static constexpr size_t kMaxBinary = 64;
  [[nodiscard]] virtual bool TakeText(ViewerId viewer, std::string_view json) = 0;
  [[nodiscard]] virtual bool TakeBinary(ViewerId viewer, std::span<const uint8_t> message) = 0;
};

}  // namespace remote
