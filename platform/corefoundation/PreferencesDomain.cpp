#include "platform/corefoundation/PreferencesDomain.h"

#include <algorithm>
#include <utility>

namespace platform::cf {

CFPropertyListRef PreferencesDomain::CopyValue(CFStringRef key) {
  for (;;) {
    {
      const Locked locked(lock_);
      for (const Change& change : changes_)
        if (CFEqual(change.key.get(), key)) return Retained(change.value.get()).release();
      if (loaded_) {
        return stored_ ? Retained(CFDictionaryGetValue(stored_.get(), key)).release() : nullptr;
      }
    }
    const Locked synchronizing(synchronizing_);
    file_.Refresh(reading_);
    TakeOver({});
  }
}

void PreferencesDomain::SetValue(CFStringRef key, Reference<CFPropertyListRef> value) {
  Reference<CFStringRef> ownKey(CFStringCreateCopy(kCFAllocatorDefault, key));
  const Locked locked(lock_);
  const auto found = std::find_if(changes_.begin(), changes_.end(), [key](const Change& change) {
    return CFEqual(change.key.get(), key) != 0;
  });
  if (found != changes_.end()) {
    std::swap(found->value, value);
  } else {
    changes_.push_back({std::move(ownKey), std::move(value)});
  }
}

bool PreferencesDomain::Synchronize() {
  const Locked synchronizing(synchronizing_);
  const Changes changes = CopyChanges();
  const auto merge = [&changes](CFDictionaryRef stored) {
    Reference<CFMutableDictionaryRef> merged(
        stored != nullptr ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, stored)
                          : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                      &kCFTypeDictionaryValueCallBacks));
    for (const Change& change : changes) {
      if (change.value) {
        CFDictionarySetValue(merged.get(), change.key.get(), change.value.get());
      } else {
        CFDictionaryRemoveValue(merged.get(), change.key.get());
      }
    }
    return Reference<CFDictionaryRef>(merged.release());
  };
  const bool done = changes.empty() ? file_.Refresh(reading_) : file_.Update(reading_, merge);
  if (done) {
    TakeOver(changes);
  } else {
    TakeOver({});
  }
  return done;
}

PreferencesDomain::Changes PreferencesDomain::CopyChanges() {
  Changes copy;
  const Locked locked(lock_);
  for (const Change& change : changes_)
    copy.push_back({Retained(change.key.get()), Retained(change.value.get())});
  return copy;
}

// A key that was set again while the file was written stays a change.
void PreferencesDomain::TakeOver(const Changes& written) {
  const Locked locked(lock_);
  stored_ = Retained(reading_.values.get());
  loaded_ = true;
  std::erase_if(changes_, [&written](const Change& change) {
    return std::any_of(written.begin(), written.end(), [&change](const Change& other) {
      return other.key == change.key && other.value == change.value;
    });
  });
}

}  // namespace platform::cf
