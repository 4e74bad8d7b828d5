// The methods of a card with keys by themselves.
#include "cards_online_support.h"

using namespace cards_test;

// ISO/IEC 9797-1 annex B: algorithm 3, padding method 2, K 0123456789ABCDEF, K' FEDCBA9876543210.
TEST(PbocCryptography, RetailMacGivesThePublishedAnswers)
{
    const vreader::TripleDesKey key = KeyOf("0123456789ABCDEFFEDCBA9876543210");
    const std::string first = "Now is the time for all ";
    const std::string second = "Now is the time for it";
    EXPECT_EQ(HexOf(vreader::RetailMac(key, {first.begin(), first.end()})), "E9086230CA3BE796");
    EXPECT_EQ(HexOf(vreader::RetailMac(key, {second.begin(), second.end()})), "5A692CE64F404145");
}

// ISO/IEC 9797-1 annex B: algorithm 1, padding method 2.
TEST(PbocCryptography, SingleDesMacGivesThePublishedAnswer)
{
    const std::string text = "Now is the time for all ";
    EXPECT_EQ(HexOf(vreader::DesMac(BlockOf("0123456789ABCDEF"), {text.begin(), text.end()})),
              "10E1F0F108341B6D");
}

TEST(PbocCryptography, CardKeyComesFromTheLastSixteenDigitsOfPanAndSequenceNumber)
{
    const vreader::KeySet keys =
        vreader::DeriveCardKeys(vreader::ProfileMasterKeys(), "6200001234567890128", "01");
    EXPECT_EQ(HexOf(keys.cryptogram), "03770EA272EA841D7E027B3BF087A945");
    EXPECT_EQ(HexOf(keys.mac), "BEBCF40657FF30ABF8CE602F8DCB7291");
    EXPECT_EQ(HexOf(keys.encipherment), "264E166A19736AC8DDABDCFC80E03FE2");
    const vreader::TripleDesKey master = KeyOf("0123456789ABCDEFFEDCBA9876543210");
    EXPECT_EQ(vreader::DeriveCardKey(master, "12345", "67"),
              vreader::DeriveCardKey(master, "0000000000012345", "67"));
}

TEST(PbocCryptography, SessionKeyComesFromTheCounter)
{
    EXPECT_EQ(HexOf(vreader::DeriveSessionKey(KeyOf("03770EA272EA841D7E027B3BF087A945"), 0x002B)),
              "6589815E478FAD694616571540D504D2");
}

TEST(PbocCryptography, ArpcIsOverArqcAndResponseCode)
{
    const vreader::TripleDesKey key = KeyOf("6589815E478FAD694616571540D504D2");
    const vreader::Block arqc = BlockOf("0B6C7FA84AB4F4D1");
    EXPECT_EQ(HexOf(vreader::MakeArpc(key, arqc, {'0', '0'})), "1ED417997F96C6C6");
    EXPECT_EQ(HexOf(vreader::MakeArpc(key, arqc, {'0', '5'})), "85B65CC64086E2BF");
}

TEST(PbocCryptography, ScriptMacIsOverHeaderCounterArqcAndData)
{
    const auto mac = vreader::ScriptMac(KeyOf("53D8807626360FDB2FF69C873F60D4AA"),
                                        {0x04, 0xDA, 0x9F, 0x79, 0x0A}, 0x002B,
                                        BlockOf("0B6C7FA84AB4F4D1"), Unhex("000000020000"));
    EXPECT_EQ(HexOf(mac), "428332A0");
}

TEST(PbocCryptography, PinBlockHidesThePinBehindTheCardKey)
{
    const vreader::TripleDesKey key = KeyOf("03770EA272EA841D7E027B3BF087A945");
    const vreader::Block block = vreader::MakePinBlock(key, "654321", "");
    EXPECT_EQ(HexOf(block), "066543218D157BE2");
    EXPECT_EQ(vreader::PinInBlock(key, block, ""), "654321");
    EXPECT_EQ(vreader::PinInBlock(key, block, "123456"), std::nullopt);
    EXPECT_EQ(vreader::PinInBlock(key, BlockOf("0000000000000000"), ""), std::nullopt);
    EXPECT_EQ(vreader::PinInBlock(key, BlockOf("FFFFFFFFFFFFFFFF"), ""), std::nullopt);
}

TEST(PbocCryptography, EncipheredDataHaveALengthInFront)
{
    const vreader::TripleDesKey key = KeyOf("FF4CEDD310869997B7AF2C5E3A214440");
    const vreader::Bytes blocks = vreader::EncipherScriptData(key, Unhex("066543218D157BE2"));
    EXPECT_EQ(Hex(blocks), "8DC179EE494D6C34387F06B5EEE20D10");
    EXPECT_EQ(vreader::DecipherScriptData(key, blocks), Unhex("066543218D157BE2"));
    // Seven bytes and their length fill the block: nothing is added.
    EXPECT_EQ(vreader::EncipherScriptData(key, Unhex("01020304050607")).size(), 8u);
    EXPECT_EQ(vreader::DecipherScriptData(key, {}), std::nullopt);
    EXPECT_EQ(vreader::DecipherScriptData(key, Unhex("00112233")), std::nullopt);
    // Enciphered 08 and seven bytes: the length goes beyond the block.
    vreader::Block lie = vreader::EncryptTripleDes(key, BlockOf("0801020304050607"));
    EXPECT_EQ(vreader::DecipherScriptData(key, {lie.begin(), lie.end()}), std::nullopt);
}
