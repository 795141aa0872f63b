// The types of the messages that travel between the proxy and the server.
#pragma once

#include <cstdint>

namespace ztp {

/// What a message is. On the wire each type is the one ASCII character beside it; names and
/// characters are looked up with the class operations of ZanburyToolProxyMessage. A value outside
/// this list counts as None there.
enum class ZanburyToolProxyMessageType : std::uint8_t {
  None = 0,                           // .
  Error = 1,                          // !
  ServerHello = 2,                    // h
  ClientHandshake = 3,                // c
  ServerHandshake = 4,                // s
  InputArchive = 5,                   // i
  InputArchiveAcknowledgement = 6,    // I
  ServerWillStartForwarding = 7,      // [
  Forward = 8,                        // f
  ServerDidStopForwarding = 9,        // ]
  OutputArchive = 10,                 // o
  OutputArchiveAcknowledgement = 11,  // O
};

}  // namespace ztp
