// The messages of USB/IP: what travels between the kernel's virtual host controller and a device
// that lives elsewhere. All integers are big-endian.
#pragma once

#include "vreader/lines/usb_device.h"

namespace vreader
{

// ---- Before a device is taken over: TCP only ----

constexpr size_t kOperationSize = 8; // version 0111, code, status
constexpr size_t kBusIdSize = 32;
constexpr size_t kImportSize = kOperationSize + kBusIdSize;
constexpr char kBusId[] = "1-1"; // the one device there is

enum class UsbOperation : uint16_t
{
    listRequest = 0x8005,
    listReply = 0x0005,
    importRequest = 0x8003,
    importReply = 0x0003,
};

enum class ImportStatus : uint32_t
{
    ok = 0,
    notAvailable = 1,
    busy = 2,
    noSuchDevice = 4,
};

// The code of a request, or nothing for another version of the protocol.
std::optional<uint16_t> OperationCode(const uint8_t *header);
Bytes DeviceList(const UsbDevice *device); // null: nothing is plugged in
// The device follows when the status is ok.
Bytes ImportReply(ImportStatus status, const UsbDevice &device);

// ---- From then on ----

constexpr size_t kHeaderSize = 48;
constexpr uint32_t kLargestTransfer = 65536; // a host that asks for more is not believed

enum class UsbCommand : uint32_t
{
    submit = 1,
    unlink = 2,
};

// A request of the host, checked: everything in it may be used as it stands.
struct UsbRequest
{
    UsbCommand command = UsbCommand::submit;
    uint32_t sequence = 0;
    bool in = false;
    uint32_t endpoint = 0;
    uint32_t length = 0; // of the transfer
    uint8_t setup[8] = {};
    uint32_t unlinked = 0; // the sequence number of the request to take back
};

// False and a problem for what no kernel sends.
bool ParseRequest(const uint8_t *header, UsbRequest *request, std::string *problem);

// Negative Linux error numbers, as the protocol carries them.
constexpr int kStalled = -32;
constexpr int kBabble = -75; // more data than there was room for
constexpr int kBusError = -71;
constexpr int kUnlinked = -104;

// `moved` bytes went; data only follows in a reply to an IN request.
Bytes SubmitReply(uint32_t sequence, int status, uint32_t moved, const Bytes &data = {});
Bytes UnlinkReply(uint32_t sequence, int status);

} // namespace vreader
