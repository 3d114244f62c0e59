#include "common/KCException.h"

namespace {

StCFTypeRef<CFStringRef> Retained(CFStringRef text) {
  if (text != nullptr) CFRetain(text);
  return StCFTypeRef<CFStringRef>(text);
}

}  // namespace

KCException::KCException(int code, CFStringRef text) : errorCode_(code), errorString_(Retained(text)) {}

// The buffer is not copied: what() fills it anew.
KCException::KCException(const KCException& other)
    : std::exception(other), errorCode_(other.errorCode_), errorString_(Retained(other.errorString_)) {}

KCException& KCException::operator=(const KCException& other) {
  if (this == &other) return *this;
  errorCode_ = other.errorCode_;
  SetErrorString(other.errorString_);
  return *this;
}

void KCException::Throw(int code) { throw KCException(code); }

void KCException::Throw(int code, CFStringRef text) { throw KCException(code, text); }

void KCException::SetErrorString(CFStringRef text) {
  errorString_ = Retained(text);
  buffer_[0] = '\0';
}

const char* KCException::what() const noexcept {
  if (errorString_ == nullptr) return nullptr;
  if (!CFStringGetCString(errorString_, buffer_, sizeof buffer_, CFStringGetSystemEncoding())) return nullptr;
  return buffer_;
}
