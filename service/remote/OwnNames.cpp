#include "service/remote/OwnNames.h"

#include <algorithm>
#include <utility>

namespace remote {

namespace {

std::string Small(std::string_view text) {
  std::string small(text);
  std::transform(small.begin(), small.end(), small.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return small;
}

bool IsPort(std::string_view text) {
  return !text.empty() && text.size() <= 5 &&
         std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The name in "name", "name:port", "[address]" and "[address]:port"; empty for anything else.
std::string_view NameOf(std::string_view host) {
  const bool bracketed = host.starts_with('[');
  const size_t end = bracketed ? host.find(']') : host.find(':');
  const std::string_view name = host.substr(bracketed ? 1 : 0, end == host.npos ? end : end - bracketed);
  if (end == host.npos) return bracketed ? std::string_view() : name;
  const std::string_view rest = host.substr(end + (bracketed ? 1 : 0));
  return rest.empty() || (rest[0] == ':' && IsPort(rest.substr(1))) ? name : std::string_view();
}

bool Covers(std::string_view pattern, std::string_view name) {
  if (!pattern.starts_with("*.")) return pattern == name;
  const size_t dot = name.find('.');
  return dot != name.npos && dot > 0 && name.substr(dot) == pattern.substr(1);
}

}  // namespace

OwnNames::OwnNames(std::vector<std::string> names, bool secure) : secure_(secure) {
  for (const std::string& name : names) names_.push_back(Small(name));
}

bool OwnNames::IsHost(std::string_view host) const {
  const std::string name = Small(NameOf(host));
  return !name.empty() &&
         std::any_of(names_.begin(), names_.end(), [&](const std::string& own) { return Covers(own, name); });
}

bool OwnNames::IsOrigin(std::string_view origin, std::string_view host) const {
  return Small(origin) == Small((secure_ ? "https://" : "http://") + std::string(host));
}

}  // namespace remote
