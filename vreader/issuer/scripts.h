// Issuer scripts: commands with their MACs, in the template that the calls take.
#pragma once

#include "vreader/cards/card.h"
#include "vreader/issuer/issuer.h"

namespace vreader
{

// The transaction that the commands belong to.
struct ScriptSession
{
    KeySet cardKeys;
    uint16_t counter;
    Block arqc;
    bool spoilsMacs;
};

// 71 or 72 with 9F18 and the commands; nothing without commands. An error text when a word is not
// understood.
Bytes BuildScripts(const ScriptSession &session, const IssuerRules &rules,
                   std::vector<std::string> *explanation, std::string *error);

} // namespace vreader
