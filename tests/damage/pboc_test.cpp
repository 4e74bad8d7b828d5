// What a card answers to the commands of the PBOC engine and of the electronic purse.
#include <cstring>

#include "damage/bench/bench.h"
#include "support/pboc_data.h"
#include "vantor/pboc.h"
#include "vantor/purse.h"

using namespace damage_testing;
using testing_support::PbocData;

namespace
{

constexpr uint32_t kApduLimitMs = 3000;
constexpr int kUnset = -7;

const unsigned char kPse[] = "1PAY.SYS.DDF01";
const unsigned char kAid[] = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x01};
const unsigned char kEleven[] = {0x01, 0x11, 0x12, 0x13, 0x14, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26};
const unsigned char kFifteen[] = {0x01, 0x02, 0x03, 0x04, 0x20, 0x25, 0x01, 0x31,
                                  0x23, 0x59, 0x58, 0xA1, 0xA2, 0xA3, 0xA4};

const char kSelectPse[] = "00A404000E315041592E5359532E4444463031";
const char kEnvironment[] = "6F15840E315041592E5359532E4444463031A5038801019000";
const char kFci[] =
    "6F4A8408A000000333010101A53E500A50424F432044454249548701019F38099F7A019F02065F"
    "2A025F2D027A689F1101019F120A50424F43204445424954BF0C0A9F4D020B0ADF4D020C0A9000";

struct Area
{
    unsigned char *bytes;
    int32_t *length;
};

// The card's rows under each framing and interface.
struct Cards
{
    int framing;
    int cardType;
};

constexpr Cards kCards[] = {{0, 0}, {0, 1}, {1, 0}};

using Build = std::function<void(ReaderScript *)>;
using Operate = std::function<int(int cardType, const Area &area)>;

// A command whose response area is left alone on failure. The first eight bytes of what holds a
// tag's value are cleared before it is looked for.
void Damage(const char *name, const Build &build, const Operate &operate, int result = 0,
            size_t cleared = 0, size_t room = VANTOR_PBOC_AREA_SIZE)
{
    for (const Cards &card : kCards)
    {
        ReaderScript script;
        script.united = card.framing == 1;
        script.contactless = card.cardType == 1;
        build(&script);
        Subject subject;
        subject.name = name;
        subject.rows = script.rows;
        subject.framing = card.framing;
        subject.limitMs = kApduLimitMs;
        subject.result = result;
        subject.call = [=](Outputs *out)
        {
            const Area area = {out->Bytes(room), out->Value<int32_t>(kUnset)};
            const int outcome = operate(card.cardType, area);
            const int length = *area.length;
            out->Used(area.bytes, std::max(cleared, length > 0 ? static_cast<size_t>(length) : 0));
            return outcome;
        };
        DamageEveryAnswer(subject);
    }
}

std::string Recorded(const nlohmann::json &session, const std::string &command)
{
    for (const auto &exchange : session["exchanges"])
        if (exchange["cmd"] == command)
            return exchange["rsp"];
    ADD_FAILURE() << "not recorded: " << command;
    return "";
}

} // namespace

TEST(DamagedPboc, ResponsesToAnApdu)
{
    const auto send = [](int type, const Area &area)
    {
        unsigned char command[] = {0x00, 0xB2, 0x01, 0x0C, 0x00};
        return PBOC_IcAPDU(&context, type, command, 5, area.bytes, area.length);
    };
    Damage(
        "a record", [](ReaderScript *script) { script->Apdu("00B2010C00", "7003 5A0112 9000"); },
        send, 0, 8);
    Damage(
        "61xx",
        [](ReaderScript *script)
        { script->Apdu("00B2010C00", "6103").Apdu("00C0000003", "A1A2A39000"); },
        send, 0, 8);
    Damage(
        "6Cxx",
        [](ReaderScript *script)
        { script->Apdu("00B2010C00", "6C03").Apdu("00B2010C03", "A1A2A39000"); },
        send, 0, 8);
    Damage(
        "6282",
        [](ReaderScript *script)
        { script->Apdu("00B2010C00", "6282").Apdu("00C0000000", "A1A2A39000"); },
        send, 0, 8);
    Damage(
        "6283", [](ReaderScript *script) { script->Apdu("00B2010C00", "6283"); }, send, 100, 8);
}

TEST(DamagedPboc, TheEnvironmentAndItsDirectory)
{
    Damage(
        "PBOC_SelectPSE", [](ReaderScript *script) { script->Apdu(kSelectPse, kEnvironment); },
        [](int type, const Area &area)
        { return PBOC_SelectPSE(&context, type, kPse, 14, area.bytes, area.length); },
        0, 8);
    Damage(
        "PBOC_SelectPSE, locked", [](ReaderScript *script) { script->Apdu(kSelectPse, "9303"); },
        [](int type, const Area &area)
        { return PBOC_SelectPSE(&context, type, kPse, 14, area.bytes, area.length); },
        100, 8);
    Damage(
        "PBOC_GetAID",
        [](ReaderScript *script)
        {
            script->Apdu("00B2010C00", "700C610A4F08A0000003330101019000")
                .Apdu("00B2020C00", "70 16 610A4F08A000000333010102 61084F06A00000033301 9000")
                .Apdu("00B2030C00", "6A83")
                .Apdu("00B2031400", "6A83");
        },
        [](int type, const Area &area)
        {
            const unsigned char files[] = {0x01, 0x02};
            return PBOC_GetAID(&context, type, files, 2, area.bytes, area.length);
        },
        0, VANTOR_PBOC_AREA_SIZE); // an identifier of an earlier record may have been longer
}

TEST(DamagedPboc, Selections)
{
    Damage(
        "PBOC_SelectAID",
        [](ReaderScript *script) { script->Apdu("00A4040008A000000333010101", kFci); },
        [](int type, const Area &area)
        { return PBOC_SelectAID(&context, type, kAid, 8, area.bytes, area.length); });
    Damage(
        "PBOC_SelectFile",
        [](ReaderScript *script) { script->Apdu("00A40000023F00", "6F0484023F009000"); },
        [](int type, const Area &area)
        {
            const unsigned char file[] = {0x3F, 0x00};
            return PBOC_SelectFile(&context, type, 0, file, 2, area.bytes, area.length);
        });
    Damage(
        "PBOC_ReadRecord",
        [](ReaderScript *script) { script->Apdu("00B2010C00", "70055A0362220210 9000"); },
        [](int type, const Area &area)
        { return PBOC_ReadRecord(&context, type, 1, 1, area.bytes, area.length); });
    Damage(
        "PBOC_GetData",
        [](ReaderScript *script) { script->Apdu("80CA9F79", "9F790600000000100 09000"); },
        [](int type, const Area &area)
        {
            const unsigned char tag[] = {0x9F, 0x79};
            return PBOC_GetData(&context, type, tag, 2, area.bytes, area.length);
        },
        0, 8);
}

TEST(DamagedPboc, LongResponses)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    for (const char *command : {"00B2011400", "00B2021400", "00B2012400"})
        Damage(
            command,
            [&](ReaderScript *script) { script->Apdu(command, Recorded(session, command)); },
            [&](int type, const Area &area)
            {
                const std::string bytes = FromHex(command);
                return PBOC_ReadRecord(&context, type, static_cast<unsigned char>(bytes[2]),
                                       static_cast<unsigned char>(bytes[3]) / 8, area.bytes,
                                       area.length);
            });
}

TEST(DamagedPboc, ProcessingOptions)
{
    for (const char *answer : {"80067C00080101009000", "770A82027C009404080101009000",
                               "77299F2608112233445566778882027C009F360200019F100707010103A000005A0"
                               "8622202100109855 09000"})
        Damage(
            "PBOC_GetProcOptions",
            [&](ReaderScript *script) { script->Apdu("80A80000028300", answer); },
            [](int type, const Area &area)
            {
                unsigned char afl[VANTOR_PBOC_AREA_SIZE + 16];
                memset(afl, kUntouched, sizeof afl);
                int32_t aflLength = 0;
                const int result = PBOC_GetProcOptions(&context, type, nullptr, 0, area.bytes,
                                                       area.length, afl, &aflLength);
                for (size_t i = VANTOR_PBOC_AREA_SIZE; i < sizeof afl; i++)
                    EXPECT_EQ(kUntouched, afl[i]);
                for (size_t i = std::max(aflLength, 8); i < sizeof afl; i++)
                    if (afl[i] != kUntouched)
                    {
                        ADD_FAILURE() << "wrote behind the file locator's " << aflLength;
                        break;
                    }
                return result;
            },
            0, 8);
}

TEST(DamagedPboc, RecordsOfAFileLocator)
{
    const auto session = PbocData("41-pboc-testcard-contact-dc.json");
    Damage(
        "PBOC_GetAppData",
        [&](ReaderScript *script)
        {
            for (const char *record : {"00B2011400", "00B2021400", "00B2011C00"})
                script->Apdu(record, Recorded(session, record));
        },
        [](int type, const Area &area)
        {
            const unsigned char afl[] = {0x10, 0x01, 0x02, 0x01, 0x18, 0x01, 0x01, 0x00};
            return PBOC_GetAppData(&context, type, afl, 8, area.bytes, area.length);
        },
        0, 0, VANTOR_APP_DATA_SIZE);
}

TEST(DamagedPboc, Cryptograms)
{
    const unsigned char amount[] = {0x00, 0x00, 0x00, 0x00, 0x12, 0x34};
    for (const char *answer :
         {"8012 80 0001 1122334455667788 07010103A00000 9000",
          "7717 9F36020002 9F4B0411223344 9F2608AABBCCDDEEFF0011 9000",
          "771E 9F270180 9F36020001 9F26081122334455667788 9F100707010103A00000 9000"})
        Damage(
            "PBOC_GenerateAC",
            [&](ReaderScript *script) { script->Apdu("80AE800006000000001234", answer); },
            [&](int type, const Area &area)
            { return PBOC_GenerateAC(&context, type, 0x80, amount, 6, area.bytes, area.length); });
}

// What the issuer gets is built from the damaged answer.
TEST(DamagedPboc, DataForTheIssuer)
{
    for (const char *answer :
         {"8012 80 0001 1122334455667788 07010103A00000 9000",
          "771E 9F270180 9F36020001 9F26081122334455667788 9F100707010103A00000 9000"})
        Damage(
            "PBOC_BuildARQCBack", [&](ReaderScript *script) { script->Apdu("80AE800000", answer); },
            [](int type, const Area &area)
            {
                unsigned char cryptogram[VANTOR_PBOC_AREA_SIZE] = {};
                int32_t length = 0;
                const int result =
                    PBOC_GenerateAC(&context, type, 0x80, nullptr, 0, cryptogram, &length);
                if (result != 0)
                    return result;
                // Of the answer's own length, so that a look behind it is seen.
                const std::vector<unsigned char> exact(cryptogram, cryptogram + length);
                return PBOC_BuildARQCBack(exact.empty() ? cryptogram : exact.data(), length,
                                          area.bytes, area.length);
            });
}

TEST(DamagedPboc, TheIssuersCommands)
{
    Damage(
        "PBOC_ExternalAuth",
        [](ReaderScript *script) { script->Apdu("008200000B0111121314212223242526", "9000"); },
        [](int type, const Area &) { return PBOC_ExternalAuth(&context, type, kEleven, 11); });
    Damage(
        "PBOC_ExternalAuth_Sh",
        [](ReaderScript *script) { script->Apdu("008200060B0111121314212223242526", "6300"); },
        [](int type, const Area &) { return PBOC_ExternalAuth_Sh(&context, type, kEleven, 11); },
        -99);
    Damage(
        "PBOC_DeliveryKey",
        [](ReaderScript *script) { script->Apdu("BFDE01020B0111121314212223242526", "9000"); },
        [](int type, const Area &) { return PBOC_DeliveryKey(&context, type, 1, 2, kEleven, 11); });
    Damage(
        "PBOC_ChangePin",
        [](ReaderScript *script) { script->Apdu("842400010B0111121314212223242526", "9000"); },
        [](int type, const Area &) { return PBOC_ChangePin(&context, type, 1, kEleven, 11); });
    Damage(
        "PBOC_CryptData",
        [](ReaderScript *script)
        { script->Apdu("80FA01000B0111121314212223242526", "A1A2A3A49000"); },
        [](int type, const Area &area)
        { return PBOC_CryptData(&context, type, 1, kEleven, 11, area.bytes, area.length); });
}

TEST(DamagedPboc, IssuerScripts)
{
    const std::string issuer = FromHex("72 16 9F1804 00000001 86 05 8424000000 86 06 842400010100");
    Damage(
        "PBOC_ExeScript",
        [](ReaderScript *script)
        { script->Apdu("8424000000", "9000").Apdu("842400010100", "9000"); },
        [&](int type, const Area &)
        {
            return PBOC_ExeScript(&context, type,
                                  reinterpret_cast<const unsigned char *>(issuer.data()),
                                  static_cast<int>(issuer.size()));
        });
}

TEST(DamagedPurse, Answers)
{
    Damage(
        "EPED_ReadBinary",
        [](ReaderScript *script) { script->Apdu("00B0950000", "A1A2A3A4A5A6A7A89000"); },
        [](int type, const Area &area)
        { return EPED_ReadBinary(&context, type, 0x15, 0, area.bytes, area.length); });
    Damage(
        "EPED_UpdateBinary",
        [](ReaderScript *script) { script->Apdu("04D695100B0111121314212223242526", "9000"); },
        [](int type, const Area &)
        { return EPED_UpdateBinary(&context, type, 0x05, 0x10, kEleven, 11); });
    Damage(
        "EPED_Verify", [](ReaderScript *script) { script->Apdu("00200000020111", "63C2"); },
        [](int type, const Area &) { return EPED_Verify(&context, type, kEleven, 2); }, -99);
    Damage(
        "EPED_GetRandom", [](ReaderScript *script) { script->Apdu("0084000004", "A1A2A3A49000"); },
        [](int type, const Area &area)
        {
            *area.length = 4;
            const int result = EPED_GetRandom(&context, type, area.bytes, area.length);
            if (result != 0)
                *area.length = kUnset; // it is what was asked for
            return result;
        });
    Damage(
        "EPED_GetBalance", [](ReaderScript *script) { script->Apdu("805C000204", "000003E89000"); },
        [](int type, const Area &area)
        { return EPED_GetBalance(&context, type, 0x02, area.bytes, area.length); });
}

TEST(DamagedPurse, LoadsAndPurchases)
{
    Damage(
        "EPED_InitForLoad",
        [](ReaderScript *script) {
            script->Apdu("805000020B0111121314212223242526",
                         "000003E8 0001 01 00 A1A2A3A4 B1B2B3B4 9000");
        },
        [](int type, const Area &area)
        { return EPED_InitForLoad(&context, type, 0x02, kEleven, area.bytes, area.length); });
    Damage(
        "EPED_Load",
        [](ReaderScript *script)
        { script->Apdu("805400000B0111121314212223242526", "A1A2A3A49000"); },
        [](int type, const Area &area)
        { return EPED_Load(&context, type, kEleven, area.bytes, area.length); });
    Damage(
        "EPED_InitForPurchase",
        [](ReaderScript *script) {
            script->Apdu("805001010B0111121314212223242526",
                         "000003E8 0001 000000 01 00 A1A2A3A4 9000");
        },
        [](int type, const Area &area) {
            return EPED_InitForPurchase(&context, type, 0x01, kEleven, 11, area.bytes, area.length);
        });
    Damage(
        "EPED_Purchase",
        [](ReaderScript *script)
        { script->Apdu("805401000F0102030420250131235958A1A2A3A408", "A1A2A3A4B1B2B3B49000"); },
        [](int type, const Area &area)
        { return EPED_Purchase(&context, type, 0, kFifteen, 15, area.bytes, area.length); });
}
