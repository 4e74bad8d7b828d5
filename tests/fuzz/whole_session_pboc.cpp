// The calls of pboc.h.
#include "vantor/pboc.h"

#include "whole_session.h"

namespace fuzz
{

namespace
{

constexpr size_t kArea = VANTOR_PBOC_AREA_SIZE;

void CheckArea(const Room &area, int32_t length)
{
    FUZZ_CHECK(length >= 0 && length <= area.Size());
    FUZZ_CHECK(area.IsUntouchedFrom(std::max<size_t>(8, static_cast<size_t>(length))));
}

// A command that gives one area.
template <typename Command>
void Take(Session *session, Command command)
{
    Room area(kArea);
    int32_t length = 0;
    DEVCONTEXT *device = session->device;
    const int mode = session->mode;
    command(device, mode, area.Data(), &length);
    CheckArea(area, length);
}

using SendData = int (*)(DEVCONTEXT *, int, const unsigned char *, int);

void Send(Session *session, SendData send)
{
    Room data(session->Block());
    DEVCONTEXT *device = session->device;
    const int mode = session->mode;
    send(device, mode, data.Data(), data.Size());
}

using Setter = int (*)(const unsigned char *, int, const unsigned char *, int);

void SetValue(Session *session, Setter set)
{
    Room tag(session->input->Take(1 + session->Byte() % 2)), value(session->Block());
    set(tag.Data(), tag.Size(), value.Data(), value.Size());
}

const Call kCalls[] = {
    {"PBOC_GetTagValue",
     [](Session *s)
     {
         Room tag(s->input->Take(1 + s->Byte() % 2)), buffer(s->Block());
         Room value(std::max<size_t>(8, buffer.size));
         int32_t length = 0;
         PBOC_GetTagValue(tag.Data(), tag.Size(), buffer.Data(), buffer.Size(), value.Data(),
                          &length);
         CheckArea(value, length);
     }},
    {"PBOC_SetTagValue",
     [](Session *s)
     {
         Room tag(s->input->Take(1 + s->Byte() % 2)), buffer(s->Block()), value(s->Block());
         PBOC_SetTagValue(tag.Data(), tag.Size(), buffer.Data(), buffer.Size(), value.Data(),
                          value.Size());
     }},
    {"PBOC_SetTxDataTagValue", [](Session *s) { SetValue(s, PBOC_SetTxDataTagValue); }},
    {"PBOC_SetAppInitDataTagValue", [](Session *s) { SetValue(s, PBOC_SetAppInitDataTagValue); }},
    {"the stores, as a host may overwrite them",
     [](Session *s)
     {
         const Bytes bytes = s->Block();
         const size_t at = s->Size(86);
         std::copy_n(bytes.begin(), std::min(bytes.size(), sizeof g_szTxData - at),
                     g_szTxData + at);
         g_iTxDataLen = s->Number();
         g_iAppInitDataLen = s->Number();
         g_iExDataLen = s->Number();
     }},
    {"g_IccAppData, as a host may overwrite it",
     [](Session *s)
     {
         const Bytes bytes = s->Block();
         std::copy(bytes.begin(), bytes.end(), g_IccAppData);
     }},
    {"PBOC_GetTagInDOL",
     [](Session *s)
     {
         Bytes bytes = s->Block();
         bytes.resize(std::max<size_t>(3, bytes.size()));
         Room entry(bytes), tag(2);
         int32_t tagLength = 0;
         int32_t entryLength = 0;
         PBOC_GetTagInDOL(entry.Data(), entry.Size(), tag.Data(), &tagLength, &entryLength);
     }},
    {"PBOC_BuildDOL",
     [](Session *s)
     {
         Room list(s->Block());
         // The stores may hold other lengths than they had at load.
         Room data((list.size / 2 + 1) * sizeof g_szAppInitData);
         int32_t length = 0;
         PBOC_BuildDOL(nullptr, 0, list.Data(), list.Size(), data.Data(), &length);
         FUZZ_CHECK(data.IsUntouchedFrom(static_cast<size_t>(length)));
     }},
    {"PBOC_GetSimpTagValue",
     [](Session *s)
     {
         Room name(s->input->Take(1 + s->Byte() % 3)), text(s->Text()), value(512);
         int32_t length = 0;
         PBOC_GetSimpTagValue(name.Text(), name.Size(), text.Text(), text.Size(), value.Text(),
                              &length);
         FUZZ_CHECK(value.IsUntouchedFrom(static_cast<size_t>(length)));
     }},
    {"PBOC_IcAPDU",
     [](Session *s)
     {
         Bytes bytes = s->Block();
         const int length = static_cast<int>(bytes.size());
         bytes.resize(std::max<size_t>(5, bytes.size()));
         Room command(bytes);
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *dataLength)
              { return PBOC_IcAPDU(device, mode, command.Data(), length, data, dataLength); });
     }},
    {"PBOC_SelectPSE",
     [](Session *s)
     {
         Room name(s->Block());
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_SelectPSE(device, mode, name.Data(), name.Size(), data, length); });
     }},
    {"PBOC_GetAID",
     [](Session *s)
     {
         Room files(s->Block());
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_GetAID(device, mode, files.Data(), files.Size(), data, length); });
     }},
    {"PBOC_SelectAID",
     [](Session *s)
     {
         Room aid(s->Block());
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_SelectAID(device, mode, aid.Data(), aid.Size(), data, length); });
     }},
    {"PBOC_SelectFile",
     [](Session *s)
     {
         const uint8_t p1 = s->Byte();
         Room file(s->Block());
         Take(s,
              [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length) {
                  return PBOC_SelectFile(device, mode, p1, file.Data(), file.Size(), data, length);
              });
     }},
    {"PBOC_ReadRecord",
     [](Session *s)
     {
         const uint8_t record = s->Byte();
         const uint8_t sfi = s->Byte();
         Take(s, [=](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_ReadRecord(device, mode, record, sfi, data, length); });
     }},
    {"PBOC_GetProcOptions",
     [](Session *s)
     {
         Room options(s->Block()), aip(kArea);
         int32_t aipLength = 0;
         Take(s,
              [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              {
                  return PBOC_GetProcOptions(device, mode, options.Data(), options.Size(),
                                             aip.Data(), &aipLength, data, length);
              });
         CheckArea(aip, aipLength);
     }},
    {"PBOC_GetAppData",
     [](Session *s)
     {
         Room afl(s->Block()), data(VANTOR_APP_DATA_SIZE);
         int32_t length = 0;
         DEVCONTEXT *device = s->device;
         PBOC_GetAppData(device, s->mode, afl.Data(), afl.Size(), data.Data(), &length);
         FUZZ_CHECK(length >= 0 && data.IsUntouchedFrom(static_cast<size_t>(length)));
     }},
    {"PBOC_GetData",
     [](Session *s)
     {
         Room tag(s->input->Take(1 + s->Byte() % 2));
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_GetData(device, mode, tag.Data(), tag.Size(), data, length); });
     }},
    {"PBOC_GenerateAC",
     [](Session *s)
     {
         const uint8_t control = s->Byte();
         Room list(s->Block());
         Take(s,
              [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length) {
                  return PBOC_GenerateAC(device, mode, control, list.Data(), list.Size(), data,
                                         length);
              });
     }},
    {"PBOC_BuildARQCBack",
     [](Session *s)
     {
         Room answer(s->Block()), result(kArea);
         int32_t length = 0;
         PBOC_BuildARQCBack(answer.Data(), answer.Size(), result.Data(), &length);
         FUZZ_CHECK(result.IsUntouchedFrom(static_cast<size_t>(length)));
     }},
    {"PBOC_ExternalAuth", [](Session *s) { Send(s, PBOC_ExternalAuth); }},
    {"PBOC_ExternalAuth_Sh", [](Session *s) { Send(s, PBOC_ExternalAuth_Sh); }},
    {"PBOC_ExeScript", [](Session *s) { Send(s, PBOC_ExeScript); }},
    {"PBOC_DeliveryKey",
     [](Session *s)
     {
         Room data(s->Block());
         const int mode = s->mode;
         PBOC_DeliveryKey(s->device, mode, s->Byte(), 0, data.Data(), data.Size());
     }},
    {"PBOC_CryptData",
     [](Session *s)
     {
         const uint8_t p1 = s->Byte();
         Room in(s->Block());
         Take(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
              { return PBOC_CryptData(device, mode, p1, in.Data(), in.Size(), data, length); });
     }},
    {"PBOC_ChangePin",
     [](Session *s)
     {
         Room data(s->Block());
         const int mode = s->mode;
         PBOC_ChangePin(s->device, mode, s->Byte(), data.Data(), data.Size());
     }},
};

} // namespace

CallTable PbocCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
