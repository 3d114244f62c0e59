// Under which names browsers reach the service: what `Host` and `Origin` may say.
//
// A page elsewhere can make its own name lead to this machine, but the browser then still sends that name.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace remote {

class OwnNames {
 public:
  // `names`: host names and IP addresses, without port and brackets; "*.example.org" is every name with one
  // more part. `secure`: pages come over TLS.
  OwnNames(std::vector<std::string> names, bool secure);

  // `host` as in the header: a name, and any port, for the port may be forwarded from another one.
  [[nodiscard]] bool IsHost(std::string_view host) const;
  // `origin` is the page that came under that `host`.
  [[nodiscard]] bool IsOrigin(std::string_view origin, std::string_view host) const;

 private:
  std::vector<std::string> names_;  // in small letters
  const bool secure_;
};

}  // namespace remote
