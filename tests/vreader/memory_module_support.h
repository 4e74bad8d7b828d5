// What the tests of the reader's commands for memory cards have in common.
#pragma once

#include "vreader/bench.h"

namespace vreader_test
{

using testing::HasSubstr;

inline std::string Unhex(const std::string &text)
{
    std::string bytes;
    std::string digits;
    for (const char character : text)
        if (character != ' ')
            digits += character;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoul(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

inline std::string Hex(const std::string &bytes)
{
    std::string text;
    char pair[3];
    for (const char byte : bytes)
    {
        snprintf(pair, sizeof pair, "%02X", static_cast<unsigned char>(byte));
        text += pair;
    }
    return text;
}

inline char Xor(const std::string &bytes)
{
    char check = 0;
    for (const char byte : bytes)
        check = static_cast<char>(check ^ byte);
    return check;
}

// The payload of the answer to a command, both as hexadecimal text.
inline std::string Krel(const Host &host, const std::string &command)
{
    std::string frame = "\x60";
    frame += static_cast<char>(Unhex(command).size());
    frame += Unhex(command);
    const std::string answer = host.Exchange(Hex(frame + Xor(frame)) + "\003");
    if (answer.size() < 7 || answer.substr(0, 2) != "60")
        return "no answer";
    return answer.substr(4, answer.size() - 7); // without 60, length, check and end
}

inline std::string Union(const Host &host, const std::string &command)
{
    const std::string bytes = Unhex(command);
    const std::string frame =
        std::string(1, '\0') + static_cast<char>(bytes.size()) + bytes + Xor(bytes);
    std::string wire = "\002";
    for (const char byte : frame)
    {
        wire += static_cast<char>(0x30 | (static_cast<unsigned char>(byte) >> 4));
        wire += static_cast<char>(0x30 | (byte & 0x0F));
    }
    const std::string answer = host.Exchange(wire + "\003");
    std::string payload;
    for (size_t i = 5; i + 3 < answer.size(); ++i) // without 02, length, check and end
        payload += "0123456789ABCDEF"[answer[i] & 0x0F];
    return payload;
}

inline const char kCards[] = R"({"cards": {
    "m1": {"kind": "mifare-classic", "uid": "5A1B2C3D",
           "sectors": {"2": {"keyA": "A1A2A3A4A5A6", "keyB": "B1B2B3B4B5B6",
                             "access": {"blocks": ["110", "100", "000"], "trailer": "011"}}},
           "blocks": {"4": "text:HELLO", "8": {"value": 1250}}},
    "m0": {"kind": "ultralight-c", "uid": "04112233445566", "random": ["51E764602678DF2B"],
           "pages": {"4": "00112233 44556677 8899AABB CCDDEEFF", "39": "text:LAST"}},
    "typed": {"kind": "ultralight-c", "type": "0205"},
    "processor": {"kind": "transcript", "atr": "3B00", "exchanges": []}},
    "contactless": ")";

inline std::string With(const std::string &card)
{
    return kCards + card + "\"}";
}

inline const char kDataSheetHalf[] = "AF 0A638559FC7737F9 F15D7862EBBE967A";

} // namespace vreader_test
