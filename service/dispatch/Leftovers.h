// What an observer that was killed has left in the folder of all users.
#pragma once
#include <sys/types.h>

namespace service {

// Removes the names of the observer's sockets and screen files that belong to another user than `user` and
// root. The folder is sticky, so the next user's observer could neither take them over nor remove them, and
// whoever made them on purpose would keep it from starting. Only in the default root folder, and only as
// root; elsewhere every user has a folder of his own.
void RemoveLeftovers(uid_t user);

}  // namespace service
