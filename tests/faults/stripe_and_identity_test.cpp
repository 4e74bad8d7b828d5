// Magnetic and identity cards: every call that the calls for them make fails in turn.
#include <filesystem>

#include "faults/fault_bench.h"
#include "standins/photo/photo_room.h"
#include "vantor/identity_cards.h"
#include "vantor/identity_operations.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/terminal.h"

using namespace faults;

namespace
{

struct Tracks
{
    char one[256] = {};
    char two[256] = {};
    char three[256] = {};
    uint32_t lengths[3] = {};
};

Scenario Swiped(Scenario scenario)
{
    scenario.profile = "magnetic-cards";
    scenario.swiped = "all-tracks";
    return scenario;
}

int ReadTracks(Host &host)
{
    Tracks tracks;
    return CALL(host.library, BO_ReadMagCard)(
        0, 23, sizeof tracks.one, tracks.one, &tracks.lengths[0], sizeof tracks.two, tracks.two,
        &tracks.lengths[1], sizeof tracks.three, tracks.three, &tracks.lengths[2], 1);
}

void AddStripes(std::vector<Scenario> *list, Line line)
{
    // A command that went out in half is answered by nobody, and the call has a reply of zeroes.
    const Scenario read = Swiped(Make("BO_ReadMagCard", line, ReadTracks, {-1004, -1014, -2004}));
    list->insert(
        list->end(),
        {
            read,
            WithLog(read),
            Swiped(Make("BO_WriteMagCard", line,
                        [](Host &host) {
                            return CALL(host.library, BO_WriteMagCard)(0, 0, 0, "6=1", 0, "01=2", 0,
                                                                       1);
                        },
                        {-1004, -1014, -2104})),
            Swiped(Make("BO_GetMagCardNo", line,
                        [](Host &host)
                        {
                            char number[256];
                            uint32_t length = 0;
                            return CALL(host.library, BO_GetMagCardNo)(0, 2, 0, number, &length, 1);
                        },
                        {-1004, -1014, -2105})),
            Swiped(Make("BO_ResetMsr", line,
                        [](Host &host) { return CALL(host.library, BO_ResetMsr)(); })),
            Swiped(Make("MSR_Reset", line,
                        [](Host &host)
                        { return CALL(host.library, MSR_Reset)(host.Device(), 100); })),
            Swiped(Make("MSR_ReadTrack", line,
                        [](Host &host)
                        {
                            Tracks tracks;
                            return CALL(host.library, MSR_ReadTrack)(host.Device(), 0, 123, 256,
                                                                     tracks.one, 256, tracks.two,
                                                                     256, tracks.three, 1000);
                        },
                        {-62, -1, -2000})),
            Swiped(Make("MSR_WriteTrack", line,
                        [](Host &host) {
                            return CALL(host.library, MSR_WriteTrack)(host.Device(), 0, 23, "6=1",
                                                                      "01=2", 1000);
                        },
                        {-62, -1, -2104})),
            Alone(Swiped(Make("MS_ReadCard", line,
                              [](Host &host)
                              {
                                  Tracks tracks;
                                  return CALL(host.library, MS_ReadCard)(host.PortName().c_str(),
                                                                         nullptr, 9600, 1, 23, 0,
                                                                         tracks.two, tracks.three);
                              },
                              {-3, -11}))),
            Alone(Swiped(Make("MS_WriteCard", line,
                              [](Host &host)
                              {
                                  return CALL(host.library, MS_WriteCard)(host.PortName().c_str(),
                                                                          nullptr, 9600, 1, 23, 0,
                                                                          "6=1", "01=2");
                              },
                              {-3, -10, -11}))),
        });
}

// ---- Identity cards ----

// Over USB without the command that reads fingerprints: its reply takes more reports than a host
// keeps, and here they come all at once.
Scenario Laid(Scenario scenario)
{
    scenario.profile = scenario.line == Line::Usb
                           ? R"({"reader": {"fingerprintCommand": false}, "identityCards": {
                               "card": {"kind": "foreign", "englishName": "SMITH, JOHN",
                               "sex": "male", "number": "USA110195001011", "nationality": "USA",
                               "birth": "1950-01-01", "validFrom": "2017-06-16",
                               "validTo": "2027-06-15", "version": "01", "authority": "1500",
                               "chineseName": "史"}}, "identity": "card"})"
                           : "identity-cards";
    return scenario;
}

// With the identity module chosen, a card found and selected.
void Select(Host &host)
{
    CALL(host.library, BO_ChangeMode)(2);
    CALL(host.library, ID_FindCard)(host.Device(), 1000);
    CALL(host.library, ID_SelectCard)(host.Device(), 1000);
}

void Find(Host &host)
{
    CALL(host.library, BO_ChangeMode)(2);
    CALL(host.library, ID_FindCard)(host.Device(), 1000);
}

template <typename Call>
int ReadRecord(const Call &call, Host &host)
{
    static unsigned char raw[4096];
    int32_t length = 0;
    return call(host.Device(), raw, &length, 1000);
}

struct Information
{
    char text[4096] = {};
    uint32_t length = 0;
};

int ReadWithPhoto(Host &host, const char *path)
{
    Information information;
    return CALL(host.library, BO_ReadIdInfo)(path, 0, information.text, &information.length,
                                             nullptr, 0, nullptr, nullptr, 1);
}

void AddIdentityOperations(std::vector<Scenario> *list, Line line)
{
    // What came of a write that was cut short is a status like any other: the reader did not say
    // what the operation looks for.
    list->insert(
        list->end(),
        {
            After(Laid(Make("ID_ResetCard", line,
                            [](Host &host)
                            { return CALL(host.library, ID_ResetCard)(host.Device(), 1000); },
                            {-62, -1, -3000})),
                  Select),
            After(Laid(Make("ID_FindCard", line,
                            [](Host &host)
                            { return CALL(host.library, ID_FindCard)(host.Device(), 1000); },
                            {-62, -1, -3002})),
                  Find),
            After(Laid(Make("ID_SelectCard", line,
                            [](Host &host)
                            { return CALL(host.library, ID_SelectCard)(host.Device(), 1000); },
                            {-62, -1, -3002})),
                  Find),
            After(Laid(Make("ID_ReadCard", line,
                            [](Host &host)
                            { return ReadRecord(CALL(host.library, ID_ReadCard), host); },
                            {-62, -1, -3002})),
                  Select),
            After(Laid(Expecting(Make("ID_ReadCard_FP", line,
                                      [](Host &host) {
                                          return ReadRecord(CALL(host.library, ID_ReadCard_FP),
                                                            host);
                                      },
                                      {-62, -1, -3002}),
                                 line == Line::Usb ? -3002 : 0)),
                  Select),
            After(Laid(Make("ID_SetIdBaud", line,
                            [](Host &host)
                            { return CALL(host.library, ID_SetIdBaud)(host.Device(), 9600, 1000); },
                            {-62, -1, -3004})),
                  Select),
        });
}

void AddIdentityCalls(std::vector<Scenario> *list, Line line)
{
    // -3001 is what the selection says behind a search that did not get through.
    const std::set<int> codes = {-1000, -1003, -1004, -1014, -3000, -3001, -3002};
    const Scenario info = Laid(Make(
        "BO_ReadIdInfo", line, [](Host &host) { return ReadWithPhoto(host, nullptr); }, codes));
    list->insert(list->end(),
                 {
                     With(info, "IdBaud=115200\n"),
                     Laid(Make(
                         "BO_IdReset", line,
                         [](Host &host) { return CALL(host.library, BO_IdReset)(); }, codes)),
                     Laid(Make("BO_SetIdBaud", line,
                               [](Host &host) { return CALL(host.library, BO_SetIdBaud)(9600); },
                               {-1004, -1014, -3004})),
                     Laid(Make(
                         "BO_GetIdRawData", line,
                         [](Host &host)
                         {
                             return CALL(host.library, BO_GetIdRawData)(
                                 nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 1);
                         },
                         codes)),
                     Laid(Make(
                         "BO_ReadIdInfo_Pic", line,
                         [](Host &host)
                         {
                             Information information;
                             return CALL(host.library, BO_ReadIdInfo_Pic)(
                                 nullptr, 0, information.text, &information.length, 1);
                         },
                         codes)),
                     Laid(Make(
                         "BO_ReadIdInfo_Pic_FB", line,
                         [](Host &host)
                         {
                             Information information;
                             return CALL(host.library, BO_ReadIdInfo_Pic_FB)(
                                 nullptr, nullptr, nullptr, nullptr, information.text,
                                 &information.length, nullptr, nullptr, 1);
                         },
                         codes)),
                     Laid(Make(
                         "BO_ReadIdInfo_Pic_YC", line,
                         [](Host &host)
                         {
                             Information information;
                             return CALL(host.library, BO_ReadIdInfo_Pic_YC)(
                                 nullptr, nullptr, nullptr, nullptr, sizeof information.text,
                                 information.text, &information.length, 1);
                         },
                         codes)),
                     Alone(Laid(Make("ID_GetInfo", line,
                                     [](Host &host)
                                     {
                                         Information information;
                                         return CALL(host.library, ID_GetInfo)(
                                             host.PortName().c_str(), nullptr, 9600, 1, nullptr,
                                             nullptr, nullptr, nullptr, information.text);
                                     },
                                     {-2, -3, -9, -11}))),
                 });
    if (line != Line::Serial)
        return;
    list->push_back(WithLog(info));
    Scenario without = Expecting(info, -3001);
    without.name = "BO_ReadIdInfo without a card";
    without.profile = "empty";
    list->push_back(without);
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    for (const Line line : {Line::Serial, Line::Usb})
    {
        AddStripes(&list, line);
        AddIdentityOperations(&list, line);
        AddIdentityCalls(&list, line);
    }
    return list;
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(StripeAndIdentity, EveryCall, testing::ValuesIn(Scenarios()),
                         ParameterName);

// ---- Photos: the site's libraries lie in the working directory ----

const std::set<int> kPhotoCodes = {-1000, -1003, -1004, -1014, -3000,
                                   -3001, -3002, -3,    -1009, -1010};

TEST(Photos, ABitmapThatFailsAnywhereIsReported)
{
    const testing_support::PhotoRoom room;
    room.Decoder();
    Scenario scenario = Laid(Make(
        "BO_ReadIdInfo with photo", Line::Serial,
        [](Host &host) { return ReadWithPhoto(host, "photo.bmp"); }, kPhotoCodes));
    TryEveryFault(scenario);
    EXPECT_EQ(38862u, std::filesystem::file_size("photo.bmp"));
}

TEST(Photos, AConvertedPictureThatFailsAnywhereIsReported)
{
    const testing_support::PhotoRoom room;
    room.Decoder();
    room.Converter("librecording_PicConvert.so");
    const std::string path = room.directory.path + "/photo.png";
    Scenario scenario = Laid(Make(
        "BO_ReadIdInfo with picture", Line::Serial,
        [path](Host &host) { return ReadWithPhoto(host, path.c_str()); }, kPhotoCodes));
    scenario.expected = -77; // the converter's own result
    // Without the picture of the time before a directory of its name is made, and goes again.
    scenario.prepare = [path](Host &) { std::filesystem::remove(path); };
    scenario.failures.insert(-78); // the converter's as well: that directory is there still
    TryEveryFault(scenario);
}

TEST(Photos, TheirDirectoryMayFailToBeMade)
{
    const testing_support::PhotoRoom room;
    room.Decoder();
    std::filesystem::create_directory("photos");
    Scenario scenario = Laid(Make(
        "BO_ReadIdInfo with photo in a directory", Line::Serial,
        [](Host &host) { return ReadWithPhoto(host, "photos/photo.bmp"); }, kPhotoCodes));
    TryEveryFault(scenario);
    scenario.call = [](Host &host) { return ReadWithPhoto(host, "photos"); };
    TryEveryFault(scenario);
    std::filesystem::directory_iterator entries("photos"); // named by hand, and by the card
    EXPECT_EQ(2, std::distance(begin(entries), end(entries)));
}

TEST(Photos, TheBitmapCallGivesItsOwnCodes)
{
    const testing_support::PhotoRoom room;
    room.Decoder();
    Scenario scenario = Make("ID_GetBmpFile", Line::None,
                             [](Host &host)
                             {
                                 const unsigned char photo[1024] = {1}; // without any it is refused
                                 return CALL(host.library, ID_GetBmpFile)(photo, "photo.bmp");
                             },
                             {-1, -2, -3});
    TryEveryFault(scenario);
    TryEveryFault(WithLog(scenario));
}

} // namespace
