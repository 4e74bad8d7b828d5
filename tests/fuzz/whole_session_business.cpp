// The calls of business.h, transactions.h, magnetic_stripe.h, identity_cards.h, memory_cards.h and
// terminal.h. Outputs have the room that the headers name.
#include "vantor/business.h"

#include <filesystem>

#include "vantor/identity_cards.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/memory_cards.h"
#include "vantor/pboc.h"
#include "vantor/terminal.h"
#include "vantor/transactions.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

// A text of the input's, or one that takes a call further.
std::string TransactionText(Session *session)
{
    const uint8_t which = session->Byte();
    if (which < 0xA0)
        return "P012000000001234Q012000000000000R0040156S006250131T00200U006235959V020"
               "01234567890123456789";
    return session->Text();
}

std::string AidText(Session *session)
{
    static const char *const texts[] = {"", "A000000333010101"};
    const uint8_t which = session->Byte();
    return which < 0xC0 ? texts[which % 2] : session->Text();
}

std::string IssuerText(Session *session)
{
    const uint8_t which = session->Byte();
    if (which < 0x60)
        return "910A1122334455667788303072169F1804000000018609841E000004112233448604801E0000";
    return which < 0xE0 ? session->HexText() : session->Text();
}

// Where a photo may go: nowhere, or below this process's own directory.
std::string PhotoPath(Session *session)
{
    static const char *const names[] = {"",        "/head.bmp", "/head.jpg", "/made/head.png",
                                        "/photos", "\\x.bmp",   "/a.gif",    "/made/x\\y.bmp"};
    const uint8_t which = session->Byte();
    if (which % 16 == 0)
        return ScratchDirectory() + "/" + std::string(session->Size(400), 'p');
    return which % 8 == 0 ? "" : ScratchDirectory() + names[which % 8];
}

void RemovePhotos()
{
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(ScratchDirectory(), ignored))
        if (entry.path().filename() != "config.ini")
            std::filesystem::remove_all(entry.path(), ignored);
}

struct Track
{
    Room room;
    uint32_t length = 0;

    explicit Track(size_t size) : room(size, 0)
    {
    }
    uint32_t Size() const
    {
        return static_cast<uint32_t>(room.size);
    }
};

uint32_t StripeMode(Session *session)
{
    static const uint32_t modes[] = {1, 2, 3, 12, 13, 23, 123, 99};
    return modes[session->Byte() % 8];
}

// A text that a failed call leaves alone or empty.
void CheckText(int result, const Room &text)
{
    if (result == 0)
        text.TextLength();
}

void CheckIdentity(int result, const Room &info, const uint32_t &length)
{
    if (result == 0)
        FUZZ_CHECK(info.TextLength() == length && length <= 524);
}

// The results that Vantor_GetErrorCode gives.
void CheckTerminal(int result)
{
    FUZZ_CHECK(result == -99 || (result <= 0 && result >= -32));
}

const char *Port(Session *session)
{
    static const char *const ports[] = {"USB", "ttyS1", "", "usb", "pts/3"};
    return ports[session->Byte() % 5];
}

// ---- Connection and device ----

const Call kCalls[] = {
    {"my_init",
     [](Session *)
     {
         my_init();
         PutPathsBack();
     }},
    {"my_fini", [](Session *) { my_fini(); }},
    {"BO_GetErrorCode", [](Session *s) { BO_GetErrorCode(s->Number()); }},
    {"BO_InitConnect",
     [](Session *s)
     {
         static const int ports[] = {0, 3, 1, 256};
         Room info(256);
         uint32_t length = 0;
         const int port = ports[s->Byte() % 4];
         const int baud = s->Number();
         BO_InitConnect(port, baud, static_cast<unsigned char>('0' + s->mode), s->mode < 0, 0,
                        info.Data(), &length);
     }},
    {"BO_InitConnect_PID",
     [](Session *)
     {
         Room info(256);
         uint32_t length = 0;
         BO_InitConnect_PID(0x1BC3, 0x0151, 0, info.Data(), &length);
     }},
    {"BO_Open",
     [](Session *s)
     {
         static const int ports[] = {0, 3, 1, 256};
         const int port = ports[s->Byte() % 4];
         BO_Open(port, s->Number(), static_cast<unsigned char>('0' + s->mode));
     }},
    {"BO_Open_PID", [](Session *s) { BO_Open_PID(0x1BC3, s->Byte()); }},
    {"BO_Close", [](Session *) { FUZZ_CHECK(BO_Close() == 0); }},
    {"BO_DisConnect", [](Session *) { FUZZ_CHECK(BO_DisConnect() == 0); }},
    {"BO_GetDevInfo",
     [](Session *s)
     {
         Room info(256);
         uint32_t length = 0;
         BO_GetDevInfo(s->mode < 0, info.Data(), &length);
         FUZZ_CHECK(length <= 255);
     }},
    {"BO_Cancel", [](Session *) { FUZZ_CHECK(BO_Cancel() == 0); }},
    {"BO_CancelWait", [](Session *) { FUZZ_CHECK(BO_CancelWait() == 0); }},
    {"BO_Reset", [](Session *) { BO_Reset(); }},
    {"BO_SetBpPort", [](Session *s) { FUZZ_CHECK(BO_SetBpPort(s->Byte()) == 0); }},
    {"BO_ChangeMode", [](Session *s) { FUZZ_CHECK(BO_ChangeMode(s->Number()) == 0); }},
    {"BO_ChangeBaud",
     [](Session *s)
     {
         int64_t baud = 0;
         BO_ChangeBaud(s->Number(), s->mode < 0 ? nullptr : &baud);
     }},
    {"BO_SetDevBaud", [](Session *s) { BO_SetDevBaud(s->Number()); }},
    {"BO_Beep", [](Session *s) { BO_Beep(static_cast<uint32_t>(s->Number()), 2, 3); }},
    {"BO_SetSlot", [](Session *s) { BO_SetSlot(static_cast<uint32_t>(s->Number())); }},
    {"BO_GetDevSn",
     [](Session *)
     {
         Room serial(33);
         uint32_t length = 0;
         BO_GetDevSn(serial.Text(), &length);
         FUZZ_CHECK(serial.TextLength() == length);
     }},
    {"BO_SetDevSn",
     [](Session *s)
     {
         Room serial(s->Block());
         BO_SetDevSn(serial.Data(), serial.Size());
     }},
    {"BO_GetErrInfo",
     [](Session *s)
     {
         Room message(64);
         int32_t length = 0;
         FUZZ_CHECK(BO_GetErrInfo(-s->Number(), 0, message.Text(), &length) == 0);
         FUZZ_CHECK(message.TextLength() == static_cast<size_t>(length));
     }},

    // ---- IC cards ----

    {"BO_IcPowerOn",
     [](Session *s)
     {
         Room atr(s->Size(600));
         int32_t length = 0;
         int32_t type = -7;
         const int result =
             BO_IcPowerOn(s->mode, atr.Size(), atr.Text(), &length, &type, s->seconds);
         FUZZ_CHECK(length == -22 || (length >= 0 && length <= atr.Size()));
         FUZZ_CHECK((type == 0 || type == 1) == (result == 0));
     }},
    {"BO_IcPowerOff", [](Session *s) { BO_IcPowerOff(s->mode); }},
    {"BO_IcAPDU",
     [](Session *s)
     {
         Room apdu(s->HexText()), response(2048);
         int32_t length = 0;
         BO_IcAPDU(s->mode, apdu.Text(), apdu.Size() - 1, 0, response.Text(), &length);
         FUZZ_CHECK(length == -22 || (length >= 0 && length <= 2048));
     }},
    {"BO_CardDetect",
     [](Session *)
     {
         int32_t cards = 0;
         BO_CardDetect(&cards);
         FUZZ_CHECK(cards >= 0 && cards <= 3);
     }},
    {"IsHexDataValue, IsNumDataValue, IsPbocDataValue, IsTagListValue, IsTrackDataValue",
     [](Session *s)
     {
         Room text(s->Text());
         for (const auto check :
              {IsHexDataValue, IsNumDataValue, IsPbocDataValue, IsTagListValue, IsTrackDataValue})
             check(text.Text());
     }},
    {"BO_ICGetInfo",
     [](Session *s)
     {
         Room info(4409);
         CheckText(BO_ICGetInfo(s->mode, "ABCDEFGHIJKLMN", 0, info.Text(), s->seconds), info);
     }},
    {"BO_ICGetInfo of a list",
     [](Session *s)
     {
         Room list(s->Text()), info(4409);
         CheckText(BO_ICGetInfo(s->mode, list.Text(), 0, info.Text(), s->seconds), info);
     }},
    {"BO_ICGetDetail",
     [](Session *s)
     {
         Room detail(27037);
         CheckText(BO_ICGetDetail(s->mode, 0, detail.Text(), s->seconds), detail);
     }},
    {"BO_ICGetCircllog",
     [](Session *s)
     {
         Room detail(24742);
         CheckText(BO_ICGetCircllog(s->mode, 0, detail.Text(), s->seconds), detail);
     }},

    // ---- Transactions ----

    {"BO_ICGenARQC",
     [](Session *s)
     {
         Room text(TransactionText(s)), arqc(1025);
         int32_t type = -7;
         const int size = 1 + static_cast<int>(s->Size(1024));
         CheckText(BO_ICGenARQC(s->mode, text.Text(), size, arqc.Text(), &type, s->seconds), arqc);
     }},
    {"BO_ICExeScript_TC",
     [](Session *s)
     {
         Room text(TransactionText(s)), answer(IssuerText(s)), script(1023), tc(1012);
         const int size = s->Small() * 10;
         CheckText(BO_ICExeScript_TC(s->mode, text.Text(), answer.Text(), size, script.Text(), 0,
                                     tc.Text()),
                   script);
     }},
    {"BO_ICExeScript",
     [](Session *s)
     {
         Room text(TransactionText(s)), answer(IssuerText(s));
         BO_ICExeScript(s->mode, text.Text(), answer.Text(), nullptr);
     }},
    {"BO_ICGetInfo_YC",
     [](Session *s)
     {
         int32_t type = s->mode;
         Room aid(AidText(s)), info(3889);
         BO_ICGetInfo_YC(&type, aid.Text(), "ABCDEFGHIJKL", 0, info.Text(), s->seconds);
         info.TextLength();
     }},
    {"BO_ICGenARQC_YC",
     [](Session *s)
     {
         int32_t type = s->mode;
         Room aid(AidText(s)), text(TransactionText(s)), list(1025);
         Room arqc(1 + s->Size(2600));
         BO_ICGenARQC_YC(&type, aid.Text(), text.Text(), arqc.Size(), arqc.Text(), s->seconds,
                         list.Text());
         arqc.TextLength();
         list.TextLength();
     }},
    {"BO_ICExeScript_YC",
     [](Session *s)
     {
         Room text(TransactionText(s)), answer(IssuerText(s)), script(1023), tc(s->Size(1100));
         Room list(s->Block());
         BO_ICExeScript_YC(s->mode, text.Text(), answer.Text(), script.Size(), script.Text(),
                           tc.Size(), tc.Text(), list.Size(), list.Data());
         script.TextLength();
         if (tc.Size() > 0)
             tc.TextLength();
     }},
    {"BO_ICGetDetail_YC",
     [](Session *s)
     {
         int32_t type = s->mode;
         Room aid(AidText(s)), detail(27037);
         BO_ICGetDetail_YC(&type, aid.Text(), 0, detail.Text(), s->seconds);
         detail.TextLength();
     }},
    {"BO_SSCReadInfo",
     [](Session *s)
     {
         Room info(845);
         info.Data()[0] = 0;
         BO_SSCReadInfo(s->mode, info.Text(), s->seconds);
         info.TextLength();
     }},

    // ---- Magnetic cards ----

    {"BO_ResetMsr", [](Session *) { FUZZ_CHECK(BO_ResetMsr() == 0); }},
    {"BO_ReadMagCard",
     [](Session *s)
     {
         Track one(s->Size(300)), two(s->Size(300)), three(s->Size(300));
         const uint32_t mode = StripeMode(s);
         if (mode == 23 && three.Size() < two.Size())
             return; // that mode goes by the room of track 2: the host's mistake
         BO_ReadMagCard(0, mode, one.Size(), one.room.Text(), &one.length, two.Size(),
                        two.room.Text(), &two.length, three.Size(), three.room.Text(),
                        &three.length, s->seconds);
         FUZZ_CHECK(one.length <= one.Size() && two.length <= two.Size());
         FUZZ_CHECK(three.length <= three.Size());
     }},
    {"BO_WriteMagCard",
     [](Session *s)
     {
         static const char good[] = "6222020200112233=2512";
         Room two(s->mode == 0 ? good : s->Text()), three(s->mode == 1 ? good : s->Text());
         BO_WriteMagCard(0, 0, 0, two.Text(), 0, three.Text(), 0, s->seconds);
     }},
    {"BO_GetMagCardNo",
     [](Session *s)
     {
         Room number(256);
         uint32_t length = 0;
         const uint32_t mode = StripeMode(s);
         if (BO_GetMagCardNo(0, mode, s->mode + 1, number.Text(), &length, s->seconds) == 0)
             FUZZ_CHECK(number.TextLength() == length);
     }},

    // ---- Identity cards ----

    {"BO_IdReset", [](Session *) { BO_IdReset(); }},
    {"BO_SetIdBaud", [](Session *s) { BO_SetIdBaud(s->Number()); }},
    {"BO_GetIdRawData", [](Session *s)
     { BO_GetIdRawData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, s->seconds); }},
    {"BO_ReadIdInfo",
     [](Session *s)
     {
         Room path(PhotoPath(s)), info(1024);
         uint32_t length = 0;
         int32_t longTerm = 7;
         CheckIdentity(BO_ReadIdInfo(path.Text(), 0, info.Text(), &length, &longTerm, 0, nullptr,
                                     nullptr, s->seconds),
                       info, length);
         RemovePhotos();
     }},
    {"BO_ReadIdInfo_Pic",
     [](Session *s)
     {
         Room info(1024);
         uint32_t length = 0;
         CheckIdentity(BO_ReadIdInfo_Pic(nullptr, 0, info.Text(), &length, s->seconds), info,
                       length);
     }},
    {"BO_ReadIdInfo_Pic_FB",
     [](Session *s)
     {
         Room info(1024);
         uint32_t length = 0;
         CheckIdentity(BO_ReadIdInfo_Pic_FB(nullptr, nullptr, nullptr, nullptr, info.Text(),
                                            &length, nullptr, nullptr, s->seconds),
                       info, length);
     }},
    {"BO_ReadIdInfo_Pic_YC",
     [](Session *s)
     {
         Room path(PhotoPath(s)), info(1 + s->Size(600));
         uint32_t length = 0;
         CheckIdentity(BO_ReadIdInfo_Pic_YC(path.Text(), nullptr, nullptr, nullptr, info.Size(),
                                            info.Text(), &length, s->seconds),
                       info, length);
         RemovePhotos();
     }},
    {"BO_ModifyIdPath_YC",
     [](Session *s)
     {
         Room name(s->Text()), path(s->Text()), out(name.size + path.size + 6);
         BO_ModifyIdPath_YC(s->Small(), name.Text(), path.Text(), out.Text());
     }},

    // ---- Memory cards ----

    {"BO_M1Powerup",
     [](Session *s)
     {
         Room out(s->Size(600));
         int32_t length = 0;
         BO_M1Powerup(out.Size(), out.Text(), &length, s->seconds);
         FUZZ_CHECK(length == -22 || (length >= 0 && length <= out.Size()));
     }},
    {"BO_M1Powerdown", [](Session *) { BO_M1Powerdown(); }},
    {"BO_M1Verify",
     [](Session *s)
     {
         Room key(s->HexText());
         BO_M1Verify(s->Number(), s->mode, key.Text());
     }},
    {"BO_M1ReadBlock",
     [](Session *s)
     {
         Room out(s->Size(600));
         BO_M1ReadBlock(s->Number(), out.Size(), out.Text());
     }},
    {"BO_M1Read",
     [](Session *s)
     {
         Room out(s->Size(100));
         BO_M1Read(s->Number(), out.Size(), out.Text());
     }},
    {"BO_M1WriteBlock",
     [](Session *s)
     {
         Room data(s->HexText());
         BO_M1WriteBlock(s->Number(), data.Text());
     }},
    {"BO_M1Write, BO_M1Increment, BO_M1Decrement",
     [](Session *s)
     {
         Room text(s->mode < 0 ? s->HexText() : "02010000");
         for (const auto change : {BO_M1Write, BO_M1Increment, BO_M1Decrement})
             change(s->mode + 2, text.Text());
     }},
    {"BO_M1IncreaseValue", [](Session *s) { BO_M1IncreaseValue(4, s->Number()); }},
    {"BO_M1DecreaseValue", [](Session *s) { BO_M1DecreaseValue(4, s->Number()); }},
    {"BO_M0PowerOn",
     [](Session *s)
     {
         Room out(s->Size(600));
         int32_t length = 0;
         BO_M0PowerOn(out.Size(), out.Text(), &length, s->seconds);
         FUZZ_CHECK(length == -22 || (length >= 0 && length <= out.Size()));
     }},
    {"BO_M0PowerOff", [](Session *) { BO_M0PowerOff(); }},
    {"BO_M0Read",
     [](Session *s)
     {
         Room out(s->Size(600));
         BO_M0Read(s->Number(), 16, out.Size(), out.Text());
     }},
    {"BO_M0Write",
     [](Session *s)
     {
         Room data(s->HexText());
         BO_M0Write(s->Number(), data.Text());
     }},
    {"BO_M0VerifyKey",
     [](Session *s)
     {
         Room key(s->HexText());
         BO_M0VerifyKey(s->Number(), key.Text());
     }},
    {"BO_M0DownKey",
     [](Session *s)
     {
         Room key(s->HexText());
         BO_M0DownKey(32, key.Text());
     }},

    // ---- The terminal-standard calls ----

    {"IC_GetInfo",
     [](Session *s)
     {
         const char *port = Port(s);
         Room aid(AidText(s)), info(3889);
         int32_t type = s->mode + 1;
         int32_t length = info.Size();
         CheckTerminal(IC_GetInfo(port, nullptr, 9600, s->seconds, &type, aid.Text(),
                                  "ABCDEFGHIJKL", &length, info.Text()));
     }},
    {"IC_GenARQC",
     [](Session *s)
     {
         const char *port = Port(s);
         Room aid(AidText(s)), text(TransactionText(s)), arqc(2583), list(1025);
         int32_t type = s->mode + 1;
         int32_t length = arqc.Size();
         CheckTerminal(IC_GenARQC(port, "1", 9600, s->seconds, &type, aid.Text(), text.Text(),
                                  &length, arqc.Text(), list.Text()));
     }},
    {"IC_CtlScriptData",
     [](Session *s)
     {
         const char *port = Port(s);
         Room text(TransactionText(s)), answer(IssuerText(s)), tc(1013), script(1024);
         Room list(s->HexText());
         int32_t type = s->mode + 1;
         int32_t length = tc.Size();
         CheckTerminal(IC_CtlScriptData(port, "", 9600, s->seconds, &type, text.Text(),
                                        answer.Text(), &length, tc.Text(), script.Text(),
                                        list.Text()));
     }},
    {"IC_GetTranDeta",
     [](Session *s)
     {
         const char *port = Port(s);
         Room aid(AidText(s)), detail(27037);
         int32_t type = s->mode + 1;
         int32_t length = detail.Size();
         CheckTerminal(IC_GetTranDeta(port, nullptr, 9600, s->seconds, &type, aid.Text(), &length,
                                      detail.Text()));
     }},
    {"MS_ReadCard",
     [](Session *s)
     {
         const char *port = Port(s);
         Room two(255), three(255);
         CheckTerminal(MS_ReadCard(port, nullptr, 9600, s->seconds, 2 + s->Small(), 0, two.Text(),
                                   three.Text()));
     }},
    {"MS_WriteCard",
     [](Session *s)
     {
         const char *port = Port(s);
         Room two(s->Text()), three("99622202020=156156000");
         CheckTerminal(
             MS_WriteCard(port, nullptr, 9600, s->seconds, 23, 0, two.Text(), three.Text()));
     }},
    {"ID_GetInfo",
     [](Session *s)
     {
         const char *port = Port(s);
         Room path(PhotoPath(s)), info(4096);
         CheckTerminal(ID_GetInfo(port, nullptr, 0, s->seconds, path.Text(), nullptr, nullptr,
                                  nullptr, info.Text()));
         RemovePhotos();
     }},
    {"Vantor_GetErrorCode", [](Session *s) { CheckTerminal(Vantor_GetErrorCode(s->Number())); }},
};

} // namespace

CallTable BusinessCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
