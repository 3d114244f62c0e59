// The dispatcher's secret: whoever can read its file may have programs started as root.
#pragma once
#include <string>
#include <string_view>

namespace service {

// Leaves a new secret in its file, for root alone. The file is the machine's: dispatchers of several
// installations write the same one, and each takes what it holds now for the secret in force.
//
// One thread. The destructor removes the file unless another dispatcher has written its own meanwhile.
class SecretFile {
 public:
  explicit SecretFile(std::string path);
  ~SecretFile();
  SecretFile(const SecretFile&) = delete;
  SecretFile& operator=(const SecretFile&) = delete;

  // Why there is no secret; empty when there is one.
  [[nodiscard]] const std::string& Problem() const { return problem_; }

  // Makes a new one when another dispatcher has taken the file with it at its end.
  void Renew();

  // In a time that does not tell how much of `text` is right. False for everything when there is no secret.
  [[nodiscard]] bool Matches(std::string_view text) const;

 private:
  [[nodiscard]] bool MakeFolder();
  [[nodiscard]] bool Write();
  void Make();
  bool Fail(const std::string& what);

  const std::string path_;
  std::string secret_;
  std::string problem_;
};

}  // namespace service
