// From the bytes that a device sends to the records that libusb gives out.
#include "standins/usb/usb_standin.h"

#include <stdexcept>

namespace usb_standin
{

DeviceModel ReaderModel()
{
    DeviceModel model;
    model.deviceDescriptor = {0x12, 0x01, 0x10, 0x01, 0x00, 0x00, 0x00, 0x40, 0xC3,
                              0x1B, 0x51, 0x01, 0x00, 0x01, 0x01, 0x02, 0x03, 0x01};
    model.configurationDescriptor = {
        0x09, 0x02, 0x29, 0x00, 0x01, 0x01, 0x00, 0x80, 0x32, // configuration: 41 bytes
        0x09, 0x04, 0x00, 0x00, 0x02, 0x03, 0x00, 0x00, 0x00, // interface 0, 2 endpoints, HID
        0x09, 0x21, 0x11, 0x01, 0x00, 0x01, 0x22, 0x22, 0x00, // HID 1.11, one report descriptor
        0x07, 0x05, 0x81, 0x03, 0x40, 0x00, 0x01,             // IN 1, interrupt, 64 bytes, 1 ms
        0x07, 0x05, 0x02, 0x03, 0x40, 0x00, 0x01,             // OUT 2, the same
    };
    model.strings[0] = {0x04, 0x03, 0x09, 0x04};
    model.strings[1] = StringDescriptor(u"Reader Works");
    model.strings[2] = StringDescriptor(u"Card Reader");
    model.strings[3] = StringDescriptor(u"00012345");
    model.kernelDrivers = {0};
    return model;
}

Bytes StringDescriptor(const std::u16string &text)
{
    Bytes bytes = {static_cast<uint8_t>(2 + 2 * text.size()), 0x03};
    for (const char16_t unit : text)
    {
        bytes.push_back(static_cast<uint8_t>(unit & 0xFF));
        bytes.push_back(static_cast<uint8_t>(unit >> 8));
    }
    return bytes;
}

static uint16_t Word(const Bytes &bytes, size_t offset)
{
    return static_cast<uint16_t>(bytes.at(offset) | bytes.at(offset + 1) << 8);
}

libusb_device_descriptor ParseDevice(const Bytes &bytes)
{
    libusb_device_descriptor descriptor{};
    descriptor.bLength = bytes.at(0);
    descriptor.bDescriptorType = bytes.at(1);
    descriptor.bcdUSB = Word(bytes, 2);
    descriptor.bDeviceClass = bytes.at(4);
    descriptor.bDeviceSubClass = bytes.at(5);
    descriptor.bDeviceProtocol = bytes.at(6);
    descriptor.bMaxPacketSize0 = bytes.at(7);
    descriptor.idVendor = Word(bytes, 8);
    descriptor.idProduct = Word(bytes, 10);
    descriptor.bcdDevice = Word(bytes, 12);
    descriptor.iManufacturer = bytes.at(14);
    descriptor.iProduct = bytes.at(15);
    descriptor.iSerialNumber = bytes.at(16);
    descriptor.bNumConfigurations = bytes.at(17);
    return descriptor;
}

// One interface number with its settings; the vectors hold what the libusb records point to.
struct ParsedInterface
{
    std::vector<libusb_interface_descriptor> settings;
    std::vector<std::vector<libusb_endpoint_descriptor>> endpoints; // one list a setting
};

struct ParsedConfiguration
{
    libusb_config_descriptor record; // first: its address is the address of the whole
    std::map<int, ParsedInterface> interfaces;
    std::vector<libusb_interface> interfaceRecords;
};

static libusb_interface_descriptor ParseInterface(const Bytes &bytes, size_t at)
{
    libusb_interface_descriptor descriptor{};
    descriptor.bLength = bytes.at(at);
    descriptor.bDescriptorType = bytes.at(at + 1);
    descriptor.bInterfaceNumber = bytes.at(at + 2);
    descriptor.bAlternateSetting = bytes.at(at + 3);
    descriptor.bNumEndpoints = bytes.at(at + 4);
    descriptor.bInterfaceClass = bytes.at(at + 5);
    descriptor.bInterfaceSubClass = bytes.at(at + 6);
    descriptor.bInterfaceProtocol = bytes.at(at + 7);
    descriptor.iInterface = bytes.at(at + 8);
    return descriptor;
}

static libusb_endpoint_descriptor ParseEndpoint(const Bytes &bytes, size_t at)
{
    libusb_endpoint_descriptor descriptor{};
    descriptor.bLength = bytes.at(at);
    descriptor.bDescriptorType = bytes.at(at + 1);
    descriptor.bEndpointAddress = bytes.at(at + 2);
    descriptor.bmAttributes = bytes.at(at + 3);
    descriptor.wMaxPacketSize = Word(bytes, at + 4);
    descriptor.bInterval = bytes.at(at + 6);
    return descriptor;
}

static void PointToLists(ParsedConfiguration *parsed)
{
    for (auto &[number, interface] : parsed->interfaces)
    {
        for (size_t i = 0; i < interface.settings.size(); ++i)
        {
            if (interface.settings[i].bNumEndpoints != interface.endpoints[i].size())
                throw std::invalid_argument("a setting and its endpoints disagree");
            interface.settings[i].endpoint = interface.endpoints[i].data();
        }
        parsed->interfaceRecords.push_back(
            {interface.settings.data(), static_cast<int>(interface.settings.size())});
    }
    if (parsed->record.bNumInterfaces != parsed->interfaceRecords.size())
        throw std::invalid_argument("a configuration and its interfaces disagree");
    parsed->record.interface = parsed->interfaceRecords.data();
}

libusb_config_descriptor *ParseConfiguration(const Bytes &bytes)
{
    if (Word(bytes, 2) != bytes.size())
        throw std::invalid_argument("a configuration's total length is wrong");
    auto *parsed = new ParsedConfiguration{};
    parsed->record.bLength = bytes.at(0);
    parsed->record.bDescriptorType = bytes.at(1);
    parsed->record.wTotalLength = Word(bytes, 2);
    parsed->record.bNumInterfaces = bytes.at(4);
    parsed->record.bConfigurationValue = bytes.at(5);
    ParsedInterface *interface = nullptr;
    for (size_t at = bytes.at(0); at < bytes.size(); at += bytes.at(at))
    {
        if (bytes.at(at + 1) == LIBUSB_DT_INTERFACE)
        {
            interface = &parsed->interfaces[bytes.at(at + 2)];
            interface->settings.push_back(ParseInterface(bytes, at));
            interface->endpoints.emplace_back();
        }
        else if (bytes.at(at + 1) == LIBUSB_DT_ENDPOINT && interface != nullptr)
            interface->endpoints.back().push_back(ParseEndpoint(bytes, at));
    }
    PointToLists(parsed);
    return &parsed->record;
}

void FreeConfiguration(libusb_config_descriptor *configuration)
{
    delete reinterpret_cast<ParsedConfiguration *>(configuration);
}

} // namespace usb_standin
