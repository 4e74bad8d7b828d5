// PBOC_GetSimpTagValue: one field of a letter-coded text.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "vantor/pboc.h"

namespace
{

struct Field
{
    int result;
    int32_t length;
    std::string value;
};

Field Read(const std::string &name, const std::string &text)
{
    // On the heap and of exactly its size, so that a sanitizer sees a step past the NUL.
    const std::unique_ptr<char[]> exact(new char[text.size() + 1]);
    memcpy(exact.get(), text.c_str(), text.size() + 1);
    char value[513];
    memset(value, '#', sizeof value);
    int32_t length = -7;
    const int result = PBOC_GetSimpTagValue(name.data(), static_cast<int>(name.size()), exact.get(),
                                            0, value, &length);
    EXPECT_EQ('#', value[512]);
    return {result, length, length < 0 ? "" : std::string(value, static_cast<size_t>(length))};
}

} // namespace

TEST(SimpleText, GivesAFieldsValueAndLength)
{
    const std::string text = "P012000000010000S006250101";
    EXPECT_EQ("000000010000", Read("P", text).value);
    EXPECT_EQ(12, Read("P", text).length);
    EXPECT_EQ(0, Read("P", text).result);
    EXPECT_EQ("250101", Read("S", text).value);
    EXPECT_EQ("", Read("Q", "Q000").value);
    EXPECT_EQ(0, Read("Q", "Q000").length);
}

TEST(SimpleText, AddsNoTerminator)
{
    char value[4] = {'#', '#', '#', '#'};
    int32_t length = 0;
    EXPECT_EQ(0, PBOC_GetSimpTagValue("T", 1, "T00201", 6, value, &length));
    EXPECT_EQ("01##", std::string(value, 4));
}

TEST(SimpleText, AMissingNameFailsAndWritesNothing)
{
    EXPECT_EQ(-99, Read("R", "P00212").result);
    EXPECT_EQ(-7, Read("R", "P00212").length);
    EXPECT_EQ(-99, Read("R", "").result);
}

TEST(SimpleText, TheFirstOccurrenceIsTakenBeItInsideAnotherValue)
{
    EXPECT_EQ(-99, Read("P", "V004SHOPP00212").result) << "the P of SHOP is followed by P00";
    EXPECT_EQ("X", Read("P", "V005P001XP00212").value);
}

TEST(SimpleText, TheNameMayHaveSeveralCharacters)
{
    EXPECT_EQ("7", Read("AB", "A001BAB0017").value);
}

TEST(SimpleText, TheDigitsCountFromTheirCodes)
{
    EXPECT_EQ(11, Read("A", "A00;elevenchars").length) << "';' is eleven above '0'";
    EXPECT_EQ("12", Read("A", "A01(12").value) << "10 - 8";
    EXPECT_EQ(-99, Read("A", "A0/0").result) << "-10";
    EXPECT_EQ(-99, Read("A", "A00/").result) << "-1";
    EXPECT_EQ(-99, Read("A", "A\xFF\xFF\xFF").result);
}

TEST(SimpleText, AValueMayHave512Characters)
{
    EXPECT_EQ(512, Read("V", "V512" + std::string(512, 'x')).length);
    EXPECT_EQ(-99, Read("V", "V513" + std::string(513, 'x')).result);
    EXPECT_EQ(-99, Read("V", "V999" + std::string(999, 'x')).result);
}

TEST(SimpleText, AValueThatRunsPastTheEndOfTheTextFails)
{
    EXPECT_EQ(-99, Read("P", "P01200000001000").result);
    EXPECT_EQ(-99, Read("P", "P").result);
    EXPECT_EQ(-99, Read("P", "P0").result);
    EXPECT_EQ(-99, Read("P", "P01").result);
    EXPECT_EQ(-99, Read("P", "P001").result);
    EXPECT_EQ(0, Read("P", "P001x").result);
}

TEST(SimpleText, MissingArgumentsFail)
{
    char value[512];
    int32_t length = 0;
    EXPECT_EQ(-99, PBOC_GetSimpTagValue(nullptr, 1, "P000", 4, value, &length));
    EXPECT_EQ(-99, PBOC_GetSimpTagValue("P", 0, "P000", 4, value, &length));
    EXPECT_EQ(-99, PBOC_GetSimpTagValue("P", -1, "P000", 4, value, &length));
    EXPECT_EQ(-99, PBOC_GetSimpTagValue("P", 1, nullptr, 4, value, &length));
    EXPECT_EQ(-99, PBOC_GetSimpTagValue("P", 1, "P000", 4, nullptr, &length));
    EXPECT_EQ(-99, PBOC_GetSimpTagValue("P", 1, "P000", 4, value, nullptr));
}
