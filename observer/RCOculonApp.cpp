#include "observer/RCOculonApp.h"

#include <asl.h>
#include <pthread.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

#include "common/KCasl.h"
#include "observer/RCOculon.h"
#include "observer/RCOculonHtml5.h"
#include "observer/SignalThread.h"
#include "observer/VersionRequest.h"
#include "platform/System.h"

namespace {

bool app_started_g = false;
RCOculonHtml5* rcoculon_g = nullptr;

// Threads wait here to the very end: nothing of it may be destroyed with the static objects.
bool stop_app_g = false;  // a stop was requested; guarded by stop_mutex_g
pthread_mutex_t stop_mutex_g = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t stop_cond_g = PTHREAD_COND_INITIALIZER;  // stop_app_g became true

void stop_app() {
  pthread_mutex_lock(&stop_mutex_g);
  if (!stop_app_g) {
    stop_app_g = true;
    pthread_cond_signal(&stop_cond_g);
  }
  pthread_mutex_unlock(&stop_mutex_g);
}

void* stop_watchdog_thread_proc(void*) {
  pthread_mutex_lock(&stop_mutex_g);
  while (!stop_app_g) pthread_cond_wait(&stop_cond_g, &stop_mutex_g);
  pthread_mutex_unlock(&stop_mutex_g);
  platform::Exit(0);
}

void HandleSigterm() {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonApp: SIGTERM.\n");
  stop_app();
}

bool StartDetachedThread(void* (*proc)(void*)) {
  pthread_attr_t attributes;
  pthread_t thread;
  if (pthread_attr_init(&attributes) != 0) return false;
  pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  const int error = pthread_create(&thread, &attributes, proc, nullptr);
  pthread_attr_destroy(&attributes);
  return error == 0;
}

void DeleteController() { delete std::exchange(rcoculon_g, nullptr); }

// The platform says it on the console alone.
void LogSessionLoss() {
  const std::string loss = platform::SessionLoss();
  if (!loss.empty()) ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonApp: the session is over: %s\n", loss.c_str());
}

void exit_handler() {
  LogSessionLoss();
  DeleteController();
}

void legacy_exit_handler() {
  LogSessionLoss();
  RCOculon::GetOculon()->StopOculon(true);
}

[[noreturn]] void FailWithoutThread() {
  DeleteController();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonApp: failed to create Oculon thread.\n");
  platform::Exit(1);
}

// Version, display, server, extensions, monitors: what is asked first when something is wrong.
void LogSession() {
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonApp: version %s, %s\n", get_application_version(2, nullptr),
            platform::DescribeSession().c_str());
}

[[noreturn]] void FailToRun() {
  LogSession();
  ASLLogger(ASL_LEVEL_INFO, 1, true, "OculonApp: Oculon failed to run.\n");
  platform::Exit(1);
}

}  // namespace

void RCOculonApp::run() {
  if (app_started_g) return;
  HoldSignal(SIGTERM);
  rcoculon_g = new RCOculonHtml5;
  if (!rcoculon_g->Run()) FailToRun();
  if (!StartDetachedThread(stop_watchdog_thread_proc)) FailWithoutThread();
  std::atexit(exit_handler);
  // A SIGTERM that came before waits for this thread.
  if (!StartSignalThread(SIGTERM, HandleSigterm)) FailWithoutThread();
  app_started_g = true;
  // Last: a display that does not answer takes its time, and the process can be ended meanwhile.
  LogSession();
}

void RCOculonApp::runLegacy() {
  if (app_started_g) return;
  for (const int signal : {SIGHUP, SIGABRT, SIGTERM}) HoldSignal(signal);
  if (!RCOculon::GetOculon()->Run()) FailToRun();
  // A stop that was requested already waits for the thread, and the thread's end of the process for this.
  std::atexit(legacy_exit_handler);
  if (!StartDetachedThread(stop_watchdog_thread_proc)) FailWithoutThread();
  app_started_g = true;
  LogSession();
}

void RCOculonApp::exit() { stop_app(); }
