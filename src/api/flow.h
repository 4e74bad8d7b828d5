// A business call is a list of steps over its own session record; the first that fails ends it.
#pragma once

#include <cstddef>

#include "vantor/support.h"

constexpr int kOwnCode = 0;

// A step gives 0, or anything else: then its message is logged and the call ends with its code.
template <typename Session>
struct Step
{
    int (*run)(Session *session);
    const char *message; // null: there is none, or the step has logged it
    int code;            // kOwnCode: what the step gave
    int (*log)(const char *format, ...) = GLogE;
};

template <typename Session, size_t count>
int RunSteps(const Step<Session> (&steps)[count], Session *session)
{
    for (const Step<Session> &step : steps)
    {
        const int result = step.run(session);
        if (result == 0)
            continue;
        if (step.message != nullptr)
            step.log("%s", step.message);
        return step.code == kOwnCode ? result : step.code;
    }
    return 0;
}

// Logs the message as an error and gives the code.
inline int Fail(const char *message, int code)
{
    GLogE("%s", message);
    return code;
}
