// The texts of public and business codes, and the mapping of internal codes to public ones.
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>

#include "support/log_capture.h"
#include "vantor/business.h"

using testing_support::LogCapture;

namespace
{

struct Text
{
    int code;
    const char *text;
};

const Text kTexts[] = {
    {0, "成功"},
    {-1000, "打开端口失败"},
    {-1001, "连接设备失败"},
    {-1002, "设备被占用"},
    {-1003, "设备未连接"},
    {-1004, "读数据超时"},
    {-1005, "写数据超时"},
    {-1006, "应用被取消"},
    {-1007, "参数异常"},
    {-1008, "设备不支持该功能"},
    {-1009, "调用动态库失败"},
    {-1010, "调用动态库接口失败"},
    {-1011, "切换设备模块失败"},
    {-1012, "初始化设备参数无效"},
    {-1013, "通讯数据异常"},
    {-1014, "通讯异常"},
    {-2000, "读123磁道数据失败"},
    {-2001, "读1磁道数据失败"},
    {-2002, "读2磁道数据失败"},
    {-2003, "读3磁道数据失败"},
    {-2004, "读23磁道数据失败"},
    {-2005, "2磁道数据为空"},
    {-2006, "3磁道数据为空"},
    {-2007, "23磁道数据为空"},
    {-2100, "写123道数据失败"},
    {-2101, "写1道数据失败"},
    {-2102, "写2道数据失败"},
    {-2103, "写3道数据失败"},
    {-2104, "写23道数据失败"},
    {-2105, "解析磁道的卡号数据失败"},
    {-2106, "读12磁道数据失败"},
    {-2107, "读13磁道数据失败"},
    {-2108, "13磁道数据为空"},
    {-2109, "12磁道数据为空"},
    {-2110, "123磁道数据为空"},
    {-2111, "1磁道数据为空"},
    {-3000, "无法连接二代证模块"},
    {-3001, "找不到二代证"},
    {-3002, "读二代证信息失败"},
    {-3003, "无法生成二代证头像图片"},
    {-3004, "设置二代证模块波特率失败"},
    {-4000, "上电失败"},
    {-4001, "上电超时"},
    {-4002, "下电失败"},
    {-4003, "APDU参数错误"},
    {-4004, "卡片未上电"},
    {-4005, "卡片不在卡槽中"},
    {-4006, "APDU执行失败"},
    {-4100, "PSE选应用失败"},
    {-4101, "获取应用失败"},
    {-4102, "AID选应用失败"},
    {-4103, "建立数据对象列表"},
    {-4104, "获取处理选项失败"},
    {-4105, "取应用数据失败"},
    {-4106, "建立动态数据对象列表失败"},
    {-4107, "生成应用密文失败"},
    {-4108, "返回ARQC数据失败"},
    {-4109, "外部认证失败"},
    {-4110, "执行脚本失败"},
    {-5010, "块号出错"},
    {-5011, "扇区号出错"},
    {-5012, "数据长度不够，或超出，应为16个字节"},
    {-5013, "数据长度不够，或超出，应为4个字节"},
    {-5014, "密钥数据长度不够，或超出，应为6个字节"},
    {-5015, "密钥类型不对，应为0x60或者0x61"},
};

std::string TextOf(int code)
{
    char message[64];
    memset(message, '#', sizeof message);
    int32_t length = -1;
    EXPECT_EQ(0, BO_GetErrInfo(code, 0, message, &length));
    EXPECT_EQ(static_cast<size_t>(length), strnlen(message, sizeof message)) << code;
    EXPECT_EQ('#', message[length + 1]) << "nothing behind the NUL: " << code;
    return message;
}

} // namespace

TEST(ErrorTexts, EveryCodeHasItsText)
{
    for (const Text &row : kTexts)
        EXPECT_EQ(row.text, TextOf(row.code)) << row.code;
}

TEST(ErrorTexts, EveryOtherCodeIsSomethingElse)
{
    std::set<int> known;
    for (const Text &row : kTexts)
        known.insert(row.code);
    for (int code = -6000; code <= 100; code++)
    {
        if (known.count(code) == 0)
        {
            ASSERT_EQ("其他错误", TextOf(code)) << code;
        }
    }
    for (int code : {-1015, -2008, -3005, -4007, -4111, -5009, -5016, -22, -62, 1, 2147483647})
        EXPECT_EQ("其他错误", TextOf(code)) << code;
}

TEST(ErrorTexts, AreUtf8AndTheLengthCountsBytes)
{
    int32_t length = 0;
    char message[64];
    BO_GetErrInfo(0, 0, message, &length);
    EXPECT_EQ(6, length);
    EXPECT_STREQ("\xE6\x88\x90\xE5\x8A\x9F", message);
    BO_GetErrInfo(-1015, 0, message, &length);
    EXPECT_EQ(12, length);
    BO_GetErrInfo(-5012, 0, message, &length);
    EXPECT_EQ(50, length);
    BO_GetErrInfo(-5014, 0, message, &length);
    EXPECT_EQ(55, length);
}

TEST(ErrorTexts, AMissingOutputIsNotWritten)
{
    int32_t length = 0;
    char message[64] = "";
    EXPECT_EQ(0, BO_GetErrInfo(0, 0, nullptr, &length));
    EXPECT_EQ(6, length);
    EXPECT_EQ(0, BO_GetErrInfo(-1004, 0, message, nullptr));
    EXPECT_STREQ("读数据超时", message);
    EXPECT_EQ(0, BO_GetErrInfo(0, 0, nullptr, nullptr));
}

TEST(ErrorCodes, InternalCodesBecomePublicOnes)
{
    const LogCapture log(0);
    EXPECT_EQ(-1000, BO_GetErrorCode(-2));
    EXPECT_EQ(-1002, BO_GetErrorCode(-16));
    EXPECT_EQ(-1003, BO_GetErrorCode(-19));
    EXPECT_EQ(-1004, BO_GetErrorCode(-62));
    EXPECT_EQ(-1006, BO_GetErrorCode(-125));
    EXPECT_EQ(-1007, BO_GetErrorCode(-22));
    EXPECT_EQ(-1013, BO_GetErrorCode(-74));
    EXPECT_EQ(-1014, BO_GetErrorCode(-1));
}

TEST(ErrorCodes, EveryOtherValuePassesUnchanged)
{
    const LogCapture log(0);
    const std::set<int> mapped = {-2, -16, -19, -62, -125, -22, -74, -1};
    for (int code = -6000; code <= 300; code++)
    {
        if (mapped.count(code) == 0)
        {
            ASSERT_EQ(code, BO_GetErrorCode(code));
        }
    }
}

TEST(ErrorCodes, AnyCodeButZeroIsLoggedAsAnError)
{
    const LogCapture log(1);
    BO_GetErrorCode(0);
    EXPECT_EQ("", log.Lines());
    BO_GetErrorCode(-2);
    BO_GetErrorCode(-1001);
    BO_GetErrorCode(3);
    EXPECT_EQ("Error:iErrorCode = -2\r\nError:iErrorCode = -1001\r\nError:iErrorCode = 3\r\n",
              log.Lines());
}
