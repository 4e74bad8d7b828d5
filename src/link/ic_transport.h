// The two framings of the IC command link, internal to the link floor. Both turn a command into
// printable characters that end in 0x03, so that the end of an answer can be seen in any stream.
//
// KrelIc, before it is written as upper-case hexadecimal text with 0x03 behind:
//     0      0x60
//     1      number L of command bytes, low 8 bits only
//     2      the command bytes
//     L+2    XOR of everything before, start byte and length included
//
// Union_, before it is written as 0x02, two characters 0x30+nibble for each byte, 0x03:
//     0      L >> 8
//     1      L & 0xFF
//     2      the command bytes
//     L+2    XOR of the command bytes alone
//
// Answers have the same shapes; their check byte is not verified.
#pragma once

#include <cstdint>

// The wire form of a command. Returns its length, or -22: a null pointer, a frame of more than 1024
// (KrelIc) or 2048 (Union_) bytes, less room than the wire form takes.
int KrelIc_MakeCmdPackage(const unsigned char *command, int commandLength, unsigned char *out,
                          int outCapacity);
int Union_MakeCmdPackage(const unsigned char *command, int commandLength, unsigned char *out,
                         int outCapacity);

// Cuts the answer out of received bytes: from the first "60" (KrelIc) or 0x02 (Union_) up to and
// including the first 0x03 behind it, or as far as bytes and room reach. Returns the length; 0 with
// `out` untouched when there is no start.
int KrelIc_TrimPackage(const unsigned char *in, int inLength, unsigned char *out, int outCapacity);
int Union_TrimPackage(const unsigned char *in, int inLength, unsigned char *out, int outCapacity);

// The payload of a trimmed answer. Returns its length; -74 for anything malformed, -22 for a null
// pointer or a payload longer than the room.
int KrelIc_ParseResPackage(const unsigned char *in, int inLength, unsigned char *out,
                           int outCapacity);
int Union_ParseResPackage(const unsigned char *in, int inLength, unsigned char *out,
                          int outCapacity);

// 1 once the bytes hold an end byte 0x03 anywhere, else 0.
int KrelIcPacketIsEnd(const unsigned char *bytes, uint32_t count);
int UnionPacketIsEnd(const unsigned char *bytes, uint32_t count);
