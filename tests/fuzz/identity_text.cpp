// The text block of an identity card of each kind: every field, and the texts made of them.
#include "api/identity_text.h"
#include "fuzz/support/room.h"
#include "vantor/identity_cards.h"
#include "vantor/identity_operations.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

constexpr size_t kTextBlock = 256;
constexpr size_t kRawRecord = 4096;

// The getters with the room that their header gives.
const struct
{
    IdentityField get;
    size_t room;
} kFields[] = {
    {ID_GetName, 62},
    {ID_GetSexCode, 6},
    {ID_GetNationCode, 10},
    {ID_GetBirth, 34},
    {ID_GetAddress, 142},
    {ID_GetCardNumber, 74},
    {ID_GetPolice, 62},
    {ID_GetValidStart, 34},
    {ID_GetValidEnd, 34},
    {ID_GetCardType, 6},
    {ID_GetCardNo_GAT, 38},
    {ID_GetIssueTimes_GAT, 10},
    {ID_GetEnglishName_Foreign, 242},
    {ID_GetSexCode_Foreign, 6},
    {ID_GetCardNumber_Foreign, 62},
    {ID_GetNationCode_Foreign, 14},
    {ID_GetChineseName_Foreign, 62},
    {ID_GetValidStart_Foreign, 34},
    {ID_GetValidEnd_Foreign, 34},
    {ID_GetBirth_Foreign, 34},
    {ID_GetCardVer_Foreign, 10},
    {ID_GetPoliceCode_Foreign, 18},
};

const struct
{
    int (*get)(const unsigned char *, int, char *);
    size_t room;
} kNames[] = {{ID_GetSex, 6}, {ID_GetNation, 20}, {ID_GetSex_Foreign, 6}};

const struct
{
    int (*get)(const unsigned char *, unsigned char *);
    size_t size;
} kBlocks[] = {{ID_GetPhotoInfo, 1024},
               {ID_GetFPInfo, 1024},
               {ID_GetASICSerialNumber_GAT, 8},
               {ID_GetSerialCardNumber_GAT, 16}};

void TakeFields(Room *record)
{
    for (const auto &field : kFields)
    {
        Room out(field.room);
        FUZZ_CHECK(field.get(record->Data(), out.Text()) == 0);
        out.TextLength();
    }
    for (const auto &name : kNames)
    {
        Room out(name.room);
        FUZZ_CHECK(name.get(record->Data(), 0, out.Text()) == 0);
        out.TextLength();
    }
    Room nation(32, 0);
    FUZZ_CHECK(ID_GetNation_Foreign(record->Data(), nation.Text()) == 0);
    nation.TextLength();
}

void MakeTexts(Room *record)
{
    const char kind = IdentityCardKind(record->Data());
    FUZZ_CHECK(kind == 'N' || kind == 'J' || kind == 'I');
    for (const IdentityLayouts *layouts :
         {&kAllFields, &kPictureFields, &kPictureFieldsByCode, &kVariantFields})
    {
        const IdentityText text = MakeIdentityText(record->Data(), *layouts);
        FUZZ_CHECK(text.length >= 8 && text.length <= 524);
        FUZZ_CHECK(std::strlen(text.characters) == static_cast<size_t>(text.length));
    }
}

// The name that a photo's file gets: as many bytes as path and name have, and 8.
void NamePhoto(int kind, const std::string &name, const std::string &path)
{
    Room nameRoom(name), pathRoom(path), out(name.size() + path.size() + 8);
    FUZZ_CHECK(BO_ModifyIdPath_YC(kind, nameRoom.Text(), pathRoom.Text(), out.Text()) == 0);
    if (kind <= 3)
        out.TextLength();
    else
        FUZZ_CHECK(out.IsUntouchedFrom(0));
}

} // namespace

// The kind of card (0 as it stands), a photo's name and path, the record.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t kind = input.Byte() & 0x03;
    const int photoKind = input.Byte() & 0x07;
    const std::string name = input.Text();
    const std::string path = input.Text();
    Bytes record = input.Rest();
    record.resize(kRawRecord);
    if (kind != 0)
        record[248] = static_cast<uint8_t>(" IJN"[kind]);
    NamePhoto(photoKind, name, path);
    Room block(Bytes(record.begin(), record.begin() + kTextBlock));
    TakeFields(&block);
    MakeTexts(&block);
    Room raw(record);
    for (const auto &row : kBlocks)
    {
        Room out(row.size);
        FUZZ_CHECK(row.get(raw.Data(), out.Data()) == 0);
    }
    return 0;
}
