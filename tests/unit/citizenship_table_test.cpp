// The citizenship table: what it holds, and in which form.
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iconv.h>
#include <set>
#include <string>

#include "support/golden_line.h"
#include "vantor/identity_operations.h"

using testing_support::ToHex;

namespace
{

// ISO 3166-1 without the places that have no citizens of their own.
const char kCodes[] =
    "ABW AFG AGO AIA ALA ALB AND ARE ARG ARM ASM ATG AUS AUT AZE BDI BEL BEN BFA BGD "
    "BGR BHR BHS BIH BLM BLR BLZ BMU BOL BRA BRB BRN BTN BWA CAF CAN CCK CHE CHL CHN "
    "CIV CMR COD COG COK COL COM CPV CRI CUB CUW CXR CYM CYP CZE DEU DJI DMA DNK DOM "
    "DZA ECU EGY ERI ESH ESP EST ETH FIN FJI FLK FRA FRO FSM GAB GBR GEO GGY GHA GIB "
    "GIN GLP GMB GNB GNQ GRC GRD GRL GTM GUF GUM GUY HKG HND HRV HTI HUN IDN IMN IND "
    "IRL IRN IRQ ISL ISR ITA JAM JEY JOR JPN KAZ KEN KGZ KHM KIR KNA KOR KWT LAO LBN "
    "LBR LBY LCA LIE LKA LSO LTU LUX LVA MAC MAF MAR MCO MDA MDG MDV MEX MHL MKD MLI "
    "MLT MMR MNE MNG MNP MOZ MRT MSR MTQ MUS MWI MYS MYT NAM NCL NER NFK NGA NIC NIU "
    "NLD NOR NPL NRU NZL OMN PAK PAN PER PHL PLW PNG POL PRI PRK PRT PRY PSE PYF QAT "
    "REU ROU RUS RWA SAU SDN SEN SGP SHN SLB SLE SLV SMR SOM SPM SRB SSD STP SUR SVK "
    "SVN SWE SWZ SXM SYC SYR TCA TCD TGO THA TJK TKL TKM TLS TON TTO TUN TUR TUV TWN "
    "TZA UGA UKR URY USA UZB VAT VCT VEN VGB VIR VNM VUT WLF WSM YEM ZAF ZMB ZWE";

std::string ToUtf8(const std::string &gb18030)
{
    iconv_t converter = iconv_open("UTF-8", "GB18030");
    std::string in = gb18030;
    char out[128];
    char *from = in.data();
    char *to = out;
    size_t fromLeft = in.size();
    size_t toLeft = sizeof out;
    EXPECT_NE(iconv(converter, &from, &fromLeft, &to, &toLeft), static_cast<size_t>(-1));
    iconv_close(converter);
    return std::string(out, sizeof out - toLeft);
}

} // namespace

TEST(CitizenshipTable, Has239RowsOf32Bytes)
{
    EXPECT_EQ(sizeof szCitizenship, 239u * 32u);
}

TEST(CitizenshipTable, TheFirstFourRowsAndTheLastHaveTheirPlace)
{
    EXPECT_EQ(ToHex(szCitizenship[0]), "BC D3 C4 C3 B4 F3 2F 43 41 4E ");
    EXPECT_EQ(ToHex(szCitizenship[1]), "B0 A2 B8 BB BA B9 2F 41 46 47 ");
    EXPECT_EQ(ToHex(szCitizenship[2]), "B0 A2 B8 F9 CD A2 2F 41 52 47 ");
    EXPECT_EQ(ToHex(szCitizenship[3]), "B0 C4 B4 F3 C0 FB D1 C7 2F 41 55 53 ");
    EXPECT_EQ(ToHex(szCitizenship[238]), "B6 E0 C3 D7 C4 E1 BC D3 2F 44 4F 4D ");
}

TEST(CitizenshipTable, EveryRowIsANameASlashAndACodeThenZeroBytes)
{
    for (const auto &row : szCitizenship)
    {
        const size_t length = strnlen(row, sizeof row);
        ASSERT_LE(length, 31u);
        ASSERT_GE(length, 8u); // two characters at least
        for (size_t i = length; i < sizeof row; i++)
            EXPECT_EQ(row[i], '\0');
        EXPECT_EQ(row[length - 4], '/');
        EXPECT_EQ(strchr(row, '/'), row + length - 4);
        EXPECT_EQ(strcspn(row + length - 3, "ABCDEFGHIJKLMNOPQRSTUVWXYZ"), 0u);
        for (size_t i = 0; i < length - 4; i++)
            EXPECT_FALSE(row[i] >= 'A' && row[i] <= 'Z' && row[i - 1] >= 0) << row;
    }
}

TEST(CitizenshipTable, HoldsEachCodeOnce)
{
    std::set<std::string> codes;
    for (const auto &row : szCitizenship)
        codes.insert(row + strlen(row) - 3);
    EXPECT_EQ(codes.size(), 239u);
    std::string text;
    for (const std::string &code : codes)
        text += (text.empty() ? "" : " ") + code;
    EXPECT_EQ(text, kCodes);
}

TEST(CitizenshipTable, IsTheReadableListInAnotherCode)
{
    std::ifstream file(VANTOR_SOURCE_DIR "/src/ops/citizenship_table.txt");
    for (const auto &row : szCitizenship)
    {
        std::string line;
        ASSERT_TRUE(std::getline(file, line));
        EXPECT_EQ(ToUtf8(row), line);
    }
    std::string rest;
    EXPECT_FALSE(std::getline(file, rest));
}

TEST(CitizenshipTable, UsesTheCommonShortNames)
{
    std::set<std::string> rows;
    for (const auto &row : szCitizenship)
        rows.insert(ToUtf8(row));
    for (const char *row : {"美国/USA", "英国/GBR", "韩国/KOR", "朝鲜/PRK", "圣赫勒拿/SHN",
                            "中国/CHN", "中国香港/HKG", "俄罗斯/RUS", "德国/DEU", "日本/JPN"})
        EXPECT_EQ(rows.count(row), 1u) << row;
}
