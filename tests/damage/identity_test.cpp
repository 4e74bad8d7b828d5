// The identity module's replies, the records of the three kinds of cards, and the calls above them.
#include <cstring>

#include "damage/bench/bench.h"
#include "support/identity_card.h"
#include "vantor/identity_cards.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/terminal.h"

using namespace damage_testing;
using testing_support::ForeignCard;
using testing_support::GatCard;
using testing_support::IdentityCard;
using testing_support::IdentityFrame;
using testing_support::ResidentCard;

namespace
{

constexpr uint32_t kLimitMs = 1000;
constexpr uint32_t kReadLimitMs = 3000;
constexpr uint32_t kModeLimitMs = 100;
constexpr uint32_t kPauseMs = 900;
constexpr uint32_t kCloseMs = 200; // BO_Close waits for a read to see that it is cancelled
constexpr size_t kInfoRoom = 1024;

GoldenExchange Asked(const char *command, const std::string &payload)
{
    return {IdentityFrame(FromHex(command)), IdentityFrame(payload)};
}

// A short command and its status.
void DamageStatus(const char *command, const char *status, int result,
                  const std::function<int()> &call)
{
    Subject subject;
    subject.name = std::string(command) + " answered " + status;
    subject.rows = {Asked(command, FromHex(status))};
    subject.limitMs = kLimitMs;
    subject.result = result;
    subject.call = [=](Outputs *) { return call(); };
    DamageEveryAnswer(subject);
}

using ReadCall = int (*)(DEVCONTEXT *, unsigned char *, int32_t *, uint32_t);

// The record's length is what the frame took over the line, less the head: the bytes behind the
// record are there, and zero.
Subject ReadRecord(ReadCall call, const char *command, const std::string &payload)
{
    Subject subject;
    subject.name = command;
    subject.rows = {Asked(command, payload)};
    subject.limitMs = kReadLimitMs;
    subject.call = [=](Outputs *out)
    {
        unsigned char *raw = out->Bytes(4096);
        auto *length = out->Value<int32_t>(0);
        const int result = call(&context, raw, length, kReadLimitMs);
        out->Used(raw, result == 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
    return subject;
}

using InfoCall = int (*)(char *info, uint32_t *length);

int Plain(char *info, uint32_t *length)
{
    return BO_ReadIdInfo(nullptr, 0, info, length, nullptr, 0, nullptr, nullptr, 5);
}

int Picture(char *info, uint32_t *length)
{
    return BO_ReadIdInfo_Pic(nullptr, 0, info, length, 5);
}

int FrontAndBack(char *info, uint32_t *length)
{
    return BO_ReadIdInfo_Pic_FB(nullptr, nullptr, nullptr, nullptr, info, length, nullptr, nullptr,
                                5);
}

int Variant(char *info, uint32_t *length)
{
    return BO_ReadIdInfo_Pic_YC(nullptr, nullptr, nullptr, nullptr, kInfoRoom, info, length, 5);
}

int Terminal(char *info, uint32_t *length)
{
    const int result =
        ID_GetInfo("ttyD0", nullptr, 9600, 5, nullptr, nullptr, nullptr, nullptr, info);
    *length = result == 0 ? static_cast<uint32_t>(strlen(info)) : 0;
    return result;
}

// A whole read: mode, reset, find, select, read, mode.
Subject WholeRead(InfoCall call, const IdentityCard &card)
{
    Subject subject;
    subject.rows = {{ESC "$S0", "S0"},
                    Asked("11FF", FromHex("000090")),
                    Asked("2001", FromHex("00009F")),
                    Asked("2002", FromHex("000090")),
                    Asked("3010", card.PayloadWithFingerprint()),
                    {ESC "$B0", "B0"}};
    subject.limitMs = kReadLimitMs + kModeLimitMs;
    subject.call = [=](Outputs *out)
    {
        char *info = out->Text(kInfoRoom);
        auto *length = out->Value<uint32_t>(0);
        const int result = call(info, length);
        out->UsedText(info);
        return result;
    };
    return subject;
}

void DamageWholeReads(InfoCall call, const char *name)
{
    const IdentityCard cards[] = {ResidentCard(), GatCard(), ForeignCard()};
    for (const IdentityCard &card : cards)
    {
        Subject subject = WholeRead(call, card);
        subject.name = name;
        subject.opensTheReader = call == Terminal;
        subject.pauseMs = call == Terminal ? kPauseMs + kCloseMs : kPauseMs;
        DamageEveryAnswer(subject);
    }
}

struct Field
{
    int (*get)(const unsigned char *record, char *out);
    size_t room;
};

constexpr Field kResidentFields[] = {
    {ID_GetName, 62},
    {ID_GetSexCode, 6},
    {ID_GetNationCode, 10},
    {ID_GetBirth, 34},
    {ID_GetAddress, 142},
    {ID_GetCardNumber, 74},
    {ID_GetPolice, 62},
    {ID_GetValidStart, 34},
    {ID_GetValidEnd, 34},
    {ID_GetCardType, 6},
    {ID_GetCardNo_GAT, 38},
    {ID_GetIssueTimes_GAT, 10},
    {[](const unsigned char *record, char *out) { return ID_GetSex(record, 0, out); }, 6},
    {[](const unsigned char *record, char *out) { return ID_GetNation(record, 0, out); }, 20},
};

constexpr Field kForeignFields[] = {
    {ID_GetEnglishName_Foreign, 242},
    {ID_GetSexCode_Foreign, 6},
    {ID_GetCardNumber_Foreign, 62},
    {ID_GetNationCode_Foreign, 14},
    {ID_GetChineseName_Foreign, 62},
    {ID_GetValidStart_Foreign, 34},
    {ID_GetValidEnd_Foreign, 34},
    {ID_GetBirth_Foreign, 34},
    {ID_GetCardVer_Foreign, 10},
    {ID_GetPoliceCode_Foreign, 18},
    {[](const unsigned char *record, char *out) { return ID_GetSex_Foreign(record, 0, out); }, 6},
    {ID_GetNation_Foreign, 32},
};

// Every field of a record whose bytes are changed; a record that is cut or grown is one whose bytes
// are changed. The text block alone is the input: what lies behind it belongs to somebody else.
template <size_t count>
Subject Fields(const Field (&fields)[count], const IdentityCard &card)
{
    Subject subject;
    subject.name = "the fields of a record";
    subject.rows = {Asked("3001", card.Payload())};
    subject.limitMs = kReadLimitMs;
    subject.call = [&fields](Outputs *out)
    {
        std::vector<unsigned char> raw(4096);
        int32_t length = 0;
        const int result = ID_ReadCard(&context, raw.data(), &length, kReadLimitMs);
        std::vector<unsigned char> block(raw.begin(), raw.begin() + 256);
        for (const Field &field : fields)
        {
            char *text = out->ZeroedText(field.room);
            EXPECT_EQ(0, field.get(block.data(), text));
            out->Used(text, field.room); // there is no length: the room is what counts
        }
        return result;
    };
    return subject;
}

} // namespace

TEST(DamagedIdentity, Statuses)
{
    DamageStatus("11FF", "000090", 0, [] { return ID_ResetCard(&context, kLimitMs); });
    DamageStatus("11FF", "000060", -3000, [] { return ID_ResetCard(&context, kLimitMs); });
    DamageStatus("2001", "00009F", 0, [] { return ID_FindCard(&context, kLimitMs); });
    DamageStatus("2001", "000080", -3001, [] { return ID_FindCard(&context, kLimitMs); });
    DamageStatus("2002", "000090", 0, [] { return ID_SelectCard(&context, kLimitMs); });
    DamageStatus("2002", "000081", -3001, [] { return ID_SelectCard(&context, kLimitMs); });
    DamageStatus("6004", "000090", 0, [] { return ID_SetIdBaud(&context, 9600, kLimitMs); });
}

TEST(DamagedIdentity, RepliesAsTheLinkHandsThemOn)
{
    for (int room : {4, 11, 256})
    {
        Subject subject;
        subject.name = "a room of " + std::to_string(room);
        subject.rows = {Asked("11FF", FromHex("000090"))};
        subject.limitMs = kLimitMs;
        subject.result = 11;
        subject.call = [=](Outputs *out)
        {
            const unsigned char reset[] = {0x11, 0xFF};
            unsigned char *response = out->Bytes(static_cast<size_t>(room));
            const int result = ID_SendCmd(&context, reset, 2, response, room, kLimitMs);
            // The payload that the frame claims, which the room bounds.
            out->Used(response, result > 0 ? static_cast<size_t>(room) : 0);
            return result;
        };
        DamageEveryAnswer(subject);
    }
}

TEST(DamagedIdentity, Records)
{
    for (const IdentityCard &card : {ResidentCard(), GatCard(), ForeignCard()})
    {
        DamageEveryAnswer(ReadRecord(ID_ReadCard, "3001", card.Payload()));
        DamageEveryAnswer(ReadRecord(ID_ReadCard_FP, "3010", card.PayloadWithFingerprint()));
    }
}

TEST(DamagedIdentity, FieldsOfRecords)
{
    DamageEveryAnswer(Fields(kResidentFields, ResidentCard()));
    DamageEveryAnswer(Fields(kResidentFields, GatCard()));
    DamageEveryAnswer(Fields(kForeignFields, ForeignCard()));
}

TEST(DamagedIdentity, WholeReads)
{
    DamageWholeReads(Plain, "BO_ReadIdInfo");
    DamageWholeReads(Picture, "BO_ReadIdInfo_Pic");
}

TEST(DamagedIdentity, WholeReadsOfTheOtherLayouts)
{
    DamageWholeReads(FrontAndBack, "BO_ReadIdInfo_Pic_FB");
    DamageWholeReads(Variant, "BO_ReadIdInfo_Pic_YC");
    DamageWholeReads(Terminal, "ID_GetInfo");
}

TEST(DamagedIdentity, TheOtherCalls)
{
    Subject reset;
    reset.name = "BO_IdReset";
    reset.rows = {{ESC "$S0", "S0"}, Asked("11FF", FromHex("000090")), {ESC "$B0", "B0"}};
    reset.limitMs = kLimitMs + kModeLimitMs;
    reset.call = [](Outputs *) { return BO_IdReset(); };
    DamageEveryAnswer(reset);

    Subject baud = reset;
    baud.name = "BO_SetIdBaud";
    baud.rows[1] = Asked("6000", FromHex("000090"));
    baud.call = [](Outputs *) { return BO_SetIdBaud(115200); };
    DamageEveryAnswer(baud);

    // The read without fingerprint is made when the other one is refused.
    Subject raw = WholeRead(Plain, ResidentCard());
    raw.name = "BO_GetIdRawData";
    raw.rows[4] = Asked("3010", FromHex("000041"));
    raw.rows.insert(raw.rows.begin() + 5, Asked("3001", ResidentCard().Payload()));
    raw.call = [](Outputs *)
    { return BO_GetIdRawData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 5); };
    DamageEveryAnswer(raw);
}
