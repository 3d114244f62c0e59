#include "service/remote/SharedScreenLink.h"

namespace remote {

// The client replays the last settings, which bring back hooks, lock and blank, but not always the view: that
// is the caller's to start.
bool SharedScreenLink::Restart() {
  client_.RestartObserver();
  return client_.start_observer();
}

void SharedScreenLink::Send(const CommandRecord& record) {
  client_.TransferData(record.bytes.data(), record.length);
}

}  // namespace remote
