// The calls of business.h and transactions.h. Outputs have the room that the headers name.
#include "vantor/business.h"

#include "vantor/magnetic_stripe.h"
#include "vantor/transactions.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

// A text that a failed call leaves alone or empty.
void CheckText(int result, const Room &text)
{
    if (result == 0)
        text.TextLength();
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
};

} // namespace

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

CallTable BusinessCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
