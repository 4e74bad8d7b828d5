#include "pboc/card_command.h"

#include <cstring>

#include "vantor/pboc.h"

bool MakeCommand(CardCommand *command, const uint8_t (&header)[4], const uint8_t *data,
                 int dataLength)
{
    *command = {};
    if (dataLength < 0 || dataLength > kLongestCommandData || (data == nullptr && dataLength > 0))
        return false;
    memcpy(command->bytes, header, sizeof header);
    command->bytes[4] = static_cast<uint8_t>(dataLength); // Lc
    if (dataLength > 0)
        memcpy(command->bytes + 5, data, static_cast<size_t>(dataLength));
    command->length = 5 + dataLength;
    return true;
}

int Transmit(DEVCONTEXT *deviceContext, int cardType, CardCommand *command, CardResponse *response)
{
    *response = {};
    const int result = PBOC_IcAPDU(deviceContext, cardType, command->bytes, command->length,
                                   response->bytes, &response->length);
    if (result != 0)
        return result;
    return StatusWord(response->bytes, response->length) == 0x9000 ? 0 : kCommandFailed;
}

int DataLength(const CardResponse &response)
{
    return response.length - 2;
}

void GiveData(const CardResponse &response, uint8_t *data, int32_t *dataLength)
{
    memcpy(data, response.bytes, static_cast<size_t>(DataLength(response)));
    *dataLength = DataLength(response);
}

int SendData(DEVCONTEXT *deviceContext, int cardType, const uint8_t (&header)[4],
             const uint8_t *data, int dataLength)
{
    CardCommand command;
    CardResponse response;
    int result = kCommandFailed;
    if (MakeCommand(&command, header, data, dataLength))
        result = Transmit(deviceContext, cardType, &command, &response);
    explicit_bzero(&command, sizeof command);
    return result;
}
