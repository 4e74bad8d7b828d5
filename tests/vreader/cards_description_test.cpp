// Descriptions of cards: what is accepted, and what a wrong one says.
#include "cards_support.h"

#include "vreader/cards/profile_files.h"

#include <fstream>

using cards_test::CardOf;
using cards_test::ErrorOf;
using cards_test::Send;

namespace
{

// The mistake in a PBOC card whose only application has these keys beside its name.
std::string ApplicationError(const std::string &keys)
{
    return ErrorOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101", )" + keys +
                   "}]}");
}

// The first bytes of the record with these data objects, and its status word.
std::string RecordOf(const std::string &objects)
{
    const auto card = CardOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333010101",
        "records": {"1": [)" +
                             objects + "]}}]}");
    Send(card, "00A4040008A000000333010101");
    return Send(card, "00B2010C00");
}

void CollectPlaces(const nlohmann::json &value, const nlohmann::json::json_pointer &place,
                   std::vector<nlohmann::json::json_pointer> *places)
{
    places->push_back(place);
    if (!value.is_structured())
        return;
    for (const auto &item : value.items())
    {
        const auto below = value.is_array() ? place / std::stoul(item.key()) : place / item.key();
        CollectPlaces(item.value(), below, places);
    }
}

} // namespace

TEST(CardDescription, KindIsNeeded)
{
    EXPECT_EQ(ErrorOf("{}"),
              "the description: the key \"kind\" is missing (transcript, pboc, social-security, "
              "mifare-classic, ultralight-c, hostile-memory, hostile or reference)");
    EXPECT_EQ(ErrorOf(R"({"kind": "magic"})"),
              "kind: expected transcript, pboc, social-security, mifare-classic, ultralight-c, "
              "hostile-memory, hostile or reference, found \"magic\"");
    EXPECT_EQ(ErrorOf(R"({"kind": 1})"), "kind: expected a text, found 1");
    EXPECT_EQ(ErrorOf("[]"),
              "the description: expected an object that describes a card, found an array");
    EXPECT_EQ(ErrorOf("null"),
              "the description: expected an object that describes a card, found null");
}

TEST(CardDescription, ErrorTextIsOptional)
{
    EXPECT_EQ(vreader::MakeCard(nlohmann::json::object(), "", nullptr), nullptr);
}

TEST(CardDescription, CommonKeysAreChecked)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "atr": "3B0"})"),
              "atr: expected hexadecimal digits in pairs, found \"3B0\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "label": []})"),
              "label: expected a text, found an array");
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "atr": ")" + std::string(502, '0') + "\"}"),
              "the description: atr: is longer than 250 bytes");
    EXPECT_EQ(
        ErrorOf(R"({"kind": "pboc", "colour": 1})"),
        "colour: unknown key; known here are kind, label, atr, inject, t0, blocked, pse, ppse, "
        "applications, getData, random");
}

TEST(CardDescription, AnswerToResetAndLabelAreTaken)
{
    const auto card = CardOf(R"({"kind": "pboc", "atr": "3b 02 14 50", "label": "card of mine"})");
    EXPECT_EQ(cards_test::Hex(card->answerToReset), "3B021450");
    EXPECT_EQ(card->label, "card of mine");
    EXPECT_EQ(CardOf(R"({"kind": "pboc", "atr": ""})")->answerToReset.size(), 0u);
    EXPECT_EQ(CardOf(R"({"kind": "pboc", "atr": ")" + std::string(500, '0') + "\"}")
                  ->answerToReset.size(),
              250u);
}

TEST(CardDescription, NotesAreAllowedEverywhere)
{
    EXPECT_EQ(RecordOf(R"({"5A": "62", "note": "a remark"})"), "70035A01629000");
    CardOf(R"({"kind": "pboc", "note": "n", "pse": {"note": "n"}, "getData": {"note": "n"},
        "inject": [{"sw": "9000", "note": "n"}],
        "applications": [{"aid": "A000000333", "note": "n", "records": {"note": "n", "1": {"note": "n"}},
            "gpo": {"note": "n"}, "log": {"note": "n", "records": {"note": "n"}}}]})");
}

TEST(CardDescription, DataObjectsInAnObjectAreOrderedByTag)
{
    EXPECT_EQ(RecordOf(R"({"5F24": "301231", "5A": "62", "57": "63"})"),
              "700C5701635A01625F24033012319000");
}

TEST(CardDescription, DataObjectsInAListStayInTheirOrder)
{
    EXPECT_EQ(RecordOf(R"([{"5F24": "301231"}, {"5A": "62"}, {"57": "63"}])"),
              "700C5F24033012315A01625701639000");
}

TEST(CardDescription, ConstructedObjectsHoldDataObjects)
{
    EXPECT_EQ(RecordOf(R"({"61": {"4F": "A000", "73": [{"9F0A": "01"}]}})"),
              "700C610A4F02A00073049F0A01019000");
    EXPECT_EQ(RecordOf(R"({"61": "4F 02 A0 00"})"), "700661044F02A0009000");
}

TEST(CardDescription, ValuesAreHexTextOrDataObjectLists)
{
    EXPECT_EQ(RecordOf(R"({"5F20": "text:Zhang 三"})"), "700C5F20095A68616E6720E4B8899000");
    EXPECT_EQ(RecordOf(R"({"5F20": "text:"})"), "70035F20009000");
    EXPECT_EQ(RecordOf(R"({"8C": "dol:9F02 6, 9A 3 9F46 176"})"), "700B8C099F02069A039F4681B09000");
    EXPECT_EQ(RecordOf(R"({"8C": "dol:"})"), "70028C009000");
    EXPECT_EQ(RecordOf(R"({"5A": "62 00 f0"})"), "70055A036200F09000");
}

TEST(CardDescription, WrongValuesAreNamed)
{
    const std::string record = "applications[0].records.1.1";
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"5A": "621"}}})"),
              record +
                  ".5A: expected hexadecimal digits in pairs, \"text:...\" or \"dol:TAG LENGTH "
                  "...\", found \"621\"");
    EXPECT_EQ(
        ApplicationError(R"("records": {"1": {"1": {"5A": 62}}})").find(record + ".5A: expected"),
        0u);
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"5A": {"57": "00"}}}})")
                  .find(record + ".5A: expected"),
              0u);
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"PAN": "62"}}})"),
              record + ".PAN: is no tag (one to three bytes in hexadecimal digits)");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"61": 5}}})"),
              record + ".61: expected data objects as {\"TAG\": VALUE}, an array of them, or "
                       "hexadecimal digits, found 5");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": ["5A"]}})"),
              record + "[0]: expected data objects as {\"TAG\": VALUE}, found \"5A\"");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"8C": "dol:9F02"}}})"),
              record + ".8C: expected a length behind the last tag of the data-object list, found "
                       "\"dol:9F02\"");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"8C": "dol:9F02 256"}}})"),
              record + ".8C: expected a length from 0 to 255 behind each tag of the data-object "
                       "list, found \"dol:9F02 256\"");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"1": {"8C": "dol:9F 6"}}})"),
              record + ".8C: expected a data-object list such as \"dol:9F02 6, 9F37 4\", found "
                       "\"dol:9F 6\"");
}

TEST(CardDescription, WrongApplicationsAreNamed)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "applications": {}})"),
              "applications: expected a list of applications, found an object");
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "applications": [{}]})"),
              "applications[0]: the key \"aid\" is missing");
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "applications": [{"aid": "A0000003"}]})"),
              "applications[0].aid: expected an application identifier of 5 to 16 bytes, found "
              "\"A0000003\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "applications": [{"aid": "A000000333"}, 5]})"),
              "applications[1]: expected an object, found 5");
    EXPECT_EQ(ApplicationError(R"("priority": 16)"),
              "applications[0].priority: expected a number from 0 to 15, found 16");
    EXPECT_EQ(ApplicationError(R"("blocked": "yes")"),
              "applications[0].blocked: expected true or false, found \"yes\"");
    EXPECT_EQ(ApplicationError(R"("records": [])"),
              "applications[0].records: expected files as {\"SFI\": RECORDS}, found an array");
    EXPECT_EQ(ApplicationError(R"("records": {"31": []})"),
              "applications[0].records.31: is no short file identifier (1 to 30)");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"0": "7000"}})"),
              "applications[0].records.1.0: is no record number (1 to 255)");
    EXPECT_EQ(ApplicationError(R"("records": {"1": {"256": "7000"}})"),
              "applications[0].records.1.256: is no record number (1 to 255)");
    EXPECT_EQ(ApplicationError(R"("records": {"1": "7000"})"),
              "applications[0].records.1: expected records as a list or as {\"NUMBER\": RECORD}, "
              "found \"7000\"");
    EXPECT_EQ(ApplicationError(R"("getData": {"DF8129": "00"})"),
              "applications[0].getData.DF8129: is no tag of one or two bytes");
    EXPECT_EQ(ApplicationError(R"("getData": [])"),
              "applications[0].getData: expected data objects as {\"TAG\": VALUE}, found an array");
    EXPECT_EQ(ApplicationError(R"("rawFci": "6F0")"),
              "applications[0].rawFci: expected hexadecimal digits in pairs, found \"6F0\"");
}

TEST(CardDescription, WrongProcessingOptionsAreNamed)
{
    EXPECT_EQ(ApplicationError(R"("gpo": 1)"), "applications[0].gpo: expected an object, found 1");
    EXPECT_EQ(ApplicationError(R"("gpo": {"format": 3})"),
              "applications[0].gpo.format: expected 1, 2 or \"contactless\", found 3");
    EXPECT_EQ(
        ApplicationError(R"("gpo": {"format": "contactless"})"),
        "applications[0].gpo: the key \"data\" is missing (what the contactless answer holds)");
    EXPECT_EQ(ApplicationError(R"("gpo": {"format": "contactless", "data": {}, "afl": ""})"),
              "applications[0].gpo.afl: the contactless answer has no file locator");
    EXPECT_EQ(ApplicationError(R"("gpo": {"data": {}})"),
              "applications[0].gpo.data: format 1 has no room for further data objects");
    EXPECT_EQ(ApplicationError(R"("gpo": {"afl": [{"sfi": 31}]})"),
              "applications[0].gpo.afl[0].sfi: expected a number from 1 to 30, found 31");
    EXPECT_EQ(ApplicationError(R"("gpo": {"afl": 5})"),
              "applications[0].gpo.afl: expected hexadecimal digits or a list of {\"sfi\", "
              "\"first\", \"last\"}, found 5");
}

TEST(CardDescription, WrongDirectoriesAreNamed)
{
    const std::string card = R"({"kind": "pboc", "pse": )";
    EXPECT_EQ(ErrorOf(card + "true}"), "pse: expected an object, found true");
    EXPECT_EQ(ErrorOf(card + R"({"files": {}}})"),
              "pse.files: expected a list of {\"sfi\", \"records\"}, found an object");
    EXPECT_EQ(ErrorOf(card + R"({"files": [{"sfi": 1}]}})"),
              "pse.files[0]: the key \"records\" is missing");
    EXPECT_EQ(ErrorOf(card + R"({"files": [{"records": [[1]]}]}})"),
              "pse.files[0].records[0][0]: expected data objects as {\"TAG\": VALUE}, an array of "
              "them, or hexadecimal digits, found 1");
    EXPECT_EQ(ErrorOf(card + R"({"status": "93"}})"),
              "pse.status: expected a status word of four hexadecimal digits, found \"93\"");
}

TEST(CardDescription, WrongLogsAreNamed)
{
    const std::string record = "applications[0].log.records[0]";
    EXPECT_EQ(ApplicationError(R"("log": [])"),
              "applications[0].log: expected an object, found an array");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "000000"}]})"),
              record + ": the key \"amount\" is missing");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "31.01.2025"}]})"),
              record + ".date: expected a date such as \"2025-01-31\" or \"250131\", found "
                       "\"31.01.2025\"");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "12:00"}]})"),
              record +
                  ".time: expected a time such as \"23:59:59\" or \"235959\", found \"12:00\"");
    for (const char *amount :
         {"\"1\"", "\"1.5\"", "\".50\"", "\"12345678901.00\"", "\"1,00\"", "100", "\"-1.00\""})
        EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "120000",
                                       "amount": )" +
                                   std::string(amount) + "}]}")
                      .find(record + ".amount: expected "),
                  0u)
            << amount;
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "120000",
                  "amount": "1.00", "merchant": "A NAME OF MORE THAN TWENTY BYTES"}]})"),
              record + ".merchant: expected a name of at most 20 bytes, or \"hex:\" and digits, "
                       "found \"A NAME OF MORE THAN TWENTY BYTES\"");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "120000",
                  "amount": "1.00", "currency": "156"}]})"),
              record + ".currency: expected hexadecimal digits in pairs, found \"156\"");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "120000",
                  "amount": "1.00", "type": "0156"}]})"),
              record + ".type: expected 2 hexadecimal digits, found \"0156\"");
    EXPECT_EQ(ApplicationError(R"("log": {"records": [{"date": "250131", "time": "120000",
                  "amount": "1.00", "atc": 65536}]})"),
              record + ".atc: expected a number from 0 to 65535, found 65536");
    EXPECT_EQ(ApplicationError(R"("loadLog": {"records": [{"before": "1.00"}]})"),
              "applications[0].loadLog.records[0]: the key \"after\" is missing");
    EXPECT_EQ(ApplicationError(R"("loadLog": {"sfi": 0})"),
              "applications[0].loadLog.sfi: expected a number from 1 to 30, found 0");
}

TEST(CardDescription, TooMuchIsRefused)
{
    std::string records = "\"7000\"";
    for (int i = 0; i < 255; ++i)
        records += ",\"7000\"";
    EXPECT_EQ(ApplicationError(R"("records": {"1": [)" + records + "]}"),
              "applications[0].records.1: has more than 255 records");
    EXPECT_EQ(
        ApplicationError(R"("records": {"1": [{"93": ")" + std::string(131072, '0') + "\"}]}"),
        "applications[0].records.1[0].93: is longer than 65535 bytes");
    std::string applications = R"({"aid": "A000000333"})";
    for (int i = 0; i < 255; ++i)
        applications += R"(,{"aid": "A000000333"})";
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "applications": [)" + applications + "]}"),
              "applications: has more than 255 applications");
}

TEST(CardDescription, DeepNestingIsRefusedAndNotFollowed)
{
    std::string objects;
    for (int i = 0; i < 200; ++i)
        objects += "{\"70\": ";
    objects += "{}" + std::string(200, '}');
    const std::string error = ApplicationError(R"("records": {"1": [)" + objects + "]}");
    EXPECT_NE(error.find(": is nested too deeply"), std::string::npos) << error;

    const std::string path = testing::TempDir() + "cards_description_deep.json";
    std::ofstream(path) << R"({"exchanges": )" + std::string(200000, '[') +
                               std::string(200000, ']') + "}";
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "file": ")" + path + "\"}"),
              path + ".exchanges[0]: expected an object with \"cmd\" and \"rsp\", found an array");
    remove(path.c_str());
}

// Each value of each card of these profiles is replaced by values of every other type and shape.
TEST(CardDescription, AnyValueInAnyPlaceGivesACardOrAnError)
{
    const nlohmann::json kValues = nlohmann::json::parse(R"([null, true, -1, 1e300,
        18446744073709551615, "", "zz", "FFFFFF", "dol:9F", [[]], [{}], {"": ""}, {"9F02": {}},
        "hostile"])");
    unsigned cards = 0;
    unsigned errors = 0;
    for (const char *name : {"default", "pboc-contactless", "blocked", "hostile-huge"})
    {
        std::ifstream file(std::string(cards_test::kProfiles) + "/" + name + ".json");
        const nlohmann::json profile = nlohmann::json::parse(file);
        for (const auto &entry : profile.at("cards").items())
        {
            std::vector<nlohmann::json::json_pointer> places;
            CollectPlaces(entry.value(), nlohmann::json::json_pointer(), &places);
            for (size_t i = 0; i < places.size() * kValues.size(); ++i)
            {
                nlohmann::json description = entry.value();
                description[places[i / kValues.size()]] = kValues[i % kValues.size()];
                std::string error;
                const auto card = vreader::MakeCard(description, cards_test::kProfiles, &error);
                ASSERT_EQ(card == nullptr, !error.empty()) << description;
                ++(card ? cards : errors);
                if (!card)
                    continue;
                card->powerOn();
                for (const char *command : {"00A404000E315041592E5359532E4444463031", "00B2010C00",
                                            "00A4040005A000000333", "80A80000028300", "80CA9F79",
                                            "00C0000000", "00B2015C00"})
                    Send(card, command);
            }
        }
    }
    EXPECT_GT(cards, 200u);
    EXPECT_GT(errors, 2000u);
}

TEST(CardDescription, LongValuesAreQuotedShort)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "pboc", "atr": ")" + std::string(1000, 'x') + "\"}"),
              "atr: expected hexadecimal digits in pairs, found \"" + std::string(39, 'x') + "...");
}

TEST(CardDescription, FilesThatAreNoJsonAreRefused)
{
    const std::string path = testing::TempDir() + "cards_description_broken.json";
    std::ofstream(path) << "{\"exchanges\": [";
    const std::string error = ErrorOf(R"({"kind": "transcript", "file": ")" + path + "\"}");
    EXPECT_EQ(error.find("file: \"" + path + "\" is no JSON: "), 0u) << error;
    std::ofstream(path) << "[]";
    EXPECT_EQ(ErrorOf(R"({"kind": "transcript", "file": ")" + path + "\"}"),
              path + ": expected an object, found an array");
    std::ofstream(path) << "\xFF\xFE\x00";
    EXPECT_NE(ErrorOf(R"({"kind": "transcript", "file": ")" + path + "\"}"), "");
    remove(path.c_str());
}

TEST(CardReference, TakesACardFromAnotherProfile)
{
    const auto card = CardOf(R"({"kind": "reference", "file": "blocked.json",
        "card": "blocked-card", "label": "other", "atr": "3B00",
        "inject": [{"cmd": "80", "sw": "6F00"}]})");
    EXPECT_EQ(card->kind, "pboc");
    EXPECT_EQ(card->label, "other");
    EXPECT_EQ(cards_test::Hex(card->answerToReset), "3B00");
    EXPECT_EQ(Send(card, "00A4040005A000000333"), "6A81");
    EXPECT_EQ(Send(card, "80CA9F79"), "6F00");
}

TEST(CardReference, FileNamesOfTheOtherProfileStartWhereItLies)
{
    const auto card = CardOf(R"({"kind": "reference", "file": "profiles/three-applications.json",
                                 "card": "test-card"})",
                             VANTOR_SOURCE_DIR "/vreader");
    EXPECT_EQ(Send(card, "80CA9F36"), "9F360200069000");
}

TEST(CardReference, MistakesAreNamed)
{
    EXPECT_EQ(ErrorOf(R"({"kind": "reference", "file": "blocked.json"})"),
              "the description: the keys \"file\" and \"card\" are needed");
    EXPECT_EQ(ErrorOf(R"({"kind": "reference", "file": "blocked.json", "card": "none"})"),
              "card: \"blocked.json\" has no card \"none\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "reference", "file": "none.json", "card": "none"})"),
              "file: cannot read \"none.json\"");
    EXPECT_EQ(ErrorOf(R"({"kind": "reference", "file": "default.json", "card": "pboc-debit"})"),
              "card: must refer to a transcript, pboc or social-security card, which "
              "\"pboc-debit\" is not");
    EXPECT_EQ(ErrorOf(R"({"kind": "reference", "file": 1, "card": "x"})"),
              "file: expected a text, found 1");
}

TEST(ProfileFiles, DirectoryGoesBeforeTheBuiltInFiles)
{
    const vreader::EmbeddedFile files[] = {{"empty.json", "built in", 8}, {"only.json", "{}", 2}};
    vreader::RegisterEmbeddedFiles(files, 2);
    EXPECT_EQ(vreader::ReadProfileFile("", "empty.json"), "built in");
    EXPECT_EQ(vreader::ReadProfileFile("", "only.json"), "{}");
    EXPECT_EQ(vreader::ReadProfileFile(cards_test::kProfiles, "only.json"), "{}");
    EXPECT_NE(vreader::ReadProfileFile(cards_test::kProfiles, "empty.json"), "built in");
    EXPECT_EQ(vreader::ReadProfileFile("", "none.json"), std::nullopt);
    vreader::RegisterEmbeddedFiles(nullptr, 0);
    EXPECT_EQ(vreader::ReadProfileFile("", "only.json"), std::nullopt);
}

TEST(ProfileFiles, OnlyRegularFilesAreRead)
{
    EXPECT_EQ(vreader::ReadProfileFile("", "/dev/zero"), std::nullopt);
    EXPECT_EQ(vreader::ReadProfileFile("/", "tmp"), std::nullopt);
    EXPECT_EQ(vreader::ReadProfileFile("/", ""), std::nullopt);
    EXPECT_EQ(vreader::ReadProfileFile("/", std::string("etc/passwd\0.json", 16)), std::nullopt);
    EXPECT_NE(vreader::ReadProfileFile("", std::string(cards_test::kProfiles) + "/empty.json"),
              std::nullopt);
}

TEST(ProfileFiles, HugeFilesAreNotRead)
{
    const std::string path = testing::TempDir() + "cards_description_huge.json";
    std::ofstream file(path);
    file.seekp(16 * 1024 * 1024);
    file.put(' ');
    file.close();
    EXPECT_EQ(vreader::ReadProfileFile("", path), std::nullopt);
    remove(path.c_str());
}
