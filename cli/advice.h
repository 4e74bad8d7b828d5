// What a result code means in plain English, and what to try.
#pragma once

#include <string>
#include <string_view>

namespace tool
{

struct Surroundings
{
    std::string port = "USB"; // "USB" or a device path
    int iccmd = 0;            // the command set that config.ini selects
};

struct Advice
{
    std::string meaning;
    std::string advice;
};

// `call` names the call that gave the code; a few codes mean something else in one call.
Advice FindAdvice(std::string_view call, int code, const Surroundings &surroundings);

// The terminal-standard interface has a numbering of its own.
Advice FindTerminalAdvice(int code, const Surroundings &surroundings);
bool IsTerminalCall(std::string_view call);

// Fills {port}, {iccmd} and {other} (the other command set) in a text.
std::string FillPlaces(std::string text, const Surroundings &surroundings);

} // namespace tool
