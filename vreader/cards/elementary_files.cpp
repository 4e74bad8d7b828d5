#include "vreader/cards/elementary_files.h"

#include "vreader/cards/pboc_card.h"

#include <algorithm>

namespace vreader
{

namespace
{

constexpr uint8_t kNamesFile = 0x80; // in P1 of the binary commands: the low five bits are an SFI
constexpr size_t kMacSize = 4;
constexpr size_t kLargestFile = 255 + 255; // the last byte that an offset in P2 and Lc can reach

// The file that a binary command means and the offset in it; null and a status word otherwise.
struct BinaryPlace
{
    ElementaryFile *file = nullptr;
    size_t offset = 0;
    uint16_t problem = 0x9000;
};

BinaryPlace PlaceOf(PbocCard *card, const Command &command)
{
    BinaryPlace place;
    std::vector<ElementaryFile> *files = &Selected(card)->elementaryFiles;
    if ((command.p1 & kNamesFile) == 0)
    {
        place.offset = static_cast<size_t>(command.p1 << 8 | command.p2);
        place.problem = card->currentFile ? 0x9000 : 0x6986;
        place.file = card->currentFile ? &(*files)[*card->currentFile] : nullptr;
    }
    else
    {
        place.offset = command.p2;
        const uint8_t identifier = command.p1 & 0x1F;
        const auto found = std::find_if(files->begin(), files->end(),
                                        [identifier](const ElementaryFile &file)
                                        { return file.shortIdentifier == identifier; });
        place.problem = found == files->end() ? 0x6A82 : 0x9000;
        place.file = found == files->end() ? nullptr : &*found;
    }
    if (place.file != nullptr && !place.file->isBinary)
        place.problem = 0x6981;
    return place;
}

bool HasRightMac(const PbocCard &card, const TripleDesKey &key, const Command &command)
{
    const auto macAt = command.data.end() - kMacSize;
    Bytes input = command.data;
    input.resize(input.size() - kMacSize);
    const std::array<uint8_t, 5> header = {command.cla, command.ins, command.p1, command.p2,
                                           static_cast<uint8_t>(command.data.size())};
    input.insert(input.begin(), header.begin(), header.end());
    Block start{};
    std::copy_n(card.challenge.begin(), std::min(card.challenge.size(), start.size()),
                start.begin());
    const Block mac = RetailMac(key, input, start);
    return std::equal(mac.begin(), mac.begin() + kMacSize, macAt);
}

ElementaryFile File(const Place &place, uint16_t identifier, DedicatedFile *dedicated)
{
    ElementaryFile file;
    file.identifier = identifier;
    if (!IsObjectOf(place, {"sfi", "binary", "records", "secured"}))
        return file;
    const unsigned usual = identifier & 0x1F;
    file.shortIdentifier = static_cast<uint8_t>(NumberAt(place, "sfi", 1, 30, usual));
    file.isSecured = FlagAt(place, "secured", false);
    const std::optional<Place> binary = Find(place, "binary");
    const std::optional<Place> records = Find(place, "records");
    file.isBinary = binary.has_value();
    if (binary.has_value() == records.has_value())
        Complain(place, "needs either \"binary\" or \"records\"");
    else if (binary)
        file.contents = Value(*binary);
    else
        dedicated->files[file.shortIdentifier] = BareRecords(*records);
    if (file.contents.size() > kLargestFile)
        Complain(place, "is longer than 510 bytes");
    if (file.shortIdentifier == 0 || file.shortIdentifier > 30)
        Complain(place, "needs \"sfi\", since its identifier does not give one");
    if (file.isSecured && !dedicated->maintenanceKey)
        Complain(place, "is secured, but the application has no \"maintenanceKey\"");
    return file;
}

} // namespace

void ReadElementaryFiles(const Place &place, DedicatedFile *file)
{
    if (!place.value->is_object())
    {
        Expected(place, "files as {\"IDENTIFIER\": {\"binary\" or \"records\"}}");
        return;
    }
    for (const auto &[key, value] : place.value->items())
    {
        (void)value;
        if (key == "note")
            continue;
        std::string digits = key;
        if (digits.compare(0, 2, "EF") != 0)
            digits.clear();
        const std::optional<Bytes> identifier = BytesFromHex(digits);
        if (!identifier || identifier->size() != 2)
        {
            Complain(Below(place, key), "is no file identifier such as \"EF05\"");
            return;
        }
        file->elementaryFiles.push_back(
            File(Below(place, key), static_cast<uint16_t>(0xEF00 | (*identifier)[1]), file));
    }
}

Bytes SelectElementaryFile(PbocCard *card, const Command &command)
{
    constexpr uint8_t kByIdentifier = 0x00;
    constexpr uint8_t kBelowSelected = 0x02;
    if ((command.p1 != kByIdentifier && command.p1 != kBelowSelected) || command.p2 != 0)
        return Status(card, 0x6A86);
    if (card->isBlocked)
        return Status(card, 0x6A81, "the card is blocked");
    if (command.data.size() != 2)
        return Status(card, 0x6700, "a file identifier has two bytes");
    const DedicatedFile *selected = Selected(card);
    if (selected == nullptr)
        return Status(card, 0x6A82, "nothing is selected in which the file could lie");
    for (size_t i = 0; i < selected->elementaryFiles.size(); ++i)
    {
        const uint16_t identifier = selected->elementaryFiles[i].identifier;
        const Bytes name = {static_cast<uint8_t>(identifier >> 8),
                            static_cast<uint8_t>(identifier)};
        if (name != command.data)
            continue;
        card->currentFile = i;
        return WithStatus(Tlv(0x6F, Tlv(0x83, name)), 0x9000);
    }
    return Status(card, 0x6A82);
}

Bytes ReadBinary(PbocCard *card, const Command &command)
{
    const BinaryPlace place = PlaceOf(card, command);
    if (place.problem != 0x9000)
        return Status(card, place.problem);
    if (!command.data.empty())
        return Status(card, 0x6700);
    const Bytes &contents = place.file->contents;
    if (place.offset >= contents.size() && place.offset != 0)
        return Status(card, 0x6B00, "the file ends before that");
    const size_t left = contents.size() - place.offset;
    const size_t wanted =
        !command.hasLe || command.le == 0 ? std::min<size_t>(left, 256) : command.le;
    if (wanted > left)
        return Status(card, static_cast<uint16_t>(0x6C00 | left), "the file ends before that");
    const auto start = contents.begin() + static_cast<std::ptrdiff_t>(place.offset);
    return WithStatus(Bytes(start, start + static_cast<std::ptrdiff_t>(wanted)), 0x9000);
}

Bytes UpdateBinary(PbocCard *card, const Command &command)
{
    constexpr uint8_t kSecured = 0x04;
    const BinaryPlace place = PlaceOf(card, command);
    if (place.problem != 0x9000)
        return Status(card, place.problem);
    const bool hasMac = command.cla == kSecured;
    const std::optional<TripleDesKey> &key = Selected(card)->maintenanceKey;
    if (!hasMac && place.file->isSecured)
        return Status(card, 0x6982, "the file is written with a MAC only");
    if (command.data.size() <= (hasMac ? kMacSize : 0))
        return Status(card, 0x6700, "no data to write");
    if (hasMac && !key)
        return Status(card, 0x6882, "this application has no key for a MAC");
    if (hasMac && card->challenge.empty())
        return Status(card, 0x6984, "GET CHALLENGE goes first");
    if (hasMac && !HasRightMac(*card, *key, command))
        return Status(card, 0x6988, "the MAC is wrong");
    const size_t length = command.data.size() - (hasMac ? kMacSize : 0);
    Bytes *contents = &place.file->contents;
    if (place.offset > contents->size() || length > contents->size() - place.offset)
        return Status(card, 0x6A84, "the file ends before that");
    std::copy_n(command.data.begin(), length,
                contents->begin() + static_cast<std::ptrdiff_t>(place.offset));
    return Status(card, 0x9000);
}

} // namespace vreader
