// A connection to a browser, plain or TLS, as one type: what is built on it is compiled once. Boost's headers
// come with it, so only the web server's own sources include it.
#pragma once
#include <boost/asio/async_result.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/role.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

struct ssl_ctx_st;

namespace remote {

// The server's thread. One read and one write may be under way; they end before the object does.
class BrowserStream {
 public:
  using Error = boost::beast::error_code;
  using Tcp = boost::beast::tcp_stream;
  using executor_type = Tcp::executor_type;
  using Transferred = std::function<void(Error, size_t)>;
  using Done = std::function<void(Error)>;

  // What is below: with TLS or without.
  class Layer {
   public:
    virtual ~Layer() = default;
    virtual Tcp& Lowest() = 0;
    virtual void Read(boost::asio::mutable_buffer buffer, Transferred transferred) = 0;
    virtual void Write(std::vector<boost::asio::const_buffer> buffers, Transferred transferred) = 0;
    virtual void Handshake(Done done) = 0;
    // Says that nothing more will be sent.
    virtual void Shutdown(Done done) = 0;
    // Ends a WebSocket.
    virtual void Teardown(boost::beast::role_type role, Done done) = 0;
  };

  // `tls` is borrowed for the call; null for none.
  BrowserStream(Tcp tcp, ssl_ctx_st* tls);

  [[nodiscard]] executor_type get_executor() { return layer_->Lowest().get_executor(); }
  [[nodiscard]] Tcp& Lowest() { return layer_->Lowest(); }
  [[nodiscard]] Layer& Below() { return *layer_; }

  template <class Buffers, class Token>
  auto async_read_some(const Buffers& buffers, Token&& token) {
    return boost::asio::async_initiate<Token, void(Error, size_t)>(
        [](auto handler, Layer* layer, boost::asio::mutable_buffer first) {
          layer->Read(first, Shared<Transferred>(std::move(handler)));
        },
        token, layer_.get(), First(buffers));
  }

  template <class Buffers, class Token>
  auto async_write_some(const Buffers& buffers, Token&& token) {
    return boost::asio::async_initiate<Token, void(Error, size_t)>(
        [](auto handler, Layer* layer, std::vector<boost::asio::const_buffer> all) {
          layer->Write(std::move(all), Shared<Transferred>(std::move(handler)));
        },
        token, layer_.get(),
        std::vector<boost::asio::const_buffer>(boost::asio::buffer_sequence_begin(buffers),
                                               boost::asio::buffer_sequence_end(buffers)));
  }

  // A function that can be copied, of a handler that cannot.
  template <class Function, class Handler>
  static Function Shared(Handler handler) {
    return
        [shared = std::make_shared<Handler>(std::move(handler))](auto... results) { (*shared)(results...); };
  }

 private:
  // A read may fill less than there is room for.
  template <class Buffers>
  static boost::asio::mutable_buffer First(const Buffers& buffers) {
    for (auto next = boost::asio::buffer_sequence_begin(buffers);
         next != boost::asio::buffer_sequence_end(buffers); ++next) {
      const boost::asio::mutable_buffer buffer(*next);
      if (buffer.size() > 0) return buffer;
    }
    return {};
  }

  std::unique_ptr<Layer> layer_;
};

// What Beast's WebSocket asks of the stream below it.
inline void beast_close_socket(BrowserStream& stream) { stream.Lowest().close(); }

template <class Handler>
void async_teardown(boost::beast::role_type role, BrowserStream& stream, Handler&& handler) {
  stream.Below().Teardown(role, BrowserStream::Shared<BrowserStream::Done>(
                                    std::decay_t<Handler>(std::forward<Handler>(handler))));
}

}  // namespace remote
