// Memory card calls: every call that they make fails in turn.
#include "faults/fault_bench.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"

using namespace faults;

namespace
{

const char kKey[] = "FFFFFFFFFFFF";
const unsigned char kBlock[16] = {0x11, 0x22};
const char kM0Key[] = "49454D4B41455242214E4143554F5946";

// No answer, or a bad one; and what the reader says of a command that came to it in half.
const std::set<int> kOperation = {-74};
const std::set<int> kCall = {-1013};

int PowerOnM1(Host &host)
{
    unsigned char out[256];
    uint32_t length = 0;
    return CALL(host.library, M1_PowerOn)(host.Device(), out, &length, 1000);
}

int PowerOnM0(Host &host)
{
    unsigned char out[256];
    uint32_t length = 0;
    return CALL(host.library, M0_PowerOn)(host.Device(), out, &length, 1000);
}

// A sector with the purse in block 8, as the profile has it.
void Authenticate(Host &host)
{
    PowerOnM1(host);
    CALL(host.library, M1_Verify)(host.Device(), 2, 1, "\xD1\xD2\xD3\xD4\xD5\xD6", 1000);
}

void AuthenticateBlock(Host &host)
{
    PowerOnM1(host);
    CALL(host.library, M1_Verify)(host.Device(), 1, 0, "\xFF\xFF\xFF\xFF\xFF\xFF", 1000);
}

template <typename Call>
int Amount(const Call &call, Host &host)
{
    const uint32_t value = 1;
    return call(host.Device(), 8, &value, 1000);
}

template <typename Call>
int Read(const Call &call, int block, Host &host)
{
    unsigned char out[4096];
    uint32_t length = 0;
    return call(host.Device(), block, out, &length, 1000);
}

Scenario InUse(const char *name, const std::function<int(Host &)> &call,
               const std::set<int> &failures)
{
    return On(After(Make(name, Line::Serial, call, failures), Authenticate),
              "mifare-classic-in-use");
}

Scenario Blank(const char *name, const std::function<int(Host &)> &call,
               const std::set<int> &failures)
{
    return On(After(Make(name, Line::Serial, call, failures), AuthenticateBlock), "mifare-classic");
}

Scenario Ultralight(const char *name, const std::function<int(Host &)> &call,
                    const std::set<int> &failures)
{
    return On(After(Make(name, Line::Serial, call, failures), [](Host &host) { PowerOnM0(host); }),
              "ultralight-c");
}

void AddOperations(std::vector<Scenario> *list)
{
    list->insert(
        list->end(),
        {
            Blank("M1_PowerOn", PowerOnM1, kOperation),
            Blank(
                "M1_PowerOff",
                [](Host &host) { return CALL(host.library, M1_PowerOff)(host.Device(), 1000); },
                kOperation),
            Blank(
                "M1_Verify",
                [](Host &host) {
                    return CALL(host.library, M1_Verify)(host.Device(), 1, 0,
                                                         "\xFF\xFF\xFF\xFF\xFF\xFF", 1000);
                },
                kOperation),
            Blank(
                "M1_ReadBlock",
                [](Host &host) { return Read(CALL(host.library, M1_ReadBlock), 4, host); },
                kOperation),
            Blank(
                "M1_WriteBlock",
                [](Host &host)
                { return CALL(host.library, M1_WriteBlock)(host.Device(), 4, kBlock, 16, 1000); },
                kOperation),
            InUse(
                "M1_ReadValue",
                [](Host &host) { return Read(CALL(host.library, M1_ReadValue), 8, host); },
                kOperation),
            InUse(
                "M1_WriteValue",
                [](Host &host) { return Amount(CALL(host.library, M1_WriteValue), host); },
                kOperation),
            InUse(
                "M1_Increment",
                [](Host &host) { return Amount(CALL(host.library, M1_Increment), host); },
                kOperation),
            InUse(
                "M1_Decrement",
                [](Host &host) { return Amount(CALL(host.library, M1_Decrement), host); },
                kOperation),
            InUse(
                "M1_IncreaseValue",
                [](Host &host)
                { return CALL(host.library, M1_IncreaseValue)(host.Device(), 8, 1, 1000); },
                kOperation),
            InUse(
                "M1_DecreaseValue",
                [](Host &host)
                { return CALL(host.library, M1_DecreaseValue)(host.Device(), 8, 1, 1000); },
                kOperation),
            Ultralight("M0_PowerOn", PowerOnM0, kOperation),
            Ultralight(
                "M0_PowerOff",
                [](Host &host) { return CALL(host.library, M0_PowerOff)(host.Device(), 1000); },
                kOperation),
            Ultralight(
                "M0_ReadBlock",
                [](Host &host)
                {
                    unsigned char out[4096];
                    uint32_t length = 0;
                    return CALL(host.library, M0_ReadBlock)(host.Device(), 4, 4, out, &length,
                                                            1000);
                },
                kOperation),
            Ultralight(
                "M0_WriteBlock",
                [](Host &host)
                { return CALL(host.library, M0_WriteBlock)(host.Device(), 8, kBlock, 4, 1000); },
                kOperation),
            Ultralight(
                "M0_Interaction",
                [](Host &host)
                {
                    const unsigned char ask[] = {0x1A, 0x00};
                    unsigned char out[4096];
                    uint32_t length = 0;
                    return CALL(host.library, M0_Interaction)(host.Device(), ask, 2, out, &length,
                                                              1000);
                },
                kOperation),
            Ultralight(
                "M0_ChcekCardType",
                [](Host &host)
                {
                    unsigned char type = 0;
                    return CALL(host.library, M0_ChcekCardType)(host.Device(), 0, &type, 1000);
                },
                kOperation),
        });
}

void AddM1Calls(std::vector<Scenario> *list)
{
    list->insert(
        list->end(),
        {
            Blank(
                "BO_M1Powerup",
                [](Host &host)
                {
                    char out[64];
                    int32_t length = 0;
                    return CALL(host.library, BO_M1Powerup)(sizeof out, out, &length, 1);
                },
                kCall),
            Blank(
                "BO_M1Powerdown", [](Host &host) { return CALL(host.library, BO_M1Powerdown)(); },
                kCall),
            Blank(
                "BO_M1Verify",
                [](Host &host) { return CALL(host.library, BO_M1Verify)(1, 0, kKey); }, kCall),
            Blank(
                "BO_M1ReadBlock",
                [](Host &host)
                {
                    char out[33];
                    return CALL(host.library, BO_M1ReadBlock)(4, sizeof out, out);
                },
                kCall),
            Blank(
                "BO_M1WriteBlock",
                [](Host &host) {
                    return CALL(host.library, BO_M1WriteBlock)(4,
                                                               "00112233445566778899AABBCCDDEEFF");
                },
                kCall),
            InUse(
                "BO_M1Read",
                [](Host &host)
                {
                    char out[9];
                    return CALL(host.library, BO_M1Read)(8, sizeof out, out);
                },
                kCall),
            InUse(
                "BO_M1Write",
                [](Host &host) { return CALL(host.library, BO_M1Write)(8, "E8030000"); }, kCall),
            InUse(
                "BO_M1Increment",
                [](Host &host) { return CALL(host.library, BO_M1Increment)(8, "01000000"); },
                kCall),
            InUse(
                "BO_M1Decrement",
                [](Host &host) { return CALL(host.library, BO_M1Decrement)(8, "01000000"); },
                kCall),
            InUse(
                "BO_M1IncreaseValue",
                [](Host &host) { return CALL(host.library, BO_M1IncreaseValue)(8, 1); }, kCall),
            InUse(
                "BO_M1DecreaseValue",
                [](Host &host) { return CALL(host.library, BO_M1DecreaseValue)(8, 1); }, kCall),
        });
    list->push_back(WithLog(list->at(list->size() - 10))); // BO_M1Powerdown
}

void AddM0Calls(std::vector<Scenario> *list)
{
    const std::set<int> verify = {-1013, -5103};
    list->insert(
        list->end(),
        {
            Ultralight(
                "BO_M0PowerOn",
                [](Host &host)
                {
                    char out[64];
                    int32_t length = 0;
                    return CPP_CALL(host.library, BO_M0PowerOn,
                                    "_Z12BO_M0PowerOniPcPii")(sizeof out, out, &length, 1);
                },
                kCall),
            Ultralight(
                "BO_M0PowerOff",
                [](Host &host)
                { return CPP_CALL(host.library, BO_M0PowerOff, "_Z13BO_M0PowerOffv")(); },
                kCall),
            Ultralight(
                "BO_M0Read",
                [](Host &host)
                {
                    char out[64];
                    return CPP_CALL(host.library, BO_M0Read, "_Z9BO_M0ReadiiiPc")(4, 4, sizeof out,
                                                                                  out);
                },
                kCall),
            Ultralight(
                "BO_M0Write",
                [](Host &host)
                { return CPP_CALL(host.library, BO_M0Write, "_Z10BO_M0WriteiPKc")(8, "01020304"); },
                kCall),
            Ultralight(
                "BO_M0VerifyKey",
                [](Host &host) {
                    return CPP_CALL(host.library, BO_M0VerifyKey, "_Z14BO_M0VerifyKeyiPKc")(32,
                                                                                            kM0Key);
                },
                verify),
            Ultralight("BO_M0DownKey",
                       [](Host &host) {
                           return CPP_CALL(host.library, BO_M0DownKey,
                                           "_Z12BO_M0DownKeyiPKc")(32, kM0Key);
                       },
                       {-5105}),
        });
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    AddOperations(&list);
    AddM1Calls(&list);
    AddM0Calls(&list);
    return list;
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(MemoryCards, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

} // namespace
