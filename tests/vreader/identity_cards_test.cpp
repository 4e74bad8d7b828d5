// Identity cards from their descriptions: the text block byte by byte, and what is refused.
//
// The places of the fields are those of GA/T 490 for the resident card, and for the foreign card
// those published with GB/T 2261.1 and GB/T 2659. The numbers 11010519491231002X and
// 440524188001010014 are the samples of GB 11643; the persons are invented.
#include "cards_support.h"

#include "support/scratch.h"

#include "vreader/cards/byte_source.h"
#include "vreader/cards/identity_card.h"
#include "vreader/cards/identity_fields.h"
#include "vreader/cards/profile_files.h"

#include <gmock/gmock.h>

using namespace vreader;
using cards_test::Hex;
using testing::HasSubstr;
using testing::StartsWith;

namespace
{

using Json = nlohmann::json;

std::shared_ptr<const IdentityCard> CardOf(const Json &description,
                                           const std::string &directory = "")
{
    std::string problem;
    auto card = MakeIdentityCard({&description, "", &problem}, directory);
    EXPECT_EQ(problem, "");
    return card;
}

std::string ProblemOf(const Json &description, const std::string &directory = "")
{
    std::string problem;
    MakeIdentityCard({&description, "", &problem}, directory);
    return problem;
}

const Json kResident = Json::parse(R"({
  "kind": "resident", "name": "测试", "sex": "male", "nation": "汉", "birth": "1949-01-31",
  "address": "北京市东城区示例路１号", "number": "110101194901310010",
  "authority": "北京市公安局东城分局", "validFrom": "2025-01-01", "validTo": "long-term"})");

const Json kGat = Json::parse(R"({
  "kind": "gat", "name": "陳樣本", "sex": "male", "birth": "1985-03-08",
  "address": "广东省深圳市福田区样例路8号", "number": "810000198503080012",
  "authority": "深圳市公安局福田分局", "validFrom": "2019-09-01", "validTo": "2024-09-01",
  "passNumber": "H12345678", "issueCount": "01"})");

const Json kForeign = Json::parse(R"({
  "kind": "foreign", "englishName": "SMITH, JOHN SAMPLE", "sex": "male",
  "number": "USA110195001011", "nationality": "USA", "chineseName": "史密斯",
  "birth": "1950-01-01", "validFrom": "2017-06-16", "validTo": "2027-06-15", "version": "01",
  "authority": "1500"})");

// A description with one key changed.
Json With(Json description, const char *key, const Json &value)
{
    description[key] = value;
    return description;
}

Json Without(Json description, const char *key)
{
    description.erase(key);
    return description;
}

} // namespace

TEST(ResidentCard, FieldsStandAtTheirPlacesAndBlanksFillTheRest)
{
    EXPECT_EQ(Hex(CardOf(kResident)->text),
              "4B6DD58B2000200020002000200020002000200020002000200020002000310030003100310039003400"
              "390030003100330031001753AC4E025E1C4ECE573A533A798B4FEF8D11FFF75320002000200020002000"
              "200020002000200020002000200020002000200020002000200020002000200020002000200031003100"
              "30003100300031003100390034003900300031003300310030003000310030001753AC4E025E6C51895B"
              "405C1C4ECE570652405C20002000200020002000320030003200350030003100300031007F951F672000"
              "200020002000200020002000200020002000200020002000200020002000200020002000200020002000"
              "20002000");
}

TEST(ResidentCard, CheckCharacterXAndMixedAddress)
{
    const auto card = CardOf(Json::parse(R"({
      "kind": "resident", "name": "欧阳样本", "sex": "female", "nation": "其他",
      "birth": "19491231", "address": "北京市朝阳区样例街99号院1号楼2单元303室",
      "number": "11010519491231002X", "authority": "北京市公安局朝阳分局",
      "validFrom": "20200229", "validTo": "20400229"})"));
    EXPECT_EQ(Hex(card->text),
              "276B339637682C6720002000200020002000200020002000200020002000320039003700310039003400"
              "390031003200330031001753AC4E025E1D6733963A5337688B4F578839003900F75362963100F7537C69"
              "320055534351330030003300A45B20002000200020002000200020002000200020002000200031003100"
              "30003100300035003100390034003900310032003300310030003000320058001753AC4E025E6C51895B"
              "405C1D6733960652405C2000200020002000200032003000320030003000320032003900320030003400"
              "300030003200320039002000200020002000200020002000200020002000200020002000200020002000"
              "20002000");
}

TEST(ResidentCard, EveryFieldAtItsFullWidth)
{
    const auto card = CardOf(Json::parse(R"({
      "kind": "resident", "name": "一二三四五六七八九十一二三四五", "sex": "1", "nation": "57",
      "birth": "1880-01-01",
      "address": "广东省汕头市示例县示例镇示例村长长长长长长长长长长长长长长长长长长长长",
      "number": "440524188001010014", "authority": "示例县公安局示例分局办证大厅一",
      "validFrom": "2001-01-01", "validTo": "2021-01-01"})"));
    EXPECT_EQ(Hex(card->text),
              "004E8C4E094EDB56944E6D51034E6B515D4E4153004E8C4E094EDB56944E310035003700310038003800"
              "300030003100300031007F5E1C4E0177556C3459025E3A798B4FBF533A798B4F47953A798B4F51677F95"
              "7F957F957F957F957F957F957F957F957F957F957F957F957F957F957F957F957F957F957F9534003400"
              "30003500320034003100380038003000300031003000310030003000310034003A798B4FBF536C51895B"
              "405C3A798B4F0652405C9E52C18B27598553004E32003000300031003000310030003100320030003200"
              "310030003100300031002000200020002000200020002000200020002000200020002000200020002000"
              "20002000");
}

TEST(ResidentCard, MinorityNationByItsNameAndABlankInTheName)
{
    const auto card = CardOf(Json::parse(R"({
      "kind": "resident", "name": "阿卜杜拉·买买提 样本", "sex": "male", "nation": "维吾尔",
      "birth": "1982-01-13", "address": "四川省甘孜藏族自治州示例乡 3组",
      "number": "513101198201130014", "authority": "示例县公安局", "validFrom": "2010-01-01",
      "validTo": "2030-01-01"})"));
    EXPECT_EQ(Hex(card->text),
              "3F965C535C67C962B700704E704ED063200037682C672000200020002000310030003500310039003800"
              "32003000310031003300DB56DD5D017718755C5BCF85CF65EA81BB6CDE5D3A798B4F614E20003300C47E"
              "200020002000200020002000200020002000200020002000200020002000200020002000200035003100"
              "33003100300031003100390038003200300031003100330030003000310034003A798B4FBF536C51895B"
              "405C20002000200020002000200020002000200032003000310030003000310030003100320030003300"
              "300030003100300031002000200020002000200020002000200020002000200020002000200020002000"
              "20002000");
}

TEST(GatCard, HasTheResidentLayoutWithPassNumberIssueCountAndLetterJ)
{
    EXPECT_EQ(Hex(CardOf(kGat)->text),
              "7396236A2C67200020002000200020002000200020002000200020002000310020002000310039003800"
              "350030003300300038007F5E1C4E0177F16D3357025E8F7930753A5337688B4FEF8D3800F75320002000"
              "200020002000200020002000200020002000200020002000200020002000200020002000200038003100"
              "3000300030003000310039003800350030003300300038003000300031003200F16D3357025E6C51895B"
              "405C8F7930750652405C2000200020002000200032003000310039003000390030003100320030003200"
              "34003000390030003100480031003200330034003500360037003800300031002000200020004A002000"
              "20002000");
}

TEST(ForeignCard, HasALayoutOfItsOwnAndLetterI)
{
    EXPECT_EQ(Hex(CardOf(kForeign)->text),
              "53004D004900540048002C0020004A004F0048004E002000530041004D0050004C004500200020002000"
              "200020002000200020002000200020002000200020002000200020002000200020002000200020002000"
              "200020002000200020002000200020002000200020002000200020002000200020002000310055005300"
              "4100310031003000310039003500300030003100300031003100550053004100F253C65BAF6520002000"
              "200020002000200020002000200020002000200032003000310037003000360031003600320030003200"
              "370030003600310035003100390035003000300031003000310030003100310035003000300049002000"
              "20002000");
}

TEST(ForeignCard, ChineseNameMayBeMissing)
{
    const auto card = CardOf(Without(kForeign, "chineseName"));
    EXPECT_EQ(Hex(Bytes(card->text.begin() + 158, card->text.begin() + 162)), "20002000");
}

TEST(IdentityCardText, MissingFieldsAreNamed)
{
    for (const Json *kind : {&kResident, &kGat, &kForeign})
        for (const auto &item : kind->items())
            if (item.key() != "kind" && item.key() != "chineseName")
            {
                EXPECT_EQ(ProblemOf(Without(*kind, item.key().c_str())),
                          "the description: the key \"" + item.key() + "\" is missing");
            }
    EXPECT_EQ(ProblemOf(Without(kResident, "kind")),
              "the description: the key \"kind\" is missing (resident, gat or foreign)");
}

TEST(IdentityCardText, UnknownKeysAreNamed)
{
    EXPECT_THAT(ProblemOf(With(kResident, "passNumber", "H1")),
                StartsWith("passNumber: unknown key; known here are kind, label, note, text,"));
    EXPECT_THAT(ProblemOf(With(kGat, "nation", "汉")), StartsWith("nation: unknown key"));
    EXPECT_THAT(ProblemOf(With(kForeign, "address", "x")), StartsWith("address: unknown key"));
    EXPECT_THAT(ProblemOf(With(kForeign, "checkNumber", false)),
                StartsWith("checkNumber: unknown key"));
    EXPECT_EQ(ProblemOf(With(kResident, "note", "for people")), "");
    EXPECT_THAT(ProblemOf(With(kResident, "text", "fill:00")), HasSubstr("unknown key"))
        << "a whole text block leaves no room for fields";
}

TEST(IdentityCardText, FieldsThatDoNotFitAreRefused)
{
    EXPECT_EQ(ProblemOf(With(kResident, "name", "一二三四五六七八九十一二三四五六")),
              "name: has 16 characters, and the card room for 15");
    EXPECT_EQ(ProblemOf(With(kForeign, "number", "USA1101950010111")),
              "number: has 16 characters, and the card room for 15");
    EXPECT_EQ(ProblemOf(With(kForeign, "nationality", "US")),
              "nationality: expected 3 capital letters, found \"US\"");
    EXPECT_THAT(ProblemOf(With(kForeign, "nationality", "usa")), StartsWith("nationality: "));
    EXPECT_EQ(ProblemOf(With(kGat, "passNumber", "H123456789")),
              "passNumber: has 10 characters, and the card room for 9");
    EXPECT_THAT(ProblemOf(With(kResident, "name", "\xF0\xA0\xAE\xB7")),
                StartsWith("name: expected characters of 16 bits"));
    EXPECT_EQ(ProblemOf(With(kResident, "name", 7)), "name: expected a text, found 7");
}

TEST(IdentityCardText, SexIsAWordOrACode)
{
    EXPECT_EQ(CardOf(With(kForeign, "sex", "female"))->text[120], '2');
    EXPECT_EQ(CardOf(With(kForeign, "sex", "9"))->text[120], '9');
    EXPECT_THAT(ProblemOf(With(kForeign, "sex", "man")),
                StartsWith("sex: expected \"male\", \"female\" or the code"));
    EXPECT_THAT(ProblemOf(With(kForeign, "sex", "")), StartsWith("sex: "));
}

TEST(IdentityCardText, NationsOfTheStandardHaveTheirCodes)
{
    EXPECT_EQ(NationCode("汉"), "01");
    EXPECT_EQ(NationCode("布依"), "09");
    EXPECT_EQ(NationCode("朝鲜"), "10");
    EXPECT_EQ(NationCode("柯尔克孜"), "29");
    EXPECT_EQ(NationCode("仫佬"), "32");
    EXPECT_EQ(NationCode("乌孜别克"), "43");
    EXPECT_EQ(NationCode("京"), "49");
    EXPECT_EQ(NationCode("基诺"), "56");
    EXPECT_EQ(NationCode("其他"), "97");
    EXPECT_EQ(NationCode("外国血统中国籍人士"), "98");
    EXPECT_EQ(NationCode("汉族"), "");
    EXPECT_THAT(ProblemOf(With(kResident, "nation", "汉族")), StartsWith("nation: expected"));
    EXPECT_THAT(ProblemOf(With(kResident, "nation", "1")), StartsWith("nation: expected"));
}

TEST(IdentityCardText, DatesMustExist)
{
    for (const char *wrong : {"2025-02-29", "1900-02-29", "2025-13-01", "2025-00-10", "2025-04-31",
                              "2025-01-00", "2025/01/01", "250101", "", "long-term"})
        EXPECT_THAT(ProblemOf(With(kForeign, "validFrom", wrong)),
                    StartsWith("validFrom: expected a date such as"))
            << wrong;
    EXPECT_EQ(ProblemOf(With(kForeign, "validFrom", "2000-02-29")), "");
    const Bytes text = CardOf(With(kForeign, "validTo", "长期"))->text;
    EXPECT_EQ(Hex(Bytes(text.begin() + 204, text.begin() + 210)), "7F951F672000");
}

TEST(IdentityNumber, CheckCharacterIsThatOfTheStandard)
{
    EXPECT_EQ(IdentityCheckCharacter("11010519491231002"), 'X');
    EXPECT_EQ(IdentityCheckCharacter("44052418800101001"), '4');
    EXPECT_EQ(IdentityCheckCharacter("51310119820113001"), '4');
    EXPECT_EQ(IdentityCheckCharacter("11010119490131001"), '0');
}

TEST(IdentityNumber, AWrongCheckCharacterIsToldAndMayBeDeliberate)
{
    const Json wrong = With(kResident, "number", "110101194901310011");
    EXPECT_EQ(ProblemOf(wrong), "number: the check character must be 0 (\"checkNumber\": false "
                                "lets it pass)");
    const auto card = CardOf(With(wrong, "checkNumber", false));
    EXPECT_EQ(card->text[156], '1');
}

TEST(IdentityNumber, AQuestionMarkIsComputed)
{
    EXPECT_EQ(CardOf(With(kResident, "number", "11010119490131001?"))->text[156], '0');
}

TEST(IdentityNumber, SaysTheSameAsTheOtherFields)
{
    EXPECT_THAT(ProblemOf(With(kResident, "birth", "1949-02-01")),
                StartsWith("number: digits 7 to 14 must be the birth date 19490201"));
    EXPECT_THAT(ProblemOf(With(kResident, "sex", "female")), StartsWith("number: digit 17 is odd"));
    EXPECT_EQ(ProblemOf(With(kResident, "sex", "9")), "") << "a code that is neither";
    EXPECT_THAT(ProblemOf(With(kGat, "number", "11000019850308001?")),
                StartsWith("number: begins with 810000, 820000 or 830000"));
    for (const char *form : {"11010119490131001", "1101011949013100100", "11010119490131001x",
                             "1101011949013100A0", ""})
        EXPECT_THAT(ProblemOf(With(kResident, "number", form)), StartsWith("number: expected 17"))
            << form;
}

TEST(IdentityRecordBytes, LengthsThenTextThenPhoto)
{
    const auto card = CardOf(With(kResident, "photo", "fill:5A"));
    const Bytes record = IdentityRecord(*card, false);
    ASSERT_EQ(record.size(), 4u + 256u + 1024u);
    EXPECT_EQ(Hex(Bytes(record.begin(), record.begin() + 8)), "01000400"
                                                              "4B6DD58B");
    EXPECT_EQ(Hex(Bytes(record.begin() + 258, record.begin() + 262)), "20005A5A");
    EXPECT_EQ(record.back(), 0x5A);
}

TEST(IdentityRecordBytes, FingerprintReadHasAThirdLengthAndTheFingerprintBehindThePhoto)
{
    const auto card = CardOf(With(With(kResident, "photo", "fill:5A"), "fingerprint", "fill:F0"));
    const Bytes record = IdentityRecord(*card, true);
    ASSERT_EQ(record.size(), 6u + 256u + 1024u + 1024u);
    EXPECT_EQ(Hex(Bytes(record.begin(), record.begin() + 8)), "010004000400"
                                                              "4B6D");
    EXPECT_EQ(Hex(Bytes(record.begin() + 1284, record.begin() + 1288)), "5A5AF0F0");
    EXPECT_EQ(IdentityRecord(*card, false).size(), 4u + 256u + 1024u);
}

TEST(IdentityRecordBytes, MissingFingerprintAndPhotoHaveLengthZero)
{
    const Bytes record = IdentityRecord(*CardOf(With(kResident, "photo", "")), true);
    ASSERT_EQ(record.size(), 6u + 256u);
    EXPECT_EQ(Hex(Bytes(record.begin(), record.begin() + 6)), "010000000000");
}

TEST(IdentityRecordBytes, SerialNumbersFollowTheFingerprint)
{
    const Json description =
        With(With(With(kGat, "fingerprint", "pattern:ramp"), "chipSerial", "0102030405060708"),
             "cardSerial", "101112131415161718191A1B1C1D1E1F");
    const Bytes record = IdentityRecord(*CardOf(description), true);
    ASSERT_EQ(record.size(), 6u + 2304u + 24u);
    EXPECT_EQ(Hex(Bytes(record.begin() + 6 + 2303, record.end())),
              "FF"
              "0102030405060708"
              "101112131415161718191A1B1C1D1E1F");
    EXPECT_EQ(Hex(Bytes(record.begin(), record.begin() + 6)), "010004000400");
    EXPECT_THAT(ProblemOf(Without(description, "cardSerial")), HasSubstr("stand together"));
    EXPECT_THAT(ProblemOf(Without(description, "fingerprint")), HasSubstr("behind a fingerprint"));
    EXPECT_THAT(ProblemOf(With(description, "chipSerial", "01")), StartsWith("chipSerial: has 1"));
}

TEST(IdentityRecordBytes, LengthsAndTheWholeRecordCanLie)
{
    Json description = With(With(kResident, "textLength", 65535u), "photoLength", 0u);
    description["fingerprintLength"] = 258u;
    const Bytes record = IdentityRecord(*CardOf(description), true);
    EXPECT_EQ(Hex(Bytes(record.begin(), record.begin() + 6)), "FFFF00000102");
    EXPECT_EQ(Hex(IdentityRecord(*CardOf(With(kResident, "record", "0100 0400")), false)),
              "01000400");
    EXPECT_THAT(ProblemOf(With(kResident, "textLength", 65536u)), StartsWith("textLength: "));
}

TEST(IdentityRecordBytes, PatchLiesOverTheTextBlock)
{
    const auto card =
        CardOf(With(kResident, "patch", Json{{"0", "00D8"}, {"248", "5800"}, {"254", "FFFF"}}));
    EXPECT_EQ(Hex(Bytes(card->text.begin(), card->text.begin() + 4)), "00D8D58B");
    EXPECT_EQ(Hex(Bytes(card->text.begin() + 248, card->text.end())), "580020002000FFFF");
    EXPECT_THAT(ProblemOf(With(kResident, "patch", Json{{"255", "0000"}})),
                StartsWith("patch.255: lies outside"));
    EXPECT_THAT(ProblemOf(With(kResident, "patch", Json{{"x", "00"}})), StartsWith("patch.x: "));
    EXPECT_THAT(ProblemOf(With(kResident, "patch", "00")), StartsWith("patch: expected"));
}

TEST(IdentityRecordBytes, TextBlockMayBeGivenWhole)
{
    const Json zeros = {{"kind", "resident"}, {"text", "fill:00"}};
    EXPECT_EQ(CardOf(zeros)->text, Bytes(256, 0x00));
    EXPECT_EQ(ProblemOf({{"kind", "resident"}, {"text", "0000"}}), "text: has 2 bytes and not 256");
}

TEST(PhotoBytes, ComeFromTextFilesAndPatterns)
{
    const testing_support::Scratch directory;
    std::string raw;
    std::string hex;
    for (int i = 0; i < 1024; ++i)
    {
        raw += static_cast<char>(i % 7);
        hex += "0" + std::to_string(i % 7) + (i % 16 == 15 ? "\n" : " ");
    }
    testing_support::WriteFile(directory.path + "/photo.bin", raw);
    testing_support::WriteFile(directory.path + "/photo.hex", hex);
    // 341 groups of three zero bytes and one byte 01.
    std::string base64;
    for (int i = 0; i < 341; ++i)
        base64 += i % 19 == 18 ? "AAAA\n" : "AAAA";
    testing_support::WriteFile(directory.path + "/photo.b64", base64 + "AQ==\n");

    const auto photo = [&](const char *source)
    { return CardOf(With(kResident, "photo", source), directory.path)->photo; };
    const Bytes expected(raw.begin(), raw.end());
    EXPECT_EQ(photo("file:photo.bin"), expected);
    EXPECT_EQ(photo("hexfile:photo.hex"), expected);
    const Bytes decoded = photo("base64file:photo.b64");
    ASSERT_EQ(decoded.size(), 1024u);
    EXPECT_EQ(decoded[1022], 0x00);
    EXPECT_EQ(decoded[1023], 0x01);
    EXPECT_EQ(Hex(photo("pattern:ramp")).substr(508, 12), "FE"
                                                          "FF"
                                                          "00"
                                                          "01"
                                                          "02"
                                                          "03");
    EXPECT_EQ(photo("fill:00"), Bytes(1024, 0x00));
}

TEST(PhotoBytes, PortraitIsAFaceOf32By32Pixels)
{
    const Bytes photo = CardOf(kResident)->photo;
    ASSERT_EQ(photo.size(), 1024u);
    const auto pixel = [&](size_t x, size_t y) { return photo[y * 32 + x]; };
    EXPECT_EQ(pixel(0, 0), 0xE8) << "background";
    EXPECT_EQ(pixel(31, 0), 0xE8);
    EXPECT_EQ(pixel(15, 6), 0x20) << "hair";
    EXPECT_EQ(pixel(15, 13), 0xC0) << "face";
    EXPECT_EQ(pixel(12, 11), 0x10) << "eye";
    EXPECT_EQ(pixel(19, 12), 0x10) << "eye";
    EXPECT_EQ(pixel(15, 17), 0x60) << "mouth";
    EXPECT_EQ(pixel(15, 31), 0x50) << "shoulders";
    EXPECT_EQ(pixel(0, 31), 0xE8);
}

TEST(PhotoBytes, WrongSourcesAreTold)
{
    EXPECT_EQ(ProblemOf(With(kResident, "photo", "0102")), "photo: has 2 bytes and not 1024");
    EXPECT_EQ(ProblemOf(With(kResident, "photo", "file:none.bin")),
              "photo: cannot read \"none.bin\"");
    for (const char *wrong : {"pattern:cat", "fill:0", "fill:0000", "base64:A",
                              "base64:A===", "base64:AA=A", "base64:AA!=", "0G", "hexfile:"})
        EXPECT_THAT(ProblemOf(With(kResident, "photo", wrong)), StartsWith("photo: ")) << wrong;
}

TEST(PhotoBytes, Base64VectorsOfTheStandard)
{
    // RFC 4648, section 10.
    const auto decoded = [](const char *text)
    {
        const Json value = std::string("base64:") + text;
        std::string problem;
        const Bytes bytes = BytesFrom({&value, "v", &problem}, "", 0);
        return problem + std::string(bytes.begin(), bytes.end());
    };
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("Zg=="), "f");
    EXPECT_EQ(decoded("Zm8="), "fo");
    EXPECT_EQ(decoded("Zm9v"), "foo");
    EXPECT_EQ(decoded("Zm9vYg=="), "foob");
    EXPECT_EQ(decoded("Zm9vYmE="), "fooba");
    EXPECT_EQ(decoded("Zm9vYmFy"), "foobar");
}

TEST(HostileIdentityCard, BehavioursAreKnown)
{
    EXPECT_THAT(ProblemOf(With(kResident, "behaviour", "rude")),
                StartsWith("behaviour: expected wrong-preamble, wrong-mark, wrong-check, "));
    EXPECT_THAT(ProblemOf(With(kResident, "commands", "30")), StartsWith("commands: expected"));
    EXPECT_THAT(ProblemOf(With(kResident, "commands", {"3"})), StartsWith("commands[0]: expected"));
}

TEST(HostileIdentityCard, SpoilsTheFrame)
{
    const Bytes frame = cards_test::Unhex("AAAAAA9669 0006 000090 0102 95");
    const auto spoiled = [&](const char *behaviour)
    {
        const auto card = CardOf(With(kResident, "behaviour", behaviour));
        return Hex(SpoiledFrame(*card, frame));
    };
    EXPECT_EQ(spoiled("wrong-preamble"), "AAAA9669000600009001"
                                         "0295");
    EXPECT_EQ(spoiled("wrong-mark"), "AAAAAA96680006000090010295");
    EXPECT_EQ(spoiled("wrong-check"), "AAAAAA9669000600009001026A");
    EXPECT_EQ(spoiled("length-zero"), "AAAAAA96690000000090010295");
    EXPECT_EQ(spoiled("length-short"), "AAAAAA96690004000090010295");
    EXPECT_EQ(spoiled("length-one-more"), "AAAAAA96690007000090010295");
    EXPECT_EQ(spoiled("length-huge"), "AAAAAA9669FFFF000090010295");
    EXPECT_EQ(spoiled("cut"), "AAAAAA966900");
    EXPECT_EQ(spoiled("header-only"), "AAAAAA9669");
    EXPECT_EQ(spoiled("no-payload"), "AAAAAA9669000101");
    EXPECT_EQ(spoiled("flood").size(), 2u * 65536u);
    EXPECT_EQ(spoiled("flood").substr(0, 12), "AAAAAAAAAAAA");
}

TEST(HostileIdentityCard, SpoilsTheCommandsItNames)
{
    Json description = With(kResident, "behaviour", "cut");
    EXPECT_TRUE(Spoils(*CardOf(description), {0x11, 0xFF}));
    description["commands"] = {"30", "2002"};
    const auto card = CardOf(description);
    EXPECT_TRUE(Spoils(*card, {0x30, 0x10}));
    EXPECT_TRUE(Spoils(*card, {0x20, 0x02}));
    EXPECT_FALSE(Spoils(*card, {0x20, 0x01}));
    EXPECT_FALSE(Spoils(*card, {0x20}));
    EXPECT_FALSE(Spoils(*CardOf(kResident), {0x30, 0x10}));
}
