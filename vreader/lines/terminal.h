// A pseudo-terminal as a serial line: hosts open the slave, the reader lives on the master.
#pragma once

#include "vreader/cards/card.h"

#include <string>
#include <sys/types.h>

namespace vreader
{

struct Terminal
{
    int master = -1;
    int slave = -1; // kept open, so that the master does not hang up when hosts come and go
    int watch = -1; // tells when hosts open and close the slave; -1 where the system cannot
    std::string name;
    int hosts = 0;
};

// Raw, 8 data bits, 9600 baud. False and an error text when there is none to be had.
bool OpenTerminal(Terminal *terminal, std::string *error);
// A host that has the terminal open sees it hang up.
void CloseTerminal(Terminal *terminal);

// What the host wrote, at most `capacity` bytes; 0 when there is nothing.
size_t ReadTerminal(const Terminal &terminal, uint8_t *bytes, size_t capacity);
// How many bytes the terminal took; fewer than `count` when the host does not read.
size_t WriteTerminal(const Terminal &terminal, const uint8_t *bytes, size_t count);

// Takes note of hosts that opened or closed the slave; true when the last one has closed it. What
// that one did not read is thrown away then, as a serial port does, so that no later host finds it.
// (The system tells two openings in the same instant as one: a line is one host's at a time.)
bool LastHostLeft(Terminal *terminal);

// True when nothing that was written waits for the host.
bool HostTookAll(const Terminal &terminal);

// The speed that the host has set, in bits per second; 0 for one that has no number here.
unsigned HostRate(const Terminal &terminal);

} // namespace vreader
