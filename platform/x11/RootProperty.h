// Notes on the root window, which stay when the process that made them dies.
#pragma once
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace platform::x11 {

class Connection;

// A list of numbers under a name. Every function asks the server.
class RootProperty {
 public:
  // `window` 0: the root.
  RootProperty(Connection& connection, std::string_view name, uint32_t window = 0);

  [[nodiscard]] std::vector<uint32_t> Read() const;
  void Write(std::span<const uint32_t> values) const;
  void Append(uint32_t value) const;
  void Delete() const;

 private:
  Connection& connection_;
  uint32_t window_;
  uint32_t name_ = 0;
};

// No other client is served while it lives, so what was read is still so when it is written.
class ServerGrab {
 public:
  explicit ServerGrab(Connection& connection);
  ~ServerGrab();
  ServerGrab(const ServerGrab&) = delete;
  ServerGrab& operator=(const ServerGrab&) = delete;

 private:
  Connection& connection_;
};

}  // namespace platform::x11
