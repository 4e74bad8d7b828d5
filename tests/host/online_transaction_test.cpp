// Whole online transactions by all three families of calls, on every kind of card, in both command
// sets. The judge is the virtual issuer: one wrong byte in a data-object list, in the order of the
// commands or in what is handed on, and the card's cryptogram would not verify.
#include <tuple>

#include "host/online_desk.h"

using testing_support::Family;
using testing_support::FirstHalf;
using testing_support::HexBytes;
using testing_support::kApproved;
using testing_support::kDeclined;
using testing_support::kReferred;
using testing_support::ObjectValue;
using testing_support::OnlineDesk;
using testing_support::SecondHalf;

namespace
{

struct CardInProfile
{
    const char *name;
    const char *pan;
};

const CardInProfile kFormat1 = {"online-1", "6200001234567890128"};
const CardInProfile kFormat2 = {"online-2", "6200009876543212"};
const CardInProfile kContactless = {"online-contactless", "6200005555000011112"};
const CardInProfile kOneStep = {"online-one-step", "6200005555000011112"};
const CardInProfile kSignsAll = {"signs-all", "6200009876543212"};

using Case = std::tuple<Family, const char *>;

const char *FamilyName(Family family)
{
    return family == Family::ordinary  ? "Ordinary"
           : family == Family::variant ? "Variant"
                                       : "Terminal";
}

std::string CaseName(const testing::TestParamInfo<Case> &info)
{
    return std::string(FamilyName(std::get<0>(info.param))) +
           (std::get<1>(info.param)[0] == '0' ? "Krel" : "Union");
}

class OnlineTransaction : public testing::TestWithParam<Case>
{
  protected:
    OnlineDesk desk{std::get<0>(GetParam()), std::get<1>(GetParam())};

    // A first half that the issuer verifies, and with which the terminal's own data are right.
    FirstHalf VerifiedRequest(const std::string &amount)
    {
        const FirstHalf first = desk.Request(desk.Text(amount));
        EXPECT_EQ(0, first.result);
        EXPECT_EQ(desk.contactless ? 1 : 0, first.cardType);
        EXPECT_EQ("80", ObjectValue(first.arqc, "9F27"));
        EXPECT_EQ("0000000800", ObjectValue(first.arqc, "95"));
        EXPECT_EQ("260131", ObjectValue(first.arqc, "9A"));
        EXPECT_EQ("00", ObjectValue(first.arqc, "9C"));
        EXPECT_EQ(amount, ObjectValue(first.arqc, "9F02"));
        EXPECT_EQ("0156", ObjectValue(first.arqc, "5F2A"));
        EXPECT_EQ("7C00", ObjectValue(first.arqc, "82"));
        EXPECT_EQ("0156", ObjectValue(first.arqc, "9F1A"));
        EXPECT_EQ("000000000000", ObjectValue(first.arqc, "9F03"));
        EXPECT_EQ(8u, ObjectValue(first.arqc, "9F37").size());
        const vreader::IssuerAnswer answer = desk.Judge(first.arqc);
        EXPECT_TRUE(answer.verified) << answer.error;
        return first;
    }

    // The card's second cryptogram is of this kind, of this transaction, and verifies.
    void ExpectSecond(const FirstHalf &first, const SecondHalf &second, const std::string &kind)
    {
        ASSERT_GE(second.answer.size(), 22u);
        const std::string text = desk.SecondAsText(second.answer, first.arqc);
        EXPECT_EQ(kind, ObjectValue(text, "9F27"));
        EXPECT_EQ(ObjectValue(first.arqc, "9F36"), ObjectValue(text, "9F36"));
        EXPECT_NE(ObjectValue(first.arqc, "9F26"), ObjectValue(text, "9F26"));
        vreader::IssuerRules rules;
        rules.pan = desk.pan;
        rules.sequenceNumber = "01";
        const vreader::IssuerAnswer judged = desk.Judge(text, rules);
        EXPECT_TRUE(judged.verified) << judged.error;
    }

    void RunAllDecisions(const CardInProfile &card);
};

int Counter(const std::string &arqc)
{
    return std::stoi(ObjectValue(arqc, "9F36"), nullptr, 16);
}

// What the card has entered about a purchase of 12.34.
std::string LogRecord(const std::string &counter)
{
    return "P012000000001234Q012000000000000R0040156S006260131T00200U006120000V0040156"
           "W020TEST MERCHANT 123456X004" +
           counter;
}

const char kRecordBefore[] = "P012000000026800Q012000000000000R0040156S006250301T00200U006184005"
                             "V0040156W020TEA HOUSE           X004002A";

} // namespace

// Approved, declined, referred, in this order on the same card: what one transaction leaves behind
// must not reach into the next.
void OnlineTransaction::RunAllDecisions(const CardInProfile &card)
{
    desk.Lay(card.name, card.pan);
    const FirstHalf approved = VerifiedRequest(kApproved);
    const vreader::IssuerAnswer yes = desk.Judge(approved.arqc);
    ASSERT_EQ("00", yes.responseCode);
    const SecondHalf tc = desk.Complete(approved, desk.Text(kApproved), yes.hex);
    EXPECT_EQ(0, tc.result);
    EXPECT_EQ("DF31051000000000", tc.scriptResult);
    ExpectSecond(approved, tc, "40");

    const std::string log = desk.TransactionLog();
    EXPECT_EQ("02106" + LogRecord(ObjectValue(approved.arqc, "9F36")), log.substr(0, 5 + 106));

    const FirstHalf declined = VerifiedRequest(kDeclined);
    EXPECT_GT(Counter(declined.arqc), Counter(approved.arqc));
    const vreader::IssuerAnswer no = desk.Judge(declined.arqc);
    ASSERT_EQ("05", no.responseCode);
    const SecondHalf aac = desk.Complete(declined, desk.Text(kDeclined), no.hex);
    EXPECT_EQ(desk.Code(-4115, -31), aac.result);
    EXPECT_EQ("DF31051000000000", aac.scriptResult);

    const FirstHalf referred = VerifiedRequest(kReferred);
    EXPECT_EQ(Counter(declined.arqc) + 1, Counter(referred.arqc));
    const vreader::IssuerAnswer call = desk.Judge(referred.arqc);
    ASSERT_EQ("01", call.responseCode);
    const SecondHalf referral = desk.Complete(referred, desk.Text(kReferred), call.hex);
    EXPECT_EQ(0, referral.result);
    ExpectSecond(referred, referral, "00"); // this card makes no other after a referral

    EXPECT_EQ(log, desk.TransactionLog()) << "only a TC is entered";
}

TEST_P(OnlineTransaction, OnAContactCardOfFormat1)
{
    RunAllDecisions(kFormat1);
}

TEST_P(OnlineTransaction, OnAContactCardOfFormat2)
{
    RunAllDecisions(kFormat2);
}

TEST_P(OnlineTransaction, OnAContactlessCardWithFileLocator)
{
    RunAllDecisions(kContactless);
}

// The log keeps what was there before.
TEST_P(OnlineTransaction, EntersItsRecordBeforeTheOlderOnes)
{
    desk.Lay(kFormat1.name, kFormat1.pan);
    const FirstHalf first = VerifiedRequest(kApproved);
    ASSERT_EQ(0, desk.Complete(first, desk.Text(kApproved), desk.Judge(first.arqc).hex).result);
    // A merchant name with zero bytes: filled with spaces by the ordinary call, left as it is by
    // the variant one, where a C string ends in it.
    const std::string older = kRecordBefore;
    const size_t shown = desk.family == Family::ordinary ? older.size() : older.find("TEA") + 9;
    EXPECT_EQ("02106" + LogRecord("002B") + older.substr(0, shown), desk.TransactionLog());
}

// The cryptogram comes with the processing options, once: there is no list for a second one.
TEST_P(OnlineTransaction, OnACardThatGivesItsCryptogramAtOnce)
{
    desk.Lay(kOneStep.name, kOneStep.pan);
    const struct
    {
        const char *amount;
        const char *code;
        int variant; // there an empty list is one like any other, and this card asks for nothing
    } kDecisions[] = {{kApproved, "00", 0}, {kDeclined, "05", -4115}, {kReferred, "01", 0}};
    int before = 0;
    for (const auto &decision : kDecisions)
    {
        const FirstHalf first = VerifiedRequest(decision.amount);
        EXPECT_EQ("", first.cdol2);
        EXPECT_GT(Counter(first.arqc), before);
        before = Counter(first.arqc);
        const vreader::IssuerAnswer answer = desk.Judge(first.arqc);
        EXPECT_EQ(decision.code, answer.responseCode);
        const SecondHalf second = desk.Complete(first, desk.Text(decision.amount), answer.hex);
        EXPECT_EQ(desk.family == Family::variant ? decision.variant : desk.Code(-4111, -1),
                  second.result);
    }
}

// This card signs every byte of both lists, also those that the standard cryptogram leaves out:
// time, merchant and response code.
TEST_P(OnlineTransaction, EveryByteOfBothListsIsRight)
{
    desk.Lay(kSignsAll.name, kSignsAll.pan);
    const char kTime[] = "9F2103120000";
    const char kMerchant[] = "9F4E1454455354204D45524348414E5420313233343536";
    const char kCdol1[] = "9F02069F03069F1A0295055F2A029A039C019F37049F21039F4E14";
    const char kCdol2[] = "8A029F02069F03069F1A0295055F2A029A039C019F37049F21039F4E14";

    vreader::IssuerRules rules;
    rules.cdol1 = HexBytes(kCdol1);
    rules.furtherData = HexBytes(std::string(kTime) + kMerchant);
    const FirstHalf first = desk.Request(desk.Text(kApproved));
    ASSERT_EQ(0, first.result);
    const vreader::IssuerAnswer answer = desk.Judge(first.arqc, rules);
    ASSERT_TRUE(answer.verified) << answer.error;
    EXPECT_EQ(desk.family == Family::ordinary ? "" : kCdol2, first.cdol2);

    const SecondHalf second = desk.Complete(first, desk.Text(kApproved), answer.hex);
    ASSERT_EQ(0, second.result);
    rules.pan = desk.pan;
    rules.sequenceNumber = "01";
    rules.cdol1 = HexBytes(kCdol2);
    rules.furtherData = HexBytes(std::string("8A023030") + kTime + kMerchant);
    const vreader::IssuerAnswer judged =
        desk.Judge(desk.SecondAsText(second.answer, first.arqc), rules);
    EXPECT_TRUE(judged.verified) << judged.error;
}

// Without the data of this transaction the issuer would have to refuse: the judge can say no.
TEST_P(OnlineTransaction, AnotherAmountDoesNotVerify)
{
    desk.Lay(kFormat1.name, kFormat1.pan);
    const FirstHalf first = VerifiedRequest(kApproved);
    std::string changed = first.arqc;
    changed.replace(changed.find("9F0206000000001234"), 18, "9F0206000000001235");
    EXPECT_FALSE(desk.Judge(changed).verified);
}

INSTANTIATE_TEST_SUITE_P(Host, OnlineTransaction,
                         testing::Combine(testing::Values(Family::ordinary, Family::variant,
                                                          Family::terminal),
                                          testing::Values("0", "1")),
                         CaseName);
