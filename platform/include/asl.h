// The system log's client interface: eight levels, a filter, extra log files that get each line too.
//
// A client belongs to one thread at a time.
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

// `ident` null: the process's name. `facility` null: "user", the only one here; null comes back for another.
// With ASL_OPT_STDERR each message also goes to standard error, as to a log file. The caller closes.
aslclient asl_open(const char* ident, const char* facility, uint32_t options);
void asl_close(aslclient client);

// The levels that go to the log daemon; up to notices at first. Log files and standard error get every level.
// Returns the filter before, -1 for a null client.
int asl_set_filter(aslclient client, int filter);

// Each message also goes to `fd`, whatever the filter, as a line "Nov 21 09:05:07 host sender[pid] <Info>:
// text". In the text, carriage returns become newlines, a tab follows each newline, and a backspace shows as
// "^H". The descriptor stays the caller's. 0, or -1 for a bad descriptor.
int asl_add_log_file(aslclient client, int fd);

aslmsg asl_new(uint32_t type);
void asl_free(aslmsg message);

// 0, or -1 for a null format or a level outside 0 to 7. Null client or message: the defaults.
int asl_log(aslclient client, aslmsg message, int level, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

}  // extern "C"
