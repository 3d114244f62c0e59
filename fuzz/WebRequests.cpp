// Any request to the web server: nobody without the token or its cookie gets more than the page's own files.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "common/KCasl.h"
#include "service/remote/Site.h"

namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  ASLSetFilter(0);
  return 0;
}

// The fields of a request, a line each.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static remote::Site site(remote::OwnNames({"localhost", "::1", "*.example.org"}, false), "c", false);
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  std::array<std::string_view, 7> fields;
  for (std::string_view& field : fields) {
    field = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(rest.size(), field.size() + 1));
  }
  const auto& [method, target, host, origin, cookie, protocols, body] = fields;
  const remote::WebAnswer answer = site.Answer({.method = method,
                                                .target = target,
                                                .body = body,
                                                .host = host,
                                                .origin = origin,
                                                .cookie = cookie,
                                                .upgrade = true,
                                                .protocols = protocols},
                                               "peer", {});
  Check(!answer.upgrade && answer.setCookie.empty() && answer.location.empty());
  Check(answer.status != 200 || (target != "/" && method == "GET"));
  return 0;
}
