// What the tests of the screen socket share: a folder of their own for socket and screen files, and a client
// that knows the protocol's bytes and nothing of our classes.
#pragma once
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
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

using ResponseBytes = std::array<uint8_t, 808>;

// A field of a response, in the host's byte order.
template <class Field>
Field At(const ResponseBytes& bytes, size_t offset) {
  Field field;
  std::copy_n(bytes.begin() + static_cast<ptrdiff_t>(offset), sizeof field,
              reinterpret_cast<uint8_t*>(&field));
  return field;
}

class RawClient {
 public:
  // False when nobody listens.
  [[nodiscard]] bool Connect(const std::string& path);
  void Send(const std::vector<uint8_t>& bytes) const;
  // Nothing when the server has closed the connection, or says nothing for 20 seconds.
  [[nodiscard]] std::optional<ResponseBytes> Receive() const;
  void Close() { socket_.Reset(); }

 private:
  platform::UniqueFd socket_;
};

}  // namespace test
