// What the card tests share: a card from JSON text, commands and answers as hexadecimal text.
#pragma once

#include "vreader/cards/card.h"

#include <gtest/gtest.h>

namespace cards_test
{

inline const char kProfiles[] = VANTOR_SOURCE_DIR "/vreader/profiles";

inline vreader::Bytes Unhex(const std::string &text)
{
    vreader::Bytes bytes;
    std::string pair;
    for (const char character : text)
    {
        if (character == ' ')
            continue;
        pair += character;
        if (pair.size() < 2)
            continue;
        bytes.push_back(static_cast<uint8_t>(std::stoul(pair, nullptr, 16)));
        pair.clear();
    }
    return bytes;
}

inline std::string Hex(const vreader::Bytes &bytes)
{
    std::string text;
    for (const uint8_t byte : bytes)
    {
        char pair[3];
        snprintf(pair, sizeof pair, "%02X", byte);
        text += pair;
    }
    return text;
}

// A powered card; a description that is refused fails the test.
inline std::shared_ptr<vreader::Card> CardOf(const std::string &description,
                                             const std::string &directory = kProfiles)
{
    std::string error;
    auto card = vreader::MakeCard(nlohmann::json::parse(description), directory, &error);
    EXPECT_EQ(error, "");
    if (card)
        card->powerOn();
    return card;
}

// The error text for a description that must be refused.
inline std::string ErrorOf(const std::string &description, const std::string &directory = kProfiles)
{
    std::string error;
    const auto card = vreader::MakeCard(nlohmann::json::parse(description), directory, &error);
    EXPECT_EQ(card, nullptr) << description;
    return error;
}

inline std::string Send(const std::shared_ptr<vreader::Card> &card, const std::string &command)
{
    return Hex(card->transmit(Unhex(command)));
}

} // namespace cards_test
