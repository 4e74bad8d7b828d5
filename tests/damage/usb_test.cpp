// Input reports: what a reader puts into its 64 bytes. The report framing, the adapter and all
// above are the library's.
#include <cstring>

#include "damage/bench/bench.h"
#include "support/identity_card.h"
#include "vantor/business.h"
#include "vantor/hid.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/operations.h"
#include "vantor/transactions.h"

using namespace damage_testing;
using testing_support::IdentityFrame;
using testing_support::KrelFrame;
using testing_support::UnionFrame;

namespace
{

constexpr int kLimitMs = 1000;

Subject Apdu(int framing, const std::string &responseHex)
{
    ReaderScript script;
    script.united = framing == 1;
    script.Apdu("0084000008", responseHex);
    Subject subject;
    subject.name = "IC_APDU";
    subject.rows = script.rows;
    subject.framing = framing;
    subject.limitMs = kLimitMs;
    subject.call = [](Outputs *out)
    {
        const unsigned char challenge[] = {0x00, 0x84, 0x00, 0x00, 0x08};
        unsigned char *response = out->Bytes(4096);
        auto *length = out->Value<uint32_t>(0);
        const int result = IC_APDU(&context, challenge, 5, response, length, kLimitMs);
        out->Used(response, result == 0 ? *length : 0);
        return result;
    };
    return subject;
}

std::string Repeated(int count, const char *hex)
{
    std::string all;
    for (int i = 0; i < count; i++)
        all += hex;
    return all;
}

} // namespace

TEST(DamagedReports, OfOneReport)
{
    for (int framing : {0, 1})
        DamageEveryReport(Apdu(framing, "11223344556677889000"));
}

TEST(DamagedReports, OfSeveralReports)
{
    for (int framing : {0, 1})
        DamageEveryReport(Apdu(framing, Repeated(100, "A5") + "9000"));
}

TEST(DamagedReports, OfRawAnswers)
{
    Subject swipe;
    swipe.name = "MSR_ReadTrack";
    swipe.rows = {{ESC "F]", ESC "s6222020200112233=2512A996222020200112233=156%B6222^NAME^2512"
                                 "201123456789"
                                 "?\x1C"}};
    swipe.limitMs = kLimitMs;
    swipe.call = [](Outputs *out)
    {
        char *tracks[3];
        for (char *&track : tracks)
            track = out->ZeroedText(254);
        const int result = MSR_ReadTrack(&context, 0, 123, 254, tracks[0], 254, tracks[1], 254,
                                         tracks[2], kLimitMs);
        for (const char *track : tracks)
            out->Used(track, strnlen(track, 254));
        return result;
    };
    DamageEveryReport(swipe);

    Subject mode;
    mode.name = "RAWL_SendCmd";
    mode.rows = {{ESC "$S0", "S0"}};
    mode.limitMs = kLimitMs;
    mode.result = 2;
    mode.call = [](Outputs *out)
    {
        unsigned char *response = out->Bytes(256);
        const int length =
            RAWL_SendCmd(&context, reinterpret_cast<const unsigned char *>(ESC "$S0"), 4, response,
                         256, 2, kLimitMs);
        out->Used(response, length > 0 ? static_cast<size_t>(length) : 0);
        return length;
    };
    DamageEveryReport(mode);
}

TEST(DamagedReports, OfIdentityReplies)
{
    Subject reset;
    reset.name = "ID_ResetCard";
    reset.rows = {{IdentityFrame(FromHex("11FF")), IdentityFrame(FromHex("000090"))}};
    reset.limitMs = kLimitMs;
    reset.call = [](Outputs *) { return ID_ResetCard(&context, kLimitMs); };
    DamageEveryReport(reset);

    Subject read;
    read.name = "ID_ReadCard";
    read.rows = {
        {IdentityFrame(FromHex("3001")), IdentityFrame(testing_support::ResidentCard().Payload())}};
    read.limitMs = kLimitMs;
    read.call = [](Outputs *out)
    {
        unsigned char *raw = out->Bytes(4096);
        auto *length = out->Value<int32_t>(0);
        const int result = ID_ReadCard(&context, raw, length, kLimitMs);
        out->Used(raw, result == 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
    DamageEveryReport(read);
}

TEST(DamagedReports, AsTheChannelHandsThemOn)
{
    for (int room : {1, 8, 62})
    {
        Subject subject;
        subject.name = "hid_read_modeid";
        subject.rows = {{"ask", "answer"}};
        subject.limitMs = kLimitMs;
        subject.result = room;
        subject.call = [=](Outputs *out)
        {
            auto *device = static_cast<hid_device *>(context.device);
            hid_write_modeid(device, reinterpret_cast<const unsigned char *>("ask"), 3, 2);
            unsigned char *buffer = out->Bytes(static_cast<size_t>(room));
            const int count = hid_read_modeid(device, buffer, room, kLimitMs);
            out->Used(buffer, count > 0 ? static_cast<size_t>(count) : 0);
            return count;
        };
        DamageEveryReport(subject);
    }
}

TEST(DamagedReports, OfAWholeCall)
{
    ReaderScript script;
    script.PowerOn("3B6D000000960755");
    Subject powerOn;
    powerOn.name = "BO_IcPowerOn";
    powerOn.rows = script.rows;
    powerOn.limitMs = kLimitMs;
    powerOn.call = [](Outputs *out)
    {
        char *atr = out->Text(64);
        auto *length = out->Value<int32_t>(0);
        auto *type = out->Value<int32_t>(9);
        const int result = BO_IcPowerOn(0, 64, atr, length, type, 1);
        out->Used(atr, *length > 0 ? static_cast<size_t>(*length) : 0);
        return result;
    };
    DamageEveryReport(powerOn);
}
