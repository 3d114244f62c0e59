#include "platform/carbon/MainQueue.h"

#include <utility>

namespace platform::carbon {

MainQueue& MainQueue::Instance() {
  static MainQueue* const instance = new MainQueue;
  return *instance;
}

MainQueue::MainQueue() {
  CFRunLoopSourceContext context{};
  context.info = this;
  context.perform = [](void* self) { static_cast<MainQueue*>(self)->Serve(); };
  source_ = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, &context);
  CFRunLoopAddSource(CFRunLoopGetMain(), source_, kCFRunLoopCommonModes);
}

void MainQueue::Post(std::function<void()> work) {
  {
    const Locked held(lock_);
    waiting_.push_back(std::move(work));
  }
  CFRunLoopSourceSignal(source_);
  CFRunLoopWakeUp(CFRunLoopGetMain());
}

void MainQueue::Serve() {
  for (;;) {
    std::function<void()> work;
    {
      const Locked held(lock_);
      if (waiting_.empty()) return;
      work = std::move(waiting_.front());
      waiting_.pop_front();
    }
    work();
  }
}

}  // namespace platform::carbon
