// kvremote: shows this desktop in a browser. Start reading in main(), at the end.
#include <CoreFoundation/CoreFoundation.h>
#include <asl.h>

#include <csignal>
#include <cstdio>
#include <string>

#include "common/KCasl.h"
#include "service/StandardFiles.h"
#include "service/remote/DesktopSession.h"
#include "service/remote/EndSignals.h"
#include "service/remote/Options.h"
#include "service/remote/WebServer.h"

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

ExitCode Fail(const std::string& why) {
  std::fprintf(stderr, "kvremote: %s\n", why.c_str());
  ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: %s", why.c_str());
  return kFailed;
}

ExitCode Serve(const remote::Options& options) {
  const remote::EndSignals signals;
  remote::DesktopSession session(options.session);
  if (const std::string problem = session.Start(); !problem.empty()) return Fail(problem);
  remote::WebServer server(options.web, session);
  if (const std::string problem = server.Start(); !problem.empty()) return Fail(problem);
  // The token is said here and nowhere else.
  std::printf("%s\n", server.Address().c_str());
  std::fflush(stdout);
  ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: version " AGENT_VERSION ", listens at %s, port %d",
            options.web.address.c_str(), static_cast<int>(server.Port()));

  CFRunLoopRun();
  ASLLogger(ASL_LEVEL_INFO, 0, true, "kvremote: ends");
  server.Stop();
  session.Stop();
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardFiles();
  const auto options = remote::ParseOptions(argc, argv);
  if (!options) return kUsage;
  signal(SIGPIPE, SIG_IGN);
  remote::SettleFolders(options->session.observerPath);
  return Serve(*options);
}
