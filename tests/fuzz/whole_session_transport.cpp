// The calls of transport.h and hid.h.
#include <fcntl.h>
#include <unistd.h>

#include "vantor/hid.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

int Never(const unsigned char *, uint32_t)
{
    return 0;
}

// A handle that the host holds: the line's while it is open, else none.
void *Handle(Session *session)
{
    return session->Byte() % 4 != 0 && DC_IsOpen(&context) != 0 ? DC_GetDevice(&context) : nullptr;
}

bool IsSerial()
{
    return std::strncmp(context.interfaceType, "com", 4) == 0;
}

template <typename Read>
void ReadInto(Session *session, Read read)
{
    Room buffer(session->Size(5000));
    const bool ends = session->Byte() % 2 != 0;
    const int got = read(buffer.Data(), static_cast<uint32_t>(buffer.size), session->milliseconds,
                         ends ? Never : nullptr);
    FUZZ_CHECK(got <= buffer.Size());
    FUZZ_CHECK(got < 0 || buffer.IsUntouchedFrom(static_cast<size_t>(got)));
}

const Call kCalls[] = {
    {"DC_Init", [](Session *s) { DC_Init(&s->own); }},
    {"DC_SetInterfaceType",
     [](Session *s)
     {
         Room type(s->Text());
         DC_SetInterfaceType(&s->own, type.Text());
     }},
    {"DC_GetInterfaceType", [](Session *s) { DC_GetInterfaceType(s->device); }},
    {"DC_SetInterfaceOps",
     [](Session *s)
     {
         static const char *const names[] = {"hid", "com", "END", "none"};
         DC_SetInterfaceOps(&s->own, _COMM_FindAdapter(names[s->Byte() % 4]));
     }},
    {"DC_GetInterfaceOps", [](Session *s) { DC_GetInterfaceOps(s->device); }},
    {"DC_SetCOMParams",
     [](Session *s)
     {
         const uint32_t port = static_cast<uint32_t>(s->Number());
         DC_SetCOMParams(&s->own, port, static_cast<uint32_t>(s->Number()));
     }},
    {"DC_GetCOMPort", [](Session *s) { DC_GetCOMPort(s->device); }},
    {"DC_GetCOMBaud", [](Session *s) { DC_GetCOMBaud(s->device); }},
    {"DC_AddUsbParams", [](Session *s) { DC_AddUsbParams(&s->own, s->Byte(), 0x0151); }},
    {"DC_GetUsbListSize", [](Session *s) { DC_GetUsbListSize(s->device); }},
    {"DC_GetUsbVid", [](Session *s) { DC_GetUsbVid(&s->own, s->Number()); }},
    {"DC_GetUsbPid", [](Session *s) { DC_GetUsbPid(&s->own, s->Number()); }},
    {"DC_SetDevice", [](Session *s) { DC_SetDevice(&s->own, nullptr); }},
    {"DC_GetDevice", [](Session *s) { DC_GetDevice(s->device); }},
    {"DC_AddDeviceRef", [](Session *s) { DC_AddDeviceRef(s->device); }},
    {"DC_ReleaseDeviceRef", [](Session *s) { DC_ReleaseDeviceRef(s->device); }},
    {"DC_IsOpen", [](Session *s) { DC_IsOpen(s->device); }},
    {"DC_SwitchOpenStatus",
     [](Session *s)
     {
         // Open without a handle: what a host makes of a record by hand.
         if (s->own.device == nullptr)
             DC_SwitchOpenStatus(&s->own);
     }},
    {"DC_SetOutputBufSize", [](Session *s) { DC_SetOutputBufSize(s->device, s->Number()); }},
    {"DC_GetOutputBufSize", [](Session *s) { DC_GetOutputBufSize(s->device); }},
    {"DC_SetInputBufSize", [](Session *s) { DC_SetInputBufSize(s->device, s->Number()); }},
    {"DC_GetInputBufSize", [](Session *s) { DC_GetInputBufSize(s->device); }},
    {"DC_SetModeId", [](Session *s) { DC_SetModeId(s->device, s->Byte()); }},
    {"DC_GetModeId", [](Session *s) { DC_GetModeId(s->device); }},
    {"COMM_Open", [](Session *s) { COMM_Open(s->device); }},
    {"COMM_Read",
     [](Session *s)
     {
         DEVCONTEXT *device = s->device;
         if (DC_IsOpen(device) != 0)
             ReadInto(s, [device](unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                                  COMM_END_TEST endTest)
                      { return COMM_Read(device, buffer, capacity, timeoutMs, endTest); });
     }},
    {"COMM_Write",
     [](Session *s)
     {
         DEVCONTEXT *device = s->device;
         Room bytes(s->Block());
         if (DC_IsOpen(device) != 0)
             COMM_Write(device, bytes.Data(), static_cast<uint32_t>(bytes.size), s->milliseconds);
     }},
    {"COMM_Close", [](Session *s) { COMM_Close(s->device); }},
    {"COMM_Init", [](Session *) { FUZZ_CHECK(COMM_Init() == 0); }},
    {"COMM_Exit", [](Session *) { FUZZ_CHECK(COMM_Exit() == 0); }},
    {"COMM_cancle", [](Session *) { COMM_cancle(); }},
    {"COMM_notcancle", [](Session *) { COMM_notcancle(); }},
    {"GetTickCount", [](Session *) { GetTickCount(); }},
    {"_COMM_FindAdapter",
     [](Session *s)
     {
         Room name(s->Text());
         _COMM_FindAdapter(name.Text());
     }},
    {"_COMM_ValidateParam", [](Session *s) { _COMM_ValidateParam(s->device); }},
    {"HID_open", [](Session *s) { HID_open(&s->own); }},
    {"HID_read",
     [](Session *s)
     {
         void *handle = IsSerial() ? nullptr : Handle(s);
         ReadInto(s, [handle](unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                              COMM_END_TEST endTest)
                  { return HID_read(handle, buffer, capacity, timeoutMs, endTest); });
     }},
    {"HID_write",
     [](Session *s)
     {
         void *handle = IsSerial() ? nullptr : Handle(s);
         Room bytes(s->Block());
         HID_write(handle, bytes.Data(), static_cast<uint32_t>(bytes.size), s->milliseconds);
     }},
    {"HID_close", [](Session *) { HID_close(nullptr); }},
    {"COM_open", [](Session *s) { COM_open(&s->own); }},
    {"COM_read",
     [](Session *s)
     {
         void *handle = IsSerial() ? Handle(s) : nullptr;
         ReadInto(s, [handle](unsigned char *buffer, uint32_t capacity, uint32_t timeoutMs,
                              COMM_END_TEST endTest)
                  { return COM_read(handle, buffer, capacity, timeoutMs, endTest); });
     }},
    {"COM_write",
     [](Session *s)
     {
         void *handle = IsSerial() ? Handle(s) : nullptr;
         Room bytes(s->Block());
         COM_write(handle, bytes.Data(), static_cast<uint32_t>(bytes.size), s->milliseconds);
     }},
    {"COM_close", [](Session *) { COM_close(nullptr); }},
    {"GSetComName",
     [](Session *s)
     {
         const int index = s->Number();
         Room path(s->Text());
         GSetComName(index, path.Text());
     }},
    {"GOpenCom",
     [](Session *s)
     {
         const int index = s->Number();
         void *handle = GOpenCom(index, s->Number());
         if (handle != nullptr)
             GCloseCom(handle);
     }},
    {"GCloseCom", [](Session *) { FUZZ_CHECK(GCloseCom(nullptr) == -1); }},
    {"GWriteCom",
     [](Session *s)
     {
         Room bytes(s->Block());
         GWriteCom(IsSerial() ? Handle(s) : nullptr, bytes.Data(), bytes.Size(), s->Number());
     }},
    {"GReadCom",
     [](Session *s)
     {
         Room bytes(s->Size(300));
         GReadCom(IsSerial() ? Handle(s) : nullptr, bytes.Data(), bytes.Size(), s->Number());
     }},
    {"GSetTerm_Linux",
     [](Session *s)
     {
         const int file = open("/dev/null", O_RDWR | O_CLOEXEC);
         GSetTerm_Linux(s->mode == 0 ? file : -1, s->Number());
         close(file);
     }},
    {"GReSetTerm_Linux",
     [](Session *s)
     {
         const int file = open("/dev/null", O_RDWR | O_CLOEXEC);
         FUZZ_CHECK(GReSetTerm_Linux(s->Byte() % 2 != 0 ? file : -1) != 0);
         close(file); // not a terminal: its settings cannot be written, and it stays open
     }},
    {"hid_init", [](Session *) { FUZZ_CHECK(hid_init() == 0); }},
    {"hid_exit", [](Session *) { FUZZ_CHECK(hid_exit() == 0); }},
    {"hid_enumerate",
     [](Session *s)
     {
         hid_device_info *devices = hid_enumerate(s->Byte(), 0);
         hid_free_enumeration(devices);
     }},
    {"hid_free_enumeration", [](Session *) { hid_free_enumeration(nullptr); }},
    {"hid_open", [](Session *s) { hid_close(hid_open(s->Byte(), 0, L"1")); }},
    {"hid_open_path",
     [](Session *s)
     {
         Room path(s->Text());
         FUZZ_CHECK(hid_open_path(path.Text()) == nullptr);
     }},
    {"hid_write",
     [](Session *s)
     {
         Room bytes(s->Block());
         FUZZ_CHECK(hid_write(nullptr, bytes.Data(), bytes.size) == -1);
     }},
    {"hid_read_timeout",
     [](Session *s)
     {
         Room bytes(s->Block());
         FUZZ_CHECK(hid_read_timeout(nullptr, bytes.Data(), bytes.size, s->Number()) == -1);
     }},
    {"hid_read",
     [](Session *s)
     {
         Room bytes(s->Block());
         FUZZ_CHECK(hid_read(nullptr, bytes.Data(), bytes.size) == -1);
     }},
    {"hid_set_nonblocking", [](Session *s) { hid_set_nonblocking(nullptr, s->Small()); }},
    {"hid_send_feature_report",
     [](Session *s)
     {
         Room bytes(s->Block());
         FUZZ_CHECK(hid_send_feature_report(nullptr, bytes.Data(), bytes.size) == -1);
     }},
    {"hid_get_feature_report",
     [](Session *s)
     {
         Room bytes(s->Block());
         FUZZ_CHECK(hid_get_feature_report(nullptr, bytes.Data(), bytes.size) == -1);
     }},
    {"hid_close", [](Session *) { hid_close(nullptr); }},
    {"hid_get_manufacturer_string, hid_get_product_string, hid_get_serial_number_string",
     [](Session *)
     {
         wchar_t text[4];
         for (const auto get :
              {hid_get_manufacturer_string, hid_get_product_string, hid_get_serial_number_string})
             FUZZ_CHECK(get(nullptr, text, 4) == -1);
     }},
    {"hid_get_indexed_string",
     [](Session *s)
     {
         wchar_t text[4];
         FUZZ_CHECK(hid_get_indexed_string(nullptr, s->Number(), text, 4) == -1);
     }},
    {"hid_error", [](Session *) { hid_error(nullptr); }},
    {"hid_write_modeid",
     [](Session *s)
     {
         Room bytes(s->Block());
         void *handle = IsSerial() ? nullptr : Handle(s);
         hid_write_modeid(static_cast<hid_device *>(handle), bytes.Data(), bytes.Size(), s->Byte());
     }},
    {"hid_read_modeid",
     [](Session *s)
     {
         Room bytes(s->Size(100));
         void *handle = IsSerial() ? nullptr : Handle(s);
         hid_read_modeid(static_cast<hid_device *>(handle), bytes.Data(), bytes.Size(), s->Small());
     }},
    {"hid_get_input_report_length, hid_get_output_report_length",
     [](Session *)
     {
         FUZZ_CHECK(hid_get_input_report_length(nullptr) == 0);
         FUZZ_CHECK(hid_get_output_report_length(nullptr) == 0);
     }},
};

} // namespace

CallTable TransportCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
