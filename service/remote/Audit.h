// The lines that say who did what with this machine's desktop. Never what was typed, shown, or a token.
#pragma once

namespace remote {

// A printf format; the line goes to the agent's log.
void Audit(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace remote
