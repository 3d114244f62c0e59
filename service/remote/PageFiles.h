// The files of the page, which are part of the program.
#pragma once
#include <string_view>

namespace remote {

struct PageFile {
  std::string_view name;
  std::string_view contentType;
  std::string_view bytes;
};

inline constexpr std::string_view kViewerPage = "index.html";
inline constexpr std::string_view kSignInPage = "sign-in.html";
inline constexpr std::string_view kWrongTokenPage = "wrong-token.html";

// Null when there is no file of that name. It lives as long as the process.
[[nodiscard]] const PageFile* FindPageFile(std::string_view name);

}  // namespace remote
