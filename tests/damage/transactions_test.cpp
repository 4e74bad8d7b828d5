// Both halves of an online transaction, ordinary and variant, and the terminal-standard calls.
#include "damage/card_sessions.h"

using namespace damage_testing;

TEST(DamagedTransactions, FirstHalves)
{
    Damage("BO_ICGenARQC", AskCryptogram,
           [](int cardType, Outputs *out)
           {
               auto *type = out->Value<int32_t>(9);
               return Text(out, 1025,
                           [=](char *arqc)
                           { return BO_ICGenARQC(cardType, kText, 1025, arqc, type, 1); });
           });
    Damage(
        "BO_ICGenARQC_YC",
        [](ReaderScript *script)
        {
            AskCryptogram(script);
            script->Apdu("80CA9F13", "9F13020005 9000");
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType);
            char *list = out->Text(1025);
            const int result = Text(
                out, 2583,
                [=](char *arqc) { return BO_ICGenARQC_YC(type, "", kText, 2583, arqc, 1, list); });
            out->UsedText(list);
            return result;
        });
}

// More than g_IccAppData holds: the last of the records is cut.
TEST(DamagedTransactions, AFirstHalfOfACardFullOfRecords)
{
    const auto build = [](ReaderScript *script)
    {
        const std::string filler(2 * 500, 'A');
        Open(script, kFci)
            .Apdu("80A80000088306000000001234", "80067C00 10011100 9000")
            .Apdu("00B2011400", "7017 8C039F0206 8D028A02 5A086222021001098550 5F340101 9000");
        for (size_t record = 2; record <= 17; record++)
            script->Apdu("00B2" + testing_support::HexByte(record) + "1400",
                         "708201F8 5F508201F4 " + filler + "9000");
        script->Apdu("80AE800006000000001234", "8012 80 0001 1122334455667788 07010103A00000 9000");
    };
    const Way way = {1, 0};
    DamageEveryAnswer(
        MakeSubject("BO_ICGenARQC", way, build,
                    [](int cardType, Outputs *out)
                    {
                        auto *type = out->Value<int32_t>(9);
                        return Text(out, 1025,
                                    [=](char *arqc)
                                    { return BO_ICGenARQC(cardType, kText, 1025, arqc, type, 1); });
                    },
                    {}));
}

TEST(DamagedTransactions, SecondHalves)
{
    Options kept;
    kept.prepare = KeepSecondList;
    static const std::string withScript =
        testing_support::HexOf(testing_support::BytesOf(kApprovalWithScript));
    const Build build = [](ReaderScript *script)
    {
        Complete(script);
        RunScript(script);
        script->PowerOff();
    };
    Damage(
        "BO_ICExeScript_TC", build,
        [](int cardType, Outputs *out)
        {
            char *tc = out->Text(1012);
            const int result =
                Text(out, 1023,
                     [=](char *script) {
                         return BO_ICExeScript_TC(cardType, kText, withScript.c_str(), 1023, script,
                                                  0, tc);
                     });
            out->Used(tc, strnlen(tc, 1012)); // no NUL is written
            for (size_t i = 0; i < 1012; i++)
                if (static_cast<unsigned char>(tc[i]) == kUntouched)
                {
                    out->Used(tc, i);
                    break;
                }
            return result;
        },
        kept);
    Damage("BO_ICExeScript_YC", build,
           [](int cardType, Outputs *out)
           {
               const unsigned char list[] = {0x8A, 0x02};
               char *tc = out->Text(1013);
               const int result =
                   Text(out, 1023,
                        [&](char *script)
                        {
                            return BO_ICExeScript_YC(cardType, kText, withScript.c_str(), 1023,
                                                     script, 1013, tc, 2, list);
                        });
               out->UsedText(tc);
               return result;
           });
    Damage(
        "BO_ICExeScript",
        [](ReaderScript *script)
        {
            script->Apdu("008200000A11223344556677883030", "9000");
            RunScript(script);
            script->PowerOff();
        },
        [](int cardType, Outputs *)
        { return BO_ICExeScript(cardType, kText, withScript.c_str(), nullptr); });
}

TEST(DamagedTransactions, TerminalCalls)
{
    Options opens;
    opens.opensTheReader = true;
    Damage(
        "IC_GetInfo", ReadInformation,
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(4096);
            return Items(out, 3889,
                         [=](char *info) {
                             return IC_GetInfo("ttyD0", nullptr, 9600, 1, type, "", "ABCEGIJK",
                                               length, info);
                         });
        },
        opens);
    Damage(
        "IC_GenARQC",
        [](ReaderScript *script)
        {
            AskCryptogram(script);
            script->Apdu("80CA9F13", "9F13020005 9000");
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(2583);
            char *list = out->Text(1025);
            const int result = Text(out, 2583,
                                    [=](char *arqc) {
                                        return IC_GenARQC("ttyD0", nullptr, 9600, 1, type, "",
                                                          kText, length, arqc, list);
                                    });
            out->UsedText(list);
            return result;
        },
        opens);
    Damage(
        "IC_CtlScriptData",
        [](ReaderScript *script)
        {
            Complete(script);
            script->PowerOff();
        },
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(1013);
            char *tc = out->Text(1013);
            const int result =
                Text(out, 1024,
                     [=](char *script)
                     {
                         return IC_CtlScriptData("ttyD0", nullptr, 9600, 1, type, kText, kApproval,
                                                 length, tc, script, "8A02");
                     });
            out->UsedText(tc);
            return result;
        },
        opens);
    Damage(
        "IC_GetTranDeta", ReadLog,
        [](int cardType, Outputs *out)
        {
            auto *type = out->Value<int32_t>(cardType + 1);
            auto *length = out->Value<int32_t>(27037);
            char *detail = out->Text(27037);
            const int result = IC_GetTranDeta("ttyD0", nullptr, 9600, 1, type, "", length, detail);
            const int records = result == 0 ? atoi(std::string(detail, 2).c_str()) : 0;
            out->Used(detail, result == 0 ? 5 + 106 * static_cast<size_t>(records) + 1 : 1);
            return result;
        },
        opens);
}
