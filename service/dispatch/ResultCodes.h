// What the dispatcher answers in "result" when it did not run the program. 0 and above are the program's own.
#pragma once
#include <cstdint>

namespace service {

// -1 is the client's own, for a request that was not answered.
enum class ResultCode : int32_t {
  kDone = 0,
  kNotOpened = 1,       // the open tool's own status: no such bundle, or it could not be started
  kNoRequest = -2,      // not a property list that holds a dictionary, or not in the right frames
  kBadCommand = -3,     // "command" is missing, empty or no text
  kBadParameters = -4,  // "parameters" is no array of texts
  kBadMode = -5,        // "mode" is none of those there are
  kBadSecret = -6,      // "secret" is missing, no text, or not the one that is in force
  kTooLarge = -7,       // more than a request may have
  kNoSession = -8,      // nobody has such a session now
  kTooMany = -9,        // as many programs run as are allowed to
  kNotStarted = -10,    // the program is not there or may not be run
  kNotAllowed = -11,    // this dispatcher is not root's and cannot start programs there
};

}  // namespace service
