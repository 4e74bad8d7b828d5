#include "vreader/issuer/issuer.h"

#include "vreader/cards/tlv.h"
#include "vreader/issuer/scripts.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr size_t kLongestAnswer = 1024; // characters that the calls take
constexpr size_t kLongestText = 16384;  // far beyond what any call returns

// The standard data of a cryptogram, in their order; AIP, counter and card verification results
// follow.
constexpr Tag kSignedTags[] = {0x9F02, 0x9F03, 0x9F1A, 0x95, 0x5F2A, 0x9A, 0x9C, 0x9F37};

constexpr Tag kCryptogram = 0x9F26;
constexpr Tag kInformation = 0x9F27;
constexpr Tag kIssuerData = 0x9F10;
constexpr Tag kCounter = 0x9F36;
constexpr Tag kProfile = 0x82;
constexpr Tag kPan = 0x5A;
constexpr Tag kSequence = 0x5F34;
constexpr Tag kAmount = 0x9F02;

struct Judgement
{
    const IssuerRules *rules;
    std::vector<DataObject> objects;
    std::string *error; // the first thing that was wrong
};

bool Fail(Judgement *judgement, const std::string &text)
{
    if (judgement->error->empty())
        *judgement->error = text;
    return false;
}

const Bytes *Find(const Judgement &judgement, Tag tag)
{
    for (const DataObject &object : judgement.objects)
    {
        if (object.tag == tag)
            return &object.value;
    }
    return nullptr;
}

// An object of a given length; 0: any. Null, and the error, when it is not so.
const Bytes *Needed(Judgement *judgement, Tag tag, size_t length)
{
    const Bytes *const value = Find(*judgement, tag);
    if (value == nullptr)
        Fail(judgement, "the text holds no " + TagText(tag));
    else if (length != 0 && value->size() != length)
        Fail(judgement, TagText(tag) + " has " + std::to_string(value->size()) +
                            " bytes instead of " + std::to_string(length));
    return judgement->error->empty() ? value : nullptr;
}

bool AreDigits(const std::string &text)
{
    return text.find_first_not_of("0123456789") == std::string::npos;
}

std::string Trimmed(const std::string &text)
{
    const char *const kBlanks = " \t\r\n";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string::npos)
        return "";
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

// A character of the text for a message: as it is when it can be shown, by its number otherwise.
std::string Shown(char character)
{
    const auto code = static_cast<unsigned char>(character);
    if (code > 0x20 && code < 0x7F)
        return std::string("\"") + character + "\"";
    return "byte " + HexText({code});
}

bool ReadText(Judgement *judgement, const std::string &arqcHex)
{
    const std::string text = Trimmed(arqcHex);
    if (text.empty())
        return Fail(judgement, "the ARQC text is empty");
    if (text.size() > kLongestText)
        return Fail(judgement, "the ARQC text has " + std::to_string(text.size()) +
                                   " characters, more than any card could have caused");
    const size_t wrong = text.find_first_not_of("0123456789ABCDEFabcdef");
    if (wrong != std::string::npos)
        return Fail(judgement, "character " + std::to_string(wrong + 1) + " of the ARQC text, " +
                                   Shown(text[wrong]) + ", is no hexadecimal digit");
    if (text.size() % 2 != 0)
        return Fail(judgement,
                    "the ARQC text has an odd number of digits, " + std::to_string(text.size()));
    Bytes bytes = *BytesFromHex(text);
    AppendBytes(&bytes, judgement->rules->furtherData);
    std::string problem;
    const std::optional<std::vector<DataObject>> objects = ObjectsIn(bytes, &problem);
    if (!objects)
        return Fail(judgement, "the ARQC text is no list of data objects: " + problem);
    judgement->objects = *objects;
    return true;
}

// Whose card it is. 5A of zeros stands for a card that did not tell; so does 5F34 of two bytes.
bool ReadIdentity(Judgement *judgement, std::string *pan, std::string *sequence)
{
    *pan = judgement->rules->pan;
    *sequence = judgement->rules->sequenceNumber;
    const Bytes *const panObject = Find(*judgement, kPan);
    if (pan->empty() && panObject != nullptr)
    {
        *pan = HexText(*panObject);
        *pan = pan->substr(0, pan->find('F'));
        if (pan->find_first_not_of('0') == std::string::npos)
            pan->clear();
    }
    const Bytes *const sequenceObject = Find(*judgement, kSequence);
    if (sequence->empty() && sequenceObject != nullptr && !sequenceObject->empty())
        *sequence = HexText({sequenceObject->back()});
    if (sequence->empty())
        *sequence = "00";
    if (pan->empty())
        return Fail(judgement, "the text does not tell the PAN (5A); name it");
    if (!AreDigits(*pan) || pan->size() > 19)
        return Fail(judgement, "the PAN must be at most 19 digits, not \"" + *pan + "\"");
    if (!AreDigits(*sequence) || sequence->size() != 2)
        return Fail(judgement,
                    "the PAN sequence number must be two digits, not \"" + *sequence + "\"");
    return true;
}

// What the card's cryptogram must have been over.
bool CollectSignedData(Judgement *judgement, Bytes *data)
{
    constexpr size_t kResultsEnd = 7; // 07, key index, version, four bytes of results
    std::vector<Tag> tags(std::begin(kSignedTags), std::end(kSignedTags));
    if (!judgement->rules->cdol1.empty())
    {
        tags.clear();
        for (const ListEntry &entry : ListEntries(judgement->rules->cdol1))
            tags.push_back(entry.tag);
    }
    for (const Tag tag : tags)
    {
        const Bytes *const value = Needed(judgement, tag, 0);
        if (value == nullptr)
            return false;
        AppendBytes(data, *value);
    }
    const Bytes *const profile = Needed(judgement, kProfile, 2);
    const Bytes *const counter = Needed(judgement, kCounter, 2);
    const Bytes *const issuerData = Needed(judgement, kIssuerData, 0);
    if (profile == nullptr || counter == nullptr || issuerData == nullptr)
        return false;
    if (issuerData->size() < kResultsEnd)
        return Fail(judgement, "9F10 has " + std::to_string(issuerData->size()) +
                                   " bytes; the card verification results end at the seventh");
    AppendBytes(data, *profile);
    AppendBytes(data, *counter);
    data->insert(data->end(), issuerData->begin() + 3, issuerData->begin() + kResultsEnd);
    return true;
}

std::string AmountText(uint64_t hundredths)
{
    const std::string cents = std::to_string(hundredths % 100);
    return std::to_string(hundredths / 100) + (cents.size() == 1 ? ".0" : ".") + cents;
}

// "00", "01" or "05", and why.
std::string Decide(const Judgement &judgement, std::string *why)
{
    const IssuerRules &rules = *judgement.rules;
    const Bytes *const amountObject = Find(judgement, kAmount);
    const std::string digits = amountObject == nullptr ? "" : HexText(*amountObject);
    uint64_t amount = 0;
    if (!rules.responseCode.empty())
    {
        *why = "as told";
        return rules.responseCode;
    }
    if (digits.empty() || digits.size() > 18 || !AreDigits(digits))
    {
        *why = "the amount (9F02) is no decimal number: declined";
        return "05";
    }
    amount = std::stoull(digits);
    *why = "amount " + AmountText(amount);
    if (amount > rules.declineAbove)
    {
        *why += ", above " + AmountText(rules.declineAbove) + ": declined";
        return "05";
    }
    if (amount > rules.referAbove)
    {
        *why += ", above " + AmountText(rules.referAbove) + ": call the bank";
        return "01";
    }
    *why += ": approved";
    return "00";
}

Block AsBlock(const Bytes &bytes)
{
    Block block{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), block.size()), block.begin());
    return block;
}

Bytes AsBytes(const Block &block)
{
    return Bytes(block.begin(), block.end());
}

// 9F27 when it is there: only an ARQC asks for an answer.
bool IsRequest(Judgement *judgement)
{
    const Bytes *const information = Find(*judgement, kInformation);
    if (information == nullptr || information->empty())
        return true;
    const uint8_t kind = information->front() & 0xC0;
    if (kind == 0x00)
        return Fail(judgement, "the card declined the transaction itself (9F27 says AAC)");
    if (kind == 0x40)
        return Fail(judgement, "the card approved the transaction itself (9F27 says TC)");
    return kind == 0x80 || Fail(judgement, "9F27 is none of ARQC, TC and AAC");
}

} // namespace

bool AmountFromText(const std::string &text, uint64_t *hundredths)
{
    constexpr size_t kMostDigits = 10; // before the point, as in a field of six BCD bytes
    const size_t point = text.find('.');
    const std::string whole = text.substr(0, point);
    const std::string cents = point == std::string::npos ? "00" : text.substr(point + 1);
    if (whole.empty() || whole.size() > kMostDigits || cents.size() != 2 || !AreDigits(whole) ||
        !AreDigits(cents))
        return false;
    *hundredths = std::stoull(whole) * 100 + std::stoull(cents);
    return true;
}

bool KeyFromText(const std::string &text, TripleDesKey *key)
{
    const std::optional<Bytes> bytes = BytesFromHex(text);
    if (!bytes || bytes->size() != key->size())
        return false;
    std::copy(bytes->begin(), bytes->end(), key->begin());
    return true;
}

IssuerAnswer Authorise(const IssuerKeys &keys, const std::string &arqcHex, const IssuerRules &rules)
{
    IssuerAnswer answer;
    Judgement judgement{&rules, {}, &answer.error};
    std::string pan;
    std::string sequence;
    Bytes signedData;
    const bool isReadable = ReadText(&judgement, arqcHex) &&
                            ReadIdentity(&judgement, &pan, &sequence) &&
                            CollectSignedData(&judgement, &signedData);
    const Bytes *const cryptogram = isReadable ? Needed(&judgement, kCryptogram, 8) : nullptr;
    if (cryptogram == nullptr)
        return answer;

    const Bytes &counterBytes = *Find(judgement, kCounter);
    const auto counter = static_cast<uint16_t>(counterBytes[0] << 8 | counterBytes[1]);
    const KeySet cardKeys = DeriveCardKeys(keys, pan, sequence);
    const TripleDesKey sessionKey = DeriveSessionKey(cardKeys.cryptogram, counter);
    const Block expected = RetailMac(sessionKey, signedData);
    answer.verified = expected == AsBlock(*cryptogram);
    const std::string whose =
        "PAN " + pan + ", sequence number " + sequence + ", 9F36 " + HexText(counterBytes);
    answer.explanation.push_back("card        " + whose);
    answer.explanation.push_back("signed      " + HexText(signedData));
    answer.explanation.push_back("cryptogram  " + HexText(*cryptogram) +
                                 (answer.verified ? " verifies" : " does not verify"));
    if (!answer.verified)
    {
        Fail(&judgement, "the cryptogram does not verify: 9F26 is " + HexText(*cryptogram) +
                             ", these keys give " + HexText(AsBytes(expected)) + " (" + whose +
                             ")");
        return answer;
    }
    if (!IsRequest(&judgement))
        return answer;

    std::string why;
    answer.responseCode = Decide(judgement, &why);
    if (answer.responseCode.size() != 2)
    {
        Fail(&judgement, "a response code has two characters");
        return answer;
    }
    answer.explanation.push_back("decision    " + answer.responseCode + ", " + why);
    const std::array<uint8_t, 2> code = {static_cast<uint8_t>(answer.responseCode[0]),
                                         static_cast<uint8_t>(answer.responseCode[1])};
    Bytes authentication = AsBytes(MakeArpc(sessionKey, expected, code));
    if (rules.spoilsArpc)
        authentication.back() = static_cast<uint8_t>(authentication.back() ^ 0x01);
    answer.explanation.push_back("ARPC        " + HexText(authentication) +
                                 (rules.spoilsArpc ? " (spoiled)" : ""));
    AppendBytes(&authentication, {code[0], code[1]});
    Bytes objects = Tlv(0x91, authentication);
    const ScriptSession session{cardKeys, counter, expected, rules.spoilsScriptMacs};
    AppendBytes(&objects, BuildScripts(session, rules, &answer.explanation, &answer.error));
    if (!answer.error.empty())
        return answer;
    answer.hex = HexText(objects);
    if (answer.hex.size() > kLongestAnswer)
        Fail(&judgement, "the answer has " + std::to_string(answer.hex.size()) +
                             " characters; the calls take at most 1024");
    if (!answer.error.empty())
        answer.hex.clear();
    return answer;
}

} // namespace vreader
