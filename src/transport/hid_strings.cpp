// String descriptors (UTF-16, little-endian) and the texts of failures.
#include "transport/hid_device.h"

#include <cwchar>

namespace hid_channel
{

constexpr uint16_t kEnglish = 0x0409;
constexpr wchar_t kReplacementCharacter = 0xFFFD;

// Reads one string descriptor as it is; returns its length as the device states it, cut to what
// came, or a libusb error.
static int ReadDescriptor(libusb_device_handle *handle, uint8_t index, uint16_t language,
                          unsigned char *bytes, uint16_t capacity)
{
    const int count =
        libusb_control_transfer(handle, LIBUSB_ENDPOINT_IN, LIBUSB_REQUEST_GET_DESCRIPTOR,
                                static_cast<uint16_t>(LIBUSB_DT_STRING << 8 | index), language,
                                bytes, capacity, kTransferTimeoutMs);
    if (count < 0)
        return count;
    if (count < 2 || bytes[0] < 2 || bytes[1] != LIBUSB_DT_STRING)
        return LIBUSB_ERROR_IO;
    return bytes[0] < count ? bytes[0] : count;
}

// String 0 lists the languages; the first one is taken.
static uint16_t FirstLanguage(libusb_device_handle *handle)
{
    unsigned char bytes[255];
    if (ReadDescriptor(handle, 0, 0, bytes, sizeof bytes) < 4)
        return kEnglish;
    return static_cast<uint16_t>(bytes[2] | bytes[3] << 8);
}

// Units of 2 bytes become characters: a pair of surrogates is one, half a pair the replacement.
static void DecodeUtf16(const unsigned char *bytes, int count, wchar_t *text)
{
    wchar_t *end = text;
    for (int i = 0; i + 1 < count; i += 2)
    {
        uint32_t unit = static_cast<uint32_t>(bytes[i] | bytes[i + 1] << 8);
        if (unit >= 0xD800 && unit <= 0xDBFF && i + 3 < count && (bytes[i + 3] & 0xFC) == 0xDC)
        {
            const uint32_t low = static_cast<uint32_t>(bytes[i + 2] | bytes[i + 3] << 8);
            unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
            i += 2;
        }
        else if (unit >= 0xD800 && unit <= 0xDFFF)
            unit = kReplacementCharacter;
        *end++ = static_cast<wchar_t>(unit);
    }
    *end = L'\0';
}

bool ReadString(libusb_device_handle *handle, uint8_t index, wchar_t *text)
{
    text[0] = L'\0';
    if (index == 0) // the descriptors' way of saying that there is none
        return false;
    unsigned char bytes[255];
    const int count = ReadDescriptor(handle, index, FirstLanguage(handle), bytes, sizeof bytes);
    if (count < 0)
        return false;
    DecodeUtf16(bytes + 2, count - 2, text);
    return true;
}

struct ErrorEntry
{
    int code;
    const wchar_t *text;
};

static const ErrorEntry kErrorTexts[] = {
    {LIBUSB_ERROR_IO, L"the transfer failed on the bus"},
    {LIBUSB_ERROR_INVALID_PARAM, L"the report is empty or too long"},
    {LIBUSB_ERROR_ACCESS, L"no permission to use the device"},
    {LIBUSB_ERROR_NO_DEVICE, L"the device is gone"},
    {LIBUSB_ERROR_NOT_FOUND, L"the device has no such text"},
    {LIBUSB_ERROR_BUSY, L"the interface is in use"},
    {LIBUSB_ERROR_TIMEOUT, L"the device did not take the report in time"},
    {LIBUSB_ERROR_OVERFLOW, L"the device sent more than was asked for"},
    {LIBUSB_ERROR_PIPE, L"the device refused the request"},
    {LIBUSB_ERROR_NO_MEM, L"out of memory"},
};

const wchar_t *ErrorText(int libusbError)
{
    for (const ErrorEntry &entry : kErrorTexts)
        if (entry.code == libusbError)
            return entry.text;
    return L"the USB system reported an unknown failure";
}

void RecordError(hid_device *device, int libusbError)
{
    device->lastError.store(ErrorText(libusbError));
}

} // namespace hid_channel
