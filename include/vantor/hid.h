/* USB HID channel: a HID host on libusb-1.0 and the reader's own report framing.
 *
 *     hid_device *reader = hid_open(0x1BC3, 0x0151, NULL);
 *     hid_write_modeid(reader, command, 5, 2);              one 64-byte output report
 *     count = hid_read_modeid(reader, answer, 62, 1000);    one input report, header cut off
 *     hid_close(reader);
 *
 * Every open device has a background thread that receives input reports into a queue of 30; when
 * a report comes while 30 are waiting, the oldest is dropped.
 *
 * Handles: a handle is good from hid_open or hid_open_path to hid_close. A null handle, and one
 * that has been closed, is refused with the call's failure result and never touched. Unloading the
 * library closes what is still open.
 *
 * Opening an interface that this process still holds retires the older handle: its read thread
 * ends, its interface is released, its reads give what was queued and then -1, its writes give -1;
 * it still wants its hid_close. The same befalls a device that was unplugged, at the next open.
 */
#ifndef VANTOR_HID_H
#define VANTOR_HID_H

#include <wchar.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* One open HID interface. */
typedef struct hid_device_ hid_device;

/* One HID interface that is plugged in; a list of them comes from hid_enumerate. */
struct hid_device_info
{
    /* For hid_open_path: bus, device address and interface number in lower-case hexadecimal,
     * "0001:0002:00". It stays the same until the device is unplugged. */
    char *path;
    unsigned short vendor_id;  /* e.g. 0x1BC3 */
    unsigned short product_id; /* e.g. 0x0151 */
    /* Texts in the device's first language; NULL when the device has none or may not be opened. */
    wchar_t *serial_number;
    unsigned short release_number; /* binary-coded decimal: 0x0100 is 1.00 */
    wchar_t *manufacturer_string;
    wchar_t *product_string;
    /* Usage of the top collection. Always 0 here: the report descriptor can be read only by taking
     * the interface away from the driver that holds it, which a mere listing must not do. */
    unsigned short usage_page;
    unsigned short usage;
    int interface_number;         /* bInterfaceNumber, from 0 */
    struct hid_device_info *next; /* NULL at the end of the list */
};

/* Checks that libusb can be used.
 *
 * Optional: every other call initialises what it needs by itself. May be called any number of
 * times, with or without hid_exit in between.
 * Returns 0, or -1 when libusb cannot be initialised.
 * Threads: from any thread, at any time. */
VANTOR_API int hid_init(void);

/* Ends all read threads and releases all interfaces; the devices that were open are retired (see
 * above) and still want their hid_close. A later hid_open works as before.
 *
 * Returns 0; calling it again does nothing.
 * Threads: from any thread; waits for a write under way (at most a second) on each device. */
VANTOR_API int hid_exit(void);

/* Lists the HID interfaces that are plugged in now, in the order of the USB bus.
 *
 * vendor_id, product_id: list only these; 0 lists any.
 * Only interfaces of class HID (3) are listed, one entry each. Entries whose device may not be
 * opened (no permission) are listed without their texts.
 * Returns the first entry, to be freed with hid_free_enumeration, or NULL when there is none or
 * the list cannot be made.
 * Example: hid_enumerate(0x1BC3, 0) -> {path "0001:0002:00", 0x1BC3, 0x0151, serial L"00012345"}
 * Threads: from any thread, at any time. */
VANTOR_API struct hid_device_info *hid_enumerate(unsigned short vendor_id,
                                                 unsigned short product_id);

/* Frees a list from hid_enumerate with all its texts; NULL is allowed.
 * Threads: from any thread; the list must not be in use elsewhere. */
VANTOR_API void hid_free_enumeration(struct hid_device_info *devices);

/* Opens the first listed device with these ids.
 *
 * vendor_id, product_id: as in hid_enumerate, 0 matches any.
 * serial_number: the device's serial number, NUL-terminated, or NULL for any device. A device
 * without a serial number never matches a given one.
 * Returns the handle, or NULL when none matches or the first that matches cannot be opened.
 * Example: hid_open(0x1BC3, 0x0151, L"00012345")
 * Threads: from any thread; opens and closes run one after another. */
VANTOR_API hid_device *hid_open(unsigned short vendor_id, unsigned short product_id,
                                const wchar_t *serial_number);

/* Opens one interface and starts its read thread.
 *
 * path: a path exactly as hid_enumerate gives it, "0001:0002:00"; anything else opens nothing.
 * A kernel driver that holds the interface is detached; hid_close gives the interface back to it.
 * Returns the handle, or NULL: no such interface, no permission, held by another process, no
 * interrupt IN endpoint, or the first transfer could not be started.
 * Threads: from any thread; opens and closes run one after another. */
VANTOR_API hid_device *hid_open_path(const char *path);

/* Sends one output report.
 *
 * data: the report number, then the report. A report number 0 means that the device does not
 * number its reports: it is left out on the wire.
 * length: bytes at data, report number included, 1 to 65536; a report number 0 alone is refused.
 * The report goes to the interrupt OUT endpoint, or as a SET_REPORT request when the interface has
 * none. The device is given 1000 ms to take it.
 * Returns the number of bytes taken, a left-out report number included (65 for a 65-byte report),
 * or -1.
 * Example: {00 02 05 ...}, 65 bytes: the device receives {02 05 ...}, 64 bytes.
 * Threads: from any thread, also while another thread reads. */
VANTOR_API int hid_write(hid_device *device, const unsigned char *data, size_t length);

/* Takes the oldest input report, waiting for one when none is queued.
 *
 * data: receives the report; length: its size in bytes. A longer report is cut, the rest is lost.
 * milliseconds: how long to wait; -1 waits without limit; 0, and anything below -1, does not wait.
 * The limit runs on the real-time clock: setting the clock moves it.
 * Returns the bytes copied (64 for the reader), 0 when no report came in time, or -1 at once when
 * the device is gone and its queue is empty.
 * Threads: from any thread; each report goes to one reader. A close in another thread ends the
 * wait with -1. */
VANTOR_API int hid_read_timeout(hid_device *device, unsigned char *data, size_t length,
                                int milliseconds);

/* The same without a limit, or without waiting at all when hid_set_nonblocking has set that.
 * Threads: as hid_read_timeout. */
VANTOR_API int hid_read(hid_device *device, unsigned char *data, size_t length);

/* Chooses what hid_read does when no report is queued.
 *
 * nonblock: 0 waits (the state after opening), any other value returns 0 at once.
 * Returns 0, or -1 for a handle that is not open.
 * Threads: from any thread; holds for the next hid_read of any thread. */
VANTOR_API int hid_set_nonblocking(hid_device *device, int nonblock);

/* Sends a feature report with a SET_REPORT request (time-out 1000 ms).
 *
 * data, length: as in hid_write.
 * Returns the number of bytes taken, a left-out report number included, or -1.
 * Threads: as hid_write. */
VANTOR_API int hid_send_feature_report(hid_device *device, const unsigned char *data,
                                       size_t length);

/* Reads a feature report with a GET_REPORT request (time-out 1000 ms).
 *
 * data: byte 0 holds the number of the wanted report; the report is stored with its number in
 * front (0 when the device does not number its reports).
 * length: size at data, 2 to 65536 bytes.
 * Returns the number of bytes in data, the report number included, or -1.
 * Threads: as hid_write. */
VANTOR_API int hid_get_feature_report(hid_device *device, unsigned char *data, size_t length);

/* Ends the read thread, releases the interface and frees the handle. Waiting reads of other
 * threads end with -1. NULL, and a handle that is closed already, is ignored.
 * Threads: from any thread; waits for a write under way, at most a second. */
VANTOR_API void hid_close(hid_device *device);

/* The device's texts, in its first language (English when it names none).
 *
 * string: receives the text and a terminating NUL; a text that does not fit is cut.
 * maxlen: characters at string, the NUL included; at least 1.
 * Returns 0, or -1 when there is no such text (string is then empty).
 * Example: hid_get_serial_number_string(device, text, 32) -> 0, text L"00012345"
 * Threads: as hid_write. */
VANTOR_API int hid_get_manufacturer_string(hid_device *device, wchar_t *string, size_t maxlen);
VANTOR_API int hid_get_product_string(hid_device *device, wchar_t *string, size_t maxlen);
VANTOR_API int hid_get_serial_number_string(hid_device *device, wchar_t *string, size_t maxlen);

/* The same for any string descriptor of the device; string_index: 1 to 255. */
VANTOR_API int hid_get_indexed_string(hid_device *device, int string_index, wchar_t *string,
                                      size_t maxlen);

/* The text of the last failure on this handle, or NULL when nothing has failed since it was
 * opened. A read that ran into its time limit is no failure. The text is constant: it outlives the
 * handle and is never freed.
 * Example: L"the device did not take the report in time"
 * Threads: from any thread. */
VANTOR_API const wchar_t *hid_error(hid_device *device);

/* Sends up to 62 bytes as one output report of the reader:
 *
 *     byte 0         the mode id: which of the reader's modules the bytes are for
 *     byte 1         n, the number of payload bytes
 *     byte 2..n+1    the payload
 *     to byte 63     zero bytes
 *
 * data, length: the payload; what exceeds 62 bytes is not sent: call again with the rest.
 * mode_id: 2 for the IC and identity modules, 1 for raw commands, 0 on readers without mode ids.
 * Returns the payload bytes in the report, the smaller of length and 62; also when the send itself
 * failed: a reader that was unplugged shows when its answer is read. -1 with nothing sent for a
 * null handle, a negative length, or null data with a length above 0.
 * Example: {1B 53}, length 2, mode 1 -> 2; the reader receives {01 02 1B 53 00 ... 00}.
 * Threads: as hid_write. */
VANTOR_API int hid_write_modeid(hid_device *device, const unsigned char *data, int length,
                                unsigned char mode_id);

/* Takes one input report of the reader and cuts off its two header bytes.
 *
 * buffer: receives the payload; capacity: its size in bytes. What does not fit is lost.
 * milliseconds: as in hid_read_timeout.
 * Returns the payload bytes copied, the report's padding included (62 for a 64-byte report); 0
 * when no report came in time; -1 when the device is gone, for a report shorter than 3 bytes, a
 * null buffer or a negative capacity.
 * Threads: as hid_read_timeout. */
VANTOR_API int hid_read_modeid(hid_device *device, unsigned char *buffer, int capacity,
                               int milliseconds);

/* Report sizes in bytes, report number included: 65 for any handle, 0 for NULL.
 * Threads: from any thread, at any time. */
VANTOR_API int hid_get_input_report_length(hid_device *device);
VANTOR_API int hid_get_output_report_length(hid_device *device);

VANTOR_C_END

#endif
