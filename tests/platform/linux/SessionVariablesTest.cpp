// What root's programs may learn from the environment of a user's processes.
#include "platform/linux/SessionVariables.h"

#include <gtest/gtest.h>

namespace {

using platform::SessionVariables;
using platform::Variables;

TEST(SessionVariablesTest, OnlyWhatConnectsToALocalSocketIsTaken) {
  const struct {
    const char* line;
    Variables found;
  } cases[] = {
      {"DISPLAY=:1.0", {{"DISPLAY", ":1.0"}}},
      {"DISPLAY=other:1", {}},
      {"DISPLAY=", {}},
      {"XAUTHORITY=/run/x=y", {{"XAUTHORITY", "/run/x=y"}}},
      {"XAUTHORITY=x", {}},
      {"XDG_RUNTIME_DIR=/run/user/5", {{"XDG_RUNTIME_DIR", "/run/user/5"}}},
      {"DBUS_SESSION_BUS_ADDRESS=unix:path=/b,guid=1", {{"DBUS_SESSION_BUS_ADDRESS", "unix:path=/b,guid=1"}}},
      {"DBUS_SESSION_BUS_ADDRESS=unixexec:path=/home/a/evil", {}},
      {"DBUS_SESSION_BUS_ADDRESS=unix:path=/b;unixexec:path=/e", {}},
      {"LANG=de_DE.UTF-8", {{"LANG", "de_DE.UTF-8"}}},
      {"LANG=../../home/a", {}},
      {"LD_PRELOAD=/home/a/evil.so", {}},
      {"DISPLAY", {}},
  };
  for (const auto& [line, found] : cases) {
    EXPECT_EQ(SessionVariables(std::string(line) + '\0' + "PATH=/bin" + '\0'), found) << line;
    EXPECT_EQ(SessionVariables(line), found) << line << ", cut off";
  }
}

}  // namespace
