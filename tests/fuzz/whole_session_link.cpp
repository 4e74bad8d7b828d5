// The calls of link.h, identity_operations.h and magnetic_stripe_operations.h.
#include "vantor/link.h"

#include "vantor/identity_operations.h"
#include "vantor/magnetic_stripe_operations.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

template <typename Send>
void SendFramed(Session *session, Send send)
{
    Room command(session->Block());
    Room response(session->Size(4200));
    const int result = send(session->device, command.Data(), command.Size(), response.Data(),
                            response.Size(), session->milliseconds);
    FUZZ_CHECK(result <= response.Size());
}

void SendRaw(Session *session, const char *endKind)
{
    Room command(session->Block());
    Room response(session->Size(2000));
    DEVCONTEXT *device = session->device;
    const uint32_t timeoutMs = session->milliseconds;
    if (endKind == nullptr)
        RAWL_SendCmd(device, command.Data(), command.Size(), response.Data(), response.Size(),
                     session->Number(), timeoutMs);
    else
        RAWC_SendCmd(device, command.Data(), command.Size(), response.Data(), response.Size(),
                     endKind, timeoutMs);
}

int Ended(int (*test)(const unsigned char *, uint32_t), Session *session)
{
    Room bytes(session->Block());
    return test(bytes.Data(), static_cast<uint32_t>(bytes.size));
}

void ReadRecord(Session *session, int (*read)(DEVCONTEXT *, unsigned char *, int32_t *, uint32_t))
{
    Room raw(4096);
    int32_t length = 0;
    const int result = read(session->device, raw.Data(), &length, session->milliseconds);
    FUZZ_CHECK(length >= 0 && length <= raw.Size());
    FUZZ_CHECK(result != 0 || raw.IsUntouchedFrom(static_cast<size_t>(length)));
}

// Every field of a record that is all the input's, in the room that the header gives it.
void TakeFields(Session *session)
{
    static const struct
    {
        int (*get)(const unsigned char *, char *);
        size_t room;
    } fields[] = {{ID_GetName, 62},
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
                  {ID_GetEnglishName_Foreign, 242},
                  {ID_GetSexCode_Foreign, 6},
                  {ID_GetCardNumber_Foreign, 62},
                  {ID_GetNationCode_Foreign, 14},
                  {ID_GetChineseName_Foreign, 62},
                  {ID_GetValidStart_Foreign, 34},
                  {ID_GetValidEnd_Foreign, 34},
                  {ID_GetBirth_Foreign, 34},
                  {ID_GetCardVer_Foreign, 10},
                  {ID_GetPoliceCode_Foreign, 18}};
    Bytes bytes = session->Block();
    bytes.resize(256);
    Room record(bytes);
    for (const auto &field : fields)
    {
        Room out(field.room);
        FUZZ_CHECK(field.get(record.Data(), out.Text()) == 0);
        out.TextLength();
    }
}

template <typename Get>
void TakeName(Session *session, Get get, size_t room)
{
    Bytes bytes = session->Block();
    bytes.resize(256);
    Room record(bytes), out(room, 0);
    get(record.Data(), out.Text());
    out.TextLength();
}

void TakeBlock(int (*get)(const unsigned char *, unsigned char *), size_t size)
{
    Room raw(4096), out(size);
    FUZZ_CHECK(get(raw.Data(), out.Data()) == 0);
}

void Split(Session *session, bool three)
{
    Room reply(session->Text());
    Room one(session->Size(200)), two(session->Size(200)), other(session->Size(200));
    if (three)
        GetMsrTrackData123(reply.Text(), static_cast<uint32_t>(one.size), one.Text(),
                           static_cast<uint32_t>(two.size), two.Text(),
                           static_cast<uint32_t>(other.size), other.Text());
    else
        GetMsrTrackData(reply.Text(), static_cast<uint32_t>(two.size), two.Text(),
                        static_cast<uint32_t>(other.size), other.Text());
}

uint32_t StripeMode(Session *session)
{
    static const uint32_t modes[] = {1, 2, 3, 12, 13, 23, 123, 99};
    return modes[session->Byte() % 8];
}

const Call kCalls[] = {
    {"KrelIc_SendCmd", [](Session *s) { SendFramed(s, KrelIc_SendCmd); }},
    {"Union_SendCmd", [](Session *s) { SendFramed(s, Union_SendCmd); }},
    {"RAWL_SendCmd", [](Session *s) { SendRaw(s, nullptr); }},
    {"RAWC_SendCmd",
     [](Session *s)
     {
         static const char *const kinds[] = {"?\x1C", "rp/q", ""};
         SendRaw(s, kinds[s->Byte() % 3]);
     }},
    {"MsrPacketIsEnd", [](Session *s) { Ended(MsrPacketIsEnd, s); }},
    {"MsrWriteIsEnd", [](Session *s) { Ended(MsrWriteIsEnd, s); }},
    {"ID_SendCmd",
     [](Session *s)
     {
         Room command(s->Block());
         Room response(s->Size(4200));
         FUZZ_CHECK(ID_SendCmd(s->device, command.Data(), command.Size(), response.Data(),
                               response.Size(), s->milliseconds) <= 4096);
     }},
    {"ID_MakeCmdPackage",
     [](Session *s)
     {
         Room payload(s->Block()), out(s->Size(700));
         const int length =
             ID_MakeCmdPackage(payload.Data(), payload.Size(), out.Data(), out.Size());
         FUZZ_CHECK(length == -22 || length == payload.Size() + 8);
     }},
    {"KrelIdPacketIsEnd", [](Session *s) { Ended(KrelIdPacketIsEnd, s); }},
    {"Vantor_Open",
     [](Session *s)
     {
         static const int ports[] = {0, 3, 1, 2, 15, 16, 255, 256, -1};
         const int port = ports[s->Byte() % 9];
         const int baud = s->Number();
         Vantor_Open(s->device, port, baud, s->Byte());
     }},
    {"Vantor_Open_PID", [](Session *s) { Vantor_Open_PID(s->device, s->Byte(), 0x0151); }},
    {"Vantor_Close", [](Session *s) { FUZZ_CHECK(Vantor_Close(s->device) == 0); }},
    {"Vantor_SetBpPort", [](Session *s) { Vantor_SetBpPort(s->device, s->Byte()); }},
    {"Vantor_Reset", [](Session *s) { Vantor_Reset(s->device, s->milliseconds); }},
    {"Vantor_ChangeMode", [](Session *s) { Vantor_ChangeMode(s->device, s->Byte()); }},
    {"Vantor_Cancel", [](Session *) { FUZZ_CHECK(Vantor_Cancel() == 0); }},
    {"Vantor_ReadData",
     [](Session *s) { FUZZ_CHECK(Vantor_ReadData(s->device, s->milliseconds) <= 4096); }},
    {"ID_ResetCard", [](Session *s) { ID_ResetCard(s->device, s->milliseconds); }},
    {"ID_FindCard", [](Session *s) { ID_FindCard(s->device, s->milliseconds); }},
    {"ID_SelectCard", [](Session *s) { ID_SelectCard(s->device, s->milliseconds); }},
    {"ID_ReadCard", [](Session *s) { ReadRecord(s, ID_ReadCard); }},
    {"ID_ReadCard_FP", [](Session *s) { ReadRecord(s, ID_ReadCard_FP); }},
    {"ID_SetIdBaud",
     [](Session *s)
     {
         const int baud = s->Number();
         ID_SetIdBaud(s->device, baud, s->milliseconds);
     }},
    {"ID_ChangeSDT", [](Session *) { FUZZ_CHECK(ID_ChangeSDT() == 0); }},
    {"ID_GetBmpData",
     [](Session *) { FUZZ_CHECK(ID_GetBmpData(nullptr, 0, nullptr, nullptr) == 0); }},
    {"ID_GetFrontBackImg",
     [](Session *) { FUZZ_CHECK(ID_GetFrontBackImg(nullptr, nullptr, nullptr) == 0); }},
    {"ID_IsTimeOut", [](Session *) { ID_IsTimeOut(); }},
    {"ID_Get... of a record", TakeFields},
    {"ID_GetSex",
     [](Session *s)
     {
         TakeName(
             s, [](const unsigned char *r, char *out) { ID_GetSex(r, 0, out); }, 6);
     }},
    {"ID_GetNation",
     [](Session *s)
     {
         TakeName(
             s, [](const unsigned char *r, char *out) { ID_GetNation(r, 0, out); }, 20);
     }},
    {"ID_GetSex_Foreign",
     [](Session *s)
     {
         TakeName(
             s, [](const unsigned char *r, char *out) { ID_GetSex_Foreign(r, 0, out); }, 6);
     }},
    {"ID_GetNation_Foreign", [](Session *s) { TakeName(s, ID_GetNation_Foreign, 32); }},
    {"ID_GetPhotoInfo", [](Session *) { TakeBlock(ID_GetPhotoInfo, 1024); }},
    {"ID_GetFPInfo", [](Session *) { TakeBlock(ID_GetFPInfo, 1024); }},
    {"ID_GetASICSerialNumber_GAT", [](Session *) { TakeBlock(ID_GetASICSerialNumber_GAT, 8); }},
    {"ID_GetSerialCardNumber_GAT", [](Session *) { TakeBlock(ID_GetSerialCardNumber_GAT, 16); }},
    {"ID_GetBmpFile",
     [](Session *)
     {
         Room photo(1024);
         ID_GetBmpFile(photo.Data(), ScratchFile("head.bmp").c_str());
     }},
    {"MSR_Reset", [](Session *s) { MSR_Reset(s->device, s->milliseconds); }},
    {"MSR_ReadTrack",
     [](Session *s)
     {
         const size_t room = s->Size(300);
         Room one(room), two(room), three(room);
         const uint32_t capacity = static_cast<uint32_t>(room);
         DEVCONTEXT *device = s->device;
         const uint32_t mode = StripeMode(s);
         MSR_ReadTrack(device, 0, mode, capacity, one.Text(), capacity, two.Text(), capacity,
                       three.Text(), s->milliseconds);
     }},
    {"MSR_WriteTrack",
     [](Session *s)
     {
         Room two(s->Text()), three(s->Text());
         DEVCONTEXT *device = s->device;
         const uint32_t mode = StripeMode(s);
         MSR_WriteTrack(device, 0, mode, two.Text(), three.Text(), s->milliseconds);
     }},
    {"GetMsrTrackData", [](Session *s) { Split(s, false); }},
    {"GetMsrTrackData123", [](Session *s) { Split(s, true); }},
    {"MSR_GetCardNo",
     [](Session *s)
     {
         const int kind = s->Small();
         Room text(s->Text()), number(text.size);
         if (MSR_GetCardNo(kind, text.Text(), number.Text()) == 0)
             number.TextLength();
     }},
};

} // namespace

CallTable LinkCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
