#include "api/identity_text.h"

#include <algorithm>
#include <cstring>

#include "vantor/identity_operations.h"

namespace
{

// The getters of names take a size that they do not use.
int SexName(const unsigned char *record, char *out)
{
    return ID_GetSex(record, 0, out);
}

int NationName(const unsigned char *record, char *out)
{
    return ID_GetNation(record, 0, out);
}

int ForeignSexName(const unsigned char *record, char *out)
{
    return ID_GetSex_Foreign(record, 0, out);
}

int LetterA(const unsigned char *, char *out)
{
    std::memcpy(out, "A", sizeof "A");
    return 0;
}

constexpr IdentityField kEmpty = nullptr;

constexpr IdentityField kResident[] = {
    ID_GetName,       SexName,      NationName,       ID_GetBirth,    ID_GetAddress,
    ID_GetCardNumber, ID_GetPolice, ID_GetValidStart, ID_GetValidEnd, ID_GetCardType,
    kEmpty,           kEmpty,       kEmpty,           kEmpty,
};

constexpr IdentityField kGat[] = {
    ID_GetName,       SexName,      kEmpty,           ID_GetBirth,          ID_GetAddress,
    ID_GetCardNumber, ID_GetPolice, ID_GetValidStart, ID_GetValidEnd,       ID_GetCardType,
    kEmpty,           kEmpty,       ID_GetCardNo_GAT, ID_GetIssueTimes_GAT,
};

constexpr IdentityField kForeign[] = {
    ID_GetEnglishName_Foreign,
    ForeignSexName,
    ID_GetNation_Foreign,
    ID_GetBirth_Foreign,
    kEmpty,
    ID_GetCardNumber_Foreign,
    ID_GetPoliceCode_Foreign,
    ID_GetValidStart_Foreign,
    ID_GetValidEnd_Foreign,
    ID_GetCardType,
    ID_GetChineseName_Foreign,
    ID_GetCardVer_Foreign,
    kEmpty,
    kEmpty,
};

constexpr IdentityField kForeignByCode[] = {
    ID_GetEnglishName_Foreign,
    ForeignSexName,
    ID_GetNationCode_Foreign,
    ID_GetBirth_Foreign,
    kEmpty,
    ID_GetCardNumber_Foreign,
    ID_GetPoliceCode_Foreign,
    ID_GetValidStart_Foreign,
    ID_GetValidEnd_Foreign,
    ID_GetCardType,
    ID_GetChineseName_Foreign,
    ID_GetCardVer_Foreign,
};

constexpr IdentityField kVariantResident[] = {
    ID_GetName,       SexName,      NationName,       ID_GetBirth,    ID_GetAddress,
    ID_GetCardNumber, ID_GetPolice, ID_GetValidStart, ID_GetValidEnd, ID_GetSexCode,
    kEmpty,           kEmpty,       kEmpty,           kEmpty,         LetterA,
};

// The empty field at the end makes the separator that this layout ends in.
constexpr IdentityField kVariantGat[] = {
    ID_GetName,       SexName,      kEmpty,           ID_GetBirth,    ID_GetAddress,
    ID_GetCardNumber, ID_GetPolice, ID_GetValidStart, ID_GetValidEnd, kEmpty,
    kEmpty,           kEmpty,       kEmpty,           ID_GetCardType, kEmpty,
};

constexpr IdentityField kVariantForeign[] = {
    ID_GetEnglishName_Foreign,
    ForeignSexName,
    ID_GetNation_Foreign,
    ID_GetBirth_Foreign,
    kEmpty,
    ID_GetCardNumber_Foreign,
    ID_GetPoliceCode_Foreign,
    ID_GetValidStart_Foreign,
    ID_GetValidEnd_Foreign,
    ID_GetSexCode_Foreign,
    kEmpty,
    kEmpty,
    ID_GetChineseName_Foreign,
};

void Append(IdentityText *text, const char *part)
{
    const int room = kIdentityTextSize - 1 - text->length;
    const int length = std::min(room, static_cast<int>(std::strlen(part)));
    std::memcpy(text->characters + text->length, part, static_cast<size_t>(length));
    text->length += length;
}

const IdentityLayout &LayoutOf(const IdentityLayouts &layouts, char kind)
{
    if (kind == 'I')
        return layouts.foreign;
    return kind == 'J' ? layouts.gat : layouts.resident;
}

} // namespace

const IdentityLayouts kAllFields = {{kResident, 14}, {kGat, 14}, {kForeign, 14}};
const IdentityLayouts kPictureFields = {{kResident, 12}, {kGat, 14}, {kForeign, 12}};
const IdentityLayouts kPictureFieldsByCode = {{kResident, 12}, {kGat, 14}, {kForeignByCode, 12}};
const IdentityLayouts kVariantFields = {
    {kVariantResident, 15}, {kVariantGat, 15}, {kVariantForeign, 13}};

char IdentityCardKind(const unsigned char *record)
{
    char kind[kIdentityFieldSize] = {};
    ID_GetCardType(record, kind);
    return kind[0];
}

IdentityText MakeIdentityText(const unsigned char *record, const IdentityLayouts &layouts)
{
    const IdentityLayout &layout = LayoutOf(layouts, IdentityCardKind(record));
    IdentityText text = {};
    for (int i = 0; i < layout.count; i++)
    {
        char field[kIdentityFieldSize] = {};
        if (layout.fields[i] != kEmpty)
            layout.fields[i](record, field);
        if (i > 0)
            Append(&text, "|");
        Append(&text, field);
    }
    return text;
}
