#include "broker/LocalEndpoint.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>
#include <string_view>
#include <tuple>

#include "platform/Handles.h"

namespace {

constexpr std::string_view kIpcPrefix = "ipc://";
constexpr int kListenBacklog = 100;

platform::UniqueFd MakeListener() {
  platform::UniqueFd listener(socket(AF_UNIX, SOCK_STREAM, 0));
  if (listener) {
    fcntl(listener.Get(), F_SETFD, FD_CLOEXEC);
    fcntl(listener.Get(), F_SETFL, O_NONBLOCK);
  }
  return listener;
}

}  // namespace

bool IsLocalEndpoint(const std::string& endpoint) { return endpoint.starts_with(kIpcPrefix); }

std::string PathOfEndpoint(const std::string& endpoint) {
  return IsLocalEndpoint(endpoint) ? endpoint.substr(kIpcPrefix.size()) : std::string();
}

// ZeroMQ would make the socket with the process's mask, and on closing remove the name whoever has it by
// then; so the listening socket is made here and handed over.
int BindLocalEndpoint(ZmqSocket& socket, const std::string& endpoint, platform::LocalSocketName& name) {
  platform::UniqueFd listener = MakeListener();
  if (!listener) return errno;
  if (const int error = name.Bind(listener.Get(), PathOfEndpoint(endpoint))) return error;
  if (listen(listener.Get(), kListenBacklog) != 0 || !socket.SetOption(ZMQ_USE_FD, listener.Get()) ||
      zmq_bind(socket.Get(), endpoint.c_str()) != 0) {
    const int error = errno;
    name.Remove();
    return error;
  }
  std::ignore = listener.Release();  // ZeroMQ closes it
  return 0;
}
