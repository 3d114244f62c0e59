#include "service/remote/ViewerSocket.h"

#include <asl.h>

#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/websocket.hpp>
#include <deque>
#include <memory>
#include <optional>
#include <vector>

#include "common/KCasl.h"
#include "service/remote/BrowserStream.h"

namespace remote {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;
namespace websocket = beast::websocket;

using UpgradeRequest = http::request<http::string_body>;
using Error = beast::error_code;

// The page answers an update before it gets the next one; one that answers too early has a second on the way.
constexpr size_t kMaxWaitingUpdates = 2;
constexpr size_t kMaxCloseReason = 123;

struct Message {
  bool text;
  std::string characters;
  std::vector<uint8_t> bytes;

  [[nodiscard]] asio::const_buffer Buffer() const {
    return text ? asio::const_buffer(characters.data(), characters.size())
                : asio::const_buffer(bytes.data(), bytes.size());
  }
};

// The server's thread.
class Line : public ViewerLine {
 public:
  virtual void Send(Message message) = 0;
};

class Channel : public ViewerChannel {
 public:
  Channel(std::shared_ptr<IoQueue> queue, std::weak_ptr<Line> line)
      : queue_(std::move(queue)), line_(std::move(line)) {}

  void SendText(std::string json) override { Send({true, std::move(json), {}}); }
  void SendUpdate(std::vector<uint8_t> message) override { Send({false, {}, std::move(message)}); }
  void Close(uint16_t code, std::string reason) override {
    queue_->Post([line = line_, code, reason = std::move(reason)] {
      if (const auto open = line.lock()) open->Close(code, reason);
    });
  }

 private:
  void Send(Message message) {
    auto shared = std::make_shared<Message>(std::move(message));
    queue_->Post([line = line_, shared] {
      if (const auto open = line.lock()) open->Send(std::move(*shared));
    });
  }

  const std::shared_ptr<IoQueue> queue_;
  const std::weak_ptr<Line> line_;
};

class ViewerSocket : public Line, public std::enable_shared_from_this<ViewerSocket> {
 public:
  ViewerSocket(WebContext& context, ConnectionSlot slot, BrowserStream stream, UpgradeRequest request,
               Peer peer)
      : context_(context),
        slot_(std::move(slot)),
        socket_(std::move(stream)),
        timer_(socket_.get_executor()),
        request_(std::move(request)),
        peer_(std::move(peer)),
        rate_(context.limits.messagesPerSecond, Clock::now()) {
    context_.lines.insert(this);
  }

  ~ViewerSocket() override {
    context_.lines.erase(this);
    if (viewer_ != 0) context_.hub.Leave(viewer_);
    context_.lineEnded();
  }

  void Start() {
    auto& lowest = socket_.next_layer().Lowest();
    lowest.expires_never();
    Error ignored;
    lowest.socket().set_option(asio::ip::tcp::no_delay(true), ignored);
    socket_.set_option(
        websocket::stream_base::timeout{context_.limits.request, websocket::stream_base::none(), false});
    socket_.set_option(websocket::stream_base::decorator([](websocket::response_type& response) {
      response.set(http::field::server, "kvremote");
      response.set(http::field::sec_websocket_protocol,
                   beast::string_view(kViewerProtocol.data(), kViewerProtocol.size()));
    }));
    socket_.read_message_max(ViewerHub::kMaxText);
    socket_.auto_fragment(false);
    socket_.control_callback([this](websocket::frame_type, beast::string_view) { heard_ = Clock::now(); });
    socket_.async_accept(request_, [self = shared_from_this()](Error error) {
      if (!error) self->OnOpen();
    });
  }

  void Send(Message message) override {
    if (!open_ || closing_) return;
    size_t waitingBytes = 0;
    size_t waitingUpdates = 0;
    for (const Message& earlier : waiting_) {
      waitingBytes += earlier.characters.size();
      waitingUpdates += earlier.text ? 0 : 1;
    }
    if (waitingBytes > context_.limits.waitingBytes || waitingUpdates >= kMaxWaitingUpdates)
      return Drop("does not read what it is sent");
    waiting_.push_back(std::move(message));
    if (waiting_.size() == 1) WriteNext();
  }

  void Close(uint16_t code, std::string reason) override {
    if (!open_ || closing_) return;
    reason.resize(std::min(reason.size(), kMaxCloseReason));
    closing_ = websocket::close_reason(static_cast<websocket::close_code>(code), reason);
    if (waiting_.empty()) WriteClose();
  }

  // What is under way fails, and lets go of this object.
  void End() override {
    open_ = false;
    timer_.cancel();
    socket_.next_layer().Lowest().close();
  }

 private:
  void OnOpen() {
    open_ = true;
    heard_ = Clock::now();
    viewer_ = context_.hub.Join(std::make_shared<Channel>(context_.queue, weak_from_this()), peer_.host,
                                peer_.local);
    Read();
    WaitForTick();
  }

  void Read() {
    socket_.async_read(buffer_, [self = shared_from_this()](Error error, size_t) {
      if (error) return self->End();
      self->OnMessage();
    });
  }

  void OnMessage() {
    heard_ = Clock::now();
    if (viewer_ != 0 && !closing_) Take();
    buffer_.clear();
    Read();
  }

  void Take() {
    const auto data = buffer_.cdata();
    const auto* const bytes = static_cast<const uint8_t*>(data.data());
    if (!rate_.Take(heard_)) return Refuse(websocket::close_code::policy_error, "too many messages");
    if (!socket_.got_text() && data.size() > ViewerHub::kMaxBinary)
      return Refuse(websocket::close_code::too_big, "too long a message");
    const bool taken = socket_.got_text() ? context_.hub.TakeText(
                                                viewer_, {reinterpret_cast<const char*>(bytes), data.size()})
                                          : context_.hub.TakeBinary(viewer_, {bytes, data.size()});
    if (!taken) Refuse(websocket::close_code::policy_error, "a message that makes no sense");
  }

  void Refuse(websocket::close_code code, const char* why) {
    ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: ends the connection of %s: %s", peer_.name.c_str(), why);
    Close(code, why);
  }

  void WriteNext() {
    writingSince_ = Clock::now();
    socket_.text(waiting_.front().text);
    socket_.async_write(waiting_.front().Buffer(), [self = shared_from_this()](Error error, size_t) {
      if (error) return self->End();
      self->waiting_.pop_front();
      if (!self->waiting_.empty()) return self->WriteNext();
      if (self->closing_) self->WriteClose();
    });
  }

  void WriteClose() {
    socket_.async_close(*closing_, [self = shared_from_this()](Error) { self->End(); });
  }

  void WaitForTick() {
    timer_.expires_after(context_.limits.pingEvery);
    timer_.async_wait([self = shared_from_this()](Error error) {
      if (!error) self->OnTick();
    });
  }

  void OnTick() {
    const auto now = Clock::now();
    // An answer cannot come before what is being sent.
    if (!waiting_.empty() && now - writingSince_ > context_.limits.silence)
      return Drop("does not read what it is sent");
    if (waiting_.empty() && now - heard_ > context_.limits.silence) return Drop("is silent");
    if (!pinging_ && !closing_) Ping();
    WaitForTick();
  }

  void Ping() {
    pinging_ = true;
    socket_.async_ping({}, [self = shared_from_this()](Error) { self->pinging_ = false; });
  }

  void Drop(const char* why) {
    ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: gives up the connection of %s: it %s", peer_.name.c_str(),
              why);
    End();
  }

  WebContext& context_;
  const ConnectionSlot slot_;
  websocket::stream<BrowserStream, false> socket_;
  asio::steady_timer timer_;
  const UpgradeRequest request_;
  const Peer peer_;
  MessageRate rate_;
  ViewerId viewer_ = 0;
  bool open_ = false;
  bool pinging_ = false;
  std::optional<websocket::close_reason> closing_;  // asked for; it follows what is waiting
  Clock::time_point heard_{};
  Clock::time_point writingSince_{};
  std::deque<Message> waiting_;  // the first one is being written
  beast::flat_buffer buffer_;
};

}  // namespace

template <class Request>
void ServeViewer(WebContext& context, ConnectionSlot slot, BrowserStream stream, Request request, Peer peer) {
  std::make_shared<ViewerSocket>(context, std::move(slot), std::move(stream), std::move(request),
                                 std::move(peer))
      ->Start();
}

template void ServeViewer(WebContext&, ConnectionSlot, BrowserStream, UpgradeRequest, Peer);

}  // namespace remote
