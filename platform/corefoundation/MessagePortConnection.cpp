#include "platform/corefoundation/MessagePortConnection.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>

#include "platform/System.h"

namespace platform::cf {

bool MessagePortConnection::IsMidway() const {
  return state_ == State::kReplying || (state_ == State::kReading && reader_.HasBegun());
}

void MessagePortConnection::Read() {
  constexpr int kMostPieces = 16;  // then it is another connection's turn
  if (!input_) input_ = std::make_unique<std::array<std::byte, kInputBytes>>();
  ParseInput();
  for (int i = 0; i < kMostPieces && state_ == State::kReading; ++i) {
    const ssize_t received = recv(socket_.Get(), input_->data(), input_->size(), MSG_DONTWAIT);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0 && errno == EAGAIN) return;
    if (received <= 0) {
      state_ = State::kEnded;
      return;
    }
    inputBegin_ = 0;
    inputEnd_ = static_cast<size_t>(received);
    progress_ += inputEnd_;
    ParseInput();
  }
}

void MessagePortConnection::ParseInput() {
  if (inputBegin_ == inputEnd_) return;
  inputBegin_ += reader_.Feed(std::span(*input_).subspan(inputBegin_, inputEnd_ - inputBegin_));
  if (reader_.IsBroken())
    state_ = State::kEnded;
  else if (reader_.IsComplete())
    state_ = State::kRequest;
}

MessagePortConnection::Request MessagePortConnection::TakeRequest() {
  state_ = State::kServed;
  const auto body = reader_.Body();
  return {
      reader_.Header().number,
      Owned<const __CFData>(body.empty() ? nullptr
                                         : CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(body.data()),
                                                        static_cast<CFIndex>(body.size())))};
}

void MessagePortConnection::Answer(CFDataRef reply) {
  const bool wanted = (reader_.Header().flag & kPortReplyWanted) != 0;
  reader_.Reset();
  if (!wanted) {
    Next();
    return;
  }
  if (reply != nullptr && static_cast<size_t>(CFDataGetLength(reply)) > kMaxPortMessageBytes) {
    ConsoleLog("a message port's reply of %ld bytes is too long and is left out",
               static_cast<long>(CFDataGetLength(reply)));
    reply = nullptr;
  }
  reply_ = Share(reply);
  replyHeader_ = MakePortHeader(kPortReplyMagic, 0, reply != nullptr ? 1 : 0,
                                reply != nullptr ? static_cast<size_t>(CFDataGetLength(reply)) : 0);
  replySent_ = 0;
  state_ = State::kReplying;
  Write();
}

void MessagePortConnection::Write() {
  while (state_ == State::kReplying) {
    const size_t headerSent = std::min(replySent_, sizeof replyHeader_);
    const size_t dataSent = replySent_ - headerSent;
    iovec pieces[2] = {
        {reinterpret_cast<char*>(&replyHeader_) + headerSent, sizeof replyHeader_ - headerSent},
        {nullptr, replyHeader_.length - dataSent}};
    if (reply_) pieces[1].iov_base = const_cast<UInt8*>(CFDataGetBytePtr(reply_.get())) + dataSent;
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = 2;
    const ssize_t sent = sendmsg(socket_.Get(), &message, MSG_DONTWAIT | SendFlags());
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0 && errno == EAGAIN) return;
    if (sent < 0) {
      state_ = State::kEnded;
      return;
    }
    replySent_ += static_cast<size_t>(sent);
    progress_ += static_cast<size_t>(sent);
    if (replySent_ == sizeof replyHeader_ + replyHeader_.length) Next();
  }
}

void MessagePortConnection::Next() {
  reply_.reset();
  state_ = State::kReading;
  ParseInput();
}

}  // namespace platform::cf
