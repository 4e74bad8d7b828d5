#include "commands.h"

#include "card_calls.h"
#include "issuer_answer.h"
#include "issuer_program.h"
#include "presentation.h"
#include "saved_transaction.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

static const char *CardName(int cardType)
{
    return cardType == 0 ? "contact" : "contactless";
}

static void ToolFailure(Report *report, const std::string &meaning, const std::string &advice)
{
    report->failure = Failure{"", 0, "", meaning, advice};
}

// ---- First half ----

static void ShowRequest(const Options &options, Report *report, const PendingTransaction &pending)
{
    const DataObjects objects = ParseObjects(Bytes(pending.arqc));
    const bool hidden = options.mask && FindObject(objects, "5A") != nullptr;
    report->result["interface"] = CardName(pending.cardType);
    report->result["cryptogram"] = CryptogramKind(objects);
    report->result["arqc"] = hidden ? Json(nullptr) : Json(pending.arqc);
    report->result["request"] = ObjectsJson(objects, options.mask);
    if (options.hexOnly)
    {
        Say(*report, pending.arqc + "\n");
        return;
    }
    Say(*report, std::string(CardName(pending.cardType)) + " card, " + CryptogramKind(objects) +
                     "\n" + ObjectsText(objects, options.mask));
    Say(*report, "for the issuer: " + (hidden ? "hidden by --mask" : pending.arqc) + "\n");
}

// A transaction that nobody will finish: the card is not left under power.
static void PowerOff(const Options &options, const PendingTransaction &pending)
{
    if (options.callSet == CallSet::kMain)
    {
        BO_IcPowerOff(pending.cardType);
        return;
    }
    if (OpenReader(options) == 0)
        BO_IcPowerOff(pending.cardType);
    BO_Close();
}

static bool Request(const Options &options, Report *report, PendingTransaction *pending)
{
    CallResult result{};
    WaitingForCard(options,
                   [&]
                   {
                       result = RequestCryptogram(options, pending);
                       return result.code;
                   });
    if (result.code == 0 && IsCancelled()) // too late for the call, not for the transaction
        PowerOff(options, *pending);
    if (Failed(options, report, result.call, result.code))
        return false;
    ShowRequest(options, report, *pending);
    return true;
}

void IcArqc(const Options &options, Report *report)
{
    WithCallSet(options, report,
                [&]
                {
                    PendingTransaction pending;
                    if (!Request(options, report, &pending))
                        return;
                    std::string trouble;
                    if (!options.file.empty())
                        trouble = SaveTransaction(options.file, pending);
                    if (!trouble.empty())
                        ToolFailure(report, trouble, "the card was powered off; begin again");
                    const bool isKept = !options.file.empty() && trouble.empty();
                    report->result["saved"] = isKept ? Json(options.file) : Json(nullptr);
                    if (!isKept)
                        PowerOff(options, pending);
                    else if (!options.hexOnly)
                        Say(*report, "the card stays powered; go on with: vantor ic complete "
                                     "--saved " +
                                         options.file + " --arpc HEX\n");
                });
}

// ---- Second half ----

// What became of the transaction, as far as the calls' codes tell.
static std::string Outcome(const Options &options, const CallResult &result,
                           const std::string &responseMeaning, const std::string &answerKind)
{
    if (options.scriptsOnly)
        return result.code == 0 ? "scripts_done" : "failed";
    if (answerKind == "TC")
        return "approved";
    if (result.code == 0)
        return responseMeaning == "refer to the issuer" ? "referred" : "declined";
    // The terminal interface has one code for every way in which the second cryptogram fails.
    const bool askedForAac = responseMeaning == "declined";
    if (result.code == -4114 || result.code == -4115 || (result.code == -31 && askedForAac))
        return "declined";
    return "failed";
}

static void ShowCompletion(Report *report, const Completion &completion)
{
    const bool hasAnswer = !completion.answer.empty();
    const DataObjects answer =
        hasAnswer ? CryptogramObjects(Bytes(completion.answer)) : DataObjects{};
    report->result["tc"] = hasAnswer ? Json(completion.answer) : Json(nullptr);
    report->result["answer"] = ObjectsJson(answer, false);
    if (hasAnswer)
        Say(*report,
            "the card answers: " + CryptogramKind(answer) + "\n" + ObjectsText(answer, false));
    report->result["script_result"] = nullptr;
    if (completion.scriptResult.empty())
        return;
    const std::string text = TextOrHex(completion.scriptResult);
    const std::string meaning = ScriptResultMeaning(completion.scriptResult);
    report->result["script_result"] = {{"text", text}, {"meaning", meaning}};
    Say(*report, "script result: " + text + ", " + meaning + "\n");
}

static std::string ResponseMeaning(const std::string &issuerAnswer)
{
    const Json answer = IssuerAnswerJson(ParseObjects(Bytes(issuerAnswer)));
    return answer["meaning"].is_string() ? answer["meaning"].get<std::string>() : "";
}

static void ShowIssuerAnswer(Report *report, const std::string &issuerAnswer)
{
    const DataObjects objects = ParseObjects(Bytes(issuerAnswer));
    report->result["issuer_answer"] = IssuerAnswerJson(objects);
    report->result["arpc"] = issuerAnswer;
    Say(*report, "the issuer answers: " + issuerAnswer + "\n" + IssuerAnswerText(objects));
}

static void ShowOutcome(Report *report, const std::string &outcome)
{
    if (outcome == "referred")
        ToolFailure(report, "not approved: the issuer wants to be asked in person",
                    "call the issuer, then begin again");
    else if (outcome == "declined")
        ToolFailure(report, "not approved: declined", "ask the issuer why");
    else
        Say(*report, outcome == "approved" ? "approved\n" : "the scripts were carried out\n");
}

static void Complete(const Options &options, Report *report, const PendingTransaction &pending,
                     const std::string &issuerAnswer)
{
    ShowIssuerAnswer(report, issuerAnswer);
    Completion completion;
    const CallResult result = CompleteTransaction(options, pending, issuerAnswer, &completion);
    ShowCompletion(report, completion);
    const std::string kind = completion.answer.empty()
                                 ? ""
                                 : CryptogramKind(CryptogramObjects(Bytes(completion.answer)));
    const std::string outcome = Outcome(options, result, ResponseMeaning(issuerAnswer), kind);
    report->result["outcome"] = outcome;
    if (!Failed(options, report, result.call, result.code))
        ShowOutcome(report, outcome);
}

void IcComplete(const Options &options, Report *report)
{
    PendingTransaction pending;
    const std::string trouble = LoadTransaction(options.file, &pending);
    if (!trouble.empty())
    {
        ToolFailure(report, trouble, "make it with: vantor ic arqc --save FILE");
        return;
    }
    Options matching = options;
    matching.callSet = pending.callSet;
    if (options.scriptsOnly && pending.callSet == CallSet::kTerminal)
    {
        ToolFailure(report, "--scripts-only needs a transaction of the main interface",
                    "begin again with: vantor ic arqc --interface bo");
        return;
    }
    WithCallSet(matching, report,
                [&]
                {
                    // The terminal's data belong to the first half: the card signs some of them
                    // again.
                    RestoreStores(pending);
                    Complete(matching, report, pending, options.arpc);
                });
}

// ---- The whole round ----

// What the issuer may not find in the request: whose card it is.
struct CardIdentity
{
    std::string number;
    std::string sequence;
};

// A card that gives its cryptogram with its processing options shows no account number to the host
// in the first half: it is read before. Others show it in their records.
static bool ReadIdentityFirst(const Options &options, Report *report, CardIdentity *identity)
{
    const bool isMain = options.callSet == CallSet::kMain;
    Options reading = options;
    reading.letters = isMain ? "AEJ" : "ABG";
    std::string area;
    CallResult result{};
    WaitingForCard(options,
                   [&]
                   {
                       result = ReadInformation(reading, &area);
                       return result.code;
                   });
    if (Failed(options, report, result.call, result.code))
        return false;
    const LetterItems items = ParseItems(area);
    const auto value = [&items](char letter)
    {
        const std::string *found = FindItem(items, letter);
        return found == nullptr ? std::string() : *found;
    };
    const std::string track2 = value(isMain ? 'E' : 'B');
    identity->number = value('A').empty() ? track2.substr(0, track2.find('D')) : value('A');
    identity->sequence = value(isMain ? 'J' : 'G');
    return true;
}

static std::vector<std::string>
IssuerWords(const Options &options, const PendingTransaction &pending, const CardIdentity &identity)
{
    std::vector<std::string> words = {"--explain"};
    const struct
    {
        const char *option;
        const std::string &value;
    } kIdentity[] = {{"--pan", identity.number}, {"--psn", identity.sequence}};
    for (const auto &each : kIdentity)
        if (!each.value.empty() && !HandsOn(options, each.option))
            words.insert(words.end(), {each.option, each.value});
    words.push_back(pending.arqc);
    return words;
}

static void ShowIssuer(const Options &options, Report *report, const IssuerReply &reply,
                       const std::string &number)
{
    report->result["issuer"] = Json::array();
    for (std::string line : reply.explanation)
    {
        const size_t at = options.mask && !number.empty() ? line.find(number) : std::string::npos;
        if (at != std::string::npos)
            line.replace(at, number.size(), Masked(number));
        report->result["issuer"].push_back(line);
        Say(*report, "issuer: " + line + "\n");
    }
}

// A card that gave its cryptogram with its processing options makes no second one: the issuer's
// word decides, and only scripts are left for the card. The terminal interface has no call for
// them.
static void EndAtOnce(const Options &options, Report *report, const PendingTransaction &pending,
                      const std::string &issuerAnswer)
{
    ShowIssuerAnswer(report, issuerAnswer);
    const std::string meaning = ResponseMeaning(issuerAnswer);
    const std::string outcome = meaning.empty() || meaning == "declined" ? "declined"
                                : meaning == "refer to the issuer"       ? "referred"
                                                                         : "approved";
    report->result["outcome"] = outcome;
    Say(*report, "the card has no second cryptogram (no CDOL2): the issuer's answer decides\n");
    const bool hasScripts = !report->result["issuer_answer"]["scripts"].empty();
    if (!hasScripts || options.callSet == CallSet::kTerminal)
    {
        PowerOff(options, pending);
        if (hasScripts)
            Say(*report, "note: the scripts are left out, the terminal interface cannot send "
                         "them alone\n");
    }
    else
    {
        Options scripts = options;
        scripts.scriptsOnly = true;
        Completion completion;
        const CallResult result = CompleteTransaction(scripts, pending, issuerAnswer, &completion);
        if (Failed(options, report, result.call, result.code))
            return;
        Say(*report, "the scripts were carried out\n");
    }
    ShowOutcome(report, outcome);
}

static void Round(const Options &options, Report *report)
{
    CardIdentity identity;
    const bool mayBeOneStep = options.mode != 0;
    if (mayBeOneStep && !ReadIdentityFirst(options, report, &identity))
        return;
    PendingTransaction pending;
    if (!Request(options, report, &pending))
        return;
    if (identity.number.empty())
        identity = {AccountNumber(pending), SequenceNumber(pending)};
    const IssuerReply reply = AskIssuer(options, IssuerWords(options, pending, identity));
    ShowIssuer(options, report, reply, identity.number);
    if (IsCancelled() || !reply.error.empty())
    {
        PowerOff(options, pending);
        report->cancelled = IsCancelled();
        ToolFailure(report, reply.error, "options for the issuer stand behind --");
        return;
    }
    if (HasSecondCryptogram(pending) || options.scriptsOnly)
        Complete(options, report, pending, reply.hex);
    else
        EndAtOnce(options, report, pending, reply.hex);
}

void IcTransaction(const Options &options, Report *report)
{
    WithCallSet(options, report, [&] { Round(options, report); });
}

} // namespace tool
