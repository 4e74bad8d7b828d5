#include "commands.h"

#include <functional>

#include "issuer_program.h"
#include "presentation.h"
#include "purse_data.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

// An answer of a purse command; larger than the calls fill.
struct CardAnswer
{
    unsigned char bytes[VANTOR_PBOC_AREA_SIZE] = {};
    int32_t length = 0;
};

static std::string Text(const CardAnswer &answer)
{
    const int32_t most = static_cast<int32_t>(sizeof answer.bytes);
    const auto length = static_cast<size_t>(std::max(0, std::min(answer.length, most)));
    return {reinterpret_cast<const char *>(answer.bytes), length};
}

static const unsigned char *Unsigned(const std::string &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.data());
}

// The PIN, two digits a byte.
static bool VerifyPin(const Options &options, Report *report, int cardType)
{
    if (options.purse.pin.empty())
        return true;
    const std::string pin = Bytes(options.purse.pin);
    const int code = EPED_Verify(&context, cardType, Unsigned(pin), static_cast<int>(pin.size()));
    return !Failed(options, report, "EPED_Verify", BO_GetErrorCode(code));
}

static bool SelectPurse(const Options &options, Report *report, int cardType)
{
    const std::string aid = Bytes(options.aid.empty() ? kPurseAid : options.aid);
    CardAnswer answer;
    const int code = PBOC_SelectAID(&context, cardType, Unsigned(aid), static_cast<int>(aid.size()),
                                    answer.bytes, &answer.length);
    return !Failed(options, report, "PBOC_SelectAID", BO_GetErrorCode(code));
}

// Powers the card on, selects the purse, shows the PIN, works, powers the card off.
static void WithPurse(const Options &options, Report *report,
                      const std::function<void(int cardType)> &work)
{
    WithReader(
        options, report,
        [&]
        {
            char atr[1024];
            int32_t atrLength = 0;
            int32_t cardType = 0;
            const int code =
                WaitingForCard(options,
                               [&]
                               {
                                   return BO_IcPowerOn(options.mode, sizeof atr, atr, &atrLength,
                                                       &cardType, options.timeoutSeconds);
                               });
            if (Failed(options, report, "BO_IcPowerOn", code))
                return;
            report->result["interface"] = cardType == 0 ? "contact" : "contactless";
            if (SelectPurse(options, report, cardType) && VerifyPin(options, report, cardType))
                work(cardType);
            BO_IcPowerOff(cardType);
        });
}

// ---- Reading ----

// "" when the card gives none.
static std::string Balance(int cardType, unsigned char account, int *code)
{
    CardAnswer answer;
    *code =
        BO_GetErrorCode(EPED_GetBalance(&context, cardType, account, answer.bytes, &answer.length));
    return *code == 0 ? BalanceText(Text(answer)) : "";
}

static Json TextOrNull(const std::string &text)
{
    return text.empty() ? Json(nullptr) : Json(text);
}

// A card may have one of the two only: it is a failure when it gives neither.
void PurseBalance(const Options &options, Report *report)
{
    WithPurse(options, report,
              [&](int cardType)
              {
                  int purseCode = 0;
                  int depositCode = 0;
                  const std::string purse = Balance(cardType, 2, &purseCode);
                  const std::string deposit = Balance(cardType, 1, &depositCode);
                  report->result["purse"] = TextOrNull(purse);
                  report->result["deposit"] = TextOrNull(deposit);
                  if (purse.empty() && deposit.empty())
                  {
                      Failed(options, report, "EPED_GetBalance", purseCode == 0 ? -99 : purseCode);
                      return;
                  }
                  Say(*report, "purse    " + (purse.empty() ? "-" : purse + " yuan") + "\n" +
                                   "deposit  " + (deposit.empty() ? "-" : deposit + " yuan") +
                                   "\n");
              });
}

// Their layout is each issuer's own.
static std::string HexLines(const std::string &bytes)
{
    static const size_t kPerLine = 16;
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += kPerLine)
        text += SpacedHex(Hex(bytes.substr(at, kPerLine))) + "\n";
    return text;
}

void PurseRead(const Options &options, Report *report)
{
    WithPurse(options, report,
              [&](int cardType)
              {
                  CardAnswer answer;
                  const PurseOptions &purse = options.purse;
                  const int code = BO_GetErrorCode(EPED_ReadBinary(
                      &context, cardType, purse.file, purse.offset, answer.bytes, &answer.length));
                  if (Failed(options, report, "EPED_ReadBinary", code))
                      return;
                  const std::string bytes = Text(answer);
                  report->result["file"] = purse.file;
                  report->result["offset"] = purse.offset;
                  report->result["contents"] = Hex(bytes);
                  Say(*report, "file " + std::to_string(purse.file) + ", " +
                                   std::to_string(bytes.size()) + " bytes from " +
                                   std::to_string(purse.offset) + " on\n" + HexLines(bytes));
              });
}

void PurseLog(const Options &options, Report *report)
{
    static const int kMostRecords = 255;
    WithPurse(options, report,
              [&](int cardType)
              {
                  std::vector<std::string> records;
                  for (int number = 1; number <= kMostRecords && !IsCancelled(); number++)
                  {
                      CardAnswer answer;
                      if (PBOC_ReadRecord(&context, cardType, static_cast<unsigned char>(number),
                                          kPurseRecordFile, answer.bytes, &answer.length) != 0)
                          break;
                      records.push_back(Text(answer));
                  }
                  if (Failed(options, report, "PBOC_ReadRecord", 0)) // cancelled
                      return;
                  report->result["records"] = PurseRecordsJson(records);
                  Say(*report, PurseRecordsText(records));
              });
}

// ---- Load and purchase ----

// The calls read their data up to the first byte 00, and amounts and dates are full of them. Data
// with such a byte go as a command that the tool builds itself: the same command, whole.
static int SendOrder(int cardType, const std::string &header, const std::string &data,
                     const std::string &tail, CardAnswer *answer)
{
    std::string command = Bytes(header) + static_cast<char>(data.size()) + data + tail;
    command.resize(VANTOR_PBOC_AREA_SIZE, '\0'); // the follow-ups write into it
    const size_t length = 5 + data.size() + tail.size();
    const int code =
        PBOC_IcAPDU(&context, cardType, reinterpret_cast<unsigned char *>(command.data()),
                    static_cast<int>(length), answer->bytes, &answer->length);
    if (code != 0)
        return code;
    const std::string response = Text(*answer);
    if (response.size() < 2 ||
        response.substr(response.size() - 2) != "\x90" + std::string(1, '\0'))
        return -99;
    answer->length -= 2;
    return 0;
}

static bool HasZeroByte(const std::string &data)
{
    return data.find('\0') != std::string::npos;
}

struct PurseOrder
{
    const char *issuerWord; // what the issuer is asked for
    const char *firstCall;
    const char *secondCall;
    const char *firstHeader;
    const char *secondHeader;
    const char *secondTail; // Le
    size_t answerSize;      // of the first command
    size_t dataSize;        // of the second command
};

static const PurseOrder kLoad = {
    "load", "EPED_InitForLoad", "EPED_Load", "805000", "80540000", "", 16, 11};
static const PurseOrder kPurchase = {
    "purchase", "EPED_InitForPurchase", "EPED_Purchase", "805001", "80540100", "\x08", 15, 15};

static int Initialize(const PurseOrder &order, int cardType, unsigned char account,
                      const std::string &data, CardAnswer *answer)
{
    if (HasZeroByte(data))
        return SendOrder(cardType,
                         order.firstHeader + Hex(std::string(1, static_cast<char>(account))), data,
                         "", answer);
    const int length = static_cast<int>(data.size());
    return &order == &kLoad ? EPED_InitForLoad(&context, cardType, account, Unsigned(data),
                                               answer->bytes, &answer->length)
                            : EPED_InitForPurchase(&context, cardType, account, Unsigned(data),
                                                   length, answer->bytes, &answer->length);
}

static int Finish(const PurseOrder &order, int cardType, const std::string &data,
                  CardAnswer *answer)
{
    if (HasZeroByte(data))
        return SendOrder(cardType, order.secondHeader, data, order.secondTail, answer);
    const int length = static_cast<int>(data.size());
    return &order == &kLoad
               ? EPED_Load(&context, cardType, Unsigned(data), answer->bytes, &answer->length)
               : EPED_Purchase(&context, cardType, 0, Unsigned(data), length, answer->bytes,
                               &answer->length);
}

static bool AskForMac(const Options &options, Report *report, const PurseOrder &order,
                      const std::string &data, const std::string &cardAnswer, std::string *reply)
{
    const PurseOptions &purse = options.purse;
    std::vector<std::string> words = {
        order.issuerWord, "--explain", "--account", std::to_string(AccountNumberOf(purse)),
        "--request",      Hex(data),   "--answer",  Hex(cardAnswer),
        "--date",         purse.date,  "--time",    purse.time};
    if (&order == &kPurchase)
        words.insert(words.end(), {"--number", std::to_string(purse.terminalCount)});
    const IssuerReply issuer = AskIssuer(options, words);
    report->result["issuer"] = issuer.explanation;
    std::string error = issuer.error;
    if (error.empty() && issuer.hex.size() != 2 * order.dataSize)
        error = "the issuer's answer has " + std::to_string(issuer.hex.size() / 2) +
                " bytes instead of " + std::to_string(order.dataSize);
    if (!error.empty())
    {
        report->failure = Failure{"", 0, "", error, "options for the issuer stand behind --"};
        return false;
    }
    for (const std::string &line : issuer.explanation)
        Say(*report, "issuer: " + line + "\n");
    *reply = Bytes(issuer.hex);
    return true;
}

static void ShowOrder(const Options &options, Report *report, const std::string &before,
                      const std::string &after, const std::string &answer)
{
    const char *account = AccountName(AccountNumberOf(options.purse));
    const std::string tac = Hex(std::string_view(answer).substr(0, 4));
    const std::string mac2 = answer.size() > 4 ? Hex(std::string_view(answer).substr(4)) : "";
    report->result["account"] = account;
    report->result["amount"] = Money(options.purse.amount, 2);
    report->result["before"] = TextOrNull(before);
    report->result["after"] = TextOrNull(after);
    report->result["tac"] = tac;
    report->result["mac2"] = TextOrNull(mac2);
    Say(*report, std::string(account) + " " + before + " -> " + (after.empty() ? "?" : after) +
                     " yuan, TAC " + tac + (mac2.empty() ? "" : ", MAC2 " + mac2) + "\n");
}

static void CarryOut(const Options &options, Report *report, const PurseOrder &order, int cardType)
{
    const unsigned char account = AccountNumberOf(options.purse);
    const std::string data = OrderData(options.purse);
    CardAnswer first;
    int code = Initialize(order, cardType, account, data, &first);
    if (Failed(options, report, order.firstCall, BO_GetErrorCode(code)))
        return;
    const std::string cardAnswer = Text(first);
    if (cardAnswer.size() != order.answerSize)
    {
        report->failure = Failure{"", 0, "",
                                  "the card's answer has " + std::to_string(cardAnswer.size()) +
                                      " bytes instead of " + std::to_string(order.answerSize),
                                  "is it an ED/EP application (--aid)?"};
        return;
    }
    std::string reply;
    if (!AskForMac(options, report, order, data, cardAnswer, &reply))
        return;
    CardAnswer second;
    code = Finish(order, cardType, reply, &second);
    if (Failed(options, report, order.secondCall, BO_GetErrorCode(code)))
        return;
    ShowOrder(options, report, BalanceText(std::string_view(cardAnswer).substr(0, 4)),
              Balance(cardType, account, &code), Text(second));
}

void PurseLoad(const Options &options, Report *report)
{
    WithPurse(options, report, [&](int cardType) { CarryOut(options, report, kLoad, cardType); });
}

void PursePurchase(const Options &options, Report *report)
{
    WithPurse(options, report,
              [&](int cardType) { CarryOut(options, report, kPurchase, cardType); });
}

} // namespace tool
