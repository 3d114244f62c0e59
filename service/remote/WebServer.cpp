#include "service/remote/WebServer.h"

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "service/remote/HttpConnection.h"
#include "service/remote/Tls.h"

namespace remote {

namespace asio = boost::asio;
using asio::ip::tcp;
using Error = boost::system::error_code;

namespace {

constexpr std::chrono::milliseconds kAcceptAgainAfter{100};

Peer Describe(const tcp::endpoint& peer) {
  const bool ipv6 = peer.address().is_v6();
  const std::string address = peer.address().to_string();
  return {.host = address,
          .name = (ipv6 ? "[" + address + "]" : address) + ":" + std::to_string(peer.port()),
          .local = peer.address().is_loopback(),
          .ipv6 = ipv6};
}

}  // namespace

bool IsIpAddress(const std::string& text) {
  Error error;
  asio::ip::make_address(text, error);
  return !error;
}

bool IsLoopback(const std::string& address) {
  Error error;
  const auto parsed = asio::ip::make_address(address, error);
  return !error && parsed.is_loopback();
}

void IoQueue::Post(std::function<void()> work) {
  const Locked held(lock_);
  if (io_ != nullptr) asio::post(*io_, std::move(work));
}

void IoQueue::Close() {
  const Locked held(lock_);
  io_ = nullptr;
}

class WebServer::Core {
 public:
  Core(WebSettings settings, ViewerHub& hub) : settings_(std::move(settings)), hub_(hub) {}

  std::string Start() {
    if (!settings_.certificateFile.empty()) {
      tls_ = LoadTlsIdentity(settings_.certificateFile, settings_.keyFile);
      if (!tls_.problem.empty()) return tls_.problem;
    }
    if (const std::string problem = Listen(); !problem.empty()) return problem;
    context_.emplace(io_, Site(OwnNames(Names(), Secure()), CookieName(), Secure()), hub_, settings_.limits);
    context_->lineEnded = [this] { StopWhenAllHaveGone(); };
    Accept();
    thread_ = std::thread([this] { io_.run(); });
    return {};
  }

  void Stop() {
    if (!thread_.joinable()) return;
    asio::post(io_, [this] { SayGoodbye(); });
    thread_.join();
    context_->queue->Close();
  }

  [[nodiscard]] uint16_t Port() const { return port_; }

  [[nodiscard]] std::string Address() const {
    return (Secure() ? "https://" : "http://") + HostForPeople() + ":" + std::to_string(Port()) +
           "/?token=" + context_->site.Token();
  }

 private:
  [[nodiscard]] bool Secure() const { return tls_.context != nullptr; }

  std::string Listen() {
    Error error;
    const tcp::endpoint endpoint(asio::ip::make_address(settings_.address, error), settings_.port);
    if (error) return "not an IP address: " + settings_.address;
    acceptor_.open(endpoint.protocol(), error);
    if (!error) acceptor_.set_option(tcp::acceptor::reuse_address(true), error);
    if (!error) acceptor_.bind(endpoint, error);
    if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
    if (!error) port_ = acceptor_.local_endpoint(error).port();
    if (!error) return {};
    return "cannot listen at " + settings_.address + ", port " + std::to_string(settings_.port) + ": " +
           error.message();
  }

  [[nodiscard]] std::vector<std::string> Names() const {
    std::vector<std::string> names = tls_.names;
    names.push_back(settings_.address);
    if (IsLoopback(settings_.address)) names.emplace_back("localhost");
    return names;
  }

  [[nodiscard]] std::string CookieName() const {
    return (Secure() ? "__Host-kvremote-" : "kvremote-") + std::to_string(Port());
  }

  // A name in the certificate, so that the browser does not complain; the address when it has none.
  [[nodiscard]] std::string HostForPeople() const {
    std::string host = settings_.address;
    const auto& names = tls_.names;
    if (std::find(names.begin(), names.end(), host) == names.end()) {
      const auto name = std::find_if(names.begin(), names.end(), [](const std::string& candidate) {
        return !candidate.starts_with("*");
      });
      if (name != names.end()) host = *name;
    }
    return host.find(':') == host.npos ? host : "[" + host + "]";
  }

  void Accept() {
    acceptor_.async_accept([this](Error error, tcp::socket socket) {
      if (error == asio::error::operation_aborted) return;
      if (error) return AcceptLater();
      TakeIn(std::move(socket));
      Accept();
    });
  }

  // There are no more descriptors, perhaps.
  void AcceptLater() {
    timer_.expires_after(kAcceptAgainAfter);
    timer_.async_wait([this](Error error) {
      if (!error) Accept();
    });
  }

  void TakeIn(tcp::socket socket) {
    if (context_->connections >= settings_.limits.connections) return;
    Error error;
    const tcp::endpoint peer = socket.remote_endpoint(error);
    if (!error)
      ServeBrowser(io_, *context_, platform::UniqueFd(socket.release(error)), Describe(peer),
                   tls_.context.get());
  }

  void SayGoodbye() {
    stopping_ = true;
    acceptor_.close();
    for (ViewerLine* const line : context_->lines) line->Close(1001, "the service ends");
    timer_.expires_after(settings_.limits.goodbye);
    timer_.async_wait([this](Error) {
      for (ViewerLine* const line : context_->lines) line->End();
    });
    StopWhenAllHaveGone();
  }

  void StopWhenAllHaveGone() {
    if (stopping_ && context_->lines.empty()) io_.stop();
  }

  const WebSettings settings_;
  ViewerHub& hub_;
  TlsIdentity tls_;
  std::optional<WebContext> context_;  // outlives the connections, which io_ holds
  // Not said to have one thread: what that posts to itself would then be overtaken by what other threads
  // post.
  asio::io_context io_;
  tcp::acceptor acceptor_{io_};
  asio::steady_timer timer_{io_};  // before the next try to accept, or the end
  uint16_t port_ = 0;
  bool stopping_ = false;
  std::thread thread_;
};

WebServer::WebServer(WebSettings settings, ViewerHub& hub)
    : core_(std::make_unique<Core>(std::move(settings), hub)) {}

WebServer::~WebServer() { Stop(); }

std::string WebServer::Start() { return core_->Start(); }
void WebServer::Stop() { core_->Stop(); }
uint16_t WebServer::Port() const { return core_->Port(); }
std::string WebServer::Address() const { return core_->Address(); }

}  // namespace remote
