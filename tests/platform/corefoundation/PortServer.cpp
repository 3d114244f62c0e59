// Owns a message port and answers: test_port_server NAME [USER ID]. Ends with status 3 when there is no port
// to be had.
#include <CoreFoundation/CoreFoundation.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/platform/corefoundation/PortServer.h"

namespace {

CFDataRef Answer(CFMessagePortRef, SInt32 id, CFDataRef data, void*) {
  static std::string notes;
  std::string reply;
  if (data != nullptr)
    reply.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                 static_cast<size_t>(CFDataGetLength(data)));
  switch (id) {
    case test::kEcho:
      break;
    case test::kDie:
      _exit(0);
    case test::kNothing:
      return nullptr;
    case test::kMany:
      reply.assign(std::stoul(reply), 'm');
      break;
    case test::kNote:
      notes += reply;
      return nullptr;
    case test::kNotes:
      reply = notes;
      break;
    default:
      reply = std::to_string(id);
  }
  return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(reply.data()),
                      static_cast<CFIndex>(reply.size()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  if (argc > 2 && setuid(static_cast<uid_t>(std::atoi(argv[2]))) != 0) return 4;
  const CFStringRef name = CFStringCreateWithCString(nullptr, argv[1], kCFStringEncodingUTF8);
  const CFMessagePortRef port = CFMessagePortCreateLocal(nullptr, name, Answer, nullptr, nullptr);
  CFRelease(name);
  if (port == nullptr) return 3;
  CFRunLoopAddSource(CFRunLoopGetCurrent(), CFMessagePortCreateRunLoopSource(nullptr, port, 0),
                     kCFRunLoopDefaultMode);
  CFRunLoopRun();
}
