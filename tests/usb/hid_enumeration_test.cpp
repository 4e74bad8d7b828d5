// hid_enumerate, the paths, and which device hid_open takes.
#include <cstring>

#include "usb/usb_bench.h"

using usb_standin::Bytes;
using usb_standin::Call;
using usb_standin::Fail;
using usb_standin::Plug;
using usb_standin::ReaderModel;
using usb_standin::StringDescriptor;

namespace
{

using HidEnumeration = UsbBench;

usb_standin::DeviceModel Model(uint16_t vendorId, uint16_t productId)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.deviceDescriptor[8] = static_cast<uint8_t>(vendorId & 0xFF);
    model.deviceDescriptor[9] = static_cast<uint8_t>(vendorId >> 8);
    model.deviceDescriptor[10] = static_cast<uint8_t>(productId & 0xFF);
    model.deviceDescriptor[11] = static_cast<uint8_t>(productId >> 8);
    return model;
}

usb_standin::DeviceModel ModelWithSerial(const std::u16string &serial)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.strings[3] = StringDescriptor(serial);
    return model;
}

// Interface 0 a keyboard-like HID, 1 a vendor-specific one, 2 a HID with other endpoints.
usb_standin::DeviceModel CompositeModel()
{
    usb_standin::DeviceModel model = ReaderModel();
    model.configurationDescriptor = {
        0x09, 0x02, 0x50, 0x00, 0x03, 0x01, 0x00, 0x80, 0x32, //
        0x09, 0x04, 0x00, 0x00, 0x01, 0x03, 0x01, 0x01, 0x00, //
        0x09, 0x21, 0x11, 0x01, 0x00, 0x01, 0x22, 0x3F, 0x00, //
        0x07, 0x05, 0x81, 0x03, 0x08, 0x00, 0x0A,             //
        0x09, 0x04, 0x01, 0x00, 0x01, 0xFF, 0x00, 0x00, 0x00, //
        0x07, 0x05, 0x83, 0x03, 0x40, 0x00, 0x01,             //
        0x09, 0x04, 0x02, 0x00, 0x03, 0x03, 0x00, 0x00, 0x00, //
        0x07, 0x05, 0x04, 0x02, 0x40, 0x00, 0x00,             // a bulk OUT: not for reports
        0x07, 0x05, 0x85, 0x03, 0x20, 0x08, 0x01,             // 32 bytes, twice a microframe
        0x07, 0x05, 0x06, 0x03, 0x40, 0x00, 0x01,             //
    };
    model.kernelDrivers = {0, 2};
    return model;
}

std::vector<std::string> Paths(unsigned short vendorId, unsigned short productId)
{
    std::vector<std::string> paths;
    hid_device_info *devices = hid_enumerate(vendorId, productId);
    for (const hid_device_info *info = devices; info != nullptr; info = info->next)
        paths.push_back(info->path);
    hid_free_enumeration(devices);
    return paths;
}

TEST_F(HidEnumeration, FillsAnEntryFromTheDescriptors)
{
    Plug(ReaderModel(), 3, 127);
    hid_device_info *info = hid_enumerate(0x1BC3, 0x0151);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->path, "0003:007f:00");
    EXPECT_EQ(info->vendor_id, 0x1BC3);
    EXPECT_EQ(info->product_id, 0x0151);
    EXPECT_STREQ(info->serial_number, L"00012345");
    EXPECT_EQ(info->release_number, 0x0100);
    EXPECT_STREQ(info->manufacturer_string, L"Reader Works");
    EXPECT_STREQ(info->product_string, L"Card Reader");
    EXPECT_EQ(info->usage_page, 0);
    EXPECT_EQ(info->usage, 0);
    EXPECT_EQ(info->interface_number, 0);
    EXPECT_EQ(info->next, nullptr);
    hid_free_enumeration(info);
}

TEST_F(HidEnumeration, NothingPluggedInIsAnEmptyList)
{
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
}

TEST_F(HidEnumeration, FreeingAnEmptyListIsAllowed)
{
    hid_free_enumeration(nullptr);
}

TEST_F(HidEnumeration, ZeroMatchesAnyVendorAndAnyProduct)
{
    Plug(Model(0x1BC3, 0x0151), 1, 2);
    Plug(Model(0x1BC3, 0x0152), 1, 3);
    Plug(Model(0x1BC4, 0x0151), 1, 4);
    using List = std::vector<std::string>;
    EXPECT_EQ(Paths(0, 0), (List{"0001:0002:00", "0001:0003:00", "0001:0004:00"}));
    EXPECT_EQ(Paths(0x1BC3, 0), (List{"0001:0002:00", "0001:0003:00"}));
    EXPECT_EQ(Paths(0, 0x0151), (List{"0001:0002:00", "0001:0004:00"}));
    EXPECT_EQ(Paths(0x1BC3, 0x0151), (List{"0001:0002:00"}));
    EXPECT_EQ(Paths(0x0151, 0x1BC3), List{});
}

TEST_F(HidEnumeration, ListsTheInterfacesOfClassHidOnly)
{
    Plug(CompositeModel(), 1, 2);
    EXPECT_EQ(Paths(0, 0), (std::vector<std::string>{"0001:0002:00", "0001:0002:02"}));
}

TEST_F(HidEnumeration, AnInterfaceWithSeveralSettingsIsListedOnce)
{
    usb_standin::DeviceModel model = ReaderModel();
    Bytes &configuration = model.configurationDescriptor;
    configuration.insert(configuration.end(),
                         {0x09, 0x04, 0x00, 0x01, 0x00, 0x03, 0x00, 0x00, 0x00});
    configuration[2] = 0x32;
    Plug(model, 1, 2);
    EXPECT_EQ(Paths(0, 0), std::vector<std::string>{"0001:0002:00"});
}

TEST_F(HidEnumeration, AnUnconfiguredDeviceIsNotListed)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.configured = false;
    Plug(model, 1, 2);
    Plug(ReaderModel(), 1, 3);
    EXPECT_EQ(Paths(0, 0), std::vector<std::string>{"0001:0003:00"});
}

TEST_F(HidEnumeration, ADeviceWhoseDescriptorCannotBeReadIsNotListed)
{
    Plug(ReaderModel(), 1, 2);
    Plug(ReaderModel(), 1, 3);
    Fail(Call::DeviceDescriptor, LIBUSB_ERROR_IO);
    EXPECT_EQ(Paths(0, 0), std::vector<std::string>{"0001:0003:00"});
}

TEST_F(HidEnumeration, ADeviceThatMayNotBeOpenedIsListedWithoutTexts)
{
    Plug(ReaderModel(), 1, 2);
    Fail(Call::Open, LIBUSB_ERROR_ACCESS);
    hid_device_info *info = hid_enumerate(0x1BC3, 0x0151);
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->path, "0001:0002:00");
    EXPECT_EQ(info->serial_number, nullptr);
    EXPECT_EQ(info->manufacturer_string, nullptr);
    EXPECT_EQ(info->product_string, nullptr);
    hid_free_enumeration(info);
}

TEST_F(HidEnumeration, AbsentTextsAreNull)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.deviceDescriptor[14] = 0; // no manufacturer
    model.strings.erase(2);         // a product text that stalls
    Plug(model, 1, 2);
    hid_device_info *info = hid_enumerate(0x1BC3, 0x0151);
    ASSERT_NE(info, nullptr);
    EXPECT_EQ(info->manufacturer_string, nullptr);
    EXPECT_EQ(info->product_string, nullptr);
    EXPECT_STREQ(info->serial_number, L"00012345");
    hid_free_enumeration(info);
}

TEST_F(HidEnumeration, LibusbThatCannotStartOrListGivesAnEmptyList)
{
    Plug(ReaderModel(), 1, 2);
    Fail(Call::Init, LIBUSB_ERROR_OTHER);
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    Fail(Call::DeviceList, LIBUSB_ERROR_NO_MEM);
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    EXPECT_EQ(Paths(0, 0).size(), 1u);
}

TEST_F(HidEnumeration, ListingDisturbsNothing)
{
    Plug(ReaderModel(), 1, 2);
    Paths(0, 0);
    EXPECT_EQ(usb_standin::Journal(), (std::vector<std::string>{"open", "close", "exit"}));
}

// ---- hid_open and hid_open_path ----

TEST_F(HidEnumeration, OpenTakesTheFirstDeviceWithTheIds)
{
    Plug(Model(0x1BC3, 0x0152), 1, 2);
    const int first = Plug(ReaderModel(), 1, 3);
    const int second = Plug(ReaderModel(), 1, 4);
    hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(usb_standin::InTransfers(first).size(), 1u);
    EXPECT_EQ(usb_standin::InTransfers(second).size(), 0u);
    hid_close(device);
}

TEST_F(HidEnumeration, OpenOfIdsThatAreNotThereGivesNull)
{
    Plug(ReaderModel(), 1, 2);
    EXPECT_EQ(hid_open(0x1BC3, 0x0152, nullptr), nullptr);
    EXPECT_EQ(usb_standin::Journal(), std::vector<std::string>{"exit"});
}

TEST_F(HidEnumeration, OpenWithASerialNumberTakesTheDeviceThatHasIt)
{
    const int first = Plug(ModelWithSerial(u"A1"), 1, 2);
    const int second = Plug(ModelWithSerial(u"A12"), 1, 3);
    hid_device *device = hid_open(0x1BC3, 0x0151, L"A12");
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(usb_standin::InTransfers(first).size(), 0u);
    EXPECT_EQ(usb_standin::InTransfers(second).size(), 1u);
    hid_close(device);
    EXPECT_EQ(hid_open(0x1BC3, 0x0151, L"A"), nullptr);
}

TEST_F(HidEnumeration, ADeviceWithoutSerialNumberMatchesNoGivenOne)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.deviceDescriptor[16] = 0;
    Plug(model, 1, 2);
    EXPECT_EQ(hid_open(0x1BC3, 0x0151, L""), nullptr);
}

TEST_F(HidEnumeration, OpenWithoutSerialNumberAsksTheReaderForNoText)
{
    const int reader = Plug(ReaderModel(), 1, 2);
    hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
    EXPECT_EQ(usb_standin::ControlTransfers(reader).size(), 0u);
    hid_close(device);
}

TEST_F(HidEnumeration, OpensAnInterfaceByItsPath)
{
    const int composite = Plug(CompositeModel(), 1, 2);
    hid_device *device = hid_open_path("0001:0002:02");
    ASSERT_NE(device, nullptr);
    const std::vector<usb_standin::InTransfer> in = usb_standin::InTransfers(composite);
    ASSERT_EQ(in.size(), 1u);
    EXPECT_EQ(in[0].endpoint, 0x85);
    EXPECT_EQ(in[0].length, 32); // the size bits of the packet size, without the repeat bits

    const unsigned char report[] = {0x00, 0x31};
    EXPECT_EQ(hid_write(device, report, sizeof report), 2);
    ASSERT_EQ(usb_standin::OutTransfers(composite).size(), 1u);
    EXPECT_EQ(usb_standin::OutTransfers(composite)[0].endpoint, 0x06);
    hid_close(device);
    EXPECT_EQ(usb_standin::Journal(),
              (std::vector<std::string>{"open", "detach 2", "claim 2", "submit 85", "cancel 85",
                                        "release 2", "attach 2", "close", "exit"}));
}

TEST_F(HidEnumeration, TwoInterfacesOfOneDeviceAreOpenSideBySide)
{
    const int composite = Plug(CompositeModel(), 1, 2);
    hid_device *keyboard = hid_open_path("0001:0002:00");
    hid_device *reader = hid_open_path("0001:0002:02");
    ASSERT_NE(keyboard, nullptr);
    ASSERT_NE(reader, nullptr);
    usb_standin::SendReport(composite, {0x01, 0x02, 0x03}, usb_standin::HandledBy::AnyThread, 0x85);
    unsigned char data[64];
    EXPECT_EQ(hid_read_timeout(reader, data, sizeof data, 5000), 3);
    EXPECT_EQ(hid_read_timeout(keyboard, data, sizeof data, 0), 0);
    hid_close(keyboard);
    hid_close(reader);
}

TEST_F(HidEnumeration, OnlyTheExactPathOpens)
{
    Plug(ReaderModel(), 1, 0x2A);
    for (const char *path : {"", "0001:002A:00", "1:2a:0", "0001:002a:0", "0001:002a:00 ",
                             " 0001:002a:00", "0001:002a:00:", "0001-002a-00", "0001:002a",
                             "0001:002a:01", "0002:002a:00", "0001:002b:00", "00001:002a:00"})
        EXPECT_EQ(hid_open_path(path), nullptr) << path;
    EXPECT_EQ(hid_open_path(nullptr), nullptr);
    hid_device *device = hid_open_path("0001:002a:00");
    EXPECT_NE(device, nullptr);
    hid_close(device);
}

TEST_F(HidEnumeration, AnInterfaceWithoutInterruptInEndpointDoesNotOpen)
{
    usb_standin::DeviceModel model = ReaderModel();
    model.configurationDescriptor = {
        0x09, 0x02, 0x20, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32, //
        0x09, 0x04, 0x00, 0x00, 0x02, 0x03, 0x00, 0x00, 0x00, //
        0x07, 0x05, 0x81, 0x03, 0x00, 0x00, 0x01,             // an IN endpoint of 0 bytes
        0x07, 0x05, 0x02, 0x03, 0x40, 0x00, 0x01,             //
    };
    Plug(model, 1, 2);
    EXPECT_EQ(hid_open(0x1BC3, 0x0151, nullptr), nullptr);
    EXPECT_EQ(usb_standin::Journal(), (std::vector<std::string>{"exit", "open", "close", "exit"}));
}

} // namespace
