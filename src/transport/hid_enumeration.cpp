// Finds the HID interfaces that are plugged in.
#include "transport/hid_device.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace hid_channel
{

constexpr uint16_t kMaxPacketSizeMask = 0x07FF; // the bits above tell packets per microframe

static void TakeEndpoints(const libusb_interface_descriptor *descriptor, InterfaceFacts *facts)
{
    for (int i = 0; i < descriptor->bNumEndpoints; ++i)
    {
        const libusb_endpoint_descriptor &endpoint = descriptor->endpoint[i];
        if ((endpoint.bmAttributes & LIBUSB_TRANSFER_TYPE_MASK) !=
            LIBUSB_ENDPOINT_TRANSFER_TYPE_INTERRUPT)
            continue;
        const bool in =
            (endpoint.bEndpointAddress & LIBUSB_ENDPOINT_DIR_MASK) == LIBUSB_ENDPOINT_IN;
        const uint16_t size = endpoint.wMaxPacketSize & kMaxPacketSizeMask;
        if (in && facts->inEndpoint == 0 && size > 0)
        {
            facts->inEndpoint = endpoint.bEndpointAddress;
            facts->inputReportSize = size;
        }
        else if (!in && facts->outEndpoint == 0)
            facts->outEndpoint = endpoint.bEndpointAddress;
    }
}

static InterfaceFacts Describe(libusb_device *device, const libusb_device_descriptor *descriptor,
                               const libusb_interface_descriptor *interface)
{
    InterfaceFacts facts{};
    snprintf(facts.path, sizeof facts.path, "%04x:%04x:%02x", libusb_get_bus_number(device),
             libusb_get_device_address(device), interface->bInterfaceNumber);
    facts.number = interface->bInterfaceNumber;
    facts.manufacturerIndex = descriptor->iManufacturer;
    facts.productIndex = descriptor->iProduct;
    facts.serialIndex = descriptor->iSerialNumber;
    TakeEndpoints(interface, &facts);
    return facts;
}

// Calls visit(descriptor, facts) for each HID interface of one device until it returns false.
template <typename Visit>
static bool VisitInterfaces(libusb_device *device, const Visit &visit)
{
    libusb_device_descriptor descriptor;
    libusb_config_descriptor *configuration = nullptr;
    if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS ||
        libusb_get_active_config_descriptor(device, &configuration) != LIBUSB_SUCCESS)
        return true; // gone in the meantime, or not configured
    bool more = true;
    for (int i = 0; more && i < configuration->bNumInterfaces; ++i)
    {
        // The first setting is the one that a device starts with; HID devices have no other.
        const libusb_interface &interface = configuration->interface[i];
        if (interface.num_altsetting > 0 &&
            interface.altsetting[0].bInterfaceClass == LIBUSB_CLASS_HID)
            more = visit(descriptor, Describe(device, &descriptor, &interface.altsetting[0]));
    }
    libusb_free_config_descriptor(configuration);
    return more;
}

template <typename Visit>
static void VisitAllInterfaces(libusb_context *usb, const Visit &visit)
{
    libusb_device **devices = nullptr;
    const ssize_t count = libusb_get_device_list(usb, &devices);
    if (count < 0)
        return;
    bool more = true;
    for (ssize_t i = 0; more && i < count; ++i)
        more = VisitInterfaces(
            devices[i], [&](const libusb_device_descriptor &descriptor, const InterfaceFacts &facts)
            { return visit(devices[i], descriptor, facts); });
    libusb_free_device_list(devices, 1);
}

// The text of a string descriptor on the heap in *text, null when there is none; false: no memory.
static bool CopyString(libusb_device_handle *handle, uint8_t index, wchar_t **text)
{
    wchar_t characters[kStringCapacity];
    if (!ReadString(handle, index, characters))
        return true;
    *text = wcsdup(characters);
    return *text != nullptr;
}

static bool TakeTexts(libusb_device *device, const InterfaceFacts &facts, hid_device_info *info)
{
    libusb_device_handle *handle = nullptr;
    if (libusb_open(device, &handle) != LIBUSB_SUCCESS)
        return true; // no permission: listed without texts
    const bool complete = CopyString(handle, facts.serialIndex, &info->serial_number) &&
                          CopyString(handle, facts.manufacturerIndex, &info->manufacturer_string) &&
                          CopyString(handle, facts.productIndex, &info->product_string);
    libusb_close(handle);
    return complete;
}

// Appends an entry at *link; false: no memory, the entry is then incomplete or absent.
static bool AppendEntry(libusb_device *device, const libusb_device_descriptor &descriptor,
                        const InterfaceFacts &facts, bool withTexts, hid_device_info **link)
{
    hid_device_info *info = static_cast<hid_device_info *>(calloc(1, sizeof *info));
    if (info == nullptr)
        return false;
    *link = info;
    info->path = strdup(facts.path);
    info->vendor_id = descriptor.idVendor;
    info->product_id = descriptor.idProduct;
    info->release_number = descriptor.bcdDevice;
    info->interface_number = facts.number;
    return info->path != nullptr && (!withTexts || TakeTexts(device, facts, info));
}

hid_device_info *Enumerate(uint16_t vendorId, uint16_t productId, bool withTexts)
{
    libusb_context *usb = nullptr;
    if (libusb_init(&usb) != LIBUSB_SUCCESS)
        return nullptr;
    hid_device_info *first = nullptr;
    hid_device_info **link = &first;
    bool complete = true;
    VisitAllInterfaces(usb,
                       [&](libusb_device *device, const libusb_device_descriptor &descriptor,
                           const InterfaceFacts &facts)
                       {
                           if ((vendorId != 0 && vendorId != descriptor.idVendor) ||
                               (productId != 0 && productId != descriptor.idProduct))
                               return true;
                           complete = AppendEntry(device, descriptor, facts, withTexts, link);
                           if (complete)
                               link = &(*link)->next;
                           return complete;
                       });
    libusb_exit(usb);
    if (complete)
        return first;
    hid_free_enumeration(first);
    return nullptr;
}

libusb_device *FindInterface(libusb_context *usb, const char *path, InterfaceFacts *facts)
{
    // Comparing with the path that each interface would be given admits no second spelling.
    libusb_device *found = nullptr;
    VisitAllInterfaces(usb,
                       [&](libusb_device *device, const libusb_device_descriptor &,
                           const InterfaceFacts &candidate)
                       {
                           if (strcmp(candidate.path, path) != 0)
                               return true;
                           *facts = candidate;
                           found = libusb_ref_device(device);
                           return false;
                       });
    return found;
}

} // namespace hid_channel

hid_device_info *hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    return hid_channel::Enumerate(vendor_id, product_id, true);
}

void hid_free_enumeration(hid_device_info *devices)
{
    while (devices != nullptr)
    {
        hid_device_info *next = devices->next;
        free(devices->path);
        free(devices->serial_number);
        free(devices->manufacturer_string);
        free(devices->product_string);
        free(devices);
        devices = next;
    }
}
