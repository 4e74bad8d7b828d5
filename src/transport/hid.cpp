// USB HID channel: the calls of include/vantor/hid.h. The read thread is in hid_reader.cpp, the
// list of open devices in hid_registry.cpp, finding devices in hid_enumeration.cpp.
#include "vantor/hid.h"

#include "transport/hid_device.h"

#include <cstring>
#include <cwchar>

using namespace hid_channel;

constexpr size_t kLargestReport = 65535; // what the length field of a control request can say

// HID 1.11, 7.2: class requests to the interface.
constexpr uint8_t kClassRequestOut = 0x21;
constexpr uint8_t kClassRequestIn = 0xA1;
constexpr uint8_t kGetReport = 0x01;
constexpr uint8_t kSetReport = 0x09;
constexpr uint16_t kOutputReport = 2 << 8; // upper byte of wValue; the report number is the lower
constexpr uint16_t kFeatureReport = 3 << 8;

// The reader's own report framing.
constexpr int kReportLength = 65; // report number included
constexpr int kReportHeader = 3;  // report number, mode id, payload length
constexpr int kInputHeader = 2;
constexpr int kPayloadCapacity = kReportLength - kReportHeader;

// ---- Start and stop ----

int hid_init(void)
{
    libusb_context *usb = nullptr;
    if (libusb_init(&usb) != LIBUSB_SUCCESS)
        return -1;
    libusb_exit(usb);
    return 0;
}

int hid_exit(void)
{
    LockOpening();
    RetireAllDevices();
    UnlockOpening();
    return 0;
}

// ---- Open and close ----

static bool ClaimInterface(hid_device *device)
{
    const int number = device->interface.number;
    if (libusb_kernel_driver_active(device->handle, number) == 1)
    {
        if (libusb_detach_kernel_driver(device->handle, number) != LIBUSB_SUCCESS)
            return false;
        device->detached = true;
    }
    device->claimed = libusb_claim_interface(device->handle, number) == LIBUSB_SUCCESS;
    return device->claimed;
}

static bool OpenInterface(hid_device *device, const char *path)
{
    if (libusb_init(&device->usb) != LIBUSB_SUCCESS)
    {
        device->usb = nullptr;
        return false;
    }
    libusb_device *found = FindInterface(device->usb, path, &device->interface);
    if (found == nullptr)
        return false;
    const bool opened = libusb_open(found, &device->handle) == LIBUSB_SUCCESS;
    libusb_unref_device(found); // an open handle keeps its own reference
    if (!opened)
    {
        device->handle = nullptr;
        return false;
    }
    if (device->interface.inEndpoint == 0)
        return false;
    // A handle of ours that was forgotten (the device context zeroed without a close) would keep
    // the interface from the new one. It may also be a host's that is still in use: it is retired
    // and not freed, so that its owner's later calls stay harmless.
    RetireHolder(path);
    return ClaimInterface(device);
}

hid_device *hid_open_path(const char *path)
{
    if (path == nullptr)
        return nullptr;
    LockOpening();
    RetireLostDevices();
    hid_device *device = NewDevice();
    if (device != nullptr)
    {
        if (OpenInterface(device, path) && StartReading(device))
            AddOpenDevice(device);
        else
        {
            FreeDevice(device);
            device = nullptr;
        }
    }
    FreeForgotten();
    UnlockOpening();
    return device;
}

static bool SerialMatches(const hid_device_info *info, const wchar_t *serialNumber)
{
    return serialNumber == nullptr ||
           (info->serial_number != nullptr && wcscmp(info->serial_number, serialNumber) == 0);
}

hid_device *hid_open(unsigned short vendor_id, unsigned short product_id,
                     const wchar_t *serial_number)
{
    // Reading the texts costs the reader a dozen requests: only for who asks for one of them.
    hid_device_info *devices = Enumerate(vendor_id, product_id, serial_number != nullptr);
    const hid_device_info *info = devices;
    while (info != nullptr && !SerialMatches(info, serial_number))
        info = info->next;
    hid_device *device = info != nullptr ? hid_open_path(info->path) : nullptr;
    hid_free_enumeration(devices);
    return device;
}

void hid_close(hid_device *device)
{
    if (device == nullptr)
        return;
    LockOpening();
    CloseDevice(device);
    UnlockOpening();
}

// ---- Input reports ----

int hid_read_timeout(hid_device *device, unsigned char *data, size_t length, int milliseconds)
{
    if (data == nullptr || !EnterCall(device))
        return -1;
    const int result = TakeReport(device, data, length, milliseconds);
    LeaveCall(device);
    return result;
}

int hid_read(hid_device *device, unsigned char *data, size_t length)
{
    if (data == nullptr || !EnterCall(device))
        return -1;
    pthread_mutex_lock(&device->mutex);
    const int milliseconds = device->nonblocking ? 0 : -1;
    pthread_mutex_unlock(&device->mutex);
    const int result = TakeReport(device, data, length, milliseconds);
    LeaveCall(device);
    return result;
}

int hid_set_nonblocking(hid_device *device, int nonblock)
{
    if (!EnterCall(device))
        return -1;
    pthread_mutex_lock(&device->mutex);
    device->nonblocking = nonblock != 0;
    pthread_mutex_unlock(&device->mutex);
    LeaveCall(device);
    return 0;
}

// ---- Output and feature reports: bytes moved, or a libusb error ----

static int SendInterrupt(hid_device *device, unsigned char *report, int length)
{
    int sent = 0;
    const int result = libusb_interrupt_transfer(device->handle, device->interface.outEndpoint,
                                                 report, length, &sent, kTransferTimeoutMs);
    if (result == LIBUSB_ERROR_PIPE) // halted: without this every later report fails as well
        libusb_clear_halt(device->handle, device->interface.outEndpoint);
    return result == LIBUSB_SUCCESS ? sent : result;
}

static int RequestReport(hid_device *device, uint8_t requestType, uint8_t request, uint16_t value,
                         unsigned char *report, size_t length)
{
    return libusb_control_transfer(device->handle, requestType, request, value,
                                   device->interface.number, report, static_cast<uint16_t>(length),
                                   kTransferTimeoutMs);
}

static int SendReport(hid_device *device, uint16_t kind, const unsigned char *data, size_t length)
{
    const uint8_t number = data[0];
    const size_t skipped = number == 0 ? 1 : 0; // not on the wire, but counted in the result
    if (length <= skipped || length - skipped > kLargestReport)
        return LIBUSB_ERROR_INVALID_PARAM;
    unsigned char *report = const_cast<unsigned char *>(data) + skipped; // libusb only reads it
    const size_t count = length - skipped;
    const int sent = kind == kOutputReport && device->interface.outEndpoint != 0
                         ? SendInterrupt(device, report, static_cast<int>(count))
                         : RequestReport(device, kClassRequestOut, kSetReport,
                                         static_cast<uint16_t>(kind | number), report, count);
    return sent < 0 ? sent : sent + static_cast<int>(skipped);
}

static int Finish(hid_device *device, int result)
{
    if (result < 0)
        RecordError(device, result);
    LeaveTransfer(device);
    return result < 0 ? -1 : result;
}

int hid_write(hid_device *device, const unsigned char *data, size_t length)
{
    if (data == nullptr || length == 0 || !EnterTransfer(device))
        return -1;
    return Finish(device, SendReport(device, kOutputReport, data, length));
}

int hid_send_feature_report(hid_device *device, const unsigned char *data, size_t length)
{
    if (data == nullptr || length == 0 || !EnterTransfer(device))
        return -1;
    return Finish(device, SendReport(device, kFeatureReport, data, length));
}

static int FetchFeatureReport(hid_device *device, unsigned char *data, size_t length)
{
    const uint8_t number = data[0];
    const size_t skipped = number == 0 ? 1 : 0; // the device does not send a number 0 either
    if (length < 2 || length - skipped > kLargestReport)
        return LIBUSB_ERROR_INVALID_PARAM;
    const int count = RequestReport(device, kClassRequestIn, kGetReport,
                                    static_cast<uint16_t>(kFeatureReport | number), data + skipped,
                                    length - skipped);
    return count < 0 ? count : count + static_cast<int>(skipped);
}

int hid_get_feature_report(hid_device *device, unsigned char *data, size_t length)
{
    if (data == nullptr || length == 0 || !EnterTransfer(device))
        return -1;
    return Finish(device, FetchFeatureReport(device, data, length));
}

// ---- Texts ----

int hid_get_indexed_string(hid_device *device, int string_index, wchar_t *string, size_t maxlen)
{
    if (string == nullptr || maxlen == 0)
        return -1;
    string[0] = L'\0';
    if (!EnterTransfer(device))
        return -1;
    wchar_t text[kStringCapacity];
    const bool found = string_index >= 1 && string_index <= 255 &&
                       ReadString(device->handle, static_cast<uint8_t>(string_index), text);
    if (found)
    {
        const size_t length = wcslen(text);
        const size_t count = length < maxlen ? length : maxlen - 1;
        wmemcpy(string, text, count);
        string[count] = L'\0';
    }
    return Finish(device, found ? 0 : LIBUSB_ERROR_NOT_FOUND);
}

// Which string it is stands in the record, which only an open handle has.
static int GetNamedString(hid_device *device, uint8_t InterfaceFacts::*index, wchar_t *string,
                          size_t maxlen)
{
    int stringIndex = 0;
    if (EnterCall(device))
    {
        stringIndex = device->interface.*index;
        LeaveCall(device);
    }
    return hid_get_indexed_string(device, stringIndex, string, maxlen);
}

int hid_get_manufacturer_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return GetNamedString(device, &InterfaceFacts::manufacturerIndex, string, maxlen);
}

int hid_get_product_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return GetNamedString(device, &InterfaceFacts::productIndex, string, maxlen);
}

int hid_get_serial_number_string(hid_device *device, wchar_t *string, size_t maxlen)
{
    return GetNamedString(device, &InterfaceFacts::serialIndex, string, maxlen);
}

const wchar_t *hid_error(hid_device *device)
{
    if (!EnterCall(device))
        return nullptr;
    const wchar_t *text = device->lastError.load();
    LeaveCall(device);
    return text;
}

// ---- The reader's report framing ----

int hid_get_input_report_length(hid_device *device)
{
    return device != nullptr ? kReportLength : 0;
}

int hid_get_output_report_length(hid_device *device)
{
    return device != nullptr ? kReportLength : 0;
}

int hid_write_modeid(hid_device *device, const unsigned char *data, int length,
                     unsigned char mode_id)
{
    if (hid_get_output_report_length(device) < kReportHeader || length < 0 ||
        (data == nullptr && length > 0))
        return -1;
    const int count = length < kPayloadCapacity ? length : kPayloadCapacity;
    unsigned char report[kReportLength] = {
        0x00,                              // report number: this reader does not number its reports
        mode_id,                           // module that the payload is for
        static_cast<unsigned char>(count), // payload length; zero bytes follow the payload
    };
    if (count > 0)
        memcpy(report + kReportHeader, data, static_cast<size_t>(count));
    // Deliberately not judged: a reader that does not take reports shows when its answer is read.
    (void)hid_write(device, report, sizeof report);
    explicit_bzero(report, sizeof report); // it may have held a key
    return count;
}

int hid_read_modeid(hid_device *device, unsigned char *buffer, int capacity, int milliseconds)
{
    if (hid_get_input_report_length(device) < kReportHeader || buffer == nullptr || capacity < 0)
        return -1;
    unsigned char report[kReportLength] = {};
    const int received = hid_read_timeout(device, report, sizeof report, milliseconds);
    if (received <= 0)
        return received;
    if (received < kInputHeader + 1)
        return -1;
    // The header's length byte is not looked at: padding is payload, and the caller cuts it.
    const int payload = received - kInputHeader;
    const int count = payload < capacity ? payload : capacity;
    memcpy(buffer, report + kInputHeader, static_cast<size_t>(count));
    return count;
}
