// Asks for the screen when a viewer can use it, and sends each viewer what has changed for it.
#pragma once
#include <atomic>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "platform/Handles.h"
#include "platform/ThreadSafety.h"
#include "service/remote/AskPace.h"
#include "service/remote/DrawingNews.h"
#include "service/remote/LinkPace.h"
#include "service/remote/PendingArea.h"
#include "service/remote/Picture.h"
#include "service/remote/ScreenSource.h"
#include "service/remote/ViewerHub.h"

namespace remote {

// Owns the screen thread, the one that reads pixels. An observer whose end shows by its connection or its
// process is told at once, one that does not answer after a time.
//
// Any thread.
class ScreenPump {
 public:
  using Clock = std::chrono::steady_clock;

  // Called on the screen thread; `watch` is what Watch() gave.
  struct Events {
    std::function<void(unsigned watch)> up;  // the first picture is there
    // Nothing more comes of it until the next Watch(). Called with the lock held, which neither waits: a
    // Watch() or Leave() comes before it, and then it is not called, or behind it.
    std::function<void(unsigned watch)> lost;
    std::function<void(ScreenSource::Origin)> screen;
  };

  // `hearDrawing`: the source's display is the one that DISPLAY names.
  ScreenPump(std::unique_ptr<ScreenSource> source, bool hearDrawing, Events events);
  ~ScreenPump();
  ScreenPump(const ScreenPump&) = delete;
  ScreenPump& operator=(const ScreenPump&) = delete;

  // Waits for the screen thread.
  void Stop() EXCLUDES(lock_);

  // An observer has been started: its screen is looked for.
  unsigned Watch() EXCLUDES(lock_);
  // The observer is going to end, or no pixel may leave any more: what it showed is forgotten.
  void Leave() EXCLUDES(lock_);

  void Add(ViewerId viewer, std::shared_ptr<ViewerChannel> channel, bool local) EXCLUDES(lock_);
  void Remove(ViewerId viewer) EXCLUDES(lock_);
  void Drawn(ViewerId viewer, uint32_t number) EXCLUDES(lock_);
  void Show(ViewerId viewer, std::optional<uint32_t> monitor) EXCLUDES(lock_);
  void Refresh(ViewerId viewer) EXCLUDES(lock_);
  // A viewer acts: what comes of it is wanted soon.
  void Poke() EXCLUDES(lock_);

 private:
  enum class Link { kOff, kSeeking, kUp };
  struct Viewer {
    std::shared_ptr<ViewerChannel> channel;
    LinkPace pace;
    std::optional<uint32_t> monitor = {};
    PendingArea pending = {};
    uint32_t number = 0;   // of the last update
    bool drawing = false;  // it has not been drawn yet
  };
  struct Job {
    ViewerId viewer;
    uint32_t number;
    size_t maxBytes;
    bool compress;
  };

  void Run();
  void FollowOrders();
  void Seek();
  void Reconnect();
  void Converse();
  void TakeAnswer(ScreenSource::Answer answer);
  void TakeNewScreen();
  void TakeChanges() EXCLUDES(lock_);
  void FindDifferences() EXCLUDES(lock_);
  void Lose();
  void WaitForNews();
  [[nodiscard]] bool SomebodyReady() EXCLUDES(lock_);
  void Serve();
  [[nodiscard]] std::optional<Job> NextJob(ViewerId after) EXCLUDES(lock_);
  void Send(const Job& job);
  void Wake();
  void DrainWakes();

  void AddPendingLocked(Viewer& viewer, const rcserv::Rect& area, Clock::time_point now) REQUIRES(lock_);
  void ShowAllLocked(Viewer& viewer) REQUIRES(lock_);
  [[nodiscard]] rcserv::Rect ViewOfLocked(const Viewer& viewer) const REQUIRES(lock_);

  const Events events_;
  const bool hearDrawing_;
  const platform::UniqueFd wake_;

  Lock lock_;
  std::map<ViewerId, Viewer> viewers_ GUARDED_BY(lock_);
  ScreenShape shape_ GUARDED_BY(lock_);  // width 0: there is no screen
  unsigned watch_ GUARDED_BY(lock_) = 0;
  bool watching_ GUARDED_BY(lock_) = false;
  bool poked_ GUARDED_BY(lock_) = false;
  bool drawn_ GUARDED_BY(lock_) = false;
  bool refreshing_ GUARDED_BY(lock_) = false;
  bool stopping_ GUARDED_BY(lock_) = false;

  // The screen thread's.
  const std::unique_ptr<ScreenSource> source_;
  UpdateEncoder encoder_;
  AskPace pace_;
  DrawingNews drawing_;
  Link link_ = Link::kOff;
  unsigned followed_ = 0;
  bool wasUp_ = false;    // the observer of this watch has shown its screen
  bool wasSeen_ = false;  // its process has been found
  bool asked_ = false;
  Clock::time_point deadline_;  // for its connection, or its answer
  std::chrono::microseconds seekPause_{};
  Picture picture_;
  std::vector<rcserv::Rect> different_;
  std::vector<rcserv::Rect> pieces_;

  std::thread thread_;
};

}  // namespace remote
