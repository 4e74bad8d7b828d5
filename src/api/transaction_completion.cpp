// BO_ICExeScript_TC, BO_ICExeScript and BO_ICExeScript_YC: the second half of an online
// transaction. The issuer's answer goes to the card, which then is powered off, whatever came of
// it.
#include <algorithm>
#include <cstring>

#include "api/flow.h"
#include "api/hex_text.h"
#include "api/kept_application_data.h"
#include "api/transaction_input.h"
#include "pboc/cryptogram.h"
#include "pboc/data_object_list.h"
#include "pboc/tlv.h"
#include "vantor/business.h"
#include "vantor/pboc.h"
#include "vantor/transactions.h"
#include "vantor/transport.h"

namespace
{

constexpr int kBadParameter = -1007;
constexpr int kLongestIssuerText = 1024; // characters
constexpr int kCryptogramLength = 8;     // of the issuer's authentication data

constexpr Tag kAuthenticationData = {{0x91}, 1};
constexpr Tag kResponseCode = {{0x8A}, 1};
constexpr Tag kSecondList = {{0x8D}, 1}; // CDOL2
constexpr Tag kScriptIdentifier = {{0x9F, 0x18}, 2};
constexpr Tag kScriptBefore = {{0x71}, 1}; // to be run before the final GENERATE AC, and
constexpr Tag kScriptAfter = {{0x72}, 1};  // behind it: here both run at the end
constexpr Tag kInformationData = {{0x9F, 0x27}, 2};

const char kNoScriptYet[] = "DF31051000000000";
constexpr int kResultDigit = 6;   // '1' failed or not run, '2' done
constexpr int kSequenceDigit = 7; // the failing command
constexpr int kIdentifier = 8;    // eight digits, usually

struct Completion
{
    int cardType;
    const char *transactionText;
    const char *issuerText;
    char *scriptResult;
    int scriptResultSize;
    char *tcText;
    int tcSize;

    uint8_t issuerData[kResponseArea];
    int issuerDataLength;
    uint8_t authentication[kResponseArea]; // the issuer's cryptogram and response code
    int authenticationLength;
    const uint8_t *list; // CDOL2
    int listLength;
    uint8_t listData[kResponseArea];
    int32_t listDataLength;
    uint8_t answer[kResponseArea]; // to the second GENERATE AC
    int32_t answerLength;
    CryptogramFormat answerFormat;
};

using CompletionStep = Step<Completion>;

// ---- The host's texts ----

int CheckTransactionText(Completion *call)
{
    return IsTransactionText(call->transactionText) ? 0 : kBadParameter;
}

int CheckIssuerText(Completion *call)
{
    const char *text = call->issuerText;
    const bool good = text != nullptr &&
                      strnlen(text, kLongestIssuerText + 1) <= kLongestIssuerText &&
                      IsHexDataValue(text);
    return good ? 0 : kBadParameter;
}

int CheckAnyIssuerText(Completion *call)
{
    const bool some = call->issuerText != nullptr && call->issuerText[0] != '\0';
    return some ? CheckIssuerText(call) : kBadParameter;
}

int CheckPlaces(Completion *call)
{
    return call->scriptResult == nullptr || call->tcText == nullptr ? kBadParameter : 0;
}

int ReadFields(Completion *call)
{
    return ReadTransactionInput(call->transactionText);
}

int ReadVariantFields(Completion *call)
{
    return ReadVariantCompletionInput(call->transactionText);
}

// ---- The card's list ----

int LogKeptData(Completion * /*call*/)
{
    const KeptData kept = KeptApplicationData();
    char text[2 * sizeof g_IccAppData + 1] = {};
    GByte2Hex(kept.bytes, kept.length, text, sizeof text - 1);
    GLogI("iAppDataLen = %d\r\n", kept.length);
    GLogI("g_IccAppData = %s\r\n", text);
    return 0;
}

int TakeKeptList(Completion *call)
{
    const KeptData kept = KeptApplicationData();
    TlvObject object{};
    if (!FindObject(kSecondList, kept.bytes, kept.length, &object))
        return kNotFound;
    call->list = kept.bytes + object.offset;
    call->listLength = object.length;
    return 0;
}

int BuildSecondListData(Completion *call)
{
    GLogI("uszCDOL2 = %s\r\n", ToHexText(call->list, call->listLength).characters);
    const int result = BuildListData(call->list, call->listLength, call->listData,
                                     sizeof call->listData, &call->listDataLength);
    if (result == 0)
        GLogI("szDOL = %s\r\n", ToHexText(call->listData, call->listDataLength).characters);
    return result;
}

// ---- The issuer's answer ----

int PresetScriptResult(Completion *call)
{
    memcpy(call->scriptResult, kNoScriptYet, sizeof kNoScriptYet);
    return 0;
}

int TakeIssuerData(Completion *call)
{
    const int length = static_cast<int>(strlen(call->issuerText));
    const int taken =
        GHex2Byte(call->issuerText, length, call->issuerData, sizeof call->issuerData);
    call->issuerDataLength = std::max(taken, 0); // an empty text is refused there
    return 0;
}

// The host's size bounds the digits themselves, and beyond the usual eight the whole text.
int GiveScriptIdentifier(Completion *call)
{
    constexpr int kUsualDigits = sizeof kNoScriptYet - 1 - kIdentifier;
    uint8_t value[kResponseArea] = {};
    const int length =
        CopyValue(kScriptIdentifier, call->issuerData, call->issuerDataLength, value, sizeof value);
    const int size = std::max(call->scriptResultSize, 0);
    const int behindHead = size - kIdentifier - 1; // the NUL counts too
    const int room = std::min(size, std::max(behindHead, kUsualDigits));
    const int written = GByte2Hex(value, length, call->scriptResult + kIdentifier, room);
    if (written > kUsualDigits)
        call->scriptResult[kIdentifier + written] = '\0';
    return 0;
}

int TakeAuthenticationData(Completion *call)
{
    TlvObject object{};
    if (!FindObject(kAuthenticationData, call->issuerData, call->issuerDataLength, &object))
        return kNotFound;
    call->authenticationLength =
        CopyValue(kAuthenticationData, call->issuerData, call->issuerDataLength,
                  call->authentication, sizeof call->authentication);
    return 0;
}

// Bytes of a response code that the issuer did not send are 00; it then is none that approves.
const uint8_t *ResponseCode(const Completion &call)
{
    return call.authentication + kCryptogramLength;
}

int AuthenticateIssuer(Completion *call)
{
    const int result = PBOC_ExternalAuth(&context, call->cardType, call->authentication,
                                         call->authenticationLength);
    if (result == 0)
        PBOC_SetTxDataTagValue(kResponseCode.bytes, kResponseCode.length, ResponseCode(*call), 2);
    return result;
}

// ---- The second cryptogram ----

struct SecondRequest
{
    uint8_t referenceControl;
    int refused;  // the card gives no cryptogram
    int declined; // the card gives an AAC; 0: that is not looked at
};

constexpr SecondRequest kApproved = {0x40, -4112, -4114};
constexpr SecondRequest kReferred = {0xC0, -4113, 0};
constexpr SecondRequest kDeclined = {0x00, -4116, -4115}; // an AAC to an AAC is told as well

const struct
{
    char responseCode[3];
    SecondRequest request;
} kRequests[] = {
    {"00", kApproved}, {"10", kApproved}, {"11", kApproved}, {"01", kReferred}, {"02", kReferred},
};

SecondRequest ChooseRequest(const uint8_t *responseCode)
{
    for (const auto &row : kRequests)
        if (memcmp(row.responseCode, responseCode, 2) == 0)
            return row.request;
    return kDeclined;
}

// The cryptogram information data: the first byte in format 1, 9F27 in format 2. An answer without
// it tells nothing and counts as an AAC.
uint8_t InformationData(const Completion &call)
{
    if (call.answerFormat == CryptogramFormat::kOne)
        return call.answer[0]; // 00 when the value is empty
    TlvObject object{};
    const bool found = FindObject(kInformationData, call.answer, call.answerLength, &object);
    return found && object.length == 1 ? call.answer[object.offset] : uint8_t{0};
}

int GenerateSecondCryptogram(Completion *call)
{
    constexpr uint8_t kKindOfCryptogram = 0xC0; // 00 AAC, 40 TC, 80 ARQC
    const SecondRequest request = ChooseRequest(ResponseCode(*call));
    if (GenerateCryptogram(&context, call->cardType, request.referenceControl, call->listData,
                           call->listDataLength, call->answer, &call->answerLength,
                           &call->answerFormat) != 0)
        return Fail("PBOC_GenerateAC Error!\r\n", request.refused);
    const bool isAac = (InformationData(*call) & kKindOfCryptogram) == 0;
    return isAac ? request.declined : 0;
}

int LogTc(const Completion &call)
{
    GLogI("GenerateAC szTC = %s\r\n", ToHexText(call.answer, call.answerLength).characters);
    return 0;
}

int GiveBareTc(Completion *call)
{
    GByte2Hex(call->answer, call->answerLength, call->tcText, 2 * call->answerLength);
    return LogTc(*call);
}

int GiveEndedTc(Completion *call)
{
    WriteHexText(call->answer, call->answerLength, call->tcText, call->tcSize);
    return LogTc(*call);
}

// ---- The scripts ----

// A failure that is not a command's number has none to show.
char SequenceDigit(int failure)
{
    return "0123456789ABCDEF"[std::clamp(failure, 0, 15)];
}

int RunScripts(Completion *call, int missingCode, int failedCode)
{
    TlvObject object{};
    if (!FindObject(kScriptBefore, call->issuerData, call->issuerDataLength, &object) &&
        !FindObject(kScriptAfter, call->issuerData, call->issuerDataLength, &object))
        return Fail("GetTag 71/72 Error!\r\n", missingCode);
    const int result =
        PBOC_ExeScript(&context, call->cardType, call->issuerData, call->issuerDataLength);
    if (call->scriptResult != nullptr)
    {
        call->scriptResult[kResultDigit] = result == 0 ? '2' : '1';
        if (result != 0)
            call->scriptResult[kSequenceDigit] = SequenceDigit(result);
    }
    return result == 0 ? 0 : Fail("PBOC_ExeScript Error!\r\n", failedCode);
}

// ---- The calls ----

constexpr CompletionStep kCheckText = {CheckTransactionText, "szTxdata Error!\r\n", kBadParameter,
                                       GLogI};
constexpr CompletionStep kCheckPlaces = {CheckPlaces, nullptr, kBadParameter};
constexpr CompletionStep kPreset = {PresetScriptResult, nullptr, kOwnCode};
constexpr CompletionStep kTakeIssuerData = {TakeIssuerData, nullptr, kOwnCode};
constexpr CompletionStep kGiveIdentifier = {GiveScriptIdentifier, nullptr, kOwnCode};
constexpr CompletionStep kTake91 = {TakeAuthenticationData, "GetTag 91 Error!\r\n", -4109};
constexpr CompletionStep kExternalAuth = {AuthenticateIssuer, "PBOC_ExternalAuth Error!\r\n",
                                          -4109};
constexpr CompletionStep kBuildSecondDol = {BuildSecondListData, "PBOC_BuildDOL Error!\r\n", -4103,
                                            GLogI};
constexpr CompletionStep kSecondCryptogram = {GenerateSecondCryptogram, nullptr, kOwnCode};

const CompletionStep kSteps[] = {
    {LogKeptData, nullptr, kOwnCode},
    kCheckText,
    {CheckIssuerText, "szARPCBack Error!\r\n", kBadParameter},
    kCheckPlaces,
    kPreset,
    {TakeKeptList, "Find tag 8D Error!\r\n", -4111},
    kTakeIssuerData,
    kGiveIdentifier,
    kTake91,
    kExternalAuth,
    {ReadFields, nullptr, kOwnCode},
    kBuildSecondDol,
    kSecondCryptogram,
    {GiveBareTc, nullptr, kOwnCode},
    {[](Completion *call) { return RunScripts(call, 0, -4110); }, nullptr, kOwnCode},
};

const CompletionStep kScriptOnlySteps[] = {
    kCheckText,
    {CheckIssuerText, "szTxdata Error!\r\n", kBadParameter, GLogI}, // the text of the step before
    kTakeIssuerData,
    kTake91,
    kExternalAuth,
    {[](Completion *call) { return RunScripts(call, -4109, -4109); }, nullptr, kOwnCode},
};

const CompletionStep kVariantSteps[] = {
    kCheckText,
    {CheckAnyIssuerText, "szARPCBack Error!\r\n", kBadParameter, GLogI},
    kCheckPlaces,
    kPreset,
    kTakeIssuerData,
    kGiveIdentifier,
    kTake91,
    kExternalAuth,
    {ReadVariantFields, nullptr, kOwnCode},
    kBuildSecondDol,
    kSecondCryptogram,
    {GiveEndedTc, nullptr, kOwnCode},
    {[](Completion *call) { return RunScripts(call, 0, -4109); }, nullptr, kOwnCode},
};

template <size_t count>
int Complete(const CompletionStep (&steps)[count], Completion *call)
{
    const int result = RunSteps(steps, call);
    BO_IcPowerOff(call->cardType);
    return result;
}

} // namespace

int BO_ICExeScript_TC(int cardType, const char *transactionText, const char *arpcHex, int outSize,
                      char *scriptResult, int /*reserved*/, char *tcHex)
{
    Completion call{};
    call.cardType = cardType;
    call.transactionText = transactionText;
    call.issuerText = arpcHex;
    call.scriptResult = scriptResult;
    call.scriptResultSize = outSize;
    call.tcText = tcHex;
    return Complete(kSteps, &call);
}

int BO_ICExeScript(int cardType, const char *transactionText, const char *arpcHex,
                   char * /*reserved*/)
{
    Completion call{};
    call.cardType = cardType;
    call.transactionText = transactionText;
    call.issuerText = arpcHex;
    return Complete(kScriptOnlySteps, &call);
}

int BO_ICExeScript_YC(int cardType, const char *transactionText, const char *responseHex,
                      int scriptResultSize, char *scriptResult, int tcSize, char *tcHex,
                      int cdol2Length, const unsigned char *cdol2)
{
    Completion call{};
    call.cardType = cardType;
    call.transactionText = transactionText;
    call.issuerText = responseHex;
    call.scriptResult = scriptResult;
    call.scriptResultSize = scriptResultSize;
    call.tcText = tcHex;
    call.tcSize = tcSize;
    call.list = cdol2;
    call.listLength = cdol2Length;
    if (scriptResult != nullptr)
        scriptResult[0] = '\0';
    if (tcHex != nullptr && tcSize > 0)
        tcHex[0] = '\0';
    return Complete(kVariantSteps, &call);
}
