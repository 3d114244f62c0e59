#include "platform/x11/QuietThread.h"

#include <pthread.h>

#include <csignal>
#include <memory>

namespace platform::x11 {
namespace {

struct Work {
  const char* name;
  void (*work)(void*);
  void* argument;
};

void* Run(void* given) {
  const std::unique_ptr<Work> work(static_cast<Work*>(given));
  pthread_setname_np(pthread_self(), work->name);
  work->work(work->argument);
  return nullptr;
}

}  // namespace

bool StartQuietThread(const char* name, void (*work)(void*), void* argument) {
  auto given = std::make_unique<Work>(Work{name, work, argument});
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);  // inherited by the new thread
  pthread_t thread{};
  const int error = pthread_create(&thread, nullptr, Run, given.get());
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (error != 0) return false;
  (void)given.release();  // the thread's now
  pthread_detach(thread);
  return true;
}

}  // namespace platform::x11
