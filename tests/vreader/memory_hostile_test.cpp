// Hostile memory cards behind the reader's commands.
#include "vreader/memory_module_support.h"

using namespace vreader_test;

namespace
{

std::string
HostileProfile(const std::string &behaviour, const std::string &card,
               const std::string &commands = R"(["read", "read-value", "exchange", "type"])")
{
    return R"({"cards": {"h": {"kind": "hostile-memory", "behaviour": ")" + behaviour +
           R"(", "commands": )" + commands + R"(, "card": )" + card + R"(}}, "contactless": "h"})";
}

const char kClassicBeneath[] = R"({"kind": "mifare-classic", "blocks": {"4": "text:HELLO"}})";
const char kUltralightBeneath[] =
    R"({"kind": "ultralight-c", "random": ["51E764602678DF2B"], "pages": {"4": "01020304"}})";

std::string Repeated(const std::string &text, size_t count)
{
    std::string all;
    for (size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

} // namespace

TEST(HostileMemory, AnswersAreTooShort)
{
    const struct
    {
        const char *behaviour;
        const char *krel;
        const char *united;
    } rows[] = {
        {"no-payload", "", ""},
        {"one-byte", "00", "00"},
        {"status-only", "00", "0000"},
        {"short", "0048454C4C4F00000000000000000000", "000048454C4C4F00000000000000000000"},
    };
    for (const auto &row : rows)
    {
        const Bench bench(HostileProfile(row.behaviour, kClassicBeneath));
        const Host host(bench.Name());
        EXPECT_EQ(Krel(host, "41"), "000400085A1B2C3D") << "not a spoiled command";
        EXPECT_EQ(Krel(host, "42 01 60 FFFFFFFFFFFF"), "00");
        EXPECT_EQ(Krel(host, "43 04"), row.krel);
        EXPECT_EQ(Union(host, "32 43 04"), row.united);
        EXPECT_THAT(bench.Trace(),
                    HasSubstr("(hostile memory card: " + std::string(row.behaviour) + ")"));
    }
}

TEST(HostileMemory, AnswersAreTooLong)
{
    const std::string data = "48454C4C4F0000000000000000000000";
    {
        const Bench bench(HostileProfile("long", kClassicBeneath));
        const Host host(bench.Name());
        Krel(host, "41");
        Krel(host, "42 01 60 FFFFFFFFFFFF");
        EXPECT_EQ(Krel(host, "43 04"), "00" + data + Repeated("5A", 64));
        EXPECT_EQ(Union(host, "32 43 04"), "0000" + data + Repeated("5A", 64));
    }
    const Bench bench(HostileProfile("huge", kClassicBeneath));
    const Host host(bench.Name());
    Krel(host, "41");
    Krel(host, "42 01 60 FFFFFFFFFFFF");
    // The long form: FF for the length, FF for 334 in the place of the status.
    EXPECT_EQ(Krel(host, "43 04"), "FF" + data + Repeated("5A", 317));
    EXPECT_EQ(Union(host, "32 43 04"), "0000" + data + Repeated("5A", 982));
    Krel(host, "41");
    EXPECT_EQ(Krel(host, "43 04"), "A2" + Repeated("5A", 253)) << "the short form with a status";
}

TEST(HostileMemory, WrongProofComesFromACardWithoutTheKey)
{
    const Bench bench(HostileProfile("wrong-proof", kUltralightBeneath));
    const Host host(bench.Name());
    Krel(host, "51");
    EXPECT_EQ(Krel(host, "56 02 1A 00"), "00AF577293FD2F34CA51");
    EXPECT_EQ(Krel(host, "56 11" + std::string(kDataSheetHalf)), "00003B884FA07C137C1E");
    EXPECT_EQ(Krel(host, "57 04 01"), "0001020304");
}

TEST(HostileMemory, SpoilsTheChallengeAndTheTypeToo)
{
    {
        const Bench bench(HostileProfile("short", kUltralightBeneath));
        const Host host(bench.Name());
        Krel(host, "51");
        EXPECT_EQ(Krel(host, "56 02 1A 00"), "00AF577293FD2F34CA");
        EXPECT_EQ(Krel(host, "58"), "00");
    }
    const Bench bench(HostileProfile("status-only", kUltralightBeneath, R"(["power-on"])"));
    const Host host(bench.Name());
    EXPECT_EQ(Krel(host, "51"), "00");
    EXPECT_EQ(Krel(host, "57 04 01"), "0001020304");
}
