// UberStream: what the BER reader and writer share.
//
// Both carry the message's security level (0 none, 1 authentication,
// 2 authentication and privacy), which the SNMPv3 code sets from the message
// flags, and own the bytes of the message.
#ifndef CODEC_UBER_STREAM_H
#define CODEC_UBER_STREAM_H

#include <vector>

class UberStream {
 public:
  int securityLevel = 0;
  std::vector<unsigned char> data;
};

#endif
