#include "platform/corefoundation/RunLoopWatch.h"

#include <glib.h>

#include <new>

#include "platform/corefoundation/RunLoop.h"

namespace platform::cf {

namespace {

// GLib's source with the work behind it.
struct WatchSource {
  GSource base;
  std::function<void()> work;
};

GSourceFuncs functions = {
    nullptr,
    nullptr,
    [](GSource* source, GSourceFunc, gpointer) -> gboolean {
      reinterpret_cast<WatchSource*>(source)->work();
      return G_SOURCE_CONTINUE;
    },
    [](GSource* source) { std::destroy_at(&reinterpret_cast<WatchSource*>(source)->work); },
    nullptr,
    nullptr};

}  // namespace

void RunLoopWatch::Attach(CFRunLoopRef loop) {
  source_ = g_source_new(&functions, sizeof(WatchSource));
  new (&reinterpret_cast<WatchSource*>(source_)->work) std::function<void()>(work_);
  Apply();
  g_source_attach(source_, RunLoopContext(loop));
}

void RunLoopWatch::Detach() {
  if (source_ == nullptr) return;
  g_source_destroy(source_);
  g_source_unref(source_);
  source_ = nullptr;
  tag_ = nullptr;
}

void RunLoopWatch::Watch(short events) {
  if (events == events_) return;
  events_ = events;
  if (source_ != nullptr) Apply();
}

void RunLoopWatch::SetDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
  if (deadline == deadline_) return;
  deadline_ = deadline;
  if (source_ != nullptr) Apply();
}

void RunLoopWatch::Apply() {
  const auto condition = static_cast<GIOCondition>(events_);
  if (events_ == 0 && tag_ != nullptr) {
    g_source_remove_unix_fd(source_, tag_);
    tag_ = nullptr;
  } else if (tag_ != nullptr) {
    g_source_modify_unix_fd(source_, tag_, condition);
  } else if (events_ != 0) {
    tag_ = g_source_add_unix_fd(source_, fd_, condition);
  }
  using std::chrono::microseconds;
  const gint64 ready =
      deadline_ ? std::chrono::ceil<microseconds>(deadline_->time_since_epoch()).count() : -1;
  g_source_set_ready_time(source_, ready);
}

}  // namespace platform::cf
