#include "rcserv/SharedScreenWorkerApple.h"

#include <algorithm>

namespace rcserv {

using screen_ipc::MonitorRecord;
using screen_ipc::NewScreenRecord;
using screen_ipc::UpdateRecord;

std::atomic<uint32_t> SharedScreenWorker::display_changes_{0};

SharedScreenWorker::SharedScreenWorker(std::unique_ptr<MonitorConfig> monitors)
    : monitor_config_(std::move(monitors)) {}

bool SharedScreenWorker::CaptureScreen(int32_t, int32_t, const Rect&, BitmapT<kScreenFormat>&,
                                       std::deque<Rect>&, bool) {
  return false;
}

bool SharedScreenWorker::GrabScreen(uint32_t timeoutMs) {
  switch (serv_.ReadRequest(timeoutMs)) {
    case screen_ipc::kTimedOut:
      return false;
    case screen_ipc::kFailed:
      if (initialized_) DeinitScreen();
      initialized_ = false;
      return false;
    case screen_ipc::kDone:
      break;
  }
  initialized_ = initialized_ ? UpdateScreen() : InitScreen();
  return initialized_;
}

bool SharedScreenWorker::InitScreen() {
  display_change_seen_ = display_changes_;
  ++init_count_;
  pending_.clear();
  if (!monitor_config_->EnumerateMonitors()) {
    serv_.Reset();
    return false;
  }
  const Rect& bounds = monitor_config_->bounds();
  const Rect& desktop = monitor_config_->desktop();
  const uint32_t screenId = uint32_t{serv_.request_id()} << 16 | init_count_;
  surface_ = screen_ipc::CreateScreen(screenId, bounds.Width(), bounds.Height());
  if (!surface_) {
    serv_.Reset();
    return false;
  }
  std::deque<Rect> wholeScreen;  // the client learns of it by the answer itself
  static_cast<void>(CaptureScreen(desktop.left, desktop.top, bounds, surface_, wholeScreen, true));
  FillNewScreen(screenId);
  return serv_.WriteResponse(serv_.response()) == screen_ipc::kDone;
}

bool SharedScreenWorker::UpdateScreen() {
  if (display_changes_ != display_change_seen_) {
    DeinitScreen();
    return InitScreen();
  }
  const Rect& desktop = monitor_config_->desktop();
  // An update without any change is an answer, too.
  static_cast<void>(
      CaptureScreen(desktop.left, desktop.top, monitor_config_->bounds(), surface_, pending_, false));
  FillUpdate();
  return serv_.WriteResponse(serv_.response()) == screen_ipc::kDone;
}

void SharedScreenWorker::DeinitScreen() {
  surface_.reset();
  pending_.clear();
}

void SharedScreenWorker::FillNewScreen(uint32_t screenId) {
  serv_.response() = {};  // nothing of an earlier answer goes out with the bytes that stay unused
  NewScreenRecord& record = serv_.response().newScreen;
  record = {.kind = screen_ipc::kNewScreen,
            .screenId = screenId,
            .width = surface_->width(),
            .height = surface_->height(),
            .stride = surface_->stride(),
            .x = monitor_config_->desktop().left,
            .y = monitor_config_->desktop().top,
            .monitorCount = 0,
            .monitors = {}};
  for (const auto& [id, monitor] : monitor_config_->monitors()) {
    if (record.monitorCount == NewScreenRecord::kMaxMonitors) break;
    record.monitors[record.monitorCount++] =
        MonitorRecord{id, screen_ipc::ToRecord(monitor.rect), monitor.primary, {}};
  }
}

void SharedScreenWorker::FillUpdate() {
  serv_.response() = {};
  UpdateRecord& record = serv_.response().update;
  record.kind = screen_ipc::kUpdate;
  record.rectCount = static_cast<uint32_t>(std::min<size_t>(pending_.size(), UpdateRecord::kMaxRects));
  for (uint32_t i = 0; i < record.rectCount; ++i) record.rects[i] = screen_ipc::ToRecord(pending_[i]);
  // Emptied by clear() the queue starts where it did before and allocates nothing for the next update.
  if (pending_.size() == record.rectCount) {
    pending_.clear();
  } else {
    pending_.erase(pending_.begin(), pending_.begin() + record.rectCount);
  }
}

}  // namespace rcserv
