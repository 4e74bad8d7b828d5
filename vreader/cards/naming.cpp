// Commands and status words in words, for traces. Names as in ISO 7816-4, EMV book 3 and the PBOC
// debit/credit, electronic purse and deposit standards.
#include "vreader/cards/command.h"
#include "vreader/cards/tlv.h"

#include <algorithm>

namespace vreader
{

namespace
{

struct CommandNameEntry
{
    int cla; // kAny: whatever the class
    int ins;
    int p1;
    int p2;
    const char *name;
    std::string (*details)(const Command &command); // may be null
};

constexpr int kAny = -1;

struct TagNameEntry
{
    Tag tag;
    const char *name;
};

constexpr TagNameEntry kDataObjectNames[] = {
    {0x9F13, "last online application transaction counter"},
    {0x9F17, "PIN try counter"},
    {0x9F36, "application transaction counter"},
    {0x9F4F, "log format"},
    {0x9F50, "offline balance"},
    {0x9F51, "application currency code"},
    {0x9F52, "application default action"},
    {0x9F53, "consecutive transaction limit (international)"},
    {0x9F54, "cumulative total transaction amount limit"},
    {0x9F56, "issuer authentication indicator"},
    {0x9F57, "issuer country code"},
    {0x9F58, "lower consecutive offline limit"},
    {0x9F59, "upper consecutive offline limit"},
    {0x9F5C, "cumulative total transaction amount upper limit"},
    {0x9F5D, "available offline spending amount"},
    {0x9F68, "card additional processes"},
    {0x9F6B, "card CVM limit"},
    {0x9F6C, "card transaction qualifiers"},
    {0x9F6D, "electronic cash reset threshold"},
    {0x9F72, "consecutive transaction limit (international, country)"},
    {0x9F75, "cumulative total transaction amount limit (dual currency)"},
    {0x9F77, "electronic cash balance limit"},
    {0x9F78, "electronic cash single transaction limit"},
    {0x9F79, "electronic cash balance"},
    {0x9F7F, "card production life cycle data"},
    {0xDF4F, "load log format"},
};

std::string Number(unsigned number)
{
    return std::to_string(number);
}

bool IsPrintable(const Bytes &bytes)
{
    return !bytes.empty() && std::all_of(bytes.begin(), bytes.end(),
                                         [](uint8_t byte) { return byte >= 0x20 && byte < 0x7F; });
}

std::string SelectDetails(const Command &command)
{
    constexpr uint8_t kByName = 0x04;
    constexpr uint8_t kNext = 0x02;
    std::string what = command.p1 == kByName ? "" : "file ";
    if (command.p1 == kByName && (command.p2 & 0x03) == kNext)
        what = "next ";
    if (command.data.empty())
        return what + "(no name)";
    if (command.p1 == kByName && IsPrintable(command.data))
        return what + std::string(command.data.begin(), command.data.end());
    return what + HexText(command.data);
}

std::string RecordDetails(const Command &command)
{
    const unsigned file = command.p2 >> 3;
    return Number(command.p1) + (file == 0 ? " current file" : " SFI " + Number(file));
}

std::string BinaryDetails(const Command &command)
{
    if ((command.p1 & 0x80) != 0)
        return "SFI " + Number(command.p1 & 0x1F) + " offset " + Number(command.p2);
    return "offset " + Number(static_cast<unsigned>(command.p1 << 8 | command.p2));
}

std::string TagDetails(const Command &command)
{
    const Tag tag = static_cast<Tag>(command.p1 << 8 | command.p2);
    const std::string text = HexText({command.p1, command.p2});
    for (const TagNameEntry &entry : kDataObjectNames)
    {
        if (entry.tag == tag)
            return text + " " + entry.name;
    }
    return command.p1 == 0 ? HexText({command.p2}) : text;
}

std::string ExpectedLength(const Command &command)
{
    return Number(command.hasLe && command.le != 0 ? command.le : 256);
}

// The two high bits of the reference control say which cryptogram is asked for.
std::string CryptogramDetails(const Command &command)
{
    static const char *const kCryptograms[] = {"AAC", "TC", "ARQC", "reserved"};
    return kCryptograms[command.p1 >> 6];
}

constexpr CommandNameEntry kCommandNames[] = {
    {kAny, 0xA4, kAny, kAny, "SELECT", SelectDetails},
    {kAny, 0xB2, kAny, kAny, "READ RECORD", RecordDetails},
    {kAny, 0xDC, kAny, kAny, "UPDATE RECORD", RecordDetails},
    {kAny, 0xE2, kAny, kAny, "APPEND RECORD", RecordDetails},
    {kAny, 0xB0, kAny, kAny, "READ BINARY", BinaryDetails},
    {kAny, 0xD6, kAny, kAny, "UPDATE BINARY", BinaryDetails},
    {kAny, 0xC0, kAny, kAny, "GET RESPONSE", ExpectedLength},
    {kAny, 0xCA, kAny, kAny, "GET DATA", TagDetails},
    {kAny, 0xDA, kAny, kAny, "PUT DATA", TagDetails},
    {0x80, 0xA8, kAny, kAny, "GET PROCESSING OPTIONS", nullptr},
    {kAny, 0xAE, kAny, kAny, "GENERATE AC", CryptogramDetails},
    {kAny, 0x82, kAny, kAny, "EXTERNAL AUTHENTICATE", nullptr},
    {kAny, 0x88, kAny, kAny, "INTERNAL AUTHENTICATE", nullptr},
    {kAny, 0x84, kAny, kAny, "GET CHALLENGE", ExpectedLength},
    {kAny, 0x20, kAny, kAny, "VERIFY", nullptr},
    {0x84, 0x24, kAny, kAny, "PIN CHANGE/UNBLOCK", nullptr},
    {0x84, 0x16, kAny, kAny, "CARD BLOCK", nullptr},
    {0x84, 0x18, kAny, kAny, "APPLICATION UNBLOCK", nullptr},
    {0x84, 0x1E, kAny, kAny, "APPLICATION BLOCK", nullptr},
    {0x80, 0x5C, kAny, kAny, "GET BALANCE", nullptr},
    {0x80, 0x50, 0x00, kAny, "INITIALIZE FOR LOAD", nullptr},
    {0x80, 0x50, 0x01, kAny, "INITIALIZE FOR PURCHASE", nullptr},
    {0x80, 0x52, kAny, kAny, "CREDIT FOR LOAD", nullptr},
    {0x80, 0x54, 0x00, kAny, "CREDIT FOR LOAD", nullptr},
    {0x80, 0x54, 0x01, kAny, "DEBIT FOR PURCHASE", nullptr},
    {0x80, 0xFA, kAny, kAny, "CRYPT DATA", nullptr},
    {0xBF, 0xDE, kAny, kAny, "DELIVERY KEY", nullptr},
};

bool Fits(int pattern, uint8_t value)
{
    return pattern == kAny || pattern == value;
}

// A command whose lengths are wrong still has a name, read from its header.
Command HeaderOf(const Bytes &bytes)
{
    Command command;
    command.cla = bytes[0];
    command.ins = bytes[1];
    command.p1 = bytes[2];
    command.p2 = bytes[3];
    return command;
}

struct StatusNameEntry
{
    uint16_t statusWord;
    const char *name;
};

constexpr StatusNameEntry kStatusNames[] = {
    {0x9000, "success"},
    {0x6200, "warning, no information"},
    {0x6281, "part of the data may be corrupted"},
    {0x6282, "end of file reached early"},
    {0x6283, "selected file invalidated"},
    {0x6284, "file control information not formatted"},
    {0x6285, "selected file terminated"},
    {0x6300, "authentication failed"},
    {0x6400, "execution error, state unchanged"},
    {0x6581, "memory failure"},
    {0x6700, "wrong length"},
    {0x6881, "logical channel not supported"},
    {0x6882, "secure messaging not supported"},
    {0x6900, "command not allowed"},
    {0x6901, "command not allowed in this state"},
    {0x6981, "command does not fit the file structure"},
    {0x6982, "security status not satisfied"},
    {0x6983, "authentication method blocked"},
    {0x6984, "referenced data invalidated"},
    {0x6985, "conditions of use not satisfied"},
    {0x6986, "command not allowed (no current file)"},
    {0x6987, "secure messaging data missing"},
    {0x6988, "secure messaging data incorrect"},
    {0x6A80, "wrong data"},
    {0x6A81, "function not supported"},
    {0x6A82, "file not found"},
    {0x6A83, "record not found"},
    {0x6A84, "not enough memory in the file"},
    {0x6A85, "lengths inconsistent with TLV structure"},
    {0x6A86, "wrong P1 P2"},
    {0x6A87, "Lc inconsistent with P1 P2"},
    {0x6A88, "referenced data not found"},
    {0x6B00, "wrong parameters"},
    {0x6D00, "instruction not supported"},
    {0x6E00, "class not supported"},
    {0x6F00, "no precise diagnosis"},
    {0x9302, "wrong MAC"},
    {0x9303, "application permanently locked"},
    {0x9401, "insufficient amount"},
    {0x9402, "transaction counter at its limit"},
    {0x9403, "key index not supported"},
    {0x9406, "required MAC not available"},
};

// What the first byte alone says of status words that are in no list.
constexpr StatusNameEntry kStatusClasses[] = {
    {0x62, "warning, state unchanged"}, {0x63, "warning, state changed"},
    {0x64, "execution error"},          {0x65, "execution error, state changed"},
    {0x66, "security error"},           {0x68, "function in the class byte not supported"},
    {0x69, "command not allowed"},      {0x6A, "wrong parameters"},
    {0x6F, "no precise diagnosis"},
};

std::string StatusMeaning(uint16_t statusWord)
{
    const unsigned low = statusWord & 0xFF;
    for (const StatusNameEntry &entry : kStatusNames)
    {
        if (entry.statusWord == statusWord)
            return entry.name;
    }
    if (statusWord >> 8 == 0x61)
        return Number(low == 0 ? 256 : low) + " more bytes to fetch";
    if (statusWord >> 8 == 0x6C)
        return "wrong Le, " + Number(low == 0 ? 256 : low) + " is right";
    if ((statusWord & 0xFFF0) == 0x63C0)
        return "verification failed, " + Number(low & 0x0F) + " tries left";
    for (const StatusNameEntry &entry : kStatusClasses)
    {
        if (entry.statusWord == statusWord >> 8)
            return entry.name;
    }
    return "unknown status word";
}

} // namespace

std::string CommandName(const Bytes &bytes)
{
    if (bytes.size() < 4)
        return "incomplete command of " + Number(static_cast<unsigned>(bytes.size())) +
               (bytes.size() == 1 ? " byte" : " bytes");
    const Command command = ParseCommand(bytes).value_or(HeaderOf(bytes));
    for (const CommandNameEntry &entry : kCommandNames)
    {
        const bool isThisOne = Fits(entry.cla, command.cla) && Fits(entry.ins, command.ins) &&
                               Fits(entry.p1, command.p1) && Fits(entry.p2, command.p2);
        if (!isThisOne)
            continue;
        std::string name = entry.name;
        if (entry.details != nullptr)
            name += " " + entry.details(command);
        return name;
    }
    return "command " + HexText({command.cla, command.ins, command.p1, command.p2});
}

std::string StatusName(uint16_t statusWord)
{
    const Bytes bytes = WithStatus({}, statusWord);
    return HexText(bytes) + " " + StatusMeaning(statusWord);
}

} // namespace vreader
