// Who may come in: the token that a person is given, and the cookie that it is exchanged for.
#pragma once
#include <string>
#include <string_view>

namespace remote {

// Both are new with every object: 192 random bits, 32 characters of base64url. Comparisons take the same time
// for every text of that length.
class AccessTokens {
 public:
  // Ends the process when the system has no random numbers.
  AccessTokens();

  [[nodiscard]] const std::string& Token() const { return token_; }
  [[nodiscard]] const std::string& Cookie() const { return cookie_; }

  [[nodiscard]] bool IsToken(std::string_view text) const;
  [[nodiscard]] bool IsCookie(std::string_view text) const;

 private:
  const std::string token_;
  const std::string cookie_;
};

}  // namespace remote
