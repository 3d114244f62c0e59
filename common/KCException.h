// The one exception of the agent's library: a code and perhaps a text.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <exception>

#include "common/StCFTypeRef.h"

class KCException : public std::exception {
 public:
  // `text` is retained and may be null.
  explicit KCException(int code, CFStringRef text = nullptr);
  KCException(const KCException& other);
  KCException& operator=(const KCException& other);

  [[noreturn]] static void Throw(int code);
  [[noreturn]] static void Throw(int code, CFStringRef text);

  void SetErrorCode(int code) { errorCode_ = code; }
  // Retains `text`, which may be null.
  void SetErrorString(CFStringRef text);
  [[nodiscard]] int GetErrorCode() const { return errorCode_; }
  // Borrowed.
  [[nodiscard]] CFStringRef GetErrorString() const { return errorString_; }

  // The text in the system's 8-bit encoding, borrowed from this object; null without a text, and for one that
  // needs more than 255 bytes or that the encoding does not have. One thread at a time.
  [[nodiscard]] const char* what() const noexcept override;

 private:
  int errorCode_;
  StCFTypeRef<CFStringRef> errorString_;
  mutable char buffer_[256] = {};
};
