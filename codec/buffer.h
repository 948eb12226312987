// The one datagram buffer of the agent.
//
// A single static 65536-byte buffer receives every request datagram and
// serves the encoder as scratch space for object identifiers. The agent is
// single-threaded and handles one datagram completely before it reads the
// next, so sharing it needs no locking. Nothing may keep a pointer into it
// across datagrams.
#ifndef CODEC_BUFFER_H
#define CODEC_BUFFER_H

constexpr unsigned kBufferSize = 65536;
extern unsigned char c_buf[kBufferSize];

#endif
