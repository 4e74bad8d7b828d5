// What the targets hold the library to, and the room they give it for its outputs.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "fuzz/support/input.h"

// Ends the program when a rule is broken: the fuzzer then keeps the input.
#define FUZZ_CHECK(rule) ((rule) ? static_cast<void>(0) : fuzz::Broken(#rule, __FILE__, __LINE__))

namespace fuzz
{

[[noreturn]] inline void Broken(const char *rule, const char *file, int line)
{
    std::fprintf(stderr, "%s:%d: broken: %s\n", file, line, rule);
    std::abort();
}

#if defined(__SANITIZE_ADDRESS__)
constexpr size_t kGuards = 0;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr size_t kGuards = 0;
#else
constexpr size_t kGuards = 64;
#endif
#else
constexpr size_t kGuards = 64;
#endif

// Exactly so many bytes on the heap, each 0xEE until something is written there. AddressSanitizer
// sees the first access outside of them; without it guard bytes behind them tell of writes.
struct Room
{
    size_t size;
    std::unique_ptr<uint8_t[]> memory;

    explicit Room(size_t bytes, uint8_t fill = 0xEE)
        : size(bytes), memory(new uint8_t[bytes + kGuards])
    {
        std::memset(memory.get(), fill, size);
        std::memset(memory.get() + size, 0xA5, kGuards);
    }
    // A copy of bytes, for inputs that a call may write to or must not read past.
    explicit Room(const Bytes &bytes) : Room(bytes.size())
    {
        if (!bytes.empty())
            std::memcpy(memory.get(), bytes.data(), bytes.size());
    }
    // A copy of a text with its NUL.
    explicit Room(const std::string &text) : Room(text.size() + 1)
    {
        std::memcpy(memory.get(), text.c_str(), text.size() + 1);
    }
    ~Room()
    {
        for (size_t i = 0; i < kGuards; i++)
            FUZZ_CHECK(memory[size + i] == 0xA5);
    }
    Room(const Room &) = delete;
    Room &operator=(const Room &) = delete;

    uint8_t *Data()
    {
        return memory.get();
    }
    char *Text()
    {
        return reinterpret_cast<char *>(memory.get());
    }
    int Size() const
    {
        return static_cast<int>(size);
    }
    // Whether nothing was written from there on.
    bool IsUntouchedFrom(size_t at) const
    {
        for (size_t i = at; i < size; i++)
            if (memory[i] != 0xEE)
                return false;
        return true;
    }
    // The length of the text in the room. It must end in it.
    size_t TextLength() const
    {
        const size_t length = strnlen(reinterpret_cast<const char *>(memory.get()), size);
        FUZZ_CHECK(length < size);
        return length;
    }
};

} // namespace fuzz
