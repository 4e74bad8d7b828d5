// Building one command to the card, sending it, and judging its status bytes.
#pragma once

#include <cstdint>

#include "pboc/card_exchange.h"
#include "vantor/transport.h"

constexpr int kCommandFailed = -99;      // another status than 9000, or data that fit no command
constexpr int kSpecialStatus = 100;      // 6283 to any command, 9303 to the payment environment
constexpr int kLongestCommandData = 255; // Lc is one byte

struct CardCommand
{
    uint8_t bytes[512];
    int length;
};

// Data, then SW1 SW2.
struct CardResponse
{
    uint8_t bytes[kResponseArea];
    int32_t length;
};

// Header, Lc and data; never an Le. False when the data do not fit a command.
bool MakeCommand(CardCommand *command, const uint8_t (&header)[4], const uint8_t *data,
                 int dataLength);

// One exchange that must end in 9000; `response` then has at least its two status bytes.
int Transmit(DEVCONTEXT *deviceContext, int cardType, CardCommand *command, CardResponse *response);

// The length of the response without its status bytes.
int DataLength(const CardResponse &response);

// Gives the response's data, its status bytes left out.
void GiveData(const CardResponse &response, uint8_t *data, int32_t *dataLength);

// A whole command whose answer is its status alone. Nothing of the data stays on the stack: they
// may be a PIN or a key.
int SendData(DEVCONTEXT *deviceContext, int cardType, const uint8_t (&header)[4],
             const uint8_t *data, int dataLength);
