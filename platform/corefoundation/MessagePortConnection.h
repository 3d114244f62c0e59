// One client's connection to a local message port: reads a request, waits for its answer, writes it.
#pragma once
#include <CoreFoundation/CFData.h>
#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>

#include "platform/Handles.h"
#include "platform/corefoundation/MessagePortWire.h"
#include "platform/corefoundation/Owned.h"

namespace platform::cf {

// Never blocks, and one request at a time: what a client sends meanwhile waits in its own socket. Under the
// server's lock.
class MessagePortConnection {
 public:
  enum class State {
    kReading,   // waits for the rest of a request
    kRequest,   // a request is complete
    kServed,    // it is being answered
    kReplying,  // waits until the client takes the rest of its reply
    kEnded      // the client has gone, or sent what is no request
  };

  MessagePortConnection(UniqueFd socket, uid_t user) : socket_(std::move(socket)), user_(user) {}

  [[nodiscard]] State GetState() const { return state_; }
  [[nodiscard]] bool SentGarbage() const { return reader_.IsBroken(); }
  // Half of a request or of a reply is on its way: a client that stands still here is dropped.
  [[nodiscard]] bool IsMidway() const;
  // The bytes that were moved so far, to tell whether it stands still.
  [[nodiscard]] uint64_t Progress() const { return progress_; }
  [[nodiscard]] size_t HeldBytes() const { return reader_.HeldBytes(); }
  [[nodiscard]] uid_t User() const { return user_; }
  [[nodiscard]] int Descriptor() const { return socket_.Get(); }

  // Takes what there is, at most as much as one connection may take at a time. In kReading.
  void Read();
  // Of a complete request, whose answer is then awaited.
  struct Request {
    SInt32 id;
    Owned<const __CFData> data;  // null when there is none
  };
  [[nodiscard]] Request TakeRequest();
  // `reply` is null when there is none to give, and is kept until it is written. Reads on when nobody waits
  // for it.
  void Answer(CFDataRef reply);
  // Writes what the client takes. In kReplying.
  void Write();

 private:
  // The next request, as far as it has been received already.
  void ParseInput();
  void Next();

  static constexpr size_t kInputBytes = 64 << 10;

  const UniqueFd socket_;
  const uid_t user_;
  State state_ = State::kReading;
  uint64_t progress_ = 0;

  PortMessageReader reader_{kPortRequestMagic};
  std::unique_ptr<std::array<std::byte, kInputBytes>> input_;
  size_t inputBegin_ = 0, inputEnd_ = 0;  // what was received and not yet read

  PortHeader replyHeader_{};
  Owned<const __CFData> reply_;
  size_t replySent_ = 0;  // of header and data
};

}  // namespace platform::cf
