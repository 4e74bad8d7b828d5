// What the calls for M1 and M0 cards share: refusals, and card data as hexadecimal text.
#pragma once

#include <cstdint>

#include "api/card_wait.h"

constexpr int kMemoryCardBadParameter = -1007;
constexpr uint32_t kCardPowerTimeoutMs = 1000;
constexpr uint32_t kCardTimeoutMs = 3000;

struct CardData
{
    unsigned char bytes[4096 + 1]; // what a reader sends at most, and a zero byte for the log
    uint32_t length;
};

struct TextRoom
{
    int size; // characters
    char *text;
};

// Logs the message as an error and gives the code.
int Refuse(const char *message, int code);

// Gives the data as text, cut at its room; returns the number of characters. There is no other
// place for their number, so a NUL follows where it fits.
int GiveCardText(const CardData &data, const TextRoom &room);

// The same, with a log of the data as they came and as they are handed back. The log calls it
// `call`.
void GiveLoggedCardText(const CardData &data, const TextRoom &room, const char *call);

// The wait loop of a power-on call with its checks.
int PowerOnMemoryCard(const CardWait &wait, const HexOutput &output, int timeoutSeconds);
