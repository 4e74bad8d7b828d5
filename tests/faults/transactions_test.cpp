// Card information, logs and whole transactions: every call that they make fails in turn.
#include <cstring>

#include "faults/fault_bench.h"
#include "vantor/business.h"
#include "vantor/support.h"
#include "vantor/terminal.h"
#include "vantor/transactions.h"
#include "vreader/issuer/issuer.h"

using namespace faults;

namespace
{

const char kText[] = "P012000000001234Q012000000000000R0040156S006260131T00200U006120000"
                     "V020TEST MERCHANT 123456";
const char kVariantText[] = "P012000000001234Q012000000000000R0040156S006260131T00200U006120000"
                            "V04054455354204D45524348414E5420313233343536";

struct Texts
{
    char first[28000] = {};
    char second[1025] = {};
    char third[1024] = {};
    int32_t length = sizeof first;
};

// Whatever stops a card call: the power-on, the application's selection, what it needs of the card.
// A card that says nothing more behind the selection has no data, which is no failure.
const std::set<int> kReading = {-1013, -4100, -4101, -4102, -4103, -4104, -4117};
const std::set<int> kRequest = {-1013, -4100, -4101, -4102, -4103, -4104, -4105, -4107, -4108};
const std::set<int> kCompletion = {-1013, -4103, -4109, -4110, -4111,
                                   -4112, -4113, -4114, -4115, -4116};
// The same in the numbering of the terminal calls.
const std::set<int> kTerminalReading = {-3, -11, -26, -27, -28, -32};
const std::set<int> kTerminalRequest = {-3, -11, -26, -27, -28, -29};
const std::set<int> kTerminalCompletion = {-3, -11, -28, -30, -31};

// The variant calls change "Iccmd" when the power-on fails, and this reader speaks both.
void BackToKrel(Host &host)
{
    CALL(host.library, GSetConfigString)("devcfg", "Iccmd", "0");
}

Scenario Variant(Scenario scenario)
{
    scenario.prepare = BackToKrel;
    return scenario;
}

// ---- Reading ----

void AddReading(std::vector<Scenario> *list, Line line)
{
    list->insert(list->end(),
                 {
                     Make(
                         "BO_ICGetInfo", line,
                         [](Host &host)
                         {
                             Texts texts;
                             return CALL(host.library, BO_ICGetInfo)(0, "ABEGI", 0, texts.first, 1);
                         },
                         kReading),
                     Make(
                         "BO_ICGetDetail", line,
                         [](Host &host)
                         {
                             Texts texts;
                             return CALL(host.library, BO_ICGetDetail)(0, 0, texts.first, 1);
                         },
                         kReading),
                     On(Make(
                            "BO_ICGetCircllog", line,
                            [](Host &host)
                            {
                                Texts texts;
                                return CALL(host.library, BO_ICGetCircllog)(0, 0, texts.first, 1);
                            },
                            kReading),
                        "pboc-debit"),
                     // -4103: this card has no PDOL.
                     Variant(Expecting(Make(
                                           "BO_ICGetInfo_YC", line,
                                           [](Host &host)
                                           {
                                               Texts texts;
                                               int32_t cardType = 0;
                                               return CALL(host.library, BO_ICGetInfo_YC)(
                                                   &cardType, "", "ABEG", 4000, texts.first, 1);
                                           },
                                           kReading),
                                       -4103)),
                     Variant(Make(
                         "BO_ICGetDetail_YC", line,
                         [](Host &host)
                         {
                             Texts texts;
                             int32_t cardType = 0;
                             return CALL(host.library, BO_ICGetDetail_YC)(
                                 &cardType, "", sizeof texts.first, texts.first, 1);
                         },
                         kReading)),
                     On(Expecting(Make(
                                      "BO_ICGetInfo without a card", line,
                                      [](Host &host)
                                      {
                                          Texts texts;
                                          return CALL(host.library, BO_ICGetInfo)(0, "ABEGI", 0,
                                                                                  texts.first, 1);
                                      },
                                      kReading),
                                  -4005),
                        "empty"),
                     On(Make("BO_SSCReadInfo", line,
                             [](Host &host)
                             {
                                 Texts texts;
                                 return CALL(host.library, BO_SSCReadInfo)(0, texts.first, 1);
                             },
                             {-1013, -4100, -74, -99}),
                        "social-security"),
                     Variant(Alone(Expecting(Make(
                                                 "IC_GetInfo", line,
                                                 [](Host &host)
                                                 {
                                                     Texts texts;
                                                     int32_t icType = 1;
                                                     return CALL(host.library, IC_GetInfo)(
                                                         host.PortName().c_str(), nullptr, 9600, 1,
                                                         &icType, "", "ABEG", &texts.length,
                                                         texts.first);
                                                 },
                                                 kTerminalReading),
                                             -28))),
                     Variant(Alone(Make(
                         "IC_GetTranDeta", line,
                         [](Host &host)
                         {
                             Texts texts;
                             int32_t icType = 1;
                             return CALL(host.library,
                                         IC_GetTranDeta)(host.PortName().c_str(), nullptr, 9600, 1,
                                                         &icType, "", &texts.length, texts.first);
                         },
                         kTerminalReading))),
                 });
}

// ---- Both halves of a transaction ----

int Request(Host &host, Texts *texts)
{
    return CALL(host.library, BO_ICGenARQC)(0, kText, 2583, texts->first, &host.cardType, 1);
}

int VariantRequest(Host &host, Texts *texts)
{
    host.cardType = 0;
    return CALL(host.library, BO_ICGenARQC_YC)(&host.cardType, "", kVariantText, 2583, texts->first,
                                               1, texts->second);
}

std::string IssuersAnswer(const char *arqc, bool namesTheCard)
{
    vreader::IssuerRules rules;
    if (!namesTheCard)
    {
        rules.pan = "6200001234567890128";
        rules.sequenceNumber = "01";
    }
    return vreader::Authorise(vreader::ProfileMasterKeys(), arqc, rules).hex;
}

void Requested(Host &host)
{
    Texts texts;
    BackToKrel(host);
    Request(host, &texts);
    host.text = IssuersAnswer(texts.first, false);
}

void VariantRequested(Host &host)
{
    Texts texts;
    BackToKrel(host);
    VariantRequest(host, &texts);
    host.text = IssuersAnswer(texts.first, true);
    host.path = texts.second;
}

Scenario Online(Scenario scenario)
{
    scenario.profile = "online";
    return scenario;
}

void AddRequests(std::vector<Scenario> *list)
{
    list->insert(list->end(),
                 {
                     Online(Make(
                         "BO_ICGenARQC", Line::Serial,
                         [](Host &host)
                         {
                             Texts texts;
                             return Request(host, &texts);
                         },
                         kRequest)),
                     Online(Variant(Make(
                         "BO_ICGenARQC_YC", Line::Serial,
                         [](Host &host)
                         {
                             Texts texts;
                             return VariantRequest(host, &texts);
                         },
                         kRequest))),
                     Online(Variant(Alone(Make(
                         "IC_GenARQC", Line::Serial,
                         [](Host &host)
                         {
                             Texts texts;
                             int32_t icType = 1;
                             texts.length = 2583;
                             return CALL(host.library, IC_GenARQC)(
                                 host.PortName().c_str(), nullptr, 9600, 1, &icType, "",
                                 kVariantText, &texts.length, texts.first, texts.second);
                         },
                         kTerminalRequest)))),
                 });
}

int Complete(Host &host)
{
    Texts texts;
    return CALL(host.library, BO_ICExeScript_TC)(0, kText, host.text.c_str(), sizeof texts.third,
                                                 texts.third, 0, texts.first);
}

int VariantComplete(Host &host)
{
    Texts texts;
    unsigned char list[512];
    const int length = CALL(host.library, GHex2Byte)(
        host.path.c_str(), static_cast<int>(host.path.size()), list, sizeof list);
    return CALL(host.library, BO_ICExeScript_YC)(0, kVariantText, host.text.c_str(),
                                                 sizeof texts.third, texts.third, 1013, texts.first,
                                                 length, list);
}

int TerminalComplete(Host &host)
{
    Texts texts;
    int32_t icType = 1;
    texts.length = 1013;
    return CALL(host.library, IC_CtlScriptData)(host.PortName().c_str(), nullptr, 9600, 1, &icType,
                                                kVariantText, host.text.c_str(), &texts.length,
                                                texts.first, texts.third, host.path.c_str());
}

void AddCompletions(std::vector<Scenario> *list)
{
    // Each with what the first half left: the powered card and the issuer's answer.
    const auto terminalRequested = [](Host &host)
    {
        host.Open();
        VariantRequested(host);
        CALL(host.library, BO_Close)();
    };
    list->insert(
        list->end(),
        {
            After(Online(Make("BO_ICExeScript_TC", Line::Serial, Complete, kCompletion)),
                  Requested),
            After(Online(Make("BO_ICExeScript_YC", Line::Serial, VariantComplete, kCompletion)),
                  VariantRequested),
            After(Online(Alone(Make("IC_CtlScriptData", Line::Serial, TerminalComplete,
                                    kTerminalCompletion))),
                  terminalRequested),
            // The issuer's answer holds no script: the call wants one.
            Expecting(After(Online(Make(
                                "BO_ICExeScript", Line::Serial,
                                [](Host &host) {
                                    return CALL(host.library, BO_ICExeScript)(
                                        0, kText, host.text.c_str(), nullptr);
                                },
                                kCompletion)),
                            Requested),
                      -4109),
        });
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    AddReading(&list, Line::Serial);
    AddRequests(&list);
    AddCompletions(&list);
    std::vector<Scenario> usb;
    AddReading(&usb, Line::Usb);
    list.push_back(usb[0]);
    list.push_back(usb[7]); // IC_GetInfo
    return list;
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Transactions, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

} // namespace
