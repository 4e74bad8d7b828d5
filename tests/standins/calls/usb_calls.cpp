// libusb, which is a stand-in itself.
#include <libusb.h>

#include "standins/calls/rows.h"
#include "standins/usb/usb_standin.h"

namespace library_calls
{

namespace
{

Row s_cancel;

// A transfer that cannot be cancelled ends by its own time limit, which no stand-in knows.
int Cancel(libusb_transfer *transfer)
{
    const Fault *fault = Enter(s_cancel);
    if (fault == nullptr)
        return libusb_cancel_transfer(transfer);
    int device = -1;
    {
        Watch &watch = TheWatch();
        const std::lock_guard<std::mutex> guard(watch.mutex);
        device = watch.usbDevice;
    }
    usb_standin::SendOutcome(device, LIBUSB_TRANSFER_TIMED_OUT);
    return Spoiled<int>(*fault);
}

} // namespace

void AddUsb(RowList *rows)
{
    rows->insert(
        rows->end(),
        {
            Passes<&libusb_init>("libusb_init", {Usb(LIBUSB_ERROR_NO_MEM)}),
            Passes<&libusb_get_device_list>("libusb_get_device_list", {Usb(LIBUSB_ERROR_NO_MEM)}),
            Passes<&libusb_get_device_descriptor>("libusb_get_device_descriptor",
                                                  {Usb(LIBUSB_ERROR_IO)}),
            Passes<&libusb_get_active_config_descriptor>(
                "libusb_get_active_config_descriptor",
                {Usb(LIBUSB_ERROR_NOT_FOUND), Usb(LIBUSB_ERROR_NO_MEM)}),
            Passes<&libusb_open>(
                "libusb_open",
                {Usb(LIBUSB_ERROR_ACCESS), Usb(LIBUSB_ERROR_NO_DEVICE), Usb(LIBUSB_ERROR_NO_MEM)}),
            Passes<&libusb_kernel_driver_active>(
                "libusb_kernel_driver_active",
                {Usb(LIBUSB_ERROR_NOT_SUPPORTED), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Passes<&libusb_detach_kernel_driver>(
                "libusb_detach_kernel_driver",
                {Usb(LIBUSB_ERROR_NOT_FOUND), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Passes<&libusb_attach_kernel_driver>(
                "libusb_attach_kernel_driver",
                {Usb(LIBUSB_ERROR_BUSY), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Passes<&libusb_claim_interface>("libusb_claim_interface",
                                            {Usb(LIBUSB_ERROR_BUSY), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Passes<&libusb_release_interface>("libusb_release_interface",
                                              {UsbAfter(LIBUSB_ERROR_NO_DEVICE)}),
            // Not for ever: the read thread clears a halt again as long as the device is open.
            Passes<&libusb_clear_halt>(
                "libusb_clear_halt", {{"libusb's -1", Manner::Instead, LIBUSB_ERROR_IO, 0, false}}),
            Passes<&libusb_alloc_transfer>("libusb_alloc_transfer", {Fails(0, ENOMEM)}),
            Passes<&libusb_submit_transfer>("libusb_submit_transfer",
                                            {Usb(LIBUSB_ERROR_IO), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Special(&s_cancel, "libusb_cancel_transfer", Address(&Cancel),
                    {Usb(LIBUSB_ERROR_NOT_FOUND), Usb(LIBUSB_ERROR_IO)}),
            Passes<&libusb_handle_events_completed>(
                "libusb_handle_events_completed",
                {Usb(LIBUSB_ERROR_IO), Usb(LIBUSB_ERROR_INTERRUPTED)}),
            Passes<&libusb_interrupt_transfer>(
                "libusb_interrupt_transfer",
                {Usb(LIBUSB_ERROR_TIMEOUT), Usb(LIBUSB_ERROR_PIPE), Usb(LIBUSB_ERROR_NO_DEVICE)}),
            Passes<&libusb_control_transfer>("libusb_control_transfer",
                                             {Usb(LIBUSB_ERROR_TIMEOUT),
                                              Usb(LIBUSB_ERROR_PIPE),
                                              Usb(LIBUSB_ERROR_NO_DEVICE),
                                              {"one byte", Manner::Instead, 1, 0, false}}),
        });
}

} // namespace library_calls
