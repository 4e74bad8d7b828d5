// The steps that the PBOC business calls are made of: power-on, application selection, processing
// options, application data. A call is a list of steps; the first that fails ends it.
#pragma once

#include <cstddef>
#include <cstdint>

#include "pboc/card_exchange.h"
#include "pboc/tlv.h"
#include "vantor/business.h"
#include "vantor/pboc.h"

// What a call learns of the card on its way.
struct CardSession
{
    int32_t cardType;                 // 0 contact, 1 contactless: the interface that answered
    uint8_t directory[kResponseArea]; // short file identifiers of the directory files
    int32_t directoryLength;
    uint8_t aid[kResponseArea];
    int32_t aidLength;
    uint8_t fci[kResponseArea]; // the SELECT response, status bytes included
    int32_t fciLength;
    uint8_t listData[kResponseArea]; // what the PDOL asks for
    int32_t listDataLength;
    uint8_t aip[kResponseArea];
    int32_t aipLength;
    uint8_t afl[kResponseArea]; // the file locator, or a whole template 77
    int32_t aflLength;
    uint8_t applicationData[VANTOR_APP_DATA_SIZE];
    int32_t applicationDataLength;
};

// A step gives 0, or anything else: then its message is logged and the call ends with its code.
struct FlowStep
{
    int (*run)(CardSession *card);
    const char *message;
    int code;
};

int SelectEnvironment(CardSession *card);
int TakeApplicationId(CardSession *card);
int SelectApplication(CardSession *card);
int BuildPdolData(CardSession *card);
int GetProcessingOptions(CardSession *card);
int TakeApplicationData(CardSession *card);

constexpr FlowStep kSelectPse = {SelectEnvironment, "PBOC_SelectPSE Error!\r\n", -4100};
constexpr FlowStep kGetAid = {TakeApplicationId, "PBOC_GetAID Error!\r\n", -4101};
constexpr FlowStep kSelectAid = {SelectApplication, "PBOC_SelectAID Error!\r\n", -4102};
constexpr FlowStep kBuildDol = {BuildPdolData, "PBOC_BuildDOL Error!\r\n", -4103};
constexpr FlowStep kGetProcOptions = {GetProcessingOptions, "PBOC_GetProcOptions Error!\r\n",
                                      -4104};
constexpr FlowStep kGetAppData = {TakeApplicationData, "PBOC_GetAppData Error!\r\n", -4105};

// Logs the message as an error and gives the code.
int Fail(const char *message, int code);

int RunSteps(const FlowStep *steps, size_t count, CardSession *card);

template <size_t count>
int RunSteps(const FlowStep (&steps)[count], CardSession *card)
{
    return RunSteps(steps, count, card);
}

// Copies an object of the application's FCI, cut at `capacity`. False when it is not there.
bool CopyFromFci(const CardSession &card, const Tag &tag, uint8_t *value, int capacity,
                 int *length);

int PowerOnCard(int mode, int timeoutSeconds, CardSession *card);

// Powers a card on, does the call's work with it and powers it off again, whatever came of it.
template <typename Work>
int WithPoweredCard(int mode, int timeoutSeconds, Work work)
{
    CardSession card{};
    int result = PowerOnCard(mode, timeoutSeconds, &card);
    if (result != 0)
        return result;
    result = work(&card);
    BO_IcPowerOff(card.cardType);
    return result;
}
