// The business calls on IC cards: power, APDUs, information, logs, the social security card.
#include "damage/card_sessions.h"

using namespace damage_testing;

TEST(DamagedCardCalls, PowerAndApdus)
{
    Damage(
        "BO_IcPowerOn", [](ReaderScript *script) { script->PowerOn("3B6D000000960755"); },
        [](int cardType, Outputs *out)
        {
            char *atr = out->Text(64);
            auto *length = out->Value<int32_t>(0);
            auto *type = out->Value<int32_t>(9);
            const int result = BO_IcPowerOn(cardType, 64, atr, length, type, 1);
            out->Used(atr, *length > 0 ? static_cast<size_t>(*length) : 0);
            return result;
        });
    Damage(
        "BO_IcPowerOff", [](ReaderScript *script) { script->PowerOff(); },
        [](int cardType, Outputs *) { return BO_IcPowerOff(cardType); });
    Damage(
        "BO_IcAPDU",
        [](ReaderScript *script) { script->Apdu("0084000008", "11223344556677889000"); },
        [](int cardType, Outputs *out)
        {
            char *response = out->Text(2048);
            auto *length = out->Value<int32_t>(0);
            const int result = BO_IcAPDU(cardType, "0084000008", 10, 0, response, length);
            out->Used(response, *length > 0 ? static_cast<size_t>(*length) : 0);
            return result;
        });
}

// The automatic mode asks the contactless card when the contact one does not answer.
TEST(DamagedCardCalls, TheAutomaticMode)
{
    ReaderScript script;
    script.PowerOnFails("FB");
    script.contactless = true;
    script.PowerOn("0400085A1B2C3D");
    Subject subject;
    subject.name = "BO_IcPowerOn, automatic";
    subject.rows = script.rows;
    subject.call = [](Outputs *out)
    {
        char *atr = out->Text(64);
        auto *length = out->Value<int32_t>(0);
        auto *type = out->Value<int32_t>(9);
        const int result = BO_IcPowerOn(2, 64, atr, length, type, 1);
        out->Used(atr, *length > 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
    DamageEveryAnswer(subject);
}

TEST(DamagedCardCalls, Information)
{
    const Operate getInfo = [](int cardType, Outputs *out)
    {
        return Items(out, 4409,
                     [=](char *info) { return BO_ICGetInfo(cardType, "ABDEGIN", 0, info, 1); });
    };
    Damage("BO_ICGetInfo", ReadInformation, getInfo);
    Damage("BO_ICGetInfo, data at once", AnswerAtOnce,
           [](int cardType, Outputs *out) {
               return Items(out, 4409,
                            [=](char *info) { return BO_ICGetInfo(cardType, "A", 0, info, 1); });
           });
    Damage("BO_ICGetInfo_YC", ReadInformation,
           [](int cardType, Outputs *out)
           {
               return Items(out, 3889,
                            [=](char *info)
                            {
                                auto *type = out->Value<int32_t>(cardType);
                                return BO_ICGetInfo_YC(type, "", "ABCEGIJK", 0, info, 1);
                            });
           });
}

TEST(DamagedCardCalls, InformationOfATestCard)
{
    Damage("BO_ICGetInfo", ReadTestCard,
           [](int cardType, Outputs *out) {
               return Items(out, 4409,
                            [=](char *info) { return BO_ICGetInfo(cardType, "AE", 0, info, 1); });
           });
}

TEST(DamagedCardCalls, Logs)
{
    Damage("BO_ICGetDetail", ReadLog,
           [](int cardType, Outputs *out) {
               return Text(out, 27037,
                           [=](char *detail) { return BO_ICGetDetail(cardType, 0, detail, 1); });
           });
    Damage(
        "BO_ICGetCircllog",
        [](ReaderScript *script)
        {
            Open(script, kLogFci)
                .Apdu("00B2016400", kLoad)
                .Apdu("00B2026400", kLoad)
                .Apdu("00B2036400", "6A83")
                .PowerOff();
        },
        [](int cardType, Outputs *out)
        {
            return Text(out, 24742,
                        [=](char *detail) { return BO_ICGetCircllog(cardType, 0, detail, 1); });
        });
    // The merchant's name may hold zero bytes, so the text has no end that could be seen.
    Damage("BO_ICGetDetail_YC", ReadLog,
           [](int cardType, Outputs *out)
           {
               auto *type = out->Value<int32_t>(cardType);
               char *detail = out->Text(27037);
               const int result = BO_ICGetDetail_YC(type, "", 0, detail, 1);
               const int records = result == 0 ? atoi(std::string(detail, 2).c_str()) : 0;
               out->Used(detail, result == 0 ? 5 + 106 * static_cast<size_t>(records) + 1 : 1);
               return result;
           });
}

TEST(DamagedCardCalls, ASocialSecurityCard)
{
    const char *const files[][8] = {
        {"00A4000002EF05", "0110310000D15600000531009B2B73A8D9E1", "020133", "0304322E3030",
         "0404 91560000", "050420150301", "060420250301", "0709413132333435363738"},
        {"00A4000002EF06", "0812333130313034313939303031303131323334", "0909E5BCA0E4B889E4B8B0",
         "0A0131", "0B0101", "0C03310104", "0D0419900101", nullptr}};
    Damage(
        "BO_SSCReadInfo",
        [&](ReaderScript *script)
        {
            script->PowerOn("3B00").Apdu("00A404000F7378312E73682EE7A4BEE4BC9AE4BF",
                                         "6F0384011188 0101 9000");
            for (const auto &file : files)
            {
                script->Apdu(file[0], "6F009000");
                for (int record = 1; record < 8 && file[record] != nullptr; record++)
                    script->Apdu("00B2" + testing_support::HexByte(static_cast<size_t>(record)) +
                                     "0400",
                                 file[record] + std::string("9000"));
            }
        },
        [](int cardType, Outputs *out)
        {
            char *info = out->Text(845);
            info[0] = '\0';
            out->Used(info, 1);
            const int result = BO_SSCReadInfo(cardType, info, 1);
            out->UsedText(info);
            return result;
        });
}
