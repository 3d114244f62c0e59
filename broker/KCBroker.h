// The agent's messaging over named message ports: the end that answers and the end that asks.
//
// A procedure is a request without a reply, a function one that waits for it.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <chrono>
#include <vector>

#include "common/StCFTypeRef.h"
#include "platform/ThreadSafety.h"

// What both ends share: how their port is named.
class KCBroker {
 public:
  KCBroker(const KCBroker&) = delete;
  KCBroker& operator=(const KCBroker&) = delete;

  // "com.korvane.NAME", with ".USER" behind it when there is a user. The caller releases.
  [[nodiscard]] static CFStringRef CreateBrokerPortName(CFStringRef name, CFStringRef user);

 protected:
  // `name` is retained.
  KCBroker(CFStringRef name, bool perConsoleUser);
  ~KCBroker() = default;

  // The console's user now; null for a broker that has one port for all.
  [[nodiscard]] StCFTypeRef<CFStringRef> CopyPortUser() const;

  const StCFTypeRef<CFStringRef> name_;
  const bool perConsoleUser_;
};

// Owns the port and answers what is sent to it.
//
// Threads: ProcessData() on the thread of the run loop, the others on any. A StopBroker() elsewhere does not
// wait for a ProcessData() that is under way, so the object is destroyed on that thread, or after that loop.
class KCBrokerServer : public KCBroker {
 public:
  // A per-console-user port carries the name of the user at the console now.
  KCBrokerServer(CFStringRef name, bool perConsoleUser);

  // `data` is borrowed, and null when there is none. The result (may be null) is the caller's to release.
  virtual CFDataRef ProcessData(int msgid, CFDataRef data);

  virtual ~KCBrokerServer();

  // The user in the port's name; null when there is none. Borrowed.
  [[nodiscard]] CFStringRef GetBrokerUserName() const { return userName_; }

  // Makes the port and serves it on that loop; nothing when it has one. False when the name is taken.
  [[nodiscard]] bool StartBroker(CFRunLoopRef runLoop);
  void StopBroker();

 private:
  void ReleasePort(CFMessagePortRef port);

  const StCFTypeRef<CFStringRef> userName_;
  Lock lock_;
  StCFTypeRef<CFMessagePortRef> port_ GUARDED_BY(lock_);
  StCFTypeRef<CFRunLoopSourceRef> source_ GUARDED_BY(lock_);
};

// Sends to a port, which it looks up at the first use and again when its server has gone.
//
// Any thread. A request blocks its thread for its time-outs at most.
class KCBrokerClient : public KCBroker {
 public:
  // A per-console-user client talks to the port of the user who is at the console when it sends.
  KCBrokerClient(CFStringRef name, bool perConsoleUser);
  // Sends the data as procedure 1; the length of the data comes back, whether it arrived or not.
  virtual long TransferData(const unsigned char* bytes, long length);
  virtual long TransferData(CFDataRef data);
  // The same to the port of every user that this client has talked to.
  virtual long TransferDataToAllConsoles(const unsigned char* bytes, long length);
  virtual long TransferDataToAllConsoles(CFDataRef data);

  // The port; when there is none, starts its server and waits a few seconds for the port. Null when that did
  // not help. Borrowed, until a later call finds that it has become invalid.
  virtual CFMessagePortRef StartBroker();
  // Runs the program of the broker's name, through the shell; refuses a folder with a single quote.
  [[nodiscard]] virtual bool StartBrokerServer();
  // Ends a server that this client has started; does nothing when it has started none. A null user means the
  // console's.
  virtual void QuitBrokerServer(CFStringRef user);

  virtual ~KCBrokerClient() = default;

  // Forgets the port: the next request looks it up.
  void ResetBroker();
  // The port as it is, null before the first use. Borrowed as from StartBroker().
  [[nodiscard]] CFMessagePortRef GetMessagePort() const;
  // Forgets all ports.
  void StopBroker();

  // False, and logged, when the data could not be sent. `data` may be null.
  bool CallProcedure(CFMessagePortRef port, int msgid, CFDataRef data);
  bool CallProcedure(int msgid, CFDataRef data);
  // The reply, which the caller releases; null when there is none, in time (seconds) or at all.
  [[nodiscard]] CFDataRef CallFunction(CFMessagePortRef port, int msgid, CFDataRef data,
                                       CFTimeInterval receiveTimeout);
  [[nodiscard]] CFDataRef CallFunction(int msgid, CFDataRef data, CFTimeInterval receiveTimeout);

 protected:
  // Between two looks for the port of a server that was just started. Set before the first request.
  std::chrono::milliseconds retryDelay_{1000};

 private:
  // The one that is known, under that name and still valid.
  [[nodiscard]] CFMessagePortRef FindPort(CFStringRef portName, CFStringRef user);
  [[nodiscard]] CFMessagePortRef KeepPort(StCFTypeRef<CFMessagePortRef> port, CFStringRef user);
  // What StartBroker() gives, kept alive for the length of a request.
  [[nodiscard]] StCFTypeRef<CFMessagePortRef> CopyStartedPort();
  [[nodiscard]] StCFTypeRef<CFMessagePortRef> CopyPortOf(CFStringRef user);
  [[nodiscard]] std::vector<StCFTypeRef<CFStringRef>> CopyUsers() const;

  mutable Lock lock_;
  StCFTypeRef<CFMessagePortRef> port_ GUARDED_BY(lock_);
  int startedServers_ GUARDED_BY(lock_) = 0;
  StCFTypeRef<CFMutableDictionaryRef> consolePorts_ GUARDED_BY(lock_);  // user name to port
};
