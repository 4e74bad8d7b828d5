// Electronic deposit and electronic purse: one card command each, sent through the PBOC engine's
// exchange with its status-word follow-ups. This is the one unit of its floor that reaches upward.
#include "vantor/purse.h"

#include <cstring>

#include "pboc/card_command.h"

namespace
{

constexpr int kTransactionData = 11; // both load commands, INITIALIZE FOR PURCHASE
constexpr int kPurchaseData = 15;    // DEBIT FOR PURCHASE

// Sends the command; on 9000 the response without its status bytes is the caller's.
int Transact(DEVCONTEXT *deviceContext, int cardType, CardCommand *command, unsigned char *data,
             int32_t *dataLength)
{
    CardResponse response;
    if (data == nullptr || dataLength == nullptr)
        return kCommandFailed;
    const int result = Transmit(deviceContext, cardType, command, &response);
    if (result == 0)
        GiveData(response, data, dataLength);
    return result;
}

// Header, Lc and data of a fixed length. The data are taken as a NUL-terminated byte string: what
// follows the first zero byte is sent as zero bytes. Deliberate.
template <size_t count>
bool MakeFixedCommand(CardCommand *command, const uint8_t (&header)[4], const unsigned char *data)
{
    uint8_t fixed[count] = {};
    if (data == nullptr)
        return false;
    memcpy(fixed, data, strnlen(reinterpret_cast<const char *>(data), count));
    return MakeCommand(command, header, fixed, count);
}

} // namespace

int EPED_ReadBinary(DEVCONTEXT *deviceContext, int cardType, unsigned char sfi,
                    unsigned char offset, unsigned char *data, int32_t *dataLength)
{
    CardCommand command = {{
                               0x00,                             // CLA
                               0xB0,                             // INS: READ BINARY
                               static_cast<uint8_t>(sfi | 0x80), // P1: file in the low five bits
                               offset,                           // P2
                               0x00,                             // Le: all there is
                           },
                           5};
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

// CLA 04: secure messaging, the data end with the MAC. P1 is SFI OR 90, where reading has SFI OR
// 80. Deliberate.
int EPED_UpdateBinary(DEVCONTEXT *deviceContext, int cardType, unsigned char sfi,
                      unsigned char offset, const unsigned char *data, int dataLength)
{
    return SendData(deviceContext, cardType, {0x04, 0xD6, static_cast<uint8_t>(sfi | 0x90), offset},
                    data, dataLength);
}

int EPED_Verify(DEVCONTEXT *deviceContext, int cardType, const unsigned char *pin, int pinLength)
{
    return SendData(deviceContext, cardType, {0x00, 0x20, 0x00, 0x00}, pin, pinLength);
}

int EPED_GetRandom(DEVCONTEXT *deviceContext, int cardType, unsigned char *data,
                   int32_t *dataLength)
{
    if (dataLength == nullptr)
        return kCommandFailed;
    CardCommand command = {{
                               0x00,                              // CLA
                               0x84,                              // INS: GET CHALLENGE
                               0x00,                              // P1
                               0x00,                              // P2
                               static_cast<uint8_t>(*dataLength), // Le
                           },
                           5};
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

int EPED_GetBalance(DEVCONTEXT *deviceContext, int cardType, unsigned char p2, unsigned char *data,
                    int32_t *dataLength)
{
    CardCommand command = {{
                               0x80, // CLA
                               0x5C, // INS: GET BALANCE
                               0x00, // P1
                               p2,   // P2: 01 deposit, 02 purse
                               0x04, // Le: the balance
                           },
                           5};
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

int EPED_InitForLoad(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                     const unsigned char *loadData, unsigned char *data, int32_t *dataLength)
{
    CardCommand command;
    if (!MakeFixedCommand<kTransactionData>(&command, {0x80, 0x50, 0x00, p2}, loadData))
        return kCommandFailed;
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

int EPED_Load(DEVCONTEXT *deviceContext, int cardType, const unsigned char *loadData,
              unsigned char *data, int32_t *dataLength)
{
    CardCommand command;
    if (!MakeFixedCommand<kTransactionData>(&command, {0x80, 0x54, 0x00, 0x00}, loadData))
        return kCommandFailed;
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

int EPED_InitForPurchase(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                         const unsigned char *purchaseData, int /*purchaseLength*/,
                         unsigned char *data, int32_t *dataLength)
{
    CardCommand command;
    if (!MakeFixedCommand<kTransactionData>(&command, {0x80, 0x50, 0x01, p2}, purchaseData))
        return kCommandFailed;
    return Transact(deviceContext, cardType, &command, data, dataLength);
}

int EPED_Purchase(DEVCONTEXT *deviceContext, int cardType, unsigned char /*reserved*/,
                  const unsigned char *purchaseData, int /*purchaseLength*/, unsigned char *data,
                  int32_t *dataLength)
{
    CardCommand command;
    if (!MakeFixedCommand<kPurchaseData>(&command, {0x80, 0x54, 0x01, 0x00}, purchaseData))
        return kCommandFailed;
    command.bytes[command.length++] = 0x08; // Le
    return Transact(deviceContext, cardType, &command, data, dataLength);
}
