#include "service/remote/AccessTokens.h"

#include <sys/random.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace remote {

namespace {

constexpr char kBase64Url[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";

std::string RandomText() {
  std::array<uint8_t, 32> bytes;
  ssize_t got = 0;
  do {
    got = getrandom(bytes.data(), bytes.size(), 0);
  } while (got < 0 && errno == EINTR);
  if (got != static_cast<ssize_t>(bytes.size())) {
    std::perror("kvremote: no random numbers");
    std::abort();
  }
  std::string text;
  for (const uint8_t byte : bytes) text += kBase64Url[byte % 64];
  return text;
}

bool Same(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  volatile unsigned difference = 0;
  for (size_t i = 0; i < a.size(); ++i)
    difference = difference | static_cast<unsigned>(static_cast<unsigned char>(a[i] ^ b[i]));
  return difference == 0;
}

}  // namespace

AccessTokens::AccessTokens() : token_(RandomText()), cookie_(RandomText()) {}

bool AccessTokens::IsToken(std::string_view text) const { return Same(text, token_); }
bool AccessTokens::IsCookie(std::string_view text) const { return Same(text, cookie_); }

}  // namespace remote
