// The service's own certificate and key, and what the certificate names.
#pragma once
#include <memory>
#include <string>
#include <vector>

struct ssl_ctx_st;

namespace remote {

struct TlsContextDeleter {
  void operator()(ssl_ctx_st* context) const noexcept;
};

struct TlsIdentity {
  std::unique_ptr<ssl_ctx_st, TlsContextDeleter> context;  // TLS 1.2 or later; null when there is a problem
  std::vector<std::string> names;  // host names, perhaps with "*." in front, and IP addresses; at least one
  std::string problem;             // why browsers could not be served with these files, in words
};

// Both files are PEM; the certificate's may have those of its issuers behind it.
[[nodiscard]] TlsIdentity LoadTlsIdentity(const std::string& certificateFile, const std::string& keyFile);

}  // namespace remote
