// Identity cards: the three kinds, and the layout of every call.
#include <gtest/gtest.h>
#include <iconv.h>

#include "host/identity_reader.h"

using namespace testing_support;

namespace
{

// Readable: the text that a call gave, from GB18030.
std::string Utf8(const std::string &gb18030)
{
    iconv_t converter = iconv_open("UTF-8", "GB18030");
    std::string in = gb18030;
    std::string out(4 * in.size() + 1, '\0');
    char *from = in.data();
    char *to = out.data();
    size_t fromLeft = in.size();
    size_t toLeft = out.size();
    EXPECT_NE(iconv(converter, &from, &fromLeft, &to, &toLeft), static_cast<size_t>(-1));
    iconv_close(converter);
    return out.substr(0, out.size() - toLeft);
}

// A card read by a call on a reader of its own.
std::string TextOf(Call call, const IdentityCard &card)
{
    IdentityReader reader;
    reader.WholeRead(card).PlugAndOpen();
    const Given given = Make(call, reader.library);
    EXPECT_EQ(0, given.result);
    EXPECT_EQ(given.text.size(), given.length);
    reader.Finish();
    EXPECT_EQ("", reader.BusinessLog());
    return given.text;
}

} // namespace

TEST(IdentityText, AllFieldsOfAResidentCard)
{
    EXPECT_EQ("张三|男|汉|19491231|北京市朝阳区样例街99号|11010519491231002X|北京市公安局|20200101"
              "|长期|N||||",
              Utf8(TextOf(Call::kPlain, ResidentCard())));
}

TEST(IdentityText, AllFieldsOfAGatCard)
{
    EXPECT_EQ("张三|男||19491231|北京市朝阳区样例街99号|810000199001010007|北京市公安局|20200101"
              "|20250101|J|||H12345678|02",
              Utf8(TextOf(Call::kPlain, GatCard())));
}

TEST(IdentityText, AllFieldsOfAForeignCard)
{
    EXPECT_EQ("SMITH, JOHN|女|加拿大/CAN|19810101||CAN110081010110|1100|20150101|20250101|I|史密斯"
              "|01||",
              Utf8(TextOf(Call::kPlain, ForeignCard())));
}

TEST(IdentityText, ThePictureCallGivesTwelveFieldsAndAllOfAGatCard)
{
    EXPECT_EQ("张三|男|汉|19491231|北京市朝阳区样例街99号|11010519491231002X|北京市公安局|20200101"
              "|长期|N||",
              Utf8(TextOf(Call::kPic, ResidentCard())));
    EXPECT_EQ("张三|男||19491231|北京市朝阳区样例街99号|810000199001010007|北京市公安局|20200101"
              "|20250101|J|||H12345678|02",
              Utf8(TextOf(Call::kPic, GatCard())));
    EXPECT_EQ("SMITH, JOHN|女|加拿大/CAN|19810101||CAN110081010110|1100|20150101|20250101|I|史密斯"
              "|01",
              Utf8(TextOf(Call::kPic, ForeignCard())));
}

TEST(IdentityText, TheOtherPictureCallGivesACountryAsItsCode)
{
    EXPECT_EQ("张三|男|汉|19491231|北京市朝阳区样例街99号|11010519491231002X|北京市公安局|20200101"
              "|长期|N||",
              Utf8(TextOf(Call::kFb, ResidentCard())));
    EXPECT_EQ("张三|男||19491231|北京市朝阳区样例街99号|810000199001010007|北京市公安局|20200101"
              "|20250101|J|||H12345678|02",
              Utf8(TextOf(Call::kFb, GatCard())));
    EXPECT_EQ("SMITH, JOHN|女|CAN|19810101||CAN110081010110|1100|20150101|20250101|I|史密斯|01",
              Utf8(TextOf(Call::kFb, ForeignCard())));
}

TEST(IdentityText, TheVariantCallHasALayoutForEachKind)
{
    EXPECT_EQ("张三|男|汉|19491231|北京市朝阳区样例街99号|11010519491231002X|北京市公安局|20200101"
              "|长期|1|||||A",
              Utf8(TextOf(Call::kVariant, ResidentCard())));
    EXPECT_EQ("张三|男||19491231|北京市朝阳区样例街99号|810000199001010007|北京市公安局|20200101"
              "|20250101|||||J|",
              Utf8(TextOf(Call::kVariant, GatCard())));
    EXPECT_EQ("SMITH, JOHN|女|加拿大/CAN|19810101||CAN110081010110|1100|20150101|20250101|2|||史密"
              "斯",
              Utf8(TextOf(Call::kVariant, ForeignCard())));
}

TEST(IdentityText, TheVariantCallLogsIt)
{
    IdentityReader reader(Config("loglevel", "2"));
    reader.WholeRead(ForeignCard()).PlugAndOpen();
    const Given given = Make(Call::kVariant, reader.library);
    reader.Finish();
    EXPECT_EQ("Info:BO_ReadIdInfo_Pic_YC szIdInfo = " + given.text + "\r\n", reader.BusinessLog());
}

TEST(IdentityText, TheVariantCallKeepsToTheRoomItIsTold)
{
    IdentityReader reader;
    reader.WholeRead(ForeignCard()).WholeRead(ForeignCard()).PlugAndOpen();
    const Given cut = Make(Call::kVariant, reader.library, {nullptr, 5, 6});
    EXPECT_EQ(0, cut.result);
    EXPECT_EQ("SMITH", cut.text);
    EXPECT_EQ(5u, cut.length);
    EXPECT_EQ("", Make(Call::kVariant, reader.library, {nullptr, 5, 1}).text);
    for (int capacity : {0, -1})
        EXPECT_EQ(-1007, Make(Call::kVariant, reader.library, {nullptr, 5, capacity}).result);
}

TEST(IdentityText, OfHostileRecords)
{
    IdentityCard zeros;
    zeros.text = std::string(256, '\0');
    EXPECT_EQ("|未知||||||||N||||", Utf8(TextOf(Call::kPlain, zeros)));
    IdentityCard spaces;
    EXPECT_EQ(std::string(15, ' ') + "|未知||        |" + std::string(35, ' ') + "|" +
                  std::string(18, ' ') + "|" + std::string(15, ' ') + "|        |        |N||||",
              Utf8(TextOf(Call::kPlain, spaces)));
    IdentityCard surrogates;
    for (size_t i = 0; i < 256; i += 2)
        surrogates.text.replace(i, 2, std::string("\x00\xDC", 2));
    const std::string lone(35, '\xFF');
    EXPECT_EQ(lone.substr(0, 15) + "|\xCE\xB4\xD6\xAA||" + lone.substr(0, 8) + "|" + lone + "|" +
                  lone.substr(0, 18) + "|" + lone.substr(0, 15) + "|" + lone.substr(0, 8) + "|" +
                  lone.substr(0, 8) + "|N||||",
              TextOf(Call::kPlain, surrogates));
    IdentityCard ones;
    ones.text = std::string(256, '\xFF');
    EXPECT_EQ(60u + 1 + 4 + 2 + 32 + 1 + 140 + 1 + 72 + 1 + 60 + 1 + 32 + 1 + 32 + 1 + 1 + 4,
              TextOf(Call::kPlain, ones).size());
}

// Every code unit of four bytes, the longest names: 524 characters and a NUL, as the header says.
TEST(IdentityText, TheLongestIs524Characters)
{
    IdentityCard wide;
    wide.text.clear();
    for (int i = 0; i < 128; i++)
        wide.text += std::string("\x80\x00", 2);
    IdentityCard foreign = wide;
    foreign.Put(152, u"FLK").Put(248, u"I");
    IdentityCard gat = wide;
    gat.Put(248, u"J");
    IdentityCard resident = wide;
    resident.Put(32, u"98");
    EXPECT_EQ(524u, TextOf(Call::kPlain, foreign).size());
    EXPECT_EQ(490u, TextOf(Call::kPlain, gat).size());
    EXPECT_EQ(464u, TextOf(Call::kPlain, resident).size());
    EXPECT_EQ(518u, TextOf(Call::kVariant, foreign).size());
}
