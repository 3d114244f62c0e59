// What test_port_server understands.
#pragma once

namespace test {

enum PortRequest {
  kEcho = 1,
  kDie,      // ends the process in the middle of the request
  kNothing,  // no reply
  kMany,     // as many bytes as the decimal number says
  kNote,     // remembered
  kNotes     // all that was remembered
};           // any other: the id in decimal

}  // namespace test
