// The web server on a real socket, with a hub that only remembers.
#include "service/remote/WebServer.h"

#include <gtest/gtest.h>

#include <array>
#include <fstream>
#include <functional>
#include <map>
#include <thread>

#include "common/KCasl.h"
#include "platform/ThreadSafety.h"
#include "service/remote/Tls.h"
#include "tests/service/remote/WebClient.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitFor.h"

namespace remote {
namespace {

using namespace std::chrono_literals;
using test::Tls;
using test::WaitFor;
using test::WebClient;

// Takes every message that does not begin with '!'.
class MemoryHub : public ViewerHub {
 public:
  // On the server's thread; set before it starts.
  std::function<void(ViewerChannel&)> greet = [](ViewerChannel&) {};

  ViewerId Join(std::shared_ptr<ViewerChannel> channel, std::string, bool local) override {
    const Locked held(lock_);
    EXPECT_TRUE(local);
    greet(*channel);
    channels_[++last_] = std::move(channel);
    return last_;
  }
  void Leave(ViewerId viewer) override {
    const Locked held(lock_);
    EXPECT_EQ(channels_.erase(viewer), 1u);
  }
  bool TakeText(ViewerId, std::string_view json) override { return Take("text " + std::string(json)); }
  bool TakeBinary(ViewerId, std::span<const uint8_t> message) override {
    return Take("binary " + std::string(message.begin(), message.end()));
  }

  size_t Viewers() {
    const Locked held(lock_);
    return channels_.size();
  }
  // All that ever came.
  ViewerId Joined() {
    const Locked held(lock_);
    return last_;
  }
  std::shared_ptr<ViewerChannel> Channel() {
    const Locked held(lock_);
    return channels_.empty() ? nullptr : channels_.begin()->second;
  }
  std::string Taken() {
    const Locked held(lock_);
    return taken_;
  }

 private:
  bool Take(const std::string& message) {
    const Locked held(lock_);
    taken_ += message + "\n";
    return message.find('!') == std::string::npos;
  }

  Lock lock_;
  ViewerId last_ GUARDED_BY(lock_) = 0;
  std::map<ViewerId, std::shared_ptr<ViewerChannel>> channels_ GUARDED_BY(lock_);
  std::string taken_ GUARDED_BY(lock_);
};

class WebServerTest : public testing::Test {
 protected:
  WebServerTest() { ASLSetLogFile((folder_ / "log").c_str()); }

  void Start() {
    server_ = std::make_unique<WebServer>(settings_, hub_);
    ASSERT_EQ(server_->Start(), "");
    const std::string address = server_->Address();
    token_ = address.substr(address.find('=') + 1);
    host_ = "127.0.0.1:" + std::to_string(server_->Port());
  }

  std::string Fetch(const std::string& request, Tls tls = Tls::kNo) {
    WebClient client(server_->Port(), tls);
    client.Send(request);
    return client.ReadAnswer();
  }

  // A request with the right Host, without its last, empty line.
  std::string Request(const std::string& line) { return line + " HTTP/1.1\r\nHost: " + host_ + "\r\n"; }

  // What a signed-in page sends with its requests, and to open its WebSocket.
  std::string Cookie(Tls tls = Tls::kNo) {
    const std::string answer = Fetch(Request("GET /?token=" + token_) + "\r\n", tls);
    const size_t set = answer.find("Set-Cookie: ");
    if (set == std::string::npos) return "no cookie in " + answer;
    return "Cookie: " + answer.substr(set + 12, answer.find(';', set) - set - 12) + "\r\n";
  }
  std::string Upgrade(Tls tls = Tls::kNo) {
    return Request("GET /viewer") + Cookie(tls) + "Origin: http" + (tls == Tls::kYes ? "s" : "") + "://" +
           host_ +
           "\r\nConnection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n"
           "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Protocol: kvremote.1\r\n\r\n";
  }
  WebClient OpenViewer(Tls tls = Tls::kNo) {
    WebClient viewer(server_->Port(), tls);
    const ViewerId before = hub_.Joined();
    viewer.Send(Upgrade(tls));
    const std::string answer = viewer.ReadAnswer();
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 101 ")) << answer;
    EXPECT_TRUE(WaitFor([&] { return hub_.Joined() == before + 1; }));
    return viewer;
  }

  void ExpectGone() {
    EXPECT_TRUE(WaitFor([&] { return hub_.Viewers() == 0; }));
  }

  const test::TemporaryFolder folder_;
  MemoryHub hub_;
  WebSettings settings_;
  std::unique_ptr<WebServer> server_;
  std::string token_, host_;
};

TEST_F(WebServerTest, ATokenBecomesACookieWhichOpensThePage) {
  Start();
  const std::string page = Fetch(Request("GET /") + Cookie() + "\r\n");
  EXPECT_TRUE(page.starts_with("HTTP/1.1 200 OK\r\n")) << page;
  EXPECT_NE(page.find("/viewer.js"), std::string::npos);
  for (const char* header : {"default-src 'none'", "frame-ancestors 'none'", "nosniff", "no-store"})
    EXPECT_NE(page.find(header), std::string::npos) << header;
  EXPECT_NE(Fetch(Request("GET /viewer.js") + "\r\n").find("text/javascript"), std::string::npos);

  const std::string form = "token=" + token_;
  const std::string posted = Fetch(Request("POST /sign-in") + "Origin: http://" + host_ +
                                   "\r\nContent-Length: " + std::to_string(form.size()) + "\r\n\r\n" + form);
  EXPECT_TRUE(posted.starts_with("HTTP/1.1 303 ")) << posted;
  EXPECT_EQ(test::FileText(folder_ / "log").find(token_), std::string::npos);
}

TEST_F(WebServerTest, WhatIsNotInOrderIsRefusedWithItsStatus) {
  Start();
  const std::string upgrade = Upgrade();
  const auto without = [&](const std::string& header) {
    const size_t start = upgrade.find(header);
    return upgrade.substr(0, start) + upgrade.substr(upgrade.find("\r\n", start) + 2);
  };
  const std::string rest = "\r\nHost: " + host_ + "\r\n\r\n";
  const std::pair<std::string, const char*> rows[] = {
      {Request("GET /") + "\r\n", "401"},
      {Request("GET /?token=wrong") + "\r\n", "403"},
      {Request("POST /sign-in") + "Content-Length: 7\r\n\r\ntoken=x", "403"},
      {Request("GET /sign-in") + "\r\n", "405"},
      {Request("POST /") + "Content-Length: 0\r\n\r\n", "405"},
      {Request("GET /index.html") + "\r\n", "404"},
      {Request("GET /../viewer.js") + "\r\n", "404"},
      {"GET http://" + host_ + "/ HTTP/1.1" + rest, "404"},
      {"GET / HTTP/1.1\r\n\r\n", "421"},
      {"GET / HTTP/1.1\r\nHost: evil.org\r\n\r\n", "421"},
      {Request("GET /") + "Host: evil.org\r\n\r\n", "421"},
      {Request("GET /") + "Origin: http://evil.org\r\n\r\n", "403"},
      {Request("GET /") + "Origin: http://" + host_ + "\r\nOrigin: http://" + host_ + "\r\n\r\n", "403"},
      {without("Cookie"), "401"},
      {without("Origin"), "403"},
      {without("Sec-WebSocket-Protocol"), "400"},
      {without("Upgrade: "), "400"},
      {without("Sec-WebSocket-Key"), "400"},
      {"nonsense\r\n\r\n", "400"},
      {std::string("\x16\x03\x01\x00\xff\r\n\r\n", 9), "400"},
      {Request("GET /") + "X: " + std::string(8192, 'x') + "\r\n\r\n", "431"},
      {Request("POST /sign-in") + "Content-Length: 4097\r\n\r\n" + std::string(4097, 'x'), "413"},
      {Request("POST /sign-in") + "Transfer-Encoding: chunked\r\n\r\n1001\r\n" + std::string(4097, 'x'),
       "413"},
  };
  for (const auto& [request, status] : rows)
    EXPECT_EQ(Fetch(request).substr(0, 12), "HTTP/1.1 " + std::string(status)) << request.substr(0, 300);
  EXPECT_EQ(hub_.Taken(), "");
}

TEST_F(WebServerTest, OneConnectionTooManyIsClosedUntilAnotherEnds) {
  settings_.limits.connections = 2;
  Start();
  WebClient first(server_->Port());
  auto second = std::make_unique<WebClient>(server_->Port());
  for (WebClient* const client : {&first, second.get()}) {
    client->Send(Request("GET /icon.svg") + "\r\n");
    ASSERT_NE(client->ReadAnswer(), "");
  }
  EXPECT_EQ(WebClient(server_->Port()).ReadAll(), "");
  second.reset();
  EXPECT_TRUE(WaitFor([&] { return !Fetch(Request("GET /icon.svg") + "\r\n").empty(); }));
}

TEST_F(WebServerTest, ARequestThatComesByteByByteIsNotWaitedForLonger) {
  settings_.limits.request = 100ms;
  Start();
  WebClient client(server_->Port());
  client.Send(Request("GET /"));
  EXPECT_TRUE(WaitFor([&] { return !client.Send("X"); }));
}

TEST_F(WebServerTest, WhatAnotherThreadSendsDoesNotOvertakeTheGreeting) {
  hub_.greet = [](ViewerChannel& channel) {
    channel.SendText("greeting");
    std::thread([&channel] { channel.SendText("news"); }).join();
  };
  Start();
  WebClient viewer = OpenViewer();
  EXPECT_EQ(viewer.ReadFrame()->payload, "greeting");
  EXPECT_EQ(viewer.ReadFrame()->payload, "news");
}

TEST_F(WebServerTest, MessagesGoBothWaysInTheirOrder) {
  Start();
  WebClient viewer = OpenViewer();
  hub_.Channel()->SendText("{\"n\":1}");
  hub_.Channel()->SendUpdate(std::vector<uint8_t>(70'000, 7));
  hub_.Channel()->SendText("{\"n\":2}");
  EXPECT_EQ(viewer.ReadFrame()->payload, "{\"n\":1}");
  EXPECT_EQ(viewer.ReadFrame()->payload, std::string(70'000, 7));
  EXPECT_EQ(viewer.ReadFrame()->payload, "{\"n\":2}");

  const std::string longest(ViewerHub::kMaxText, 'a');
  viewer.SendFrame(WebClient::kText, longest);
  viewer.SendFrame(WebClient::kBinary, std::string(ViewerHub::kMaxBinary, 'b'));
  viewer.SendFrame(WebClient::kPing, "p");
  EXPECT_EQ(viewer.ReadFrame()->opcode, WebClient::kPong);
  EXPECT_EQ(hub_.Taken(), "text " + longest + "\nbinary " + std::string(ViewerHub::kMaxBinary, 'b') + "\n");

  hub_.Channel()->SendText("last");
  hub_.Channel()->Close(4000, "because");
  hub_.Channel()->SendText("never");
  EXPECT_EQ(viewer.ReadFrame()->payload, "last");
  const auto close = viewer.ReadFrame();
  EXPECT_EQ(close->CloseCode(), 4000u);
  EXPECT_EQ(close->payload.substr(2), "because");
  viewer.SendFrame(WebClient::kClose, close->payload);
  EXPECT_FALSE(viewer.ReadFrame());
}

TEST_F(WebServerTest, AMessageThatMustNotBeEndsTheConnectionWithItsCode) {
  settings_.limits.messagesPerSecond = 500;
  Start();
  const std::string flood = [] {
    std::string frames;
    for (int i = 0; i < 20'000; ++i) frames += std::string("\x82\x81\0\0\0\0x", 7);
    return frames;
  }();
  const struct {
    const char* what;
    std::string bytes;
    unsigned code;
  } rows[] = {
      {"text that the hub refuses", std::string("\x81\x81\0\0\0\0!", 7), 1008},
      {"a record that the hub refuses", std::string("\x82\x81\0\0\0\0!", 7), 1008},
      {"too long a record", std::string("\x82\xc1\0\0\0\0", 6) + std::string(65, 'x'), 1009},
      {"too long a text", std::string("\x81\xfe\x10\x01\0\0\0\0", 8) + std::string(4097, 'x'), 1009},
      {"a length beyond all", std::string("\x82\xff\x7f\xff\xff\xff\xff\xff\xff\xff\0\0\0\0", 14), 1009},
      {"no mask", std::string("\x81\x01x", 3), 1002},
      {"an unknown opcode", std::string("\x83\x81\0\0\0\0x", 7), 1002},
      {"no UTF-8", std::string("\x81\x81\0\0\0\0\xff", 7), 1007},
      {"too many", flood, 1008}};
  for (const auto& row : rows) {
    auto viewer = std::make_unique<WebClient>(OpenViewer());
    viewer->Send(row.bytes);
    const auto close = viewer->ReadFrame();
    EXPECT_EQ(close ? close->CloseCode() : 0, row.code) << row.what;
    viewer.reset();
    ExpectGone();
  }
}

TEST_F(WebServerTest, AViewerThatVanishesLeaves) {
  Start();
  { const WebClient viewer = OpenViewer(); }
  ExpectGone();
}

TEST_F(WebServerTest, AViewerThatAnswersNoPingLeaves) {
  settings_.limits.pingEvery = 5ms;
  settings_.limits.silence = 50ms;
  Start();
  const WebClient viewer = OpenViewer();
  ExpectGone();
}

TEST_F(WebServerTest, AViewerThatDoesNotReadLeaves) {
  Start();
  const WebClient viewer = OpenViewer();
  EXPECT_TRUE(WaitFor([&] {
    if (const auto channel = hub_.Channel()) channel->SendText(std::string(100'000, 'x'));
    return hub_.Viewers() == 0;
  }));
}

TEST_F(WebServerTest, WhenItStopsViewersAreToldAndChannelsAreDead) {
  settings_.limits.goodbye = 100ms;
  Start();
  WebClient viewer = OpenViewer();
  const auto channel = hub_.Channel();
  server_->Stop();
  EXPECT_EQ(hub_.Viewers(), 0u);
  EXPECT_EQ(viewer.ReadFrame()->CloseCode(), 1001u);
  server_.reset();
  channel->SendText("nobody hears");
  channel->Close(1000, "");
}

class TlsTest : public WebServerTest {
 protected:
  // Runs the tool openssl, in the test's folder.
  void OpenSsl(const std::string& arguments) {
    const std::string command =
        "cd " + folder_.Path().string() + " && openssl " + arguments + " 2>openssl.log";
    ASSERT_EQ(std::system(command.c_str()), 0) << test::FileText(folder_ / "openssl.log");
  }

  // NAME.pem and NAME.key
  void MakeCertificate(const std::string& name, const std::string& arguments) {
    OpenSsl("req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=x -out " + name +
            ".pem -keyout " + name + ".key " + arguments);
  }
};

TEST_F(TlsTest, PagesAndWebSocketsComeOverTlsUnderTheNamesOfTheCertificate) {
  MakeCertificate("good", "-addext subjectAltName=DNS:desk.example.org,IP:127.0.0.1");
  settings_.certificateFile = folder_ / "good.pem";
  settings_.keyFile = folder_ / "good.key";
  Start();
  EXPECT_TRUE(server_->Address().starts_with("https://127.0.0.1:")) << server_->Address();
  EXPECT_TRUE(Cookie(Tls::kYes).starts_with("Cookie: __Host-kvremote-"));
  EXPECT_NE(Fetch(Request("GET /?token=" + token_) + "\r\n", Tls::kYes).find("; Secure\r\n"),
            std::string::npos);
  EXPECT_TRUE(
      Fetch("GET / HTTP/1.1\r\nHost: desk.example.org\r\n\r\n", Tls::kYes).starts_with("HTTP/1.1 401"));
  EXPECT_EQ(Fetch(Request("GET /") + "\r\n"), "") << "not without TLS";

  WebClient viewer = OpenViewer(Tls::kYes);
  hub_.Channel()->SendUpdate({1, 2, 3});
  EXPECT_EQ(viewer.ReadFrame()->payload, "\1\2\3");
  viewer.SendFrame(WebClient::kText, "!");
  EXPECT_EQ(viewer.ReadFrame()->CloseCode(), 1008u);
}

TEST_F(TlsTest, FilesThatCannotServeAreRefusedInWords) {
  MakeCertificate("good", "-addext subjectAltName=IP:127.0.0.1");
  MakeCertificate("other", "-addext subjectAltName=IP:127.0.0.1");
  MakeCertificate("nameless", "");
  OpenSsl("x509 -in good.pem -signkey good.key -days -1 -out old.pem");
  OpenSsl("ec -aes128 -passout pass:secret -in good.key -out locked.key");
  std::ofstream(folder_ / "empty.pem") << "nothing\n";
  const struct {
    const char *certificate, *key, *words;
  } rows[] = {{"missing.pem", "good.key", "missing.pem: No such file"},
              {"good.pem", "missing.key", "missing.key: No such file"},
              {"empty.pem", "good.key", "not a usable PEM certificate"},
              {"good.pem", "empty.pem", "not a PEM key"},
              {"good.pem", "locked.key", "not a PEM key without a password"},
              {"good.pem", "other.key", "does not belong to the certificate"},
              {"nameless.pem", "nameless.key", "names no host"},
              {"old.pem", "good.key", "has expired"}};
  for (const auto& row : rows) {
    const TlsIdentity identity = LoadTlsIdentity(folder_ / row.certificate, folder_ / row.key);
    EXPECT_EQ(identity.context, nullptr) << row.words;
    EXPECT_NE(identity.problem.find(row.words), std::string::npos) << identity.problem;
  }
}

}  // namespace
}  // namespace remote
