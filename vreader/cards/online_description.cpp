// The key "online" of an application: its keys, its counters and the rules it decides by.
#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr Tag kPan = 0x5A;
constexpr Tag kTrack2 = 0x57;
constexpr Tag kSequenceNumber = 0x5F34;
constexpr Tag kPdol = 0x9F38;
constexpr Tag kCdol1 = 0x8C;
constexpr Tag kCdol2 = 0x8D;

bool AreDigits(const std::string &text)
{
    return text.find_first_not_of("0123456789") == std::string::npos;
}

// The first object of this tag in any record that the card can be read from.
std::optional<Bytes> Personalised(const DedicatedFile &file, Tag tag)
{
    for (const auto &[identifier, records] : file.files)
    {
        (void)identifier;
        for (const auto &[number, record] : records)
        {
            (void)number;
            if (const std::optional<Bytes> value = FindObject(record, tag))
                return value;
        }
    }
    return FindObject(file.online->optionsData, tag);
}

KeySet MasterKeys(const Place &online)
{
    const std::optional<Place> one = Find(online, "masterKey");
    const std::optional<Place> three = Find(online, "masterKeys");
    if (one && three)
        Complain(*one, "stands beside \"masterKeys\"; one of them is enough");
    if (one)
        return {Key(*one), Key(*one), Key(*one)};
    if (!three)
        return ProfileMasterKeys();
    KeySet keys;
    if (!IsObjectOf(*three, {"cryptogram", "mac", "encipherment"}))
        return keys;
    struct NamedKey
    {
        const char *name;
        TripleDesKey *key;
    };
    for (const NamedKey &named : {NamedKey{"cryptogram", &keys.cryptogram},
                                  {"mac", &keys.mac},
                                  {"encipherment", &keys.encipherment}})
    {
        if (const std::optional<Place> found = Find(*three, named.name))
            *named.key = Key(*found);
        else
            Complain(*three, "the key \"" + std::string(named.name) + "\" is missing");
    }
    return keys;
}

// Whose card it is: what the keys are derived from.
void ReadIdentity(const Place &online, DedicatedFile *file)
{
    OnlineApplication *application = &*file->online;
    std::string pan = HexText(Personalised(*file, kPan).value_or(Bytes{}));
    if (pan.empty())
    {
        const std::string track2 = HexText(Personalised(*file, kTrack2).value_or(Bytes{}));
        pan = track2.substr(0, track2.find('D'));
    }
    pan = pan.substr(0, pan.find('F'));
    const std::string sequence = HexText(Personalised(*file, kSequenceNumber).value_or(Bytes{0}));
    if (pan.empty() || !AreDigits(pan) || sequence.size() != 2 || !AreDigits(sequence))
        Complain(online, "the records need a PAN (5A or 57) of digits, and 5F34 of two digits if "
                         "any, from which the card's keys are derived");
    application->pan = pan;
    application->sequenceNumber = sequence;
    application->masterKeys = MasterKeys(online);
    if (!Failed(online))
        application->keys = DeriveCardKeys(application->masterKeys, pan, sequence);
}

void ReadLists(const Place &online, DedicatedFile *file)
{
    constexpr Tag kNeeded[] = {0x9F02, 0x9F03, 0x9F1A, 0x95, 0x5F2A, 0x9A, 0x9C, 0x9F37};
    OnlineApplication *application = &*file->online;
    application->pdol = FindObject(file->fileControlInformation, kPdol).value_or(Bytes{});
    application->cdol1 = Personalised(*file, kCdol1).value_or(Bytes{});
    application->cdol2 = Personalised(*file, kCdol2).value_or(Bytes{});
    if (application->signsWholeList)
        return;
    std::vector<ListEntry> asked = ListEntries(application->pdol);
    for (const ListEntry &entry : ListEntries(application->cdol1))
        asked.push_back(entry);
    for (const Tag tag : kNeeded)
    {
        if (std::none_of(asked.begin(), asked.end(),
                         [tag](const ListEntry &entry) { return entry.tag == tag; }))
            Complain(online, "neither the PDOL nor CDOL1 (8C) asks for " + TagText(tag) +
                                 ", which the cryptogram is over");
    }
}

Decline DeclineOf(const Place &online)
{
    const std::string word = TextAt(online, "declines", "never");
    if (word == "first")
        return Decline::first;
    if (word == "second")
        return Decline::second;
    if (word != "never")
        Expected(Below(online, "declines"), "\"never\", \"first\" or \"second\"");
    return Decline::never;
}

void ReadRules(const Place &online, OnlineApplication *application)
{
    application->declines = DeclineOf(online);
    if (const std::optional<Place> amount = Find(online, "declineAbove"))
        application->declineAbove = Hundredths(Amount(*amount));
    if (const std::optional<Place> amount = Find(online, "offlineLimit"))
        application->offlineLimit = Hundredths(Amount(*amount));
    application->needsAuthentication = FlagAt(online, "needsIssuerAuthentication", true);
    application->answersFormat1 = NumberAt(online, "format", 1, 2, 1) == 1;
    application->keyIndex = static_cast<uint8_t>(NumberAt(online, "keyIndex", 0, 255, 1));
    application->cryptogramVersion = static_cast<uint8_t>(NumberAt(online, "version", 0, 255, 1));
    const std::string data = TextAt(online, "cryptogramData", "standard");
    application->signsWholeList = data == "list";
    if (data != "standard" && data != "list")
        Expected(Below(online, "cryptogramData"), "\"standard\" or \"list\"");
}

void ReadMemory(const Place &online, DedicatedFile *file)
{
    OnlineApplication *application = &*file->online;
    application->counter = static_cast<uint16_t>(NumberAt(online, "atc", 0, 0xFFFF, 0));
    const std::optional<Bytes> last = file->dataObjects.count(0x9F13) != 0
                                          ? std::optional<Bytes>(file->dataObjects[0x9F13])
                                          : std::nullopt;
    if (last && last->size() == 2)
        application->lastOnline = static_cast<uint16_t>((*last)[0] << 8 | (*last)[1]);
    application->pin = TextAt(online, "pin", "");
    const size_t digits = application->pin.size();
    if (digits != 0 && (digits < 4 || digits > 12 || !AreDigits(application->pin)))
        Expected(Below(online, "pin"), "a PIN of 4 to 12 digits");
    application->pinLimit = NumberAt(online, "pinTries", 1, 15, 3);
    application->pinTries = application->pinLimit;
}

} // namespace

void ReadOnlineDescription(const Place &online, const Place &application, DedicatedFile *file)
{
    if (!IsObjectOf(online, {"masterKey", "masterKeys", "atc", "format", "keyIndex", "version",
                             "cryptogramData", "declines", "declineAbove", "offlineLimit",
                             "needsIssuerAuthentication", "pin", "pinTries"}))
        return;
    file->online.emplace();
    const std::optional<Place> gpo = Find(application, "gpo");
    const std::optional<Place> format = gpo ? Find(*gpo, "format") : std::nullopt;
    const std::optional<Place> data = gpo ? Find(*gpo, "data") : std::nullopt;
    file->online->isOneStep = format && *format->value == "contactless";
    file->online->interchangeProfile = gpo ? HexAt(*gpo, "aip", {0x7C, 0x00}) : Bytes{0x7C, 0x00};
    if (file->online->interchangeProfile.size() != 2)
        Complain(online, "needs an interchange profile (gpo.aip) of two bytes");
    if (file->online->isOneStep && data)
        file->online->optionsData = DataObjects(*data);
    ReadRules(online, &*file->online);
    ReadIdentity(online, file);
    ReadLists(online, file);
    ReadMemory(online, file);
    PublishCounters(file);
}

} // namespace vreader
