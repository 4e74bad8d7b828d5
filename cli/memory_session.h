// What the commands for both classes of memory cards have in common.
#pragma once

#include <functional>
#include <string>

#include "options.h"
#include "report.h"

namespace tool
{

constexpr uint32_t kCardTimeoutMs = 3000;

// One class of card, as the library drives it.
struct MemoryCardClass
{
    const char *powerOnCall;
    int (*powerOn)(int outSize, char *out, int32_t *outLength, int timeoutSeconds);
    int (*powerOff)();
    bool (*powerOnAgain)(); // one attempt; false when there is no card
};

// Powers the card on, works, powers the card off.
void WithMemoryCard(const Options &options, Report *report, const MemoryCardClass &card,
                    const std::function<void(const std::string &identification)> &work);

// Records a failure with words of its own instead of the code's.
void FailWith(const Options &options, Report *report, const char *call, int code,
              const std::string &meaning, const std::string &advice);

// The card refused a key. It says nothing more until it is powered up again: this is done, which
// also tells a refusal from a card that has been taken away. True when the card is there.
bool PowerUpAfterRefusal(const Options &options, Report *report, const MemoryCardClass &card,
                         const char *call, int code);

// Asks on standard error; only "yes" is a yes. Records the refusal.
bool Confirmed(const Options &options, Report *report, const std::string &warning);

// Without a terminal nobody can be asked: what is wrong with the arguments then, or "".
std::string CheckConfirmation(bool yes, const std::string &warning);

} // namespace tool
