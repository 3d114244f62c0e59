// What this machine and its user are called.
#pragma once
#include <string>

namespace remote {

// Any thread; empty when it cannot be told. UTF-8.
[[nodiscard]] std::string ComputerName();
// Of the user at the console, "loginwindow" when nobody is.
[[nodiscard]] std::string UserName();

}  // namespace remote
