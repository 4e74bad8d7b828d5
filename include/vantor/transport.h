/* Device transport: the device context, the adapter layer and the serial line. */
#ifndef VANTOR_TRANSPORT_H
#define VANTOR_TRANSPORT_H

#include <sys/ioctl.h>
#include <termio.h>

#include "vantor/export.h"

VANTOR_C_BEGIN

/* ---- Device context ---- */

typedef struct DEVCONTEXT DEVCONTEXT;

typedef int (*COMM_END_TEST)(const unsigned char *bytes, uint32_t count);

typedef struct COMM_OPS
{
    void *(*open)(DEVCONTEXT *deviceContext);
    int (*read)(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                COMM_END_TEST endTest);
    int (*write)(void *device, const unsigned char *bytes, uint32_t count, uint32_t timeoutMs);
    int (*close)(void *device);
} COMM_OPS;

struct DEVCONTEXT
{
    void *device;
    uint32_t isOpen;
    uint32_t refCnt;
    char interfaceType[16];
    union
    {
        struct
        {
            uint32_t comBaud;
            uint32_t comPort;
        } com;
        struct
        {
            uint8_t modeId;
            int32_t usbCount;
            uint16_t usbVid[8];
            uint16_t usbPid[8];
        } usb;
    } parameters;
    int64_t outputBufSize;
    int64_t inputBufSize;
    const COMM_OPS *ops;
};

extern VANTOR_API DEVCONTEXT context;
extern VANTOR_API int32_t flag_cancle;
extern VANTOR_API uint8_t g_mode_id;
extern VANTOR_API int32_t g_IsCancelWait;

VANTOR_API void DC_Init(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetInterfaceType(DEVCONTEXT *deviceContext, const char *interfaceType);
VANTOR_API char *DC_GetInterfaceType(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetInterfaceOps(DEVCONTEXT *deviceContext, const COMM_OPS *ops);
VANTOR_API const COMM_OPS *DC_GetInterfaceOps(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetCOMParams(DEVCONTEXT *deviceContext, uint32_t port, uint32_t baud);
VANTOR_API uint32_t DC_GetCOMPort(DEVCONTEXT *deviceContext);
VANTOR_API uint32_t DC_GetCOMBaud(DEVCONTEXT *deviceContext);
VANTOR_API void DC_AddUsbParams(DEVCONTEXT *deviceContext, uint16_t vid, uint16_t pid);
VANTOR_API int32_t DC_GetUsbListSize(DEVCONTEXT *deviceContext);
VANTOR_API uint16_t DC_GetUsbVid(DEVCONTEXT *deviceContext, int32_t index);
VANTOR_API uint16_t DC_GetUsbPid(DEVCONTEXT *deviceContext, int32_t index);
VANTOR_API void DC_SetDevice(DEVCONTEXT *deviceContext, void *device);
VANTOR_API void *DC_GetDevice(DEVCONTEXT *deviceContext);
VANTOR_API void DC_AddDeviceRef(DEVCONTEXT *deviceContext);
VANTOR_API int DC_ReleaseDeviceRef(DEVCONTEXT *deviceContext);
VANTOR_API uint32_t DC_IsOpen(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SwitchOpenStatus(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetOutputBufSize(DEVCONTEXT *deviceContext, int64_t size);
VANTOR_API int64_t DC_GetOutputBufSize(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetInputBufSize(DEVCONTEXT *deviceContext, int64_t size);
VANTOR_API int64_t DC_GetInputBufSize(DEVCONTEXT *deviceContext);
VANTOR_API void DC_SetModeId(DEVCONTEXT *deviceContext, uint8_t modeId);
VANTOR_API uint8_t DC_GetModeId(DEVCONTEXT *deviceContext);

/* ---- Adapters ---- */

VANTOR_API int COMM_Open(DEVCONTEXT *deviceContext);
VANTOR_API int COMM_Read(DEVCONTEXT *deviceContext, unsigned char *buffer, uint32_t capacity,
                         uint32_t timeoutMs, COMM_END_TEST endTest);
VANTOR_API int COMM_Write(DEVCONTEXT *deviceContext, const unsigned char *bytes, uint32_t count,
                          uint32_t timeoutMs);
VANTOR_API int COMM_Close(DEVCONTEXT *deviceContext);
VANTOR_API int COMM_Init(void);
VANTOR_API int COMM_Exit(void);
VANTOR_API void COMM_cancle(void);
VANTOR_API void COMM_notcancle(void);
VANTOR_API uint64_t GetTickCount(void);

VANTOR_API const COMM_OPS *_COMM_FindAdapter(const char *name);
VANTOR_API int _COMM_ValidateParam(DEVCONTEXT *deviceContext);
VANTOR_API void *HID_open(DEVCONTEXT *deviceContext);
VANTOR_API int HID_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                        COMM_END_TEST endTest);
VANTOR_API int HID_write(void *device, const unsigned char *bytes, uint32_t count,
                         uint32_t timeoutMs);
VANTOR_API int HID_close(void *device);
VANTOR_API void *COM_open(DEVCONTEXT *deviceContext);
VANTOR_API int COM_read(void *device, unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                        COMM_END_TEST endTest);
VANTOR_API int COM_write(void *device, const unsigned char *bytes, uint32_t count,
                         uint32_t timeoutMs);
VANTOR_API int COM_close(void *device);

/* ---- Serial line ---- */

extern VANTOR_API char g_szComName[16][64];
extern VANTOR_API struct termio oterm_attr;
extern VANTOR_API struct termio term_attr;

VANTOR_API void *GOpenCom(int index, int baud);
VANTOR_API int GCloseCom(void *handle);
VANTOR_API int GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs);
VANTOR_API int GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs);
VANTOR_API int GSetTerm_Linux(int fd, int baud);
VANTOR_API int GReSetTerm_Linux(int fd);

VANTOR_C_END

VANTOR_API int GSetComName(int index, const char *path) VANTOR_CPP_SYMBOL("_Z11GSetComNameiPKc");

#endif
