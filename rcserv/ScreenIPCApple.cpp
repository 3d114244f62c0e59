#include "rcserv/ScreenIPCApple.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <limits>

#include "common/KCFolderManager.h"
#include "platform/System.h"
#include "rcserv/ScreenResponse.h"
#include "rcserv/System.h"

namespace rcserv::screen_ipc {

namespace {

constexpr timeval kSendTimeout = {.tv_sec = 1, .tv_usec = 0};

// Of all clients of the process, counted up with every connection.
std::atomic<Request> gConnectionId{0};

std::string SocketPath() { return FetchFolder(kFolderScreenIPCSocket); }

uint32_t Remaining(uint32_t start, uint32_t timeoutMs) {
  return timeoutMs - std::min(System::TickCountMs() - start, timeoutMs);
}

// Waits whole seconds: below 1000 ms it only looks. True also when the descriptor has an error to report.
// poll, because select cannot take descriptors above its fixed limit.
bool WaitReady(const platform::UniqueFd& descriptor, short events, uint32_t timeoutMs) {
  const uint32_t start = System::TickCountMs();
  const uint32_t wholeSeconds = std::min<uint32_t>(timeoutMs, std::numeric_limits<int>::max()) / 1000 * 1000;
  pollfd entry = {descriptor.Get(), events, 0};
  int ready = 0;
  do {
    ready = poll(&entry, 1, static_cast<int>(Remaining(start, wholeSeconds)));
  } while (ready < 0 && errno == EINTR);
  return ready != 0;
}

template <class Record>
bool ReceiveWhole(const platform::UniqueFd& connection, Record& record) {
  ssize_t received = 0;
  do {
    received = recv(connection.Get(), &record, sizeof record, 0);
  } while (received < 0 && errno == EINTR);
  return received == static_cast<ssize_t>(sizeof record);
}

template <class Record>
bool SendWhole(const platform::UniqueFd& connection, const Record& record) {
  ssize_t sent = 0;
  do {
    sent = send(connection.Get(), &record, sizeof record, platform::SendFlags());
  } while (sent < 0 && errno == EINTR);
  return sent == static_cast<ssize_t>(sizeof record);
}

bool SetBlocking(const platform::UniqueFd& descriptor, bool blocking) {
  const int flags = fcntl(descriptor.Get(), F_GETFL);
  if (flags < 0) return false;
  return fcntl(descriptor.Get(), F_SETFL, blocking ? flags & ~O_NONBLOCK : flags | O_NONBLOCK) == 0;
}

// What every socket of ours is, however it was made: closed in children, and silent when the peer is gone.
bool PrepareSocket(const platform::UniqueFd& descriptor) {
  return descriptor && fcntl(descriptor.Get(), F_SETFD, FD_CLOEXEC) == 0 &&
         platform::DisableSigPipe(descriptor.Get()) == 0;
}

std::string ScreenFileName(uint32_t screenId) {
  char digits[9];
  std::snprintf(digits, sizeof digits, "%.8x", screenId);
  return std::string(FetchFolder(kFolderSharedFrameBuffer)) + digits;
}

RefCountedPtrT<MMapSurface> OpenFile(uint32_t screenId, int32_t width, int32_t height, int32_t stride) {
  auto surface = MMapSurface::CreateSP(kScreenFormat, width, height, stride, ScreenFileName(screenId),
                                       MMapSurface::FileMode::kOpen);
  if (!surface)
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed OpenScreen: [%d: %d x %d (%d)]\n",
                   static_cast<int>(screenId), width, height, stride);
  return surface;
}

}  // namespace

Serv::~Serv() {
  if (listening_ || connection_) Disconnect();
  name_.Remove();
}

bool Serv::Connect(uint32_t timeoutMs) {
  if (connected_) return true;
  if (!listening_ && !Listen()) {
    Disconnect();
    return false;
  }
  if (!WaitReady(listening_, POLLIN, timeoutMs)) return false;
  if (!Accept()) {
    Disconnect();
    return false;
  }
  // One client at a time: the next one finds nobody listening until this one is gone.
  listening_.Reset();
  connected_ = true;
  rcservDebugMsg(1, __FILE__, __LINE__, "Serv: Connected\n");
  return true;
}

bool Serv::Listen() {
  rcservDebugMsg(1, __FILE__, __LINE__, "Serv: Wating for connect\n");
  const std::string path = SocketPath();
  listening_.Reset(socket(AF_UNIX, SOCK_STREAM, 0));
  int error = 0;
  // Not blocking, so that a client that gives up between poll and accept holds nobody up.
  if (!PrepareSocket(listening_) || !SetBlocking(listening_, false)) error = errno;
  if (error == 0) error = name_.Bind(listening_.Get(), path);
  if (error == 0 && listen(listening_.Get(), 0) != 0) error = errno;
  // Once a reason: the caller tries again every time-out.
  if (error != 0 && error != listen_error_)
    rcservDebugMsg(1, __FILE__, __LINE__, "Serv: cannot listen on %s: %s\n", path.c_str(),
                   std::strerror(error));
  listen_error_ = error;
  return error == 0;
}

bool Serv::Accept() {
  connection_.Reset(accept(listening_.Get(), nullptr, nullptr));
  // On some systems the connection inherits the listener's mode.
  return PrepareSocket(connection_) && SetBlocking(connection_, true) &&
         setsockopt(connection_.Get(), SOL_SOCKET, SO_SNDTIMEO, &kSendTimeout, sizeof kSendTimeout) == 0;
}

Result Serv::ReadRequest(uint32_t timeoutMs) {
  const uint32_t start = System::TickCountMs();
  if (Connect(timeoutMs)) {
    if (!WaitReady(connection_, POLLIN, Remaining(start, timeoutMs))) return kTimedOut;
    if (ReceiveWhole(connection_, request_id_)) return kDone;
    Disconnect();
  }
  System::SleepMs(Remaining(start, timeoutMs));
  return kFailed;
}

Result Serv::WriteResponse(const ResponseRecord& response) {
  if (connected_ && SendWhole(connection_, response)) return kDone;
  Disconnect();
  return kFailed;
}

void Serv::Disconnect() {
  listening_.Reset();
  connection_.Reset();
  rcservDebugMsg(1, __FILE__, __LINE__, "Serv: %s\n", connected_ ? "Disconnected" : "Closed");
  connected_ = false;
}

bool Cli::Connect(uint32_t timeoutMs) {
  if (connected_) return true;
  connecting_.Reset(socket(AF_UNIX, SOCK_STREAM, 0));
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(SocketPath(), address);
  if (!PrepareSocket(connecting_) || !SetBlocking(connecting_, false) ||
      (connect(connecting_.Get(), reinterpret_cast<const sockaddr*>(&address), length) != 0 &&
       errno != EINPROGRESS && errno != EINTR)) {
    Disconnect();
    return false;
  }
  if (!WaitReady(connecting_, POLLOUT, timeoutMs)) return false;

  int error = 0;
  socklen_t errorLength = sizeof error;
  if (getsockopt(connecting_.Get(), SOL_SOCKET, SO_ERROR, &error, &errorLength) != 0 || error != 0 ||
      !SetBlocking(connecting_, true)) {
    Disconnect();
    return false;
  }
  connection_ = std::move(connecting_);
  connected_ = true;
  request_pending_ = false;
  gConnectionId = NextConnectionId(gConnectionId);
  rcservDebugMsg(1, __FILE__, __LINE__, "Cli: Connected\n");
  return true;
}

bool Cli::SendRequest() {
  if (!request_pending_) request_pending_ = SendWhole(connection_, Request{gConnectionId});
  return request_pending_;
}

Result Cli::MakeRequest(ResponseRecord& response, uint32_t timeoutMs) {
  const uint32_t start = System::TickCountMs();
  if (Connect(timeoutMs) && SendRequest()) {
    if (!WaitReady(connection_, POLLIN, Remaining(start, timeoutMs))) return kTimedOut;
    if (ReceiveWhole(connection_, response)) {
      request_pending_ = false;
      return kDone;
    }
  }
  Disconnect();
  System::SleepMs(Remaining(start, timeoutMs));
  return kFailed;
}

void Cli::Disconnect() {
  connecting_.Reset();
  connection_.Reset();
  rcservDebugMsg(1, __FILE__, __LINE__, "Cli: %s\n", connected_ ? "Disconnected" : "Closed");
  connected_ = false;
}

BitmapT<kScreenFormat> CreateScreen(uint32_t screenId, int32_t width, int32_t height) {
  const int32_t stride = Saturate32(PaddedStride(kScreenFormat, width));
  auto surface = MMapSurface::CreateSP(kScreenFormat, width, height, stride, ScreenFileName(screenId),
                                       MMapSurface::FileMode::kCreate);
  if (!surface)
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed CreateScreen: [%u: %d x %d (%d)]\n", screenId, width,
                   height, stride);
  return BitmapT<kScreenFormat>(surface);
}

BitmapT<kScreenFormat> OpenScreen(uint32_t screenId, int32_t width, int32_t height, int32_t stride) {
  return BitmapT<kScreenFormat>(OpenFile(screenId, width, height, stride));
}

BitmapT<kScreenFormat> OpenScreen(const NewScreen& screen) {
  const auto surface = OpenFile(screen.id, screen.width, screen.height, screen.stride);
  if (!surface) return {};
  const int64_t needed = int64_t{screen.stride} * screen.height;
  if (surface->FileLength() < needed) {
    rcservDebugMsg(1, __FILE__, __LINE__, "Failed OpenScreen: the file of screen %.8x is too short\n",
                   screen.id);
    return {};
  }
  return BitmapT<kScreenFormat>(surface);
}

}  // namespace rcserv::screen_ipc
