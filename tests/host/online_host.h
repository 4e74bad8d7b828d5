// A counter of which whole online transactions run: each family of calls is used as its headers
// tell a host to, and the virtual issuer's verification is the judge.
#pragma once

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "support/host_library.h"
#include "vreader/issuer/issuer.h"

namespace testing_support
{

enum class Family
{
    ordinary, // BO_ICGenARQC, BO_ICExeScript_TC
    variant,  // the same with _YC
    terminal, // IC_GenARQC, IC_CtlScriptData
};

struct FirstHalf
{
    int result = -1;
    std::string arqc;
    std::string cdol2; // the ordinary call keeps it to itself
    int32_t cardType = -1;
};

struct SecondHalf
{
    int result = -1;
    std::string answer;
    std::string scriptResult;
};

// The value of the first object with this tag in a flat list, all hexadecimal; "" without one.
inline std::string ObjectValue(const std::string &list, const std::string &tag)
{
    for (size_t at = 0; at + 4 <= list.size();)
    {
        const bool isLong = (std::stoi(list.substr(at, 2), nullptr, 16) & 0x1F) == 0x1F;
        const size_t tagSize = isLong ? 4 : 2;
        const auto length = static_cast<size_t>(
            2 * std::stoi(list.substr(at + tagSize, 2), nullptr, 16)); // below 0x80 in these lists
        if (list.compare(at, tagSize, tag) == 0 && tag.size() == tagSize)
            return list.substr(at + tagSize + 2, length);
        at += tagSize + 2 + length;
    }
    return "";
}

// Of less than 16 bytes.
inline std::string Object(const std::string &tag, const std::string &value)
{
    return tag + "0" + "0123456789ABCDEF"[value.size() / 2 % 16] + value;
}

inline std::vector<uint8_t> HexBytes(const std::string &hex)
{
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return bytes;
}

// The amounts that the issuer approves, refers and declines.
constexpr char kApproved[] = "000000001234";
constexpr char kReferred[] = "000000150000";
constexpr char kDeclined[] = "000000600000";

struct OnlineHost
{
    HostLibrary library;
    Family family;
    int port;         // of BO_Open
    std::string name; // of the terminal calls
    std::string pan = "6200001234567890128";
    bool contactless = false;

    OnlineHost(Family chosenFamily, const std::string &configIni, int openedPort,
               const std::string &portName)
        : library(configIni), family(chosenFamily), port(openedPort), name(portName)
    {
    }
    ~OnlineHost()
    {
        CALL(library, BO_Close)();
    }
    OnlineHost(const OnlineHost &) = delete;
    OnlineHost &operator=(const OnlineHost &) = delete;

    // The terminal calls open the reader themselves.
    void Open() const
    {
        if (family != Family::terminal)
        {
            ASSERT_EQ(0, CALL(library, BO_Open)(port, 9600, '0'));
        }
    }
    // 31 January 2026, 12:00:00, a purchase in yuan.
    std::string Text(const std::string &amount) const
    {
        return "P012" + amount + "Q012000000000000R0040156S006260131T00200U006120000" +
               (family == Family::ordinary ? "V020TEST MERCHANT 123456"
                                           : "V04054455354204D45524348414E5420313233343536");
    }

    FirstHalf Request(const std::string &text) const
    {
        std::vector<char> arqc(2583, '\0');
        std::vector<char> cdol2(1025, '\0');
        FirstHalf half;
        half.cardType = contactless ? 1 : 0;
        const auto size = static_cast<int32_t>(arqc.size());
        if (family == Family::ordinary)
            half.result = CALL(library, BO_ICGenARQC)(half.cardType, text.c_str(), size,
                                                      arqc.data(), &half.cardType, 1);
        else if (family == Family::variant)
            half.result = CALL(library, BO_ICGenARQC_YC)(&half.cardType, "", text.c_str(), size,
                                                         arqc.data(), 1, cdol2.data());
        else
        {
            int32_t length = size;
            int32_t icType = half.cardType + 1;
            half.result =
                CALL(library, IC_GenARQC)(name.c_str(), nullptr, 9600, 1, &icType, "", text.c_str(),
                                          &length, arqc.data(), cdol2.data());
            EXPECT_EQ(strlen(arqc.data()), static_cast<size_t>(length));
            half.cardType = icType - 1;
        }
        half.arqc = arqc.data();
        half.cdol2 = cdol2.data();
        return half;
    }

    SecondHalf Complete(const FirstHalf &first, const std::string &text,
                        const std::string &issuerAnswer) const
    {
        std::vector<char> answer(1013, '\0');
        std::vector<char> result(1024, '\0');
        SecondHalf half;
        const auto answerSize = static_cast<int32_t>(answer.size());
        const auto resultSize = static_cast<int32_t>(result.size() - 1);
        if (family == Family::ordinary)
            half.result =
                CALL(library, BO_ICExeScript_TC)(first.cardType, text.c_str(), issuerAnswer.c_str(),
                                                 resultSize, result.data(), 0, answer.data());
        else if (family == Family::variant)
        {
            const std::vector<uint8_t> list = HexBytes(first.cdol2);
            half.result = CALL(library, BO_ICExeScript_YC)(
                first.cardType, text.c_str(), issuerAnswer.c_str(), resultSize, result.data(),
                answerSize, answer.data(), static_cast<int>(list.size()), list.data());
        }
        else
        {
            int32_t length = answerSize;
            int32_t icType = first.cardType + 1;
            half.result = CALL(library, IC_CtlScriptData)(
                name.c_str(), nullptr, 9600, 1, &icType, text.c_str(), issuerAnswer.c_str(),
                &length, answer.data(), result.data(), first.cdol2.c_str());
            EXPECT_EQ(first.cardType + 1, icType);
        }
        half.answer = answer.data();
        half.scriptResult = result.data();
        return half;
    }

    // The issuer looks at the request under its master keys.
    vreader::IssuerAnswer Judge(const std::string &arqc, vreader::IssuerRules rules = {}) const
    {
        // The variant calls name the card in the request, the ordinary one does not.
        if (family == Family::ordinary)
        {
            rules.pan = pan;
            rules.sequenceNumber = "01";
        }
        return vreader::Authorise(vreader::ProfileMasterKeys(), arqc, rules);
    }

    // The card's second cryptogram with the terminal's data, as a request text, so that the issuer
    // can look at it too. Format 1: information data, counter, cryptogram, issuer data.
    std::string SecondAsText(const std::string &answer, const std::string &arqc) const
    {
        std::string text = answer;
        if (answer.compare(0, 2, "9F") != 0)
            text = Object("9F27", answer.substr(0, 2)) + Object("9F36", answer.substr(2, 4)) +
                   Object("9F26", answer.substr(6, 16)) + Object("9F10", answer.substr(22));
        for (const char *tag : {"9F37", "95", "9A", "9C", "9F02", "5F2A", "82", "9F1A", "9F03"})
            text += Object(tag, ObjectValue(arqc, tag));
        return text;
    }

    // "02106P012..." or the code of the failure.
    std::string TransactionLog() const
    {
        std::vector<char> detail(27037, '\0');
        int32_t cardType = contactless ? 1 : 0;
        int result = -1;
        if (family == Family::ordinary)
            result = CALL(library, BO_ICGetDetail)(cardType, 0, detail.data(), 1);
        else if (family == Family::variant)
            result = CALL(library, BO_ICGetDetail_YC)(&cardType, "", 27037, detail.data(), 1);
        else
        {
            int32_t icType = cardType + 1;
            int32_t length = 27037;
            result = CALL(library, IC_GetTranDeta)(name.c_str(), nullptr, 9600, 1, &icType, "",
                                                   &length, detail.data());
        }
        return result == 0 ? detail.data() : std::to_string(result);
    }

    // A data element that GET DATA finds: the electronic cash balance, the counter.
    std::string Balance() const
    {
        std::vector<char> info(4409, '\0');
        int32_t cardType = contactless ? 1 : 0;
        int32_t icType = cardType + 1;
        int32_t length = 4409;
        int result = -1;
        if (family == Family::ordinary)
            result = CALL(library, BO_ICGetInfo)(cardType, "G", 0, info.data(), 1);
        else if (family == Family::variant)
            result = CALL(library, BO_ICGetInfo_YC)(&cardType, "", "C", 4409, info.data(), 1);
        else
            result = CALL(library, IC_GetInfo)(name.c_str(), nullptr, 9600, 1, &icType, "", "C",
                                               &length, info.data());
        return result == 0 ? info.data() : std::to_string(result);
    }

    // The code under which this family gives a code of the ordinary call.
    int Code(int ordinary, int terminal) const
    {
        return family == Family::terminal ? terminal : ordinary;
    }
};

} // namespace testing_support
