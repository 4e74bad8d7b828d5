// Commands and status words in words.
#include "cards_support.h"

using cards_test::Unhex;
using vreader::StatusName;

namespace
{

std::string NameOf(const std::string &command)
{
    return vreader::CommandName(Unhex(command));
}

struct Named
{
    const char *command;
    const char *name;
};

} // namespace

TEST(CommandName, NamesEveryKnownCommand)
{
    const Named kCommands[] = {
        {"00A404000E315041592E5359532E4444463031", "SELECT 1PAY.SYS.DDF01"},
        {"00A404000E325041592E5359532E444446303100", "SELECT 2PAY.SYS.DDF01"},
        {"00A4040008A000000333010102", "SELECT A000000333010102"},
        {"00A4040205A000000333", "SELECT next A000000333"},
        {"00A4000002EF05", "SELECT file EF05"},
        {"00A4000002 3030", "SELECT file 3030"},
        {"00A4040000", "SELECT (no name)"},
        {"00B2010C00", "READ RECORD 1 SFI 1"},
        {"00B2FFF400", "READ RECORD 255 SFI 30"},
        {"00B2020400", "READ RECORD 2 current file"},
        {"00DC010C0101", "UPDATE RECORD 1 SFI 1"},
        {"00E2000C0101", "APPEND RECORD 0 SFI 1"},
        {"00B0950000", "READ BINARY SFI 21 offset 0"},
        {"00B0010200", "READ BINARY offset 258"},
        {"04D6950301FF", "UPDATE BINARY SFI 21 offset 3"},
        {"00C000001C", "GET RESPONSE 28"},
        {"00C0000000", "GET RESPONSE 256"},
        {"80CA9F79", "GET DATA 9F79 electronic cash balance"},
        {"80CA9F7700", "GET DATA 9F77 electronic cash balance limit"},
        {"80CA9F78", "GET DATA 9F78 electronic cash single transaction limit"},
        {"80CA9F6D", "GET DATA 9F6D electronic cash reset threshold"},
        {"80CA9F36", "GET DATA 9F36 application transaction counter"},
        {"80CA9F4F", "GET DATA 9F4F log format"},
        {"80CA9F01", "GET DATA 9F01"},
        {"80CA005A", "GET DATA 5A"},
        {"04DA9F790A00000008880000 2FD39B83", "PUT DATA 9F79 electronic cash balance"},
        {"80A80000028300", "GET PROCESSING OPTIONS"},
        {"80AE800000", "GENERATE AC ARQC"},
        {"80AE400000", "GENERATE AC TC"},
        {"80AE000000", "GENERATE AC AAC"},
        {"80AE900000", "GENERATE AC ARQC"},
        {"80AEC00000", "GENERATE AC reserved"},
        {"00820000081122334455667788", "EXTERNAL AUTHENTICATE"},
        {"0082000608 1122334455667788", "EXTERNAL AUTHENTICATE"},
        {"00880000047863AFC600", "INTERNAL AUTHENTICATE"},
        {"0084000004", "GET CHALLENGE 4"},
        {"0020000003123456", "VERIFY"},
        {"842400010101", "PIN CHANGE/UNBLOCK"},
        {"841600000401020304", "CARD BLOCK"},
        {"841800000401020304", "APPLICATION UNBLOCK"},
        {"841E00000401020304", "APPLICATION BLOCK"},
        {"805C000204", "GET BALANCE"},
        {"805000020B0102030405060708090A0B", "INITIALIZE FOR LOAD"},
        {"805001020B0102030405060708090A0B", "INITIALIZE FOR PURCHASE"},
        {"805400000B0102030405060708090A0B", "CREDIT FOR LOAD"},
        {"805401000F0102030405060708090A0B0C0D0E0F08", "DEBIT FOR PURCHASE"},
        {"80FA000001FF", "CRYPT DATA"},
        {"BFDE000001FF", "DELIVERY KEY"},
    };
    for (const Named &row : kCommands)
        EXPECT_EQ(NameOf(row.command), row.name) << row.command;
}

TEST(CommandName, UnknownCommandShowsItsHeader)
{
    EXPECT_EQ(NameOf("8077010203"), "command 80770102");
    EXPECT_EQ(NameOf("8050020205"), "command 80500202");
    EXPECT_EQ(NameOf("002400010101"), "command 00240001");
}

TEST(CommandName, IncompleteCommandSaysSo)
{
    EXPECT_EQ(NameOf(""), "incomplete command of 0 bytes");
    EXPECT_EQ(NameOf("00"), "incomplete command of 1 byte");
    EXPECT_EQ(NameOf("00A404"), "incomplete command of 3 bytes");
}

TEST(CommandName, CommandWithContradictingLengthsIsNamedByItsHeader)
{
    EXPECT_EQ(NameOf("00B2010C05 01"), "READ RECORD 1 SFI 1");
    EXPECT_EQ(NameOf("00A4040010 3150"), "SELECT (no name)");
}

TEST(CommandName, NamesWithUnprintableBytesAreShownInHex)
{
    EXPECT_EQ(NameOf("00A404000F 7378312E73682EE7A4BEE4BC9AE4BF"),
              "SELECT 7378312E73682EE7A4BEE4BC9AE4BF");
    EXPECT_EQ(NameOf("00A4040003 31500A"), "SELECT 31500A");
}

TEST(StatusName, ListedStatusWordsHaveTheirMeaning)
{
    EXPECT_EQ(StatusName(0x9000), "9000 success");
    EXPECT_EQ(StatusName(0x6283), "6283 selected file invalidated");
    EXPECT_EQ(StatusName(0x6700), "6700 wrong length");
    EXPECT_EQ(StatusName(0x6985), "6985 conditions of use not satisfied");
    EXPECT_EQ(StatusName(0x6A81), "6A81 function not supported");
    EXPECT_EQ(StatusName(0x6A82), "6A82 file not found");
    EXPECT_EQ(StatusName(0x6A83), "6A83 record not found");
    EXPECT_EQ(StatusName(0x6A86), "6A86 wrong P1 P2");
    EXPECT_EQ(StatusName(0x6A88), "6A88 referenced data not found");
    EXPECT_EQ(StatusName(0x6D00), "6D00 instruction not supported");
    EXPECT_EQ(StatusName(0x6E00), "6E00 class not supported");
    EXPECT_EQ(StatusName(0x9303), "9303 application permanently locked");
}

TEST(StatusName, LengthsAndCountersAreRead)
{
    EXPECT_EQ(StatusName(0x611C), "611C 28 more bytes to fetch");
    EXPECT_EQ(StatusName(0x6100), "6100 256 more bytes to fetch");
    EXPECT_EQ(StatusName(0x6C2A), "6C2A wrong Le, 42 is right");
    EXPECT_EQ(StatusName(0x6C00), "6C00 wrong Le, 256 is right");
    EXPECT_EQ(StatusName(0x63C2), "63C2 verification failed, 2 tries left");
}

TEST(StatusName, OthersAreNamedByTheirFirstByte)
{
    EXPECT_EQ(StatusName(0x62AB), "62AB warning, state unchanged");
    EXPECT_EQ(StatusName(0x6312), "6312 warning, state changed");
    EXPECT_EQ(StatusName(0x6412), "6412 execution error");
    EXPECT_EQ(StatusName(0x69FF), "69FF command not allowed");
    EXPECT_EQ(StatusName(0x6AFF), "6AFF wrong parameters");
    EXPECT_EQ(StatusName(0x0000), "0000 unknown status word");
    EXPECT_EQ(StatusName(0x9001), "9001 unknown status word");
}
