#include "service/remote/CommandQueue.h"

#include <utility>

namespace remote {

void CommandQueue::Post(const CommandRecord& record) {
  const Locked locked(lock_);
  if (closed_) return;
  if (record.IsMove() && !entries_.empty()) {
    auto* const last = std::get_if<CommandRecord>(&entries_.back());
    if (last != nullptr && last->IsMove()) {
      *last = record;
      return;
    }
  }
  entries_.emplace_back(record);
  changed_.NotifyAll();
}

void CommandQueue::Post(Job job) {
  const Locked locked(lock_);
  if (closed_) return;
  entries_.emplace_back(std::move(job));
  changed_.NotifyAll();
}

void CommandQueue::DropRecords() {
  const Locked locked(lock_);
  std::erase_if(entries_, [](const Entry& entry) { return std::holds_alternative<CommandRecord>(entry); });
}

std::optional<CommandQueue::Entry> CommandQueue::Take(std::optional<Clock::time_point> deadline) {
  const Locked locked(lock_);
  while (entries_.empty()) {
    if (closed_) return std::nullopt;
    if (!deadline)
      changed_.Wait(lock_);
    else if (!changed_.WaitUntil(lock_, *deadline) && entries_.empty())
      return std::nullopt;
  }
  Entry entry = std::move(entries_.front());
  entries_.pop_front();
  return entry;
}

void CommandQueue::Close() {
  const Locked locked(lock_);
  closed_ = true;
  changed_.NotifyAll();
}

bool CommandQueue::Closed() {
  const Locked locked(lock_);
  return closed_ && entries_.empty();
}

}  // namespace remote
