#include "service/remote/HttpConnection.h"

#include <array>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <memory>
#include <optional>

#include "service/remote/BrowserStream.h"
#include "service/remote/ViewerSocket.h"

namespace remote {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = beast::http;

using Request = http::request<http::string_body>;
using Error = beast::error_code;

constexpr uint32_t kMaxHeader = 8 * 1024;
constexpr uint64_t kMaxBody = 4 * 1024;
constexpr size_t kMaxDrained = 64 * 1024;

std::string_view View(beast::string_view text) { return {text.data(), text.size()}; }

std::string_view OneField(const Request& request, http::field name) {
  return request.count(name) == 1 ? View(request[name]) : std::string_view();
}

WebRequest Describe(const Request& request) {
  // Of several origins none is the page's own.
  const bool severalOrigins = request.count(http::field::origin) > 1;
  return {.method = View(request.method_string()),
          .target = View(request.target()),
          .body = request.body(),
          .host = OneField(request, http::field::host),
          .origin = severalOrigins ? "several" : OneField(request, http::field::origin),
          .cookie = OneField(request, http::field::cookie),
          .upgrade = beast::websocket::is_upgrade(request),
          .protocols = OneField(request, http::field::sec_websocket_protocol)};
}

// The status for a request that could not be read; 0 when the connection is lost.
unsigned StatusOf(const Error& error) {
  if (error == http::error::header_limit || error == http::error::buffer_overflow) return 431;
  if (error == http::error::body_limit) return 413;
  const bool unreadable = error.category() == http::make_error_code(http::error::bad_method).category() &&
                          error != http::error::end_of_stream && error != http::error::partial_message;
  return unreadable ? 400 : 0;
}

http::response<http::string_body> Render(const WebAnswer& answer, unsigned version, bool keepAlive) {
  http::response<http::string_body> response(static_cast<http::status>(answer.status), version);
  const auto set = [&](beast::string_view name, std::string_view value) {
    if (!value.empty()) response.set(name, beast::string_view(value.data(), value.size()));
  };
  for (const auto& [name, value] : Site::Headers()) set({name.data(), name.size()}, value);
  set("Content-Type", answer.contentType);
  set("Location", answer.location);
  set("Allow", answer.allow);
  set("Set-Cookie", answer.setCookie);
  response.body() = answer.body;
  response.keep_alive(keepAlive);
  response.prepare_payload();
  return response;
}

class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
 public:
  HttpConnection(WebContext& context, BrowserStream stream, Peer peer)
      : context_(context),
        slot_(context),
        stream_(std::move(stream)),
        held_(stream_.get_executor()),
        peer_(std::move(peer)) {}

  void Start() {
    Expire();
    stream_.Below().Handshake([self = shared_from_this()](Error error) {
      if (!error) self->Read();
    });
  }

 private:
  // One time for all that comes until the next call: who sends a byte now and then gets no more of it.
  void Expire() { stream_.Lowest().expires_after(context_.limits.request); }

  void Read() {
    parser_.emplace();
    parser_->header_limit(kMaxHeader);
    parser_->body_limit(kMaxBody);
    Expire();
    http::async_read(stream_, buffer_, *parser_,
                     [self = shared_from_this()](Error error, size_t) { self->OnRead(error); });
  }

  void OnRead(Error error) {
    if (error) {
      const unsigned status = StatusOf(error);
      if (status != 0)
        Write({.status = status, .contentType = "text/plain; charset=utf-8", .body = "Not understood.\n"},
              false);
      return;
    }
    const Request& request = parser_->get();
    WebAnswer answer = context_.site.Answer(Describe(request), peer_.name, Clock::now());
    if (answer.upgrade) return BecomeWebSocket();
    if (answer.delay == Clock::duration::zero()) {
      const bool well = answer.status < 400;
      return Write(answer, well && request.keep_alive());
    }
    // The connection counts as one until then, whether its peer waits or not.
    held_.expires_after(answer.delay);
    held_.async_wait([self = shared_from_this(), answer = std::move(answer)](Error) {
      self->Expire();
      self->Write(answer, false);
    });
  }

  void Write(const WebAnswer& answer, bool keepAlive) {
    response_ = Render(answer, parser_->get().version(), keepAlive);
    http::async_write(stream_, response_, [self = shared_from_this(), keepAlive](Error error, size_t) {
      if (error) return;
      if (keepAlive) return self->Read();
      self->End();
    });
  }

  // What the peer still sends is read, or the answer would be lost with the connection.
  void End() {
    stream_.Below().Shutdown([self = shared_from_this()](Error error) {
      if (!error) self->Drain(0);
    });
  }

  void Drain(size_t drained) {
    if (drained > kMaxDrained) return;
    stream_.async_read_some(asio::buffer(rest_), [self = shared_from_this(), drained](Error error, size_t n) {
      if (!error) self->Drain(drained + n);
    });
  }

  void BecomeWebSocket() {
    ServeViewer(context_, std::move(slot_), std::move(stream_), parser_->release(), std::move(peer_));
  }

  WebContext& context_;
  ConnectionSlot slot_;
  BrowserStream stream_;
  asio::steady_timer held_;
  Peer peer_;
  beast::flat_buffer buffer_{kMaxHeader + kMaxBody};
  std::optional<http::request_parser<http::string_body>> parser_;
  http::response<http::string_body> response_;
  std::array<char, 1024> rest_;
};

}  // namespace

void ServeBrowser(boost::asio::io_context& io, WebContext& context, platform::UniqueFd socket, Peer peer,
                  ssl_ctx_st* tls) {
  const auto family = peer.ipv6 ? asio::ip::tcp::v6() : asio::ip::tcp::v4();
  BrowserStream stream(beast::tcp_stream(asio::ip::tcp::socket(io, family, socket.Release())), tls);
  std::make_shared<HttpConnection>(context, std::move(stream), std::move(peer))->Start();
}

}  // namespace remote
