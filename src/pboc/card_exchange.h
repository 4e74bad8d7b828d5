// One command to the card and its response: data, then the two status bytes SW1 SW2.
#pragma once

#include <cstdint>

// Every response and value area of the PBOC calls.
constexpr int kResponseArea = 512;

// Room for the longest response that IC_APDU and IC_RFAPDU give.
constexpr int kWholeResponse = 4096;

// SW1 SW2 as one number, 0x9000; -1 for a response too short to hold them.
int StatusWord(const uint8_t *response, int length);

// Copies a response of any length into `capacity` bytes and gives the length copied. A response
// that is too long loses the end of its data, never its status bytes.
int CopyResponse(const uint8_t *response, int length, uint8_t *area, int capacity);
