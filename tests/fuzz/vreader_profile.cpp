// Profiles of the virtual reader: any text, and what cards that it describes answer.
#include "fuzz/support/virtual_reader.h"

namespace
{

using fuzz::Bytes;
using fuzz::Desk;
using vreader::Framing;

Bytes ApduTo(std::initializer_list<int> apdu, bool contactless)
{
    Bytes command = contactless ? Bytes{0xD3} : Bytes{0xE3, 0x01};
    for (int byte : apdu)
        command.push_back(static_cast<uint8_t>(byte));
    return command;
}

// What a host would ask of a card that it knows nothing about.
void AskCard(Desk *desk, bool contactless)
{
    fuzz::ServeCommand(desk, Framing::krel, contactless ? Bytes{0xD1} : Bytes{0xE1, 0x01});
    const std::initializer_list<int> apdus[] = {
        {0x00, 0xA4, 0x04, 0x00, 0x0E, '1', 'P', 'A', 'Y', '.', 'S', 'Y', 'S', '.', 'D', 'D', 'F',
         '0', '1'},
        {0x00, 0xB2, 0x01, 0x0C, 0x00},
        {0x00, 0xA4, 0x04, 0x00, 0x08, 0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01},
        {0x80, 0xA8, 0x00, 0x00, 0x02, 0x83, 0x00},
        {0x00, 0xB2, 0x01, 0x14, 0x00},
        {0x80, 0xCA, 0x9F, 0x79, 0x00},
        {0x80, 0xAE, 0x80, 0x00, 0x04, 0x01, 0x02, 0x03, 0x04},
        {0x00, 0x84, 0x00, 0x00, 0x08},
        {0x00, 0xB0, 0x95, 0x00, 0x00},
        {0x00, 0xC0, 0x00, 0x00, 0x10},
    };
    for (const auto &apdu : apdus)
        fuzz::ServeCommand(desk, Framing::krel, ApduTo(apdu, contactless));
    fuzz::ServeCommand(desk, Framing::krel, contactless ? Bytes{0xD2} : Bytes{0xE2, 0x01});
}

void AskTheRest(Desk *desk)
{
    fuzz::ServeCommand(desk, Framing::krel, {0x81, 0x00});
    fuzz::ServeCommand(desk, Framing::krel, {0xF1});
    fuzz::ServeCommand(desk, Framing::escape, {0x1B, '$', 'S', '4'});
    for (const Bytes &command : {Bytes{0x11, 0xFF}, Bytes{0x20, 0x01}, Bytes{0x20, 0x02},
                                 Bytes{0x30, 0x01}, Bytes{0x30, 0x10}})
        fuzz::ServeCommand(desk, Framing::identity, command);
    fuzz::ServeCommand(desk, Framing::escape, {0x1B, 'B', 0x5D});
    fuzz::SwipeFor(desk);
}

} // namespace

// The text up to its first zero byte; behind it the name of a card to be taken out of the library.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const uint8_t *const zero = std::find(data, data + size, 0);
    const std::string text(data, zero);
    const std::string name(zero == data + size ? zero : zero + 1, data + size);
    if (text.empty())
        return 0;
    Desk desk;
    std::string error;
    if (!vreader::LoadProfile("", text, &desk.profile, &desk.reader, &error))
    {
        FUZZ_CHECK(!error.empty());
        return 0;
    }
    AskCard(&desk, false);
    AskCard(&desk, true);
    AskTheRest(&desk);
    if (!name.empty() && vreader::CardByName(&desk.profile, desk.reader, name, &error) == nullptr)
        FUZZ_CHECK(!error.empty());
    return 0;
}
