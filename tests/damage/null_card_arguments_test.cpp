// The same for the operations, the PBOC engine and the business calls.
#include "damage/null_arguments.h"

using namespace damage_testing;

TEST(NullCardArguments, OfTheOperations)
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

TEST(NullCardArguments, OfTheIdentityOperations)
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

TEST(NullCardArguments, OfTheMemoryCardOperations)
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

TEST(NullCardArguments, OfThePurse)
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

TEST(NullCardArguments, OfThePbocEngine)
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
TEST(NullCardArguments, OfTheCommandsToACard)
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
        ROW(0, PBOC_GetAID(&context, 0, nullptr, 0, g_bytes, &g_signed)),
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

TEST(NullCardArguments, OfTheBusinessCalls)
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

TEST(NullCardArguments, OfTheTransactions)
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

TEST(NullCardArguments, OfStripesIdentityAndMemoryCards)
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

TEST(NullCardArguments, OfTheTerminalCalls)
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
