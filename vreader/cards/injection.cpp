// Status words put in front of a card: the fault of a moment, without writing another card for it.
#include "vreader/cards/kinds.h"

#include <algorithm>

namespace vreader
{

namespace
{

struct Injection
{
    Bytes prefix;
    uint16_t statusWord;
    unsigned remaining; // 0: for ever
};

struct Injections
{
    std::vector<Injection> rules;
    bool answeredLast = false;
};

bool BeginsWith(const Bytes &bytes, const Bytes &prefix)
{
    return prefix.size() <= bytes.size() && std::equal(prefix.begin(), prefix.end(), bytes.begin());
}

// Counted rules go first, in the order they came; of the endless ones the latest holds.
std::optional<uint16_t> TakeStatus(std::vector<Injection> *rules, const Bytes &command)
{
    for (auto rule = rules->begin(); rule != rules->end(); ++rule)
    {
        if (rule->remaining == 0 || !BeginsWith(command, rule->prefix))
            continue;
        const uint16_t statusWord = rule->statusWord;
        if (--rule->remaining == 0)
            rules->erase(rule);
        return statusWord;
    }
    for (auto rule = rules->rbegin(); rule != rules->rend(); ++rule)
    {
        if (rule->remaining == 0 && BeginsWith(command, rule->prefix))
            return rule->statusWord;
    }
    return std::nullopt;
}

void AddRule(std::vector<Injection> *rules, const Injection &rule)
{
    const auto isReplaced = [&rule](const Injection &other)
    {
        const bool isForgotten =
            rule.statusWord == 0 && (rule.prefix.empty() || other.prefix == rule.prefix);
        const bool isOutlived =
            rule.remaining == 0 && other.remaining == 0 && other.prefix == rule.prefix;
        return isForgotten || isOutlived;
    };
    rules->erase(std::remove_if(rules->begin(), rules->end(), isReplaced), rules->end());
    if (rule.statusWord != 0)
        rules->push_back(rule);
}

void ReadRules(const Place &list, std::vector<Injection> *rules)
{
    if (!IsArray(list, "a list of {\"cmd\", \"sw\", \"count\"}"))
        return;
    for (size_t i = 0; i < list.value->size() && !Failed(list); ++i)
    {
        const Place entry = Element(list, i);
        if (!IsObjectOf(entry, {"cmd", "sw", "count"}))
            return;
        const std::optional<Place> statusWord = Find(entry, "sw");
        if (!statusWord)
        {
            Complain(entry, "the key \"sw\" is missing");
            return;
        }
        const Injection rule{HexAt(entry, "cmd", {}), StatusWord(*statusWord),
                             NumberAt(entry, "count", 0, 1000000, 0)};
        if (!Failed(list))
            AddRule(rules, rule);
    }
}

} // namespace

void AddInjection(Card *card, const std::optional<Place> &rules)
{
    const auto state = std::make_shared<Injections>();
    if (rules)
        ReadRules(*rules, &state->rules);
    card->injectStatus = [state](const Bytes &prefix, uint16_t statusWord, unsigned count) {
        AddRule(&state->rules, {prefix, statusWord, count});
    };
    card->transmit = [state, answer = card->transmit](const Bytes &command)
    {
        const std::optional<uint16_t> statusWord = TakeStatus(&state->rules, command);
        state->answeredLast = statusWord.has_value();
        return statusWord ? WithStatus({}, *statusWord) : answer(command);
    };
    card->remark = [state, remark = card->remark]
    { return state->answeredLast ? std::string("injected status word") : remark(); };
}

} // namespace vreader
