// The system log's client interface: eight levels, a filter, extra log files that get each line too.
#pragma once
#include <cstdarg>
#include <cstdint>

extern "C" {

using aslclient = struct __asl_client*;
using aslmsg = struct __asl_message*;

enum {
  ASL_LEVEL_EMERG = 0,
  ASL_LEVEL_ALERT = 1,
  ASL_LEVEL_CRIT = 2,
  ASL_LEVEL_ERR = 3,
  ASL_LEVEL_WARNING = 4,
  ASL_LEVEL_NOTICE = 5,
  ASL_LEVEL_INFO = 6,
  ASL_LEVEL_DEBUG = 7
};
enum : uint32_t { ASL_OPT_STDERR = 0x00000001, ASL_OPT_NO_DELAY = 0x00000002 };
enum : uint32_t { ASL_TYPE_MSG = 0 };

#define ASL_FILTER_MASK(level) (0x01 << (level))
#define ASL_FILTER_MASK_UPTO(level) ((1 << ((level) + 1)) - 1)

// `ident` null: the process's name. `facility` null: "user". The caller closes.
aslclient asl_open(const char* ident, const char* facility, uint32_t options);
void asl_close(aslclient client);

// Returns the filter before.
int asl_set_filter(aslclient client, int filter);

// Each message that passes the client's filter also goes to `fd`, as a line
// "Nov 21 09:05:07 host sender[pid] <Info>: text". The descriptor stays the caller's. 0, or -1 for a bad
// descriptor.
int asl_add_log_file(aslclient client, int fd);

aslmsg asl_new(uint32_t type);
void asl_free(aslmsg message);

// 0, or -1 for a null format or a level outside 0 to 7. Null client or message: the defaults.
int asl_log(aslclient client, aslmsg message, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // extern "C"
