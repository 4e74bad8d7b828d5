#include "vreader/profile.h"

#include "vreader/cards/profile_files.h"
#include "vreader/cards/tlv.h"
#include "vreader/embedded_files.h"
#include "vreader/profile_memory.h"
#include "vreader/profile_modules.h"
#include "vreader/words.h"

#include <algorithm>
#include <filesystem>
#include <mutex>

namespace vreader
{

namespace
{

using nlohmann::json;

constexpr char kSuffix[] = ".json";
// Status, mark, 14 bytes, length byte and text must fit a host's 256-byte wire buffer.
constexpr size_t kRecordInformationLimit = 105;

void KnowBuiltInFiles()
{
    static std::once_flag once;
    std::call_once(once, [] { RegisterEmbeddedFiles(kEmbeddedFiles, kEmbeddedFileCount); });
}

std::optional<json> ParseJson(const std::string &text, const std::string &what, std::string *error)
{
    try
    {
        return json::parse(text);
    }
    catch (const json::exception &problem) // a number beyond all range is no parse error
    {
        *error = what + ": " + problem.what();
        return std::nullopt;
    }
}

// Every key must be known, so that a slip of the pen in a profile is told and not passed over.
bool KnownKeysOnly(const json &object, const std::string &path,
                   std::initializer_list<const char *> known, std::string *error)
{
    if (!object.is_object())
    {
        *error = path + " must be an object";
        return false;
    }
    for (const auto &item : object.items())
    {
        const bool found = std::any_of(known.begin(), known.end(),
                                       [&](const char *key) { return item.key() == key; });
        if (!found)
        {
            *error = path + ": unknown key \"" + item.key() + "\"";
            return false;
        }
    }
    return true;
}

// Leaves `value` as it is when the key is absent.
bool ReadText(const json &object, const std::string &path, const char *key, std::string *value,
              std::string *error)
{
    if (!object.contains(key))
        return true;
    if (!object[key].is_string())
    {
        *error = path + "." + key + " must be a text";
        return false;
    }
    *value = object[key].get<std::string>();
    return true;
}

bool ReadSettings(const json &settings, Reader *reader, std::string *error)
{
    std::string serial;
    std::string speaks = "both";
    std::string form = "plain";
    std::string modeAnswer = HexText(reader->modeAnswer);
    if (!KnownKeysOnly(settings, "reader",
                       {"information", "informationForm", "serial", "speaks", "modeAnswer",
                        "identityModule", "fingerprintCommand", "emptyTrack", "firstSector",
                        "note"},
                       error) ||
        !ReadText(settings, "reader", "information", &reader->information, error) ||
        !ReadText(settings, "reader", "informationForm", &form, error) ||
        !ReadText(settings, "reader", "serial", &serial, error) ||
        !ReadText(settings, "reader", "speaks", &speaks, error) ||
        !ReadText(settings, "reader", "modeAnswer", &modeAnswer, error))
        return false;

    const std::optional<Bytes> answer = BytesFromHex(modeAnswer);
    const size_t limit = form == "record" ? kRecordInformationLimit : kInformationLimit;
    if (form != "plain" && form != "record")
        *error = "reader.informationForm must be \"plain\" or \"record\"";
    else if (reader->information.empty() || reader->information.size() > limit)
        *error = "reader.information must have 1 to " + std::to_string(limit) + " bytes";
    else if (serial.size() > kSerialSize)
        *error = "reader.serial must have at most 32 bytes";
    else if (!SetSpeaking(reader, speaks))
        *error = "reader.speaks must be \"krel\", \"union\", \"both\" or \"none\"";
    else if (!answer || answer->size() > 2)
        *error = "reader.modeAnswer must be at most two bytes in hexadecimal";
    if (!error->empty())
        return false;
    if (!ReadMemorySettings(settings, reader, error))
        return false;
    reader->informationForm = form == "record" ? InformationForm::record : InformationForm::plain;
    reader->modeAnswer = *answer;
    reader->serial = BytesFromText(serial);
    reader->serial.resize(kSerialSize, 0);
    return ReadModuleSettings(settings, reader, error);
}

bool PutCard(Profile *profile, const Reader &reader, const json &name, const std::string &path,
             CardPlace *place, std::string *error)
{
    if (!name.is_string())
    {
        *error = path + " must be the name of a card";
        return false;
    }
    std::string problem;
    place->name = name.get<std::string>();
    place->card = CardByName(profile, reader, place->name, &problem);
    if (!place->card)
        *error = path + ": " + problem;
    return place->card != nullptr;
}

bool PutContactCards(Profile *profile, const json &contact, Reader *reader, std::string *error)
{
    if (contact.is_string())
        return PutCard(profile, *reader, contact, "contact", &reader->contact[0], error);
    if (!contact.is_object())
    {
        *error = "contact must be the name of a card, or an object from slots to names";
        return false;
    }
    for (const auto &item : contact.items())
    {
        const std::string path = "contact." + item.key();
        const std::optional<unsigned long> slot = Number(item.key(), 0, kContactSlots - 1);
        if (!slot)
        {
            *error = path + ": slots are 0 to 31";
            return false;
        }
        if (!PutCard(profile, *reader, item.value(), path,
                     &reader->contact[static_cast<unsigned>(*slot)], error))
            return false;
    }
    return true;
}

bool FindProfile(const std::string &nameOrPath, Profile *profile, std::string *text,
                 std::string *error)
{
    profile->name = nameOrPath.empty() ? "default" : nameOrPath;
    if (std::optional<std::string> builtIn = BuiltInProfileText(profile->name))
    {
        profile->directory.clear();
        *text = *builtIn;
        return true;
    }
    const std::filesystem::path path = std::filesystem::path(profile->name);
    profile->directory = path.has_parent_path() ? path.parent_path().string() : ".";
    const std::filesystem::path name = path.filename();
    // Asked first, since a name that is no file here would be looked for among the built-in ones.
    std::error_code problem;
    const bool exists = std::filesystem::is_regular_file(path, problem);
    const std::optional<std::string> read =
        exists ? ReadProfileFile(profile->directory, name.string()) : std::nullopt;
    if (!read)
    {
        *error = "no profile \"" + profile->name + "\": neither built in nor a readable file";
        return false;
    }
    *text = *read;
    return true;
}

bool LiesIn(const Reader &reader, const std::shared_ptr<Card> &card)
{
    return reader.contactless.card == card ||
           std::any_of(reader.contact.begin(), reader.contact.end(),
                       [&card](const auto &slot) { return slot.second.card == card; });
}

} // namespace

bool LoadProfile(const std::string &nameOrPath, const std::string &text, Profile *profile,
                 Reader *reader, std::string *error)
{
    KnowBuiltInFiles();
    error->clear();
    std::string source = text;
    profile->name = "given text";
    profile->directory = ".";
    if (text.empty() && !FindProfile(nameOrPath, profile, &source, error))
        return false;
    const std::optional<json> document = ParseJson(source, "profile " + profile->name, error);
    if (!document)
        return false;
    if (!KnownKeysOnly(*document, "profile",
                       {"description", "note", "reader", "cards", "contact", "contactless",
                        "identityCards", "identity", "magneticCards", "swipes"},
                       error))
        return false;
    if (document->contains("reader") && !ReadSettings((*document)["reader"], reader, error))
        return false;
    if (document->contains("cards"))
        profile->cards = (*document)["cards"];
    if (!profile->cards.is_object())
        *error = "cards must be an object from names to descriptions";
    else if (document->contains("contact"))
        PutContactCards(profile, (*document)["contact"], reader, error);
    if (error->empty() && document->contains("contactless"))
        PutCard(profile, *reader, (*document)["contactless"], "contactless", &reader->contactless,
                error);
    if (error->empty())
        ReadModuleCards(*document, profile, reader, error);
    return error->empty();
}

std::shared_ptr<Card> CardByName(Profile *profile, const Reader &reader,
                                 const std::string &nameOrJson, std::string *error)
{
    if (!nameOrJson.empty() && nameOrJson[0] == '{')
    {
        const std::optional<json> description = ParseJson(nameOrJson, "card", error);
        const std::string directory = profile->directory.empty() ? "." : profile->directory;
        return description ? MakeCard(*description, directory, error) : nullptr;
    }
    if (!profile->cards.contains(nameOrJson))
    {
        *error = "no card \"" + nameOrJson + "\" in the profile";
        return nullptr;
    }
    std::shared_ptr<Card> *kept = &profile->kept[nameOrJson];
    if (*kept && !LiesIn(reader, *kept))
        return *kept;
    std::shared_ptr<Card> card = MakeCard(profile->cards[nameOrJson], profile->directory, error);
    if (!card)
        *error = "card \"" + nameOrJson + "\": " + *error;
    if (!*kept)
        *kept = card;
    return card;
}

std::vector<BuiltInProfile> BuiltInProfiles()
{
    KnowBuiltInFiles();
    std::vector<BuiltInProfile> profiles;
    for (size_t i = 0; i < kEmbeddedFileCount; ++i)
    {
        const std::string file = kEmbeddedFiles[i].name;
        if (file.find('/') != std::string::npos)
            continue; // what profiles refer to
        BuiltInProfile profile;
        profile.name = file.substr(0, file.size() - (sizeof kSuffix - 1));
        const std::string text(kEmbeddedFiles[i].data, kEmbeddedFiles[i].size);
        const json document = json::parse(text, nullptr, false);
        if (document.is_object() && document.contains("description") &&
            document["description"].is_string())
            profile.description = document["description"].get<std::string>();
        profiles.push_back(profile);
    }
    return profiles;
}

std::optional<std::string> BuiltInProfileText(const std::string &name)
{
    KnowBuiltInFiles();
    if (name.find('/') != std::string::npos)
        return std::nullopt;
    return ReadProfileFile("", name + kSuffix);
}

bool SetSpeaking(Reader *reader, const std::string &word)
{
    if (word != "krel" && word != "union" && word != "both" && word != "none")
        return false;
    reader->speaksKrel = word == "krel" || word == "both";
    reader->speaksUnion = word == "union" || word == "both";
    return true;
}

std::string SpeakingText(const Reader &reader)
{
    if (reader.speaksKrel)
        return reader.speaksUnion ? "both" : "krel";
    return reader.speaksUnion ? "union" : "none";
}

} // namespace vreader
