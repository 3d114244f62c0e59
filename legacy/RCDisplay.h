// A display as an object; it carries nothing yet.
#pragma once

class RCDisplay {
 public:
  virtual ~RCDisplay() = default;
};
