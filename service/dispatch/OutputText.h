// Makes text of a program's output: whole lines, or pieces as they come.
#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace service {

// Takes bytes as they were read and gives UTF-8. A character that a read cut in two is put together again;
// what is no UTF-8, and a NUL, which no text holds, becomes U+FFFD.
class OutputText {
 public:
  // A line longer than this comes in pieces.
  static constexpr size_t kMaxPieceBytes = 64 << 10;

  explicit OutputText(bool wholeLines) : wholeLines_(wholeLines) {}

  void Append(std::string_view bytes);
  // No more bytes follow: what is left is given out as it is.
  void Finish() { finished_ = true; }

  // The next piece, without its line end; nothing when more bytes are needed.
  [[nodiscard]] std::optional<std::string> Next();

 private:
  [[nodiscard]] std::string_view Waiting() const { return std::string_view(bytes_).substr(taken_); }
  [[nodiscard]] std::string Take(size_t length);

  const bool wholeLines_;
  bool finished_ = false;
  std::string bytes_;
  size_t taken_ = 0;  // of them, at the front
};

}  // namespace service
