#include "common/KCDispatch.h"

#include <asl.h>
#include <unistd.h>

#include <cstring>

#include "common/KCFolderManager.h"
#include "common/KCasl.h"
#include "common/LaunchReplies.h"
#include "common/LaunchRequest.h"
#include "common/StCFTypeRef.h"
#include "common/ZmqHandles.h"

std::atomic<int> gLaunchReplyTimeoutMs = 10000;

namespace {

constexpr int32_t kNotLaunched = -1;
constexpr int kLingerMs = 10000;
constexpr int kNoLimit = -1;
// Pieces of output are far shorter.
constexpr int64_t kMaxReplyBytes = 16 << 20;

FolderLocations EndpointLocation(KVLaunchContext context) {
  switch (context) {
    case kKVLaunchContextSys:
      return kFolderSocketSys;
    case kKVLaunchContextLogin:
      return kFolderSocketLogin;
    case kKVLaunchContextSusr:
      return kFolderSocketSusr;
    case kKVLaunchContextUsr:
      break;
  }
  return kFolderSocketUsr;
}

CFStringRef ModeOf(bool wait, const KVDataBlock& block, bool lines) {
  if (block) return lines ? CFSTR("lines") : CFSTR("stream");
  return wait ? CFSTR("wait") : nullptr;
}

// The XML property list of the request; null when it cannot be made, also for want of the secret.
StCFTypeRef<CFDataRef> CopyRequest(const char* commandLine, KVLaunchContext context, CFStringRef mode) {
  const StCFTypeRef<CFMutableDictionaryRef> request = CreateLaunchRequest(commandLine, mode);
  if (request.get() == nullptr) return {};
  if (context != kKVLaunchContextUsr && !AddSecurity(request)) return {};
  return StCFTypeRef<CFDataRef>(
      CFPropertyListCreateData(kCFAllocatorDefault, request, kCFPropertyListXMLFormat_v1_0, 0, nullptr));
}

// One launch's own socket.
class DispatcherConnection {
 public:
  explicit DispatcherConnection(const char* endpoint)
      : endpoint_(endpoint), socket_(context_.Get(), ZMQ_DEALER) {}
  ~DispatcherConnection() {
    // A request that nobody took is not left waiting: its caller has been told that it failed.
    if (!answered_) socket_.SetOption(ZMQ_LINGER, 0);
    if (connected_) zmq_disconnect(socket_.Get(), endpoint_);
  }
  DispatcherConnection(const DispatcherConnection&) = delete;
  DispatcherConnection& operator=(const DispatcherConnection&) = delete;

  [[nodiscard]] bool Send(CFDataRef request) {
    const platform::MallocPtr<char> identity = CreateGUID();
    if (socket_.Get() == nullptr || !identity) return false;
    zmq_setsockopt(socket_.Get(), ZMQ_IDENTITY, identity.get(), std::strlen(identity.get()));
    socket_.SetOption(ZMQ_LINGER, kLingerMs);
    socket_.BoundFrames(kMaxReplyBytes);
    connected_ = zmq_connect(socket_.Get(), endpoint_) == 0;
    const std::string_view bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(request)),
                                 static_cast<size_t>(CFDataGetLength(request)));
    return connected_ && ZmqSend(socket_.Get(), "", ZMQ_SNDMORE) && ZmqSend(socket_.Get(), bytes, 0);
  }

  // The final reply; null when there was none, or one that cannot be read. Output goes to `block`.
  StCFTypeRef<CFDictionaryRef> AwaitResult(const KVDataBlock& block) {
    StCFTypeRef<CFDictionaryRef> reply = getResultDictionary(socket_.Get(), gLaunchReplyTimeoutMs);
    answered_ = reply.get() != nullptr;
    if (!answered_ || !isStarted(reply)) return reply;
    for (reply = Next(); reply.get() != nullptr && isDataBlock(reply); reply = Next()) {
      const CFStringRef data = getDataBlock(reply);
      if (block && data != nullptr) block(data);
    }
    return reply;
  }

 private:
  StCFTypeRef<CFDictionaryRef> Next() { return getResultDictionary(socket_.Get(), kNoLimit); }

  const char* const endpoint_;
  ZmqContext context_;
  ZmqSocket socket_;
  bool connected_ = false;
  bool answered_ = false;
};

}  // namespace

int32_t KCLaunch(const char* commandLine, KVLaunchContext context) {
  return KCLaunchWithParams(commandLine, context, false, nullptr, false, nullptr);
}

int32_t KCLaunchAndGetPID(const char* commandLine, KVLaunchContext context, int* pid) {
  *pid = 0;
  return KCLaunchWithParams(commandLine, context, false, nullptr, false, pid);
}

int32_t KCLaunchAndWait(const char* commandLine, KVLaunchContext context) {
  return KCLaunchWithParams(commandLine, context, true, nullptr, false, nullptr);
}

int32_t KCLaunchAndReadWithBlock(const char* commandLine, KVLaunchContext context, const KVDataBlock& block) {
  return KCLaunchWithParams(commandLine, context, true, block, false, nullptr);
}

int32_t KCLaunchAndReadLinesWithBlock(const char* commandLine, KVLaunchContext context,
                                      const KVDataBlock& block) {
  return KCLaunchWithParams(commandLine, context, true, block, true, nullptr);
}

int32_t KCLaunchAndWaitForResult(const char* commandLine, KVLaunchContext context,
                                 CFMutableStringRef output) {
  const KVDataBlock append = [output](CFStringRef data) {
    if (output != nullptr) CFStringAppend(output, data);
  };
  return KCLaunchWithParams(commandLine, context, true, append, false, nullptr);
}

int32_t KCLaunchWithParams(const char* commandLine, KVLaunchContext context, bool wait,
                           const KVDataBlock& block, bool lines, int* pid) {
  const StCFTypeRef<CFDataRef> request = CopyRequest(commandLine, context, ModeOf(wait, block, lines));
  if (request.get() == nullptr) return kNotLaunched;

  const char* const endpoint = FetchFolder(EndpointLocation(context));
  // Kept as it is: an endpoint begins with "ipc://" and is no file's path, so in practice this stops nothing
  // but the bare folder of a lookup that could not make its folder.
  if (access(endpoint, R_OK | W_OK) == 0) return kNotLaunched;

  DispatcherConnection connection(endpoint);
  if (!connection.Send(request)) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "KCDispatch: cannot send to %s: %s", endpoint,
              zmq_strerror(zmq_errno()));
    return kNotLaunched;
  }
  const StCFTypeRef<CFDictionaryRef> result = connection.AwaitResult(block);
  if (result.get() == nullptr) {
    ASLLogger(ASL_LEVEL_INFO, 1, true, "KCDispatch: no answer from the dispatcher at %s", endpoint);
    return kNotLaunched;
  }
  if (pid != nullptr) *pid = getResultPID(result);
  return getResultCode(result);
}
