// The steps that the PBOC business calls begin with: power-on, application selection, processing
// options, application data.
#pragma once

#include <cstdint>

#include "api/flow.h"
#include "pboc/card_exchange.h"
#include "pboc/tlv.h"
#include "vantor/business.h"
#include "vantor/pboc.h"

// Room for the issuer's data of the longest cryptogram and the four objects that can follow it.
constexpr int kIssuerDataSize = kResponseArea + 4 * (3 + 255);

// What a call brings along and what it learns of the card on its way.
struct CardSession
{
    const char *wantedAid; // hexadecimal text; null or empty: the directory's last application
    const char *transactionText; // of the calls that ask for a cryptogram
    char *secondListText;        // gets CDOL2 as text

    int32_t cardType;                 // 0 contact, 1 contactless: the interface that answered
    uint8_t directory[kResponseArea]; // short file identifiers of the directory files
    int32_t directoryLength;
    uint8_t aid[kResponseArea];
    int32_t aidLength;
    uint8_t fci[kResponseArea]; // the SELECT response, status bytes included
    int32_t fciLength;
    uint8_t list[kResponseArea]; // the data-object list at hand: PDOL, then CDOL1
    int32_t listLength;
    uint8_t listData[kResponseArea]; // what it asks for
    int32_t listDataLength;
    uint8_t aip[kResponseArea];
    int32_t aipLength;
    uint8_t afl[kResponseArea]; // the file locator, or a whole template 77
    int32_t aflLength;
    uint8_t applicationData[VANTOR_APP_DATA_SIZE];
    int32_t applicationDataLength;
    uint8_t cryptogram[kResponseArea]; // the card's answer to GENERATE AC
    int32_t cryptogramLength;
    uint8_t issuerData[kIssuerDataSize]; // what goes to the issuer
    int32_t issuerDataLength;
};

using FlowStep = Step<CardSession>;

int SelectEnvironment(CardSession *card);
int TakeApplicationId(CardSession *card);
int SelectApplication(CardSession *card);
int TakePdol(CardSession *card);
int RequirePdol(CardSession *card);
int BuildCardListData(CardSession *card);
int GetProcessingOptions(CardSession *card);
int TakeApplicationData(CardSession *card);

constexpr FlowStep kSelectPse = {SelectEnvironment, "PBOC_SelectPSE Error!\r\n", -4100};
constexpr FlowStep kGetAid = {TakeApplicationId, "PBOC_GetAID Error!\r\n", -4101};
constexpr FlowStep kSelectAid = {SelectApplication, "PBOC_SelectAID Error!\r\n", -4102};
constexpr FlowStep kTakePdol = {TakePdol, nullptr, kOwnCode};
constexpr FlowStep kRequirePdol = {RequirePdol, "GetTag 9F38 Error!\r\n", -4103};
constexpr FlowStep kBuildDol = {BuildCardListData, "PBOC_BuildDOL Error!\r\n", -4103};
constexpr FlowStep kGetProcOptions = {GetProcessingOptions, "PBOC_GetProcOptions Error!\r\n",
                                      -4104};
constexpr FlowStep kGetAppData = {TakeApplicationData, "PBOC_GetAppData Error!\r\n", -4105};

// Copies an object of the application's FCI, cut at `capacity`. False when it is not there.
bool CopyFromFci(const CardSession &card, const Tag &tag, uint8_t *value, int capacity,
                 int *length);

// Whether a contactless card answered the processing options with its data at once: the answer then
// lies where the file locator would.
bool AnsweredWithData(const CardSession &card);

// Makes that answer the application data.
void UseAnswerAsData(CardSession *card);

using PowerOnWay = int (*)(int mode, int timeoutSeconds, CardSession *card);

// With the command set that the settings name.
int PowerOnCard(int mode, int timeoutSeconds, CardSession *card);

// When that fails, the other command set goes into the settings and is tried.
int PowerOnWithEitherSet(int mode, int timeoutSeconds, CardSession *card);

// Powers a card on, does the call's work with it and powers it off again when the work failed.
template <typename Work>
int WithCardLeftPowered(PowerOnWay powerOn, int mode, int timeoutSeconds, Work work)
{
    CardSession card{};
    card.cardType = mode;
    int result = powerOn(mode, timeoutSeconds, &card);
    if (result != 0)
        return result;
    result = work(&card);
    if (result != 0)
        BO_IcPowerOff(card.cardType);
    return result;
}

// The same, and powers it off also when the work succeeded.
template <typename Work>
int WithPoweredCard(PowerOnWay powerOn, int mode, int timeoutSeconds, Work work)
{
    return WithCardLeftPowered(powerOn, mode, timeoutSeconds,
                               [&](CardSession *card)
                               {
                                   const int result = work(card);
                                   if (result == 0)
                                       BO_IcPowerOff(card->cardType);
                                   return result;
                               });
}
