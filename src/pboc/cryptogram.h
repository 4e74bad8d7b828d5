// GENERATE AC for callers that must know how the card's answer is laid out.
#pragma once

#include <cstdint>

#include "vantor/transport.h"

enum class CryptogramFormat
{
    kOne, // tag 80: information data 1, counter 2, cryptogram 8, issuer application data
    kTwo  // tag 77: a template of tags, 9F27 the information data
};

// PBOC_GenerateAC, which also tells the format. The value alone does not: the cryptogram and what
// follows it are bytes of any kind, and may look like tags.
int GenerateCryptogram(DEVCONTEXT *deviceContext, int cardType, unsigned char referenceControl,
                       const unsigned char *data, int dataLength, unsigned char *result,
                       int32_t *resultLength, CryptogramFormat *format);
