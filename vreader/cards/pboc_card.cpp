#include "vreader/cards/pboc_card.h"

#include "vreader/cards/command.h"

#include <algorithm>
#include <random>

namespace vreader
{

namespace
{

// The shortest name that may stand for a longer one: a registered application provider (RID).
constexpr size_t kShortestPartialName = 5;

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

bool HasOnline(const DedicatedFile &file)
{
    return file.online.has_value();
}

bool HasPurse(const DedicatedFile &file)
{
    return file.purse.has_value();
}

bool HasFiles(const DedicatedFile &file)
{
    return !file.elementaryFiles.empty();
}

bool HasPin(const DedicatedFile &file)
{
    return HasPurse(file) || (file.online && !file.online->pin.empty());
}

bool HasRandom(const DedicatedFile &file)
{
    return HasOnline(file) || HasPurse(file) || file.maintenanceKey.has_value();
}

bool HasElementaryFiles(const PbocCard &card)
{
    return std::any_of(card.dedicatedFiles.begin(), card.dedicatedFiles.end(), HasFiles);
}

// What the card session holds of its applications ends with the selection.
void LeaveSelection(PbocCard *card)
{
    card->selected.reset();
    card->currentFile.reset();
    card->challenge.clear();
    for (DedicatedFile &file : card->dedicatedFiles)
    {
        if (file.online)
            file.online->transaction = {};
        if (file.purse)
            file.purse->order = {};
        if (file.purse)
            file.purse->pinVerified = false;
    }
}

Bytes Select(PbocCard *card, const Command &command)
{
    constexpr uint8_t kByName = 0x04;
    constexpr uint8_t kFirst = 0x00;
    constexpr uint8_t kNext = 0x02;
    if (command.p1 != kByName && HasElementaryFiles(*card))
        return SelectElementaryFile(card, command);
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
        LeaveSelection(card);
        card->selected = i;
        return WithStatus(file.fileControlInformation, file.selectStatus);
    }
    return Status(card, 0x6A82);
}

Bytes ReadRecord(PbocCard *card, const Command &command)
{
    const DedicatedFile *selected = Selected(card);
    uint8_t fileIdentifier = command.p2 >> 3;
    if ((command.p2 & 0x07) != 0x04 || command.p1 == 0)
        return Status(card, 0x6A86); // only "the record whose number stands in P1"
    if (selected == nullptr)
        return Status(card, 0x6985, "nothing is selected");
    if (fileIdentifier == 0)
    {
        if (!card->currentFile)
            return Status(card, 0x6986, "there is no current file");
        const ElementaryFile &current = selected->elementaryFiles[*card->currentFile];
        if (current.isBinary)
            return Status(card, 0x6981, "the current file has no records");
        fileIdentifier = current.shortIdentifier;
    }
    const auto file = selected->files.find(fileIdentifier);
    if (file == selected->files.end())
        return Status(card, 0x6A82);
    const auto record = file->second.find(command.p1);
    if (record == file->second.end())
        return Status(card, 0x6A83);
    return WithStatus(record->second, 0x9000);
}

// The data in the command's 83 template; nothing when it is no such template.
std::optional<Bytes> TemplateData(const Bytes &data)
{
    if (data.size() < 2 || data[0] != 0x83)
        return std::nullopt;
    const size_t header = data[1] == 0x81 ? 3 : 2;
    if (data.size() < header || data[header - 1] != data.size() - header)
        return std::nullopt;
    return Bytes(data.begin() + static_cast<std::ptrdiff_t>(header), data.end());
}

Bytes GetProcessingOptions(PbocCard *card, const Command &command)
{
    DedicatedFile *selected = Selected(card);
    if (command.p1 != 0 || command.p2 != 0)
        return Status(card, 0x6A86);
    if (selected == nullptr || !selected->isApplication)
        return Status(card, 0x6985, "no application is selected");
    // With keys, a blocked application goes on, to decline whatever it is asked.
    if (selected->selectStatus != 0x9000 &&
        !(selected->online && selected->selectStatus == kApplicationBlocked))
        return Status(card, 0x6985, "the application is blocked");
    const std::optional<Bytes> data = TemplateData(command.data);
    if (selected->checksPdolLength)
    {
        if (!data)
            return Status(card, 0x6A80, "the command data is no template 83");
        if (data->size() != selected->pdolDataLength)
            return Status(card, 0x6985,
                          "the PDOL asks for " + std::to_string(selected->pdolDataLength) +
                              " bytes, the command has " + std::to_string(data->size()));
    }
    if (selected->online)
        return StartTransaction(card, selected, data.value_or(Bytes{}));
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

// 4 or 8 bytes, kept for the MAC of the command that follows.
Bytes GetChallenge(PbocCard *card, const Command &command)
{
    if (command.p1 != 0 || command.p2 != 0)
        return Status(card, 0x6A86);
    if (!command.data.empty() || !command.hasLe || (command.le != 4 && command.le != 8))
        return Status(card, 0x6700, "a challenge has 4 or 8 bytes");
    card->challenge = RandomBytes(card, command.le);
    return WithStatus(card->challenge, 0x9000);
}

Bytes Verify(PbocCard *card, const Command &command)
{
    const DedicatedFile *selected = Selected(card);
    const bool isPurse = selected != nullptr && selected->purse;
    return isPurse ? VerifyPursePin(card, command) : VerifyCardholderPin(card, command);
}

struct Instruction
{
    uint8_t cla;
    uint8_t ins;
    Bytes (*answer)(PbocCard *card, const Command &command);
    bool (*has)(
        const DedicatedFile &file); // which application brings the command; null: every card
};

constexpr Instruction kInstructions[] = {
    {0x00, 0xA4, Select, nullptr},
    {0x00, 0xB2, ReadRecord, nullptr},
    {0x80, 0xA8, GetProcessingOptions, nullptr},
    {0x80, 0xCA, GetData, nullptr},
    {0x80, 0xAE, GenerateCryptogram, HasOnline},
    {0x00, 0x82, AuthenticateIssuer, HasOnline},
    {0x84, 0x16, RunScriptCommand, HasOnline}, // CARD BLOCK
    {0x84, 0x18, RunScriptCommand, HasOnline}, // APPLICATION UNBLOCK
    {0x84, 0x1E, RunScriptCommand, HasOnline}, // APPLICATION BLOCK
    {0x84, 0x24, RunScriptCommand, HasOnline}, // PIN CHANGE/UNBLOCK
    {0x04, 0xDA, RunScriptCommand, HasOnline}, // PUT DATA
    {0x00, 0x84, GetChallenge, HasRandom},
    {0x00, 0x20, Verify, HasPin},
    {0x80, 0x5C, GetBalance, HasPurse},
    {0x80, 0x50, InitializePurse, HasPurse},
    {0x80, 0x52, CompletePurse, HasPurse}, // CREDIT FOR LOAD as the standard numbers it
    {0x80, 0x54, CompletePurse, HasPurse}, // CREDIT FOR LOAD (P1 00), DEBIT FOR PURCHASE (P1 01)
    {0x00, 0xB0, ReadBinary, HasFiles},
    {0x00, 0xD6, UpdateBinary, HasFiles},
    {0x04, 0xD6, UpdateBinary, HasFiles},
};

// The purse forgets the first command of a transaction unless the second follows at once.
void DropPurseOrder(PbocCard *card, uint8_t ins)
{
    DedicatedFile *selected = Selected(card);
    if (selected != nullptr && selected->purse && ins != 0x52 && ins != 0x54)
        selected->purse->order = {};
}

Bytes Answer(PbocCard *card, const Command &command)
{
    bool knowsClass = false;
    bool knowsInstruction = false;
    DropPurseOrder(card, command.ins);
    for (const Instruction &instruction : kInstructions)
    {
        if (instruction.has != nullptr &&
            std::none_of(card->dedicatedFiles.begin(), card->dedicatedFiles.end(), instruction.has))
            continue;
        const bool isClass = instruction.cla == command.cla;
        const bool isInstruction = instruction.ins == command.ins;
        knowsClass = knowsClass || isClass;
        knowsInstruction = knowsInstruction || isInstruction;
        if (!isClass || !isInstruction)
            continue;
        const DedicatedFile *selected = Selected(card);
        if (instruction.has != nullptr && (selected == nullptr || !instruction.has(*selected)))
            return Status(card, 0x6985, "the selected application does not have this command");
        const Bytes answer = instruction.answer(card, command);
        // A challenge serves the one command behind it.
        if (command.ins != 0x84)
            card->challenge.clear();
        return answer;
    }
    // Known in another class is a wrong class; so is a class that nothing is known in.
    return Status(card, !knowsClass || knowsInstruction ? 0x6E00 : 0x6D00);
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
    LeaveSelection(card);
    card->pending.clear();
    card->remark.clear();
}

} // namespace

Bytes Status(PbocCard *card, uint16_t statusWord, const std::string &why)
{
    card->remark = why;
    return WithStatus({}, statusWord);
}

DedicatedFile *Selected(PbocCard *card)
{
    return card->selected ? &card->dedicatedFiles[*card->selected] : nullptr;
}

Bytes RandomBytes(const PbocCard *card, size_t count)
{
    Bytes bytes;
    std::random_device device;
    while (bytes.size() < count)
    {
        const size_t at = bytes.size();
        bytes.push_back(card->fixedRandom.empty()
                            ? static_cast<uint8_t>(device())
                            : card->fixedRandom[at % card->fixedRandom.size()]);
    }
    return bytes;
}

void EnterRecord(DedicatedFile *file, uint8_t identifier, unsigned limit, const Bytes &record)
{
    if (limit == 0)
        return;
    std::map<uint8_t, Bytes> entered;
    entered[1] = record;
    for (const auto &[number, older] : file->files[identifier])
    {
        if (number < limit && number < 0xFF)
            entered[static_cast<uint8_t>(number + 1)] = older;
    }
    file->files[identifier] = std::move(entered);
}

std::shared_ptr<Card> WrapPbocCard(const Place &description, std::shared_ptr<PbocCard> pboc,
                                   const char *kind, const char *usualLabel)
{
    const auto card = std::make_shared<Card>();
    card->kind = kind;
    card->label = TextAt(description, "label", usualLabel);
    card->answerToReset = HexAt(description, "atr", PlainAnswerToReset());
    card->powerOn = [pboc] { StartSession(pboc.get()); };
    card->powerOff = [pboc] { StartSession(pboc.get()); };
    card->transmit = [pboc](const Bytes &command) { return Transmit(pboc.get(), command); };
    card->remark = [pboc] { return pboc->remark; };
    return card;
}

std::shared_ptr<Card> MakePbocCard(const Place &description)
{
    const auto pboc = std::make_shared<PbocCard>();
    ReadPbocDescription(description, pboc.get());
    return WrapPbocCard(description, pboc, "pboc", "PBOC card");
}

} // namespace vreader
