// The fields of an identity card's record, as GB18030 text.
#include "vantor/identity_operations.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "ops/nation_names.h"
#include "vantor/text_conversion.h"

namespace
{

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the names below are UCS-2 as on a card");

constexpr int kBadArgument = -22;

enum class Spaces
{
    kKept,
    kCut
};

// Where a field lies in the record, in bytes.
struct Field
{
    int offset;
    int size;
    Spaces spaces = Spaces::kKept;
};

// Resident and GAT cards.
constexpr Field kName = {0, 30, Spaces::kCut};
constexpr Field kSexCode = {30, 2};
constexpr Field kNationCode = {32, 4};
constexpr Field kBirth = {36, 16};
constexpr Field kAddress = {52, 70, Spaces::kCut};
constexpr Field kCardNumber = {122, 36};
constexpr Field kPolice = {158, 30, Spaces::kCut};
constexpr Field kValidStart = {188, 16, Spaces::kCut};
constexpr Field kValidEnd = {204, 16, Spaces::kCut};
constexpr Field kPassNumber = {220, 18, Spaces::kCut}; // GAT card
constexpr Field kIssueTimes = {238, 4};                // GAT card
constexpr Field kCardType = {248, 2};                  // every card

// Foreign card; its validity lies where the others have it.
constexpr Field kEnglishName = {0, 120, Spaces::kCut};
constexpr Field kForeignSexCode = {120, 2};
constexpr Field kForeignCardNumber = {122, 30};
constexpr Field kForeignNationCode = {152, 6};
constexpr Field kChineseName = {158, 30, Spaces::kCut};
constexpr Field kForeignBirth = {220, 16};
constexpr Field kCardVersion = {236, 4};
constexpr Field kPoliceCode = {240, 8};

// The room that a short field can take: 4 bytes for each of 2 code units, and two zero bytes.
constexpr int kShortText = 10;

// Cuts the text at its last run of spaces, wherever that is, unless it begins with it. Deliberate:
// a field that fills its whole width loses its last word.
void ID_FilterSpaces(char *text)
{
    char *const end = text + std::strlen(text);
    char *start = end;
    while (start > text && start[-1] != ' ')
        start--;
    while (start > text && start[-1] == ' ')
        start--;
    if (start > text)
        std::memset(start, 0, static_cast<size_t>(end - start));
}

int GiveField(const unsigned char *record, const Field &field, char *out)
{
    if (record == nullptr || out == nullptr)
        return kBadArgument;
    GStrUnicode2GB18030(reinterpret_cast<const char *>(record) + field.offset, out, field.size);
    if (field.spaces == Spaces::kCut)
        ID_FilterSpaces(out);
    return 0;
}

void GiveName(const char16_t *name, char *out)
{
    const size_t length = std::char_traits<char16_t>::length(name) * sizeof *name;
    GStrUnicode2GB18030(reinterpret_cast<const char *>(name), out, static_cast<int>(length));
}

int GiveSexName(const unsigned char *record, const Field &code, char *out)
{
    char text[kShortText] = {};
    if (GiveField(record, code, text) != 0 || out == nullptr)
        return kBadArgument;
    if (std::strcmp(text, "1") == 0)
        GiveName(u"男", out);
    else if (std::strcmp(text, "2") == 0)
        GiveName(u"女", out);
    else
        GiveName(u"未知", out);
    return 0;
}

int GiveBytes(const unsigned char *raw, int offset, size_t count, unsigned char *out)
{
    if (raw == nullptr || out == nullptr)
        return kBadArgument;
    std::memcpy(out, raw + offset, count);
    return 0;
}

} // namespace

int ID_GetName(const unsigned char *record, char *out)
{
    return GiveField(record, kName, out);
}

int ID_GetSexCode(const unsigned char *record, char *out)
{
    return GiveField(record, kSexCode, out);
}

int ID_GetSex(const unsigned char *record, int /*size*/, char *out)
{
    return GiveSexName(record, kSexCode, out);
}

int ID_GetNationCode(const unsigned char *record, char *out)
{
    return GiveField(record, kNationCode, out);
}

int ID_GetNation(const unsigned char *record, int /*size*/, char *out)
{
    char code[kShortText] = {};
    if (GiveField(record, kNationCode, code) != 0 || out == nullptr)
        return kBadArgument;
    const char16_t *name = NationName(std::atoi(code));
    GiveName(name != nullptr ? name : u"", out);
    return 0;
}

int ID_GetBirth(const unsigned char *record, char *out)
{
    return GiveField(record, kBirth, out);
}

int ID_GetAddress(const unsigned char *record, char *out)
{
    return GiveField(record, kAddress, out);
}

int ID_GetCardNumber(const unsigned char *record, char *out)
{
    return GiveField(record, kCardNumber, out);
}

int ID_GetPolice(const unsigned char *record, char *out)
{
    return GiveField(record, kPolice, out);
}

int ID_GetValidStart(const unsigned char *record, char *out)
{
    return GiveField(record, kValidStart, out);
}

int ID_GetValidEnd(const unsigned char *record, char *out)
{
    return GiveField(record, kValidEnd, out);
}

int ID_GetCardType(const unsigned char *record, char *out)
{
    if (GiveField(record, kCardType, out) != 0)
        return kBadArgument;
    if (std::strcmp(out, "I") != 0 && std::strcmp(out, "J") != 0)
        std::memcpy(out, "N", sizeof "N");
    return 0;
}

int ID_GetCardNo_GAT(const unsigned char *record, char *out)
{
    return GiveField(record, kPassNumber, out);
}

int ID_GetIssueTimes_GAT(const unsigned char *record, char *out)
{
    return GiveField(record, kIssueTimes, out);
}

int ID_GetEnglishName_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kEnglishName, out);
}

int ID_GetSexCode_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kForeignSexCode, out);
}

int ID_GetSex_Foreign(const unsigned char *record, int /*size*/, char *out)
{
    return GiveSexName(record, kForeignSexCode, out);
}

int ID_GetCardNumber_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kForeignCardNumber, out);
}

int ID_GetNationCode_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kForeignNationCode, out);
}

// The first row that holds the code anywhere takes the code's place, without its terminator.
int ID_GetNation_Foreign(const unsigned char *record, char *out)
{
    const int result = GiveField(record, kForeignNationCode, out);
    if (result != 0 || *out == '\0') // every row holds an empty code
        return result;
    for (const char *row : szCitizenship)
        if (std::strstr(row, out) != nullptr)
        {
            std::memcpy(out, row, std::strlen(row));
            break;
        }
    return 0;
}

int ID_GetChineseName_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kChineseName, out);
}

int ID_GetValidStart_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kValidStart, out);
}

int ID_GetValidEnd_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kValidEnd, out);
}

int ID_GetBirth_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kForeignBirth, out);
}

int ID_GetCardVer_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kCardVersion, out);
}

int ID_GetPoliceCode_Foreign(const unsigned char *record, char *out)
{
    return GiveField(record, kPoliceCode, out);
}

int ID_GetPhotoInfo(const unsigned char *raw, unsigned char *out)
{
    return GiveBytes(raw, 256, 1024, out);
}

int ID_GetFPInfo(const unsigned char *raw, unsigned char *out)
{
    return GiveBytes(raw, 1280, 1024, out);
}

int ID_GetASICSerialNumber_GAT(const unsigned char *raw, unsigned char *out)
{
    return GiveBytes(raw, 2304, 8, out);
}

int ID_GetSerialCardNumber_GAT(const unsigned char *raw, unsigned char *out)
{
    return GiveBytes(raw, 2312, 16, out);
}
