// The wait for a card: attempts to power one on, with pauses, until one answers, the limit is
// reached, a real failure comes or another thread cancels.
#pragma once

#include <cstdint>

struct WaitingCard
{
    uint8_t bytes[512]; // answer to reset, or identification
    uint32_t length;
    int32_t type; // 0 contact, 1 contactless
};

enum class WaitMeasure
{
    kSeconds, // the time-out counts seconds of the clock
    kPasses   // the time-out counts attempts
};

struct CardWait
{
    int (*attempt)(WaitingCard *card);
    int noCard[2]; // the results after which a later attempt may do better
    int pauses;    // of 100 ms between two attempts
    WaitMeasure measure;
};

struct HexOutput
{
    int size; // characters
    char *text;
    int32_t *length; // characters
};

constexpr int kWaitCancelled = -1006;

// Logs and refuses a time-out below 0.
bool RefuseTimeout(int timeoutSeconds);

// Gives the last result of the card, -1006 when cancelled, or -4001 when the wait ended with as
// many passes as it has. A wait without a limit has no passes, and one by the clock counts none: so
// with a time-out of 0 every failure that ends the wait is -4001, and a limit of seconds leaves the
// card's result. Deliberate.
int WaitForCard(const CardWait &wait, int timeoutSeconds, WaitingCard *card);

// Writes the card's bytes as hexadecimal text (nothing after a cancel) and gives the public code.
int GiveWaitOutcome(int result, const WaitingCard &card, const HexOutput &output);
