#include "vreader/lines/usbip_wire.h"

#include <algorithm>
#include <cstring>

namespace vreader
{

namespace
{

constexpr uint16_t kVersion = 0x0111;
constexpr uint32_t kFullSpeed = 2;
constexpr uint32_t kMostEndpoints = 16;
constexpr uint32_t kReplyToSubmit = 3;
constexpr uint32_t kReplyToUnlink = 4;
constexpr uint32_t kNoPackets = 0xFFFFFFFF; // not isochronous; older kernels say 0

uint32_t Read32(const uint8_t *bytes)
{
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

uint16_t Read16(const uint8_t *bytes)
{
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}

void Append16(Bytes *bytes, uint16_t value)
{
    bytes->insert(bytes->end(), {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)});
}

void Append32(Bytes *bytes, uint32_t value)
{
    Append16(bytes, static_cast<uint16_t>(value >> 16));
    Append16(bytes, static_cast<uint16_t>(value));
}

void AppendField(Bytes *bytes, const char *text, size_t size)
{
    const size_t length = std::strlen(text);
    bytes->insert(bytes->end(), text, text + length);
    bytes->insert(bytes->end(), size - length, 0);
}

void AppendOperation(Bytes *bytes, UsbOperation code, ImportStatus status)
{
    Append16(bytes, kVersion);
    Append16(bytes, static_cast<uint16_t>(code));
    Append32(bytes, static_cast<uint32_t>(status));
}

// 312 bytes.
void AppendDevice(Bytes *bytes, const UsbDevice &device)
{
    AppendField(bytes, "/sys/devices/virtual/vantor-reader/1-1", 256);
    AppendField(bytes, kBusId, kBusIdSize);
    Append32(bytes, 1); // bus
    Append32(bytes, 2); // address
    Append32(bytes, kFullSpeed);
    Append16(bytes, device.identity.vendorId);
    Append16(bytes, device.identity.productId);
    Append16(bytes, device.identity.release);
    bytes->insert(bytes->end(), {0, 0, 0,                 // class: see the interface
                                 device.configuration, 1, // configurations
                                 1});                     // interfaces
}

// The first 20 bytes; a reply leaves device, direction and endpoint 0.
void AppendReplyHead(Bytes *bytes, uint32_t kind, uint32_t sequence)
{
    Append32(bytes, kind);
    Append32(bytes, sequence);
    bytes->insert(bytes->end(), 12, 0);
}

} // namespace

std::optional<uint16_t> OperationCode(const uint8_t *header)
{
    return Read16(header) == kVersion ? std::optional<uint16_t>(Read16(header + 2)) : std::nullopt;
}

Bytes DeviceList(const UsbDevice *device)
{
    Bytes bytes;
    AppendOperation(&bytes, UsbOperation::listReply, ImportStatus::ok);
    Append32(&bytes, device != nullptr ? 1 : 0);
    if (device == nullptr)
        return bytes;
    AppendDevice(&bytes, *device);
    bytes.insert(bytes.end(), {0x03, 0x00, 0x00, 0x00}); // its interface: HID
    return bytes;
}

Bytes ImportReply(ImportStatus status, const UsbDevice &device)
{
    Bytes bytes;
    AppendOperation(&bytes, UsbOperation::importReply, status);
    if (status == ImportStatus::ok)
        AppendDevice(&bytes, device);
    return bytes;
}

bool ParseRequest(const uint8_t *header, UsbRequest *request, std::string *problem)
{
    const uint32_t command = Read32(header);
    request->sequence = Read32(header + 4);
    if (command == static_cast<uint32_t>(UsbCommand::unlink))
    {
        request->command = UsbCommand::unlink;
        request->unlinked = Read32(header + 20);
        return true;
    }
    const uint32_t direction = Read32(header + 12);
    const uint32_t packets = Read32(header + 32);
    request->command = UsbCommand::submit;
    request->in = direction == 1;
    request->endpoint = Read32(header + 16);
    request->length = Read32(header + 24);
    std::memcpy(request->setup, header + 40, sizeof request->setup);
    if (command != static_cast<uint32_t>(UsbCommand::submit))
        *problem = "command " + std::to_string(command);
    else if (direction > 1)
        *problem = "direction " + std::to_string(direction);
    else if (request->endpoint >= kMostEndpoints)
        *problem = "endpoint " + std::to_string(request->endpoint);
    else if (request->length > kLargestTransfer)
        *problem = "a transfer of " + std::to_string(request->length) + " bytes";
    else if (packets != 0 && packets != kNoPackets)
        *problem = "an isochronous transfer";
    else
        return true;
    return false;
}

Bytes SubmitReply(uint32_t sequence, int status, uint32_t moved, const Bytes &data)
{
    Bytes bytes;
    bytes.reserve(kHeaderSize + data.size());
    AppendReplyHead(&bytes, kReplyToSubmit, sequence);
    Append32(&bytes, static_cast<uint32_t>(status));
    Append32(&bytes, moved);
    bytes.resize(kHeaderSize); // start frame, packets, errors, padding: 0
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Bytes UnlinkReply(uint32_t sequence, int status)
{
    Bytes bytes;
    AppendReplyHead(&bytes, kReplyToUnlink, sequence);
    Append32(&bytes, static_cast<uint32_t>(status));
    bytes.resize(kHeaderSize);
    return bytes;
}

} // namespace vreader
