#include "atr.h"

#include "presentation.h"

namespace tool
{

static unsigned char Byte(std::string_view bytes, size_t at)
{
    return static_cast<unsigned char>(bytes[at]);
}

static void AddInterfaceByte(Atr *atr, const std::string &name, unsigned char value)
{
    if (!atr->interfaceBytes.empty())
        atr->interfaceBytes += ' ';
    atr->interfaceBytes += name + "=" + Hex(std::string(1, static_cast<char>(value)));
}

// TA1: the card's fastest speed, F in the high half and D in the low one; 0 is reserved.
static void SetSpeed(Atr *atr, unsigned char ta1)
{
    static const int kF[16] = {372, 372, 558, 744,  1116, 1488, 1860, 0,
                               0,   512, 768, 1024, 1536, 2048, 0,    0};
    static const int kD[16] = {0, 1, 2, 4, 8, 16, 32, 64, 12, 20, 0, 0, 0, 0, 0, 0};
    atr->clockRate = kF[ta1 >> 4];
    atr->bitRate = kD[ta1 & 0x0F];
}

static void AddProtocol(Atr *atr, int protocol)
{
    for (const int known : atr->protocols)
        if (known == protocol)
            return;
    atr->protocols.push_back(protocol);
}

// Groups of TA TB TC TD: T0 and each TD say in their high half which of the next group follow.
static bool ReadInterfaceBytes(Atr *atr, std::string_view bytes, size_t *at)
{
    unsigned presence = Byte(bytes, 1) >> 4;
    for (int group = 1; presence != 0; group++)
    {
        unsigned next = 0;
        for (unsigned bit = 0; bit < 4; bit++)
        {
            if ((presence & (1U << bit)) == 0)
                continue;
            if (*at >= bytes.size())
                return false;
            const unsigned char value = Byte(bytes, (*at)++);
            const std::string name =
                std::string("T") + static_cast<char>('A' + bit) + std::to_string(group);
            AddInterfaceByte(atr, name, value);
            if (name == "TA1")
                SetSpeed(atr, value);
            if (name == "TC1")
                atr->extraGuardTime = value;
            if (bit != 3)
                continue;
            if ((value & 0x0F) != 15) // T=15 marks global bytes, it is no protocol
                AddProtocol(atr, value & 0x0F);
            next = value >> 4;
        }
        presence = next;
    }
    return true;
}

static Atr DecodeContact(std::string_view bytes)
{
    Atr atr;
    atr.kind = "ATR";
    atr.convention = Byte(bytes, 0) == 0x3B ? "direct" : "inverse";
    if (bytes.size() < 2)
    {
        atr.trouble = "it ends after its first byte";
        return atr;
    }
    size_t at = 2;
    const bool whole = ReadInterfaceBytes(&atr, bytes, &at);
    if (atr.protocols.empty())
        atr.protocols.push_back(0);
    const size_t historicalCount = Byte(bytes, 1) & 0x0F;
    atr.historical = bytes.substr(at, historicalCount);
    at += historicalCount;
    const bool checked = atr.protocols.size() > 1 || atr.protocols.front() != 0;
    if (!whole || bytes.size() < at + (checked ? 1 : 0))
    {
        atr.trouble = "it is shorter than it says";
        return atr;
    }
    if (checked) // TCK makes the XOR of everything behind TS zero
    {
        unsigned char sum = 0;
        for (size_t i = 1; i <= at; i++)
            sum = static_cast<unsigned char>(sum ^ Byte(bytes, i));
        if (sum != 0)
            atr.trouble = "its check byte TCK is wrong";
        at++;
    }
    if (bytes.size() > at)
        atr.trouble = std::to_string(bytes.size() - at) + " bytes too many";
    return atr;
}

// TL (the length, itself included), T0 (which of TA TB TC follow), historical bytes.
static Atr DecodeContactless(std::string_view bytes)
{
    Atr ats;
    ats.kind = "ATS";
    size_t at = 1;
    if (bytes.size() > at)
    {
        const unsigned char format = Byte(bytes, at++);
        for (unsigned bit = 0; bit < 3; bit++)
        {
            if ((format & (0x10U << bit)) == 0)
                continue;
            if (at >= bytes.size())
            {
                ats.trouble = "it is shorter than it says";
                return ats;
            }
            AddInterfaceByte(&ats, std::string("T") + static_cast<char>('A' + bit),
                             Byte(bytes, at++));
        }
    }
    ats.historical = bytes.substr(at);
    return ats;
}

Atr DecodeAtr(std::string_view bytes)
{
    if (bytes.empty())
    {
        Atr atr;
        atr.trouble = "it is empty";
        return atr;
    }
    if (Byte(bytes, 0) == 0x3B || Byte(bytes, 0) == 0x3F)
        return DecodeContact(bytes);
    if (Byte(bytes, 0) == bytes.size())
        return DecodeContactless(bytes);
    Atr atr;
    atr.trouble = "it begins like neither an ATR nor an ATS";
    return atr;
}

static std::string Protocols(const Atr &atr)
{
    std::string text;
    for (const int protocol : atr.protocols)
        text += (text.empty() ? "T=" : ", T=") + std::to_string(protocol);
    return text;
}

Json AtrJson(std::string_view bytes)
{
    const Atr atr = DecodeAtr(bytes);
    const std::optional<std::string> text = TextFromGb(atr.historical);
    Json object = {{"hex", Hex(bytes)}, {"kind", atr.kind}};
    if (atr.kind == std::string_view("ATR"))
    {
        object["convention"] = atr.convention;
        object["protocols"] = atr.protocols;
        object["f"] = atr.clockRate;
        object["d"] = atr.bitRate;
        object["extra_guard_time"] = atr.extraGuardTime;
    }
    object["interface_bytes"] = atr.interfaceBytes;
    object["historical"] = {{"hex", Hex(atr.historical)},
                            {"text", text ? Json(*text) : Json(nullptr)}};
    object["trouble"] = atr.trouble.empty() ? Json(nullptr) : Json(atr.trouble);
    return object;
}

std::string AtrText(std::string_view bytes)
{
    const Atr atr = DecodeAtr(bytes);
    const std::string kind = atr.kind;
    std::string text = "  " + std::string(kind == "unknown" ? "Answer" : kind) + "               " +
                       SpacedHex(Hex(bytes)) + "\n";
    if (kind == "unknown")
        text.erase(text.find("Answer") + 6, 3);
    if (kind == "ATR")
    {
        text += "  Convention        " + std::string(atr.convention) + "\n";
        text += "  Protocol          " + Protocols(atr) + "\n";
        text += "  Speed             F=" + std::to_string(atr.clockRate) +
                " D=" + std::to_string(atr.bitRate) + ", extra guard time " +
                std::to_string(atr.extraGuardTime) + "\n";
    }
    if (!atr.interfaceBytes.empty())
        text += "  Interface bytes   " + atr.interfaceBytes + "\n";
    if (!atr.historical.empty())
    {
        const std::optional<std::string> shown = TextFromGb(atr.historical);
        text += "  Historical bytes  " + SpacedHex(Hex(atr.historical)) +
                (shown ? "  \"" + *shown + "\"" : "") + "\n";
    }
    if (!atr.trouble.empty())
        text += "  Trouble           " + atr.trouble + "\n";
    return text;
}

} // namespace tool
