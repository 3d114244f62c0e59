#include "service/remote/BrowserStream.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/beast/ssl.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <boost/beast/websocket/teardown.hpp>

namespace remote {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
using TlsStream = beast::ssl_stream<beast::tcp_stream>;

template <class Stream>
class LayerOf : public BrowserStream::Layer {
 public:
  explicit LayerOf(Stream stream) : stream_(std::move(stream)) {}

  BrowserStream::Tcp& Lowest() override { return beast::get_lowest_layer(stream_); }
  void Read(asio::mutable_buffer buffer, BrowserStream::Transferred transferred) override {
    stream_.async_read_some(buffer, std::move(transferred));
  }
  void Write(std::vector<asio::const_buffer> buffers, BrowserStream::Transferred transferred) override {
    stream_.async_write_some(buffers, std::move(transferred));
  }
  void Teardown(beast::role_type role, BrowserStream::Done done) override {
    using beast::websocket::async_teardown;
    async_teardown(role, stream_, std::move(done));
  }

 protected:
  Stream stream_;
};

class PlainLayer : public LayerOf<beast::tcp_stream> {
 public:
  using LayerOf::LayerOf;

  void Handshake(BrowserStream::Done done) override { done({}); }
  void Shutdown(BrowserStream::Done done) override {
    BrowserStream::Error error;
    stream_.socket().shutdown(asio::ip::tcp::socket::shutdown_send, error);
    done(error);
  }
};

class TlsLayer : public LayerOf<TlsStream> {
 public:
  using LayerOf::LayerOf;

  void Handshake(BrowserStream::Done done) override {
    stream_.async_handshake(asio::ssl::stream_base::server, std::move(done));
  }
  void Shutdown(BrowserStream::Done done) override { stream_.async_shutdown(std::move(done)); }
};

}  // namespace

BrowserStream::BrowserStream(Tcp tcp, ssl_ctx_st* tls) {
  if (tls == nullptr) {
    layer_ = std::make_unique<PlainLayer>(std::move(tcp));
    return;
  }
  SSL_CTX_up_ref(tls);
  asio::ssl::context context(tls);
  layer_ = std::make_unique<TlsLayer>(TlsStream(std::move(tcp), context));
}

}  // namespace remote
