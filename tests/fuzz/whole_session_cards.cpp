// The calls of magnetic_stripe.h, identity_cards.h, memory_cards.h and terminal.h. Outputs have the
// room that the headers name.
#include <filesystem>

#include "vantor/identity_cards.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/memory_cards.h"
#include "vantor/terminal.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

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

const Call kCalls[] = {
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

CallTable CardCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
