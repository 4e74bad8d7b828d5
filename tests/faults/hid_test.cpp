// The HID calls: every call that they make, and that their read thread makes, fails in turn.
#include <cwchar>
#include <unistd.h>

#include "faults/fault_bench.h"

using namespace faults;

namespace
{

const unsigned char kReport[65] = {0x00, 0x02, 0x0B, '6', '0', '0', '2',
                                   '8',  '1',  '0',  '0', 'E', '3', 0x03};

void OpenHandle(Host &host)
{
    host.device = CALL(host.library, hid_open)(0x1BC3, 0x0151, nullptr);
}

void CloseHandle(Host &host)
{
    CALL(host.library, hid_close)(host.device);
    host.device = nullptr;
}

// A call on an open handle.
Scenario OnHandle(const char *name, const std::function<int(Host &)> &call,
                  const std::set<int> &failures = {})
{
    Scenario scenario = Alone(Make(name, Line::Usb, call, failures));
    scenario.prepare = OpenHandle;
    scenario.finish = CloseHandle;
    return scenario;
}

// 0 or 1: whether there is a handle.
Scenario Opening(const char *name, const std::function<hid_device *(Host &)> &open)
{
    Scenario scenario = Alone(Make(name, Line::Usb,
                                   [open](Host &host)
                                   {
                                       host.device = open(host);
                                       return host.device == nullptr ? 1 : 0;
                                   },
                                   {1}));
    scenario.finish = CloseHandle;
    return scenario;
}

int Entries(Host &host)
{
    host.devices = CALL(host.library, hid_enumerate)(0x1BC3, 0);
    int entries = 0;
    for (const hid_device_info *entry = host.devices; entry != nullptr; entry = entry->next)
        ++entries;
    return entries;
}

void FreeEntries(Host &host)
{
    CALL(host.library, hid_free_enumeration)(host.devices);
    host.devices = nullptr;
}

int WriteAndRead(Host &host, int (*read)(Host &host, unsigned char *report))
{
    const int written = CALL(host.library, hid_write)(host.device, kReport, sizeof kReport);
    unsigned char report[65];
    return written < 0 ? written : read(host, report);
}

int ReadTimed(Host &host, unsigned char *report)
{
    return CALL(host.library, hid_read_timeout)(host.device, report, 65, 100);
}

int ReadNonblocking(Host &host, unsigned char *report)
{
    CALL(host.library, hid_set_nonblocking)(host.device, 1);
    int result = CALL(host.library, hid_read)(host.device, report, 65);
    for (int turn = 0; turn < 2000 && result == 0; ++turn)
    {
        usleep(1000);
        result = usb_standin::IsQuiet(host.usbDevice) ? -7 : 0;
        const int again = CALL(host.library, hid_read)(host.device, report, 65);
        result = again != 0 ? again : result;
    }
    return result;
}

int ModeExchange(Host &host)
{
    unsigned char answer[62];
    const int written = CALL(host.library, hid_write_modeid)(host.device, kReport + 3, 11, 2);
    return written != 11 ? written
                         : CALL(host.library, hid_read_modeid)(host.device, answer, 62, 100);
}

// Without a time limit: the reply comes, or the device is lost.
int ReadBlocking(Host &host, unsigned char *report)
{
    return CALL(host.library, hid_read)(host.device, report, 65);
}

int ReadBehindStalls(Host &host)
{
    for (int i = 0; i < 5; i++) // behind the third the read thread pauses
        usb_standin::SendOutcome(host.usbDevice, LIBUSB_TRANSFER_STALL);
    return WriteAndRead(host, ReadTimed);
}

template <typename Call>
int TextOf(const Call &call, Host &host)
{
    wchar_t text[64];
    return call(host.device, text, 64);
}

std::vector<Scenario> Scenarios()
{
    Scenario list = Expecting(Alone(Make("hid_enumerate", Line::Usb, Entries, {0})), 1);
    list.finish = FreeEntries;
    const unsigned char feature[3] = {0x00, 0x01, 0x02};
    return {
        Alone(Make("hid_init", Line::Usb, [](Host &host) { return CALL(host.library, hid_init)(); },
                   {-1})),
        OnHandle("hid_exit", [](Host &host) { return CALL(host.library, hid_exit)(); }),
        list,
        Opening("hid_open",
                [](Host &host) { return CALL(host.library, hid_open)(0x1BC3, 0x0151, nullptr); }),
        Opening("hid_open by serial number", [](Host &host)
                { return CALL(host.library, hid_open)(0x1BC3, 0x0151, L"00012345"); }),
        Opening("hid_open_path",
                [](Host &host) { return CALL(host.library, hid_open_path)("0001:0002:00"); }),
        OnHandle("hid_close",
                 [](Host &host)
                 {
                     CloseHandle(host);
                     return 0;
                 }),
        Expecting(OnHandle("hid_write",
                           [](Host &host)
                           { return CALL(host.library, hid_write)(host.device, kReport, 65); },
                           {-1}),
                  65),
        Expecting(OnHandle("hid_read_timeout",
                           [](Host &host) { return WriteAndRead(host, ReadTimed); }, {-1, 0}),
                  64),
        Expecting(OnHandle("hid_read",
                           [](Host &host) { return WriteAndRead(host, ReadNonblocking); },
                           {-1, -7}),
                  64),
        Expecting(OnHandle("hid_read without a limit",
                           [](Host &host) { return WriteAndRead(host, ReadBlocking); }, {-1}),
                  64),
        Expecting(OnHandle("hid_read_timeout behind stalls", ReadBehindStalls, {-1, 0}), 64),
        Denying(
            Expecting(OnHandle("hid_write to a halted endpoint", [](Host &host)
                               { return CALL(host.library, hid_write)(host.device, kReport, 65); }),
                      -1),
            "libusb_interrupt_transfer", "libusb's -9"),
        Expecting(OnHandle("hid_send_feature_report",
                           [=](Host &host) {
                               return CALL(host.library, hid_send_feature_report)(
                                   host.device, feature, sizeof feature);
                           },
                           {-1, 2}),
                  3),
        // This reader has no feature reports.
        Expecting(OnHandle("hid_get_feature_report",
                           [](Host &host)
                           {
                               unsigned char report[8] = {};
                               return CALL(host.library, hid_get_feature_report)(host.device,
                                                                                 report, 8);
                           },
                           {2}),
                  -1),
        OnHandle("hid_get_manufacturer_string",
                 [](Host &host)
                 { return TextOf(CALL(host.library, hid_get_manufacturer_string), host); },
                 {-1}),
        OnHandle("hid_get_product_string",
                 [](Host &host)
                 { return TextOf(CALL(host.library, hid_get_product_string), host); },
                 {-1}),
        OnHandle("hid_get_serial_number_string",
                 [](Host &host)
                 { return TextOf(CALL(host.library, hid_get_serial_number_string), host); },
                 {-1}),
        OnHandle("hid_get_indexed_string",
                 [](Host &host)
                 {
                     wchar_t text[64];
                     return CALL(host.library, hid_get_indexed_string)(host.device, 2, text, 64);
                 },
                 {-1}),
        Expecting(OnHandle("hid_write_modeid", ModeExchange, {-1, 0}), 62),
    };
}

TEST(HidOpen, WithoutItsLockOrItsConditionThereIsNoHandle)
{
    Host host(Line::Usb, testing_support::ShippedConfig(), "default", "");
    const size_t before = library_calls::Live().size();
    for (const char *call : {"pthread_mutex_init", "pthread_cond_init"})
    {
        library_calls::Always(call, "ENOMEM");
        OpenHandle(host);
        library_calls::AllWell();
        EXPECT_EQ(nullptr, host.device) << call;
        EXPECT_EQ(before, library_calls::Live().size()) << call;
        EXPECT_EQ(usb_standin::Count(), usb_standin::kNothingHeld) << call;
    }
    OpenHandle(host);
    EXPECT_NE(nullptr, host.device);
    CloseHandle(host);
}

TEST_P(EveryCall, FailsAsDocumented)
{
    TryEveryFault(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Hid, EveryCall, testing::ValuesIn(Scenarios()), ParameterName);

} // namespace
