// Between Core Foundation strings and NUL-terminated byte strings; texts for scripts, and texts in the
// language of the console's user.
//
// Any thread, but the first text in the user's language is asked for before other threads do so: it makes the
// scanner's settings. Nothing here throws.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

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

// A copy in which the characters that scripts give a meaning are tokens like "[QUOT]", and the way back,
// which knows more spellings: "[DQUOTE]" and "&quot;" are quotes as well. Null of null; the caller releases.
CFMutableStringRef EscapeScript(CFStringRef string);
CFMutableStringRef UnEscapeScript(CFStringRef string);

// The text of `key` in a table of the agent's resource bundle, in the language of the console's user, whoever
// runs this process; `value` when there is none. At the login window, and with nobody at the console, the
// process's own language counts. The caller releases.
CFStringRef KCLocalizedStringWithDefaultValue(CFStringRef key, CFStringRef value, CFStringRef table);

// The languages that the user has chosen, best first; null when none are. The caller releases.
CFArrayRef CopyLanguageArrayFromDefaultsWithUID(uid_t uid);
