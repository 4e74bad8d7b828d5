#include "card_calls.h"

#include <algorithm>
#include <cstring>

#include "data_objects.h"
#include "presentation.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

// Larger than any answer: most calls are not told the size of the area they fill.
static const size_t kAnswerArea = 256 * 1024;

// ---- The terminal interface ----

struct TerminalLine
{
    std::string port;
    int32_t cardType; // counted from 1
};

static TerminalLine Line(const Options &options, int cardType)
{
    static const size_t kDevice = 5; // "/dev/"
    return {options.port == "USB" ? options.port : options.port.substr(kDevice), cardType + 1};
}

static int32_t AreaSize(const std::string &area)
{
    return static_cast<int32_t>(area.size());
}

static std::string UntilNul(const std::string &area)
{
    return area.c_str();
}

// ---- Reading ----

CallResult ReadInformation(const Options &options, std::string *area)
{
    area->assign(kAnswerArea, '\0');
    if (options.callSet == CallSet::kMain)
        return {"BO_ICGetInfo", BO_ICGetInfo(options.mode, options.letters.c_str(), 0, area->data(),
                                             options.timeoutSeconds)};
    TerminalLine line = Line(options, options.mode);
    int32_t length = AreaSize(*area);
    const int code =
        IC_GetInfo(line.port.c_str(), nullptr, options.baud, options.timeoutSeconds, &line.cardType,
                   options.aid.c_str(), options.letters.c_str(), &length, area->data());
    return {"IC_GetInfo", code, line.cardType - 1};
}

CallResult ReadTransactionLog(const Options &options, std::string *area)
{
    area->assign(kAnswerArea, '\0');
    if (options.callSet == CallSet::kMain)
        return {"BO_ICGetDetail",
                BO_ICGetDetail(options.mode, 0, area->data(), options.timeoutSeconds)};
    TerminalLine line = Line(options, options.mode);
    int32_t length = AreaSize(*area);
    const int code =
        IC_GetTranDeta(line.port.c_str(), nullptr, options.baud, options.timeoutSeconds,
                       &line.cardType, options.aid.c_str(), &length, area->data());
    return {"IC_GetTranDeta", code, line.cardType - 1};
}

CallResult ReadLoadLog(const Options &options, std::string *area)
{
    area->assign(kAnswerArea, '\0');
    return {"BO_ICGetCircllog",
            BO_ICGetCircllog(options.mode, 0, area->data(), options.timeoutSeconds)};
}

// ---- First half ----

static CallResult RequestByTerminal(const Options &options, PendingTransaction *pending)
{
    std::string arqc(kAnswerArea, '\0');
    std::string cdol2(kAnswerArea, '\0');
    TerminalLine line = Line(options, options.mode);
    int32_t length = AreaSize(arqc);
    const int code = IC_GenARQC(
        line.port.c_str(), nullptr, options.baud, options.timeoutSeconds, &line.cardType,
        options.aid.c_str(), options.transactionText.c_str(), &length, arqc.data(), cdol2.data());
    pending->arqc = UntilNul(arqc);
    pending->cdol2 = UntilNul(cdol2);
    pending->cardType = line.cardType - 1;
    return {"IC_GenARQC", code, pending->cardType};
}

static CallResult RequestByMainCall(const Options &options, PendingTransaction *pending)
{
    std::string arqc(kAnswerArea, '\0');
    int32_t cardType = options.mode;
    const int code = BO_ICGenARQC(options.mode, options.transactionText.c_str(), AreaSize(arqc),
                                  arqc.data(), &cardType, options.timeoutSeconds);
    pending->arqc = UntilNul(arqc);
    pending->cardType = cardType;
    return {"BO_ICGenARQC", code, cardType};
}

CallResult RequestCryptogram(const Options &options, PendingTransaction *pending)
{
    pending->callSet = options.callSet;
    pending->text = options.transactionText;
    const CallResult result = options.callSet == CallSet::kMain
                                  ? RequestByMainCall(options, pending)
                                  : RequestByTerminal(options, pending);
    KeepStores(pending);
    return result;
}

// ---- Between the halves ----

// Six decimal digits of length, then that many bytes; all zero before a first half.
static const size_t kLengthDigits = 6;

static std::string StoredApplicationData()
{
    const std::string_view digits(g_IccAppData, kLengthDigits);
    if (!IsDigits(digits))
        return "";
    const size_t length = kLengthDigits + std::stoul(std::string(digits));
    return {g_IccAppData, std::min(length, sizeof g_IccAppData)};
}

void KeepStores(PendingTransaction *pending)
{
    const auto text = [](const unsigned char *bytes, int32_t length)
    { return std::string(reinterpret_cast<const char *>(bytes), static_cast<size_t>(length)); };
    pending->applicationData = StoredApplicationData();
    pending->transactionData = text(g_szTxData, g_iTxDataLen);
    pending->initiationData = text(g_szAppInitData, g_iAppInitDataLen);
}

static const unsigned char *Unsigned(const std::string &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.data());
}

void RestoreStores(const PendingTransaction &pending)
{
    using Setter = int (*)(const unsigned char *, int, const unsigned char *, int);
    const struct
    {
        const std::string &saved;
        Setter set;
    } kStores[] = {{pending.transactionData, PBOC_SetTxDataTagValue},
                   {pending.initiationData, PBOC_SetAppInitDataTagValue}};
    for (const auto &store : kStores)
        for (const DataObject &object : ParseObjects(store.saved).objects)
        {
            const std::string tag = Bytes(object.tag);
            store.set(Unsigned(tag), static_cast<int>(tag.size()), Unsigned(object.value),
                      static_cast<int>(object.value.size()));
        }
    const size_t length = std::min(pending.applicationData.size(), sizeof g_IccAppData - 1);
    memcpy(g_IccAppData, pending.applicationData.data(), length);
    g_IccAppData[length] = '\0';
}

static std::string Records(const PendingTransaction &pending)
{
    return pending.applicationData.size() < kLengthDigits
               ? ""
               : pending.applicationData.substr(kLengthDigits);
}

static std::string RecordValue(const PendingTransaction &pending, const std::string &tagBytes)
{
    const std::string records = Records(pending);
    std::string value(sizeof g_IccAppData, '\0');
    int32_t length = 0;
    const int offset = PBOC_GetTagValue(Unsigned(tagBytes), static_cast<int>(tagBytes.size()),
                                        Unsigned(records), static_cast<int>(records.size()),
                                        reinterpret_cast<unsigned char *>(value.data()), &length);
    return offset < 0 || length < 0 ? "" : value.substr(0, static_cast<size_t>(length));
}

bool HasSecondCryptogram(const PendingTransaction &pending)
{
    return pending.callSet == CallSet::kMain ? !RecordValue(pending, "\x8D").empty()
                                             : !pending.cdol2.empty();
}

// A card number's digits, up to the filling F; a missing one is ten zero bytes in the variant call.
static std::string Digits(const std::string &bytes)
{
    const std::string digits = Hex(bytes).substr(0, Hex(bytes).find('F'));
    return IsDigits(digits) && digits.find_first_not_of('0') != std::string::npos ? digits : "";
}

std::string AccountNumber(const PendingTransaction &pending)
{
    const DataObjects request = ParseObjects(Bytes(pending.arqc));
    const std::string *number = FindObject(request, "5A");
    return number != nullptr ? Digits(*number) : Digits(RecordValue(pending, "\x5A"));
}

// Two bytes of it in a request are the variant call's way to say that the card has none.
std::string SequenceNumber(const PendingTransaction &pending)
{
    const DataObjects request = ParseObjects(Bytes(pending.arqc));
    const std::string *number = FindObject(request, "5F34");
    const std::string value = number != nullptr ? *number : RecordValue(pending, "\x5F\x34");
    return value.size() == 1 && IsDigits(Hex(value)) ? Hex(value) : "";
}

// ---- Second half ----

static CallResult CompleteByTerminal(const Options &options, const PendingTransaction &pending,
                                     const std::string &issuerAnswer, std::string *answer,
                                     std::string *scriptResult)
{
    TerminalLine line = Line(options, pending.cardType);
    int32_t length = AreaSize(*answer);
    const int code =
        IC_CtlScriptData(line.port.c_str(), nullptr, options.baud, options.timeoutSeconds,
                         &line.cardType, pending.text.c_str(), issuerAnswer.c_str(), &length,
                         answer->data(), scriptResult->data(), pending.cdol2.c_str());
    return {"IC_CtlScriptData", code, pending.cardType};
}

CallResult CompleteTransaction(const Options &options, const PendingTransaction &pending,
                               const std::string &issuerAnswer, Completion *completion)
{
    std::string answer(kAnswerArea, '\0');
    std::string scriptResult(kAnswerArea, '\0');
    CallResult result;
    if (pending.callSet == CallSet::kTerminal)
        result = CompleteByTerminal(options, pending, issuerAnswer, &answer, &scriptResult);
    else if (options.scriptsOnly)
        result = {
            "BO_ICExeScript",
            BO_ICExeScript(pending.cardType, pending.text.c_str(), issuerAnswer.c_str(), nullptr),
            pending.cardType};
    else
        result = {"BO_ICExeScript_TC",
                  BO_ICExeScript_TC(pending.cardType, pending.text.c_str(), issuerAnswer.c_str(),
                                    AreaSize(scriptResult), scriptResult.data(), 0, answer.data()),
                  pending.cardType};
    *completion = {UntilNul(answer), UntilNul(scriptResult)};
    return result;
}

} // namespace tool
