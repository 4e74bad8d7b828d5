/* USB HID channel: a HID host on libusb-1.0 and the reader's own report framing. */
#ifndef VANTOR_HID_H
#define VANTOR_HID_H

#include <wchar.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

typedef struct hid_device_ hid_device;

struct hid_device_info
{
    char *path;
    unsigned short vendor_id;
    unsigned short product_id;
    wchar_t *serial_number;
    unsigned short release_number;
    wchar_t *manufacturer_string;
    wchar_t *product_string;
    unsigned short usage_page;
    unsigned short usage;
    int interface_number;
    struct hid_device_info *next;
};

VANTOR_API int hid_init(void);
VANTOR_API int hid_exit(void);
VANTOR_API struct hid_device_info *hid_enumerate(unsigned short vendor_id,
                                                 unsigned short product_id);
VANTOR_API void hid_free_enumeration(struct hid_device_info *devices);
VANTOR_API hid_device *hid_open(unsigned short vendor_id, unsigned short product_id,
                                const wchar_t *serial_number);
VANTOR_API hid_device *hid_open_path(const char *path);
VANTOR_API int hid_write(hid_device *device, const unsigned char *data, size_t length);
VANTOR_API int hid_read_timeout(hid_device *device, unsigned char *data, size_t length,
                                int milliseconds);
VANTOR_API int hid_read(hid_device *device, unsigned char *data, size_t length);
VANTOR_API int hid_set_nonblocking(hid_device *device, int nonblock);
VANTOR_API int hid_send_feature_report(hid_device *device, const unsigned char *data,
                                       size_t length);
VANTOR_API int hid_get_feature_report(hid_device *device, unsigned char *data, size_t length);
VANTOR_API void hid_close(hid_device *device);
VANTOR_API int hid_get_manufacturer_string(hid_device *device, wchar_t *string, size_t maxlen);
VANTOR_API int hid_get_product_string(hid_device *device, wchar_t *string, size_t maxlen);
VANTOR_API int hid_get_serial_number_string(hid_device *device, wchar_t *string, size_t maxlen);
VANTOR_API int hid_get_indexed_string(hid_device *device, int string_index, wchar_t *string,
                                      size_t maxlen);
VANTOR_API const wchar_t *hid_error(hid_device *device);

VANTOR_API int hid_write_modeid(hid_device *device, const unsigned char *data, int length,
                                unsigned char mode_id);
VANTOR_API int hid_read_modeid(hid_device *device, unsigned char *buffer, int capacity,
                               int milliseconds);
VANTOR_API int hid_get_input_report_length(hid_device *device);
VANTOR_API int hid_get_output_report_length(hid_device *device);

VANTOR_C_END

#endif
