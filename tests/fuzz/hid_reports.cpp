// The HID channel over a hostile device: its descriptors and texts, its reports of any length and
// with any end, feature reports; on the stand-in for libusb.
#include <cwchar>

#include "fuzz/support/room.h"
#include "standins/usb/usb_standin.h"
#include "vantor/hid.h"

namespace
{

using fuzz::Bytes;
using fuzz::Input;
using fuzz::Room;

constexpr size_t kMostSteps = 60;
constexpr int kQueue = 30;

// ---- The device ----

void Append(Bytes *bytes, std::initializer_list<int> more)
{
    for (int byte : more)
        bytes->push_back(static_cast<uint8_t>(byte));
}

// As libusb hands it out: counts and lengths agree, every value is the device's.
Bytes Configuration(Input *input)
{
    Bytes body;
    const int interfaces = input->Byte() % 3;
    for (int number = 0; number < interfaces; number++)
    {
        const int endpoints = input->Byte() % 4;
        Append(&body, {9, 4, number, 0, endpoints, input->Flag() ? 3 : input->Byte(), 0, 0, 0});
        for (int i = 0; i < endpoints; i++)
        {
            const int address = input->Byte();
            const int attributes = input->Flag() ? 3 : input->Byte();
            const uint16_t size = input->Word();
            Append(&body, {7, 5, address, attributes, size & 0xFF, size >> 8, 1});
        }
    }
    Bytes whole;
    const size_t length = 9 + body.size();
    Append(&whole, {9, 2, static_cast<int>(length & 0xFF), static_cast<int>(length >> 8),
                    interfaces, 1, 0, 0x80, 50});
    whole.insert(whole.end(), body.begin(), body.end());
    return whole;
}

usb_standin::DeviceModel Model(Input *input)
{
    usb_standin::DeviceModel model = usb_standin::ReaderModel();
    const uint8_t changes = input->Byte();
    if ((changes & 1) != 0)
        model.configurationDescriptor = Configuration(input);
    if ((changes & 2) != 0)
        for (size_t at = 8; at < 17; at++)
            model.deviceDescriptor[at] = input->Byte();
    if ((changes & 4) != 0)
        for (int index = 0; index < 4; index++)
            model.strings[index] = input->Block();
    if ((changes & 8) != 0)
        model.kernelDrivers.clear();
    model.features[1] = {1, 0x11, 0x22};
    if ((changes & 16) != 0)
        model.features[input->Byte()] = input->LongBlock();
    model.configured = (changes & 32) == 0;
    return model;
}

// ---- What is called ----

void CheckText(const wchar_t *text)
{
    if (text != nullptr)
        FUZZ_CHECK(wcslen(text) < 128);
}

void List()
{
    hid_device_info *devices = hid_enumerate(0, 0);
    for (const hid_device_info *info = devices; info != nullptr; info = info->next)
    {
        FUZZ_CHECK(info->path != nullptr && std::strlen(info->path) == 12);
        CheckText(info->serial_number);
        CheckText(info->manufacturer_string);
        CheckText(info->product_string);
    }
    hid_free_enumeration(devices);
}

void TakeTexts(hid_device *device, int index, size_t capacity)
{
    for (const auto get :
         {hid_get_manufacturer_string, hid_get_product_string, hid_get_serial_number_string})
    {
        const std::unique_ptr<wchar_t[]> text(new wchar_t[capacity]);
        if (get(device, text.get(), capacity) == 0)
            FUZZ_CHECK(wmemchr(text.get(), L'\0', capacity) != nullptr);
    }
    const std::unique_ptr<wchar_t[]> text(new wchar_t[capacity]);
    hid_get_indexed_string(device, index, text.get(), capacity);
    hid_error(device);
}

// The read thread has taken everything that was sent when it asks for the next report.
struct Conversation
{
    int number;
    hid_device *device;
    size_t submissions = 1;
    int failures = 0; // in a row: the fourth costs a pause in real time
    int queued = 0;

    void Report(const Bytes &report)
    {
        usb_standin::SendReport(number, report);
        failures = report.empty() ? failures + 1 : 0;
        queued = std::min(kQueue, queued + (report.empty() ? 0 : 1));
        Settle();
    }
    void End(libusb_transfer_status status, const Bytes &data)
    {
        usb_standin::SendOutcome(number, status, data);
        const bool brings = status == LIBUSB_TRANSFER_TIMED_OUT;
        failures = brings ? 0 : failures + 1;
        queued = std::min(kQueue, queued + (brings && !data.empty() ? 1 : 0));
        Settle();
    }
    void Settle()
    {
        FUZZ_CHECK(usb_standin::WaitForSubmissions(number, ++submissions));
    }
    void Read(size_t capacity, bool framed)
    {
        Room data(capacity);
        const int got = framed ? hid_read_modeid(device, data.Data(), data.Size(), 0)
                               : hid_read_timeout(device, data.Data(), data.size, 0);
        FUZZ_CHECK(got >= -1 && got <= data.Size());
        FUZZ_CHECK(queued == 0 ? got == 0 : got != 0 || capacity == 0);
        FUZZ_CHECK(got < 0 || data.IsUntouchedFrom(static_cast<size_t>(got)));
        queued = std::max(0, queued - 1);
    }
};

void Converse(Conversation *talk, Input *input, size_t packetSize)
{
    for (size_t step = 0; step < kMostSteps && input->left > 0; step++)
    {
        const uint8_t what = input->Byte();
        const Bytes bytes = input->Block();
        Room room(bytes);
        switch (what % 8)
        {
        case 0:
        case 1:
            // A report that is longer than the packet ends as an overflow, which is a failure.
            if (bytes.size() <= packetSize && (!bytes.empty() || talk->failures < 3))
                talk->Report(bytes);
            break;
        case 2:
            talk->Read(what, true);
            break;
        case 3:
            talk->Read(what, false);
            break;
        case 4:
            if (bytes.size() <= packetSize && talk->failures < 3)
                talk->End((what & 8) != 0 ? LIBUSB_TRANSFER_STALL : LIBUSB_TRANSFER_TIMED_OUT,
                          (what & 8) != 0 ? Bytes() : bytes);
            break;
        case 5:
            FUZZ_CHECK(hid_write_modeid(talk->device, room.Data(), room.Size(), what) ==
                       std::min(room.Size(), 62));
            hid_write(talk->device, room.Data(), room.size);
            break;
        case 6:
            hid_send_feature_report(talk->device, room.Data(), room.size);
            hid_get_feature_report(talk->device, room.Data(), room.size);
            break;
        default:
            TakeTexts(talk->device, what, 1 + bytes.size());
            break;
        }
    }
}

} // namespace

// The device, then steps: a byte that says what, a length byte and bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input{data, size};
    usb_standin::Reset();
    const int number = usb_standin::Plug(Model(&input), 1, 2);
    List();
    hid_device *device = hid_open_path("0001:0002:00");
    if (device != nullptr)
    {
        const auto submitted = usb_standin::InTransfers(number);
        FUZZ_CHECK(submitted.size() == 1 && submitted[0].length > 0);
        if (submitted[0].endpoint == 0x81)
        {
            Conversation talk = {number, device};
            Converse(&talk, &input, static_cast<size_t>(submitted[0].length));
        }
        hid_close(device);
    }
    FUZZ_CHECK(usb_standin::Misuse().empty());
    FUZZ_CHECK(usb_standin::Count() == usb_standin::kNothingHeld);
    return 0;
}
