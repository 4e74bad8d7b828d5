// IC cards: every call that the reader operations, the PBOC engine and the purse make fails in
// turn.
#include "faults/fault_bench.h"
#include "vantor/business.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/purse.h"

using namespace faults;

namespace
{

using Area = unsigned char[4096];

const unsigned char kSelectEnvironment[] = {0x00, 0xA4, 0x04, 0x00, 0x0E, '1', 'P', 'A', 'Y', '.',
                                            'S',  'Y',  'S',  '.',  'D',  'D', 'F', '0', '1'};
const unsigned char kEnvironment[] = "1PAY.SYS.DDF01";
const unsigned char kApplication[] = {0xA0, 0x00, 0x00, 0x03, 0x33, 0x01, 0x01, 0x02};
const unsigned char kPurse[] = {0xA0, 0x00, 0x00, 0x00, 0x03, 0x86, 0x98, 0x07, 0x01};
const unsigned char kEight[8] = {1, 2, 3, 4, 5, 6, 7, 8};

// No answer, or a bad one. The engine gives -99 for a card that refuses what came to it in half.
const std::set<int> kOperation = {-74};

// ---- The reader and its cards ----

int PowerOn(Host &host)
{
    Area atr;
    uint32_t length = 0;
    return CALL(host.library, IC_PowerOn)(host.Device(), atr, &length, 1000);
}

void Powered(Host &host)
{
    PowerOn(host);
}

void RfPowered(Host &host)
{
    Area atr;
    uint32_t length = 0;
    CALL(host.library, IC_RFPowerOn)(host.Device(), atr, &length, 1000);
}

void AddReader(std::vector<Scenario> *list)
{
    const auto serial = [](const char *name, const std::function<int(Host &)> &call)
    { return Make(name, Line::Serial, call, kOperation); };
    list->insert(
        list->end(),
        {
            serial("IC_GetDevInfo",
                   [](Host &host)
                   {
                       Area info;
                       uint32_t length = 0;
                       return CALL(host.library, IC_GetDevInfo)(host.Device(), info, &length, 1000);
                   }),
            serial("IC_GetDevAllInfo",
                   [](Host &host)
                   {
                       Area info;
                       int32_t length = 0;
                       return CALL(host.library, IC_GetDevAllInfo)(host.Device(), info, &length,
                                                                   1000);
                   }),
            serial("IC_SetDevSn", [](Host &host)
                   { return CALL(host.library, IC_SetDevSn)(host.Device(), kEight, 8, 1000); }),
            With(serial("IC_Beep", [](Host &host)
                        { return CALL(host.library, IC_Beep)(host.Device(), 50, 1, 1, 1000); }),
                 "Iccmd=1\n"),
            serial("IC_DevReset",
                   [](Host &host) { return CALL(host.library, IC_DevReset)(host.Device()); }),
            serial("IC_SetBaud",
                   [](Host &host) { return CALL(host.library, IC_SetBaud)(host.Device(), 9600); }),
            serial("IC_PowerOn", PowerOn),
            With(serial("IC_PowerOn in the other framing", PowerOn), "Iccmd=1\n"),
            serial("IC_RFPowerOn",
                   [](Host &host)
                   {
                       Area atr;
                       uint32_t length = 0;
                       return CALL(host.library, IC_RFPowerOn)(host.Device(), atr, &length, 1000);
                   }),
            After(serial("IC_PowerOff", [](Host &host)
                         { return CALL(host.library, IC_PowerOff)(host.Device(), 1000); }),
                  Powered),
            After(serial("IC_RFPowerOff", [](Host &host)
                         { return CALL(host.library, IC_RFPowerOff)(host.Device(), 1000); }),
                  RfPowered),
            After(serial("IC_APDU",
                         [](Host &host)
                         {
                             Area response;
                             uint32_t length = 0;
                             return CALL(host.library, IC_APDU)(host.Device(), kSelectEnvironment,
                                                                sizeof kSelectEnvironment, response,
                                                                &length, 1000);
                         }),
                  Powered),
            After(serial("IC_RFAPDU",
                         [](Host &host)
                         {
                             Area response;
                             uint32_t length = 0;
                             return CALL(host.library, IC_RFAPDU)(host.Device(), kSelectEnvironment,
                                                                  sizeof kSelectEnvironment,
                                                                  response, &length, 1000);
                         }),
                  RfPowered),
            With(serial("IC_CardDetect",
                        [](Host &host)
                        {
                            int32_t result = 0;
                            return CALL(host.library, IC_CardDetect)(host.Device(), 0xFF, &result,
                                                                     1000);
                        }),
                 "Iccmd=1\n"),
        });
    list->back().failures.insert(-1008); // settings that cannot be read name the other framing
}

// ---- The calls for hosts ----

int CallPowerOn(Host &host)
{
    char atr[512];
    int32_t length = 0;
    return CALL(host.library, BO_IcPowerOn)(0, sizeof atr, atr, &length, &host.cardType, 1);
}

int CallApdu(Host &host, int mode)
{
    char response[2048];
    int32_t length = 0;
    const char select[] = "00A404000E315041592E5359532E4444463031";
    return CALL(host.library, BO_IcAPDU)(mode, select, sizeof select - 1, 0, response, &length);
}

void AddCalls(std::vector<Scenario> *list, Line line)
{
    const Scenario powerOn = Make("BO_IcPowerOn", line, CallPowerOn, {-1013});
    const Scenario apdu = After(
        Make("BO_IcAPDU", line, [](Host &host) { return CallApdu(host, 0); }, {-1013}), Powered);
    list->insert(
        list->end(),
        {
            powerOn,
            WithLog(powerOn),
            apdu,
            WithLog(apdu),
            // In the automatic mode the other kind of card is asked behind a failure.
            After(Make("BO_IcAPDU automatic", line, [](Host &host) { return CallApdu(host, 2); },
                       {-1013, -4004, -4006}),
                  Powered),
            After(Make("BO_IcPowerOff", line,
                       [](Host &host) { return CALL(host.library, BO_IcPowerOff)(0); }, {-1013}),
                  Powered),
            With(Make("BO_CardDetect", line,
                      [](Host &host)
                      {
                          int32_t result = 0;
                          return CALL(host.library, BO_CardDetect)(&result);
                      },
                      {-74, -1008}),
                 "Iccmd=1\n"),
        });
}

// ---- The engine ----

struct Data
{
    unsigned char bytes[VANTOR_APP_DATA_SIZE] = {};
    int32_t length = 0;
    unsigned char more[VANTOR_PBOC_AREA_SIZE] = {};
    int32_t moreLength = 0;
};

void Selected(Host &host)
{
    Data data;
    PowerOn(host);
    CALL(host.library, PBOC_SelectPSE)
    (host.Device(), 0, kEnvironment, 14, data.bytes, &data.length);
    CALL(host.library, PBOC_SelectAID)
    (host.Device(), 0, kApplication, sizeof kApplication, data.bytes, &data.length);
}

Scenario Engine(const char *name, const std::function<int(Host &, Data *)> &call,
                std::set<int> failures, const Step &prepare = Selected)
{
    failures.insert(-74);
    return After(Make(
                     name, Line::Serial,
                     [call](Host &host)
                     {
                         Data data;
                         return call(host, &data);
                     },
                     failures),
                 prepare);
}

void AddReading(std::vector<Scenario> *list)
{
    const unsigned char sfi[] = {0x01};
    const unsigned char afl[] = {0x08, 0x01, 0x02, 0x00};
    const unsigned char balance[] = {0x9F, 0x79};
    list->insert(
        list->end(),
        {
            Engine(
                "PBOC_IcAPDU",
                [](Host &host, Data *data)
                {
                    unsigned char command[64] = {};
                    std::copy_n(kSelectEnvironment, sizeof kSelectEnvironment, command);
                    return CALL(host.library, PBOC_IcAPDU)(host.Device(), 0, command,
                                                           sizeof kSelectEnvironment, data->bytes,
                                                           &data->length);
                },
                {}, Powered),
            Engine(
                "PBOC_SelectPSE",
                [](Host &host, Data *data)
                {
                    return CALL(host.library, PBOC_SelectPSE)(host.Device(), 0, kEnvironment, 14,
                                                              data->bytes, &data->length);
                },
                {}, Powered),
            Engine("PBOC_GetAID",
                   [=](Host &host, Data *data) {
                       return CALL(host.library, PBOC_GetAID)(host.Device(), 0, sfi, 1, data->bytes,
                                                              &data->length);
                   },
                   {}),
            Engine("PBOC_SelectAID",
                   [](Host &host, Data *data)
                   {
                       return CALL(host.library, PBOC_SelectAID)(host.Device(), 0, kApplication,
                                                                 sizeof kApplication, data->bytes,
                                                                 &data->length);
                   },
                   {}),
            Engine("PBOC_SelectFile",
                   [](Host &host, Data *data)
                   {
                       return CALL(host.library, PBOC_SelectFile)(host.Device(), 0, 0x04,
                                                                  kApplication, sizeof kApplication,
                                                                  data->bytes, &data->length);
                   },
                   {}),
            Expecting(Engine("PBOC_ReadRecord",
                             [](Host &host, Data *data)
                             {
                                 return CALL(host.library, PBOC_ReadRecord)(
                                     host.Device(), 0, 30, 30, data->bytes, &data->length);
                             },
                             {}),
                      -99),
            Engine("PBOC_GetProcOptions",
                   [](Host &host, Data *data)
                   {
                       return CALL(host.library, PBOC_GetProcOptions)(host.Device(), 0, nullptr, 0,
                                                                      data->more, &data->moreLength,
                                                                      data->bytes, &data->length);
                   },
                   {}),
            Engine("PBOC_GetAppData",
                   [=](Host &host, Data *data)
                   {
                       return CALL(host.library, PBOC_GetAppData)(host.Device(), 0, afl, sizeof afl,
                                                                  data->bytes, &data->length);
                   },
                   {}),
            Expecting(Engine("PBOC_GetData",
                             [=](Host &host, Data *data)
                             {
                                 return CALL(host.library, PBOC_GetData)(
                                     host.Device(), 0, balance, 2, data->bytes, &data->length);
                             },
                             {}),
                      -99),
        });
}

// What this card refuses is an exchange like any other.
void AddCryptograms(std::vector<Scenario> *list)
{
    const auto refused = [](const Scenario &scenario) { return Expecting(scenario, -99); };
    const unsigned char script[] = {0x86, 0x05, 0x84, 0x24, 0x00, 0x00, 0x00};
    const std::vector<unsigned char> commands(script, script + sizeof script);
    list->insert(
        list->end(),
        {
            refused(Engine("PBOC_GenerateAC",
                           [](Host &host, Data *data)
                           {
                               return CALL(host.library, PBOC_GenerateAC)(
                                   host.Device(), 0, 0x80, kEight, 8, data->bytes, &data->length);
                           },
                           {})),
            refused(Engine("PBOC_ExternalAuth",
                           [](Host &host, Data *) {
                               return CALL(host.library, PBOC_ExternalAuth)(host.Device(), 0,
                                                                            kEight, 8);
                           },
                           {})),
            refused(Engine("PBOC_ExternalAuth_Sh",
                           [](Host &host, Data *) {
                               return CALL(host.library, PBOC_ExternalAuth_Sh)(host.Device(), 0,
                                                                               kEight, 8);
                           },
                           {})),
            Expecting(Engine("PBOC_ExeScript",
                             [=](Host &host, Data *)
                             {
                                 return CALL(host.library,
                                             PBOC_ExeScript)(host.Device(), 0, commands.data(),
                                                             static_cast<int>(commands.size()));
                             },
                             {}),
                      2),
            refused(Engine("PBOC_DeliveryKey",
                           [](Host &host, Data *) {
                               return CALL(host.library, PBOC_DeliveryKey)(host.Device(), 0, 1, 2,
                                                                           kEight, 8);
                           },
                           {})),
            refused(Engine("PBOC_CryptData",
                           [](Host &host, Data *data)
                           {
                               return CALL(host.library, PBOC_CryptData)(
                                   host.Device(), 0, 1, kEight, 8, data->bytes, &data->length);
                           },
                           {})),
            refused(Engine("PBOC_ChangePin",
                           [](Host &host, Data *) {
                               return CALL(host.library, PBOC_ChangePin)(host.Device(), 0, 1,
                                                                         kEight, 8);
                           },
                           {})),
        });
}

// ---- The purse ----

void PurseSelected(Host &host)
{
    Data data;
    PowerOn(host);
    CALL(host.library, PBOC_SelectAID)
    (host.Device(), 0, kPurse, sizeof kPurse, data.bytes, &data.length);
}

Scenario Purse(const char *name, const std::function<int(Host &, Data *)> &call)
{
    return On(Engine(name, call, {}, PurseSelected), "purse");
}

void AddPurse(std::vector<Scenario> *list)
{
    const unsigned char order[15] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    const std::vector<unsigned char> bytes(order, order + sizeof order);
    const auto refused = [](const Scenario &scenario) { return Expecting(scenario, -99); };
    list->insert(
        list->end(),
        {
            Purse("EPED_ReadBinary",
                  [](Host &host, Data *data)
                  {
                      return CALL(host.library, EPED_ReadBinary)(host.Device(), 0, 0x15, 0,
                                                                 data->bytes, &data->length);
                  }),
            refused(Purse("EPED_UpdateBinary",
                          [](Host &host, Data *) {
                              return CALL(host.library, EPED_UpdateBinary)(host.Device(), 0, 0x15,
                                                                           0, kEight, 8);
                          })),
            refused(
                Purse("EPED_Verify", [](Host &host, Data *)
                      { return CALL(host.library, EPED_Verify)(host.Device(), 0, kEight, 8); })),
            Purse("EPED_GetRandom",
                  [](Host &host, Data *data)
                  {
                      data->length = 4;
                      return CALL(host.library, EPED_GetRandom)(host.Device(), 0, data->bytes,
                                                                &data->length);
                  }),
            Purse("EPED_GetBalance",
                  [](Host &host, Data *data) {
                      return CALL(host.library, EPED_GetBalance)(host.Device(), 0, 2, data->bytes,
                                                                 &data->length);
                  }),
            refused(Purse("EPED_InitForLoad",
                          [=](Host &host, Data *data)
                          {
                              return CALL(host.library, EPED_InitForLoad)(
                                  host.Device(), 0, 2, bytes.data(), data->bytes, &data->length);
                          })),
            refused(Purse("EPED_Load",
                          [=](Host &host, Data *data)
                          {
                              return CALL(host.library, EPED_Load)(host.Device(), 0, bytes.data(),
                                                                   data->bytes, &data->length);
                          })),
            Purse("EPED_InitForPurchase",
                  [=](Host &host, Data *data)
                  {
                      return CALL(host.library, EPED_InitForPurchase)(
                          host.Device(), 0, 2, bytes.data(), 11, data->bytes, &data->length);
                  }),
            refused(Purse("EPED_Purchase",
                          [=](Host &host, Data *data)
                          {
                              return CALL(host.library, EPED_Purchase)(host.Device(), 0, 0,
                                                                       bytes.data(), 15,
                                                                       data->bytes, &data->length);
                          })),
        });
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    AddReader(&list);
    AddCalls(&list, Line::Serial);
    AddCalls(&list, Line::Usb);
    AddReading(&list);
    for (size_t i = 0, end = list.size(); i < end; ++i)
        if (list[i].name == "PBOC_SelectPSE")
            list.push_back(WithLog(list[i]));
    AddCryptograms(&list);
    AddPurse(&list);
    return list;
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(IcCards, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

} // namespace
