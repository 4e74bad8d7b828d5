#include "vreader/lines/usb_device.h"

#include <algorithm>
#include <codecvt>
#include <locale>

namespace vreader
{

namespace
{

constexpr size_t kMostUnits = 126; // a string descriptor has at most 254 bytes
constexpr uint16_t kEnglish = 0x0409;

// The fields of a setup packet; its 16-bit fields are little-endian.
struct Setup
{
    uint8_t type;
    uint8_t request;
    uint16_t value;
    uint16_t index;
    uint16_t length;
};

uint16_t Word(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] | bytes[1] << 8);
}

uint8_t Low(uint16_t word)
{
    return static_cast<uint8_t>(word);
}

uint8_t High(uint16_t word)
{
    return static_cast<uint8_t>(word >> 8);
}

// 64 bytes each way, without report numbers, on a page of the vendor's own.
const Bytes kReportDescriptor = {
    0x06, 0x00, 0xFF, // Usage Page (vendor FF00)
    0x09, 0x01,       // Usage (1)
    0xA1, 0x01,       // Collection (application)
    0x09, 0x02,       //   Usage (2)
    0x15, 0x00,       //   Logical Minimum (0)
    0x26, 0xFF, 0x00, //   Logical Maximum (255)
    0x75, 0x08,       //   Report Size (8 bits)
    0x95, 0x40,       //   Report Count (64)
    0x81, 0x02,       //   Input
    0x09, 0x03,       //   Usage (3)
    0x15, 0x00,       //   Logical Minimum (0)
    0x26, 0xFF, 0x00, //   Logical Maximum (255)
    0x75, 0x08,       //   Report Size (8 bits)
    0x95, 0x40,       //   Report Count (64)
    0x91, 0x02,       //   Output
    0xC0,             // End Collection
};

const Bytes kHidDescriptor = {
    0x09, 0x21, // length, HID
    0x11, 0x01, // HID 1.11
    0x00,       // no country
    0x01,       // one further descriptor:
    0x22, static_cast<uint8_t>(kReportDescriptor.size()),
    0x00 // report descriptor, its length
};

Bytes DeviceDescriptor(const UsbIdentity &identity)
{
    const auto index = [](const std::string &text, uint8_t number)
    { return static_cast<uint8_t>(text.empty() ? 0 : number); };
    return {
        0x12,
        0x01, // length, device
        0x10,
        0x01, // USB 1.1: full speed
        0x00,
        0x00,
        0x00, // class: see the interface
        0x40, // packets of endpoint 0
        Low(identity.vendorId),
        High(identity.vendorId),
        Low(identity.productId),
        High(identity.productId),
        Low(identity.release),
        High(identity.release),
        index(identity.manufacturer, 1),
        index(identity.product, 2),
        index(identity.serialNumber, 3),
        0x01, // configurations
    };
}

Bytes ConfigurationDescriptor(const UsbIdentity &identity)
{
    const uint8_t endpoints = identity.outEndpoint ? 2 : 1;
    Bytes bytes = {
        0x09,      0x02,       // length, configuration
        0x00,      0x00,       // total length: below
        0x01,                  // interfaces
        0x01,                  // this configuration's number
        0x00,                  // no name
        0x80,                  // powered by the bus
        0x32,                  // 100 mA
        0x09,      0x04,       // length, interface
        0x00,      0x00,       // number, setting
        endpoints,             //
        0x03,      0x00, 0x00, // HID, no boot protocol
        0x00,                  // no name
    };
    bytes.insert(bytes.end(), kHidDescriptor.begin(), kHidDescriptor.end());
    const auto appendEndpoint = [&bytes](uint8_t address) {
        bytes.insert(bytes.end(), {0x07, 0x05, address, 0x03, 0x40, 0x00, 0x01});
    };
    appendEndpoint(0x80 | kInEndpoint); // interrupt, 64 bytes, every millisecond
    if (identity.outEndpoint)
        appendEndpoint(kOutEndpoint);
    bytes[2] = static_cast<uint8_t>(bytes.size());
    return bytes;
}

// UTF-8 as UTF-16 units; nothing when it is no UTF-8.
std::optional<std::u16string> Utf16(const std::string &text)
{
    try
    {
        return std::wstring_convert<std::codecvt_utf8_utf16<char16_t>, char16_t>().from_bytes(text);
    }
    catch (const std::range_error &)
    {
        return std::nullopt;
    }
}

std::optional<Bytes> StringDescriptor(const UsbIdentity &identity, uint8_t index, uint16_t language)
{
    if (index == 0)
        return Bytes{0x04, 0x03, Low(kEnglish), High(kEnglish)};
    const std::string *texts[] = {&identity.manufacturer, &identity.product,
                                  &identity.serialNumber};
    if (index > 3 || texts[index - 1]->empty() || language != kEnglish)
        return std::nullopt;
    const std::u16string units = Utf16(*texts[index - 1]).value_or(u"?");
    Bytes bytes = {static_cast<uint8_t>(2 + 2 * units.size()), 0x03};
    for (const char16_t unit : units)
        bytes.insert(bytes.end(), {Low(unit), High(unit)});
    return bytes;
}

using Answer = std::optional<ControlAnswer>; // nothing: the request is stalled

Answer Done()
{
    return ControlAnswer{};
}

Answer Data(std::optional<Bytes> bytes)
{
    if (!bytes)
        return std::nullopt;
    ControlAnswer answer;
    answer.data = std::move(*bytes);
    return answer;
}

Answer GetDescriptor(UsbDevice *device, const Setup &setup, const Bytes &)
{
    switch (High(setup.value))
    {
    case 0x01:
        return Data(DeviceDescriptor(device->identity));
    case 0x02:
        return Low(setup.value) == 0 ? Data(ConfigurationDescriptor(device->identity))
                                     : std::nullopt;
    case 0x03:
        return Data(StringDescriptor(device->identity, Low(setup.value), setup.index));
    default: // 06, the device at its other speed: there is none
        return std::nullopt;
    }
}

Answer GetInterfaceDescriptor(UsbDevice *, const Setup &setup, const Bytes &)
{
    if (setup.index != 0)
        return std::nullopt;
    if (setup.value == 0x2100)
        return Data(kHidDescriptor);
    return setup.value == 0x2200 ? Data(kReportDescriptor) : std::nullopt;
}

Answer SetConfiguration(UsbDevice *device, const Setup &setup, const Bytes &)
{
    if (setup.value > 1)
        return std::nullopt;
    device->configuration = Low(setup.value);
    device->inHalted = device->outHalted = false;
    return Done();
}

Answer GetConfiguration(UsbDevice *device, const Setup &, const Bytes &)
{
    return Data(Bytes{device->configuration});
}

Answer SetInterface(UsbDevice *device, const Setup &setup, const Bytes &)
{
    if (setup.value != 0 || setup.index != 0)
        return std::nullopt;
    device->inHalted = device->outHalted = false;
    return Done();
}

Answer GetInterface(UsbDevice *, const Setup &setup, const Bytes &)
{
    return setup.index == 0 ? Data(Bytes{0}) : std::nullopt;
}

Answer GetStatus(UsbDevice *, const Setup &, const Bytes &)
{
    return Data(Bytes{0, 0}); // powered by the bus, no remote wake-up
}

bool *HaltOf(UsbDevice *device, uint16_t endpoint)
{
    if (endpoint == (0x80 | kInEndpoint))
        return &device->inHalted;
    return endpoint == kOutEndpoint && device->identity.outEndpoint ? &device->outHalted : nullptr;
}

Answer GetEndpointStatus(UsbDevice *device, const Setup &setup, const Bytes &)
{
    const bool *halt = HaltOf(device, setup.index);
    if (halt == nullptr && setup.index != 0)
        return std::nullopt;
    return Data(Bytes{static_cast<uint8_t>(halt != nullptr && *halt ? 1 : 0), 0});
}

Answer ChangeHalt(UsbDevice *device, const Setup &setup, bool halted)
{
    bool *halt = HaltOf(device, setup.index);
    if (setup.value != 0 || halt == nullptr) // feature 0: ENDPOINT_HALT
        return std::nullopt;
    *halt = halted;
    return Done();
}

Answer ClearEndpointFeature(UsbDevice *device, const Setup &setup, const Bytes &)
{
    return ChangeHalt(device, setup, false);
}

Answer SetEndpointFeature(UsbDevice *device, const Setup &setup, const Bytes &)
{
    return ChangeHalt(device, setup, true);
}

Answer SetIdle(UsbDevice *, const Setup &, const Bytes &)
{
    return Done(); // it sends a report when it has one, and never the same again
}

constexpr uint16_t kOutputReport = 0x0200; // report number 0
constexpr uint16_t kFeatureReport = 0x0300;

Answer SetReport(UsbDevice *device, const Setup &setup, const Bytes &data)
{
    if (setup.index != 0)
        return std::nullopt;
    ControlAnswer answer;
    if (setup.value == kOutputReport)
        answer.report = data;
    else if (setup.value == kFeatureReport && data.size() <= kReportSize)
    {
        device->feature = data;
        device->feature.resize(kReportSize);
    }
    else
        return std::nullopt;
    return answer;
}

Answer GetReport(UsbDevice *device, const Setup &setup, const Bytes &)
{
    if (setup.index != 0 || setup.value != kFeatureReport)
        return std::nullopt;
    return Data(device->feature);
}

struct ControlRequest
{
    uint8_t type;
    uint8_t request;
    Answer (*answer)(UsbDevice *device, const Setup &setup, const Bytes &data);
};

constexpr ControlRequest kControlRequests[] = {
    {0x80, 0x06, GetDescriptor},      {0x81, 0x06, GetInterfaceDescriptor},
    {0x00, 0x09, SetConfiguration},   {0x80, 0x08, GetConfiguration},
    {0x01, 0x0B, SetInterface},       {0x81, 0x0A, GetInterface},
    {0x80, 0x00, GetStatus},          {0x81, 0x00, GetStatus},
    {0x82, 0x00, GetEndpointStatus},  {0x02, 0x01, ClearEndpointFeature},
    {0x02, 0x03, SetEndpointFeature}, {0x21, 0x0A, SetIdle}, // HID 1.11, 7.2
    {0x21, 0x09, SetReport},          {0xA1, 0x01, GetReport},
};

} // namespace

bool IdentityIsPossible(const UsbIdentity &identity, std::string *problem)
{
    const std::pair<const char *, const std::string *> texts[] = {
        {"manufacturer", &identity.manufacturer},
        {"product", &identity.product},
        {"serial number", &identity.serialNumber}};
    for (const auto &[name, text] : texts)
    {
        const std::optional<std::u16string> units = Utf16(*text);
        if (units && units->size() <= kMostUnits)
            continue;
        *problem = std::string("the USB ") + name + " must be UTF-8 of at most 126 UTF-16 units";
        return false;
    }
    return true;
}

ControlAnswer AnswerControl(UsbDevice *device, const uint8_t *setup, const Bytes &data)
{
    const Setup fields = {setup[0], setup[1], Word(setup + 2), Word(setup + 4), Word(setup + 6)};
    for (const ControlRequest &row : kControlRequests)
        if (row.type == fields.type && row.request == fields.request)
        {
            Answer answer = row.answer(device, fields, data);
            if (answer)
                return std::move(*answer);
            break;
        }
    ControlAnswer refused;
    refused.stalled = true;
    return refused;
}

} // namespace vreader
