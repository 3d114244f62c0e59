// The session controller of the tile viewer, as far as others reach it: the way for records to the service.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

#include <atomic>
#include <cstdint>

#include "broker/Commands.h"
#include "broker/RCRemoteBroker.h"

// One for the process, made by whoever has the first record to send, and not run by that.
//
// Any thread. A record is dropped silently while the service is not there.
class RCOculon {
 public:
  RCOculon(const RCOculon&) = delete;
  RCOculon& operator=(const RCOculon&) = delete;

  // Lives to the end of the process.
  [[nodiscard]] static RCOculon* GetOculon();

  // Sends the bytes behind a StatusHeader of that type.
  void SendISSData(CFDataRef data, CONTROL_TYPES type);
  // Sends the bytes as they are.
  void SendData(CFDataRef data);

  // How far colours of the tile stream are reduced, from a viewer's view type: 1 (not at all) to 5 set ever
  // more low bits, 6 and above none.
  void SetColorReduction(unsigned char viewType);
  [[nodiscard]] uint8_t ColorReduction() const { return colorReduction_; }

  // A SessionEndRecord.
  void SendRCEnd();
  // A piece of the tile stream.
  void SendBytes(const unsigned char* bytes, long length);

 private:
  RCOculon() = default;

  RCRemoteClient remoteClient_;
  std::atomic<bool> sendEnabled_{true};
  std::atomic<uint8_t> colorReduction_{6};
};
