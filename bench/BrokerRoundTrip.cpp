// How near is a broker round trip to that of a bare ZeroMQ REQ/REP pair?
//
// Both pairs carry the same frames (an id of 4 bytes and an 8-byte record, an empty reply) over a Unix socket
// between two threads of this process, with a ZeroMQ context for each end as two programs have. The ratio is
// the bare pair's time over ours.
#include <unistd.h>
#include <zmq.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <thread>

#include "bench/Rounds.h"
#include "broker/RCZmqBroker.h"

namespace {

constexpr int kRounds = 51;
constexpr int kWarmUp = 50;
constexpr int kRoundTrips = 400;  // a round
constexpr unsigned char kRecord[8] = {4, 0, 0, 1, 100, 0, 100, 0};

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "broker_round_trip: %s: %s\n", what, zmq_strerror(zmq_errno()));
  std::exit(1);
}

// Nothing between the caller and ZeroMQ. As in the broker, each thread makes the socket that it uses, for
// where ZeroMQ's own threads begin decides on which cores they stay. Ends with a request whose payload is
// empty.
class BarePair {
 public:
  explicit BarePair(const std::string& endpoint) {
    std::promise<void> bound;
    thread_ = std::thread([this, &endpoint, &bound] {
      server_ = zmq_socket(serverContext_, ZMQ_REP);
      Require(zmq_bind(server_, endpoint.c_str()) == 0, "zmq_bind");
      bound.set_value();
      Serve();
    });
    bound.get_future().wait();
    client_ = zmq_socket(clientContext_, ZMQ_REQ);
    Require(zmq_connect(client_, endpoint.c_str()) == 0, "zmq_connect");
  }
  ~BarePair() {
    Request(0);
    thread_.join();
    zmq_close(client_);
    zmq_close(server_);
    zmq_ctx_destroy(clientContext_);
    zmq_ctx_destroy(serverContext_);
  }
  BarePair(const BarePair&) = delete;
  BarePair& operator=(const BarePair&) = delete;

  void RoundTrip() { Request(sizeof kRecord); }

 private:
  void Request(size_t length) {
    const int32_t id = 1;
    char reply[16];
    zmq_send(client_, &id, sizeof id, ZMQ_SNDMORE);
    zmq_send(client_, kRecord, length, 0);
    Require(zmq_recv(client_, reply, sizeof reply, 0) == 0, "zmq_recv");
  }

  void Serve() {
    int length = 0;
    do {
      int32_t id = 0;
      char record[16];
      zmq_recv(server_, &id, sizeof id, 0);
      length = zmq_recv(server_, record, sizeof record, 0);
      zmq_send(server_, "", 0, 0);
    } while (length > 0);
  }

  void* serverContext_ = zmq_ctx_new();
  void* clientContext_ = zmq_ctx_new();
  void* server_ = nullptr;
  void* client_ = nullptr;
  std::thread thread_;
};

class OurPair {
 public:
  explicit OurPair(const std::string& endpoint) {
    Require(server_.start(endpoint), "the broker server");
    Require(client_.start(endpoint), "the broker client");
  }
  ~OurPair() {
    // The next request is the last one, so nobody waits for a poll to end.
    server_.stop_thread();
    RoundTrip();
    server_.stop();
  }
  OurPair(const OurPair&) = delete;
  OurPair& operator=(const OurPair&) = delete;

  void RoundTrip() {
    Require(client_.TransferData(kRecord, sizeof kRecord) == sizeof kRecord, "the broker client's request");
  }

 private:
  RCZmqBrokerServerBase server_;
  RCZmqBrokerClientBase client_;
};

template <class Pair>
double Round(const std::string& endpoint) {
  Pair pair(endpoint);
  for (int i = 0; i < kWarmUp; ++i) pair.RoundTrip();
  const double time = bench::Microseconds([&] {
    for (int i = 0; i < kRoundTrips; ++i) pair.RoundTrip();
  });
  return time / kRoundTrips;
}

}  // namespace

int main() {
  std::string folder = "/tmp/broker-round-trip-XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, "a folder under /tmp");
  const std::string endpoint = "ipc://" + folder + "/pair";
  std::printf("a round trip, %d rounds of %d\n", kRounds, kRoundTrips);
  const auto results = bench::Run({{"bare ZeroMQ REQ/REP", [&] { return Round<BarePair>(endpoint); }},
                                   {"broker", [&] { return Round<OurPair>(endpoint); }}},
                                  kRounds);
  std::filesystem::remove_all(folder);
  std::printf("broker at %.2f of the bare pair's speed\n", results[0].median / results[1].median);
}
