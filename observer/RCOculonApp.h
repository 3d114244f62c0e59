// The process: its start, and its one orderly end.
#pragma once

class RCOculonApp {
 public:
  // Starts the session controller and everything that ends it again; a second call does nothing. Ends the
  // process with status 1 when the controller cannot be started; the log says why. Main thread, before any
  // other thread is started.
  static void run();

  // Asks for the end, which happens on a thread of its own, with status 0. Any thread.
  static void exit();
};
