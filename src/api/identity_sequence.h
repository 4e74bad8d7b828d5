// The way to an identity card's record: the mode switch around it, the wait for the card, the read.
#pragma once

#include <cstdint>

constexpr int kUsualBaud = 9600;

struct IdentityRecord
{
    unsigned char bytes[4096]; // text block, photo, fingerprint; zero bytes where nothing came
};

// To the identity module and to its line speed. Returns the line's speed before.
int64_t SwitchToIdentity();

// Back to the normal mode, and to that speed.
void SwitchBack(int64_t baud);

// What a failed selection sets the line to.
enum class AfterFailedSelection
{
    kSpeedBefore,
    kUsualSpeed
};

// The whole sequence, both switches included. Returns 0 or an internal code, its message logged.
int ReadIdentityRecord(int timeoutSeconds, AfterFailedSelection afterFailedSelection,
                       IdentityRecord *record);
