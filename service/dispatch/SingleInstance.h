// One dispatcher for an installation.
#pragma once
#include <sys/types.h>

#include <string>

#include "platform/Handles.h"

namespace service {

// Holds a lock file and the process-ID file "kvdispatch" for as long as it lives.
class SingleInstance {
 public:
  // `folder` holds the lock file; nobody else may be able to write to it.
  explicit SingleInstance(const std::string& folder);
  ~SingleInstance();
  SingleInstance(const SingleInstance&) = delete;
  SingleInstance& operator=(const SingleInstance&) = delete;

  // Why this process is not the one; empty when it is.
  [[nodiscard]] const std::string& Problem() const { return problem_; }

 private:
  [[nodiscard]] std::string Claim(const std::string& folder);

  platform::UniqueFd lock_;
  std::string problem_;
};

}  // namespace service
