// A raw pseudo-terminal: the test holds the master side and plays the device at the line's far end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace testing_support
{

using Bytes = std::vector<uint8_t>;

struct PtyLine
{
    int master = -1;
    std::string name; // the terminal to open, "/dev/pts/7"

    PtyLine();
    ~PtyLine();
    PtyLine(const PtyLine &) = delete;
    PtyLine &operator=(const PtyLine &) = delete;

    void Write(const Bytes &bytes) const; // from then on a select on the terminal finds them
    // Exactly count bytes; fewer only when the time passes or the line is gone.
    Bytes Read(size_t count, int timeoutMs = 2000) const;
    void Close(); // the terminal vanishes, as an unplugged adapter does
};

} // namespace testing_support
