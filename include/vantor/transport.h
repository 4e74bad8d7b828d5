/* Device transport: the device context, the adapter layer and the serial line.
 *
 * Thread rule of this header, unless a call says otherwise: one command at a time. No call takes a
 * lock; calls on the same context or the same serial handle must not run side by side. Only
 * COMM_cancle, COMM_notcancle and GetTickCount may be called from any thread at any time.
 *
 * Results are 0 or a positive count on success and else one of
 *     -1    transport failure (the line vanished, the wait or the write failed)
 *     -2    the transport could not be opened, or the context has no operations or no device
 *     -19   no context, an unknown interface type, or no USB ids
 *     -22   a null argument
 *     -62   nothing was received or sent within the time-out
 *     -125  cancelled by COMM_cancle
 *
 * A host that opens serial port 2 and sends one command by hand:
 *
 *     DC_Init(&context);
 *     DC_SetInterfaceType(&context, "com");
 *     DC_SetCOMParams(&context, 2, 9600);                // "/dev/ttyS2"
 *     if (COMM_Open(&context) == 0)
 *     {
 *         unsigned char answer[256];
 *         COMM_Write(&context, (const unsigned char *)"60028100E3\x03", 11, 1000);
 *         int count = COMM_Read(&context, answer, sizeof(answer), 3000, EndsWith03);
 *         COMM_Close(&context);
 *     }
 */
#ifndef VANTOR_TRANSPORT_H
#define VANTOR_TRANSPORT_H

#include <sys/ioctl.h>
#include <termio.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Device context ----------------------------------------------------------------------- */

typedef struct DEVCONTEXT DEVCONTEXT;

/* Asked after each step of a read: are these `count` bytes, everything gathered so far, a whole
 * answer? Non-zero ends the read. It is also asked while `count` is still 0, and it may be asked
 * twice about the same bytes: it must be free of side effects. */
typedef int (*COMM_END_TEST)(const unsigned char *bytes, uint32_t count);

/* The four operations of a transport. `open` gives the device handle, or a negative code between
 * -99 and -1 as a pointer value; the others take that handle. Their arguments and results are
 * those of COMM_Read, COMM_Write and COMM_Close. */
typedef struct COMM_OPS
{
    void *(*open)(DEVCONTEXT *deviceContext);
    int (*read)(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                COMM_END_TEST endTest);
    int (*write)(void *device, const unsigned char *bytes, uint32_t count, uint32_t timeoutMs);
    int (*close)(void *device);
} COMM_OPS;

/* The device context: 96 bytes. A zeroed record is a valid, closed context. */
struct DEVCONTEXT
{
    void *device;           /* open handle: HID device, or serial handle; stale after a close */
    uint32_t isOpen;        /* 0 or 1 */
    uint32_t refCnt;        /* users of the open device */
    char interfaceType[16]; /* "hid" or "com"; no NUL behind a text of 16 characters */
    union
    {
        struct
        {
            uint32_t comBaud; /* bits per second, 9600 */
            uint32_t comPort; /* 1 to 255; ports above 15 cannot be opened */
        } com;
        struct
        {
            uint8_t modeId;     /* shares its byte with comBaud */
            int32_t usbCount;   /* id pairs in the list, 0 to 8; shares its word with comPort */
            uint16_t usbVid[8]; /* 0x1BC3 */
            uint16_t usbPid[8]; /* 0x0151 */
        } usb;
    } parameters;
    int64_t outputBufSize; /* largest payload of a write: 62 (HID), 266 (serial) */
    int64_t inputBufSize;  /* payload of an input report: 62 (HID); stays 0 on a serial line */
    const COMM_OPS *ops;   /* set by COMM_Open */
};

/* The one context of the library: every BO_ call works on it. */
extern VANTOR_API DEVCONTEXT context;

/* 1 asks a read under way to stop. Write it through COMM_cancle and COMM_notcancle. */
extern VANTOR_API int32_t flag_cancle;

/* The mode id that every HID write puts into its reports; COMM_Open copies it from the context. */
extern VANTOR_API uint8_t g_mode_id;

/* 1 asks the card-waiting loops of the BO_ calls to give up; it does not stop a read. Any thread
 * may set it. */
extern VANTOR_API int32_t g_IsCancelWait;

/* The accessors. All take the context first; with a null context the setters do nothing and the
 * getters give 0 or a null pointer. They touch the record only and never wait. One at a time. */

/* Fills the whole record with zero bytes. An open device is not closed: close it first. */
VANTOR_API void DC_Init(DEVCONTEXT *deviceContext);

/* Copies at most 16 characters of the NUL-terminated text ("hid", "com") and zero-fills the rest;
 * a text of 16 characters or more leaves no NUL. A null text changes nothing. */
VANTOR_API void DC_SetInterfaceType(DEVCONTEXT *deviceContext, const char *interfaceType);

/* The stored text itself, at most 16 characters: compare with strncmp(..., 16). */
VANTOR_API char *DC_GetInterfaceType(DEVCONTEXT *deviceContext);

/* Store and return the adapter's operations. The record keeps the pointer, not a copy. */
VANTOR_API void DC_SetInterfaceOps(DEVCONTEXT *deviceContext, const COMM_OPS *ops);
VANTOR_API const COMM_OPS *DC_GetInterfaceOps(DEVCONTEXT *deviceContext);

/* Stores the serial parameters: first the port number, then the bits per second. */
VANTOR_API void DC_SetCOMParams(DEVCONTEXT *deviceContext, uint32_t port, uint32_t baud);
VANTOR_API uint32_t DC_GetCOMPort(DEVCONTEXT *deviceContext);
VANTOR_API uint32_t DC_GetCOMBaud(DEVCONTEXT *deviceContext);

/* Appends a vendor and product id to the list; a ninth pair is ignored without a report. */
VANTOR_API void DC_AddUsbParams(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid);

/* Number of pairs. On a serial context this is the port number: they share a word. */
VANTOR_API int32_t DC_GetUsbListSize(DEVCONTEXT *deviceContext);

/* The id at `index`, counted from 0; 0 for an index outside the list. */
VANTOR_API uint16_t DC_GetUsbVid(DEVCONTEXT *deviceContext, int32_t index);
VANTOR_API uint16_t DC_GetUsbPid(DEVCONTEXT *deviceContext, int32_t index);

/* Store and return the device handle. The context does not own it until COMM_Open stored it. */
VANTOR_API void DC_SetDevice(DEVCONTEXT *deviceContext, void *device);
VANTOR_API void *DC_GetDevice(DEVCONTEXT *deviceContext);

/* One user more. */
VANTOR_API void DC_AddDeviceRef(DEVCONTEXT *deviceContext);

/* One user less; the last one closes the device if it is open. Returns the users that are left: 0
 * after the close, and 0 when there was no user to begin with. The handle of the closed device
 * stays in the record, but a release on a closed context never uses it. */
VANTOR_API int DC_ReleaseDeviceRef(DEVCONTEXT *deviceContext);

/* 1 when the device is open, else 0. */
VANTOR_API uint32_t DC_IsOpen(DEVCONTEXT *deviceContext);

/* Turns open into closed and closed into open, in the record only. */
VANTOR_API void DC_SwitchOpenStatus(DEVCONTEXT *deviceContext);

/* Payload bytes per write and per input report. */
VANTOR_API void DC_SetOutputBufSize(DEVCONTEXT *deviceContext, int64_t size);
VANTOR_API int64_t DC_GetOutputBufSize(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetInputBufSize(DEVCONTEXT *deviceContext, int64_t size);
VANTOR_API int64_t DC_GetInputBufSize(DEVCONTEXT *deviceContext);

/* Stores the mode id (0, 1 or 2) of a "hid" context; on any other context nothing changes, since
 * the byte belongs to the baud rate there. */
VANTOR_API void DC_SetModeId(DEVCONTEXT *deviceContext, uint8_t modeId);
VANTOR_API uint8_t DC_GetModeId(DEVCONTEXT *deviceContext);

/* ---- Adapters ----------------------------------------------------------------------------- */

/* Opens the device on the first use and adds a user. On a device that is open already it only adds
 * the user; a "hid" context then also takes over a changed mode id.
 * 0; -19 without a context, with a type other than "hid" and "com", or with "hid" and no ids;
 * -2 when the device could not be opened: the context is then as closed as before.
 * One command at a time. */
VANTOR_API int COMM_Open(DEVCONTEXT *deviceContext);

/* Reads an answer into `buffer`, at most `capacity` bytes; no NUL is written.
 * With an end test it gathers bytes until the test is met, the buffer is full or `timeoutMs`
 * milliseconds have passed (0: 2147483647 ms), and gives the bytes gathered: a partial answer at
 * the time-out is no error. -62 when there were none, -125 when COMM_cancle stopped it, -1 when the
 * line failed, whatever had come before.
 * Without an end test it is one single read with the whole time-out, which cannot be cancelled. On
 * a serial line that time-out counts as microseconds, and 1000000 and more fail with -1.
 * -22 for a null buffer or context; -2 for a context without operations or without a device.
 * Only on an open context: after a close the record still holds the handle of the closed device.
 * While an answer is late on a serial line, the calling thread's timer slack is raised to 2 ms; it
 * is put back before the call returns.
 * One command at a time; blocks its thread; COMM_cancle may come from any other thread. */
VANTOR_API int COMM_Read(DEVCONTEXT *deviceContext, unsigned char *buffer, uint32_t capacity,
                         uint32_t timeoutMs, COMM_END_TEST endTest);

/* Writes `count` bytes and gives the number written; -22 and -2 as for COMM_Read, -62 when none
 * went out, -1 on a failure. Over HID they go out in reports of 62 bytes until `timeoutMs`
 * milliseconds have passed (0: 2147483647 ms); on a serial line it is one write without a time
 * limit. Only on an open context. One command at a time. */
VANTOR_API int COMM_Write(DEVCONTEXT *deviceContext, const unsigned char *bytes, uint32_t count,
                          uint32_t timeoutMs);

/* Drops a user; the last one closes the device. The result of DC_ReleaseDeviceRef. Call it once
 * for each COMM_Open that gave 0. One command at a time. */
VANTOR_API int COMM_Close(DEVCONTEXT *deviceContext);

/* Start and end the HID library: the results of hid_init and hid_exit (0 on success). The first
 * open starts it anyway. Not while a device is open; one thread at a time. */
VANTOR_API int COMM_Init(void);
VANTOR_API int COMM_Exit(void);

/* Asks the read under way to stop, within about 10 ms on HID and 2 ms on a serial line; it then
 * gives -125. A cancel that comes while no read is running is lost. Any thread, any time. */
VANTOR_API void COMM_cancle(void);

/* Withdraws a cancel. Any thread, any time. */
VANTOR_API void COMM_notcancle(void);

/* Milliseconds of the monotonic clock. Any thread, any time. */
VANTOR_API uint64_t GetTickCount(void);

/* The operations of the adapter named "hid" or "com"; null for any other name and for a null name.
 * "END" finds the table's end mark, whose operations are null. Reads at most 16 characters of the
 * name. Any thread, any time. */
VANTOR_API const COMM_OPS *_COMM_FindAdapter(const char *name);

/* Stores the operations of the context's interface type in the context, then checks: 0 for "com"
 * and for "hid" with at least one id pair, else -19. One command at a time. */
VANTOR_API int _COMM_ValidateParam(DEVCONTEXT *deviceContext);

/* The operations of the "hid" adapter. HID_open tries the id pairs in order, the first device that
 * opens wins; -19 as a pointer value when none does. Arguments and results else as in COMM_Read
 * and COMM_Write; HID_close gives 0. One command at a time. */
VANTOR_API void *HID_open(DEVCONTEXT *deviceContext);
VANTOR_API int HID_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                        COMM_END_TEST endTest);
VANTOR_API int HID_write(void *device, const unsigned char *bytes, uint32_t count,
                         uint32_t timeoutMs);
VANTOR_API int HID_close(void *device);

/* The operations of the "com" adapter. COM_open gives the serial handle of the context's port, or
 * -2 as a pointer value; COM_close gives the result of GCloseCom. One command at a time. */
VANTOR_API void *COM_open(DEVCONTEXT *deviceContext);
VANTOR_API int COM_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                        COMM_END_TEST endTest);
VANTOR_API int COM_write(void *device, const unsigned char *bytes, uint32_t count,
                         uint32_t timeoutMs);
VANTOR_API int COM_close(void *device);

/* ---- Serial line -------------------------------------------------------------------------- */

/* The device of each port number, NUL-terminated: "/dev/ttyS0" to "/dev/ttyS3" for 0 to 3, the rest
 * empty. Loading the library sets port 1 to "/dev/ttyAMA0". Set entries with GSetComName. */
extern VANTOR_API char g_szComName[16][64];

/* The settings found when a port was last configured, put back on close. One copy for the process:
 * opening a second port overwrites those of the first. */
extern VANTOR_API struct termio oterm_attr;

/* The settings last written to a port. */
extern VANTOR_API struct termio term_attr;

/* Opens the port `index` (0 to 15) raw, 8 data bits, no parity, 1 stop bit, at `baud` bits per
 * second. The handle, a heap cell with the descriptor (32 bits, signed) that GCloseCom frees; null
 * on failure. A terminal becomes the controlling one of a session that has none. The cell of a
 * failed open is not released. One port at a time. */
VANTOR_API void *GOpenCom(int index, int baud);

/* Puts the saved settings back, closes the line and frees the handle. 0; -99 when the settings
 * could not be put back, as on a line that vanished: closed and freed all the same; -1 for a null
 * handle. Once for each handle, one port at a time. */
VANTOR_API int GCloseCom(void *handle);

/* One write of `count` bytes: the number written or -1. `timeoutMs` is not used: a full line
 * blocks. One command at a time. */
VANTOR_API int GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs);

/* Waits at most `timeoutUs` MICROseconds for bytes and reads what is there, at most `capacity`
 * bytes; no NUL is written. The bytes read, 0 when none came in time, -1 when the wait or the read
 * failed, when the line vanished, and for a time of 1000000 and more or below 0. A wait that a
 * signal interrupts goes on. One command at a time. */
VANTOR_API int GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs);

/* Saves the settings of an open terminal in oterm_attr and makes it raw: no echo, no line editing,
 * no character translation, VMIN 0, VTIME 1, VQUIT 127, 8N1, no modem control. Rates: 1200, 2400,
 * 4800, 19200, 38400, 57600, 115200; any other number configures 9600. 0; -1 for a negative
 * descriptor, -2 and -3 when the settings could not be read, -4 when they could not be written.
 * One port at a time. */
VANTOR_API int GSetTerm_Linux(int fd, int baud);

/* Writes oterm_attr back and closes the descriptor unless it is 0. 0; -1 for a negative
 * descriptor; -99 when the settings could not be written: the descriptor then stays open.
 * One port at a time. */
VANTOR_API int GReSetTerm_Linux(int fd);

VANTOR_C_END

/* Names the device of port `index` (0 to 15): "/dev/ttyUSB0", "/dev/pts/3". A path of 64
 * characters or more is cut to 63 and a NUL. 0; -99 for any other index and for a null path, and
 * nothing changes. Takes effect with the next open. One thread at a time. */
VANTOR_API int GSetComName(int index, const char *path) VANTOR_CPP_SYMBOL("_Z11GSetComNameiPKc");

#endif
