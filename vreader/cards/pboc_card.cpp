#include "vreader/cards/pboc_card.h"

#include "vreader/cards/command.h"

#include <algorithm>

namespace vreader
{

namespace
{

// The shortest name that may stand for a longer one: a registered application provider (RID).
constexpr size_t kShortestPartialName = 5;

Bytes Status(PbocCard *card, uint16_t statusWord, const std::string &why = "")
{
    card->remark = why;
    return WithStatus({}, statusWord);
}

bool Matches(const Bytes &name, const Bytes &wanted)
{
    if (name == wanted)
        return true;
    return wanted.size() >= kShortestPartialName && wanted.size() < name.size() &&
           std::equal(wanted.begin(), wanted.end(), name.begin());
}

bool IsWarning(uint16_t statusWord)
{
    return statusWord >> 8 == 0x62 || statusWord >> 8 == 0x63;
}

Bytes Select(PbocCard *card, const Command &command)
{
    constexpr uint8_t kByName = 0x04;
    constexpr uint8_t kFirst = 0x00;
    constexpr uint8_t kNext = 0x02;
    if (command.p1 != kByName || (command.p2 != kFirst && command.p2 != kNext))
        return Status(card, 0x6A86);
    if (card->isBlocked)
        return Status(card, 0x6A81, "the card is blocked");
    const bool goesOn = command.p2 == kNext && card->selected.has_value();
    for (size_t i = goesOn ? *card->selected + 1 : 0; i < card->dedicatedFiles.size(); ++i)
    {
        const DedicatedFile &file = card->dedicatedFiles[i];
        if (!Matches(file.name, command.data))
            continue;
        if (file.selectStatus != 0x9000 && !IsWarning(file.selectStatus))
            return Status(card, file.selectStatus);
        card->selected = i;
        return WithStatus(file.fileControlInformation, file.selectStatus);
    }
    return Status(card, 0x6A82);
}

const DedicatedFile *Selected(const PbocCard *card)
{
    return card->selected ? &card->dedicatedFiles[*card->selected] : nullptr;
}

Bytes ReadRecord(PbocCard *card, const Command &command)
{
    const DedicatedFile *selected = Selected(card);
    const uint8_t fileIdentifier = command.p2 >> 3;
    if ((command.p2 & 0x07) != 0x04 || command.p1 == 0)
        return Status(card, 0x6A86); // only "the record whose number stands in P1"
    if (selected == nullptr)
        return Status(card, 0x6985, "nothing is selected");
    if (fileIdentifier == 0)
        return Status(card, 0x6986, "there is no current file");
    const auto file = selected->files.find(fileIdentifier);
    if (file == selected->files.end())
        return Status(card, 0x6A82);
    const auto record = file->second.find(command.p1);
    if (record == file->second.end())
        return Status(card, 0x6A83);
    return WithStatus(record->second, 0x9000);
}

// The length of the data in the command's 83 template; nothing when it is no such template.
std::optional<size_t> TemplateDataLength(const Bytes &data)
{
    if (data.size() < 2 || data[0] != 0x83)
        return std::nullopt;
    const size_t header = data[1] == 0x81 ? 3 : 2;
    if (data.size() < header || data[header - 1] != data.size() - header)
        return std::nullopt;
    return data.size() - header;
}

Bytes GetProcessingOptions(PbocCard *card, const Command &command)
{
    const DedicatedFile *selected = Selected(card);
    if (command.p1 != 0 || command.p2 != 0)
        return Status(card, 0x6A86);
    if (selected == nullptr || !selected->isApplication)
        return Status(card, 0x6985, "no application is selected");
    if (selected->selectStatus != 0x9000)
        return Status(card, 0x6985, "the application is blocked");
    if (selected->checksPdolLength)
    {
        const std::optional<size_t> length = TemplateDataLength(command.data);
        if (!length)
            return Status(card, 0x6A80, "the command data is no template 83");
        if (*length != selected->pdolDataLength)
            return Status(card, 0x6985,
                          "the PDOL asks for " + std::to_string(selected->pdolDataLength) +
                              " bytes, the command has " + std::to_string(*length));
    }
    return WithStatus(selected->processingOptions, 0x9000);
}

Bytes GetData(PbocCard *card, const Command &command)
{
    const Tag tag = static_cast<Tag>(command.p1 << 8 | command.p2);
    const DedicatedFile *selected = Selected(card);
    if (selected != nullptr)
    {
        const auto object = selected->dataObjects.find(tag);
        if (object != selected->dataObjects.end())
            return WithStatus(Tlv(tag, object->second), 0x9000);
    }
    const auto object = card->dataObjects.find(tag);
    if (object != card->dataObjects.end())
        return WithStatus(Tlv(tag, object->second), 0x9000);
    return Status(card, 0x6A88);
}

struct Instruction
{
    uint8_t cla;
    uint8_t ins;
    Bytes (*answer)(PbocCard *card, const Command &command);
};

constexpr Instruction kInstructions[] = {
    {0x00, 0xA4, Select},
    {0x00, 0xB2, ReadRecord},
    {0x80, 0xA8, GetProcessingOptions},
    {0x80, 0xCA, GetData},
};

Bytes Answer(PbocCard *card, const Command &command)
{
    if (command.cla != 0x00 && command.cla != 0x80)
        return Status(card, 0x6E00);
    uint16_t failure = 0x6D00;
    for (const Instruction &instruction : kInstructions)
    {
        if (instruction.ins != command.ins)
            continue;
        if (instruction.cla == command.cla)
            return instruction.answer(card, command);
        failure = 0x6E00; // known, but not in this class
    }
    return Status(card, failure);
}

Bytes LengthStatus(uint8_t status, size_t length)
{
    return {status, static_cast<uint8_t>(std::min<size_t>(length, 256))};
}

// Gives the next `count` bytes of what is pending; 61xx tells what is left.
Bytes GivePending(PbocCard *card, size_t count)
{
    const auto end = card->pending.begin() + static_cast<std::ptrdiff_t>(count);
    Bytes data(card->pending.begin(), end);
    card->pending.erase(card->pending.begin(), end);
    if (card->pending.empty())
        return WithStatus(std::move(data), 0x9000);
    AppendBytes(&data, LengthStatus(0x61, card->pending.size()));
    return data;
}

Bytes GetResponse(PbocCard *card, const Command &command)
{
    if (card->pending.empty())
        return Status(card, 0x6985, "no response is waiting");
    const size_t wanted = command.le == 0 ? 256 : command.le;
    if (wanted > card->pending.size())
        return LengthStatus(0x6C, card->pending.size());
    return GivePending(card, wanted);
}

// On the T=0 line a command either sends data or fetches it, and fetches exactly what is there.
Bytes AnswerT0(PbocCard *card, const Command &command)
{
    constexpr uint8_t kGetResponse = 0xC0;
    if (command.cla == 0x00 && command.ins == kGetResponse)
        return GetResponse(card, command);
    card->pending.clear();
    const Bytes response = Answer(card, command);
    if (response.size() == 2)
        return response;
    card->pending.assign(response.begin(), response.end() - 2);
    if (response[response.size() - 2] != 0x90)
        return Bytes(response.end() - 2, response.end());
    const size_t available = std::min<size_t>(card->pending.size(), 256);
    if (!command.data.empty() || !command.hasLe)
        return LengthStatus(0x61, available);
    if (static_cast<uint8_t>(available) == command.le)
        return GivePending(card, available);
    card->pending.clear();
    return LengthStatus(0x6C, available);
}

Bytes Transmit(PbocCard *card, const Bytes &bytes)
{
    card->remark.clear();
    const std::optional<Command> command = ParseCommand(bytes);
    if (!command)
        return Status(card, 0x6700, "the command's lengths contradict each other");
    return card->speaksT0 ? AnswerT0(card, *command) : Answer(card, *command);
}

void StartSession(PbocCard *card)
{
    card->selected.reset();
    card->pending.clear();
    card->remark.clear();
}

} // namespace

std::shared_ptr<Card> MakePbocCard(const Place &description)
{
    const auto card = std::make_shared<Card>();
    const auto pboc = std::make_shared<PbocCard>();
    ReadPbocDescription(description, pboc.get());
    card->kind = "pboc";
    card->label = TextAt(description, "label", "PBOC card");
    card->answerToReset = HexAt(description, "atr", PlainAnswerToReset());
    card->powerOn = [pboc] { StartSession(pboc.get()); };
    card->powerOff = [pboc] { StartSession(pboc.get()); };
    card->transmit = [pboc](const Bytes &command) { return Transmit(pboc.get(), command); };
    card->remark = [pboc] { return pboc->remark; };
    return card;
}

} // namespace vreader
