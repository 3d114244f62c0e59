// Run loops: one GMainContext a thread, and a stack of activations that CFRunLoopStop ends one at a time.
#include "platform/corefoundation/RunLoop.h"

#include <glib.h>

#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"

// The owning thread runs it; Stop() is for any thread.
struct __CFRunLoop final : platform::cf::Object {
  // Takes over a reference of `loopContext`.
  __CFRunLoop(GMainContext* loopContext, bool ofMainThread)
      : Object(platform::cf::Type::kRunLoop), context(loopContext), isMain(ofMainThread) {}
  ~__CFRunLoop() override { g_main_context_unref(context); }

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFRunLoop", this, isMain ? u"main" : u"");
  }

  void Run();
  // Ends the innermost activation. A loop that does not run has none, and its next run is not affected.
  void Stop();

  GMainContext* const context;
  const bool isMain;

 private:
  [[nodiscard]] bool Stopped();

  Lock lock_;
  std::vector<bool> stopped_ GUARDED_BY(lock_);  // one for each activation, the innermost last
};

bool __CFRunLoop::Stopped() {
  const Locked held(lock_);
  return stopped_.back();
}

void __CFRunLoop::Run() {
  {
    const Locked held(lock_);
    stopped_.push_back(false);
  }
  while (!Stopped()) g_main_context_iteration(context, TRUE);
  const Locked held(lock_);
  stopped_.pop_back();
}

void __CFRunLoop::Stop() {
  {
    const Locked held(lock_);
    if (stopped_.empty()) return;
    stopped_.back() = true;
  }
  g_main_context_wakeup(context);
}

namespace platform::cf {

namespace {

// Made by static initialisation, which the main thread runs; threads that outlive main() still use it.
CFRunLoopRef MainLoop() {
  static auto* const loop = [] {
    auto* const made = new __CFRunLoop(g_main_context_ref(g_main_context_default()), true);
    made->MakeImmortal();
    return made;
  }();
  return loop;
}

// The loop of this thread, made when it is first asked for.
class ThreadLoop {
 public:
  ThreadLoop() = default;
  ThreadLoop(const ThreadLoop&) = delete;
  ThreadLoop& operator=(const ThreadLoop&) = delete;
  ~ThreadLoop() {
    if (loop_ != nullptr) CFRelease(loop_);
  }

  CFRunLoopRef Get() {
    if (loop_ == nullptr) loop_ = new __CFRunLoop(g_main_context_new(), false);
    return loop_;
  }
  void Adopt(CFRunLoopRef loop) { loop_ = loop; }

 private:
  CFRunLoopRef loop_ = nullptr;
};

thread_local ThreadLoop threadLoop;

[[maybe_unused]] const bool kMainThreadHasItsLoop = [] {
  threadLoop.Adopt(MainLoop());
  return true;
}();

}  // namespace

_GMainContext* RunLoopContext(CFRunLoopRef loop) { return loop->context; }

void RunMainLoopForever() {
  for (;;) CFRunLoopRun();
}

}  // namespace platform::cf

extern "C" {

CFTypeID CFRunLoopGetTypeID() { return static_cast<CFTypeID>(platform::cf::Type::kRunLoop); }

CFRunLoopRef CFRunLoopGetCurrent() { return platform::cf::threadLoop.Get(); }

CFRunLoopRef CFRunLoopGetMain() { return platform::cf::MainLoop(); }

// A loop without sources ends at once, except the main one. There is no way yet to give another loop a
// source.
void CFRunLoopRun() {
  const CFRunLoopRef loop = CFRunLoopGetCurrent();
  if (loop->isMain) loop->Run();
}

void CFRunLoopStop(CFRunLoopRef loop) { loop->Stop(); }

}  // extern "C"
