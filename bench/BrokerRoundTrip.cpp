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
#include <string>
#include <thread>

#include "bench/Rounds.h"
#include "broker/RCZmqBroker.h"

namespace {

constexpr int kRounds = 25;
constexpr int kRoundTrips = 2000;  // a round
constexpr unsigned char kRecord[8] = {4, 0, 0, 1, 100, 0, 100, 0};

void Require(bool fine, const char* what) {
  if (fine) return;
  std::fprintf(stderr, "broker_round_trip: %s: %s\n", what, zmq_strerror(zmq_errno()));
  std::exit(1);
}

// Nothing between the caller and ZeroMQ. Ends with a request whose payload is empty.
class BarePair {
 public:
  explicit BarePair(const std::string& endpoint) {
    Require(zmq_bind(server_, endpoint.c_str()) == 0, "zmq_bind");
    Require(zmq_connect(client_, endpoint.c_str()) == 0, "zmq_connect");
    thread_ = std::thread([this] { Serve(); });
  }
  ~BarePair() {
    RoundTrip(0);
    thread_.join();
    zmq_close(client_);
    zmq_close(server_);
    zmq_ctx_destroy(clientContext_);
    zmq_ctx_destroy(serverContext_);
  }
  BarePair(const BarePair&) = delete;
  BarePair& operator=(const BarePair&) = delete;

  void RoundTrip(size_t length) {
    const int32_t id = 1;
    char reply[16];
    zmq_send(client_, &id, sizeof id, ZMQ_SNDMORE);
    zmq_send(client_, kRecord, length, 0);
    Require(zmq_recv(client_, reply, sizeof reply, 0) == 0, "zmq_recv");
  }

 private:
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
  void* server_ = zmq_socket(serverContext_, ZMQ_REP);
  void* client_ = zmq_socket(clientContext_, ZMQ_REQ);
  std::thread thread_;
};

class OurPair {
 public:
  explicit OurPair(const std::string& endpoint) {
    Require(server_.start(endpoint), "the broker server");
    Require(client_.start(endpoint), "the broker client");
  }
  ~OurPair() { server_.stop(); }
  OurPair(const OurPair&) = delete;
  OurPair& operator=(const OurPair&) = delete;

  void RoundTrip() {
    Require(client_.TransferData(kRecord, sizeof kRecord) == sizeof kRecord, "the broker client's request");
  }

 private:
  RCZmqBrokerServerBase server_;
  RCZmqBrokerClientBase client_;
};

}  // namespace

int main() {
  std::string folder = "/tmp/broker-round-trip-XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, "a folder under /tmp");
  double ratio = 0;
  {
    BarePair bare("ipc://" + folder + "/bare");
    OurPair ours("ipc://" + folder + "/ours");
    std::printf("a round trip, %d rounds of %d\n", kRounds, kRoundTrips);
    const auto perTrip = [](auto&& trip) {
      return [trip] {
        return bench::Microseconds([&] {
                 for (int i = 0; i < kRoundTrips; ++i) trip();
               }) /
               kRoundTrips;
      };
    };
    const auto results =
        bench::Run({{"bare ZeroMQ REQ/REP", perTrip([&] { bare.RoundTrip(sizeof kRecord); })},
                    {"broker", perTrip([&] { ours.RoundTrip(); })}},
                   kRounds);
    ratio = results[0].median / results[1].median;
  }
  std::filesystem::remove_all(folder);
  std::printf("broker at %.2f of the bare pair's speed\n", ratio);
}
