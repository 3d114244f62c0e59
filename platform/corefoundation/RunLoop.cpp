// Run loops: one GMainContext a thread, and a stack of activations that CFRunLoopStop ends one at a time.
#include "platform/corefoundation/RunLoop.h"

#include <glib.h>

#include <array>
#include <utility>

#include "platform/corefoundation/RunLoopObject.h"
#include "platform/corefoundation/String.h"

using platform::cf::After;
using platform::cf::Owned;
using platform::cf::Share;
using std::chrono::steady_clock;

// One run that CFRunLoopStop can end.
class __CFRunLoop::Activation {
 public:
  explicit Activation(__CFRunLoop& loop) : loop_(loop) {
    const Locked held(loop_.lock_);
    loop_.stopped_.push_back(false);
  }
  ~Activation() {
    const Locked held(loop_.lock_);
    loop_.stopped_.pop_back();
  }
  Activation(const Activation&) = delete;
  Activation& operator=(const Activation&) = delete;

 private:
  __CFRunLoop& loop_;
};

__CFRunLoop::__CFRunLoop(GMainContext* loopContext, bool ofMainThread)
    : Object(platform::cf::Type::kRunLoop), context(loopContext), isMain(ofMainThread) {}

__CFRunLoop::~__CFRunLoop() { g_main_context_unref(context); }

// ---- runs

CFRunLoopRunResult __CFRunLoop::Run(const std::u16string& mode, CFTimeInterval seconds,
                                    bool returnAfterSource) {
  if (IsEmpty(mode)) return kCFRunLoopRunFinished;
  const Activation activation(*this);
  const TimePoint deadline = After(seconds);
  for (;;) {
    if (Turn(mode, returnAfterSource, deadline, nullptr) && returnAfterSource)
      return kCFRunLoopRunHandledSource;
    if (steady_clock::now() >= deadline) return kCFRunLoopRunTimedOut;
    if (Stopped()) return kCFRunLoopRunStopped;
    if (IsEmpty(mode)) return kCFRunLoopRunFinished;
  }
}

bool __CFRunLoop::WaitForDescriptor(int fd, short events, const std::u16string& mode, TimePoint deadline) {
  GPollFD descriptor{fd, static_cast<gushort>(events), 0};
  do {
    Turn(mode, false, deadline, &descriptor);
    if (descriptor.revents != 0) return true;
  } while (steady_clock::now() < deadline);
  return false;
}

bool __CFRunLoop::Turn(const std::u16string& mode, bool onlyOne, TimePoint deadline, GPollFD* extra) {
  using Kind = __CFRunLoopSource::Kind;
  const bool served = PerformSources(mode, Kind::kSignalled, onlyOne);
  const bool more = served || HasSignalled(mode, Kind::kPort);
  Wait(more ? TimePoint::min() : NextFire(mode, deadline), extra);
  FireTimers(mode);
  if (served && onlyOne) return true;
  return PerformSources(mode, Kind::kPort, onlyOne) || served;
}

bool __CFRunLoop::PerformSources(const std::u16string& mode, __CFRunLoopSource::Kind kind, bool onlyOne) {
  std::vector<Owned<__CFRunLoopSource>> signalled;
  {
    const Locked held(lock_);
    sources_.ForEach(mode, [&](__CFRunLoopSource& source) {
      if (source.kind == kind && source.IsSignalled()) signalled.push_back(Share(&source));
    });
  }
  bool served = false;
  for (const Owned<__CFRunLoopSource>& source : signalled) {
    served = source->Perform() || served;
    if (served && onlyOne) break;
  }
  return served;
}

void __CFRunLoop::FireTimers(const std::u16string& mode) {
  const TimePoint now = steady_clock::now();
  std::vector<std::pair<TimePoint, Owned<__CFRunLoopTimer>>> due;
  {
    const Locked held(lock_);
    timers_.ForEach(mode, [&](__CFRunLoopTimer& timer) {
      if (const TimePoint next = timer.NextFire(); next <= now) due.emplace_back(next, Share(&timer));
    });
  }
  std::stable_sort(due.begin(), due.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [next, timer] : due) timer->FireIfDue(now);
}

void __CFRunLoop::Wait(TimePoint deadline, GPollFD* extra) {
  constexpr size_t kEnough = 32;  // room for the descriptors of a loop, nearly always
  std::array<GPollFD, kEnough + 1> few;
  std::vector<GPollFD> many;
  GPollFD* fds = few.data();
  int room = kEnough;

  g_main_context_acquire(context);
  int priority = 0;
  int timeoutMs = -1;
  g_main_context_prepare(context, &priority);
  int count;
  while ((count = g_main_context_query(context, priority, &timeoutMs, fds, room)) > room) {
    many.resize(static_cast<size_t>(count) + 1);
    fds = many.data();
    room = count;
  }
  if (extra != nullptr) fds[count] = *extra;

  if (deadline != TimePoint::max()) {
    // One look at the clock: of two, the second is later, and what is left would not be 0 where it must be.
    const TimePoint now = steady_clock::now();
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(std::max(deadline, now) - now);
    const auto leftMs = static_cast<int>(std::clamp<int64_t>(left.count(), 0, G_MAXINT));
    timeoutMs = timeoutMs < 0 ? leftMs : std::min(timeoutMs, leftMs);
  }
  g_poll(fds, static_cast<guint>(count + (extra != nullptr ? 1 : 0)), timeoutMs);
  if (extra != nullptr) extra->revents = fds[count].revents;
  if (g_main_context_check(context, priority, fds, count)) g_main_context_dispatch(context);
  g_main_context_release(context);
}

void __CFRunLoop::Stop() {
  {
    const Locked held(lock_);
    if (stopped_.empty()) return;
    stopped_.back() = true;
  }
  WakeUp();
}

void __CFRunLoop::WakeUp() { g_main_context_wakeup(context); }

__CFRunLoop::TimePoint __CFRunLoop::NextFire(const std::u16string& mode, TimePoint latest) {
  const Locked held(lock_);
  timers_.ForEach(mode, [&](__CFRunLoopTimer& timer) { latest = std::min(latest, timer.NextFire()); });
  return latest;
}

bool __CFRunLoop::HasSignalled(const std::u16string& mode, __CFRunLoopSource::Kind kind) {
  const Locked held(lock_);
  bool found = false;
  sources_.ForEach(mode, [&](const __CFRunLoopSource& source) {
    found = found || (source.kind == kind && source.IsSignalled());
  });
  return found;
}

// What the platform's own parts add to the main loop can wake it always.
bool __CFRunLoop::IsEmpty(const std::u16string& mode) {
  const Locked held(lock_);
  return !isMain && !sources_.Has(mode) && !timers_.Has(mode);
}

bool __CFRunLoop::Stopped() {
  const Locked held(lock_);
  return stopped_.back();
}

// ---- what it has

bool __CFRunLoop::Add(CFRunLoopSourceRef source, const std::u16string& mode) {
  const Locked held(lock_);
  return !closed_ && sources_.Add(mode, source);
}

bool __CFRunLoop::Add(CFRunLoopTimerRef timer, const std::u16string& mode) {
  const Locked held(lock_);
  return !closed_ && timers_.Add(mode, timer);
}

Owned<__CFRunLoopSource> __CFRunLoop::Take(CFRunLoopSourceRef source, const std::u16string& mode) {
  const Locked held(lock_);
  return sources_.Take(mode, source);
}

Owned<__CFRunLoopTimer> __CFRunLoop::Take(CFRunLoopTimerRef timer, const std::u16string& mode) {
  const Locked held(lock_);
  return timers_.Take(mode, timer);
}

std::optional<std::u16string> __CFRunLoop::ModeOf(CFRunLoopSourceRef source) {
  const Locked held(lock_);
  return sources_.ModeOf(source);
}

std::optional<std::u16string> __CFRunLoop::ModeOf(CFRunLoopTimerRef timer) {
  const Locked held(lock_);
  return timers_.ModeOf(timer);
}

void __CFRunLoop::Close() {
  for (;;) {
    Owned<__CFRunLoopSource> source;
    Owned<__CFRunLoopTimer> timer;
    {
      const Locked held(lock_);
      closed_ = true;
      source = Share(sources_.First());
      timer = Share(timers_.First());
    }
    if (!source && !timer) return;
    if (source) source->RemoveFrom(this, ModeOf(source.get()).value_or(u""));
    if (timer) timer->RemoveFrom(this, ModeOf(timer.get()).value_or(u""));
  }
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
    if (loop_ == nullptr) return;
    if (!loop_->isMain) loop_->Close();
    CFRelease(loop_);
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

std::u16string ModeName(CFStringRef mode) {
  if (mode == nullptr) return u"";
  return CFEqual(mode, kCFRunLoopCommonModes) ? kCFRunLoopDefaultMode->units : mode->units;
}

_GMainContext* RunLoopContext(CFRunLoopRef loop) { return loop->context; }

void RunMainLoopForever() {
  for (;;) CFRunLoopRun();
}

bool WaitForDescriptor(int fd, short events, CFStringRef mode, steady_clock::time_point deadline) {
  return CFRunLoopGetCurrent()->WaitForDescriptor(fd, events, ModeName(mode), deadline);
}

}  // namespace platform::cf

extern "C" {

const CFStringRef kCFRunLoopDefaultMode = CFSTR("kCFRunLoopDefaultMode");
const CFStringRef kCFRunLoopCommonModes = CFSTR("kCFRunLoopCommonModes");

CFRunLoopRef CFRunLoopGetCurrent() { return platform::cf::threadLoop.Get(); }

CFRunLoopRef CFRunLoopGetMain() { return platform::cf::MainLoop(); }

void CFRunLoopRun() {
  constexpr CFTimeInterval kForEver = 1e10;
  CFRunLoopRunResult result;
  do {
    result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, kForEver, false);
  } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

CFRunLoopRunResult CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds,
                                      Boolean returnAfterSourceHandled) {
  return CFRunLoopGetCurrent()->Run(platform::cf::ModeName(mode), seconds, returnAfterSourceHandled != 0);
}

void CFRunLoopStop(CFRunLoopRef loop) { loop->Stop(); }

void CFRunLoopWakeUp(CFRunLoopRef loop) { loop->WakeUp(); }

}  // extern "C"
