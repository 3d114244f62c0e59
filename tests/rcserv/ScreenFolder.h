// What the tests of the screen socket share: a folder of their own for socket and screen files, and a client
// that knows the protocol's bytes and nothing of our classes.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Handles.h"
#include "tests/support/TemporaryFolder.h"

namespace test {

// One test a process: the places are looked up once.
class ScreenFolderTest : public testing::Test {
 protected:
  ScreenFolderTest();

  [[nodiscard]] std::string SocketPath() const { return folder_ / "sipc.uds"; }
  // The names of the screen files that are there.
  [[nodiscard]] std::vector<std::string> ScreenFiles() const;

  TemporaryFolder folder_;
};

// A response as words of 32 bits; empty for none.
using Words = std::vector<int32_t>;
// Two fields of 16 bits in one word.
constexpr int32_t Pair(int first, int second) { return (first & 0xFFFF) | second << 16; }
// A whole response that has nothing but zeros after `start`.
Words Response(Words start);

class RawClient {
 public:
  // False when nobody listens.
  [[nodiscard]] bool Connect(const std::string& path);
  void Send(const std::vector<uint8_t>& bytes) const;
  // Nothing when the server has closed the connection, or says nothing for 20 seconds.
  [[nodiscard]] Words Receive() const;
  void Close() { socket_.Reset(); }

 private:
  platform::UniqueFd socket_;
};

}  // namespace test
