#include <cctype>
#include <gtest/gtest.h>
#include <string>

#include "vantor/support.h"

namespace
{

struct Outcome
{
    int length;
    std::string text; // up to the NUL that the call wrote
    bool operator==(const Outcome &other) const
    {
        return length == other.length && text == other.text;
    }
};

std::ostream &operator<<(std::ostream &out, const Outcome &outcome)
{
    return out << outcome.length << " \"" << outcome.text << "\"";
}

Outcome Encode(const std::string &bytes, int capacity)
{
    std::string text(static_cast<size_t>(capacity) + 2, '~'); // one more than the call may touch
    const int length = GURLEncode(reinterpret_cast<const unsigned char *>(bytes.data()),
                                  static_cast<int>(bytes.size()), text.data(), capacity);
    EXPECT_EQ('~', text.back());
    return {length, length == 0 ? "" : text.c_str()};
}

Outcome Decode(const std::string &text, int capacity)
{
    std::string bytes(static_cast<size_t>(capacity) + 2, '~');
    const int length = GURLDecode(text.data(), static_cast<int>(text.size()),
                                  reinterpret_cast<unsigned char *>(bytes.data()), capacity);
    EXPECT_EQ('~', bytes.back());
    EXPECT_EQ('\0', bytes[static_cast<size_t>(length)]);
    return {length, bytes.substr(0, static_cast<size_t>(length))};
}

} // namespace

TEST(GURLEncode, WritesFormEncoding)
{
    EXPECT_EQ((Outcome{7, "a+b%26c"}), Encode("a b&c", 100));
    EXPECT_EQ((Outcome{13, "%E4%BD%A0+%7E"}), Encode("\xE4\xBD\xA0 ~", 100));
}

TEST(GURLEncode, EveryByteHasItsForm)
{
    for (int byte = 1; byte < 256; byte++)
    {
        char expected[4];
        const bool plain = byte < 128 && (isalnum(byte) || byte == '.' || byte == '-' ||
                                          byte == '_' || byte == '*');
        snprintf(expected, sizeof(expected), plain ? "%c" : "%%%02X", byte);
        if (byte == ' ')
            snprintf(expected, sizeof(expected), "+");
        EXPECT_EQ(expected, Encode(std::string(1, static_cast<char>(byte)), 100).text);
    }
}

TEST(GURLEncode, ZeroByteFailsTheCall)
{
    EXPECT_EQ(0, Encode(std::string("ab\0c", 4), 100).length);
}

TEST(GURLEncode, EscapeNeedsFourPlaces)
{
    EXPECT_EQ((Outcome{3, "%26"}), Encode("&", 4));
    EXPECT_EQ(0, Encode("&", 3).length);
    EXPECT_EQ((Outcome{5, "ab%26"}), Encode("ab&", 6));
    EXPECT_EQ(0, Encode("ab&", 5).length);
}

TEST(GURLEncode, PlainCharactersMayFillTheText)
{
    EXPECT_EQ((Outcome{3, "abc"}), Encode("abc", 3));
    EXPECT_EQ((Outcome{3, "abc"}), Encode("abcdef", 3));
    EXPECT_EQ((Outcome{3, "a+c"}), Encode("a c&", 3)); // the escape is never reached
}

TEST(GURLEncode, BadArgumentsGiveZero)
{
    char text[8] = "~~~";
    const unsigned char bytes[] = {'a'};
    EXPECT_EQ(0, GURLEncode(nullptr, 1, text, 4));
    EXPECT_EQ(0, GURLEncode(bytes, 1, nullptr, 4));
    EXPECT_EQ(0, GURLEncode(bytes, -1, text, 4));
    EXPECT_EQ(0, GURLEncode(bytes, 1, text, 0));
    EXPECT_EQ(0, GURLEncode(bytes, 1, text, -1));
    EXPECT_STREQ("~~~", text);
    EXPECT_EQ(0, GURLEncode(bytes, 0, text, 4));
}

TEST(GURLDecode, ReadsFormEncoding)
{
    EXPECT_EQ((Outcome{5, "a b&c"}), Decode("a+b%26c", 100));
    EXPECT_EQ((Outcome{2, "*\xAF"}), Decode("*%aF", 100));
    EXPECT_EQ((Outcome{3, std::string("a\0b", 3)}), Decode("a%00b", 100));
}

TEST(GURLDecode, LettersBeyondFCount)
{
    EXPECT_EQ((Outcome{1, "\x50"}), Decode("%4g", 100)); // 4 * 16 | 16
    EXPECT_EQ((Outcome{1, "\x33"}), Decode("%zZ", 100)); // 35 * 16 | 35, the low byte
}

TEST(GURLDecode, EscapeWithABadDigitVanishes)
{
    EXPECT_EQ((Outcome{2, "ab"}), Decode("a%4:b", 100));
    EXPECT_EQ((Outcome{2, "ab"}), Decode("a%:4b", 100));
    EXPECT_EQ((Outcome{2, "ab"}), Decode("a%%4b", 100));
}

TEST(GURLDecode, EscapeCutShortIsSkipped)
{
    EXPECT_EQ((Outcome{1, "2"}), Decode("%2", 100));
    EXPECT_EQ((Outcome{1, "a"}), Decode("a%", 100));
    EXPECT_EQ((Outcome{1, "A"}), Decode("%41", 100));
}

TEST(GURLDecode, CapacityLimitsTheBytes)
{
    EXPECT_EQ((Outcome{3, "abc"}), Decode("abcdef", 3));
    EXPECT_EQ((Outcome{2, "a&"}), Decode("a%26cd", 2));
}

TEST(GURLDecode, BadArgumentsGiveZero)
{
    unsigned char bytes[8] = {0x7E};
    EXPECT_EQ(0, GURLDecode(nullptr, 1, bytes, 4));
    EXPECT_EQ(0, GURLDecode("a", 1, nullptr, 4));
    EXPECT_EQ(0, GURLDecode("a", -1, bytes, 4));
    EXPECT_EQ(0, GURLDecode("a", 1, bytes, 0));
    EXPECT_EQ(0, GURLDecode("a", 1, bytes, -1));
    EXPECT_EQ(0x7E, bytes[0]);
}

TEST(Hex2Num, ValueOfEveryCharacter)
{
    for (int code = 0; code < 256; code++)
    {
        int expected = 111;
        if (code >= '0' && code <= '9')
            expected = code - 48;
        else if (code >= 'a' && code <= 'z')
            expected = code - 87;
        else if (code >= 'A' && code <= 'Z')
            expected = code - 55;
        EXPECT_EQ(expected, hex2num(static_cast<char>(code))) << code;
    }
}
