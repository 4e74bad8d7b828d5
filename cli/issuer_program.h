// The issuer's side is a program of its own: vantor-issuer beside the tool, or any other that takes
// the same words and answers in the same form: the answer in hexadecimal digits on standard output,
// why it came about on standard error, exit status 0.
#pragma once

#include <string>
#include <vector>

#include "options.h"

namespace tool
{

struct IssuerReply
{
    std::string error; // "" when there is an answer
    std::string hex;   // the answer for the card
    std::vector<std::string> explanation;
};

// Runs the program with these words and then the options that were handed on.
IssuerReply AskIssuer(const Options &options, std::vector<std::string> words);

// True when the options that were handed on hold this one, "--pan" or "--pan=1".
bool HandsOn(const Options &options, const std::string &option);

} // namespace tool
