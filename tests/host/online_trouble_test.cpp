// Online transactions with scripts, and those that go wrong: the issuer's answer spoiled or late,
// the card declining by itself or pulled, the reader closed in between.
#include "host/online_desk.h"

using testing_support::Family;
using testing_support::FirstHalf;
using testing_support::kApproved;
using testing_support::kDeclined;
using testing_support::ObjectValue;
using testing_support::OnlineDesk;
using testing_support::SecondHalf;

namespace
{

class OnlineTrouble : public testing::TestWithParam<Family>
{
  protected:
    OnlineDesk desk{GetParam(), "0"};

    FirstHalf Request(const char *amount = kApproved)
    {
        const FirstHalf first = desk.Request(desk.Text(amount));
        EXPECT_EQ(0, first.result);
        return first;
    }
    SecondHalf Complete(const FirstHalf &first, const vreader::IssuerRules &rules = {})
    {
        const vreader::IssuerAnswer answer = desk.Judge(first.arqc, rules);
        EXPECT_TRUE(answer.verified) << answer.error;
        EXPECT_EQ("", answer.error);
        return desk.Complete(first, desk.Text(kApproved), answer.hex);
    }
    // The card is as good as before: a transaction runs to its TC.
    void ExpectTransactionRuns()
    {
        const SecondHalf second = Complete(Request());
        EXPECT_EQ(0, second.result);
        EXPECT_NE("", second.answer);
    }
    std::string BalanceItem(const char *value) const
    {
        return std::string(desk.family == Family::ordinary ? "G" : "C") + "012" + value;
    }
};

std::string CounterOf(const FirstHalf &first)
{
    return ObjectValue(first.arqc, "9F36");
}

const char kBalanceBefore[] = "000000010530";
const char kNoNewRecord[] = "01106P012000000026800";

std::string FamilyName(const testing::TestParamInfo<Family> &info)
{
    return info.param == Family::ordinary  ? "Ordinary"
           : info.param == Family::variant ? "Variant"
                                           : "Terminal";
}

} // namespace

TEST_P(OnlineTrouble, AScriptOfTheIssuerIsCarriedOut)
{
    EXPECT_EQ(BalanceItem(kBalanceBefore), desk.Balance());
    for (const uint8_t scriptTemplate : {uint8_t{0x71}, uint8_t{0x72}})
    {
        vreader::IssuerRules rules;
        rules.scriptTemplate = scriptTemplate;
        rules.scriptIdentifier = {0x12, 0x34, 0x56, scriptTemplate};
        rules.scripts = {scriptTemplate == 0x71 ? "put-data 9F79=000000020000"
                                                : "put-data 9F79=000000030000"};
        const SecondHalf second = Complete(Request(), rules);
        EXPECT_EQ(0, second.result);
        EXPECT_EQ(std::string("DF310520123456") + (scriptTemplate == 0x71 ? "71" : "72"),
                  second.scriptResult);
        EXPECT_EQ(BalanceItem(scriptTemplate == 0x71 ? "000000020000" : "000000030000"),
                  desk.Balance());
    }
}

TEST_P(OnlineTrouble, AScriptWithAWrongMacFailsAfterTheTc)
{
    vreader::IssuerRules rules;
    rules.scripts = {"put-data 9F79=000000020000"};
    rules.spoilsScriptMacs = true;
    const SecondHalf second = Complete(Request(), rules);
    const int ordinary = desk.family == Family::ordinary ? -4110 : -4109;
    EXPECT_EQ(desk.Code(ordinary, -30), second.result);
    EXPECT_EQ("40", second.answer.substr(0, 2)) << "the transaction itself is approved";
    // One command got its answer: the count is one further.
    EXPECT_EQ("DF31051200000001", second.scriptResult);
    EXPECT_EQ(BalanceItem(kBalanceBefore), desk.Balance());
    EXPECT_EQ("02106P012000000001234", desk.TransactionLog().substr(0, 21));
}

TEST_P(OnlineTrouble, AScriptReachesTheCardAlsoWhenTheIssuerRefers)
{
    vreader::IssuerRules rules;
    rules.responseCode = "01";
    rules.scripts = {"put-data 9F79=000000020000"};
    const SecondHalf second = Complete(Request(), rules);
    EXPECT_EQ(0, second.result);
    EXPECT_EQ("DF31052000000001", second.scriptResult);
    EXPECT_EQ(BalanceItem("000000020000"), desk.Balance());
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
}

TEST_P(OnlineTrouble, AWrongArpcEndsTheTransaction)
{
    vreader::IssuerRules rules;
    rules.spoilsArpc = true;
    rules.scripts = {"put-data 9F79=000000020000"};
    const SecondHalf second = Complete(Request(), rules);
    EXPECT_EQ(desk.Code(-4109, -30), second.result);
    EXPECT_EQ("", second.answer);
    EXPECT_EQ("DF31051000000001", second.scriptResult) << "named by the issuer, not run";
    EXPECT_EQ(BalanceItem(kBalanceBefore), desk.Balance());
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
    ExpectTransactionRuns();
}

TEST_P(OnlineTrouble, TheAnswerToAnOlderRequestIsRefused)
{
    const std::string older = desk.Judge(Request().arqc).hex;
    const FirstHalf first = Request();
    const SecondHalf second = desk.Complete(first, desk.Text(kApproved), older);
    EXPECT_EQ(desk.Code(-4109, -30), second.result);
    EXPECT_EQ("", second.answer);
    ExpectTransactionRuns();
}

TEST_P(OnlineTrouble, AnAnswerGivenTwiceIsRefusedTheSecondTime)
{
    const FirstHalf first = Request();
    const std::string answer = desk.Judge(first.arqc).hex;
    EXPECT_EQ(0, desk.Complete(first, desk.Text(kApproved), answer).result);
    // The card is powered off by now.
    EXPECT_EQ(desk.Code(-4109, -30), desk.Complete(first, desk.Text(kApproved), answer).result);
    ExpectTransactionRuns();
}

// The card's AAC is a result of the first call, not a failure: the issuer is the one who sees it.
TEST_P(OnlineTrouble, ACardThatDeclinesAtOnceGivesNoRequest)
{
    desk.Lay("declining", "6200001234567890128");
    const FirstHalf first = Request();
    EXPECT_EQ("00", ObjectValue(first.arqc, "9F27"));
    const vreader::IssuerAnswer answer = desk.Judge(first.arqc);
    EXPECT_TRUE(answer.verified) << answer.error;
    EXPECT_EQ("", answer.hex);
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
}

TEST_P(OnlineTrouble, ACardThatDeclinesAfterTheIssuersApproval)
{
    desk.Lay("declining-second", "6200001234567890128");
    const SecondHalf second = Complete(Request());
    EXPECT_EQ(desk.Code(-4114, -31), second.result);
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
}

TEST_P(OnlineTrouble, TheReaderMayBeClosedBetweenTheHalves)
{
    const FirstHalf first = Request();
    CALL(desk.library, BO_Close)();
    desk.Open();
    const SecondHalf second = Complete(first);
    EXPECT_EQ(0, second.result);
    EXPECT_EQ("40", second.answer.substr(0, 2));
    EXPECT_EQ("02106P012000000001234", desk.TransactionLog().substr(0, 21));
}

TEST_P(OnlineTrouble, ACardPulledBetweenTheHalvesIsNoTransaction)
{
    const FirstHalf first = Request();
    const std::string answer = desk.Judge(first.arqc).hex;
    desk.Control("remove contact");
    const SecondHalf second = desk.Complete(first, desk.Text(kApproved), answer);
    EXPECT_EQ(desk.Code(-4109, -30), second.result);
    EXPECT_EQ("", second.answer);
    desk.Control("insert contact online-1");
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
    const FirstHalf next = Request();
    EXPECT_GT(std::stoi(CounterOf(next), nullptr, 16), std::stoi(CounterOf(first), nullptr, 16));
    EXPECT_EQ(0, Complete(next).result);
}

// A card that has lost its power in between knows nothing of the request.
TEST_P(OnlineTrouble, ACardPulledAndPutBackBetweenTheHalvesIsNoTransaction)
{
    const FirstHalf first = Request();
    const std::string answer = desk.Judge(first.arqc).hex;
    desk.Control("remove contact");
    desk.Control("insert contact online-1");
    EXPECT_EQ(desk.Code(-4109, -30), desk.Complete(first, desk.Text(kApproved), answer).result);
    EXPECT_EQ(kNoNewRecord, desk.TransactionLog().substr(0, 21));
    ExpectTransactionRuns();
}

// Two transactions draw two numbers; the variant calls take the host's own in its place.
TEST_P(OnlineTrouble, TheUnpredictableNumberIsDrawnUnlessTheHostGivesIt)
{
    const std::string one = ObjectValue(Request().arqc, "9F37");
    const std::string other = ObjectValue(Request().arqc, "9F37");
    EXPECT_NE(one, other);
    const FirstHalf own = desk.Request("K008A1B2C3D4" + desk.Text(kApproved));
    EXPECT_EQ(desk.family != Family::ordinary, ObjectValue(own.arqc, "9F37") == "A1B2C3D4");
    EXPECT_EQ(0, Complete(own).result);
}

// What one transaction has set stays for a field that the next one leaves out.
TEST_P(OnlineTrouble, AFieldThatIsLeftOutKeepsItsValue)
{
    Request();
    const FirstHalf first = desk.Request("P003999");
    EXPECT_EQ("000000000999", ObjectValue(first.arqc, "9F02"));
    EXPECT_EQ("260131", ObjectValue(first.arqc, "9A"));
    EXPECT_TRUE(desk.Judge(first.arqc).verified);
}

// The issuer decides by the amount that the card has signed, not by the one the host names later.
TEST_P(OnlineTrouble, AnotherAmountInTheSecondHalfIsWhatTheTcIsOver)
{
    const FirstHalf first = Request();
    const SecondHalf second =
        desk.Complete(first, desk.Text("000000000999"), desk.Judge(first.arqc).hex);
    EXPECT_EQ(0, second.result);
    vreader::IssuerRules rules;
    rules.pan = desk.pan;
    rules.sequenceNumber = "01";
    std::string arqc = first.arqc;
    EXPECT_FALSE(desk.Judge(desk.SecondAsText(second.answer, arqc), rules).verified);
    arqc.replace(arqc.find("9F0206000000001234"), 18, "9F0206000000000999");
    EXPECT_TRUE(desk.Judge(desk.SecondAsText(second.answer, arqc), rules).verified);
}

INSTANTIATE_TEST_SUITE_P(Host, OnlineTrouble,
                         testing::Values(Family::ordinary, Family::variant, Family::terminal),
                         FamilyName);

// Only the ordinary family has a call for scripts alone: what is left for a card that gave its
// cryptogram with its processing options.
TEST(OnlineScriptsOnly, ReachACardThatGaveItsCryptogramAtOnce)
{
    for (const char *framing : {"0", "1"})
    {
        OnlineDesk desk(Family::ordinary, framing);
        desk.Lay("online-one-step", "6200005555000011112");
        const std::string text = desk.Text(kDeclined);
        const FirstHalf first = desk.Request(text);
        ASSERT_EQ(0, first.result);
        vreader::IssuerRules rules;
        rules.scripts = {"unblock-pin"};
        const vreader::IssuerAnswer answer = desk.Judge(first.arqc, rules);
        ASSERT_TRUE(answer.verified) << answer.error;
        EXPECT_EQ("05", answer.responseCode);
        EXPECT_EQ(0, CALL(desk.library, BO_ICExeScript)(first.cardType, text.c_str(),
                                                        answer.hex.c_str(), nullptr));
        rules.spoilsScriptMacs = true;
        const FirstHalf again = desk.Request(text);
        EXPECT_EQ(-4109, CALL(desk.library,
                              BO_ICExeScript)(again.cardType, text.c_str(),
                                              desk.Judge(again.arqc, rules).hex.c_str(), nullptr));
    }
}

// After the script the card is blocked; the issuer's next script cannot be reached any more.
TEST(OnlineScriptsOnly, CanBlockTheCard)
{
    OnlineDesk desk(Family::ordinary, "0");
    const std::string text = desk.Text(kApproved);
    const FirstHalf first = desk.Request(text);
    vreader::IssuerRules rules;
    rules.scripts = {"block-card"};
    EXPECT_EQ(0, CALL(desk.library, BO_ICExeScript)(first.cardType, text.c_str(),
                                                    desk.Judge(first.arqc, rules).hex.c_str(),
                                                    nullptr));
    EXPECT_EQ(-4100, desk.Request(text).result);
}
