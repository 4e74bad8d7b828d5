// The frame of the terminal-standard calls: each opens the reader, does one operation, closes it.
#pragma once

#include <cstdint>

#include "vantor/business.h"
#include "vantor/terminal.h"

// The arguments that every call begins with.
struct TerminalCall
{
    const char *name; // "IC_GetInfo", as the exit lines show it
    const char *port;
    const char *extendPort;
    int baudRate;
    int timeout;
};

constexpr int kBadTerminalArgument = -1007;

// What a log line shows of a text that may be missing.
const char *Shown(const char *text);

// The two lines that open a call. `enterText` is the call's name as the first of them has it.
void LogTerminalEntry(const char *enterText, const TerminalCall &call);

// Checks the common arguments; 0 or kBadTerminalArgument.
int CheckTerminalCall(const TerminalCall &call);

// Opens the reader; a failure is logged as the call's exit.
int OpenTerminal(const TerminalCall &call);

// The steps between the entry lines and the result. Three of them are the call's own:
//   check()          0, or the failure of its own arguments; it logs them. The reader is not open
//   operate()        the business call; the reader is open
//   finish(result)   writes back what goes back and logs the exit; the reader is closed again
template <typename Check, typename Operate, typename Finish>
int RunTerminalCall(const TerminalCall &call, Check check, Operate operate, Finish finish)
{
    int result = CheckTerminalCall(call);
    if (result == 0)
        result = check();
    if (result != 0)
        return Vantor_GetErrorCode(result);
    result = OpenTerminal(call);
    if (result != 0)
        return Vantor_GetErrorCode(result);
    result = operate();
    BO_Close();
    finish(result);
    return Vantor_GetErrorCode(result);
}
