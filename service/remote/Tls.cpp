#include "service/remote/Tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace remote {

namespace {

struct NamesDeleter {
  void operator()(GENERAL_NAMES* names) const noexcept { GENERAL_NAMES_free(names); }
};

// What the library complained of last.
std::string LibraryError() {
  const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
  ERR_clear_error();
  return reason != nullptr ? reason : "unknown reason";
}

std::string TextOf(const ASN1_STRING* string) {
  return {reinterpret_cast<const char*>(ASN1_STRING_get0_data(string)),
          static_cast<size_t>(ASN1_STRING_length(string))};
}

// Empty for bytes that are no IP address.
std::string AddressOf(const ASN1_OCTET_STRING* bytes) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const int length = ASN1_STRING_length(bytes);
  const int family = length == 4 ? AF_INET : AF_INET6;
  if (length != 4 && length != 16) return {};
  inet_ntop(family, ASN1_STRING_get0_data(bytes), text.data(), text.size());
  return text.data();
}

std::vector<std::string> NamesIn(const X509* certificate) {
  const std::unique_ptr<GENERAL_NAMES, NamesDeleter> found(
      static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  std::vector<std::string> names;
  for (int i = 0; i < sk_GENERAL_NAME_num(found.get()); ++i) {
    const GENERAL_NAME* const entry = sk_GENERAL_NAME_value(found.get(), i);
    std::string name;
    if (entry->type == GEN_DNS) name = TextOf(entry->d.dNSName);
    if (entry->type == GEN_IPADD) name = AddressOf(entry->d.iPAddress);
    if (!name.empty()) names.push_back(std::move(name));
  }
  return names;
}

// A key with a password would be asked for at the terminal.
int NoPassword(char*, int, int, void*) { return 0; }

std::string CannotRead(const std::string& file) {
  return access(file.c_str(), R_OK) == 0 ? "" : "cannot read " + file + ": " + std::strerror(errno);
}

// Empty when both files are loaded.
std::string Load(SSL_CTX* context, const std::string& certificateFile, const std::string& keyFile) {
  for (const std::string& file : {certificateFile, keyFile}) {
    if (const std::string problem = CannotRead(file); !problem.empty()) return problem;
  }
  SSL_CTX_set_default_passwd_cb(context, NoPassword);
  if (SSL_CTX_use_certificate_chain_file(context, certificateFile.c_str()) != 1)
    return certificateFile + " is not a usable PEM certificate (" + LibraryError() + ")";
  if (SSL_CTX_use_PrivateKey_file(context, keyFile.c_str(), SSL_FILETYPE_PEM) != 1) {
    const bool otherKey = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
    const std::string reason = LibraryError();
    return otherKey ? "the key in " + keyFile + " does not belong to the certificate in " + certificateFile
                    : keyFile + " is not a PEM key without a password (" + reason + ")";
  }
  return {};
}

std::string ProblemOf(const X509* certificate, const std::string& file) {
  if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0)
    return "the certificate in " + file + " is not valid yet";
  if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
    return "the certificate in " + file + " has expired";
  if (NamesIn(certificate).empty())
    return "the certificate in " + file + " names no host: browsers want a subjectAltName";
  return {};
}

}  // namespace

void TlsContextDeleter::operator()(ssl_ctx_st* context) const noexcept { SSL_CTX_free(context); }

TlsIdentity LoadTlsIdentity(const std::string& certificateFile, const std::string& keyFile) {
  TlsIdentity identity;
  std::unique_ptr<ssl_ctx_st, TlsContextDeleter> context(SSL_CTX_new(TLS_server_method()));
  if (!context || SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION) != 1) {
    identity.problem = "TLS cannot be used: " + LibraryError();
    return identity;
  }
  SSL_CTX_set_options(context.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
  identity.problem = Load(context.get(), certificateFile, keyFile);
  if (!identity.problem.empty()) return identity;
  const X509* const certificate = SSL_CTX_get0_certificate(context.get());
  identity.problem = ProblemOf(certificate, certificateFile);
  if (!identity.problem.empty()) return identity;
  identity.names = NamesIn(certificate);
  identity.context = std::move(context);
  return identity;
}

}  // namespace remote
