// The calls of operations.h, memory_card_operations.h and purse.h.
#include "vantor/operations.h"

#include "vantor/memory_card_operations.h"
#include "vantor/purse.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

template <size_t room, typename Take>
void TakeData(Session *session, Take take)
{
    Room data(room);
    uint32_t length = 0;
    const int result = take(session->device, data.Data(), &length);
    FUZZ_CHECK(length <= room);
    FUZZ_CHECK(result == 0 || length == 0);
    FUZZ_CHECK(data.IsUntouchedFrom(length));
}

using Apdu = int (*)(DEVCONTEXT *, const unsigned char *, int, unsigned char *, uint32_t *,
                     uint32_t);

void SendApdu(Session *session, Apdu send)
{
    Room apdu(session->Block());
    TakeData<4096>(session, [&](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                   { return send(device, apdu.Data(), apdu.Size(), data, length, 500); });
}

using ReadBlockCall = int (*)(DEVCONTEXT *, int, unsigned char *, uint32_t *, uint32_t);

void ReadBlockOf(Session *session, ReadBlockCall read)
{
    const int block = session->Number();
    TakeData<4096>(session, [=](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                   { return read(device, block, data, length, 500); });
}

using ChangeCall = int (*)(DEVCONTEXT *, int, const uint32_t *, uint32_t);

void ChangeValue(Session *session, ChangeCall change)
{
    const int block = session->Number();
    const uint32_t value = static_cast<uint32_t>(session->Number());
    change(session->device, block, &value, 500);
}

using AmountCall = int (*)(DEVCONTEXT *, int, int, uint32_t);

void ChangeByAmount(Session *session, AmountCall change)
{
    const int block = session->Number();
    const int amount = session->Number();
    change(session->device, block, amount, 500);
}

// A purse command: 512 bytes of room, at most 510 used.
template <typename Command>
void RunPurse(Session *session, Command command)
{
    Room data(512);
    int32_t length = 4;
    DEVCONTEXT *device = session->device;
    const int mode = session->mode;
    const int result = command(device, mode, data.Data(), &length);
    FUZZ_CHECK(length >= 0 && length <= 510);
    FUZZ_CHECK(data.IsUntouchedFrom(result == 0 ? static_cast<size_t>(length) : 0));
}

// Data of a fixed length.
Bytes Fixed(Session *session, size_t size)
{
    Bytes bytes = session->Block();
    bytes.resize(size);
    return bytes;
}

const Call kCalls[] = {
    {"IC_GetDevInfo",
     [](Session *s)
     {
         // A reader may tell more than it sent.
         Room info(256);
         uint32_t length = 0;
         IC_GetDevInfo(s->device, info.Data(), &length, 500);
         FUZZ_CHECK(length <= 255);
     }},
    {"IC_GetDevAllInfo",
     [](Session *s)
     {
         Room info(256);
         int32_t length = 0;
         IC_GetDevAllInfo(s->device, info.Data(), &length, 500);
         FUZZ_CHECK(length >= 0 && info.IsUntouchedFrom(static_cast<size_t>(length)));
     }},
    {"IC_SetDevSn",
     [](Session *s)
     {
         Room serial(s->Block());
         IC_SetDevSn(s->device, serial.Data(), serial.Size(), 500);
     }},
    {"IC_Beep",
     [](Session *s)
     {
         const uint32_t first = static_cast<uint32_t>(s->Number());
         IC_Beep(s->device, first, s->Byte(), 1, 500);
     }},
    {"IC_DevReset", [](Session *s) { FUZZ_CHECK(IC_DevReset(s->device) == 0); }},
    {"IC_SetBaud",
     [](Session *s)
     {
         const int baud = s->Number();
         IC_SetBaud(s->device, baud);
     }},
    {"IC_SetSlot", [](Session *s) { IC_SetSlot(static_cast<uint32_t>(s->Number())); }},
    {"IC_PowerOn",
     [](Session *s)
     {
         TakeData<256>(s, [](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                       { return IC_PowerOn(device, data, length, 500); });
     }},
    {"IC_RFPowerOn",
     [](Session *s)
     {
         TakeData<256>(s, [](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                       { return IC_RFPowerOn(device, data, length, 500); });
     }},
    {"IC_PowerOff", [](Session *s) { IC_PowerOff(s->device, 500); }},
    {"IC_RFPowerOff", [](Session *s) { IC_RFPowerOff(s->device, 500); }},
    {"IC_APDU", [](Session *s) { SendApdu(s, IC_APDU); }},
    {"IC_RFAPDU", [](Session *s) { SendApdu(s, IC_RFAPDU); }},
    {"IC_CardDetect",
     [](Session *s)
     {
         int32_t result = 0;
         IC_CardDetect(s->device, s->Byte(), &result, 500);
         FUZZ_CHECK(result >= 0 && result <= 3);
     }},
    {"M1_PowerOn",
     [](Session *s)
     {
         TakeData<256>(s, [](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                       { return M1_PowerOn(device, data, length, 500); });
     }},
    {"M1_PowerOff", [](Session *s) { M1_PowerOff(s->device, 500); }},
    {"M1_Verify",
     [](Session *s)
     {
         const int sector = s->Number();
         Room key(s->Text());
         M1_Verify(s->device, sector, s->Small(), key.Text(), 500);
     }},
    {"M1_ReadBlock", [](Session *s) { ReadBlockOf(s, M1_ReadBlock); }},
    {"M1_ReadValue", [](Session *s) { ReadBlockOf(s, M1_ReadValue); }},
    {"M1_WriteBlock",
     [](Session *s)
     {
         const int block = s->Number();
         Room data(s->Block());
         M1_WriteBlock(s->device, block, data.Data(), data.Size(), 500);
     }},
    {"M1_WriteValue", [](Session *s) { ChangeValue(s, M1_WriteValue); }},
    {"M1_Increment", [](Session *s) { ChangeValue(s, M1_Increment); }},
    {"M1_Decrement", [](Session *s) { ChangeValue(s, M1_Decrement); }},
    {"M1_IncreaseValue", [](Session *s) { ChangeByAmount(s, M1_IncreaseValue); }},
    {"M1_DecreaseValue", [](Session *s) { ChangeByAmount(s, M1_DecreaseValue); }},
    {"M0_PowerOn",
     [](Session *s)
     {
         TakeData<256>(s, [](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                       { return M0_PowerOn(device, data, length, 500); });
     }},
    {"M0_PowerOff", [](Session *s) { M0_PowerOff(s->device, 500); }},
    {"M0_ReadBlock",
     [](Session *s)
     {
         const int page = s->Number();
         const int count = s->Number();
         TakeData<4096>(s, [=](DEVCONTEXT *device, unsigned char *data, uint32_t *length)
                        { return M0_ReadBlock(device, page, count, data, length, 500); });
     }},
    {"M0_WriteBlock",
     [](Session *s)
     {
         const int page = s->Number();
         Room data(s->Block());
         M0_WriteBlock(s->device, page, data.Data(), data.Size(), 500);
     }},
    {"M0_Interaction",
     [](Session *s)
     {
         Room in(s->Block());
         TakeData<4096>(s,
                        [&](DEVCONTEXT *device, unsigned char *data, uint32_t *length) {
                            return M0_Interaction(device, in.Data(), in.Size(), data, length, 500);
                        });
     }},
    {"M0_ChcekCardType",
     [](Session *s)
     {
         Room type(1);
         M0_ChcekCardType(s->device, 0, type.Data(), 500);
     }},
    {"EPED_ReadBinary",
     [](Session *s)
     {
         const uint8_t sfi = s->Byte();
         const uint8_t offset = s->Byte();
         RunPurse(s, [=](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
                  { return EPED_ReadBinary(device, mode, sfi, offset, data, length); });
     }},
    {"EPED_UpdateBinary",
     [](Session *s)
     {
         Room data(s->Block());
         const int mode = s->mode;
         EPED_UpdateBinary(s->device, mode, s->Byte(), 0, data.Data(), data.Size());
     }},
    {"EPED_Verify",
     [](Session *s)
     {
         Room pin(s->Block());
         const int mode = s->mode;
         EPED_Verify(s->device, mode, pin.Data(), pin.Size());
     }},
    {"EPED_GetRandom", [](Session *s) { RunPurse(s, EPED_GetRandom); }},
    {"EPED_GetBalance",
     [](Session *s)
     {
         const uint8_t which = s->Byte();
         RunPurse(s, [=](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
                  { return EPED_GetBalance(device, mode, which, data, length); });
     }},
    {"EPED_InitForLoad",
     [](Session *s)
     {
         Room load(Fixed(s, 11));
         RunPurse(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
                  { return EPED_InitForLoad(device, mode, 2, load.Data(), data, length); });
     }},
    {"EPED_Load",
     [](Session *s)
     {
         Room load(Fixed(s, 11));
         RunPurse(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
                  { return EPED_Load(device, mode, load.Data(), data, length); });
     }},
    {"EPED_InitForPurchase",
     [](Session *s)
     {
         Room purchase(Fixed(s, 11));
         RunPurse(
             s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
             { return EPED_InitForPurchase(device, mode, 2, purchase.Data(), 11, data, length); });
     }},
    {"EPED_Purchase",
     [](Session *s)
     {
         Room purchase(Fixed(s, 15));
         RunPurse(s, [&](DEVCONTEXT *device, int mode, unsigned char *data, int32_t *length)
                  { return EPED_Purchase(device, mode, 0, purchase.Data(), 15, data, length); });
     }},
};

} // namespace

CallTable OperationCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
