// The card commands that come after the selection of an application: GENERATE AC, EXTERNAL
// AUTHENTICATE, the issuer's scripts and its own procedures.
#include "vantor/pboc.h"

#include <cstring>

#include "pboc/card_command.h"
#include "pboc/cryptogram.h"
#include "pboc/tlv.h"
#include "vantor/support.h"

namespace
{

constexpr int kBadArgument = -22;
constexpr int kMostScriptCommands = 128; // some scripts would otherwise be sent for ever

constexpr Tag kFormat1 = {{0x80}, 1};
constexpr Tag kFormat2 = {{0x77}, 1};
constexpr Tag kScriptCommand = {{0x86}, 1};

// The value of a format 1 answer, or the contents of a format 2 template as far as they are there.
bool FindCryptogramData(const uint8_t *answer, int answerLength, TlvObject *data,
                        CryptogramFormat *format)
{
    *format = CryptogramFormat::kOne;
    if (FindObject(kFormat1, answer, answerLength, data))
        return true;
    *format = CryptogramFormat::kTwo;
    if (!FindObject(kFormat2, answer, answerLength, data))
        return false;
    // The search takes a template for empty; its length, one byte here, stands before its contents.
    const int claimed = answer[data->offset - 1];
    const int there = answerLength - data->offset;
    data->length = claimed < there ? claimed : there;
    return true;
}

// One command out of a script. The card's status makes it 0 or -99; anything else is the exchange.
int SendScriptCommand(DEVCONTEXT *deviceContext, int cardType, const uint8_t *bytes, int length,
                      bool *answered)
{
    CardCommand command = {};
    CardResponse response = {};
    *answered = false;
    if (length > static_cast<int>(sizeof command.bytes))
        return kBadArgument;
    memcpy(command.bytes, bytes, static_cast<size_t>(length));
    command.length = length;
    const int result = PBOC_IcAPDU(deviceContext, cardType, command.bytes, command.length,
                                   response.bytes, &response.length);
    if (result != 0)
        return result;
    *answered = true;
    return StatusWord(response.bytes, response.length) == 0x9000 ? 0 : kCommandFailed;
}

} // namespace

int GenerateCryptogram(DEVCONTEXT *deviceContext, int cardType, unsigned char referenceControl,
                       const unsigned char *data, int dataLength, unsigned char *result,
                       int32_t *resultLength, CryptogramFormat *format)
{
    CardCommand command;
    CardResponse response;
    TlvObject cryptogram{};
    if (result == nullptr || resultLength == nullptr)
        return kCommandFailed;
    if (!MakeCommand(&command, {0x80, 0xAE, referenceControl, 0x00}, data, dataLength))
        return kCommandFailed;
    const int outcome = Transmit(deviceContext, cardType, &command, &response);
    if (outcome != 0)
        return outcome;
    if (!FindCryptogramData(response.bytes, DataLength(response), &cryptogram, format))
        return kCommandFailed;
    memcpy(result, response.bytes + cryptogram.offset, static_cast<size_t>(cryptogram.length));
    *resultLength = cryptogram.length;
    return 0;
}

int PBOC_GenerateAC(DEVCONTEXT *deviceContext, int cardType, unsigned char referenceControl,
                    const unsigned char *data, int dataLength, unsigned char *result,
                    int32_t *resultLength)
{
    CryptogramFormat format;
    return GenerateCryptogram(deviceContext, cardType, referenceControl, data, dataLength, result,
                              resultLength, &format);
}

int PBOC_ExternalAuth(DEVCONTEXT *deviceContext, int cardType, const unsigned char *data,
                      int dataLength)
{
    return SendData(deviceContext, cardType, {0x00, 0x82, 0x00, 0x00}, data, dataLength);
}

int PBOC_ExternalAuth_Sh(DEVCONTEXT *deviceContext, int cardType, const unsigned char *data,
                         int dataLength)
{
    return SendData(deviceContext, cardType, {0x00, 0x82, 0x00, 0x06}, data, dataLength);
}

int PBOC_DeliveryKey(DEVCONTEXT *deviceContext, int cardType, unsigned char p1, unsigned char p2,
                     const unsigned char *data, int dataLength)
{
    return SendData(deviceContext, cardType, {0xBF, 0xDE, p1, p2}, data, dataLength);
}

int PBOC_CryptData(DEVCONTEXT *deviceContext, int cardType, unsigned char p1,
                   const unsigned char *data, int dataLength, unsigned char *result,
                   int32_t *resultLength)
{
    CardCommand command;
    CardResponse response;
    if (result == nullptr || resultLength == nullptr)
        return kCommandFailed;
    if (!MakeCommand(&command, {0x80, 0xFA, p1, 0x00}, data, dataLength))
        return kCommandFailed;
    const int outcome = Transmit(deviceContext, cardType, &command, &response);
    if (outcome == 0)
        GiveData(response, result, resultLength);
    return outcome;
}

int PBOC_ChangePin(DEVCONTEXT *deviceContext, int cardType, unsigned char p2,
                   const unsigned char *data, int dataLength)
{
    return SendData(deviceContext, cardType, {0x84, 0x24, 0x00, p2}, data, dataLength);
}

int PBOC_ExeScript(DEVCONTEXT *deviceContext, int cardType, const unsigned char *script,
                   int scriptLength)
{
    int position = 0;
    int count = 1; // the number of the next command
    int lastResult = 0;
    if (script == nullptr || scriptLength <= 0)
        return kCommandFailed;
    for (int sent = 0; position < scriptLength; sent++)
    {
        const uint8_t *rest = script + position;
        TlvObject command{};
        if (!FindObject(kScriptCommand, rest, scriptLength - position, &command))
            return position != 0 ? 0 : kCommandFailed;
        if (sent == kMostScriptCommands)
        {
            GLogE("PBOC_ExeScript, more than %d commands\r\n", kMostScriptCommands);
            break;
        }
        // Counted from where this search began and not added to that place. Deliberate.
        position = command.offset + command.length;
        bool answered = false;
        lastResult = SendScriptCommand(deviceContext, cardType, rest + command.offset,
                                       command.length, &answered);
        if (answered)
            count++;
    }
    return lastResult == kCommandFailed ? count : lastResult;
}
