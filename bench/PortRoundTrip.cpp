// How near are a message port's round trips and one-way requests to those of a bare Unix socket?
//
// Both carry the same bytes between two threads of this process: a request is a header of 16 bytes and a
// record of 20, a reply the same with 8. The bare pair blocks in recv and reads through a buffer; the port's
// server is a run loop, and its client waits inside one. The ratios are the bare pair's time over ours.
#include <CoreFoundation/CoreFoundation.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include "bench/Rounds.h"
#include "common/StCFTypeRef.h"
#include "platform/Handles.h"

namespace {

constexpr int kRounds = 31;
constexpr int kRoundTrips = 1000;  // a round
constexpr int kOneWay = 20000;     // a round, and one round trip at the end
constexpr uint8_t kRecord[20] = {'R', 'C', 'H', '1'};
constexpr uint8_t kReply[8] = {1};

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "port_round_trip: %s\n", what);
  std::exit(1);
}

struct Header {
  char magic[4];
  int32_t number;
  uint32_t flag;
  uint32_t length;
};

// Whole messages from a stream.
class BareReader {
 public:
  explicit BareReader(int fd) : fd_(fd) {}
  // The header of the next message; one of length 0 at the end. Its bytes are skipped.
  Header Next() {
    Header header{};
    if (!Fill(sizeof header)) return header;
    std::memcpy(&header, buffer_ + begin_, sizeof header);
    begin_ += sizeof header;
    Require(Fill(header.length), "the bare pair's message is cut");
    begin_ += header.length;
    return header;
  }

 private:
  bool Fill(size_t needed) {
    if (end_ - begin_ >= needed) return true;
    std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    while (end_ < needed) {
      const ssize_t received = recv(fd_, buffer_ + end_, sizeof buffer_ - end_, 0);
      if (received <= 0) return false;
      end_ += static_cast<size_t>(received);
    }
    return true;
  }

  const int fd_;
  uint8_t buffer_[64 << 10];
  size_t begin_ = 0, end_ = 0;
};

void BareSend(int fd, Header header, const void* bytes) {
  iovec pieces[2] = {{&header, sizeof header}, {const_cast<void*>(bytes), header.length}};
  msghdr message{};
  message.msg_iov = pieces;
  message.msg_iovlen = 2;
  Require(sendmsg(fd, &message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof header + header.length),
          "sendmsg");
}

class BarePair {
 public:
  BarePair() {
    int ends[2];
    Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    client_.Reset(ends[0]);
    server_.Reset(ends[1]);
    thread_ = std::thread([this] {
      BareReader requests(server_.Get());
      for (Header request = requests.Next(); request.length > 0; request = requests.Next())
        if (request.flag != 0) BareSend(server_.Get(), {{'C', 'F', 'M', 'R'}, 0, 1, sizeof kReply}, kReply);
    });
  }
  ~BarePair() {
    client_.Reset();
    thread_.join();
  }

  void OneWay() { Send(0); }
  void RoundTrip() {
    Send(1);
    BareReader reply(client_.Get());
    Require(reply.Next().length == sizeof kReply, "the bare pair's reply");
  }

 private:
  void Send(uint32_t flag) {
    BareSend(client_.Get(), {{'C', 'F', 'M', 'P'}, 1, flag, sizeof kRecord}, kRecord);
  }

  platform::UniqueFd client_, server_;
  std::thread thread_;
};

class PortPair {
 public:
  PortPair() {
    std::promise<CFMessagePortRef> made;
    thread_ = std::thread([&made] {
      const StCFTypeRef<CFMessagePortRef> local(CFMessagePortCreateLocal(
          nullptr, CFSTR("bench"),
          [](CFMessagePortRef, SInt32, CFDataRef, void*) {
            return CFDataCreate(nullptr, kReply, sizeof kReply);
          },
          nullptr, nullptr));
      Require(local != nullptr, "the local port");
      const StCFTypeRef<CFRunLoopSourceRef> source(CFMessagePortCreateRunLoopSource(nullptr, local, 0));
      CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
      made.set_value(local);
      CFRunLoopRun();
    });
    local_ = StCFTypeRef<CFMessagePortRef>(
        static_cast<CFMessagePortRef>(const_cast<void*>(CFRetain(made.get_future().get()))));
    remote_ = StCFTypeRef<CFMessagePortRef>(CFMessagePortCreateRemote(nullptr, CFSTR("bench")));
    Require(remote_ != nullptr, "the remote port");
  }
  ~PortPair() {
    CFMessagePortInvalidate(local_);
    thread_.join();
  }

  void OneWay() {
    Require(CFMessagePortSendRequest(remote_, 1, record_, 5, 0, nullptr, nullptr) == 0, "one way");
  }
  void RoundTrip() {
    CFDataRef reply = nullptr;
    Require(CFMessagePortSendRequest(remote_, 1, record_, 5, 5, kCFRunLoopDefaultMode, &reply) == 0,
            "a round trip");
    CFRelease(reply);
  }

 private:
  const StCFTypeRef<CFDataRef> record_{CFDataCreate(nullptr, kRecord, sizeof kRecord)};
  StCFTypeRef<CFMessagePortRef> local_, remote_;
  std::thread thread_;
};

template <class Pair>
double RoundTrips() {
  Pair pair;
  for (int i = 0; i < 100; ++i) pair.RoundTrip();
  return bench::Microseconds([&] {
           for (int i = 0; i < kRoundTrips; ++i) pair.RoundTrip();
         }) /
         kRoundTrips;
}

template <class Pair>
double OneWay() {
  Pair pair;
  pair.RoundTrip();
  return bench::Microseconds([&] {
           for (int i = 0; i < kOneWay; ++i) pair.OneWay();
           pair.RoundTrip();
         }) /
         kOneWay;
}

}  // namespace

int main() {
  std::string folder = "/tmp/port-round-trip-XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, "no folder under /tmp");
  setenv("KORVANE_PORTS_DIR", folder.c_str(), 1);
  std::printf("a round trip, %d rounds of %d\n", kRounds, kRoundTrips);
  const auto trips = bench::Run(
      {{"bare Unix socket", RoundTrips<BarePair>}, {"message port", RoundTrips<PortPair>}}, kRounds);
  std::printf("a one-way request, %d rounds of %d\n", kRounds, kOneWay);
  const auto oneWay =
      bench::Run({{"bare Unix socket", OneWay<BarePair>}, {"message port", OneWay<PortPair>}}, kRounds);
  std::filesystem::remove_all(folder);
  std::printf("message port at %.2f of the bare socket's speed in round trips, %.2f one way\n",
              trips[0].median / trips[1].median, oneWay[0].median / oneWay[1].median);
}
