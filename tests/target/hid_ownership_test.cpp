// Who may have the reader's interface: the kernel's driver, this process, another one, a user
// without permission.
#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/host_library.h"
#include "target/usb_reader.h"
#include "vantor.h"

using target::SharedReader;
using target::UsbReader;
using testing_support::HostLibrary;

namespace
{

struct HidOwnership : testing::Test
{
    UsbReader &reader = SharedReader();

    HidOwnership()
    {
        reader.Refresh();
    }

    static hid_device *Open()
    {
        return hid_open(0x1BC3, 0x0151, nullptr);
    }

    // A device that was opened answers.
    static bool Works(hid_device *device)
    {
        const unsigned char command[] = "60028100E3\x03";
        unsigned char answer[62];
        return hid_write_modeid(device, command, 11, 2) == 11 &&
               hid_read_modeid(device, answer, sizeof answer, 5000) == 62 && answer[0] == '6';
    }
};

// Another process, which does something and then waits until it is told to end.
struct OtherProcess
{
    pid_t process;
    int orders[2];
    int reports[2];

    // `act` gives what the process reports; it exits with `exit` when it is released.
    explicit OtherProcess(char (*act)())
    {
        EXPECT_EQ(pipe(orders), 0);
        EXPECT_EQ(pipe(reports), 0);
        process = fork();
        if (process != 0)
            return;
        alarm(60);
        const char result = act();
        char order = 0;
        close(orders[1]);
        if (write(reports[1], &result, 1) != 1 || read(orders[0], &order, 1) < 0)
            _exit(1);
        exit(0); // with the library's own end
    }

    char Report() const
    {
        char result = '?';
        EXPECT_EQ(read(reports[0], &result, 1), 1);
        return result;
    }

    int Release() const
    {
        close(orders[1]);
        int status = 0;
        waitpid(process, &status, 0);
        return status;
    }
};

char OpenAndTell()
{
    return HidOwnership::Open() != nullptr ? 'y' : 'n';
}

} // namespace

TEST_F(HidOwnership, TheKernelDriverIsDetachedAndGetsTheInterfaceBackOnClose)
{
    EXPECT_EQ(reader.Driver(), "usbhid");
    hid_device *device = Open();
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(reader.Driver(), "usbfs");
    EXPECT_TRUE(Works(device));
    hid_close(device);
    EXPECT_EQ(reader.Driver(), "usbhid");
    device = Open();
    EXPECT_TRUE(Works(device));
    hid_close(device);
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, UnloadingTheLibraryGivesTheInterfaceBack)
{
    {
        HostLibrary library;
        ASSERT_EQ(CALL(library, BO_Open)(0, 9600, 0), 0);
        EXPECT_EQ(reader.Driver(), "usbfs");
        library.Unload();
    }
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, AProcessThatEndsWithTheDeviceOpenGivesTheInterfaceBack)
{
    const OtherProcess other(OpenAndTell);
    EXPECT_EQ(other.Report(), 'y');
    EXPECT_EQ(reader.Driver(), "usbfs");
    EXPECT_EQ(other.Release(), 0);
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, AfterAProcessThatWasKilledTheReaderWorksWithoutAKernelDriver)
{
    const OtherProcess other(OpenAndTell);
    EXPECT_EQ(other.Report(), 'y');
    kill(other.process, SIGKILL);
    other.Release();
    EXPECT_EQ(reader.Driver(), "");
    hid_device *device = Open();
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(Works(device));
    hid_close(device);
    EXPECT_EQ(reader.Driver(), ""); // nobody had it
    reader.Control("unplug");
    reader.Plug();
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, AnInterfaceThatAnotherProcessHoldsIsNotOpened)
{
    const OtherProcess other(OpenAndTell);
    EXPECT_EQ(other.Report(), 'y');
    EXPECT_EQ(Open(), nullptr);
    HostLibrary library;
    EXPECT_EQ(CALL(library, BO_Open)(0, 9600, 0), -1000);
    EXPECT_EQ(reader.Driver(), "usbfs"); // it still has it
    EXPECT_EQ(other.Release(), 0);
    hid_device *device = Open();
    EXPECT_NE(device, nullptr);
    hid_close(device);
}

TEST_F(HidOwnership, OurInterfaceIsNotTakenByAnotherProcess)
{
    hid_device *device = Open();
    const OtherProcess other(
        []
        {
            HostLibrary library; // a library of its own, without this process's list of devices
            return CALL(library, BO_Open)(0, 9600, 0) == -1000 ? 'y' : 'n';
        });
    EXPECT_EQ(other.Report(), 'y');
    EXPECT_TRUE(Works(device));
    other.Release();
    EXPECT_TRUE(Works(device)); // also after the end of a child that has inherited it
    hid_close(device);
}

TEST_F(HidOwnership, AUserWithoutPermissionFindsTheReaderAndCannotOpenIt)
{
    const auto asUser = []
    {
        if (setgid(1000) != 0 || setuid(1000) != 0)
            return 'u';
        hid_device_info *info = hid_enumerate(0x1BC3, 0x0151);
        if (info == nullptr || info->product_string != nullptr)
            return 'i';
        hid_free_enumeration(info);
        return HidOwnership::Open() == nullptr ? 'y' : 'o';
    };
    const OtherProcess other(asUser);
    EXPECT_EQ(other.Report(), 'y');
    other.Release();
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, AUserWithPermissionOnTheNodeOpensItAndGivesItBack)
{
    ASSERT_EQ(chmod(reader.DeviceNode().c_str(), 0666), 0);
    const auto asUser = []
    {
        if (setgid(1000) != 0 || setuid(1000) != 0)
            return 'u';
        hid_device *device = HidOwnership::Open();
        return device != nullptr && HidOwnership::Works(device) ? 'y' : 'n';
    };
    const OtherProcess other(asUser);
    EXPECT_EQ(other.Report(), 'y');
    EXPECT_EQ(other.Release(), 0);
    EXPECT_EQ(reader.Driver(), "usbhid");
}

TEST_F(HidOwnership, ASecondOpenInThisProcessRetiresTheFirst)
{
    hid_device *older = Open();
    hid_device *newer = Open();
    ASSERT_NE(newer, nullptr);
    EXPECT_TRUE(Works(newer));
    unsigned char report[65] = {};
    EXPECT_EQ(hid_write(older, report, sizeof report), -1);
    hid_close(older);
    EXPECT_TRUE(Works(newer));
    hid_close(newer);
    EXPECT_EQ(reader.Driver(), "usbhid");
}

// ---- Several readers, other ids ----

TEST_F(HidOwnership, TheFirstPairOfIdsThatOpensWins)
{
    const UsbReader other({"--serial-number", "OTHER"}, 0x1234, 0xABCD);
    DC_Init(&context);
    DC_SetInterfaceType(&context, "hid");
    DC_AddUsbParams(&context, 0x1BC3, 0x0152); // not there
    DC_AddUsbParams(&context, 0x1234, 0xABCD);
    DC_AddUsbParams(&context, 0x1BC3, 0x0151);
    ASSERT_EQ(COMM_Open(&context), 0);
    wchar_t text[32];
    EXPECT_EQ(
        hid_get_serial_number_string(static_cast<hid_device *>(DC_GetDevice(&context)), text, 32),
        0);
    EXPECT_STREQ(text, L"OTHER");
    EXPECT_EQ(other.Driver(), "usbfs");
    EXPECT_EQ(reader.Driver(), "usbhid"); // left alone
    EXPECT_EQ(COMM_Close(&context), 0);

    HostLibrary library;
    EXPECT_EQ(CALL(library, BO_Open_PID)(0x1234, 0xABCD), 0);
    EXPECT_EQ(other.Driver(), "usbfs");
    EXPECT_EQ(CALL(library, BO_Close)(), 0);
    EXPECT_EQ(CALL(library, BO_Open_PID)(0x1234, 0xABCE), -1000);
}

TEST_F(HidOwnership, TwoReadersOfTheSameIdsAreOpenSideBySide)
{
    const UsbReader other({"--serial-number", "OTHER"});
    hid_device *first = hid_open(0x1BC3, 0x0151, L"VIRTUAL-01");
    hid_device *second = hid_open(0x1BC3, 0x0151, L"OTHER");
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_TRUE(Works(first));
    EXPECT_TRUE(Works(second));
    EXPECT_EQ(reader.Count("out"), 1);
    EXPECT_EQ(other.Count("out"), 1);
    hid_close(first);
    EXPECT_TRUE(Works(second));
    hid_close(second);
}

TEST_F(HidOwnership, AReaderWithoutAnOutEndpointIsWrittenBySetReport)
{
    const UsbReader other({"--no-out-endpoint"}, 0x1234, 0x0001);
    hid_device *device = hid_open(0x1234, 0x0001, nullptr);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(Works(device));
    EXPECT_EQ(other.Control("usb reports"), "ok 020B");
    other.Control("usb out hold"); // a control request that is not answered
    const unsigned char report[65] = {};
    EXPECT_EQ(hid_write(device, report, sizeof report), -1);
    EXPECT_EQ(other.Count("held"), 0);
    EXPECT_TRUE(Works(device));
    hid_close(device);
    EXPECT_EQ(other.Driver(), "usbhid");

    HostLibrary library;
    ASSERT_EQ(CALL(library, BO_Open_PID)(0x1234, 0x0001), 0);
    char info[5000];
    EXPECT_EQ(CALL(library, BO_ICGetInfo)(0, "A", 0, info, 5), 0);
    EXPECT_STREQ(info, "A0166210948000000011");
    CALL(library, BO_Close)();
}
