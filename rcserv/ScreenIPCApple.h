// The screen socket: a client asks with 2 bytes, the observer answers with a record of 808.
#pragma once
#include <array>
#include <cstdint>
#include <string>

#include "platform/Handles.h"
#include "platform/LocalSocket.h"
#include "rcserv/Bitmap.h"
#include "rcserv/MMapSurfaceApple.h"
#include "rcserv/ScreenRecords.h"

namespace rcserv::screen_ipc {

enum Result : int {
  kDone = 0,
  kTimedOut = 1,  // the connection stands: ask again
  kFailed = 2     // the connection is closed, the time-out has passed: the next call starts anew
};

// The observer's end. It serves one client at a time: while one is connected nobody listens.
//
// One thread. Time-outs wait whole seconds: what is below 1000 ms only looks.
class Serv {
 public:
  Serv() = default;
  Serv(const Serv&) = delete;
  Serv& operator=(const Serv&) = delete;
  // Removes the socket's name too, unless another server has taken it over.
  ~Serv();

  // Waits for a client. False when none came, and when nobody can listen; the reason is logged.
  [[nodiscard]] bool Connect(uint32_t timeoutMs);

  // Waits for the next request. A failure takes the whole time-out, which paces the caller.
  [[nodiscard]] Result ReadRequest(uint32_t timeoutMs);

  // kFailed, and the connection is closed, when the client does not take all of it within a second.
  [[nodiscard]] Result WriteResponse(const ResponseRecord& response);

  void Disconnect();
  void Reset() { Disconnect(); }

  [[nodiscard]] bool Connected() const { return connected_; }
  // The identifier that came with the last request.
  [[nodiscard]] uint16_t request_id() const { return request_id_; }
  // Room for the answer, for the owner to fill.
  [[nodiscard]] ResponseRecord& response() { return response_; }

 private:
  [[nodiscard]] bool Listen();
  [[nodiscard]] bool Accept();

  platform::UniqueFd listening_;
  platform::UniqueFd connection_;
  bool connected_ = false;
  uint16_t request_id_ = 0;
  platform::LocalSocketName name_;
  int listen_error_ = 0;  // the last one that was logged
  ResponseRecord response_{};
};

// The service's end.
//
// One thread. Time-outs as for Serv.
class Cli {
 public:
  Cli() = default;
  Cli(const Cli&) = delete;
  Cli& operator=(const Cli&) = delete;

  [[nodiscard]] bool Connect(uint32_t timeoutMs);

  // Asks, and waits for the answer. After kTimedOut the question stands, and the next call goes on waiting
  // for its answer.
  [[nodiscard]] Result MakeRequest(ResponseRecord& response, uint32_t timeoutMs);

  void Disconnect();
  void Reset() { Disconnect(); }

  // Of the connection, for callers that wait for other things too; -1 without one.
  [[nodiscard]] int Descriptor() const { return connection_.Get(); }

 private:
  [[nodiscard]] bool SendRequest();

  platform::UniqueFd connecting_;
  platform::UniqueFd connection_;
  bool connected_ = false;
  bool request_pending_ = false;
};

// Makes the file of a screen: zeroed, all blocks reserved. Empty, with a log line, when that is impossible.
[[nodiscard]] BitmapT<kScreenFormat> CreateScreen(uint32_t screenId, int32_t width, int32_t height);

// Maps the file of a screen read-only, whatever its length is. Empty, with a log line, when that is
// impossible.
[[nodiscard]] BitmapT<kScreenFormat> OpenScreen(uint32_t screenId, int32_t width, int32_t height,
                                                int32_t stride);

}  // namespace rcserv::screen_ipc
