// Hears that the display is drawn on, so that nobody has to look for it all the time.
#pragma once
#include <sys/types.h>

#include "platform/Handles.h"

namespace remote {

// From a program of its own, kvdrawn: a display's server that hangs or goes away is none of this process's
// trouble. It hears of the display that DISPLAY names.
//
// One thread.
class DrawingNews {
 public:
  DrawingNews() = default;
  ~DrawingNews() { Stop(); }
  DrawingNews(const DrawingNews&) = delete;
  DrawingNews& operator=(const DrawingNews&) = delete;

  // No effect while the program runs. One log line when it cannot be started.
  void Start();
  void Stop();

  // Readable when there is news; -1 while nothing is heard.
  [[nodiscard]] int Descriptor() const { return socket_.Get(); }
  // Takes the news in: true when the display has been drawn on, false also when nothing will be heard any
  // more.
  [[nodiscard]] bool Take();

 private:
  platform::UniqueFd socket_;
  pid_t program_ = -1;
};

}  // namespace remote
