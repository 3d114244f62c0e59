// Who is at the console, and what a program has around it in each launch context.
#pragma once
#include <sys/types.h>

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "common/KCDispatch.h"
#include "platform/GraphicalSession.h"
#include "platform/Programs.h"
#include "service/dispatch/Options.h"
#include "service/dispatch/ResultCodes.h"

namespace service {

// Whose rights a program gets, its whole environment, and the folder that it works in.
struct Surroundings {
  std::optional<platform::Identity> identity;  // none: the dispatcher's own, which then is not root's
  std::vector<std::string> environment;
  std::string folder;
};

// One thread. Asks the machine at every Refresh(), unless the options say who is there.
class Console {
 public:
  explicit Console(const Options& options);

  // An account that the options name and that is not there, or is another one than a dispatcher without
  // root's rights can start programs for: what is wrong with it, else empty.
  [[nodiscard]] std::string Problem() const;

  void Refresh();

  // The user at the console; nothing while nobody is, or the login window.
  [[nodiscard]] std::optional<uid_t> User() const;

  // What a program of that context gets now, or why it cannot be started.
  [[nodiscard]] std::variant<Surroundings, ResultCode> For(KVLaunchContext context) const;

 private:
  struct Session {
    uid_t user = 0;
    bool loginWindow = false;
    std::optional<platform::GraphicalSession> managed;  // the session manager's, which knows the variables
    std::vector<std::string> variables;                 // how it is reached, when it is not managed
  };

  [[nodiscard]] std::optional<Session> GivenSession() const;
  [[nodiscard]] std::optional<Session> FoundSession() const;

  const Options options_;
  const bool root_;  // this process is root's
  std::optional<Session> session_;
};

}  // namespace service
