#include "service/dispatch/Dispatcher.h"

#include <asl.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <utility>
#include <variant>

#include "common/KCFolderManager.h"
#include "common/KCasl.h"
#include "service/dispatch/Leftovers.h"
#include "service/dispatch/OpenTool.h"
#include "service/dispatch/Replies.h"
#include "service/dispatch/Signals.h"

namespace service {

namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kMaxLaunches = 128;
constexpr int kRequestsInTurn = 16;
constexpr auto kConsolePoll = std::chrono::seconds(2);
// How soon a client that had no room is tried again: ZeroMQ does not tell when a single one has room.
constexpr long kBlockedPollMs = 5;

const char* Describe(ResultCode code) {
  switch (code) {
    case ResultCode::kNoRequest:
      return "it is not a property list of a dictionary, in two frames";
    case ResultCode::kBadCommand:
      return "its command is missing, empty or no text";
    case ResultCode::kBadParameters:
      return "its parameters are not texts";
    case ResultCode::kBadMode:
      return "its mode is unknown";
    case ResultCode::kBadSecret:
      return "its secret is missing or wrong";
    case ResultCode::kTooLarge:
      return "it is too large";
    case ResultCode::kNoSession:
      return "there is no such session";
    case ResultCode::kTooMany:
      return "too many programs run";
    case ResultCode::kNotStarted:
      return "there is no room for another process";
    case ResultCode::kNotAllowed:
      return "this takes a dispatcher with root's rights";
    case ResultCode::kNotOpened:
    case ResultCode::kDone:
      break;
  }
  return "";
}

void LogRefusal(const Endpoint& endpoint, const std::string& reason) {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: request at %s refused: %s", endpoint.Address().c_str(),
            reason.c_str());
}

}  // namespace

Dispatcher::Dispatcher(const Options& options, SecretFile& secret)
    : options_(options),
      secret_(secret),
      console_(options),
      userOwner_(console_.User().value_or(geteuid())),
      null_(open("/dev/null", O_RDWR | O_CLOEXEC)) {
  constexpr std::pair<KVLaunchContext, FolderLocations> kPlaces[] = {
      {kKVLaunchContextUsr, kFolderSocketUsr},
      {kKVLaunchContextSys, kFolderSocketSys},
      {kKVLaunchContextSusr, kFolderSocketSusr},
      {kKVLaunchContextLogin, kFolderSocketLogin}};
  for (size_t i = 0; i < endpoints_.size(); ++i)
    endpoints_[i] =
        std::make_unique<Endpoint>(context_.Get(), kPlaces[i].first, FetchFolder(kPlaces[i].second));
}

uid_t Dispatcher::OwnerOf(const Endpoint& endpoint) const {
  return endpoint.Context() == kKVLaunchContextUsr ? userOwner_ : geteuid();
}

std::string Dispatcher::Open() {
  if (!null_) return std::string("cannot open /dev/null: ") + std::strerror(errno);
  for (const auto& endpoint : endpoints_) {
    if (const int error = endpoint->Bind(OwnerOf(*endpoint)))
      return "cannot listen on " + endpoint->Address() + ": " + zmq_strerror(error);
  }
  return {};
}

void Dispatcher::Run() {
  LogConsole();
  for (;;) {
    const bool requests = Wait();
    const SignalsSeen signals = TakeSignals();
    if (signals.end) return;
    if (signals.childEnded)
      for (const auto& launch : launches_) launch->Reap();
    std::erase_if(launches_, [](const auto& launch) { return launch->Over(); });
    if (requests || Clock::now() >= nextLook_) LookAround();
    if (requests)
      for (const auto& endpoint : endpoints_) TakeRequests(*endpoint);
  }
}

// Returns when there is something to do, or to look after; goes on with the programs that have something.
bool Dispatcher::Wait() {
  std::vector<zmq_pollitem_t> items;
  items.push_back({nullptr, SignalFd(), ZMQ_POLLIN, 0});
  for (const auto& endpoint : endpoints_)
    if (void* const socket = endpoint->Socket()) items.push_back({socket, 0, ZMQ_POLLIN, 0});
  const size_t firstLaunch = items.size();
  std::vector<Launch*> waiting;
  long timeout = std::chrono::milliseconds(kConsolePoll).count();
  for (const auto& launch : launches_) {
    if (launch->Blocked()) timeout = kBlockedPollMs;
    if (launch->WaitFd() < 0) continue;
    items.push_back({nullptr, launch->WaitFd(), ZMQ_POLLIN, 0});
    waiting.push_back(launch.get());
  }
  if (zmq_poll(items.data(), static_cast<int>(items.size()), timeout) < 0) return false;
  for (size_t i = 0; i < waiting.size(); ++i)
    if (items[firstLaunch + i].revents != 0) waiting[i]->Continue();
  for (const auto& launch : launches_)
    if (launch->Blocked()) launch->Continue();
  return std::any_of(items.begin() + 1, items.begin() + static_cast<ptrdiff_t>(firstLaunch),
                     [](const zmq_pollitem_t& item) { return item.revents != 0; });
}

// Who was connected before the console changed hands must not start programs in the new user's session.
void Dispatcher::LookAround() {
  nextLook_ = Clock::now() + kConsolePoll;
  secret_.Renew();
  console_.Refresh();
  const uid_t owner = console_.User().value_or(geteuid());
  if (owner == userOwner_ && UserEndpoint().Socket() != nullptr) return;
  userOwner_ = owner;
  // What the user before has sent meanwhile is answered, but starts nothing.
  if (UserEndpoint().Socket() != nullptr) {
    for (int i = 0; i < kRequestsInTurn; ++i) {
      const std::optional<Request> request = UserEndpoint().Receive();
      if (!request) break;
      Refuse(UserEndpoint(), *request, ResultCode::kNoSession);
    }
  }
  if (const int error = UserEndpoint().Bind(owner))
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: cannot listen on %s: %s",
              UserEndpoint().Address().c_str(), zmq_strerror(error));
  else
    LogConsole();
}

void Dispatcher::LogConsole() const {
  const std::optional<uid_t> user = console_.User();
  if (!user) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: nobody is at the console now");
    return;
  }
  const std::optional<platform::Account> account = platform::FindAccount(*user);
  ASLLogger(ASL_LEVEL_INFO, 1, true, "kvdispatch: the user at the console is %s now",
            account ? account->name.c_str() : std::to_string(*user).c_str());
}

void Dispatcher::TakeRequests(Endpoint& endpoint) {
  if (endpoint.Socket() == nullptr) return;
  for (int i = 0; i < kRequestsInTurn; ++i) {
    const std::optional<Request> request = endpoint.Receive();
    if (!request) return;
    Serve(endpoint, *request);
  }
}

void Dispatcher::Serve(Endpoint& endpoint, const Request& request) {
  LaunchOrder order;
  Surroundings surroundings;
  ResultCode code = Judge(endpoint, request, order, surroundings);
  if (code == ResultCode::kDone)
    code = Start(endpoint, request.client, std::move(order), std::move(surroundings));
  if (code != ResultCode::kDone) Refuse(endpoint, request, code);
}

void Dispatcher::Refuse(Endpoint& endpoint, const Request& request, ResultCode code) {
  if (code != ResultCode::kNotOpened) LogRefusal(endpoint, Describe(code));
  // A client that has no room for its only reply, or has gone, gets none.
  (void)endpoint.Send(request.client, ResultReply(static_cast<int32_t>(code), 0));
}

ResultCode Dispatcher::Judge(const Endpoint& endpoint, const Request& request, LaunchOrder& order,
                             Surroundings& surroundings) const {
  if (!request.framed) return ResultCode::kNoRequest;
  const ResultCode code = ParseOrder(request.bytes, order);
  if (code != ResultCode::kDone) return code;
  auto found = console_.For(endpoint.Context());
  if (const ResultCode* refusal = std::get_if<ResultCode>(&found);
      refusal != nullptr && *refusal == ResultCode::kNotAllowed)
    return *refusal;
  // Whoever does not know the secret learns nothing about the session either.
  if (endpoint.Context() != kKVLaunchContextUsr && !secret_.Matches(order.secret))
    return ResultCode::kBadSecret;
  if (const ResultCode* refusal = std::get_if<ResultCode>(&found)) return *refusal;
  if (launches_.size() >= kMaxLaunches) return ResultCode::kTooMany;
  surroundings = std::get<Surroundings>(std::move(found));
  return ResultCode::kDone;
}

ResultCode Dispatcher::Start(Endpoint& endpoint, const std::string& client, LaunchOrder order,
                             Surroundings surroundings) {
  platform::ProgramStart program{.path = order.command, .arguments = std::move(order.parameters)};
  const bool opens = IsOpenTool(order);
  if (opens) {
    std::string problem;
    order.parameters = std::exchange(program.arguments, {});
    const std::optional<std::string> executable = ExecutableToOpen(order, problem);
    if (!executable) {
      LogRefusal(endpoint, problem);
      return ResultCode::kNotOpened;
    }
    program.path = *executable;
  }
  program.environment = std::move(surroundings.environment);
  program.identity = std::move(surroundings.identity);
  program.folder = std::move(surroundings.folder);

  if (endpoint.Context() == kKVLaunchContextUsr) RemoveLeftovers(userOwner_);
  auto launch = std::make_unique<Launch>(endpoint, client, order.mode, opens, options_.patience);
  if (!launch->Begin(std::move(program), null_.Get())) return ResultCode::kNotStarted;
  launches_.push_back(std::move(launch));
  return ResultCode::kDone;
}

}  // namespace service
