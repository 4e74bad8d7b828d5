// Connection and device calls, the links and the transport: every call that they make fails in
// turn.
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "faults/fault_bench.h"
#include "vantor/link.h"
#include "vantor/operations.h"

using namespace faults;

namespace
{

const unsigned char kAskInfo[] = {0x81, 0x00};
const unsigned char kAskRecord[] = {0xF1};
const unsigned char kFindCard[] = {0x20, 0x01};
const unsigned char kEscapeReset[] = {0x1B, 'S'};
const unsigned char kCommand[] = "60028100E3\x03";

// What an exchange of a business call may come to: no answer, or a bad one.
const std::set<int> kExchange = {-1013};

int EndsWith03(const unsigned char *bytes, uint32_t count)
{
    return memchr(bytes, 0x03, count) != nullptr ? 1 : 0;
}

int Info(Host &host)
{
    unsigned char info[256];
    uint32_t length = 0;
    return CALL(host.library, BO_GetDevInfo)(0, info, &length);
}

int ConnectionTest(Host &host)
{
    unsigned char info[256];
    uint32_t length = 0;
    if (host.line == Line::Usb)
        return CALL(host.library, BO_InitConnect_PID)(0x1BC3, 0x0151, 0, info, &length);
    return CALL(host.library, BO_InitConnect)(3, 9600, 0, 0, 0, info, &length);
}

int OpenByIds(Host &host)
{
    return CALL(host.library, BO_Open_PID)(0x1BC3, 0x0151);
}

int DisConnect(Host &host)
{
    host.handle = host.Device()->device;
    return CALL(host.library, BO_DisConnect)();
}

int OtherBaud(Host &host)
{
    int64_t old = 0;
    return CALL(host.library, BO_ChangeBaud)(38400, &old);
}

int SerialNumber(Host &host)
{
    char text[33];
    uint32_t length = 0;
    return CALL(host.library, BO_GetDevSn)(text, &length);
}

int SetSerialNumber(Host &host)
{
    return CALL(host.library, BO_SetDevSn)(reinterpret_cast<const unsigned char *>("SN-1"), 4);
}

// ---- The links ----

int KrelLink(Host &host)
{
    unsigned char answer[256];
    return CALL(host.library, KrelIc_SendCmd)(host.Device(), kAskInfo, sizeof kAskInfo, answer,
                                              sizeof answer, 1000);
}

int UnionLink(Host &host)
{
    const unsigned char command[] = {0x31, 0x11, 0x00};
    unsigned char answer[256];
    return CALL(host.library, Union_SendCmd)(host.Device(), command, sizeof command, answer,
                                             sizeof answer, 1000);
}

int KnownLengthLink(Host &host)
{
    unsigned char answer[64];
    return CALL(host.library, RAWL_SendCmd)(host.Device(), kCommand, sizeof kCommand - 1, answer,
                                            sizeof answer, 8, 100);
}

// A whole answer of the stripe module, to a command that it knows.
int MarkedLink(Host &host)
{
    const unsigned char command[] = {0x1B, ']'};
    unsigned char answer[256];
    const int result = CALL(host.library, RAWC_SendCmd)(host.Device(), command, sizeof command,
                                                        answer, sizeof answer, "?\x1C", 1000);
    return result > 0 ? 0 : result;
}

int IdentityLink(Host &host)
{
    unsigned char answer[256];
    return CALL(host.library, ID_SendCmd)(host.Device(), kFindCard, sizeof kFindCard, answer,
                                          sizeof answer, 1000);
}

// ---- The transport ----

int ReadInfo(Host &host)
{
    const int written =
        CALL(host.library, COMM_Write)(host.Device(), kCommand, sizeof kCommand - 1, 1000);
    if (written != static_cast<int>(sizeof kCommand - 1))
        return written;
    unsigned char answer[256];
    const int result =
        CALL(host.library, COMM_Read)(host.Device(), answer, sizeof answer, 1000, EndsWith03);
    return result > 0 ? 0 : result;
}

int ReadSilence(Host &host)
{
    unsigned char answer[256];
    return CALL(host.library, COMM_Read)(host.Device(), answer, sizeof answer, 500, EndsWith03);
}

int OpenAndClose(Host &host)
{
    DEVCONTEXT device;
    CALL(host.library, DC_Init)(&device);
    CALL(host.library, DC_SetInterfaceType)(&device, host.line == Line::Usb ? "hid" : "com");
    if (host.line == Line::Usb)
        CALL(host.library, DC_AddUsbParams)(&device, 0x1BC3, 0x0151);
    else
        CALL(host.library, DC_SetCOMParams)(&device, 3, 9600);
    const int result = CALL(host.library, COMM_Open)(&device);
    if (result == 0)
        CALL(host.library, COMM_Close)(&device);
    return result;
}

int OpenAndRelease(Host &host)
{
    const int result = host.Open();
    return result != 0 ? result : CALL(host.library, DC_ReleaseDeviceRef)(host.Device());
}

bool IsHandle(const void *handle)
{
    const auto value = reinterpret_cast<intptr_t>(handle);
    return value > 0 || value < -99;
}

// The operations of an adapter by themselves; the code that the handle stands for when it fails.
int UseAdapter(Host &host)
{
    DEVCONTEXT device;
    CALL(host.library, DC_Init)(&device);
    CALL(host.library, DC_AddUsbParams)(&device, 0x1BC3, 0x0151);
    if (host.line == Line::Serial)
        CALL(host.library, DC_SetCOMParams)(&device, 3, 9600);
    const bool usb = host.line == Line::Usb;
    void *handle =
        usb ? CALL(host.library, HID_open)(&device) : CALL(host.library, COM_open)(&device);
    if (!IsHandle(handle))
        return static_cast<int>(reinterpret_cast<intptr_t>(handle));
    const auto write = usb ? CALL(host.library, HID_write) : CALL(host.library, COM_write);
    const auto read = usb ? CALL(host.library, HID_read) : CALL(host.library, COM_read);
    unsigned char answer[256];
    int result = write(handle, kCommand, sizeof kCommand - 1, 1000);
    if (result == static_cast<int>(sizeof kCommand - 1))
        result = read(handle, answer, sizeof answer, 1000, EndsWith03);
    (usb ? CALL(host.library, HID_close) : CALL(host.library, COM_close))(handle);
    return result > 0 ? 0 : result;
}

// A port by itself: 0, or 1 when it could not be opened.
int UsePort(Host &host)
{
    void *port = CALL(host.library, GOpenCom)(3, 115200);
    if (port == nullptr)
        return 1;
    int result = CALL(host.library, GWriteCom)(port, kCommand, sizeof kCommand - 1, 1000);
    unsigned char answer[256];
    if (result > 0)
        result = CALL(host.library, GReadCom)(port, answer, sizeof answer, 100);
    const int closed = CALL(host.library, GCloseCom)(port);
    return result < 0 ? result : closed;
}

// Its settings cannot be put back; its descriptor goes.
int CloseLost(Host &host)
{
    return CALL(host.library, GCloseCom)(host.handle);
}

int ConfigurePort(Host &host)
{
    const int descriptor = open(host.terminal.name.c_str(), O_RDWR | O_NOCTTY);
    int result = CALL(host.library, GSetTerm_Linux)(descriptor, 9600);
    if (result == 0)
        result = CALL(host.library, GReSetTerm_Linux)(descriptor);
    if (result != 0)
        close(descriptor); // as its header says, it is still open then
    return result;
}

// ---- All of them ----

void AddConnection(std::vector<Scenario> *list, Line line)
{
    const bool usb = line == Line::Usb;
    list->insert(
        list->end(),
        {
            With(Alone(Make("BO_Open", line, [](Host &host) { return host.Open(); }, {-1000})),
                 "DevBaud=19200\n"),
            Alone(Make(usb ? "BO_InitConnect_PID" : "BO_InitConnect", line, ConnectionTest,
                       {-1000, -1001})),
            Make("BO_GetDevInfo", line, Info, kExchange),
        });
    for (size_t i = list->size() - 3, end = list->size(); i < end; ++i)
        list->push_back(WithLog((*list)[i]));
    list->insert(
        list->end(),
        {
            With(Make("BO_Close", line, [](Host &host) { return CALL(host.library, BO_Close)(); }),
                 "DevBaud=19200\n"),
            Make("BO_DisConnect", line, DisConnect),
            Make("BO_Cancel", line, [](Host &host) { return CALL(host.library, BO_Cancel)(); }),
            Make("BO_Reset", line, [](Host &host) { return CALL(host.library, BO_Reset)(); },
                 {-1014, -1004}),
            Make("BO_SetBpPort", line,
                 [](Host &host) { return CALL(host.library, BO_SetBpPort)('1'); }),
            Make("BO_ChangeMode", line,
                 [](Host &host) { return CALL(host.library, BO_ChangeMode)(2); }),
            Make("BO_ChangeBaud", line, OtherBaud, usb ? std::set<int>{} : std::set<int>{-1000}),
            Make(
                "BO_SetDevBaud", line,
                [](Host &host) { return CALL(host.library, BO_SetDevBaud)(57600); },
                usb ? std::set<int>{} : kExchange),
            With(Make(
                     "BO_Beep", line,
                     [](Host &host) { return CALL(host.library, BO_Beep)(50, 1, 1); }, kExchange),
                 "Iccmd=1\n"),
            Make("BO_GetDevSn", line, SerialNumber, {-74}),
            Make("BO_SetDevSn", line, SetSerialNumber, {-74}),
        });
    for (Scenario &scenario : *list)
        scenario.forgets = scenario.forgets || scenario.name == "BO_DisConnect";
    if (usb)
        list->push_back(Alone(Make("BO_Open_PID", line, OpenByIds, {-1000})));
}

void AddLinks(std::vector<Scenario> *list, Line line)
{
    DEVCONTEXT *(*const device)(Host &) = [](Host &host) { return host.Device(); };
    // Over USB the reply comes with the padding of its report. Of a short write the count is given.
    Scenario identity = Expecting(Make("ID_SendCmd", line, IdentityLink, {-62, -1, 5}),
                                  line == Line::Usb ? 62 : 15);
    identity.profile = "identity-cards";
    identity.prepare = [](Host &host) { CALL(host.library, BO_ChangeMode)(2); };
    Scenario marked = Make("RAWC_SendCmd", line, MarkedLink, {-62, -1});
    marked.profile = "magnetic-cards";
    marked.swiped = "all-tracks";
    list->insert(
        list->end(),
        {
            Expecting(Make("KrelIc_SendCmd", line, KrelLink, {-74}), 20),
            Expecting(Make("Union_SendCmd", line, UnionLink, {-74}), 21),
            Expecting(Make("RAWL_SendCmd", line, KnownLengthLink, {-62, -1, 5, 7}), 8),
            marked,
            identity,
            Alone(Make("Vantor_Open", line,
                       [=](Host &host)
                       {
                           return CALL(host.library, Vantor_Open)(
                               device(host), host.line == Line::Usb ? 0 : 3, 9600, '1');
                       },
                       {-2, -19})),
            Make("Vantor_Close", line,
                 [=](Host &host) { return CALL(host.library, Vantor_Close)(device(host)); }),
            Make("Vantor_SetBpPort", line,
                 [=](Host &host)
                 { return CALL(host.library, Vantor_SetBpPort)(device(host), '1'); }),
            Make("Vantor_Reset", line,
                 [=](Host &host) { return CALL(host.library, Vantor_Reset)(device(host), 100); },
                 {-1, -62}),
            Make("Vantor_ChangeMode", line,
                 [=](Host &host)
                 { return CALL(host.library, Vantor_ChangeMode)(device(host), 2); }),
            Make("Vantor_Cancel", line,
                 [](Host &host) { return CALL(host.library, Vantor_Cancel)(); }),
            Expecting(Make("Vantor_ReadData", line,
                           [=](Host &host)
                           { return CALL(host.library, Vantor_ReadData)(device(host), 100); },
                           {-1}),
                      -62),
        });
    if (line == Line::Usb)
        list->push_back(Alone(Make("Vantor_Open_PID", line,
                                   [=](Host &host) {
                                       return CALL(host.library, Vantor_Open_PID)(device(host),
                                                                                  0x1BC3, 0x0151);
                                   },
                                   {-2, -19})));
}

void AddTransport(std::vector<Scenario> *list, Line line)
{
    const bool usb = line == Line::Usb;
    list->insert(list->end(),
                 {
                     Alone(Make("COMM_Open", line, OpenAndClose, {-2})),
                     Alone(Make("DC_ReleaseDeviceRef", line, OpenAndRelease, {-1000})),
                     Make("COMM_Read", line, ReadInfo, {-62, -1, 5}),
                     Expecting(Make("COMM_Read of silence", line, ReadSilence, {-1}), -62),
                     Alone(Make(usb ? "HID_open" : "COM_open", line, UseAdapter,
                                usb ? std::set<int>{-19, -62, -1} : std::set<int>{-2, -62, -1})),
                 });
    if (usb)
    {
        list->push_back(Alone(Make(
            "COMM_Init", line, [](Host &host) { return CALL(host.library, COMM_Init)(); }, {-1})));
        list->push_back(Make("COMM_Exit", line,
                             [](Host &host)
                             {
                                 const int result = CALL(host.library, COMM_Exit)();
                                 CALL(host.library, BO_Close)();
                                 return result;
                             }));
        return;
    }
    list->push_back(Alone(Make("GOpenCom", line, UsePort, {1, -1, -99})));
    Scenario lost =
        Denying(Make("GCloseCom of a line that vanished", line, CloseLost), "ioctl", "EIO");
    lost.prepare = [](Host &host) { host.handle = CALL(host.library, GOpenCom)(3, 9600); };
    list->push_back(Alone(Expecting(lost, -99)));
    list->push_back(Denying(Alone(Make("GReadCom of an empty read", line, UsePort, {1, -1, -99})),
                            "read", "end of file"));
    list->push_back(Alone(Make("GSetTerm_Linux", line, ConfigurePort, {-2, -3, -4, -99})));
}

std::vector<Scenario> Scenarios()
{
    std::vector<Scenario> list;
    for (const Line line : {Line::Serial, Line::Usb})
    {
        AddConnection(&list, line);
        AddLinks(&list, line);
        AddTransport(&list, line);
    }
    return list;
}

TEST(Disconnecting, AReaderThatIsForgottenAgainAndAgainTakesNoMoreMemory)
{
    Host host(Line::Usb, testing_support::ShippedConfig(), "default", "");
    size_t records = 0;
    for (int i = 0; i < 60; i++)
    {
        ASSERT_EQ(0, host.Open());
        EXPECT_EQ(0, Info(host));
        EXPECT_EQ(0, DisConnect(host));
        if (i == 20)
            records = library_calls::Live().size();
    }
    EXPECT_EQ(records, library_calls::Live().size());
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Connection, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

} // namespace
