// Any bytes as a request to the dispatcher: an order is taken only when it can be carried out as it stands.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "service/dispatch/LaunchOrder.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

bool HasNul(const std::string& text) { return text.find('\0') != std::string::npos; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  service::LaunchOrder order;
  if (service::ParseOrder({reinterpret_cast<const char*>(data), size}, order) != service::ResultCode::kDone)
    return 0;
  Check(order.command.size() > 1 || order.command == "/");
  Check(order.command.front() == '/' && !HasNul(order.command) && !HasNul(order.secret));
  Check(std::none_of(order.parameters.begin(), order.parameters.end(), HasNul));
  return 0;
}
