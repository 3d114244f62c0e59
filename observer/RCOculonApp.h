// The process: its start, and its one orderly end.
#pragma once

class RCOculonApp {
 public:
  // Starts the HTML5 viewer's session controller and everything that ends it again; a second call does
  // nothing. Ends the process with status 1 when the controller cannot be started; the log says why. Main
  // thread, before any other thread is started.
  static void run();
  // The same with the tile viewer's controller, which serves both viewers and handles the signals itself.
  static void runLegacy();

  // Asks for the end, which happens on a thread of its own, with status 0. Any thread.
  static void exit();
};
