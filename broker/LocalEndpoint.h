// Listens on an "ipc://" endpoint so that only its owner and root can connect.
#pragma once
#include <string>

#include "common/ZmqHandles.h"
#include "platform/LocalSocket.h"

[[nodiscard]] bool IsLocalEndpoint(const std::string& endpoint);

// The file that an "ipc://" endpoint stands for; empty for any other text, such as the bare folder of a
// lookup that could not make its folder.
[[nodiscard]] std::string PathOfEndpoint(const std::string& endpoint);

// Binds `socket` to the endpoint, whose name is taken over from whoever has it; `name` then removes it. 0 or
// an errno value.
[[nodiscard]] int BindLocalEndpoint(ZmqSocket& socket, const std::string& endpoint,
                                    platform::LocalSocketName& name);
