#include "commands.h"

#include <functional>

#include "atr.h"
#include "card_calls.h"
#include "log_records.h"
#include "presentation.h"
#include "session.h"
#include "status_words.h"
#include "vantor.h"

namespace tool
{

// Larger than any answer: the calls are not told the size of the area they fill.
static const size_t kAnswerArea = 256 * 1024;

static std::string ModeName(int cardType)
{
    return cardType == 0 ? "contact" : "contactless";
}

// Powers the card on and tells what answered; false when none did.
static bool PowerOn(const Options &options, Report *report, std::string *atr, int32_t *cardType)
{
    char atrHex[1024] = {};
    int32_t length = 0;
    const int code =
        WaitingForCard(options,
                       [&]
                       {
                           return BO_IcPowerOn(options.mode, sizeof atrHex, atrHex, &length,
                                               cardType, options.timeoutSeconds);
                       });
    if (Failed(options, report, "BO_IcPowerOn", code))
        return false;
    if (length > 0 && static_cast<size_t>(length) <= sizeof atrHex)
        *atr = Bytes(std::string(atrHex, static_cast<size_t>(length)));
    return true;
}

static void PowerOff(const Options &options, Report *report)
{
    const int code = BO_IcPowerOff(options.mode);
    report->result["power_off"] = code;
    if (code != 0 && !IsCancelled())
        Say(*report, "note: the card did not power off cleanly (" + std::to_string(code) + ", " +
                         ErrorText(code) + ")\n");
}

void IcReset(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   std::string atr;
                   int32_t cardType = 0;
                   if (!PowerOn(options, report, &atr, &cardType))
                       return;
                   report->result["interface"] = ModeName(cardType);
                   report->result["atr"] = AtrJson(atr);
                   Say(*report, ModeName(cardType) + " card\n" + AtrText(atr));
                   PowerOff(options, report);
               });
}

void IcDetect(const Options &options, Report *report)
{
    static const struct
    {
        const char *key;
        const char *name;
    } kDetected[] = {
        {"none", "no card"},
        {"contact", "contact card in the slot"},
        {"contact_powered", "contact card in the slot, powered"},
        {"contactless", "contactless card on the antenna"},
    };
    WithReader(options, report,
               [&]
               {
                   int32_t detected = 0;
                   // This call gives the library's internal codes.
                   const int code = BO_GetErrorCode(BO_CardDetect(&detected));
                   if (Failed(options, report, "BO_CardDetect", code))
                       return;
                   const bool known = detected >= 0 && detected <= 3;
                   report->result["detected"] = detected;
                   report->result["card"] = known ? Json(kDetected[detected].key) : Json(nullptr);
                   Say(*report, known ? std::string(kDetected[detected].name) + "\n"
                                      : "the reader says " + std::to_string(detected) + "\n");
               });
}

// An answer that the parser refuses is a failure of the operation: nothing of it can be trusted.
static bool Refused(Report *report, const std::string &error)
{
    if (error.empty())
        return false;
    report->failure = Failure{"", 0, "", "the card's answer is malformed, " + error,
                              "read again; if it stays so, the card's data are damaged"};
    return true;
}

void IcInfo(const Options &options, Report *report)
{
    WithCallSet(options, report,
                [&]
                {
                    std::string area;
                    CallResult result{};
                    WaitingForCard(options,
                                   [&]
                                   {
                                       result = ReadInformation(options, &area);
                                       return result.code;
                                   });
                    if (Failed(options, report, result.call, result.code))
                        return;
                    const LetterItems answer = ParseItems(area);
                    if (Refused(report, answer.error))
                        return;
                    const std::vector<CardField> fields =
                        CardFields(answer, options.letters, options.mask, options.callSet);
                    report->result["fields"] = CardFieldsJson(fields);
                    Say(*report, CardFieldsText(fields));
                });
}

struct CardLog
{
    CallResult (*read)(const Options &options, std::string *area);
    Json (*toJson)(const LetterRecords &log);
    std::string (*toText)(const LetterRecords &log);
};

static void ReadLog(const Options &options, Report *report, const CardLog &log)
{
    WithCallSet(options, report,
                [&]
                {
                    std::string area;
                    CallResult result{};
                    WaitingForCard(options,
                                   [&]
                                   {
                                       result = log.read(options, &area);
                                       return result.code;
                                   });
                    if (Failed(options, report, result.call, result.code))
                        return;
                    const LetterRecords records = ParseRecords(area);
                    if (Refused(report, records.error))
                        return;
                    report->result["records"] = log.toJson(records);
                    Say(*report, log.toText(records));
                });
}

void IcLog(const Options &options, Report *report)
{
    ReadLog(options, report, {ReadTransactionLog, TransactionsJson, TransactionsText});
}

void IcLoads(const Options &options, Report *report)
{
    ReadLog(options, report, {ReadLoadLog, LoadsJson, LoadsText});
}

// One exchange; false when none took place, which ends the list.
static bool Exchange(const Options &options, Report *report, const std::string &apdu)
{
    Say(*report, "> " + SpacedHex(apdu) + "\n");
    std::string area(kAnswerArea, '\0');
    int32_t length = 0;
    const int code = BO_IcAPDU(options.mode, apdu.c_str(), static_cast<int>(apdu.size()), 0,
                               area.data(), &length);
    if (Failed(options, report, "BO_IcAPDU", code))
        return false;
    const size_t count = length < 0 ? 0 : std::min(static_cast<size_t>(length), area.size());
    const std::string response = area.substr(0, count);
    const size_t dataLength = response.size() < 4 ? 0 : response.size() - 4;
    const std::string data = response.substr(0, dataLength);
    const std::string statusWord = response.substr(dataLength);
    const std::string meaning = StatusWordMeaning(statusWord);
    report->result["exchanges"].push_back(
        {{"command", apdu}, {"data", data}, {"status_word", statusWord}, {"meaning", meaning}});
    Say(*report, "< " + (data.empty() ? "" : SpacedHex(data) + "  ") + SpacedHex(statusWord) +
                     "  (" + meaning + ")\n");
    return true;
}

void IcApdu(const Options &options, Report *report)
{
    WithReader(options, report,
               [&]
               {
                   std::string atr;
                   int32_t cardType = 0;
                   if (!PowerOn(options, report, &atr, &cardType))
                       return;
                   report->result["interface"] = ModeName(cardType);
                   report->result["atr"] = AtrJson(atr);
                   report->result["exchanges"] = Json::array();
                   Say(*report, ModeName(cardType) + " card, " + SpacedHex(Hex(atr)) + "\n");
                   for (const std::string &apdu : options.apdus)
                       if (!Exchange(options, report, apdu))
                           break;
                   PowerOff(options, report);
               });
}

} // namespace tool
