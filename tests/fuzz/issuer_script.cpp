// The issuer's answer and its scripts: run as they are, and by the second halves of a transaction.
#include "fuzz/support/card.h"
#include "fuzz/support/room.h"
#include "vantor/pboc.h"
#include "vantor/support.h"
#include "vantor/transactions.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

const char kTransaction[] = "P012000000001234S006250131T00200U006235959";

std::string HexText(const Bytes &bytes)
{
    std::string text;
    for (uint8_t byte : bytes)
    {
        text += "0123456789ABCDEF"[byte >> 4];
        text += "0123456789ABCDEF"[byte & 0x0F];
    }
    return text;
}

bool IsCompletionCode(int result)
{
    return result == 0 || result == -1007 || (result <= -4103 && result >= -4116);
}

// "DF31052000000000": the head, a result digit, a sequence digit, the identifier.
void CheckScriptResult(const Room &room, const char *text, int size)
{
    const size_t length = room.TextLength();
    FUZZ_CHECK(length == 0 || (length >= 16 && std::memcmp(text, "DF3105", 6) == 0));
    FUZZ_CHECK(length == 0 || text[6] == '1' || text[6] == '2');
    FUZZ_CHECK(length <= static_cast<size_t>(std::max(size, 17)));
}

void Complete(uint8_t how, Room *issuerText, Room *list, int outSize, int tcSize)
{
    const int cardType = how & 0x01;
    Room scriptResult(static_cast<size_t>(std::max(outSize, 17)));
    switch (how >> 6)
    {
    case 0:
    {
        Room tc(1012);
        FUZZ_CHECK(IsCompletionCode(BO_ICExeScript_TC(cardType, kTransaction, issuerText->Text(),
                                                      outSize, scriptResult.Text(), 0, tc.Text())));
        if (scriptResult.Data()[0] != 0xEE)
            CheckScriptResult(scriptResult, scriptResult.Text(), outSize);
        break;
    }
    case 1:
    {
        Room tc(static_cast<size_t>(std::max(tcSize, 0)));
        FUZZ_CHECK(IsCompletionCode(BO_ICExeScript_YC(cardType, kTransaction, issuerText->Text(),
                                                      outSize, scriptResult.Text(), tcSize,
                                                      tc.Text(), list->Size(), list->Data())));
        CheckScriptResult(scriptResult, scriptResult.Text(), outSize);
        FUZZ_CHECK(tcSize <= 0 || tc.TextLength() <= 1012);
        break;
    }
    default:
        FUZZ_CHECK(
            IsCompletionCode(BO_ICExeScript(cardType, kTransaction, issuerText->Text(), nullptr)));
        break;
    }
}

} // namespace

// How the line and the call go, two sizes, the issuer's data, CDOL2, the card's responses.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const int outSize = static_cast<int8_t>(input.Byte()) * 8;
    const int tcSize = static_cast<int8_t>(input.Byte()) * 8;
    const Bytes issuerData = input.Block();
    Room issuerText(HexText(issuerData)), script(issuerData), list(input.Block());
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            fuzz::CardOfResponses(&input));
    fuzz::LimitExchanges(2000);
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine(fuzz::LineKind::kSerial);
    // What the first half would have kept: an application and its records, the list among them.
    const std::string kept = std::string("000040") + "\x4F\x01\xA0\x8D" +
                             static_cast<char>(std::min(list.Size(), 120)) +
                             std::string(list.Text(), static_cast<size_t>(list.Size()));
    std::memcpy(g_IccAppData, kept.data(), std::min(kept.size(), sizeof g_IccAppData));

    if ((how & 0x08) != 0)
        PBOC_ExeScript(&context, how & 0x01, script.Data(), script.Size());
    else
        Complete(how, &issuerText, &list, outSize, tcSize);
    // At most 128 commands with their follow-ups, and what goes before and behind.
    FUZZ_CHECK(fuzz::Exchanges() <= 131 * 33);
    return 0;
}
