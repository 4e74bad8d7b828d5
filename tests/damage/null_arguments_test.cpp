// Every public call with each of its pointers null, the reader answering as it should: a code, or
// what the call's header says of it. Left out are the calls whose header forbids null: the cores of
// DES and MD5.
#include <cstdarg>
#include <cstring>

#include "damage/bench/bench.h"
#include "support/identity_card.h"
#include "vantor.h"

using namespace damage_testing;
using testing_support::IdentityFrame;
using testing_support::KrelFrame;
using testing_support::UnionFrame;

namespace
{

struct Row
{
    const char *name;
    int expected;
    std::function<int()> call;
};

// Room for whatever the other arguments give.
unsigned char g_bytes[8192];
char g_text[32768];
uint32_t g_length;
int32_t g_signed;
int32_t g_type;
int64_t g_speed;
const unsigned char kData[16] = {0x01, 0x02, 0x03};

std::vector<GoldenExchange> Answers()
{
    ReaderScript krel;
    krel.PowerOn("3B00")
        .PowerOff()
        .Apdu("0084000008", "11229000")
        .Apdu("00A404000E315041592E5359532E4444463031", "6F058801015F00 9000")
        .Apdu("00A4000002EF05", "6F009000")
        .Apdu("00B2010C00", "7003 4F01119000")
        .Apdu("80A80000028300", "80067C00080101009000")
        .Apdu("80CA9F79", "9F79010 59000")
        .Apdu("80AE800003010203", "8004800001119000");
    std::vector<GoldenExchange> rows = krel.rows;
    for (const auto &[command, answer] : {std::pair<const char *, const char *>{"8100", "00 4142"},
                                          {"F1", "00 4142"},
                                          {"41", "00 0400"},
                                          {"4304", "00 1122"},
                                          {"4504", "00 1122"},
                                          {"51", "00 04"},
                                          {"570401", "00 1122"},
                                          {"56021A00", "00 AF"},
                                          {"58", "00 07"},
                                          {"D1", "00 3B"}})
        rows.push_back({KrelFrame(command), KrelFrame(answer)});
    rows.push_back(
        {IdentityFrame(FromHex("3001")), IdentityFrame(testing_support::ResidentCard().Payload())});
    rows.push_back({IdentityFrame(FromHex("3010")),
                    IdentityFrame(testing_support::ResidentCard().PayloadWithFingerprint())});
    rows.push_back({ESC "F]", ESC "s12A34%56?\x1C"});
    return rows;
}

void Make(const std::vector<Row> &rows)
{
    static const std::vector<GoldenExchange> answers = Answers();
    for (const Row &row : rows)
    {
        SCOPED_TRACE(row.name);
        g_line = Line();
        g_line.plugged = true;
        ClearSettings();
        SetSetting("Iccmd", 0);
        Rewind(answers);
        ASSERT_EQ(0, Vantor_Open(&context, 3, 9600, 0));
        g_signed = 4;
        EXPECT_EQ(row.expected, row.call());
        Vantor_Close(&context);
        DC_Init(&context);
    }
    g_line = Line();
}

#define ROW(expected, call)                                                                        \
    {                                                                                              \
#call, expected, [] { return static_cast<int>(call); }                                     \
    }

template <typename Given>
int IsNull(const Given *given)
{
    return given == nullptr ? 1 : 0;
}

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

TEST(NullArguments, OfTheOperations)
{
    Make({
        ROW(-19, IC_GetDevInfo(nullptr, g_bytes, &g_length, 9)),
        ROW(0, IC_GetDevInfo(&context, nullptr, &g_length, 9)),
        ROW(0, IC_GetDevInfo(&context, g_bytes, nullptr, 9)),
        ROW(-19, IC_GetDevAllInfo(nullptr, g_bytes, &g_signed, 9)),
        ROW(0, IC_GetDevAllInfo(&context, nullptr, &g_signed, 9)),
        ROW(0, IC_GetDevAllInfo(&context, g_bytes, nullptr, 9)),
        ROW(-19, IC_SetDevSn(nullptr, kData, 3, 9)),
        ROW(-22, IC_SetDevSn(&context, nullptr, 3, 9)),
        ROW(-1008, IC_Beep(nullptr, 1, 1, 1, 9)),
        ROW(0, IC_DevReset(nullptr)),
        ROW(-19, IC_SetBaud(nullptr, 9600)),
        ROW(-19, IC_PowerOn(nullptr, g_bytes, &g_length, 9)),
        ROW(0, IC_PowerOn(&context, nullptr, &g_length, 9)),
        ROW(0, IC_PowerOn(&context, g_bytes, nullptr, 9)),
        ROW(-19, IC_RFPowerOn(nullptr, g_bytes, &g_length, 9)),
        ROW(0, IC_RFPowerOn(&context, nullptr, &g_length, 9)),
        ROW(0, IC_RFPowerOn(&context, g_bytes, nullptr, 9)),
        ROW(-19, IC_PowerOff(nullptr, 9)),
        ROW(-19, IC_RFPowerOff(nullptr, 9)),
        ROW(-19, IC_APDU(nullptr, kData, 3, g_bytes, &g_length, 9)),
        ROW(-22, IC_APDU(&context, nullptr, 3, g_bytes, &g_length, 9)),
        ROW(0, IC_APDU(&context, kData, 3, nullptr, &g_length, 9)),
        ROW(0, IC_APDU(&context, kData, 3, g_bytes, nullptr, 9)),
        ROW(-19, IC_RFAPDU(nullptr, kData, 3, g_bytes, &g_length, 9)),
        ROW(-22, IC_RFAPDU(&context, nullptr, 3, g_bytes, &g_length, 9)),
        ROW(-1008, IC_CardDetect(nullptr, 1, &g_signed, 9)),
        ROW(-1008, IC_CardDetect(&context, 1, nullptr, 9)),
        ROW(0, MSR_Reset(nullptr, 9)),
        ROW(-19, MSR_ReadTrack(nullptr, 0, 123, 9, g_text, 9, g_text, 9, g_text, 9)),
        ROW(0, MSR_ReadTrack(&context, 0, 123, 9, nullptr, 9, nullptr, 9, nullptr, 9)),
        ROW(-19, MSR_WriteTrack(nullptr, 0, 23, "1", "2", 9)),
        ROW(-22, MSR_WriteTrack(&context, 0, 23, nullptr, "2", 9)),
        ROW(-22, MSR_WriteTrack(&context, 0, 23, "1", nullptr, 9)),
        ROW(-22, GetMsrTrackData(nullptr, 9, g_text, 9, g_text)),
        ROW(0, GetMsrTrackData("12A34", 9, nullptr, 9, nullptr)),
        ROW(-22, GetMsrTrackData123(nullptr, 9, g_text, 9, g_text, 9, g_text)),
        ROW(0, GetMsrTrackData123("12A34%5", 9, nullptr, 9, nullptr, 9, nullptr)),
        ROW(-2105, MSR_GetCardNo(0, nullptr, g_text)),
        ROW(-2105, MSR_GetCardNo(0, "1=2", nullptr)),
    });
}

TEST(NullArguments, OfTheIdentityOperations)
{
    Make({
        ROW(-19, ID_ResetCard(nullptr, 9)),
        ROW(-19, ID_FindCard(nullptr, 9)),
        ROW(-19, ID_SelectCard(nullptr, 9)),
        ROW(-19, ID_ReadCard(nullptr, g_bytes, &g_signed, 9)),
        ROW(0, ID_ReadCard(&context, nullptr, &g_signed, 9)),
        ROW(0, ID_ReadCard(&context, g_bytes, nullptr, 9)),
        ROW(-19, ID_ReadCard_FP(nullptr, g_bytes, &g_signed, 9)),
        ROW(0, ID_ReadCard_FP(&context, nullptr, &g_signed, 9)),
        ROW(0, ID_ReadCard_FP(&context, g_bytes, nullptr, 9)),
        ROW(-19, ID_SetIdBaud(nullptr, 9600, 9)),
        ROW(0, ID_GetBmpData(nullptr, 9, nullptr, nullptr)),
        ROW(0, ID_GetFrontBackImg(nullptr, nullptr, nullptr)),
        ROW(-3, ID_GetBmpFile(nullptr, "x.bmp")),
        ROW(-3, ID_GetBmpFile(g_bytes, nullptr)),
        ROW(-22, ID_GetSex(nullptr, 0, g_text)),
        ROW(-22, ID_GetSex(g_bytes, 0, nullptr)),
        ROW(-22, ID_GetNation(nullptr, 0, g_text)),
        ROW(-22, ID_GetNation(g_bytes, 0, nullptr)),
        ROW(-22, ID_GetSex_Foreign(nullptr, 0, g_text)),
        ROW(-22, ID_GetSex_Foreign(g_bytes, 0, nullptr)),
    });
    int (*const fields[])(const unsigned char *, char *) = {ID_GetName,
                                                            ID_GetSexCode,
                                                            ID_GetNationCode,
                                                            ID_GetBirth,
                                                            ID_GetAddress,
                                                            ID_GetCardNumber,
                                                            ID_GetPolice,
                                                            ID_GetValidStart,
                                                            ID_GetValidEnd,
                                                            ID_GetCardType,
                                                            ID_GetCardNo_GAT,
                                                            ID_GetIssueTimes_GAT,
                                                            ID_GetEnglishName_Foreign,
                                                            ID_GetSexCode_Foreign,
                                                            ID_GetCardNumber_Foreign,
                                                            ID_GetNationCode_Foreign,
                                                            ID_GetNation_Foreign,
                                                            ID_GetChineseName_Foreign,
                                                            ID_GetValidStart_Foreign,
                                                            ID_GetValidEnd_Foreign,
                                                            ID_GetBirth_Foreign,
                                                            ID_GetCardVer_Foreign,
                                                            ID_GetPoliceCode_Foreign};
    for (const auto field : fields)
    {
        EXPECT_EQ(-22, field(nullptr, g_text));
        EXPECT_EQ(-22, field(g_bytes, nullptr));
    }
    int (*const parts[])(const unsigned char *, unsigned char *) = {
        ID_GetPhotoInfo, ID_GetFPInfo, ID_GetASICSerialNumber_GAT, ID_GetSerialCardNumber_GAT};
    for (const auto part : parts)
    {
        EXPECT_EQ(-22, part(nullptr, g_bytes));
        EXPECT_EQ(-22, part(g_bytes, nullptr));
    }
}

TEST(NullArguments, OfTheMemoryCardOperations)
{
    Make({
        ROW(-19, M1_PowerOn(nullptr, g_bytes, &g_length, 9)),
        ROW(0, M1_PowerOn(&context, nullptr, &g_length, 9)),
        ROW(0, M1_PowerOn(&context, g_bytes, nullptr, 9)),
        ROW(-19, M1_PowerOff(nullptr, 9)),
        ROW(-19, M1_Verify(nullptr, 1, 0, "123456", 9)),
        ROW(-22, M1_Verify(&context, 1, 0, nullptr, 9)),
        ROW(-19, M1_ReadBlock(nullptr, 4, g_bytes, &g_length, 9)),
        ROW(0, M1_ReadBlock(&context, 4, nullptr, &g_length, 9)),
        ROW(0, M1_ReadBlock(&context, 4, g_bytes, nullptr, 9)),
        ROW(0, M1_ReadValue(&context, 4, nullptr, &g_length, 9)),
        ROW(0, M1_ReadValue(&context, 4, g_bytes, nullptr, 9)),
        ROW(-22, M1_WriteBlock(&context, 4, nullptr, 16, 9)),
        ROW(-22, M1_WriteValue(&context, 4, nullptr, 9)),
        ROW(-22, M1_Increment(&context, 4, nullptr, 9)),
        ROW(-22, M1_Decrement(&context, 4, nullptr, 9)),
        ROW(-19, M1_IncreaseValue(nullptr, 4, 1, 9)),
        ROW(-19, M1_DecreaseValue(nullptr, 4, 1, 9)),
        ROW(0, M0_PowerOn(&context, nullptr, &g_length, 9)),
        ROW(0, M0_PowerOn(&context, g_bytes, nullptr, 9)),
        ROW(-19, M0_PowerOff(nullptr, 9)),
        ROW(0, M0_ReadBlock(&context, 4, 1, nullptr, &g_length, 9)),
        ROW(0, M0_ReadBlock(&context, 4, 1, g_bytes, nullptr, 9)),
        ROW(-22, M0_WriteBlock(&context, 4, nullptr, 4, 9)),
        ROW(-22, M0_Interaction(&context, nullptr, 2, g_bytes, &g_length, 9)),
        ROW(0, M0_Interaction(&context, reinterpret_cast<const unsigned char *>("\x1A"), 2, nullptr,
                              &g_length, 9)),
        ROW(0, M0_Interaction(&context, reinterpret_cast<const unsigned char *>("\x1A"), 2, g_bytes,
                              nullptr, 9)),
        ROW(0, M0_ChcekCardType(&context, 0, nullptr, 9)),
    });
}

TEST(NullArguments, OfThePurse)
{
    Make({
        ROW(-99, EPED_ReadBinary(&context, 0, 1, 0, nullptr, &g_signed)),
        ROW(-99, EPED_ReadBinary(&context, 0, 1, 0, g_bytes, nullptr)),
        ROW(-99, EPED_UpdateBinary(&context, 0, 1, 0, nullptr, 3)),
        ROW(-99, EPED_Verify(&context, 0, nullptr, 3)),
        ROW(-99, EPED_GetRandom(&context, 0, nullptr, &g_signed)),
        ROW(-99, EPED_GetRandom(&context, 0, g_bytes, nullptr)),
        ROW(-99, EPED_GetBalance(&context, 0, 1, nullptr, &g_signed)),
        ROW(-99, EPED_GetBalance(&context, 0, 1, g_bytes, nullptr)),
        ROW(-99, EPED_InitForLoad(&context, 0, 1, nullptr, g_bytes, &g_signed)),
        ROW(-99, EPED_InitForLoad(&context, 0, 1, kData, nullptr, &g_signed)),
        ROW(-99, EPED_InitForLoad(&context, 0, 1, kData, g_bytes, nullptr)),
        ROW(-99, EPED_Load(&context, 0, nullptr, g_bytes, &g_signed)),
        ROW(-99, EPED_Load(&context, 0, kData, nullptr, &g_signed)),
        ROW(-99, EPED_Load(&context, 0, kData, g_bytes, nullptr)),
        ROW(-99, EPED_InitForPurchase(&context, 0, 1, nullptr, 11, g_bytes, &g_signed)),
        ROW(-99, EPED_InitForPurchase(&context, 0, 1, kData, 11, nullptr, &g_signed)),
        ROW(-99, EPED_InitForPurchase(&context, 0, 1, kData, 11, g_bytes, nullptr)),
        ROW(-99, EPED_Purchase(&context, 0, 0, nullptr, 15, g_bytes, &g_signed)),
        ROW(-99, EPED_Purchase(&context, 0, 0, kData, 15, nullptr, &g_signed)),
        ROW(-99, EPED_Purchase(&context, 0, 0, kData, 15, g_bytes, nullptr)),
        ROW(-19, EPED_GetBalance(nullptr, 0, 1, g_bytes, &g_signed)),
    });
}

TEST(NullArguments, OfThePbocEngine)
{
    Make({
        ROW(-99, PBOC_GetTagValue(nullptr, 1, kData, 3, g_bytes, &g_signed)),
        ROW(-99, PBOC_GetTagValue(kData, 1, nullptr, 3, g_bytes, &g_signed)),
        ROW(-99, PBOC_GetTagValue(kData, 1, kData, 3, nullptr, &g_signed)),
        ROW(-99, PBOC_GetTagValue(kData, 1, kData, 3, g_bytes, nullptr)),
        ROW(-99, PBOC_SetTagValue(nullptr, 1, g_bytes, 3, kData, 1)),
        ROW(-99, PBOC_SetTagValue(kData, 1, nullptr, 3, kData, 1)),
        ROW(-99, PBOC_SetTagValue(kData, 1, g_bytes, 3, nullptr, 1)),
        ROW(-99, PBOC_SetTxDataTagValue(nullptr, 1, kData, 1)),
        ROW(-99, PBOC_SetTxDataTagValue(kData, 1, nullptr, 1)),
        ROW(-99, PBOC_SetAppInitDataTagValue(nullptr, 1, kData, 1)),
        ROW(-99, PBOC_SetAppInitDataTagValue(kData, 1, nullptr, 1)),
        ROW(0, PBOC_GetTagInDOL(nullptr, 3, g_bytes, &g_signed, &g_type)),
        ROW(0, PBOC_GetTagInDOL(kData, 3, nullptr, &g_signed, &g_type)),
        ROW(0, PBOC_GetTagInDOL(kData, 3, g_bytes, nullptr, &g_type)),
        ROW(0, PBOC_GetTagInDOL(kData, 3, g_bytes, &g_signed, nullptr)),
        ROW(-99, PBOC_BuildDOL(nullptr, 0, nullptr, 3, g_bytes, &g_signed)),
        ROW(-99, PBOC_BuildDOL(nullptr, 0, kData, 3, nullptr, &g_signed)),
        ROW(-99, PBOC_BuildDOL(nullptr, 0, kData, 3, g_bytes, nullptr)),
        ROW(-99, PBOC_GetSimpTagValue(nullptr, 1, "P0011", 5, g_text, &g_signed)),
        ROW(-99, PBOC_GetSimpTagValue("P", 1, nullptr, 5, g_text, &g_signed)),
        ROW(-99, PBOC_GetSimpTagValue("P", 1, "P0011", 5, nullptr, &g_signed)),
        ROW(-99, PBOC_GetSimpTagValue("P", 1, "P0011", 5, g_text, nullptr)),
        ROW(-19, PBOC_IcAPDU(nullptr, 0, g_bytes, 5, g_bytes, &g_signed)),
        ROW(-99, PBOC_IcAPDU(&context, 0, nullptr, 5, g_bytes, &g_signed)),
        ROW(-99, PBOC_IcAPDU(&context, 0, g_bytes, 5, nullptr, &g_signed)),
        ROW(-99, PBOC_IcAPDU(&context, 0, g_bytes, 5, g_bytes, nullptr)),
        ROW(-99, PBOC_BuildARQCBack(nullptr, 11, g_bytes, &g_signed)),
        ROW(-99, PBOC_BuildARQCBack(kData, 11, nullptr, &g_signed)),
        ROW(-99, PBOC_BuildARQCBack(kData, 11, g_bytes, nullptr)),
    });
}

// Their cards answer as they should, so that what is missing is reached.
TEST(NullArguments, OfTheCommandsToACard)
{
    static const auto *const pse = reinterpret_cast<const unsigned char *>("1PAY.SYS.DDF01");
    static const unsigned char file[] = {0xEF, 0x05};
    static const unsigned char locator[] = {0x08, 0x01, 0x01, 0x00};
    static const unsigned char balance[] = {0x9F, 0x79};
    static const unsigned char one[] = {0x01};
    Make({
        ROW(-19, PBOC_SelectPSE(nullptr, 0, pse, 14, g_bytes, &g_signed)),
        ROW(-99, PBOC_SelectPSE(&context, 0, nullptr, 14, g_bytes, &g_signed)),
        ROW(-99, PBOC_SelectPSE(&context, 0, pse, 14, nullptr, &g_signed)),
        ROW(-99, PBOC_SelectPSE(&context, 0, pse, 14, g_bytes, nullptr)),
        ROW(0, PBOC_GetAID(&context, 0, nullptr, 1, g_bytes, &g_signed)),
        ROW(0, PBOC_GetAID(&context, 0, one, 1, nullptr, &g_signed)),
        ROW(0, PBOC_GetAID(&context, 0, one, 1, g_bytes, nullptr)),
        ROW(-99, PBOC_SelectAID(&context, 0, nullptr, 14, g_bytes, &g_signed)),
        ROW(-99, PBOC_SelectAID(&context, 0, pse, 14, nullptr, &g_signed)),
        ROW(-99, PBOC_SelectAID(&context, 0, pse, 14, g_bytes, nullptr)),
        ROW(-99, PBOC_SelectFile(&context, 0, 0, nullptr, 2, g_bytes, &g_signed)),
        ROW(-99, PBOC_SelectFile(&context, 0, 0, file, 2, nullptr, &g_signed)),
        ROW(-99, PBOC_SelectFile(&context, 0, 0, file, 2, g_bytes, nullptr)),
        ROW(-99, PBOC_ReadRecord(&context, 0, 1, 1, nullptr, &g_signed)),
        ROW(-99, PBOC_ReadRecord(&context, 0, 1, 1, g_bytes, nullptr)),
        ROW(-99,
            PBOC_GetProcOptions(&context, 0, nullptr, 1, g_bytes, &g_signed, g_bytes, &g_type)),
        ROW(0, PBOC_GetProcOptions(&context, 0, nullptr, 0, g_bytes, &g_signed, g_bytes, &g_type)),
        ROW(-99, PBOC_GetProcOptions(&context, 0, kData, 0, nullptr, &g_signed, g_bytes, &g_type)),
        ROW(-99, PBOC_GetProcOptions(&context, 0, kData, 0, g_bytes, nullptr, g_bytes, &g_type)),
        ROW(-99, PBOC_GetProcOptions(&context, 0, kData, 0, g_bytes, &g_signed, nullptr, &g_type)),
        ROW(-99, PBOC_GetProcOptions(&context, 0, kData, 0, g_bytes, &g_signed, g_bytes, nullptr)),
        ROW(0, PBOC_GetAppData(&context, 0, nullptr, 4, g_bytes, &g_signed)),
        ROW(0, PBOC_GetAppData(&context, 0, locator, 4, nullptr, &g_signed)),
        ROW(0, PBOC_GetAppData(&context, 0, locator, 4, g_bytes, nullptr)),
        ROW(-99, PBOC_GetData(&context, 0, nullptr, 2, g_bytes, &g_signed)),
        ROW(-99, PBOC_GetData(&context, 0, balance, 2, nullptr, &g_signed)),
        ROW(-99, PBOC_GetData(&context, 0, balance, 2, g_bytes, nullptr)),
        ROW(-99, PBOC_GenerateAC(&context, 0, 0x80, nullptr, 3, g_bytes, &g_signed)),
        ROW(-99, PBOC_GenerateAC(&context, 0, 0x80, kData, 3, nullptr, &g_signed)),
        ROW(-99, PBOC_GenerateAC(&context, 0, 0x80, kData, 3, g_bytes, nullptr)),
        ROW(-99, PBOC_ExternalAuth(&context, 0, nullptr, 3)),
        ROW(-99, PBOC_ExternalAuth_Sh(&context, 0, nullptr, 3)),
        ROW(-99, PBOC_ExeScript(&context, 0, nullptr, 3)),
        ROW(-99, PBOC_DeliveryKey(&context, 0, 1, 1, nullptr, 3)),
        ROW(-99, PBOC_CryptData(&context, 0, 1, nullptr, 3, g_bytes, &g_signed)),
        ROW(-99, PBOC_CryptData(&context, 0, 1, kData, 3, nullptr, &g_signed)),
        ROW(-99, PBOC_CryptData(&context, 0, 1, kData, 3, g_bytes, nullptr)),
        ROW(-99, PBOC_ChangePin(&context, 0, 1, nullptr, 3)),
    });
}

TEST(NullArguments, OfTheBusinessCalls)
{
    Make({
        ROW(-1007, BO_InitConnect(3, 9600, 0, 0, 0, nullptr, &g_length)),
        ROW(-1007, BO_InitConnect(3, 9600, 0, 0, 0, g_bytes, nullptr)),
        ROW(0, BO_InitConnect(3, 9600, 0, 1, 0, nullptr, nullptr)),
        ROW(-1007, BO_InitConnect_PID(1, 2, 0, nullptr, &g_length)),
        ROW(-1007, BO_InitConnect_PID(1, 2, 0, g_bytes, nullptr)),
        ROW(-1007, BO_GetDevInfo(0, nullptr, &g_length)),
        ROW(-1007, BO_GetDevInfo(0, g_bytes, nullptr)),
        ROW(0, BO_ChangeBaud(9600, nullptr)),
        ROW(0, BO_ChangeBaud(9600, &g_speed)),
        ROW(-22, BO_GetDevSn(nullptr, &g_length)),
        ROW(-22, BO_GetDevSn(g_text, nullptr)),
        ROW(-22, BO_SetDevSn(nullptr, 3)),
        ROW(0, BO_GetErrInfo(-1000, 0, nullptr, &g_signed)),
        ROW(0, BO_GetErrInfo(-1000, 0, g_text, nullptr)),
        ROW(0, BO_IcPowerOn(0, 9, nullptr, &g_signed, &g_type, 1)),
        ROW(-1007, BO_IcPowerOn(0, 9, g_text, nullptr, &g_type, 1)),
        ROW(-1007, BO_IcPowerOn(0, 9, g_text, &g_signed, nullptr, 1)),
        ROW(-1007, BO_IcAPDU(0, nullptr, 2, 0, g_text, &g_signed)),
        ROW(-1007, BO_IcAPDU(0, "0084", 4, 0, nullptr, &g_signed)),
        ROW(-1007, BO_IcAPDU(0, "0084", 4, 0, g_text, nullptr)),
        ROW(-22, BO_CardDetect(nullptr)),
        ROW(0, IsHexDataValue(nullptr)),
        ROW(0, IsNumDataValue(nullptr)),
        ROW(0, IsPbocDataValue(nullptr)),
        ROW(0, IsTagListValue(nullptr)),
        ROW(0, IsTrackDataValue(nullptr)),
        ROW(-1007, BO_ICGetInfo(0, nullptr, 0, g_text, 1)),
        ROW(-1007, BO_ICGetInfo(0, "A", 0, nullptr, 1)),
        ROW(-1007, BO_ICGetDetail(0, 0, nullptr, 1)),
        ROW(-1007, BO_ICGetCircllog(0, 0, nullptr, 1)),
        ROW(-1007, BO_SSCReadInfo(0, nullptr, 1)),
    });
}

TEST(NullArguments, OfTheTransactions)
{
    Make({
        ROW(-1007, BO_ICGenARQC(0, nullptr, 9, g_text, &g_type, 1)),
        ROW(-1007, BO_ICGenARQC(0, "P0011", 9, nullptr, &g_type, 1)),
        ROW(-1007, BO_ICGenARQC(0, "P0011", 9, g_text, nullptr, 1)),
        ROW(-1007, BO_ICExeScript_TC(0, nullptr, "9100", 17, g_text, 0, g_text)),
        ROW(-1007, BO_ICExeScript_TC(0, "P0011", nullptr, 17, g_text, 0, g_text)),
        ROW(-1007, BO_ICExeScript_TC(0, "P0011", "9100", 17, nullptr, 0, g_text)),
        ROW(-1007, BO_ICExeScript_TC(0, "P0011", "9100", 17, g_text, 0, nullptr)),
        ROW(-1007, BO_ICExeScript(0, nullptr, "9100", nullptr)),
        ROW(-1007, BO_ICExeScript(0, "P0011", nullptr, nullptr)),
        ROW(-1007, BO_ICGetInfo_YC(nullptr, "", "A", 9, g_text, 1)),
        ROW(-1007, BO_ICGetInfo_YC(&g_type, "", nullptr, 9, g_text, 1)),
        ROW(-1007, BO_ICGetInfo_YC(&g_type, "", "A", 9, nullptr, 1)),
        ROW(-1007, BO_ICGenARQC_YC(nullptr, "", "P0011", 9, g_text, 1, g_text)),
        ROW(-1007, BO_ICGenARQC_YC(&g_type, "", nullptr, 9, g_text, 1, g_text)),
        ROW(-1007, BO_ICGenARQC_YC(&g_type, "", "P0011", 9, nullptr, 1, g_text)),
        ROW(-1007, BO_ICGenARQC_YC(&g_type, "", "P0011", 9, g_text, 1, nullptr)),
        ROW(-1007, BO_ICExeScript_YC(0, nullptr, "9100", 17, g_text, 9, g_text, 3, kData)),
        ROW(-1007, BO_ICExeScript_YC(0, "P0011", nullptr, 17, g_text, 9, g_text, 3, kData)),
        ROW(-1007, BO_ICExeScript_YC(0, "P0011", "9100", 17, nullptr, 9, g_text, 3, kData)),
        ROW(-1007, BO_ICExeScript_YC(0, "P0011", "9100", 17, g_text, 9, nullptr, 3, kData)),
        ROW(-4109, BO_ICExeScript_YC(0, "P0011", "9100", 17, g_text, 9, g_text, 3, nullptr)),
        ROW(-1007, BO_ICGetDetail_YC(nullptr, "", 9, g_text, 1)),
        ROW(-1007, BO_ICGetDetail_YC(&g_type, "", 9, nullptr, 1)),
    });
}

TEST(NullArguments, OfStripesIdentityAndMemoryCards)
{
    Make({
        ROW(-1007, BO_ReadMagCard(0, 123, 9, nullptr, &g_length, 9, g_text, &g_length, 9, g_text,
                                  &g_length, 1)),
        ROW(-1007, BO_ReadMagCard(0, 123, 9, g_text, nullptr, 9, g_text, &g_length, 9, g_text,
                                  &g_length, 1)),
        ROW(-1007,
            BO_ReadMagCard(0, 2, 9, nullptr, nullptr, 9, g_text, nullptr, 9, nullptr, nullptr, 1)),
        ROW(-1007, BO_WriteMagCard(0, 0, 0, nullptr, 0, nullptr, 0, 1)),
        ROW(-1007, BO_GetMagCardNo(0, 2, 0, nullptr, &g_length, 1)),
        ROW(-1007, BO_GetMagCardNo(0, 2, 0, g_text, nullptr, 1)),
        ROW(-1007, BO_ReadIdInfo(nullptr, 0, nullptr, &g_length, nullptr, 0, nullptr, nullptr, 1)),
        ROW(-1007, BO_ReadIdInfo(nullptr, 0, g_text, nullptr, nullptr, 0, nullptr, nullptr, 1)),
        ROW(-1007, BO_ReadIdInfo_Pic(nullptr, 0, nullptr, &g_length, 1)),
        ROW(-1007, BO_ReadIdInfo_Pic(nullptr, 0, g_text, nullptr, 1)),
        ROW(-1007, BO_ReadIdInfo_Pic_FB(nullptr, nullptr, nullptr, nullptr, nullptr, &g_length,
                                        nullptr, nullptr, 1)),
        ROW(-1007, BO_ReadIdInfo_Pic_FB(nullptr, nullptr, nullptr, nullptr, g_text, nullptr,
                                        nullptr, nullptr, 1)),
        ROW(-1007,
            BO_ReadIdInfo_Pic_YC(nullptr, nullptr, nullptr, nullptr, 9, nullptr, &g_length, 1)),
        ROW(-1007, BO_ReadIdInfo_Pic_YC(nullptr, nullptr, nullptr, nullptr, 9, g_text, nullptr, 1)),
        ROW(-1007, BO_GetIdRawData(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, -1)),
        ROW(0, BO_ModifyIdPath_YC(0, nullptr, "a", g_text)),
        ROW(0, BO_ModifyIdPath_YC(0, "a", nullptr, g_text)),
        ROW(0, BO_ModifyIdPath_YC(0, "a", "a", nullptr)),
        ROW(0, BO_M1Powerup(9, nullptr, &g_signed, 1)),
        ROW(-1007, BO_M1Powerup(9, g_text, nullptr, 1)),
        ROW(-5014, BO_M1Verify(1, 0, nullptr)),
        ROW(-1007, BO_M1ReadBlock(4, 9, nullptr)),
        ROW(-1007, BO_M1Read(4, 9, nullptr)),
        ROW(-5012, BO_M1WriteBlock(4, nullptr)),
        ROW(-5013, BO_M1Write(4, nullptr)),
        ROW(-5013, BO_M1Increment(4, nullptr)),
        ROW(-5013, BO_M1Decrement(4, nullptr)),
        ROW(0, BO_M0PowerOn(9, nullptr, &g_signed, 1)),
        ROW(-1007, BO_M0PowerOn(9, g_text, nullptr, 1)),
        ROW(-1007, BO_M0Read(4, 1, 9, nullptr)),
        ROW(-1007, BO_M0Write(4, nullptr)),
        ROW(-1007, BO_M0VerifyKey(32, nullptr)),
        ROW(-1007, BO_M0DownKey(32, nullptr)),
    });
}

TEST(NullArguments, OfTheTerminalCalls)
{
    Make({
        ROW(-1, IC_GetInfo(nullptr, nullptr, 9600, 1, &g_type, "", "A", &g_signed, g_text)),
        ROW(-1, IC_GetInfo("t", nullptr, 9600, 1, nullptr, "", "A", &g_signed, g_text)),
        ROW(-1, IC_GetInfo("t", nullptr, 9600, 1, &g_type, nullptr, "A", &g_signed, g_text)),
        ROW(-1, IC_GetInfo("t", nullptr, 9600, 1, &g_type, "", nullptr, &g_signed, g_text)),
        ROW(-1, IC_GetInfo("t", nullptr, 9600, 1, &g_type, "", "A", nullptr, g_text)),
        ROW(-1, IC_GetInfo("t", nullptr, 9600, 1, &g_type, "", "A", &g_signed, nullptr)),
        ROW(-1,
            IC_GenARQC(nullptr, nullptr, 9600, 1, &g_type, "", "P0011", &g_signed, g_text, g_text)),
        ROW(-1, IC_GenARQC("t", nullptr, 9600, 1, nullptr, "", "P0011", &g_signed, g_text, g_text)),
        ROW(-1, IC_GenARQC("t", nullptr, 9600, 1, &g_type, "", nullptr, &g_signed, g_text, g_text)),
        ROW(-1, IC_GenARQC("t", nullptr, 9600, 1, &g_type, "", "P0011", nullptr, g_text, g_text)),
        ROW(-1,
            IC_GenARQC("t", nullptr, 9600, 1, &g_type, "", "P0011", &g_signed, nullptr, g_text)),
        ROW(-1,
            IC_GenARQC("t", nullptr, 9600, 1, &g_type, "", "P0011", &g_signed, g_text, nullptr)),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, nullptr, "P0011", "91", &g_signed, g_text,
                                 g_text, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, nullptr, "91", &g_signed, g_text,
                                 g_text, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, "P0011", nullptr, &g_signed,
                                 g_text, g_text, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, "P0011", "91", nullptr, g_text,
                                 g_text, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, "P0011", "91", &g_signed, nullptr,
                                 g_text, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, "P0011", "91", &g_signed, g_text,
                                 nullptr, "8A02")),
        ROW(-1, IC_CtlScriptData("t", nullptr, 9600, 1, &g_type, "P0011", "91", &g_signed, g_text,
                                 g_text, nullptr)),
        ROW(-1, IC_GetTranDeta(nullptr, nullptr, 9600, 1, &g_type, "", &g_signed, g_text)),
        ROW(-1, IC_GetTranDeta("t", nullptr, 9600, 1, nullptr, "", &g_signed, g_text)),
        ROW(-1, IC_GetTranDeta("t", nullptr, 9600, 1, &g_type, "", nullptr, g_text)),
        ROW(-1, IC_GetTranDeta("t", nullptr, 9600, 1, &g_type, "", &g_signed, nullptr)),
        ROW(-1, MS_ReadCard(nullptr, nullptr, 9600, 1, 23, 0, g_text, g_text)),
        ROW(-1, MS_ReadCard("t", nullptr, 9600, 1, 23, 0, nullptr, g_text)),
        ROW(-1, MS_ReadCard("t", nullptr, 9600, 1, 23, 0, g_text, nullptr)),
        ROW(-1, MS_WriteCard("t", nullptr, 9600, 1, 23, 0, nullptr, "1")),
        ROW(-1, MS_WriteCard("t", nullptr, 9600, 1, 23, 0, "1", nullptr)),
        ROW(-1, ID_GetInfo(nullptr, nullptr, 9600, 1, nullptr, nullptr, nullptr, nullptr, g_text)),
        ROW(-1, ID_GetInfo("t", nullptr, 9600, 1, nullptr, nullptr, nullptr, nullptr, nullptr)),
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
