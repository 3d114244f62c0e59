#include "service/remote/ScreenPump.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <iterator>
#include <span>
#include <utility>

namespace remote {
namespace {

using namespace std::chrono_literals;
using rcserv::Rect;

constexpr auto kStartLimit = 10s;
constexpr auto kReconnectLimit = 3s;
constexpr auto kAnswerLimit = 20s;
constexpr std::chrono::microseconds kFirstSeekPause = 5ms;
constexpr std::chrono::microseconds kLastSeekPause = 80ms;

size_t PixelsOf(std::span<const Rect> pieces) {
  size_t pixels = 0;
  for (const Rect& piece : pieces)
    pixels += static_cast<size_t>(piece.Width()) * static_cast<size_t>(piece.Height());
  return pixels;
}

timespec ToTimespec(std::chrono::nanoseconds time) {
  const auto whole = std::chrono::duration_cast<std::chrono::seconds>(time);
  return {whole.count(), (time - whole).count()};
}

}  // namespace

ScreenPump::ScreenPump(std::unique_ptr<ScreenSource> source, bool hearDrawing, Events events)
    : events_(std::move(events)),
      hearDrawing_(hearDrawing),
      wake_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      source_(std::move(source)),
      thread_([this] { Run(); }) {}

ScreenPump::~ScreenPump() { Stop(); }

void ScreenPump::Stop() {
  {
    const Locked locked(lock_);
    stopping_ = true;
  }
  Wake();
  if (thread_.joinable()) thread_.join();
}

void ScreenPump::Wake() { eventfd_write(wake_.Get(), 1); }

void ScreenPump::DrainWakes() {
  eventfd_t count;
  eventfd_read(wake_.Get(), &count);
}

// ---- orders

unsigned ScreenPump::Watch() {
  unsigned watch;
  {
    const Locked locked(lock_);
    watch = ++watch_;
    watching_ = true;
  }
  Wake();
  return watch;
}

void ScreenPump::Leave() {
  {
    const Locked locked(lock_);
    ++watch_;
    watching_ = false;
    shape_ = {};
    for (auto& [id, viewer] : viewers_) viewer.pending.Reset(0, 0);
  }
  Wake();
}

void ScreenPump::Add(ViewerId id, std::shared_ptr<ViewerChannel> channel, bool local) {
  {
    const Locked locked(lock_);
    Viewer& viewer =
        viewers_.emplace(id, Viewer{.channel = std::move(channel), .pace = LinkPace(local)}).first->second;
    if (shape_.width == 0) return;
    viewer.channel->SendText(ScreenText(shape_));
    ShowAllLocked(viewer);
    poked_ = true;
  }
  Wake();
}

void ScreenPump::Remove(ViewerId viewer) {
  const Locked locked(lock_);
  viewers_.erase(viewer);
}

void ScreenPump::Drawn(ViewerId id, uint32_t number) {
  {
    const Locked locked(lock_);
    const auto found = viewers_.find(id);
    if (found == viewers_.end() || !found->second.drawing || found->second.number != number) return;
    found->second.drawing = false;
    found->second.pace.Drawn(Clock::now());
    drawn_ = true;
  }
  Wake();
}

void ScreenPump::Show(ViewerId id, std::optional<uint32_t> monitor) {
  {
    const Locked locked(lock_);
    const auto found = viewers_.find(id);
    if (found == viewers_.end()) return;
    found->second.monitor = monitor;
    ShowAllLocked(found->second);
    poked_ = true;
  }
  Wake();
}

void ScreenPump::Refresh(ViewerId id) {
  {
    const Locked locked(lock_);
    const auto found = viewers_.find(id);
    if (found == viewers_.end()) return;
    ShowAllLocked(found->second);
    poked_ = true;
    refreshing_ = true;
  }
  Wake();
}

void ScreenPump::Poke() {
  {
    const Locked locked(lock_);
    poked_ = true;
  }
  Wake();
}

// ---- what is pending

Rect ScreenPump::ViewOfLocked(const Viewer& viewer) const {
  const Rect all = rcserv::MakeXYWH(0, 0, shape_.width, shape_.height);
  if (!viewer.monitor) return all;
  const auto monitor = shape_.monitors.find(*viewer.monitor);
  // A monitor that was unplugged: better all than nothing.
  return monitor == shape_.monitors.end() ? all : Intersect(monitor->second.rect, all);
}

void ScreenPump::AddPendingLocked(Viewer& viewer, const Rect& area, Clock::time_point now) {
  viewer.pending.Add(Intersect(area, ViewOfLocked(viewer)), now);
}

void ScreenPump::ShowAllLocked(Viewer& viewer) {
  viewer.pending.Reset(shape_.width, shape_.height);
  AddPendingLocked(viewer, ViewOfLocked(viewer), Clock::now());
}

// ---- the screen thread

void ScreenPump::Run() {
  for (;;) {
    {
      const Locked locked(lock_);
      if (stopping_) return;
    }
    FollowOrders();
    if (link_ == Link::kSeeking) Seek();
    if (link_ == Link::kUp) Converse();
    WaitForNews();
  }
}

void ScreenPump::FollowOrders() {
  const auto now = Clock::now();
  {
    const Locked locked(lock_);
    if (std::exchange(poked_, false)) pace_.Activity(now);
    if (std::exchange(drawn_, false)) pace_.Now();
    if (followed_ == watch_) return;
    followed_ = watch_;
    link_ = watching_ ? Link::kSeeking : Link::kOff;
  }
  seekPause_ = kFirstSeekPause;
  source_->Drop();
  drawing_.Stop();
  if (hearDrawing_ && link_ == Link::kSeeking) drawing_.Start();
  wasUp_ = wasSeen_ = asked_ = false;
  deadline_ = now + kStartLimit;
}

void ScreenPump::Seek() {
  const ScreenSource::Answer answer = source_->Ask();
  if (answer != ScreenSource::Answer::kLost) {
    link_ = Link::kUp;
    wasSeen_ = true;
    asked_ = true;
    deadline_ = Clock::now() + kAnswerLimit;
    TakeAnswer(answer);
    return;
  }
  const bool lives = source_->ObserverLives();
  if ((wasSeen_ && !lives) || Clock::now() >= deadline_) return Lose();
  wasSeen_ = lives;
  seekPause_ = std::min(seekPause_ * 9 / 8, kLastSeekPause);
}

void ScreenPump::Lose() {
  source_->Drop();
  drawing_.Stop();
  link_ = Link::kOff;
  const Locked locked(lock_);
  if (followed_ == watch_) events_.lost(followed_);
}

void ScreenPump::Reconnect() {
  link_ = Link::kSeeking;
  seekPause_ = kFirstSeekPause;
  deadline_ = Clock::now() + kReconnectLimit;
}

void ScreenPump::Converse() {
  if (!asked_) {
    if (!SomebodyReady() || Clock::now() < pace_.Next()) return;
    deadline_ = Clock::now() + kAnswerLimit;
  }
  const ScreenSource::Answer answer = source_->Ask();
  asked_ = true;
  TakeAnswer(answer);
}

void ScreenPump::TakeAnswer(ScreenSource::Answer answer) {
  switch (answer) {
    case ScreenSource::Answer::kSilent:
      if (Clock::now() >= deadline_) Lose();
      return;
    case ScreenSource::Answer::kLost:
      asked_ = false;
      // It may have dropped us and live: then it is connected to again.
      Reconnect();
      return;
    case ScreenSource::Answer::kNewScreen:
      asked_ = false;
      TakeNewScreen();
      break;
    case ScreenSource::Answer::kChanges:
      asked_ = false;
      TakeChanges();
      break;
  }
  Serve();
}

void ScreenPump::TakeNewScreen() {
  pace_.Activity(Clock::now());
  events_.screen(source_->Corner());
  {
    const Locked locked(lock_);
    if (followed_ != watch_) return;
    shape_ = source_->Shape();
    picture_.Start(source_->Pixels(), shape_.width, shape_.height);
    const std::string text = ScreenText(shape_);
    for (auto& [id, viewer] : viewers_) {
      viewer.channel->SendText(text);
      ShowAllLocked(viewer);
    }
  }
  if (!std::exchange(wasUp_, true)) events_.up(followed_);
}

void ScreenPump::TakeChanges() {
  const auto now = Clock::now();
  FindDifferences();
  if (different_.empty()) return pace_.Nothing(now);
  pace_.Changes(now);
  const Locked locked(lock_);
  for (auto& [id, viewer] : viewers_)
    for (const Rect& change : different_) AddPendingLocked(viewer, change, now);
}

// A refresh is also for what was changed and not reported.
void ScreenPump::FindDifferences() {
  const bool everywhere = [this] {
    const Locked locked(lock_);
    return std::exchange(refreshing_, false);
  }();
  different_.clear();
  if (everywhere) return picture_.Take(source_->Pixels(), picture_.Area(), different_);
  for (const Rect& change : source_->Changes()) picture_.Take(source_->Pixels(), change, different_);
}

// ---- updates

void ScreenPump::Serve() {
  ViewerId last = 0;
  while (const std::optional<Job> job = NextJob(last)) {
    last = job->viewer;
    Send(*job);
  }
}

std::optional<ScreenPump::Job> ScreenPump::NextJob(ViewerId after) {
  const auto now = Clock::now();
  const Locked locked(lock_);
  if (followed_ != watch_) return std::nullopt;
  for (auto entry = viewers_.upper_bound(after); entry != viewers_.end(); ++entry) {
    Viewer& viewer = entry->second;
    if (viewer.drawing || viewer.pending.Empty()) continue;
    const LinkPace::Limits limits = viewer.pace.Next();
    viewer.pending.Take(limits.pixels, now, pieces_);
    viewer.drawing = true;
    return Job{entry->first, ++viewer.number, limits.bytes, viewer.pace.Compress(PixelsOf(pieces_))};
  }
  return std::nullopt;
}

void ScreenPump::Send(const Job& job) {
  const auto begun = Clock::now();
  const uint32_t screen = source_->Shape().id;
  size_t count = pieces_.size();
  std::vector<uint8_t> message;
  for (;;) {
    message =
        encoder_.Encode(picture_.Pixels(), std::span(pieces_).first(count), job.number, screen, job.compress);
    // How well pixels compress is a guess until they have been compressed.
    if (message.size() / 2 <= job.maxBytes || count == 1) break;
    count = std::max<size_t>(count * job.maxBytes / message.size(), 1);
  }
  const Locked locked(lock_);
  const auto found = viewers_.find(job.viewer);
  if (found == viewers_.end()) return;
  Viewer& viewer = found->second;
  for (const Rect& left : std::span(pieces_).subspan(count)) viewer.pending.PutBack(left, begun);
  // Nothing leaves after the end of the view.
  viewer.drawing = followed_ == watch_;
  if (!viewer.drawing) return;
  viewer.pace.Sent(PixelsOf(std::span(pieces_).first(count)), message.size(), job.compress, begun);
  viewer.channel->SendUpdate(std::move(message));
}

// ---- waiting

// Nobody else could use an answer.
bool ScreenPump::SomebodyReady() {
  const Locked locked(lock_);
  return std::any_of(viewers_.begin(), viewers_.end(),
                     [](const auto& entry) { return !entry.second.drawing; });
}

void ScreenPump::WaitForNews() {
  const bool up = link_ == Link::kUp;
  const bool asks = up && !asked_ && SomebodyReady();
  std::optional<Clock::time_point> until;
  if (link_ == Link::kSeeking)
    until = Clock::now() + seekPause_;
  else if (up && asked_)
    until = deadline_;
  else if (asks)
    until = pace_.Next();

  // The connection's loss shows also when nothing was asked.
  pollfd entries[] = {{wake_.Get(), POLLIN, 0},
                      {up ? source_->Descriptor() : -1, POLLIN, 0},
                      {asks && !pace_.Busy(Clock::now()) ? drawing_.Descriptor() : -1, POLLIN, 0}};
  timespec timeout{};
  if (until) timeout = ToTimespec(std::max(*until - Clock::now(), Clock::duration::zero()));
  ppoll(entries, std::size(entries), until ? &timeout : nullptr, nullptr);
  if (entries[0].revents != 0) DrainWakes();
  if (entries[1].revents != 0 && !asked_) {
    source_->Drop();
    Reconnect();
  }
  if (entries[2].revents != 0 && drawing_.Take()) pace_.Drawn(Clock::now());
}

}  // namespace remote
