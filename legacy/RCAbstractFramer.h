// What sends frames of displays.
#pragma once

class RCAbstractFramer {
 public:
  virtual ~RCAbstractFramer() = default;
};
