// What the tests of cards with keys have in common. Every cryptogram, ARPC and MAC in them was
// computed outside this project, step by step with `openssl enc -des-ede -nopad`, from the methods
// that pboc_cryptography.h writes down.
#pragma once

#include "cards_support.h"

#include "vreader/cards/pboc_cryptography.h"

#include <fstream>

namespace cards_test
{

inline const char kSelect[] = "00A4040008A000000333010101";
inline const char kPse[] = "00A404000E315041592E5359532E4444463031";
// 9F7A 00, 9F02 12.34, 5F2A 0156.
inline const char kOptions[] = "80A800000B8309000000000012340156";
// 9F02 12.34, 9F03, 9F1A 0156, 95, 5F2A 0156, 9A 250302, 9C 00, 9F37 11223344, 9F21, 9F4E.
inline const std::string kList =
    "000000001234000000000000015600000008000156250302001122334409153054454120"
    "484F5553450000000000000000000000";
inline const std::string kFirst = "80AE800034" + kList;
inline const std::string kSecond = "80AE4000363030" + kList;
inline const char kAuthenticate[] = "008200000A1ED417997F96C6C63030";
inline const char kPutBalance[] = "04DA9F790A000000020000428332A0";
// The record that this transaction leaves in the log.
inline const char kLogRecord[] = "25030209153000000000123400000000000001560156"
                                 "54454120484F5553450000000000000000000000"
                                 "00002B9000";

inline vreader::TripleDesKey KeyOf(const std::string &hex)
{
    vreader::TripleDesKey key{};
    const vreader::Bytes bytes = Unhex(hex);
    std::copy(bytes.begin(), bytes.end(), key.begin());
    return key;
}

inline vreader::Block BlockOf(const std::string &hex)
{
    vreader::Block block{};
    const vreader::Bytes bytes = Unhex(hex);
    std::copy(bytes.begin(), bytes.end(), block.begin());
    return block;
}

template <typename Array>
inline std::string HexOf(const Array &array)
{
    return Hex(vreader::Bytes(array.begin(), array.end()));
}

inline nlohmann::json OnlineProfile()
{
    std::ifstream file(std::string(cards_test::kProfiles) + "/online.json");
    return nlohmann::json::parse(file);
}

inline nlohmann::json DescriptionOf(const char *name)
{
    return OnlineProfile().at("cards").at(name);
}

inline std::shared_ptr<vreader::Card> OnlineCard(const char *name)
{
    return CardOf(DescriptionOf(name).dump());
}

// The card online-1 with other rules.
inline std::shared_ptr<vreader::Card> CardWith(const char *key, const nlohmann::json &value)
{
    nlohmann::json description = DescriptionOf("online-1");
    description["applications"][0]["online"][key] = value;
    return CardOf(description.dump());
}

// A card of which GET PROCESSING OPTIONS has been asked.
inline std::shared_ptr<vreader::Card> Started(std::shared_ptr<vreader::Card> card)
{
    Send(card, kSelect);
    EXPECT_EQ(Send(card, kOptions).substr(0, 2), "80");
    return card;
}

// A card that has given its ARQC.
inline std::shared_ptr<vreader::Card> Asked(const std::shared_ptr<vreader::Card> &card)
{
    Started(card);
    EXPECT_EQ(Send(card, kFirst).substr(0, 26), "801380002B0B6C7FA84AB4F4D1");
    return card;
}

// The four bytes of the card verification results in an answer of format 1.
inline std::string ResultsIn(const std::string &answer)
{
    return answer.size() == 46 ? answer.substr(32, 8) : answer;
}

inline std::string NextResults(const std::shared_ptr<vreader::Card> &card)
{
    Started(card);
    return ResultsIn(Send(card, kFirst));
}

} // namespace cards_test
