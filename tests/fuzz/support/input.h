// What a target takes from its input, front to back. An input that is used up gives zero bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace fuzz
{

// Always made of a whole range, so that no byte behind the last one belongs to it.
using Bytes = std::vector<uint8_t>;

struct Input
{
    const uint8_t *bytes;
    size_t left;

    uint8_t Byte()
    {
        if (left == 0)
            return 0;
        left--;
        return *bytes++;
    }
    uint16_t Word()
    {
        const unsigned high = Byte();
        return static_cast<uint16_t>(high << 8 | Byte());
    }
    int32_t Number()
    {
        const uint32_t high = Word();
        return static_cast<int32_t>(high << 16 | Word());
    }
    bool Flag()
    {
        return (Byte() & 1) != 0;
    }
    // Fewer when so many are not left.
    Bytes Take(size_t count)
    {
        count = std::min(count, left);
        Bytes taken(bytes, bytes + count);
        bytes += count;
        left -= count;
        return taken;
    }
    Bytes Rest()
    {
        return Take(left);
    }
    // A length byte and so many bytes.
    Bytes Block()
    {
        return Take(Byte());
    }
    // A length word and so many bytes.
    Bytes LongBlock()
    {
        return Take(Word());
    }
    // As a C string sees it: up to the first zero byte.
    std::string Text()
    {
        const Bytes block = Block();
        return std::string(block.begin(), std::find(block.begin(), block.end(), 0));
    }
};

} // namespace fuzz
