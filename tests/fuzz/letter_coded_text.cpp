// Letter-coded texts of a host: one field, whole transaction texts, and the text checks.
#include "api/transaction_input.h"
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/business.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

void TakeField(Room *name, int nameLength, Room *text)
{
    Room value(512);
    int32_t length = -1;
    const int result = PBOC_GetSimpTagValue(name->Text(), nameLength, text->Text(), text->Size(),
                                            value.Text(), &length);
    FUZZ_CHECK(result == 0 || (result == -99 && length == -1 && value.IsUntouchedFrom(0)));
    if (result != 0)
        return;
    FUZZ_CHECK(length >= 0 && length <= 512 && value.IsUntouchedFrom(static_cast<size_t>(length)));
    FUZZ_CHECK(length == 0 || memmem(text->Data(), text->size, value.Data(),
                                     static_cast<size_t>(length)) != nullptr);
}

// Values change in place: the objects around them stay where they are.
void CheckStores(const Bytes &transaction, const Bytes &application)
{
    const size_t fixed[] = {0, 1, 4, 5, 6, 13, 14, 15, 22, 23, 24};
    for (size_t at : fixed)
        FUZZ_CHECK(g_szTxData[at] == transaction[at]);
    FUZZ_CHECK(g_szTxData[87] == transaction[87]);
    FUZZ_CHECK(g_szAppInitData[113] == application[113]);
}

} // namespace

// Which reading, a field's name, the text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const Bytes nameBytes = input.Take(1 + (how >> 4 & 0x03));
    const Bytes rest = input.Rest();
    Room text(std::string(rest.begin(), std::find(rest.begin(), rest.end(), 0)));
    const fuzz::World world("", [](const Bytes &) { return fuzz::Answer(); });
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    Room name(nameBytes);
    TakeField(&name, name.Size(), &text);

    const Bytes transaction(g_szTxData, g_szTxData + sizeof g_szTxData);
    const Bytes application(g_szAppInitData, g_szAppInitData + sizeof g_szAppInitData);
    if (IsTransactionText(text.Text()))
    {
        if ((how & 0x03) == 0)
            ReadVariantRequestInput(text.Text());
        else
        {
            const int result = (how & 0x03) == 1 ? ReadVariantCompletionInput(text.Text())
                                                 : ReadTransactionInput(text.Text());
            FUZZ_CHECK(result == 0 || result == -1007);
        }
    }
    CheckStores(transaction, application);
    for (const auto check :
         {IsHexDataValue, IsNumDataValue, IsPbocDataValue, IsTagListValue, IsTrackDataValue})
        FUZZ_CHECK(check(text.Text()) == 0 || check(text.Text()) == 1);
    return 0;
}
