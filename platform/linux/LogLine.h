// One line of the system log: its text form, and the ways it takes.
#pragma once
#include <string>
#include <string_view>

namespace platform {

// The name that this process logs under.
const char* LogSender();

// "Nov 21 09:05:07 host sender[pid] <Info>: text" and a newline, for now and this process. The text cannot
// end the line and begin a forged one: what follows a newline in it is set off by a tab. `level` is 0 to 7.
std::string FormatLogLine(std::string_view sender, int level, std::string_view text);

// To the system's log daemon, harmless where there is none.
void SendToSystemLog(const char* sender, int level, const char* text);

}  // namespace platform
