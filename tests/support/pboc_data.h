// The card data under tests/data/pboc, and bytes as hexadecimal text.
#pragma once

#include <cstdint>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace testing_support
{

inline nlohmann::json PbocData(const std::string &name)
{
    std::ifstream file(std::string(VANTOR_SOURCE_DIR) + "/tests/data/pboc/" + name);
    return nlohmann::json::parse(file);
}

inline std::vector<uint8_t> BytesOf(const std::string &hex)
{
    std::vector<uint8_t> bytes;
    std::string digits;
    for (char character : hex)
        if (character != ' ')
            digits += character;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    return bytes;
}

inline std::string HexOf(const uint8_t *bytes, size_t count)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (size_t i = 0; i < count; i++)
    {
        text += kDigits[bytes[i] >> 4];
        text += kDigits[bytes[i] & 0x0F];
    }
    return text;
}

inline std::string HexOf(const std::vector<uint8_t> &bytes)
{
    return HexOf(bytes.data(), bytes.size());
}

// One byte as two digits: "0A".
inline std::string HexByte(size_t value)
{
    return HexOf({static_cast<uint8_t>(value)});
}

} // namespace testing_support
