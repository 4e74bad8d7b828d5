#include "vreader/lines/usb_faults.h"

#include "vreader/words.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr unsigned long kMostPackets = 1000000000;

struct Row
{
    const char *name;
    UsbFaultKind kind;
    bool in;
    bool out;
    unsigned long most; // the number's limit; 0: there is no number
};

constexpr Row kRows[] = {
    {"cut", UsbFaultKind::cut, true, false, 63},
    {"babble", UsbFaultKind::babble, true, false, 0},
    {"drop", UsbFaultKind::drop, true, true, 0},
    {"stall", UsbFaultKind::stall, true, true, 0},
    {"error", UsbFaultKind::error, true, true, 0},
    {"delay", UsbFaultKind::delay, true, false, 60000},
    {"hold", UsbFaultKind::hold, false, true, 0},
    {"unplug", UsbFaultKind::unplug, true, true, 0},
};

const Row *FindRow(bool in, const std::string &name)
{
    for (const Row &row : kRows)
        if (name == row.name && (in ? row.in : row.out))
            return &row;
    return nullptr;
}

std::string KnownNames(bool in)
{
    std::string names;
    for (const Row &row : kRows)
        if (in ? row.in : row.out)
            names += std::string(names.empty() ? "" : ", ") + row.name;
    return names;
}

} // namespace

std::optional<UsbFault> ParseUsbFault(bool in, const std::string &words, std::string *problem)
{
    Words rest{words};
    const std::string name = NextWord(&rest);
    const Row *row = FindRow(in, name);
    if (row == nullptr)
    {
        *problem = "no fault \"" + name + "\" of " + (in ? "input" : "output") +
                   " reports; there are " + KnownNames(in);
        return std::nullopt;
    }
    UsbFault fault;
    fault.kind = row->kind;
    if (row->most != 0)
    {
        const std::optional<unsigned long> number = Number(NextWord(&rest), 0, row->most);
        if (!number)
        {
            *problem = name + " needs a number from 0 to " + std::to_string(row->most);
            return std::nullopt;
        }
        fault.number = *number;
    }
    for (std::string word = NextWord(&rest); !word.empty(); word = NextWord(&rest))
    {
        const std::optional<unsigned long> number = Number(NextWord(&rest), 0, kMostPackets);
        if ((word != "count" && word != "after") || !number)
        {
            *problem = "expected \"count N\" or \"after N\" behind " + name;
            return std::nullopt;
        }
        (word == "count" ? fault.count : fault.after) = *number;
    }
    return fault;
}

std::vector<UsbFault> TakeDueUsbFaults(std::vector<UsbFault> *faults)
{
    std::vector<UsbFault> due;
    for (UsbFault &fault : *faults)
    {
        if (fault.after > 0)
        {
            --fault.after;
            continue;
        }
        due.push_back(fault);
        fault.spent = fault.count > 0 && --fault.count == 0; // count 0 from the start: for ever
    }
    faults->erase(std::remove_if(faults->begin(), faults->end(),
                                 [](const UsbFault &fault) { return fault.spent; }),
                  faults->end());
    return due;
}

const UsbFault *FindUsbFault(const std::vector<UsbFault> &due, UsbFaultKind kind)
{
    for (const UsbFault &fault : due)
        if (fault.kind == kind)
            return &fault;
    return nullptr;
}

} // namespace vreader
