// An identity card as the module hands it out, its fields put in as text; and frames of the module.
#pragma once

#include <cstdint>
#include <string>

namespace testing_support
{

// AA AA AA 96 69, the length, the payload, the XOR of the two.
inline std::string IdentityFrame(const std::string &payload)
{
    const size_t length = payload.size() + 1;
    std::string checked;
    checked += static_cast<char>(length >> 8);
    checked += static_cast<char>(length);
    checked += payload;
    char check = 0;
    for (char byte : checked)
        check = static_cast<char>(check ^ byte);
    return "\xAA\xAA\xAA\x96\x69" + checked + check;
}

struct IdentityCard
{
    std::string text = std::string(256, '\0'); // fields of spaces at first
    std::string photo;                         // 00 01 02 ... FF, four times
    std::string fingerprint = std::string(1024, 'F');

    IdentityCard()
    {
        for (size_t i = 0; i < text.size(); i += 2)
            text[i] = ' ';
        for (int i = 0; i < 1024; i++)
            photo += static_cast<char>(i);
    }

    // UCS-2, low byte first; the rest of the field stays as it is.
    IdentityCard &Put(size_t offset, const std::u16string &field)
    {
        for (char16_t unit : field)
        {
            text[offset++] = static_cast<char>(unit);
            text[offset++] = static_cast<char>(unit >> 8);
        }
        return *this;
    }

    const unsigned char *Record() const
    {
        return reinterpret_cast<const unsigned char *>(text.data());
    }

    // The payload of a read: status, the lengths of text and photo, the data.
    std::string Payload() const
    {
        return std::string("\x00\x00\x90\x01\x00\x04\x00", 7) + text + photo;
    }
    std::string PayloadWithFingerprint() const
    {
        return std::string("\x00\x00\x90\x01\x00\x04\x00\x04\x00", 9) + text + photo + fingerprint;
    }
};

inline IdentityCard ResidentCard()
{
    IdentityCard card;
    card.Put(0, u"张三").Put(30, u"1").Put(32, u"01").Put(36, u"19491231");
    card.Put(52, u"北京市朝阳区样例街99号").Put(122, u"11010519491231002X");
    card.Put(158, u"北京市公安局").Put(188, u"20200101").Put(204, u"长期");
    return card;
}

inline IdentityCard GatCard()
{
    IdentityCard card = ResidentCard();
    card.Put(122, u"810000199001010007").Put(204, u"20250101").Put(220, u"H12345678");
    card.Put(238, u"02").Put(248, u"J");
    return card;
}

inline IdentityCard ForeignCard()
{
    IdentityCard card;
    card.Put(0, u"SMITH, JOHN").Put(120, u"2").Put(122, u"CAN110081010110").Put(152, u"CAN");
    card.Put(158, u"史密斯").Put(188, u"20150101").Put(204, u"20250101").Put(220, u"19810101");
    card.Put(236, u"01").Put(240, u"1100").Put(248, u"I");
    return card;
}

} // namespace testing_support
