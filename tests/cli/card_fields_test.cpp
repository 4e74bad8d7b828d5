// The values are those of a published UnionPay test card (its cardholder text says test-only) and
// of a published log extract with an electronic cash balance of 37.80 yuan.
#include "card_fields.h"

#include <gtest/gtest.h>

#include "presentation.h"

using namespace std::string_literals;
using namespace tool;

static const std::string kName = Bytes("D2F8C1AA3632B1EAD7BCBFA840B2E2CAD4D7A8D3C3436172"
                                       "6473");

static std::string Item(char letter, const std::string &value)
{
    char head[8];
    snprintf(head, sizeof head, "%c%03d", letter, static_cast<int>(value.size()));
    return head + value;
}

static CardField Only(char letter, const std::string &value, bool mask = false)
{
    const std::string text = Item(letter, value);
    const LetterItems items = ParseItems(text);
    EXPECT_EQ(items.error, "");
    const std::vector<CardField> fields = CardFields(items, std::string(1, letter), mask);
    EXPECT_EQ(fields.size(), 1U);
    return fields.at(0);
}

TEST(CardFields, ComeInTableOrderWhateverWasAskedFirst)
{
    const std::vector<CardField> fields = CardFields(ParseItems("A0011E0012"), "EA", false);
    ASSERT_EQ(fields.size(), 2U);
    EXPECT_EQ(fields[0].letter, 'A');
    EXPECT_EQ(fields[1].letter, 'E');
}

TEST(CardFields, EveryLetterHasItsTagAndName)
{
    const std::vector<CardField> fields = CardFields(ParseItems(""), "ABCDEFGHIJKLMN", false);
    const struct
    {
        char letter;
        const char *tag;
        const char *key;
        const char *name;
    } kExpected[] = {
        {'A', "5A", "card_number", "Card number"},
        {'B', "5F20", "cardholder_name", "Cardholder name"},
        {'C', "9F62", "id_type", "ID type"},
        {'D', "9F61", "id_number", "ID number"},
        {'E', "57", "track2", "Track 2"},
        {'F', "9F1F", "track1_data", "Track 1 data"},
        {'G', "9F79", "ec_balance", "EC balance"},
        {'H', "9F77", "ec_balance_limit", "EC balance limit"},
        {'I', "5F24", "expires", "Expires"},
        {'J', "5F34", "card_sequence_number", "Card sequence number"},
        {'K', "9F6D", "ec_reset_threshold", "EC reset threshold"},
        {'L', "9F78", "ec_single_limit", "EC single payment limit"},
        {'M', "5F25", "valid_from", "Valid from"},
        {'N', "9F63", "product_information", "Product information"},
    };
    ASSERT_EQ(fields.size(), std::size(kExpected));
    for (size_t i = 0; i < fields.size(); i++)
    {
        EXPECT_EQ(fields[i].letter, kExpected[i].letter);
        EXPECT_STREQ(fields[i].tag, kExpected[i].tag);
        EXPECT_STREQ(fields[i].key, kExpected[i].key);
        EXPECT_STREQ(fields[i].name, kExpected[i].name);
    }
}

TEST(CardFields, AbsentOnesAreNull)
{
    const std::vector<CardField> fields = CardFields(ParseItems("A000"), "AB", false);
    EXPECT_EQ(CardFieldsJson(fields).dump(),
              R"({"card_number":{"letter":"A","tag":"5A","raw":null,"value":null},)"
              R"("cardholder_name":{"letter":"B","tag":"5F20","raw":null,"value":null}})");
    EXPECT_EQ(CardFieldsText(fields), "A  Card number               -\n"
                                      "B  Cardholder name           -\n");
}

TEST(CardFields, ChineseNameIsConverted)
{
    const CardField field = Only('B', kName);
    EXPECT_EQ(field.text, "银联62标准卡@测试专用Cards");
    EXPECT_EQ(field.value, "银联62标准卡@测试专用Cards");
    EXPECT_EQ(field.raw, Hex(kName));
}

TEST(CardFields, NameThatIsNoTextIsHex)
{
    const CardField field = Only('B', "\xD2\xF8\xC1"s);
    EXPECT_EQ(field.text, "hex D2F8C1");
    EXPECT_TRUE(field.value.is_null());
    EXPECT_EQ(field.raw, "D2F8C1");
}

TEST(CardFields, NameThatSteersTheTerminalIsHex)
{
    EXPECT_EQ(Only('B', "\x1B]0;x\x07"s).text, "hex 1B5D303B7807");
}

TEST(CardFields, IdTypesHaveNames)
{
    EXPECT_EQ(Only('C', "00").text, "00 (identity card)");
    EXPECT_EQ(Only('C', "01").text, "01 (military officer card)");
    EXPECT_EQ(Only('C', "02").text, "02 (passport)");
    EXPECT_EQ(Only('C', "03").text, "03 (entry permit)");
    EXPECT_EQ(Only('C', "04").text, "04 (temporary identity card)");
    EXPECT_EQ(Only('C', "05").text, "05 (other)");
    EXPECT_EQ(Only('C', "06").text, "06");
    EXPECT_EQ(Only('C', "05").value.dump(), R"({"code":"05","name":"other"})");
    EXPECT_EQ(Only('C', "FF").value.dump(), R"({"code":"FF","name":null})");
}

TEST(CardFields, Track2IsTakenApart)
{
    const CardField field = Only('E', "6210948000000011D30102010000");
    EXPECT_EQ(field.text, "6210948000000011D30102010000  (expires 2030-10, service code 201)");
    EXPECT_EQ(field.value.dump(), R"({"card_number":"6210948000000011","expires":"2030-10",)"
                                  R"("service_code":"201","discretionary":"0000"})");
}

TEST(CardFields, Track2WithoutSeparatorIsShownAsItIs)
{
    for (const char *text : {"6210948000000011", "6210948000000011D3010", "D"})
    {
        EXPECT_EQ(Only('E', text).text, text);
        EXPECT_TRUE(Only('E', text).value.is_null());
        EXPECT_EQ(Only('E', text).raw, text);
    }
}

TEST(CardFields, Track1DataAreReadAsText)
{
    const CardField field = Only('F', "42363231D2F8C1AA");
    EXPECT_EQ(field.text, "B621银联");
    EXPECT_EQ(field.raw, "42363231D2F8C1AA");
}

TEST(CardFields, BalancesAreYuan)
{
    for (const char letter : {'G', 'H', 'K', 'L'})
    {
        EXPECT_EQ(Only(letter, "000000003780").text, "37.80 yuan");
        EXPECT_EQ(Only(letter, "000000003780").value.dump(), R"({"cents":3780,"yuan":"37.80"})");
    }
    EXPECT_EQ(Only('G', "00000000378A").text, "00000000378A");
    EXPECT_TRUE(Only('G', "00000000378A").value.is_null());
    EXPECT_EQ(Only('G', "0037").text, "0037");
}

TEST(CardFields, DatesAreIso)
{
    EXPECT_EQ(Only('I', "310301").text, "2031-03-01");
    EXPECT_EQ(Only('M', "110901").value, "2011-09-01");
    EXPECT_EQ(Only('I', "319901").text, "319901");
    EXPECT_TRUE(Only('I', "319901").value.is_null());
}

TEST(CardFields, ProductInformationIsTextOrHex)
{
    EXPECT_EQ(Only('N', "GOLD"s).text, "GOLD");
    EXPECT_EQ(Only('N', "\x30\x01\x02"s).text, "hex 300102");
}

TEST(CardFields, HexFieldsThatAreNoHexAreNotBelieved)
{
    const CardField field = Only('A', "62\x1B[J");
    EXPECT_EQ(field.text, "not hexadecimal: 36321B5B4A");
    EXPECT_TRUE(field.value.is_null());
    EXPECT_EQ(field.raw, "36321B5B4A");
}

TEST(CardFields, MaskHidesNumbersInEveryForm)
{
    const CardField pan = Only('A', "6210948000000011", true);
    EXPECT_EQ(pan.text, "621094******0011");
    EXPECT_EQ(pan.value, "621094******0011");
    EXPECT_EQ(pan.raw, "");

    const CardField track2 = Only('E', "6210948000000011D30102010000", true);
    EXPECT_EQ(track2.text, "621094******0011D3010201****  (expires 2030-10, service code 201)");
    EXPECT_EQ(track2.value.at("card_number"), "621094******0011");
    EXPECT_EQ(track2.value.at("discretionary"), "****");
    EXPECT_EQ(track2.raw, "");

    EXPECT_EQ(Only('E', "6210948000000011", true).text, "****************");
    EXPECT_EQ(Only('D', "110101198606202010", true).text, "110101********2010");
    EXPECT_EQ(Only('D', "110101198606202010", true).raw, "");
    EXPECT_EQ(Only('F', "42363231", true).text, "********");
    EXPECT_EQ(Only('F', "42363231", true).raw, "");
    EXPECT_EQ(Only('B', "ZHANG", true).text, "ZHANG");
}

// ---- The terminal interface ----

TEST(CardFieldsOfTheTerminalInterface, HaveLettersOfTheirOwn)
{
    EXPECT_EQ(KnownCardLetters(CallSet::kMain), "ABCDEFGHIJKLMN");
    EXPECT_EQ(KnownCardLetters(CallSet::kTerminal), "ABCDEFGHIJKL");
    const std::vector<CardField> fields =
        CardFields(ParseItems(""), "ABCDEFGHIJKL", false, CallSet::kTerminal);
    const struct
    {
        char letter;
        const char *tag;
        const char *key;
    } kExpected[] = {
        {'A', "5A", "card_number"},
        {'B', "57", "track2"},
        {'C', "9F79", "ec_balance"},
        {'D', "9F77", "ec_balance_limit"},
        {'E', "5F24", "expires"},
        {'F', "9F78", "ec_single_limit"},
        {'G', "5F34", "card_sequence_number"},
        {'H', "9F36", "atc"},
        {'I', "9F62", "id_type"},
        {'J', "9F61", "id_number"},
        {'K', "5F20", "cardholder_name"},
        {'L', "9F0B", "cardholder_name_extended"},
    };
    ASSERT_EQ(fields.size(), std::size(kExpected));
    for (size_t i = 0; i < fields.size(); i++)
    {
        EXPECT_EQ(fields[i].letter, kExpected[i].letter);
        EXPECT_STREQ(fields[i].tag, kExpected[i].tag);
        EXPECT_STREQ(fields[i].key, kExpected[i].key);
    }
}

TEST(CardFieldsOfTheTerminalInterface, AreDecodedAsTheOthers)
{
    const std::vector<CardField> fields = CardFields(
        ParseItems("B0206210948000000011D301H004002BC000"), "BHC", false, CallSet::kTerminal);
    EXPECT_EQ(fields[0].text, "6210948000000011D301");
    EXPECT_EQ(fields[1].text, "");
    EXPECT_EQ(fields[2].text, "43");
    EXPECT_EQ(fields[2].value, 43);
}

// This interface leaves the filling F behind track 2 in place.
TEST(CardFieldsOfTheTerminalInterface, Track2MayEndWithItsFiller)
{
    const std::vector<CardField> fields =
        CardFields(ParseItems("B0286210948000000011D3010201000F"), "B", false, CallSet::kTerminal);
    EXPECT_EQ(fields[0].text, "6210948000000011D3010201000  (expires 2030-10, service code 201)");
    EXPECT_EQ(fields[0].raw, "6210948000000011D3010201000F");
}
