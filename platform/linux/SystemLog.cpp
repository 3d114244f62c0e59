// The system log's client interface on syslog.
#include <asl.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FormatText.h"
#include "platform/System.h"
#include "platform/linux/LogLine.h"

struct __asl_client {
  std::string ident;
  int filter;
  std::vector<int> files;  // borrowed
};

struct __asl_message {
  uint32_t type;
};

namespace {

constexpr int kAllLevels = ASL_FILTER_MASK_UPTO(ASL_LEVEL_DEBUG);
// What a client, and a call without one, sends to the log daemon at first.
constexpr int kDefaultFilter = ASL_FILTER_MASK_UPTO(ASL_LEVEL_NOTICE);

}  // namespace

aslclient asl_open(const char* ident, const char* facility, uint32_t options) {
  if (facility != nullptr && std::string_view(facility) != "user") return nullptr;
  auto* client = new __asl_client{ident != nullptr ? ident : platform::LogSender(), kDefaultFilter, {}};
  if ((options & ASL_OPT_STDERR) != 0) client->files.push_back(STDERR_FILENO);
  return client;
}

void asl_close(aslclient client) { delete client; }

int asl_set_filter(aslclient client, int filter) {
  if (client == nullptr) return -1;
  const int before = client->filter;
  client->filter = filter & kAllLevels;
  return before;
}

int asl_add_log_file(aslclient client, int fd) {
  if (client == nullptr || fcntl(fd, F_GETFD) < 0) return -1;
  client->files.push_back(fd);
  return 0;
}

aslmsg asl_new(uint32_t type) { return new __asl_message{type}; }

void asl_free(aslmsg message) { delete message; }

int asl_log(aslclient client, aslmsg, int level, const char* format, ...) {
  if (format == nullptr || level < ASL_LEVEL_EMERG || level > ASL_LEVEL_DEBUG) return -1;
  va_list arguments;
  va_start(arguments, format);
  const std::string text = platform::FormatText(format, arguments);
  va_end(arguments);

  const std::string sender = client != nullptr ? client->ident : platform::LogSender();
  const int filter = client != nullptr ? client->filter : kDefaultFilter;
  if ((filter & ASL_FILTER_MASK(level)) != 0) platform::SendToSystemLog(sender.c_str(), level, text.c_str());
  if (client == nullptr || client->files.empty()) return 0;

  const std::string line = platform::FormatLogLine(sender, level, text);
  for (const int fd : client->files) (void)platform::WriteLine(fd, line);
  return 0;
}
