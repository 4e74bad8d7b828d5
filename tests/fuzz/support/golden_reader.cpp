#include "fuzz/support/golden_reader.h"

#include "fuzz/support/card.h"

namespace fuzz
{

namespace
{

struct Row
{
    const char *command; // the beginning of it, as hexadecimal text
    const char *answer;  // "": as it stands, nothing
};

// A PBOC card: SELECT, READ RECORD, GET PROCESSING OPTIONS, GENERATE AC and the rest. Its one
// application has a PDOL, both CDOLs, a transaction and a load log.
const Row kApdus[] = {
    {"00A404000E315041592E", "6F15840E315041592E5359532E4444463031A5038801019000"},
    {"00B2010C", "700C610A4F08A0000003330101019000"},
    {"00B2020C", "6A83"},
    {"00A4040008A0",
     "6F338408A000000333010101A527500450424F438701019F380F9F1A029F7A019F02065F2A029F4E14BF0C0A"
     "9F4D020B03DF4D020C029000"},
    {"80A8", "80127C00080101001001020018010201200103009000"},
    {"00B2010C", "70009000"},
    {"00B20114",
     "705B5A0A6228000100001117000F5F24033012318C1B9F02069F03069F1A0295055F2A029A039C019F37049F2103"
     "9F4E148D1A8A029F02069F03069F1A0295055F2A029A039C019F37049F2103570F6228000100001117D3012201900"
     "0"},
    {"00B2015C", "16052419122200000000001234000000000000015601564D45524348414E54000000000000000000"
                 "0000000000000001003F9000"},
    {"00B2025C", "6A83"},
    {"00B20164", "9F790000000010000000000020001605241912220156414243000000000000000000000000000000"
                 "0000000000019000"},
    {"80CA9F79", "9F79060000000037809000"},
    {"80CA9F36", "9F360200019000"},
    {"80CA", "6A88"},
    {"80AE80", "80128000019576389A2C9E753407010103A000009000"},
    {"80AE40", "8012400002AC11223344556677070101036000009000"},
    {"80AE", "8012000002AC11223344556677070101032000009000"},
    {"0082", "9000"},
    {"0084", "11223344556677889000"},
    {"00B0", "0102030405060708090A0B0C0D0E0F109000"},
    {"805C", "000027109000"},
    {"8050", "00002710000100000000112233449000"},
    {"8054", "112233449000"},
    // A social security card: its files and records.
    {"00A404000F7378", "6F14840F7378312E73682EE7A4BEE4BC9AE4BF8801159000"},
    {"00A4020002", "9000"},
    {"00B201", "0106310100D156009000"},
    {"00B202", "0201319000"},
    {"00B203", "0304322E30309000"},
    {"00B204", "040801020304050607089000"},
    {"00A4", "6A82"},
    {"00B2", "6A83"},
    {"", "9000"},
};

// The identity module; a record follows the read.
const Row kIdentity[] = {
    {"11FF", "000090"}, {"2001", "00009F"}, {"2002", "000090"},
    {"3001", "000090"}, {"3010", "000090"}, {"", "000090"},
};

// Escape sequences.
const Row kRaw[] = {
    {"1B5D", "1B73363232323032303230303131323233333D323531323F1C"},
    {"1B545D", "1B7339393632323230323032303D31353631353630303F1C"},
    {"1B74", "1B427270"},
    {"1B24", "1B70"},
    {"1B30", ""},
    {"1B53", ""},
    {"1B25", ""},
    {"1B", "1B73363232323D323531324139393D3135362542363232325E4E414D453F1C"},
};

Bytes FromHex(const char *text)
{
    Bytes bytes;
    int high = -1;
    for (; *text != '\0'; text++)
    {
        if (*text == ' ')
            continue;
        const int digit = *text >= 'A' ? *text - 'A' + 10 : *text - '0';
        if (high < 0)
            high = digit;
        else
        {
            bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    return bytes;
}

struct Parsed
{
    Bytes command;
    Bytes answer;
};

template <size_t count>
Bytes Find(const Row (&rows)[count], const Bytes &command)
{
    static const std::vector<Parsed> parsed = [&rows]
    {
        std::vector<Parsed> all;
        for (const Row &row : rows)
            all.push_back({FromHex(row.command), FromHex(row.answer)});
        return all;
    }();
    for (const Parsed &row : parsed)
        if (command.size() >= row.command.size() &&
            std::equal(row.command.begin(), row.command.end(), command.begin()))
            return row.answer;
    return {};
}

// 256 bytes of text and 1024 of photo, and as many of fingerprint when it was asked for.
void AppendRecord(Bytes *answer, bool withFingerprint)
{
    static const Bytes lengths = {0x01, 0x00, 0x04, 0x00};
    answer->insert(answer->end(), lengths.begin(), lengths.end());
    if (withFingerprint)
        answer->insert(answer->end(), {0x04, 0x00});
    static const char16_t text[] = u"张三             111199001010000000000";
    for (size_t i = 0; i < 128; i++)
    {
        const char16_t unit = i < sizeof text / 2 - 1 ? text[i] : u' ';
        answer->push_back(static_cast<uint8_t>(unit));
        answer->push_back(static_cast<uint8_t>(unit >> 8));
    }
    answer->resize(answer->size() + (withFingerprint ? 2048 : 1024), 0x55);
}

} // namespace

Bytes GoldenAnswer(const Bytes &command)
{
    const Framing framing = FramingOf(command);
    if (framing == Framing::kRaw)
        return Find(kRaw, command);
    if (framing == Framing::kIdentity)
    {
        if (command.size() < 9)
            return {};
        const Bytes payload(command.begin() + 7, command.end());
        Bytes answer = Find(kIdentity, payload);
        if (payload[0] == 0x30)
            AppendRecord(&answer, payload[1] == 0x10);
        return IdentityAnswer(answer);
    }
    const Bytes apdu = ApduOf(command);
    if (!apdu.empty())
        return GoodAnswer(framing, Find(kApdus, apdu));
    // An ATR, a card's number, a block: any of the reader's own commands is content with it.
    return GoodAnswer(framing, FromHex("3B6500002063CB68000102030405060708"));
}

} // namespace fuzz
