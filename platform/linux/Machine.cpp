// The clock, the kernel's start, and lines for whoever reads the console.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <iterator>
#include <string>

#include "platform/System.h"
#include "platform/linux/LogLine.h"
#include "platform/linux/NetBoot.h"

namespace platform {
namespace {

std::atomic<bool> gEchoConsoleLog = true;

}  // namespace

bool NamesNetworkRoot(std::string_view kernelCommandLine) {
  // The kernel's own spellings (admin-guide/nfs/nfsroot), those of dracut and of initramfs-tools' and
  // live-boot's network starts.
  constexpr std::array<std::string_view, 9> kSigns = {"root=/dev/nfs", "nfsroot=",  "root=nfs",
                                                      "root=nfs4",     "root=nbd:", "root=iscsi:",
                                                      "root=cifs://",  "netroot=",  "boot=nfs"};
  while (!kernelCommandLine.empty()) {
    const size_t start = kernelCommandLine.find_first_not_of(" \t\n");
    if (start == std::string_view::npos) return false;
    kernelCommandLine.remove_prefix(start);
    const std::string_view word = kernelCommandLine.substr(0, kernelCommandLine.find_first_of(" \t\n"));
    for (const std::string_view sign : kSigns)
      if (word.starts_with(sign)) return true;
    kernelCommandLine.remove_prefix(word.size());
  }
  return false;
}

bool NetBootFlag() {
  std::ifstream file("/proc/cmdline");
  const std::string line{std::istreambuf_iterator<char>(file), {}};
  return NamesNetworkRoot(line);
}

uint64_t HostTicks() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<uint64_t>(now.tv_sec) * 1'000'000'000U + static_cast<uint64_t>(now.tv_nsec);
}

HostTimebase GetHostTimebase() { return {1, 1}; }

void ConsoleLog(const char* format, ...) {
  constexpr int kNotice = 5;
  std::array<char, 2048> text;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);
  if (length < 0) return;
  SendToSystemLog(LogSender(), kNotice, text.data());
  if (gEchoConsoleLog) (void)WriteLine(STDERR_FILENO, FormatLogLine(LogSender(), kNotice, text.data()));
}

void EchoConsoleLog(bool toStandardError) { gEchoConsoleLog = toStandardError; }

}  // namespace platform
