// The social-security card: thirteen elements in the records of two files.
#include "vreader/cards/pboc_card.h"

namespace vreader
{

namespace
{

enum class Form
{
    digits, // hexadecimal digits
    text,   // a text, or "hex:" and the bytes of another character set
    date    // YYYYMMDD as four bytes
};

// Record n of EF05 holds tag n; record n of EF06 holds tag 07 + n.
struct Element
{
    const char *name;
    Form form;
};

constexpr Element kElements[] = {
    {"cardIdentifier", Form::digits}, // 01
    {"cardType", Form::digits},       // 02
    {"version", Form::digits},        // 03
    {"issuer", Form::digits},         // 04
    {"issued", Form::date},           // 05
    {"expires", Form::date},          // 06
    {"cardNumber", Form::text},       // 07
    {"number", Form::text},           // 08: the social security number
    {"name", Form::text},             // 09
    {"sex", Form::text},              // 0A
    {"nation", Form::digits},         // 0B
    {"birthplace", Form::digits},     // 0C
    {"birthDate", Form::date},        // 0D
};
constexpr size_t kElementsOfFirstFile = 7;

// "sx1.sh." and the four characters of "social security" in UTF-8; hosts select by fifteen bytes,
// which end within the third of them.
const char kUsualName[] = "73 78 31 2E 73 68 2E E7A4BE E4BC9A E4BF9D E99A9C";

Bytes ElementValue(const Place &place, Form form)
{
    if (form == Form::digits)
        return Hex(place);
    if (form == Form::date)
        return LongDate(place);
    const std::string text = Text(place);
    if (text.compare(0, 4, "hex:") != 0)
        return BytesFromText(text);
    const std::optional<Bytes> bytes = BytesFromHex(std::string_view(text).substr(4));
    if (!bytes)
        Expected(place, "a text, or \"hex:\" and hexadecimal digits");
    return bytes.value_or(Bytes{});
}

void KnownElementsOnly(const Place &fields)
{
    if (!fields.value->is_object())
    {
        Expected(fields, "an object");
        return;
    }
    for (const auto &[key, value] : fields.value->items())
    {
        (void)value;
        bool isKnown = key == "note";
        std::string known;
        for (const Element &element : kElements)
        {
            isKnown = isKnown || key == element.name;
            known += (known.empty() ? "" : ", ") + std::string(element.name);
        }
        if (!isKnown)
            Complain(Below(fields, key), "unknown key; known here are " + known);
    }
}

void ReadElements(const Place &fields, DedicatedFile *directory)
{
    KnownElementsOnly(fields);
    uint8_t tag = 0;
    for (const Element &element : kElements)
    {
        ++tag;
        const bool isFirst = tag <= kElementsOfFirstFile;
        const auto number = static_cast<uint8_t>(isFirst ? tag : tag - kElementsOfFirstFile);
        const std::optional<Place> found = Find(fields, element.name);
        const Bytes value = found ? ElementValue(*found, element.form) : Bytes{};
        if (value.size() > 250)
            Complain(*found, "is longer than 250 bytes");
        // A record that lacks its element is there all the same.
        directory->files[isFirst ? 5 : 6][number] = found ? Tlv(tag, value) : Bytes{};
    }
}

// Records that replace what the fields gave: null takes one away.
void ReplaceRecords(const Place &place, std::map<uint8_t, Bytes> *records)
{
    if (!place.value->is_object())
    {
        Expected(place, "records as {\"NUMBER\": RECORD}");
        return;
    }
    for (const auto &[key, value] : place.value->items())
    {
        if (key == "note")
            continue;
        const Place record = Below(place, key);
        const std::optional<unsigned> number = KeyNumber(key, 1, 255);
        if (!number)
            Complain(record, "is no record number (1 to 255)");
        else if (value.is_null())
            records->erase(static_cast<uint8_t>(*number));
        else
            (*records)[static_cast<uint8_t>(*number)] = DataObjects(record);
    }
}

} // namespace

std::shared_ptr<Card> MakeSocialSecurityCard(const Place &description)
{
    const auto card = std::make_shared<PbocCard>();
    if (!IsObjectOf(description, {"kind", "label", "atr", "inject", "t0", "name", "fields",
                                  "records", "status"}))
        return WrapPbocCard(description, card, "social-security", "");
    card->speaksT0 = FlagAt(description, "t0", false);
    DedicatedFile directory;
    directory.name = HexAt(description, "name", *BytesFromHex(kUsualName));
    // A directory without tag 88 is none for a host that looks for its files there.
    directory.fileControlInformation = FileControlInformation(directory.name, {0x88, 0x01, 0x05});
    if (const std::optional<Place> status = Find(description, "status"))
        directory.selectStatus = StatusWord(*status);
    for (const uint8_t identifier : {uint8_t{5}, uint8_t{6}})
    {
        ElementaryFile file;
        file.identifier = static_cast<uint16_t>(0xEF00 | identifier);
        file.shortIdentifier = identifier;
        directory.elementaryFiles.push_back(file);
    }
    const nlohmann::json none = nlohmann::json::object();
    ReadElements(Find(description, "fields").value_or(Place{&none, "", description.problem}),
                 &directory);
    const std::optional<Place> records = Find(description, "records");
    if (records && IsObjectOf(*records, {"EF05", "EF06"}))
    {
        if (const std::optional<Place> first = Find(*records, "EF05"))
            ReplaceRecords(*first, &directory.files[5]);
        if (const std::optional<Place> second = Find(*records, "EF06"))
            ReplaceRecords(*second, &directory.files[6]);
    }
    card->dedicatedFiles.push_back(std::move(directory));
    return WrapPbocCard(description, card, "social-security", "social security card");
}

} // namespace vreader
