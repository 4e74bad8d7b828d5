// What the tests of the second half have in common: the card as the first half left it.
#pragma once

#include <algorithm>

#include "host/transaction_card.h"

namespace testing_support
{

// Response code "00", "01", "05" behind a cryptogram.
constexpr char kApproval[] = "910A11223344556677883030";
constexpr char kReferral[] = "910A11223344556677883031";
constexpr char kDecline[] = "910A11223344556677883035";

// CDOL2 asks for the response code and the amount.
constexpr char kSecondList[] = "8A029F0206";
constexpr char kTc[] = "8012 40 0002 8877665544332211 07010103600000 9000";
constexpr char kTcText[] = "400002887766554433221107010103600000";
constexpr char kAac[] = "8012 00 0002 8877665544332211 07010103200000 9000";

constexpr char kPresetResult[] = "DF31051000000000";

// What the first half keeps: six digits of length, the bytes.
inline void Keep(const HostLibrary &library, const std::string &prefix, const std::string &hex)
{
    char *kept = VARIABLE(library, g_IccAppData);
    memset(kept, 0, 8000);
    memcpy(kept, prefix.data(), prefix.size());
    const std::vector<uint8_t> bytes = BytesOf(hex);
    std::copy(bytes.begin(), bytes.end(), kept + prefix.size());
}

inline ReaderScript &Authenticate(ReaderScript *script, const std::string &issuerText)
{
    return script->Apdu("008200000A" + issuerText.substr(4, 20), "9000");
}

// From the authentication to the second cryptogram, for a card that gave kTc or kAac.
inline ReaderScript &AskSecond(ReaderScript *script, const std::string &issuerText,
                               const std::string &referenceControl, const std::string &answer)
{
    return Authenticate(script, issuerText)
        .Apdu("80AE" + referenceControl + "0008" + issuerText.substr(20, 4) + "000000001234",
              answer);
}

struct Completed
{
    int result;
    std::string script, tc;
};

} // namespace testing_support
