// Buffers that show what was written into them and what was not.
#pragma once

#include <array>
#include <string>

#include "support/golden_line.h"

namespace wire_testing
{

inline const unsigned char *Bytes(const std::string &text)
{
    return reinterpret_cast<const unsigned char *>(text.data());
}

inline int Length(const std::string &text)
{
    return static_cast<int>(text.size());
}

// Every byte is 0xEE until something is written there.
struct Room
{
    std::array<unsigned char, 4200> bytes;
    Room()
    {
        bytes.fill(0xEE);
    }
    unsigned char *Data()
    {
        return bytes.data();
    }
    std::string Text(size_t count) const
    {
        return std::string(reinterpret_cast<const char *>(bytes.data()), count);
    }
    std::string Hex(size_t count) const
    {
        return testing_support::ToHex(Text(count));
    }
};

} // namespace wire_testing
