// What /sys, /proc and /etc tell about the machine.
#include "platform/MachineFacts.h"

#include <glib.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Programs.h"

namespace platform {

namespace {

using Uuid = std::array<uint8_t, 16>;

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlank(" \t\r\n\0", 5);  // texts of a device tree end with a NUL
  const size_t first = text.find_first_not_of(kBlank);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlank) - first + 1);
}

// The text of the first file that can be read and is not empty.
std::string ReadFirst(const std::string& root, std::initializer_list<const char*> files) {
  for (const char* name : files) {
    std::ifstream file(root + "/" + name);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!Trimmed(text).empty()) return std::string(Trimmed(text));
  }
  return {};
}

// What follows KEY and the separator on the first line that begins with it.
std::string Entry(const std::string& root, const char* file, std::string_view key, char separator) {
  std::ifstream lines(root + "/" + file);
  for (std::string line; std::getline(lines, line);) {
    const size_t end = line.find(separator);
    if (end != std::string::npos && Trimmed(std::string_view(line).substr(0, end)) == key)
      return std::string(Trimmed(std::string_view(line).substr(end + 1)));
  }
  return {};
}

// 0 when the text does not begin with a number.
int64_t LeadingNumber(std::string_view text) {
  int64_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// What makers leave in their firmware's fields.
std::string UnlessPlaceholder(std::string text) {
  constexpr std::array<std::string_view, 9> kPlaceholders{"to be filled by o.e.m.",
                                                          "default string",
                                                          "system product name",
                                                          "system serial number",
                                                          "not specified",
                                                          "not applicable",
                                                          "none",
                                                          "0123456789",
                                                          "123456789"};
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const bool means = std::find(kPlaceholders.begin(), kPlaceholders.end(), lower) == kPlaceholders.end();
  return means ? text : std::string();
}

// 32 hexadecimal digits, with or without hyphens.
std::optional<Uuid> ParseUuid(std::string_view text) {
  std::string digits(text);
  digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
  Uuid uuid{};
  if (digits.size() != 2 * uuid.size()) return std::nullopt;
  for (size_t i = 0; i < uuid.size(); ++i) {
    const char* const start = digits.data() + 2 * i;
    const auto result = std::from_chars(start, start + 2, uuid[i], 16);
    if (result.ec != std::errc() || result.ptr != start + 2) return std::nullopt;
  }
  return uuid;
}

std::string Format(const Uuid& uuid) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (size_t i = 0; i < uuid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += {kDigits[uuid[i] >> 4], kDigits[uuid[i] & 15]};
  }
  return text;
}

// Not one that many machines share: all bytes alike, or the one of boards whose maker never set it, in both
// byte orders that firmware uses.
bool IsOneMachines(const Uuid& uuid) {
  if (std::all_of(uuid.begin(), uuid.end(), [&](uint8_t byte) { return byte == uuid[0]; })) return false;
  constexpr std::array<std::string_view, 4> kShared{
      "03000200-0400-0500-0006-000700080009", "00020003-0004-0005-0006-000700080009",
      "12345678-1234-5678-90AB-CDDEEFAABBCC", "78563412-3412-7856-90AB-CDDEEFAABBCC"};
  return std::find(kShared.begin(), kShared.end(), Format(uuid)) == kShared.end();
}

// A name-based identifier (RFC 4122, version 5): the same for the same name, and the name cannot be found
// from it.
Uuid NameBased(std::string_view name) {
  constexpr Uuid kOurNames{0x3B, 0xCA, 0x49, 0x43, 0xC7, 0x13, 0x4A, 0x7B,
                           0x82, 0x9B, 0xA1, 0x69, 0xEF, 0xC3, 0x56, 0x1F};
  const std::unique_ptr<GChecksum, decltype(&g_checksum_free)> sum(g_checksum_new(G_CHECKSUM_SHA1),
                                                                   &g_checksum_free);
  g_checksum_update(sum.get(), kOurNames.data(), kOurNames.size());
  g_checksum_update(sum.get(), reinterpret_cast<const guchar*>(name.data()),
                    static_cast<gssize>(name.size()));
  std::array<uint8_t, 20> digest{};
  gsize size = digest.size();
  g_checksum_get_digest(sum.get(), digest.data(), &size);
  Uuid uuid;
  std::copy_n(digest.begin(), uuid.size(), uuid.begin());
  uuid[6] = static_cast<uint8_t>((uuid[6] & 0x0F) | 0x50);
  uuid[8] = static_cast<uint8_t>((uuid[8] & 0x3F) | 0x80);
  return uuid;
}

std::string MachineUuid(const std::string& root) {
  const auto firmware = ParseUuid(ReadFirst(root, {"sys/class/dmi/id/product_uuid"}));
  if (firmware && IsOneMachines(*firmware)) return Format(*firmware);
  const std::string installation = ReadFirst(root, {"etc/machine-id", "var/lib/dbus/machine-id"});
  const auto parsed = ParseUuid(installation);  // the file can also say "uninitialized"
  return parsed && IsOneMachines(*parsed) ? Format(NameBased(installation)) : std::string();
}

std::string Unquoted(std::string text) {
  if (text.size() >= 2 && text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
  return text;
}

}  // namespace

HardwareFacts ReadHardwareFacts(const std::string& root) {
  HardwareFacts facts;
  facts.model = UnlessPlaceholder(
      ReadFirst(root, {"sys/class/dmi/id/product_name", "sys/firmware/devicetree/base/model"}));
  facts.processor = Entry(root, "proc/cpuinfo", "model name", ':');
  facts.processors = sysconf(_SC_NPROCESSORS_ONLN);
  facts.memoryBytes = LeadingNumber(Entry(root, "proc/meminfo", "MemTotal", ':')) * 1024;
  facts.serialNumber = UnlessPlaceholder(
      ReadFirst(root, {"sys/class/dmi/id/product_serial", "sys/firmware/devicetree/base/serial-number"}));
  facts.uuid = MachineUuid(root);
  return facts;
}

SoftwareFacts ReadSoftwareFacts(const std::string& root) {
  SoftwareFacts facts;
  for (const char* file : {"etc/os-release", "usr/lib/os-release"})
    if (facts.system.empty()) facts.system = Unquoted(Entry(root, file, "PRETTY_NAME", '='));
  utsname kernel{};
  if (uname(&kernel) == 0) {
    facts.kernel = std::string(kernel.sysname) + " " + kernel.release;
    facts.hostName = kernel.nodename;
  }
  if (const auto account = FindAccount(geteuid())) facts.userName = account->name;
  facts.uptimeSeconds = LeadingNumber(ReadFirst(root, {"proc/uptime"}));
  return facts;
}

}  // namespace platform
