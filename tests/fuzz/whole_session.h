// One session of a host: calls in any order, with any arguments, on a reader that answers as the
// input says. Each table holds the calls of some public headers.
#pragma once

#include "fuzz/support/room.h"
#include "fuzz/support/world.h"

namespace fuzz
{

// What a call draws its arguments from.
struct Session
{
    Input *input;
    DEVCONTEXT own = {}; // a context of the host's own, beside the library's

    // Drawn before each call.
    DEVCONTEXT *device = nullptr; // mostly the library's context; else the host's own, or none
    int mode = 0;                 // 0 contact, 1 contactless, else automatic
    int seconds = 0;
    uint32_t milliseconds = 0;

    void Begin();
    // Each of these takes from the input, so that one expression must not hold two of them: the
    // compiler chooses which comes first.
    int Number(); // small ones mostly, sometimes those at which things change, sometimes any
    int Small();  // -128 to 127
    uint8_t Byte();
    size_t Size(size_t most);
    Bytes Block();
    std::string Text();
    std::string HexText();
};

struct Call
{
    const char *name;
    void (*make)(Session *session);
};

struct CallTable
{
    const Call *calls;
    size_t count;
};

CallTable TransportCalls();
CallTable LinkCalls();
CallTable OperationCalls();
CallTable PbocCalls();
CallTable BusinessCalls();
CallTable CardCalls();
CallTable SupportCalls();

template <size_t count>
CallTable TableOf(const Call (&calls)[count])
{
    return {calls, count};
}

// Texts of the input's, or ones that take a call further: a transaction, an application, an
// issuer's answer.
std::string TransactionText(Session *session);
std::string AidText(Session *session);
std::string IssuerText(Session *session);

// Puts the settings and the log back where a session has them.
void PutPathsBack();

} // namespace fuzz
