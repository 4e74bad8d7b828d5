// Ultralight C cards.
#include "commands.h"

#include <algorithm>
#include <cstring>

#include "memory_session.h"
#include "memory_text.h"
#include "presentation.h"
#include "session.h"
#include "vantor.h"

namespace tool
{

static const int kReadRefused = -5104;
static const int kExchangeRefused = -5105; // writing, and the steps of an authentication
static const int kNoProof = -5103;

static bool PowerOnAgain()
{
    unsigned char identification[256];
    uint32_t length = 0;
    M0_PowerOff(&context, kCardTimeoutMs);
    return M0_PowerOn(&context, identification, &length, kCardTimeoutMs) == 0;
}

static const MemoryCardClass kCardClass = {"BO_M0PowerOn", BO_M0PowerOn, BO_M0PowerOff,
                                           PowerOnAgain};

// ---- The key ----

static int VerifyKey(const std::string &key)
{
    return BO_M0VerifyKey(static_cast<int>(key.size()), key.c_str());
}

// A card that is asked for nothing needs no key. A refusal powers the card off.
static bool Authenticate(const Options &options, Report *report)
{
    const std::string &key = options.memory.key;
    const int code = key.empty() ? 0 : VerifyKey(key);
    if (code != kExchangeRefused && code != kNoProof)
        return !Failed(options, report, "BO_M0VerifyKey", code);
    if (!PowerUpAfterRefusal(options, report, kCardClass, "BO_M0VerifyKey", code))
        return false;
    FailWith(options, report, "BO_M0VerifyKey", code,
             code == kNoProof ? "the card did not prove that it holds this key"
                              : "the card refused the key",
             "is it this card's key (--key)? The refusal halted the card, it was powered up again");
    return false;
}

void M0Auth(const Options &options, Report *report)
{
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       if (!Authenticate(options, report))
                           return;
                       report->result["authenticated"] = true;
                       Say(*report, "the card holds this key\n");
                   });
}

// ---- Pages ----

// A reading brings four pages, and behind the last one that may be read the first ones again: only
// the page that was asked for is believed.
static int ReadPage(int page, std::string *bytes)
{
    static const int kCount = 4; // right for readers that count pages, and for those with bytes
    unsigned char out[4096] = {};
    uint32_t length = 0;
    const int code =
        BO_GetErrorCode(M0_ReadBlock(&context, page, kCount, out, &length, kCardTimeoutMs));
    if (code != 0)
        return code;
    bytes->assign(reinterpret_cast<const char *>(out), kPageSize);
    return length >= kPageSize ? 0 : -1013;
}

static Json PageJson(const Options &options, int page, const std::string &bytes)
{
    const Hidden hidden = options.mask ? HiddenInPage(page) : Hidden{};
    Json json = {{"page", PageName(page)},
                 {"data", bytes.empty() ? Json(nullptr) : Json(HexWithout(bytes, hidden))}};
    if (PageMeaning(page)[0] != '\0')
        json["meaning"] = PageMeaning(page);
    return json;
}

static std::string PageLine(const Options &options, int page, const std::string &bytes)
{
    const Hidden hidden = options.mask ? HiddenInPage(page) : Hidden{};
    const std::string meaning = PageMeaning(page);
    const std::string contents = bytes.empty() ? "not readable" : HexAndText(bytes, hidden);
    static const size_t kWidth = 17; // of four bytes and their text
    return "  " + PageName(page) + "  " +
           (meaning.empty() ? contents : Padded(contents, kWidth) + "  " + meaning) + "\n";
}

static void ShowPage(const Options &options, Report *report, int page, const std::string &bytes)
{
    report->result["pages"].push_back(PageJson(options, page, bytes));
    Say(*report, PageLine(options, page, bytes));
}

void M0Read(const Options &options, Report *report)
{
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       const MemoryOptions &memory = options.memory;
                       if (!Authenticate(options, report))
                           return;
                       report->result["pages"] = Json::array();
                       for (int page = memory.block; page < memory.block + memory.count; page++)
                       {
                           std::string bytes;
                           const int code = ReadPage(page, &bytes);
                           if (Failed(options, report, "M0_ReadBlock", code))
                               return;
                           ShowPage(options, report, page, bytes);
                       }
                   });
}

void M0Write(const Options &options, Report *report)
{
    const int page = options.memory.block;
    if (!Confirmed(options, report, PageWarning(page)))
        return;
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       if (!Authenticate(options, report))
                           return;
                       const int code = BO_M0Write(page, options.memory.data.c_str());
                       if (Failed(options, report, "BO_M0Write", code))
                           return;
                       report->result["page"] = PageName(page);
                       Say(*report, "page " + PageName(page) + " written\n");
                   });
}

void M0Dump(const Options &options, Report *report)
{
    WithMemoryCard(
        options, report, kCardClass,
        [&](const std::string &)
        {
            if (!Authenticate(options, report))
                return;
            int readable = 0;
            report->result["pages"] = Json::array();
            Say(*report,
                "Ultralight C, " + report->result["identification"].get<std::string>() + "\n");
            for (int page = 0; page <= kLastReadablePage; page++)
            {
                std::string bytes;
                const int code = ReadPage(page, &bytes);
                if (code != 0 && code != kReadRefused)
                {
                    Failed(options, report, "M0_ReadBlock", code);
                    return;
                }
                if (code == kReadRefused &&
                    (!PowerUpAfterRefusal(options, report, kCardClass, "M0_ReadBlock", code) ||
                     !Authenticate(options, report)))
                    return;
                ShowPage(options, report, page, code == 0 ? bytes : "");
                readable += code == 0 ? 1 : 0;
            }
            if (readable == 0)
                FailWith(options, report, "M0_ReadBlock", kReadRefused, "no page can be read",
                         "the card asks for its key: --key");
        });
}

// ---- A new key ----

static std::string Names(const int *pages, size_t count)
{
    std::string names;
    for (size_t i = 0; i < count; i++)
        names += (i == 0 ? "" : ", ") + PageName(pages[i]);
    return names;
}

// How to go on: the card holds new and old parts of the key now.
static std::string HalfwayAdvice(const Options &options, size_t written)
{
    if (written == 0)
        return "the key is most likely the old one; does the card ask for it (--key), or are its "
               "key pages locked?";
    const std::string parts =
        "the key's first " + std::to_string(kPageSize * written) + " bytes are new, the others old";
    const MemoryOptions &memory = options.memory;
    const size_t digits = 2 * kPageSize * written;
    if (memory.key.empty() || options.mask)
        return parts + ": give such a key with --key and set the new one again";
    return parts + ": set the new one again with --key " + memory.newKey.substr(0, digits) +
           memory.key.substr(digits);
}

static void ReportHalfway(const Options &options, Report *report, int code, size_t written)
{
    const size_t count = std::size(kKeyPages);
    const std::string done = written == 0 ? "no page was" : written == 1 ? "page " : "pages ";
    FailWith(options, report, "M0_WriteBlock", code,
             "the card refused page " + PageName(kKeyPages[written]) + " or went away; " + done +
                 Names(kKeyPages, written) +
                 (written == 0   ? ""
                  : written == 1 ? " was"
                                 : " were") +
                 " written, " + Names(kKeyPages + written, count - written) +
                 (count - written == 1 ? " was not" : " were not"),
             HalfwayAdvice(options, written));
}

// BO_M0DownKey does not tell how far it came, and the pages cannot be read back: the same writes in
// the same order, one by one. As there each page goes with more data than it has, the rest zero.
static bool WriteKey(const Options &options, Report *report)
{
    static const size_t kSent = 17;
    const std::string key = Bytes(options.memory.newKey);
    report->result["written"] = Json::array();
    for (size_t i = 0; i < std::size(kKeyPages); i++)
    {
        std::string data = KeyPageBytes(key, i);
        data.resize(kSent, '\0');
        const int code = BO_GetErrorCode(M0_WriteBlock(
            &context, kKeyPages[i], reinterpret_cast<const unsigned char *>(data.data()),
            static_cast<int>(data.size()), kCardTimeoutMs));
        if (code != 0)
        {
            ReportHalfway(options, report, code, i);
            return false;
        }
        report->result["written"].push_back(PageName(kKeyPages[i]));
    }
    return true;
}

// The new key counts from the next power-on: that it works is shown by an authentication.
static bool ProveKey(const Options &options, Report *report)
{
    static const char kMeaning[] = "all four pages were written, but the card does not prove the "
                                   "new key";
    const int code = PowerOnAgain() ? VerifyKey(options.memory.newKey) : -5001;
    if (code == 0)
        return true;
    FailWith(options, report, code == -5001 ? "M0_PowerOn" : "BO_M0VerifyKey", code, kMeaning,
             "try it again: vantor m0 auth --key KEY");
    return false;
}

void M0SetKey(const Options &options, Report *report)
{
    if (!Confirmed(options, report, NewKeyWarning()))
        return;
    WithMemoryCard(options, report, kCardClass,
                   [&](const std::string &)
                   {
                       if (!Authenticate(options, report) || !WriteKey(options, report) ||
                           !ProveKey(options, report))
                           return;
                       report->result["proven"] = true;
                       Say(*report, "pages " + Names(kKeyPages, std::size(kKeyPages)) +
                                        " written, the card proves the new key\n");
                   });
}

} // namespace tool
