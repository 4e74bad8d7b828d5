// What a command has to say: lines for people as they come, one JSON document at the end.
#pragma once

#include <optional>
#include <string>

#include "card_fields.h"

namespace tool
{

struct Failure
{
    std::string call; // the library's call, or "" when the tool itself found the trouble
    int code;         // the library's code; 0 when the tool itself found the trouble
    std::string text; // the library's own text of the code; the terminal interface has none
    std::string meaning;
    std::string advice;
};

struct Report
{
    bool json = false;
    std::string command; // "ic reset"
    Json result = Json::object();
    std::optional<Failure> failure;
    bool cancelled = false;
};

constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kWrongUse = 2;

// Prints text for people at once; says nothing in the JSON form.
void Say(const Report &report, const std::string &text);

// Prints the JSON document, or what went wrong; gives the exit status.
int Finish(const Report &report);

// Wrong use has no report yet: the arguments that would fill it were not understood.
int PrintWrongUse(bool json, const std::string &message);

} // namespace tool
