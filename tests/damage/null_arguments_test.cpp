// Every public call with each of its pointers null, the reader answering as it should: a code, or
// what the call's header says of it. Left out are the calls whose header forbids null: the cores of
// DES and MD5. Here the support library, the transport and the links.
#include <cstdarg>

#include "damage/null_arguments.h"

using namespace damage_testing;

namespace
{

int FormatNull(char **text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int result = _Safe_vasprintf(text, format, arguments);
    va_end(arguments);
    return result;
}

int KeepScanning(const char *, const char *, uint64_t)
{
    return 0;
}

} // namespace

TEST(NullArguments, OfTheContextAndTheAdapters)
{
    Make({
        ROW(0, (DC_Init(nullptr), 0)),
        ROW(0, (DC_SetInterfaceType(nullptr, "com"), 0)),
        ROW(0, (DC_SetInterfaceType(&context, nullptr), 0)),
        ROW(1, IsNull(DC_GetInterfaceType(nullptr))),
        ROW(0, (DC_SetInterfaceOps(nullptr, nullptr), 0)),
        ROW(1, IsNull(DC_GetInterfaceOps(nullptr))),
        ROW(0, (DC_SetCOMParams(nullptr, 1, 9600), 0)),
        ROW(0, DC_GetCOMPort(nullptr)),
        ROW(0, DC_GetCOMBaud(nullptr)),
        ROW(0, (DC_AddUsbParams(nullptr, 1, 2), 0)),
        ROW(0, DC_GetUsbListSize(nullptr)),
        ROW(0, DC_GetUsbVid(nullptr, 0)),
        ROW(0, DC_GetUsbPid(nullptr, 0)),
        ROW(0, (DC_SetDevice(nullptr, nullptr), 0)),
        ROW(1, IsNull(static_cast<char *>(DC_GetDevice(nullptr)))),
        ROW(0, (DC_AddDeviceRef(nullptr), 0)),
        ROW(0, DC_ReleaseDeviceRef(nullptr)),
        ROW(0, DC_IsOpen(nullptr)),
        ROW(0, (DC_SwitchOpenStatus(nullptr), 0)),
        ROW(0, (DC_SetOutputBufSize(nullptr, 1), 0)),
        ROW(0, DC_GetOutputBufSize(nullptr)),
        ROW(0, (DC_SetInputBufSize(nullptr, 1), 0)),
        ROW(0, DC_GetInputBufSize(nullptr)),
        ROW(0, (DC_SetModeId(nullptr, 1), 0)),
        ROW(0, DC_GetModeId(nullptr)),
        ROW(-19, COMM_Open(nullptr)),
        ROW(-22, COMM_Read(nullptr, g_bytes, 8, 1, MsrPacketIsEnd)),
        ROW(-22, COMM_Read(&context, nullptr, 8, 1, MsrPacketIsEnd)),
        ROW(-62, COMM_Read(&context, g_bytes, 8, 1, nullptr)),
        ROW(-22, COMM_Write(nullptr, kData, 3, 1)),
        ROW(-22, COMM_Write(&context, nullptr, 3, 1)),
        ROW(0, COMM_Close(nullptr)),
        ROW(1, IsNull(_COMM_FindAdapter(nullptr))),
        ROW(-19, _COMM_ValidateParam(nullptr)),
        ROW(-19, reinterpret_cast<intptr_t>(HID_open(nullptr))),
        ROW(-1, HID_read(nullptr, g_bytes, 8, 1, MsrPacketIsEnd)),
        ROW(-1, HID_write(nullptr, kData, 3, 1)),
        ROW(0, HID_close(nullptr)),
        ROW(0, COM_close(COM_open(nullptr))),
    });
}

TEST(NullArguments, OfTheSerialLine)
{
    g_line = Line(); // the real one
    EXPECT_EQ(-1, COM_read(nullptr, g_bytes, 8, 1, MsrPacketIsEnd));
    EXPECT_EQ(-1, COM_write(nullptr, kData, 3, 1));
    EXPECT_EQ(-1, COM_close(nullptr));
    EXPECT_EQ(-1, GCloseCom(nullptr));
    EXPECT_EQ(-1, GWriteCom(nullptr, kData, 3, 1));
    EXPECT_EQ(-1, GReadCom(nullptr, g_bytes, 8, 1));
    EXPECT_EQ(-99, GSetComName(3, nullptr));
}

TEST(NullArguments, OfTheUsbChannel)
{
    g_line = Line();
    wchar_t wide[8];
    hid_free_enumeration(nullptr);
    EXPECT_EQ(nullptr, hid_open_path(nullptr));
    EXPECT_EQ(-1, hid_write(nullptr, kData, 3));
    EXPECT_EQ(-1, hid_read_timeout(nullptr, g_bytes, 8, 0));
    EXPECT_EQ(-1, hid_read(nullptr, g_bytes, 8));
    EXPECT_EQ(-1, hid_set_nonblocking(nullptr, 1));
    EXPECT_EQ(-1, hid_send_feature_report(nullptr, kData, 3));
    EXPECT_EQ(-1, hid_get_feature_report(nullptr, g_bytes, 8));
    hid_close(nullptr);
    EXPECT_EQ(-1, hid_get_manufacturer_string(nullptr, wide, 8));
    EXPECT_EQ(-1, hid_get_product_string(nullptr, wide, 8));
    EXPECT_EQ(-1, hid_get_serial_number_string(nullptr, wide, 8));
    EXPECT_EQ(-1, hid_get_indexed_string(nullptr, 1, wide, 8));
    EXPECT_EQ(nullptr, hid_error(nullptr));
    EXPECT_EQ(-1, hid_write_modeid(nullptr, kData, 3, 0));
    EXPECT_EQ(-1, hid_read_modeid(nullptr, g_bytes, 8, 0));
    EXPECT_EQ(0, hid_get_input_report_length(nullptr));
    EXPECT_EQ(0, hid_get_output_report_length(nullptr));
    // Buffers of an open device; the bench's one is open.
    g_line.plugged = true;
    hid_device *device = hid_open(0x1BC3, 0x0151, nullptr);
    EXPECT_EQ(-1, hid_write(device, nullptr, 3));
    EXPECT_EQ(-1, hid_read_timeout(device, nullptr, 8, 0));
    EXPECT_EQ(-1, hid_read(device, nullptr, 8));
    EXPECT_EQ(-1, hid_send_feature_report(device, nullptr, 3));
    EXPECT_EQ(-1, hid_get_feature_report(device, nullptr, 8));
    EXPECT_EQ(-1, hid_get_indexed_string(device, 1, nullptr, 8));
    EXPECT_EQ(-1, hid_write_modeid(device, nullptr, 3, 0));
    EXPECT_EQ(-1, hid_read_modeid(device, nullptr, 8, 0));
    g_line = Line();
}

TEST(NullArguments, OfTheLinks)
{
    Make({
        ROW(-19, KrelIc_SendCmd(nullptr, kData, 2, g_bytes, 64, 1)),
        ROW(-22, KrelIc_SendCmd(&context, nullptr, 2, g_bytes, 64, 1)),
        ROW(-22, KrelIc_SendCmd(&context, kData, 2, nullptr, 64, 1)),
        ROW(-19, Union_SendCmd(nullptr, kData, 2, g_bytes, 64, 1)),
        ROW(-22, Union_SendCmd(&context, nullptr, 2, g_bytes, 64, 1)),
        ROW(-22, Union_SendCmd(&context, kData, 2, nullptr, 64, 1)),
        ROW(-19, RAWL_SendCmd(nullptr, kData, 2, g_bytes, 64, 2, 1)),
        ROW(-22, RAWL_SendCmd(&context, nullptr, 2, g_bytes, 64, 2, 1)),
        ROW(-22, RAWL_SendCmd(&context, kData, 2, nullptr, 64, 2, 1)),
        ROW(-19, RAWC_SendCmd(nullptr, kData, 2, g_bytes, 64, "rp/q", 1)),
        ROW(-22, RAWC_SendCmd(&context, nullptr, 2, g_bytes, 64, "rp/q", 1)),
        ROW(-22, RAWC_SendCmd(&context, kData, 2, nullptr, 64, "rp/q", 1)),
        ROW(-22, RAWC_SendCmd(&context, kData, 2, g_bytes, 64, nullptr, 1)),
        ROW(0, MsrPacketIsEnd(nullptr, 8)),
        ROW(0, MsrWriteIsEnd(nullptr, 8)),
        ROW(-19, ID_SendCmd(nullptr, kData, 2, g_bytes, 64, 1)),
        ROW(-22, ID_SendCmd(&context, nullptr, 2, g_bytes, 64, 1)),
        ROW(-22, ID_SendCmd(&context, kData, 2, nullptr, 64, 1)),
        ROW(-22, ID_MakeCmdPackage(nullptr, 2, g_bytes, 64)),
        ROW(-22, ID_MakeCmdPackage(kData, 2, nullptr, 64)),
        ROW(0, KrelIdPacketIsEnd(nullptr, 64)),
        ROW(-19, Vantor_Open(nullptr, 3, 9600, 0)),
        ROW(-19, Vantor_Open_PID(nullptr, 1, 2)),
        ROW(0, Vantor_Close(nullptr)),
        ROW(0, Vantor_SetBpPort(nullptr, '1')),
        ROW(-19, Vantor_Reset(nullptr, 1)),
        ROW(0, Vantor_ChangeMode(nullptr, 0)),
        ROW(-19, Vantor_ReadData(nullptr, 1)),
    });
}

TEST(NullArguments, OfTheSupportLibrary)
{
    Make({
        ROW(-22, GDbgPrintStr(1, nullptr)),
        ROW(-1, FormatNull(nullptr, "x")),
        ROW(-22, GSetLogFilePath(nullptr)),
        ROW(-22, GScanDirectory(nullptr, KeepScanning, 0)),
        ROW(-22, GScanDirectory(".", nullptr, 0)),
        ROW(0, ScanDirCallback(nullptr, "x", 0)),
        ROW(0, ScanDirCallback("x", nullptr, 0)),
        ROW(-22, GSetConfigFilePath(nullptr)),
        ROW(0, GGetConfigString(nullptr, "k", "d", g_text, 9)),
        ROW(0, GGetConfigString("s", nullptr, "d", g_text, 9)),
        ROW(0, GGetConfigString("s", "k", nullptr, g_text, 9)),
        ROW(0, GGetConfigString("s", "k", "d", nullptr, 9)),
        ROW(-22, GSetDllPath(nullptr)),
        ROW(-22, GGetDllPath(nullptr, nullptr)),
        ROW(-22, _IniReadValue(nullptr, "k", "d", g_text, "/nowhere")),
        ROW(-22, _IniReadValue("s", nullptr, "d", g_text, "/nowhere")),
        ROW(-22, _IniReadValue("s", "k", nullptr, g_text, "/nowhere")),
        ROW(-22, _IniReadValue("s", "k", "d", nullptr, "/nowhere")),
        ROW(-22, _IniReadValue("s", "k", "d", g_text, nullptr)),
        ROW(-22, _IniWriteValue(nullptr, "k", "v", "/nowhere")),
        ROW(-22, _IniWriteValue("s", nullptr, "v", "/nowhere")),
        ROW(-22, _IniWriteValue("s", "k", nullptr, "/nowhere")),
        ROW(-22, _IniWriteValue("s", "k", "v", nullptr)),
        ROW(-22, GHex2Byte(nullptr, 2, g_bytes, 2)),
        ROW(-22, GHex2Byte("11", 2, nullptr, 2)),
        ROW(-22, GByte2Hex(nullptr, 2, g_text, 9)),
        ROW(-22, GByte2Hex(kData, 2, nullptr, 9)),
        ROW(-22, GXor(nullptr, kData, g_bytes, 2)),
        ROW(-22, GXor(kData, nullptr, g_bytes, 2)),
        ROW(-22, GXor(kData, kData, nullptr, 2)),
        ROW(-22, GBCD2Ansi(nullptr, 2, g_text, 9)),
        ROW(-22, GBCD2Ansi(kData, 2, nullptr, 9)),
        ROW(-22, GAnsi2BCD(nullptr, 2, g_bytes, 9)),
        ROW(-22, GAnsi2BCD("12", 2, nullptr, 9)),
        ROW(-22, GTrimZero(nullptr, 2, g_bytes, 9)),
        ROW(-22, GTrimZero(kData, 2, nullptr, 9)),
        ROW(0, GURLEncode(nullptr, 2, g_text, 9)),
        ROW(0, GURLEncode(kData, 2, nullptr, 9)),
        ROW(0, GURLDecode(nullptr, 2, g_bytes, 9)),
        ROW(0, GURLDecode("12", 2, nullptr, 9)),
        ROW(0xEA, GCalXor(nullptr, 2)),
        ROW(-22, GCalSum(nullptr, 2)),
        ROW(0, GCalCRC16(nullptr, 2)),
        ROW(0, mmi_chset_ucs2_to_gb18030_2_byte_search(0xFFFF, nullptr)),
        ROW(1, mmi_chset_ucs2_to_gb18030_2_byte_search(0x4E2D, nullptr)),
        ROW(1, mmi_chset_ucs2_to_gb18030_4_byte_search(0x0080, nullptr)),
        ROW(0, mmi_chset_ucs2_to_gb18030_4_byte_search_add(0xFFFF, nullptr)),
        ROW(0, mmi_chset_ucs2_to_gb18030(nullptr, kData)),
        ROW(0, mmi_chset_ucs2_to_gb18030(g_bytes, nullptr)),
        ROW(0, mmi_chset_ucs2_to_gb18030_str(nullptr, kData, 9)),
        ROW(0, mmi_chset_ucs2_to_gb18030_str(g_bytes, nullptr, 9)),
        ROW(0, app_ucs2_strlen(nullptr)),
        ROW(-22, GStrUnicode2GB18030(nullptr, g_text, 2)),
        ROW(-22, GStrUnicode2GB18030("1", nullptr, 2)),
    });
}

TEST(NullArguments, OfCiphersDigestsAndFiles)
{
    g_line = Line();
    EXPECT_EQ(-22, GGetConfigInt("s", "k", 1, nullptr));
    EXPECT_EQ(0, GSetConfigString(nullptr, "k", "v"));
    EXPECT_EQ(0, GSetConfigString("s", nullptr, "v"));
    EXPECT_EQ(0, GSetConfigString("s", "k", nullptr));
    for (const auto cipher : {GDesEncrypt, GDesDecrypt})
    {
        EXPECT_EQ(-22, cipher(nullptr, kData, g_bytes));
        EXPECT_EQ(-22, cipher(kData, nullptr, g_bytes));
        EXPECT_EQ(-22, cipher(kData, kData, nullptr));
    }
    for (const auto cipher : {G3DesEncrypt, G3DesDecrypt})
    {
        EXPECT_EQ(-22, cipher(nullptr, kData, g_bytes, 16));
        EXPECT_EQ(-22, cipher(kData, nullptr, g_bytes, 16));
        EXPECT_EQ(-22, cipher(kData, kData, nullptr, 16));
    }
    EXPECT_EQ(nullptr, MD5Result(nullptr, g_text, 33));
    EXPECT_EQ(nullptr, MD5Result(kData, nullptr, 33));
    EXPECT_EQ(-22, GMd5Encode(nullptr, 3, g_text, 33));
    EXPECT_EQ(-22, GMd5Encode("abc", 3, nullptr, 33));
    EXPECT_EQ(-22, GGetFileMd5(nullptr, g_text, 33));
    EXPECT_EQ(-22, GGetFileMd5("/dev/null", nullptr, 33));
    EXPECT_EQ(nullptr, base64_encode(nullptr, 3));
    EXPECT_EQ(nullptr, base64_decode(nullptr, 4, &g_signed));
    free(base64_decode("TWE=", 4, nullptr));
    EXPECT_EQ(nullptr, GOpenFile(nullptr, 1));
    EXPECT_EQ(-22, GCloseFile(nullptr));
    EXPECT_EQ(-22, GReadFile(nullptr, g_bytes, 3));
    EXPECT_EQ(-22, GWriteFile(nullptr, kData, 3));
    FILE *file = GOpenFile("/dev/null", 1);
    EXPECT_EQ(-22, GReadFile(file, nullptr, 3));
    EXPECT_EQ(-22, GWriteFile(file, nullptr, 3));
    GCloseFile(file);
    EXPECT_EQ(-22, GGetFileSize(nullptr));
    EXPECT_EQ(-22, GGetFileName(nullptr, g_text, 9));
    EXPECT_EQ(-22, GGetFileName("x", nullptr, 9));
    EXPECT_EQ(-22, GGetLocalFilePath(nullptr, 9, "x"));
    EXPECT_EQ(-99, GGetLocalFilePath(g_text, 9, nullptr));
}
