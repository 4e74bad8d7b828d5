#include "fuzz/support/card.h"

namespace fuzz
{

namespace
{

const Bytes kAtr = {0x3B, 0x65, 0x00, 0x00, 0x20, 0x63, 0xCB, 0x68, 0x00};

// The environment's FCI: its directory is file 1.
const Bytes kEnvironment = {0x6F, 0x15, 0x84, 0x0E, '1',  'P',  'A', 'Y', '.',
                            'S',  'Y',  'S',  '.',  'D',  'D',  'F', '0', '1',
                            0xA5, 0x03, 0x88, 0x01, 0x01, 0x90, 0x00};

const Bytes kDirectoryRecord = {0x70, 0x0C, 0x61, 0x0A, 0x4F, 0x08, 0xA0, 0x00,
                                0x00, 0x03, 0x33, 0x01, 0x01, 0x01, 0x90, 0x00};

const Bytes kNoRecord = {0x6A, 0x83};

uint8_t HexDigit(uint8_t character)
{
    return static_cast<uint8_t>(character >= 'A' ? character - 'A' + 10 : character - '0');
}

// The command without its frame: what the reader's IC module sees.
Bytes Unframed(const Bytes &command)
{
    const Framing framing = FramingOf(command);
    const size_t head = framing == Framing::kKrel ? 4 : 5; // the start and length of the frame
    Bytes bytes;
    if (framing != Framing::kKrel && framing != Framing::kUnion)
        return bytes;
    for (size_t i = head; i + 3 < command.size(); i += 2) // check and end are left out
    {
        const uint8_t high = framing == Framing::kKrel ? HexDigit(command[i]) : command[i] & 0x0F;
        const uint8_t low =
            framing == Framing::kKrel ? HexDigit(command[i + 1]) : command[i + 1] & 0x0F;
        bytes.push_back(static_cast<uint8_t>(high << 4 | low));
    }
    return bytes;
}

bool BeginsWith(const Bytes &bytes, const Bytes &start)
{
    return bytes.size() >= start.size() && std::equal(start.begin(), start.end(), bytes.begin());
}

Bytes Behind(const Bytes &bytes, size_t count)
{
    return Bytes(bytes.begin() + static_cast<long>(std::min(count, bytes.size())), bytes.end());
}

} // namespace

Bytes CardResponse(Input *input)
{
    if (input->left == 0)
        return kNoRecord;
    const uint8_t length = input->Byte();
    return input->Take(length == 0xFF ? input->Word() : length);
}

Bytes ApduOf(const Bytes &command)
{
    const Bytes bytes = Unframed(command);
    if (FramingOf(command) == Framing::kKrel && BeginsWith(bytes, {0xE3}))
        return Behind(bytes, 2); // the slot
    if (FramingOf(command) == Framing::kKrel && BeginsWith(bytes, {0xD3}))
        return Behind(bytes, 1);
    if (BeginsWith(bytes, {0x32, 0x26}))
        return Behind(bytes, 3);
    return {};
}

Answerer CardOfResponses(Input *input)
{
    return [input](const Bytes &command)
    {
        Answer answer;
        answer.bytes =
            GoodAnswer(FramingOf(command), ApduOf(command).empty() ? kAtr : CardResponse(input));
        return answer;
    };
}

Answerer CardWithFci(const Bytes &fci, Input *input)
{
    int step = 0;
    return [fci, input, step](const Bytes &command) mutable
    {
        const Bytes opening[] = {kEnvironment, kDirectoryRecord, kNoRecord, fci};
        Bytes data = kAtr;
        if (!ApduOf(command).empty())
            data = step < 4 ? opening[step++] : CardResponse(input);
        Answer answer;
        answer.bytes = GoodAnswer(FramingOf(command), data);
        return answer;
    };
}

} // namespace fuzz
