// From a card's description in JSON to the tables it answers from.
#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

// Tags as ISO 7816-4, EMV book 1 and the PBOC debit/credit standard number them.
constexpr Tag kFciTemplate = 0x6F;
constexpr Tag kFciProprietary = 0xA5;
constexpr Tag kFciDiscretionary = 0xBF0C;
constexpr Tag kFileName = 0x84;
constexpr Tag kDirectoryFile = 0x88;
constexpr Tag kDirectoryEntry = 0x61;
constexpr Tag kApplicationIdentifier = 0x4F;
constexpr Tag kApplicationLabel = 0x50;
constexpr Tag kPriority = 0x87;
constexpr Tag kRecordTemplate = 0x70;
constexpr Tag kPdol = 0x9F38;
constexpr Tag kLogEntry = 0x9F4D;
constexpr Tag kLoadLogEntry = 0xDF4D;
constexpr Tag kLogFormat = 0x9F4F;
constexpr Tag kInterchangeProfile = 0x82;
constexpr Tag kFileLocator = 0x94;
constexpr Tag kFormat1 = 0x80;
constexpr Tag kFormat2 = 0x77;

constexpr unsigned kLastFile = 30;
constexpr unsigned kLastLocatedFile = 10; // an application file locator names SFI 1 to 10

// Date, time, amount, other amount, country, currency, merchant, type and counter.
const char kLogFormatOfRecords[] = "9A03 9F2103 9F0206 9F0306 9F1A02 5F2A02 9F4E14 9C01 9F3602";

// What a directory says of an application.
struct ListedApplication
{
    Bytes name;
    Bytes label;
    uint8_t priority;
};

Bytes EntryOf(const ListedApplication &application)
{
    Bytes entry = Tlv(kApplicationIdentifier, application.name);
    if (!application.label.empty())
        AppendTlv(&entry, kApplicationLabel, application.label);
    if (application.priority != 0)
        AppendTlv(&entry, kPriority, {application.priority});
    return entry;
}

// One record: bytes as they stand, or data objects put into the record template.
Bytes Record(const Place &place)
{
    if (place.value->is_string())
        return Hex(place);
    return Tlv(kRecordTemplate, DataObjects(place));
}

std::optional<uint8_t> NumberedKey(const Place &place, const std::string &key, unsigned most,
                                   const char *what)
{
    const std::optional<unsigned> number = KeyNumber(key, 1, most);
    if (number)
        return static_cast<uint8_t>(*number);
    Complain(Below(place, key),
             "is no " + std::string(what) + " (1 to " + std::to_string(most) + ")");
    return std::nullopt;
}

// Records as a list (numbered from 1) or as an object {"NUMBER": RECORD}.
template <typename RecordReader>
std::map<uint8_t, Bytes> Records(const Place &place, RecordReader readRecord)
{
    std::map<uint8_t, Bytes> records;
    if (place.value->is_object())
    {
        for (const auto &[key, value] : place.value->items())
        {
            (void)value;
            if (key == "note")
                continue;
            if (const auto number = NumberedKey(place, key, 255, "record number"))
                records[*number] = readRecord(Below(place, key));
        }
        return records;
    }
    if (!IsArray(place, "records as a list or as {\"NUMBER\": RECORD}"))
        return records;
    if (place.value->size() > 255)
        Complain(place, "has more than 255 records");
    for (size_t i = 0; i < place.value->size() && !Failed(place); ++i)
        records[static_cast<uint8_t>(i + 1)] = readRecord(Element(place, i));
    return records;
}

RecordFiles ApplicationFiles(const Place &place)
{
    RecordFiles files;
    if (!place.value->is_object())
    {
        Expected(place, "files as {\"SFI\": RECORDS}");
        return files;
    }
    for (const auto &[key, value] : place.value->items())
    {
        (void)value;
        if (key == "note")
            continue;
        if (const auto identifier = NumberedKey(place, key, kLastFile, "short file identifier"))
            files[*identifier] = Records(Below(place, key), Record);
    }
    return files;
}

std::map<Tag, Bytes> GetDataObjects(const Place &place)
{
    std::map<Tag, Bytes> objects;
    if (!place.value->is_object())
    {
        Expected(place, "data objects as {\"TAG\": VALUE}");
        return objects;
    }
    for (const auto &[key, value] : place.value->items())
    {
        (void)value;
        if (key == "note")
            continue;
        const Place below = Below(place, key);
        const std::optional<Tag> tag = TagFromText(key);
        if (!tag || *tag > 0xFFFF)
        {
            Complain(below, "is no tag of one or two bytes");
            break;
        }
        objects[*tag] = IsConstructed(*tag) ? DataObjects(below) : Value(below);
    }
    return objects;
}

// Entries that name every record of SFI 1 to 10, neighbours in one entry.
Bytes LocatorOf(const RecordFiles &files)
{
    Bytes locator;
    for (const auto &[identifier, records] : files)
    {
        if (identifier > kLastLocatedFile)
            continue;
        for (auto record = records.begin(); record != records.end(); ++record)
        {
            const bool continues =
                record != records.begin() && std::prev(record)->first + 1 == record->first;
            if (continues)
                locator[locator.size() - 2] = record->first;
            else
                AppendBytes(&locator, {static_cast<uint8_t>(identifier << 3), record->first,
                                       record->first, 0});
        }
    }
    return locator;
}

Bytes Locator(const Place &place)
{
    if (place.value->is_string())
        return Hex(place);
    Bytes locator;
    if (!IsArray(place, "hexadecimal digits or a list of {\"sfi\", \"first\", \"last\"}"))
        return locator;
    for (size_t i = 0; i < place.value->size() && !Failed(place); ++i)
    {
        const Place entry = Element(place, i);
        if (!IsObjectOf(entry, {"sfi", "first", "last", "offline"}))
            break;
        const unsigned first = NumberAt(entry, "first", 0, 255, 1);
        AppendBytes(&locator, {static_cast<uint8_t>(NumberAt(entry, "sfi", 1, kLastFile, 1) << 3),
                               static_cast<uint8_t>(first),
                               static_cast<uint8_t>(NumberAt(entry, "last", 0, 255, first)),
                               static_cast<uint8_t>(NumberAt(entry, "offline", 0, 255, 0))});
    }
    return locator;
}

// The answer to GET PROCESSING OPTIONS in one of its three forms.
Bytes ProcessingOptions(const Place &gpo, const RecordFiles &files, bool isOnline)
{
    if (const std::optional<Place> raw = Find(gpo, "raw"))
        return Hex(*raw);
    const std::optional<Place> format = Find(gpo, "format");
    const bool isFormat1 = !format || *format->value == 1;
    const Bytes profile = HexAt(gpo, "aip", {0x7C, 0x00});
    const std::optional<Place> afl = Find(gpo, "afl");
    const Bytes locator = afl ? Locator(*afl) : LocatorOf(files);
    const std::optional<Place> data = Find(gpo, "data");
    if (isFormat1)
    {
        if (data)
            Complain(*data, "format 1 has no room for further data objects");
        Bytes value = profile;
        AppendBytes(&value, locator);
        return Tlv(kFormat1, value);
    }
    Bytes contents = Tlv(kInterchangeProfile, profile);
    if (*format->value == 2)
        AppendTlv(&contents, kFileLocator, locator);
    else if (*format->value != "contactless")
        Expected(*format, "1, 2 or \"contactless\"");
    else if (afl)
        Complain(*afl, "the contactless answer has no file locator");
    else if (!data && !isOnline)
        Complain(gpo, "the key \"data\" is missing (what the contactless answer holds)");
    if (data)
        AppendBytes(&contents, DataObjects(*data));
    return Tlv(kFormat2, contents);
}

// Reads a log file into the application; gives what the log entry in the FCI says.
template <typename RecordReader>
Bytes Log(const Place &place, RecordReader readRecord, RecordFiles *files, uint8_t *file,
          unsigned *limit)
{
    if (!IsObjectOf(place, {"sfi", "size", "entry", "records"}))
        return {};
    const auto identifier = static_cast<uint8_t>(NumberAt(place, "sfi", 1, kLastFile, *file));
    const auto size = static_cast<uint8_t>(NumberAt(place, "size", 0, 255, 10));
    *file = identifier;
    *limit = size;
    (*files)[identifier] = {};
    if (const std::optional<Place> records = Find(place, "records"))
        (*files)[identifier] = Records(*records, readRecord);
    return HexAt(place, "entry", {identifier, size});
}

uint16_t SelectStatus(const Place &place)
{
    const bool isBlocked = FlagAt(place, "blocked", false);
    const std::optional<Place> status = Find(place, "status");
    if (status)
        return StatusWord(*status);
    return isBlocked ? 0x6283 : 0x9000;
}

ListedApplication Listing(const Place &place)
{
    ListedApplication listed{HexAt(place, "aid", {}), BytesFromText(TextAt(place, "label", "")),
                             static_cast<uint8_t>(NumberAt(place, "priority", 0, 15, 0))};
    const std::optional<Place> identifier = Find(place, "aid");
    if (!identifier)
        Complain(place, "the key \"aid\" is missing");
    else if (listed.name.size() < 5 || listed.name.size() > 16)
        Expected(*identifier, "an application identifier of 5 to 16 bytes");
    return listed;
}

// What takes keys, and files that have identifiers.
void ReadAbilities(const Place &place, DedicatedFile *application)
{
    if (const std::optional<Place> key = Find(place, "maintenanceKey"))
        application->maintenanceKey = Key(*key);
    if (const std::optional<Place> files = Find(place, "elementaryFiles"))
        ReadElementaryFiles(*files, application);
    if (const std::optional<Place> purse = Find(place, "purse"))
        ReadPurseDescription(*purse, application);
    if (const std::optional<Place> online = Find(place, "online"))
        ReadOnlineDescription(*online, place, application);
}

DedicatedFile Application(const Place &place)
{
    DedicatedFile application;
    if (!IsObjectOf(place, {"aid", "label", "priority", "fci", "discretionary", "rawFci", "status",
                            "blocked", "gpo", "records", "getData", "log", "loadLog", "online",
                            "purse", "elementaryFiles", "maintenanceKey"}))
        return application;
    const ListedApplication listed = Listing(place);
    application.isApplication = true;
    application.name = listed.name;
    application.selectStatus = SelectStatus(place);
    if (const std::optional<Place> records = Find(place, "records"))
        application.files = ApplicationFiles(*records);
    if (const std::optional<Place> objects = Find(place, "getData"))
        application.dataObjects = GetDataObjects(*objects);

    const nlohmann::json usual = nlohmann::json::object();
    const Place gpo = Find(place, "gpo").value_or(Place{&usual, place.path, place.problem});
    if (IsObjectOf(gpo, {"format", "aip", "afl", "data", "raw", "checkPdolLength"}))
        application.processingOptions =
            ProcessingOptions(gpo, application.files, Find(place, "online").has_value());
    application.checksPdolLength = FlagAt(gpo, "checkPdolLength", true);

    Bytes discretionary;
    if (const std::optional<Place> log = Find(place, "log"))
    {
        application.logFile = 11;
        const Bytes entry = Log(*log, TransactionLogRecord, &application.files,
                                &application.logFile, &application.logLimit);
        if (!entry.empty())
            AppendTlv(&discretionary, kLogEntry, entry);
        application.dataObjects.emplace(kLogFormat, *BytesFromHex(kLogFormatOfRecords));
    }
    if (const std::optional<Place> log = Find(place, "loadLog"))
    {
        application.loadLogFile = 12;
        const Bytes entry = Log(*log, LoadLogRecord, &application.files, &application.loadLogFile,
                                &application.loadLogLimit);
        if (!entry.empty())
            AppendTlv(&discretionary, kLoadLogEntry, entry);
    }
    if (const std::optional<Place> further = Find(place, "discretionary"))
        AppendBytes(&discretionary, DataObjects(*further));

    Bytes proprietary;
    if (!listed.label.empty())
        AppendTlv(&proprietary, kApplicationLabel, listed.label);
    if (listed.priority != 0)
        AppendTlv(&proprietary, kPriority, {listed.priority});
    if (const std::optional<Place> further = Find(place, "fci"))
        AppendBytes(&proprietary, DataObjects(*further));
    if (!discretionary.empty())
        AppendTlv(&proprietary, kFciDiscretionary, discretionary);
    application.fileControlInformation =
        HexAt(place, "rawFci", FileControlInformation(application.name, proprietary));
    application.pdolDataLength =
        RequestedLength(FindObject(application.fileControlInformation, kPdol).value_or(Bytes{}));
    ReadAbilities(place, &application);
    return application;
}

// An entry of a directory record: the identifier of an application, or the entry's data objects.
Bytes DirectoryEntry(const Place &place, const std::vector<ListedApplication> &applications)
{
    if (!place.value->is_string())
        return DataObjects(place);
    const Bytes name = Hex(place);
    for (const ListedApplication &application : applications)
    {
        if (application.name == name)
            return EntryOf(application);
    }
    return Tlv(kApplicationIdentifier, name);
}

Bytes DirectoryRecord(const Place &place, const std::vector<ListedApplication> &applications)
{
    if (place.value->is_string())
        return Hex(place);
    Bytes entries;
    if (IsArray(place, "hexadecimal digits or a list of application identifiers"))
    {
        for (size_t i = 0; i < place.value->size() && !Failed(place); ++i)
            AppendTlv(&entries, kDirectoryEntry, DirectoryEntry(Element(place, i), applications));
    }
    return Tlv(kRecordTemplate, entries);
}

RecordFiles DirectoryFiles(const Place &list, const std::vector<ListedApplication> &applications)
{
    RecordFiles files;
    if (!IsArray(list, "a list of {\"sfi\", \"records\"}"))
        return files;
    for (size_t i = 0; i < list.value->size() && !Failed(list); ++i)
    {
        const Place entry = Element(list, i);
        if (!IsObjectOf(entry, {"sfi", "records"}))
            break;
        const auto identifier = static_cast<uint8_t>(NumberAt(entry, "sfi", 1, kLastFile, 1));
        const std::optional<Place> records = Find(entry, "records");
        if (!records)
            Complain(entry, "the key \"records\" is missing");
        else
            files[identifier] = Records(*records, [&applications](const Place &record)
                                        { return DirectoryRecord(record, applications); });
    }
    return files;
}

// The payment system environment; without a description of it: one record an application, SFI 1.
DedicatedFile Environment(const Place &place, const std::vector<ListedApplication> &applications)
{
    DedicatedFile environment;
    if (!IsObjectOf(place, {"name", "sfis", "files", "fci", "rawFci", "status", "blocked"}))
        return environment;
    environment.name = BytesFromText(TextAt(place, "name", "1PAY.SYS.DDF01"));
    environment.selectStatus = SelectStatus(place);
    if (const std::optional<Place> files = Find(place, "files"))
        environment.files = DirectoryFiles(*files, applications);
    else
        for (const ListedApplication &application : applications)
        {
            std::map<uint8_t, Bytes> &records = environment.files[1];
            records[static_cast<uint8_t>(records.size() + 1)] =
                Tlv(kRecordTemplate, Tlv(kDirectoryEntry, EntryOf(application)));
        }
    Bytes identifiers;
    for (const auto &[identifier, records] : environment.files)
    {
        (void)records;
        identifiers.push_back(identifier);
    }
    if (identifiers.empty())
        identifiers.push_back(1);
    Bytes proprietary = Tlv(kDirectoryFile, HexAt(place, "sfis", identifiers));
    if (const std::optional<Place> further = Find(place, "fci"))
        AppendBytes(&proprietary, DataObjects(*further));
    environment.fileControlInformation =
        HexAt(place, "rawFci", FileControlInformation(environment.name, proprietary));
    return environment;
}

// The proximity environment lists the applications in its own FCI and has no files.
DedicatedFile ProximityEnvironment(const std::vector<ListedApplication> &applications)
{
    Bytes entries;
    for (const ListedApplication &application : applications)
        AppendTlv(&entries, kDirectoryEntry, EntryOf(application));
    DedicatedFile environment;
    environment.name = BytesFromText("2PAY.SYS.DDF01");
    environment.fileControlInformation =
        FileControlInformation(environment.name, Tlv(kFciDiscretionary, entries));
    return environment;
}

} // namespace

Bytes FileControlInformation(const Bytes &name, const Bytes &proprietary)
{
    Bytes contents = Tlv(kFileName, name);
    AppendTlv(&contents, kFciProprietary, proprietary);
    return Tlv(kFciTemplate, contents);
}

std::map<uint8_t, Bytes> BareRecords(const Place &place)
{
    return Records(place, DataObjects);
}

TripleDesKey Key(const Place &place)
{
    TripleDesKey key{};
    const Bytes bytes = Hex(place);
    if (bytes.size() == key.size())
        std::copy(bytes.begin(), bytes.end(), key.begin());
    else
        Expected(place, "a key of 32 hexadecimal digits");
    return key;
}

void ReadPbocDescription(const Place &description, PbocCard *card)
{
    if (!IsObjectOf(description, {"kind", "label", "atr", "inject", "t0", "blocked", "pse", "ppse",
                                  "applications", "getData", "random"}))
        return;
    card->speaksT0 = FlagAt(description, "t0", false);
    card->fixedRandom = HexAt(description, "random", {});
    card->isBlocked = FlagAt(description, "blocked", false);
    if (const std::optional<Place> objects = Find(description, "getData"))
        card->dataObjects = GetDataObjects(*objects);

    std::vector<ListedApplication> listed;
    std::vector<DedicatedFile> applications;
    const std::optional<Place> list = Find(description, "applications");
    if (list && IsArray(*list, "a list of applications"))
    {
        if (list->value->size() > 255)
            Complain(*list, "has more than 255 applications");
        for (size_t i = 0; i < list->value->size() && !Failed(description); ++i)
        {
            applications.push_back(Application(Element(*list, i)));
            listed.push_back(Listing(Element(*list, i)));
        }
    }

    const nlohmann::json usual = nlohmann::json::object();
    const Place pse = Find(description, "pse").value_or(Place{&usual, "pse", description.problem});
    const bool hasNone = pse.value->is_boolean() && !pse.value->get<bool>();
    if (!hasNone)
        card->dedicatedFiles.push_back(Environment(pse, listed));
    if (FlagAt(description, "ppse", false))
        card->dedicatedFiles.push_back(ProximityEnvironment(listed));
    for (DedicatedFile &application : applications)
        card->dedicatedFiles.push_back(std::move(application));
}

} // namespace vreader
