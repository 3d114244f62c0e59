// Between Core Foundation strings and NUL-terminated byte strings.
//
// Any thread; nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include "platform/Handles.h"

// Writes the string and its NUL into `size` bytes. Not zero when all of it was converted. Otherwise the
// characters that the encoding lacks are left out, the text ends with the last character that fits, and its
// length comes back: 0, which callers take as a failure, when nothing is left.
CFIndex KCStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding);

// Owns a converted copy of a string.
class KCStringHelper {
 public:
  KCStringHelper(CFStringRef string, CFStringEncoding encoding);

  // Null for a null or an empty string. Borrowed.
  [[nodiscard]] char* GetCStringPtr() const { return buffer_.get(); }

 private:
  platform::MallocPtr<char> buffer_;
};

// strcmp of `text` with the converted string; null counts as the empty text.
int CStringCompareWithCFString(const char* text, CFStringRef string, CFStringEncoding encoding);
