#include "data_objects.h"

#include "presentation.h"

namespace tool
{

// ---- Lists ----

// The bytes that the tag and the length take; 0 when the list ends within them.
static size_t HeadSize(std::string_view bytes, std::string *tag, size_t *length)
{
    const size_t tagSize = bytes.empty() || (ByteAt(bytes, 0) & 0x1F) != 0x1F ? 1 : 2;
    if (bytes.size() < tagSize + 1)
        return 0;
    *tag = Hex(bytes.substr(0, tagSize));
    const unsigned first = ByteAt(bytes, tagSize);
    const size_t further = first == 0x81 ? 1 : first == 0x82 ? 2 : 0;
    if (bytes.size() < tagSize + 1 + further)
        return 0;
    *length = further == 0 ? first : 0;
    for (size_t i = 0; i < further; i++)
        *length = *length << 8 | ByteAt(bytes, tagSize + 1 + i);
    return tagSize + 1 + further;
}

DataObjects ParseObjects(std::string_view bytes)
{
    DataObjects list;
    for (size_t at = 0; at < bytes.size();)
    {
        DataObject object;
        size_t length = 0;
        const size_t head = HeadSize(bytes.substr(at), &object.tag, &length);
        if (head == 0 || length > bytes.size() - at - head)
        {
            list.error = "the list ends within the object at offset " + std::to_string(at);
            return list;
        }
        object.value = bytes.substr(at + head, length);
        list.objects.push_back(object);
        at += head + length;
    }
    return list;
}

const std::string *FindObject(const DataObjects &list, std::string_view tag)
{
    for (const DataObject &object : list.objects)
        if (object.tag == tag)
            return &object.value;
    return nullptr;
}

std::string ObjectText(std::string_view tag, std::string_view value)
{
    std::string length;
    if (value.size() > 0x7F)
        length += static_cast<char>(value.size() > 0xFF ? 0x82 : 0x81);
    if (value.size() > 0xFF)
        length += static_cast<char>(value.size() >> 8);
    length += static_cast<char>(value.size() & 0xFF);
    return std::string(tag) + Hex(length) + Hex(value);
}

DataObjects CryptogramObjects(std::string_view bytes)
{
    static const size_t kShortestValue = 11;
    DataObjects list = ParseObjects(bytes);
    if (FindObject(list, "9F26") != nullptr || FindObject(list, "9F27") != nullptr)
        return list;
    if (bytes.size() < kShortestValue)
        return {{}, "neither a list of objects nor a cryptogram"};
    list = {{{"9F27", std::string(bytes.substr(0, 1))},
             {"9F36", std::string(bytes.substr(1, 2))},
             {"9F26", std::string(bytes.substr(3, 8))}},
            ""};
    if (bytes.size() > kShortestValue)
        list.objects.push_back({"9F10", std::string(bytes.substr(kShortestValue))});
    return list;
}

// ---- Meanings ----

// A bit with its meaning; a value's lines come in this order.
struct Bit
{
    size_t byte; // from 1, as the standards count
    unsigned mask;
    const char *meaning;
};

// Terminal verification results.
static const Bit kVerificationBits[] = {
    {1, 0x80, "offline data authentication was not performed"},
    {1, 0x40, "static data authentication failed"},
    {1, 0x20, "card data missing"},
    {1, 0x10, "card on the terminal's exception file"},
    {1, 0x08, "dynamic data authentication failed"},
    {1, 0x04, "combined data authentication failed"},
    {2, 0x80, "card and terminal have different application versions"},
    {2, 0x40, "application expired"},
    {2, 0x20, "application not yet effective"},
    {2, 0x10, "service not allowed for this card"},
    {2, 0x08, "new card"},
    {3, 0x80, "cardholder verification failed"},
    {3, 0x40, "unknown cardholder verification method"},
    {3, 0x20, "PIN tries used up"},
    {3, 0x10, "PIN asked for, PIN pad missing or broken"},
    {3, 0x08, "PIN asked for, not entered"},
    {3, 0x04, "online PIN entered"},
    {4, 0x80, "above the floor limit"},
    {4, 0x40, "lower limit of offline transactions exceeded"},
    {4, 0x20, "upper limit of offline transactions exceeded"},
    {4, 0x10, "chosen at random for online processing"},
    {4, 0x08, "merchant forced the transaction online"},
    {5, 0x80, "default TDOL used"},
    {5, 0x40, "issuer authentication failed"},
    {5, 0x20, "script failed before the final GENERATE AC"},
    {5, 0x10, "script failed after the final GENERATE AC"},
};

// Application interchange profile.
static const Bit kProfileBits[] = {
    {1, 0x40, "SDA"},
    {1, 0x20, "DDA"},
    {1, 0x10, "cardholder verification"},
    {1, 0x08, "risk management"},
    {1, 0x04, "issuer authentication"},
    {1, 0x01, "CDA"},
};

// Card verification results, counted from their length byte as the issuer's tables do.
static const Bit kCardBits[] = {
    {2, 0x08, "issuer authentication failed"},
    {2, 0x04, "offline PIN checked"},
    {2, 0x02, "offline PIN wrong"},
    {2, 0x01, "could not go online"},
    {3, 0x80, "last online transaction was not completed"},
    {3, 0x40, "PIN tries used up"},
    {3, 0x20, "offline limits exceeded"},
    {3, 0x10, "new card"},
    {3, 0x08, "issuer authentication failed in the last online transaction"},
    {3, 0x04, "issuer authentication missing in the last online transaction"},
    {3, 0x02, "application blocked, PIN tries used up"},
    {3, 0x01, "static data authentication failed in the last transaction"},
    {4, 0x08, "script failed in the last transaction"},
    {4, 0x04, "dynamic data authentication failed in the last transaction"},
    {4, 0x02, "dynamic data authentication performed"},
};

template <size_t kCount>
static void AddBits(const Bit (&bits)[kCount], std::string_view value,
                    std::vector<std::string> *out)
{
    for (const Bit &bit : bits)
        if (bit.byte <= value.size() && (ByteAt(value, bit.byte - 1) & bit.mask) != 0)
            out->push_back(bit.meaning);
}

struct Meaning
{
    std::string text;                 // behind the value; "" when there is none
    std::vector<std::string> details; // a line each
};

// `decimals`: of the currency in the same list.
using Decoder = Meaning (*)(std::string_view value, int decimals);

static const char *KindOf(unsigned informationData)
{
    static const char *const kKinds[] = {"AAC", "TC", "ARQC", "AAR"};
    return kKinds[informationData >> 6 & 3];
}

static Meaning DecodeInformation(std::string_view value, int)
{
    static const struct
    {
        const char *kind;
        const char *meaning;
    } kKinds[] = {{"AAC", "declined"},
                  {"TC", "approved"},
                  {"ARQC", "the issuer is to decide"},
                  {"AAR", "referral"}};
    static const char *const kReasons[] = {"", ", service not allowed", ", PIN tries used up",
                                           ", issuer authentication failed"};
    if (value.size() != 1)
        return {};
    const unsigned byte = ByteAt(value, 0);
    const auto &kind = kKinds[byte >> 6];
    const unsigned reason = byte & 7;
    return {std::string(kind.kind) + ", " + kind.meaning +
                ((byte & 8) != 0 ? ", advice wanted" : "") + (reason < 4 ? kReasons[reason] : ""),
            {}};
}

// Length 07, key index, cryptogram version, card verification results (03 and three bytes),
// algorithm; the issuer's own data may follow.
static Meaning DecodeIssuerData(std::string_view value, int)
{
    if (value.size() < 7 || ByteAt(value, 0) < 6 || ByteAt(value, 3) != 3)
        return {};
    static const char *const kSecond[] = {"AAC", "TC", "not yet asked for", "reserved"};
    static const char *const kFirst[] = {"AAC", "TC", "ARQC", "reserved"};
    const std::string_view results = value.substr(3, 4);
    Meaning meaning;
    meaning.text = "key index " + std::to_string(ByteAt(value, 1)) + ", version " +
                   std::to_string(ByteAt(value, 2)) + ", card results " + Hex(results.substr(1));
    if (value.size() > 7)
        meaning.text += ", algorithm " + Hex(value.substr(7, 1));
    meaning.details.push_back(std::string("first cryptogram ") +
                              kFirst[ByteAt(results, 1) >> 4 & 3] + ", second " +
                              kSecond[ByteAt(results, 1) >> 6]);
    AddBits(kCardBits, results, &meaning.details);
    const unsigned scripts = ByteAt(results, 3) >> 4;
    if (scripts != 0)
        meaning.details.push_back(std::to_string(scripts) + " script commands counted");
    return meaning;
}

static Meaning DecodeVerification(std::string_view value, int)
{
    Meaning meaning;
    if (value.size() == 5)
        AddBits(kVerificationBits, value, &meaning.details);
    return meaning;
}

static Meaning DecodeProfile(std::string_view value, int)
{
    std::vector<std::string> words;
    if (value.size() == 2)
        AddBits(kProfileBits, value, &words);
    std::string text;
    for (const std::string &word : words)
        text += (text.empty() ? "" : ", ") + word;
    return {text, {}};
}

static Meaning DecodeCounter(std::string_view value, int)
{
    if (value.size() != 2)
        return {};
    return {std::to_string(ByteAt(value, 0) << 8 | ByteAt(value, 1)), {}};
}

static Meaning DecodeAmount(std::string_view value, int decimals)
{
    const std::optional<uint64_t> units = MinorUnits(Hex(value));
    return {units ? Money(*units, decimals) : "", {}};
}

static Meaning DecodeDate(std::string_view value, int)
{
    return {IsoDate(Hex(value)).value_or(""), {}};
}

static Meaning DecodeType(std::string_view value, int)
{
    const char *name = TransactionTypeName(Hex(value));
    return {name == nullptr ? "" : name, {}};
}

static Meaning DecodeCurrency(std::string_view value, int)
{
    const Currency *currency = FindCurrency(Hex(value));
    return {currency == nullptr ? "" : currency->name, {}};
}

static Meaning DecodeCountry(std::string_view value, int)
{
    const char *name = CountryName(Hex(value));
    return {name == nullptr ? "" : name, {}};
}

static Meaning NoMeaning(std::string_view, int)
{
    return {};
}

static const struct Element
{
    const char *tag;
    const char *key;
    const char *name;
    Decoder decode;
} kElements[] = {
    {"9F26", "cryptogram", "Cryptogram", NoMeaning},
    {"9F27", "cryptogram_information", "Cryptogram information", DecodeInformation},
    {"9F10", "issuer_data", "Issuer application data", DecodeIssuerData},
    {"9F37", "unpredictable_number", "Unpredictable number", NoMeaning},
    {"9F36", "atc", "Transaction counter", DecodeCounter},
    {"95", "terminal_verification", "Terminal verification", DecodeVerification},
    {"9A", "date", "Date", DecodeDate},
    {"9C", "type", "Type", DecodeType},
    {"9F02", "amount", "Amount", DecodeAmount},
    {"5F2A", "currency", "Currency", DecodeCurrency},
    {"82", "interchange_profile", "Interchange profile", DecodeProfile},
    {"9F1A", "country", "Country", DecodeCountry},
    {"9F03", "other_amount", "Other amount", DecodeAmount},
    {"9F33", "terminal_capabilities", "Terminal capabilities", NoMeaning},
    {"9F13", "last_online_atc", "Last online counter", DecodeCounter},
    {"5A", "card_number", "Card number", NoMeaning},
    {"5F34", "card_sequence_number", "Card sequence number", NoMeaning},
};

static const Element *FindElement(std::string_view tag)
{
    for (const Element &element : kElements)
        if (tag == element.tag)
            return &element;
    return nullptr;
}

static int Decimals(const DataObjects &list)
{
    const std::string *code = FindObject(list, "5F2A");
    const Currency *currency = code == nullptr ? nullptr : FindCurrency(Hex(*code));
    return currency == nullptr ? 2 : currency->decimals;
}

std::string CryptogramKind(const DataObjects &list)
{
    const std::string *information = FindObject(list, "9F27");
    return information == nullptr || information->size() != 1 ? "?"
                                                              : KindOf(ByteAt(*information, 0));
}

static const char *const kCardNumber = "5A";

static std::string ShownValue(const DataObject &object, bool mask)
{
    std::string text = Hex(object.value);
    if (object.tag != kCardNumber || !mask)
        return text;
    const std::string number = text.substr(0, text.find('F')); // an odd number ends with F
    return Masked(number) + text.substr(number.size());
}

static const size_t kTagWidth = 6;
static const size_t kNameWidth = 25;

std::string ObjectsText(const DataObjects &list, bool mask)
{
    const int decimals = Decimals(list);
    std::string text;
    for (const DataObject &object : list.objects)
    {
        const Element *element = FindElement(object.tag);
        const Meaning meaning =
            element == nullptr ? Meaning{} : element->decode(object.value, decimals);
        text += "  " + Padded(object.tag, kTagWidth) +
                Padded(element == nullptr ? "" : element->name, kNameWidth) +
                ShownValue(object, mask) + (meaning.text.empty() ? "" : "  " + meaning.text) + "\n";
        for (const std::string &detail : meaning.details)
            text += std::string(2 + kTagWidth + kNameWidth, ' ') + "- " + detail + "\n";
    }
    return text + (list.error.empty() ? "" : "  " + list.error + "\n");
}

Json ObjectsJson(const DataObjects &list, bool mask)
{
    const int decimals = Decimals(list);
    Json array = Json::array();
    for (const DataObject &object : list.objects)
    {
        const Element *element = FindElement(object.tag);
        const Meaning meaning =
            element == nullptr ? Meaning{} : element->decode(object.value, decimals);
        array.push_back({{"tag", object.tag},
                         {"name", element == nullptr ? Json(nullptr) : Json(element->key)},
                         {"value", ShownValue(object, mask)},
                         {"meaning", meaning.text.empty() ? Json(nullptr) : Json(meaning.text)},
                         {"details", meaning.details}});
    }
    return array;
}

} // namespace tool
