// A run loop: which sources and timers it has in which mode, and its runs.
#pragma once
#include <CoreFoundation/CFRunLoop.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/ThreadSafety.h"
#include "platform/corefoundation/Object.h"
#include "platform/corefoundation/Owned.h"
#include "platform/corefoundation/RunLoopSource.h"
#include "platform/corefoundation/RunLoopTimer.h"

struct _GMainContext;
struct _GPollFD;

namespace platform::cf {

// The sources, or the timers, of a loop by mode. Under the loop's lock; served in their order.
template <class T>
class ModeItems {
 public:
  // False when the item is in that mode already.
  bool Add(const std::u16string& mode, T* item) {
    if (Find(mode, item) != entries_.end()) return false;
    const auto place = std::find_if(entries_.begin(), entries_.end(),
                                    [item](const Entry& entry) { return entry.item->order > item->order; });
    entries_.insert(place, Entry{mode, Share(item)});
    return true;
  }
  // The reference that the loop had; empty when the item is not in that mode.
  [[nodiscard]] Owned<T> Take(const std::u16string& mode, T* item) {
    const auto found = Find(mode, item);
    if (found == entries_.end()) return nullptr;
    Owned<T> taken = std::move(found->item);
    entries_.erase(found);
    return taken;
  }
  // A mode that the item is in.
  [[nodiscard]] std::optional<std::u16string> ModeOf(const T* item) const {
    for (const Entry& entry : entries_)
      if (entry.item.get() == item) return entry.mode;
    return std::nullopt;
  }
  [[nodiscard]] T* First() const { return entries_.empty() ? nullptr : entries_.front().item.get(); }
  [[nodiscard]] bool Has(const std::u16string& mode) const {
    return std::any_of(entries_.begin(), entries_.end(),
                       [&mode](const Entry& entry) { return entry.mode == mode; });
  }
  template <class Visitor>
  void ForEach(const std::u16string& mode, const Visitor& visit) const {
    for (const Entry& entry : entries_)
      if (entry.mode == mode) visit(*entry.item);
  }

 private:
  struct Entry {
    std::u16string mode;
    Owned<T> item;
  };
  [[nodiscard]] auto Find(const std::u16string& mode, const T* item) {
    return std::find_if(entries_.begin(), entries_.end(),
                        [&](const Entry& entry) { return entry.item.get() == item && entry.mode == mode; });
  }

  std::vector<Entry> entries_;
};

// The common modes are the default mode alone.
[[nodiscard]] std::u16string ModeName(CFStringRef mode);

}  // namespace platform::cf

// The owning thread runs it; everything else is for any thread.
struct __CFRunLoop final : platform::cf::Object {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  // Takes over a reference of `loopContext`.
  __CFRunLoop(_GMainContext* loopContext, bool ofMainThread);
  ~__CFRunLoop() override;

  [[nodiscard]] std::u16string Description() const override {
    return platform::cf::Describe("CFRunLoop", this, isMain ? u"main" : u"");
  }

  [[nodiscard]] CFRunLoopRunResult Run(const std::u16string& mode, CFTimeInterval seconds,
                                       bool returnAfterSource);
  [[nodiscard]] bool WaitForDescriptor(int fd, short events, const std::u16string& mode, TimePoint deadline);
  // Ends the innermost activation. A loop that does not run has none, and its next run is not affected.
  void Stop();
  void WakeUp();
  // The thread ends: the loop lets everything go and takes nothing more.
  void Close();

  // False when the item is there already, or the loop's thread has ended.
  [[nodiscard]] bool Add(CFRunLoopSourceRef source, const std::u16string& mode);
  [[nodiscard]] bool Add(CFRunLoopTimerRef timer, const std::u16string& mode);
  // Empty when the item is not there.
  platform::cf::Owned<__CFRunLoopSource> Take(CFRunLoopSourceRef source, const std::u16string& mode);
  platform::cf::Owned<__CFRunLoopTimer> Take(CFRunLoopTimerRef timer, const std::u16string& mode);
  [[nodiscard]] std::optional<std::u16string> ModeOf(CFRunLoopSourceRef source);
  [[nodiscard]] std::optional<std::u16string> ModeOf(CFRunLoopTimerRef timer);

  _GMainContext* const context;
  const bool isMain;

 private:
  class Activation;

  // One turn: sources, the wait, timers, ports. True when a source was served.
  bool Turn(const std::u16string& mode, bool onlyOne, TimePoint deadline, _GPollFD* extra);
  bool PerformSources(const std::u16string& mode, __CFRunLoopSource::Kind kind, bool onlyOne);
  void FireTimers(const std::u16string& mode);
  // Waits for GLib's sources, a wake-up, `extra` or the deadline, and serves the first.
  void Wait(TimePoint deadline, _GPollFD* extra);
  [[nodiscard]] TimePoint NextFire(const std::u16string& mode, TimePoint latest);
  [[nodiscard]] bool HasSignalled(const std::u16string& mode, __CFRunLoopSource::Kind kind);
  [[nodiscard]] bool IsEmpty(const std::u16string& mode);
  [[nodiscard]] bool Stopped();

  Lock lock_;
  std::vector<bool> stopped_ GUARDED_BY(lock_);  // one for each activation, the innermost last
  platform::cf::ModeItems<__CFRunLoopSource> sources_ GUARDED_BY(lock_);
  platform::cf::ModeItems<__CFRunLoopTimer> timers_ GUARDED_BY(lock_);
  bool closed_ GUARDED_BY(lock_) = false;
};
