#include "vreader/faults.h"

#include "vreader/cards/tlv.h"
#include "vreader/words.h"

#include <algorithm>

namespace vreader
{

namespace
{

enum class Argument
{
    none,
    number,
    optionalNumber,
    hex
};

struct FaultRow
{
    const char *name;
    FaultKind kind;
    Argument argument;
    unsigned long least;
    unsigned long most;
};

constexpr FaultRow kFaults[] = {
    {"silence", FaultKind::silence, Argument::none, 0, 0},
    {"delay", FaultKind::delay, Argument::number, 0, 60000},
    {"noise", FaultKind::noise, Argument::hex, 0, 0},
    {"cut", FaultKind::cut, Argument::number, 1, 1000000},
    {"truncate", FaultKind::truncate, Argument::optionalNumber, 1, 1000000},
    {"check", FaultKind::check, Argument::none, 0, 0},
    {"status", FaultKind::status, Argument::hex, 0, 0},
    {"raw", FaultKind::raw, Argument::hex, 0, 0},
    {"flood", FaultKind::flood, Argument::number, 1, 1000000},
    {"unplug", FaultKind::unplug, Argument::none, 0, 0},
};

constexpr unsigned long kMostAnswers = 1000000000;

const FaultRow *FindFault(const std::string &name)
{
    for (const FaultRow &row : kFaults)
        if (name == row.name)
            return &row;
    return nullptr;
}

bool ParseArgument(const FaultRow &row, Words *words, Fault *fault, std::string *problem)
{
    if (row.argument == Argument::none)
        return true;
    const std::string word = PeekWord(*words);
    const bool absent = word.empty() || word == "count" || word == "after";
    if (absent && row.argument == Argument::optionalNumber)
        return true;
    NextWord(words);
    fault->text += absent ? "" : " " + word;
    if (row.argument == Argument::hex)
    {
        const std::optional<Bytes> bytes = absent ? std::nullopt : BytesFromHex(word);
        if (!bytes || bytes->empty())
        {
            *problem = std::string("fault ") + row.name + " needs bytes in hexadecimal";
            return false;
        }
        fault->bytes = *bytes;
        return true;
    }
    const std::optional<unsigned long> number = Number(word, row.least, row.most);
    if (!number)
    {
        *problem = std::string("fault ") + row.name + " needs a number from " +
                   std::to_string(row.least) + " to " + std::to_string(row.most);
        return false;
    }
    fault->number = *number;
    return true;
}

void Apply(const Fault &fault, AnswerFaults *due)
{
    due->text += (due->text.empty() ? "fault " : ", ") + fault.text;
    switch (fault.kind)
    {
    case FaultKind::silence:
        due->silence = true;
        break;
    case FaultKind::delay:
        due->delayMs += fault.number;
        break;
    case FaultKind::noise:
        AppendBytes(&due->noise, fault.bytes);
        break;
    case FaultKind::cut:
        due->pieceSize = fault.number;
        break;
    case FaultKind::truncate:
        due->truncate = true;
        due->truncateTo = fault.number;
        break;
    case FaultKind::check:
        due->wrongCheck = true;
        break;
    case FaultKind::status:
        due->payload = fault.bytes;
        break;
    case FaultKind::raw:
        due->raw = fault.bytes;
        break;
    case FaultKind::flood:
        due->raw = Bytes(fault.number, 0xAA);
        break;
    case FaultKind::unplug:
        due->unplug = true;
        break;
    }
}

} // namespace

std::optional<Fault> ParseFault(const std::string &text, std::string *problem)
{
    Words words{text};
    Fault fault;
    fault.text = NextWord(&words);
    const FaultRow *row = FindFault(fault.text);
    if (row == nullptr)
    {
        *problem = "no fault \"" + fault.text +
                   "\"; there are silence, delay, noise, cut, "
                   "truncate, check, status, raw, flood, unplug and clear";
        return std::nullopt;
    }
    fault.kind = row->kind;
    if (!ParseArgument(*row, &words, &fault, problem))
        return std::nullopt;
    for (std::string word = NextWord(&words); !word.empty(); word = NextWord(&words))
    {
        const std::optional<unsigned long> number = Number(NextWord(&words), 0, kMostAnswers);
        if ((word != "count" && word != "after") || !number)
        {
            *problem = "expected \"count N\" or \"after N\" behind fault " + fault.text;
            return std::nullopt;
        }
        (word == "count" ? fault.count : fault.after) = *number;
    }
    return fault;
}

AnswerFaults TakeDueFaults(std::vector<Fault> *faults)
{
    AnswerFaults due;
    for (Fault &fault : *faults)
    {
        if (fault.after > 0)
        {
            --fault.after;
            continue;
        }
        Apply(fault, &due);
        // An empty text marks a used-up fault, since count 0 already means "for ever".
        if (fault.count > 0 && --fault.count == 0)
            fault.text.clear();
    }
    faults->erase(std::remove_if(faults->begin(), faults->end(),
                                 [](const Fault &fault) { return fault.text.empty(); }),
                  faults->end());
    return due;
}

std::vector<Bytes> Spoiled(const AnswerFaults &faults, Bytes wire)
{
    if (faults.raw)
        wire = *faults.raw;
    if (faults.truncate)
    {
        const size_t all = wire.empty() ? 0 : wire.size() - 1;
        wire.resize(faults.truncateTo == 0 ? all
                                           : std::min<size_t>(faults.truncateTo, wire.size()));
    }
    wire.insert(wire.begin(), faults.noise.begin(), faults.noise.end());
    const size_t size = faults.pieceSize == 0 ? wire.size() : faults.pieceSize;
    std::vector<Bytes> pieces;
    for (size_t start = 0; start < wire.size(); start += size)
    {
        const size_t end = std::min(wire.size(), start + size);
        pieces.emplace_back(wire.begin() + static_cast<std::ptrdiff_t>(start),
                            wire.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return pieces;
}

} // namespace vreader
