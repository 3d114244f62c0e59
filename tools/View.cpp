#include "tools/View.h"

#include <sys/socket.h>
#include <unistd.h>

#include <utility>

#include "platform/Handles.h"
#include "platform/System.h"

namespace tools {
namespace {

// The service's own client sends view starts of 8 bytes, and nothing shorter reaches an observer through it.
constexpr long kViewStartBytes = 8;

}  // namespace

bool View::ObserverListens(const std::string& endpoint) {
  const std::string path = endpoint.substr(endpoint.find("//") + 2);
  sockaddr_storage address{};
  const socklen_t length = platform::MakeLocalAddress(path, address);
  const platform::UniqueFd probe(socket(AF_UNIX, SOCK_STREAM, 0));
  return connect(probe.Get(), reinterpret_cast<const sockaddr*>(&address), length) == 0;
}

bool View::Start(const std::string& endpoint, CommandCode start) {
  if (!commands_.start(endpoint)) return false;
  const unsigned char record[kViewStartBytes] = {start};
  commands_.TransferData(record, kViewStartBytes);
  endpoint_ = endpoint;
  return true;
}

void View::End() {
  const std::string endpoint = std::exchange(endpoint_, {});
  // An observer that is gone has no view, and nobody to wait for.
  if (endpoint.empty() || !ObserverListens(endpoint)) return;
  const unsigned char record[sizeof(ViewEndRecord)] = {CMD_VIEW_END};
  commands_.TransferData(record, sizeof record);
}

}  // namespace tools
