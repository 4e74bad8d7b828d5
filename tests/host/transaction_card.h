// What the tests of the transaction calls have in common: the card's side up to the selection of
// its application, and areas that show how far they were written.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "host/scripted_reader.h"
#include "support/pboc_data.h"

namespace testing_support
{

constexpr char kSelectEnvironment[] = "00A404000E315041592E5359532E4444463031";
constexpr char kEnvironment[] = "6F15840E315041592E5359532E4444463031A5038801019000";
constexpr char kSelectApplication[] = "00A4040008A000000333010101";
constexpr char kNoPdol[] = "6F009000";
constexpr char kAmountPdol[] = "6F069F38039F02069000"; // asks for the amount

// The application is the only one of the directory.
inline ReaderScript &SelectCard(ReaderScript *script, const std::string &fci)
{
    return script->PowerOn("3B00")
        .Apdu(kSelectEnvironment, kEnvironment)
        .Apdu("00B2010C00", "700C610A4F08A0000003330101019000")
        .Apdu("00B2020C00", "6A83")
        .Apdu(kSelectApplication, fci);
}

// The same without a directory: quicker, and the application has an empty name.
inline ReaderScript &SelectUnnamedCard(ReaderScript *script, const std::string &fci)
{
    return script->PowerOn("3B00").Apdu(kSelectEnvironment, "9303").Apdu("00A4040000", fci);
}

inline std::string Repeated(size_t count, const char *text)
{
    std::string all;
    for (size_t i = 0; i < count; i++)
        all += text;
    return all;
}

// "82" with two bytes of length, whatever the length.
inline std::string LongLength(size_t length)
{
    return "82" + HexByte(length >> 8) + HexByte(length & 0xFF);
}

// An object with its length in as few bytes as BER has it.
inline std::string Object(const std::string &tag, const std::string &value)
{
    const size_t length = value.size() / 2;
    if (length > 255)
        return tag + LongLength(length) + value;
    return tag + (length > 127 ? "81" : "") + HexByte(length) + value;
}

// An output area of exactly `room` bytes, with a guard behind it.
struct Area
{
    std::vector<char> bytes;

    explicit Area(size_t room) : bytes(room + 64, '#')
    {
    }
    char *data()
    {
        return bytes.data();
    }
    // Up to the last byte that was written.
    std::string All() const
    {
        size_t end = bytes.size();
        while (end > 0 && bytes[end - 1] == '#')
            end--;
        return {bytes.data(), end};
    }
    // The text, when a NUL is the last byte that was written.
    std::string Text() const
    {
        const std::string all = All();
        if (all.empty() || all.back() != '\0')
            return "no NUL behind: " + all;
        return all.substr(0, all.size() - 1);
    }
};

// The four bytes of 9F37 that the library holds.
inline std::string UnpredictableNumber(const HostLibrary &library)
{
    return HexOf(VARIABLE(library, g_szTxData) + 50, 4);
}

} // namespace testing_support
