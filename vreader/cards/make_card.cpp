#include "vreader/cards/kinds.h"
#include "vreader/cards/memory_card.h"

#include <filesystem>

namespace vreader
{

Bytes PlainAnswerToReset()
{
    // 3B 68: TB1 and TC1 present, eight historical bytes; T=0 by default.
    return {0x3B, 0x68, 0x00, 0x00, 'V', 'A', 'N', 'T', 'O', 'R', '0', '1'};
}

namespace
{

constexpr size_t kLongestAnswerToReset = 250;

// Where the file names in a profile start: where that profile lies.
std::string HomeOf(const std::string &directory, const std::string &file)
{
    const std::filesystem::path path(file);
    if (!path.has_parent_path())
        return directory;
    return (std::filesystem::path(directory) / path.parent_path()).string();
}

} // namespace

std::shared_ptr<Card> MakeCardOfKind(const Place &description, const std::string &directory)
{
    if (!description.value->is_object())
    {
        Expected(description, "an object that describes a card");
        return nullptr;
    }
    const std::optional<Place> kind = Find(description, "kind");
    if (!kind)
    {
        Complain(description, "the key \"kind\" is missing (transcript, pboc, social-security, "
                              "mifare-classic, ultralight-c, hostile-memory, hostile or "
                              "reference)");
        return nullptr;
    }
    const std::string name = Text(*kind);
    if (name == "transcript")
        return MakeTranscriptCard(description, directory);
    if (name == "pboc")
        return MakePbocCard(description);
    if (name == "social-security")
        return MakeSocialSecurityCard(description);
    if (name == "hostile")
        return MakeHostileCard(description, directory);
    if (name == "reference")
        return MakeReferredCard(description, directory);
    if (IsMemoryKind(name))
        return MakeMemoryCard(name, description);
    Expected(*kind, "transcript, pboc, social-security, mifare-classic, ultralight-c, "
                    "hostile-memory, hostile or reference");
    return nullptr;
}

std::shared_ptr<Card> MakeReferredCard(const Place &description, const std::string &directory)
{
    if (!IsObjectOf(description, {"kind", "label", "atr", "inject", "file", "card"}))
        return nullptr;
    const std::optional<Place> file = Find(description, "file");
    const std::optional<Place> name = Find(description, "card");
    if (!file || !name)
    {
        Complain(description, "the keys \"file\" and \"card\" are needed");
        return nullptr;
    }
    const nlohmann::json profile = FileContents(*file, directory);
    const std::string cardName = Text(*name);
    if (Failed(description))
        return nullptr;
    const std::optional<Place> cards = Find({&profile, Text(*file), description.problem}, "cards");
    const std::optional<Place> card = cards ? Find(*cards, cardName.c_str()) : std::nullopt;
    if (!card)
    {
        Complain(*name, "\"" + Text(*file) + "\" has no card \"" + cardName + "\"");
        return nullptr;
    }
    // Cards that refer to each other, or wrap each other, would never end.
    const std::string kind = TextAt(*card, "kind", "");
    if (kind != "transcript" && kind != "pboc" && kind != "social-security")
        Complain(*name, "must refer to a transcript, pboc or social-security card, which \"" +
                            cardName + "\" is not");
    if (Failed(description))
        return nullptr;
    std::shared_ptr<Card> referred = MakeCardOfKind(*card, HomeOf(directory, Text(*file)));
    AddInjection(referred.get(), Find(*card, "inject"));
    referred->label = TextAt(description, "label", referred->label);
    referred->answerToReset = HexAt(description, "atr", referred->answerToReset);
    return referred;
}

std::shared_ptr<Card> MakeCard(const nlohmann::json &description, const std::string &directory,
                               std::string *error)
{
    std::string problem;
    const Place place{&description, "", &problem};
    std::shared_ptr<Card> card = MakeCardOfKind(place, directory);
    if (card && !Failed(place) && !card->memory) // memory cards know no status words
        AddInjection(card.get(), Find(place, "inject"));
    if (card && !Failed(place) && card->answerToReset.size() > kLongestAnswerToReset)
        Complain(place, "atr: is longer than 250 bytes");
    if (!Failed(place))
        return card;
    if (error != nullptr)
        *error = problem;
    return nullptr;
}

} // namespace vreader
