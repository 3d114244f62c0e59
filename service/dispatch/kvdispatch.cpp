// kvdispatch: starts programs for the agent's other programs. Start reading in main(), at the end.
#include <asl.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "broker/LocalEndpoint.h"
#include "broker/RootFolder.h"
#include "common/KCFolderManager.h"
#include "common/KCasl.h"
#include "common/LaunchRequest.h"
#include "common/StCFTypeRef.h"
#include "service/StandardFiles.h"
#include "service/dispatch/Console.h"
#include "service/dispatch/Dispatcher.h"
#include "service/dispatch/Options.h"
#include "service/dispatch/SecretFile.h"
#include "service/dispatch/Signals.h"
#include "service/dispatch/SingleInstance.h"

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

ExitCode Fail(const std::string& why) {
  std::fprintf(stderr, "kvdispatch: %s\n", why.c_str());
  ASLLogger(ASL_LEVEL_INFO, 0, true, "kvdispatch: %s", why.c_str());
  return kFailed;
}

std::string SocketFolder() {
  const std::string endpoint = FetchFolder(kFolderSocketSys);
  if (!IsLocalEndpoint(endpoint)) return endpoint;  // the bare folder, which could not be made
  const std::string path = PathOfEndpoint(endpoint);
  return path.substr(0, path.rfind('/'));
}

ExitCode Dispatch(const service::Options& options) {
  if (const std::string problem = service::Console(options).Problem(); !problem.empty()) return Fail(problem);
  const service::SingleInstance instance(SocketFolder());
  if (!instance.Problem().empty()) return Fail(instance.Problem());
  if (!service::CatchSignals()) return Fail("cannot make a pipe");

  service::SecretFile secret(kDispatcherSecretFile);
  if (!secret.Problem().empty())
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: no program will be started as root: %s",
              secret.Problem().c_str());
  service::Dispatcher dispatcher(options, secret);
  if (const std::string problem = dispatcher.Open(); !problem.empty()) return Fail(problem);
  ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: version " AGENT_VERSION ", listens in %s",
            SocketFolder().c_str());
  dispatcher.Run();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: ends");
  return kDone;
}

}  // namespace

int main(int argc, char** argv) {
  OpenStandardFiles();
  const auto options = service::ParseOptions(argc, argv);
  if (!options) return kUsage;
  // Whose the display is follows from it.
  if (!options->display.empty()) setenv("DISPLAY", options->display.c_str(), 1);
  // A program that is no bundle has its own folder as its bundle's.
  SettleRootFolder(StCFTypeRef<CFURLRef>(CFBundleCopyBundleURL(CFBundleGetMainBundle())));
  return Dispatch(*options);
}
