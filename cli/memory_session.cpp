#include "memory_session.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "memory_text.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

void WithMemoryCard(const Options &options, Report *report, const MemoryCardClass &card,
                    const std::function<void(const std::string &identification)> &work)
{
    WithReader(
        options, report,
        [&]
        {
            char text[513] = {};
            int32_t length = 0;
            const int code = WaitingForCard(
                options,
                [&] { return card.powerOn(sizeof text, text, &length, options.timeoutSeconds); });
            if (Failed(options, report, card.powerOnCall, code))
                return;
            const int32_t most = static_cast<int32_t>(sizeof text);
            const std::string identification(text,
                                             static_cast<size_t>(std::clamp(length, 0, most)));
            report->result["identification"] =
                options.mask ? MaskedIdentification(identification) : identification;
            work(identification);
            card.powerOff();
        });
}

void FailWith(const Options &options, Report *report, const char *call, int code,
              const std::string &meaning, const std::string &advice)
{
    if (!Failed(options, report, call, code) || report->cancelled)
        return;
    report->failure->meaning = meaning;
    report->failure->advice = advice;
}

bool PowerUpAfterRefusal(const Options &options, Report *report, const MemoryCardClass &card,
                         const char *call, int code)
{
    if (!IsCancelled() && card.powerOnAgain())
        return true;
    FailWith(options, report, call, code, "the card went away",
             "leave the card in place until the command ends");
    return false;
}

std::string CheckConfirmation(bool yes, const std::string &warning)
{
    if (warning.empty() || yes || isatty(STDIN_FILENO) != 0)
        return "";
    return warning + "; without a terminal to ask on this needs --yes";
}

bool Confirmed(const Options &options, Report *report, const std::string &warning)
{
    if (warning.empty() || options.memory.yes)
        return true;
    fprintf(stderr, "%s.\nWrite it? Type yes: ", warning.c_str());
    fflush(stderr);
    char answer[16] = {};
    if (fgets(answer, sizeof answer, stdin) != nullptr && strcmp(answer, "yes\n") == 0)
        return true;
    report->failure = Failure{"", 0, "", "nothing was written", ""};
    return false;
}

} // namespace tool
