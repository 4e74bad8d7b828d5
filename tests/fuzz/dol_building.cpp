// Data-object lists: the data that a card asks for, out of stores that a host may have changed.
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "pboc/data_object_list.h"
#include "vantor/pboc.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

// What a host does to the stores: values through the setters, or anything at all.
void ChangeStores(fuzz::Input *input, bool freely)
{
    while (input->left > 0 && input->Flag())
    {
        const Bytes tag = input->Take(1 + input->Byte() % 2);
        const Bytes value = input->Block();
        if (tag.empty() || value.empty())
            return;
        PBOC_SetTxDataTagValue(tag.data(), static_cast<int>(tag.size()), value.data(),
                               static_cast<int>(value.size()));
        PBOC_SetAppInitDataTagValue(tag.data(), static_cast<int>(tag.size()), value.data(),
                                    static_cast<int>(value.size()));
    }
    if (!freely)
        return;
    for (unsigned char *store : {g_szTxData, g_szAppInitData, g_szExData})
    {
        const Bytes bytes = input->Take(input->Byte() % 51);
        std::copy(bytes.begin(), bytes.end(), store);
    }
    g_iTxDataLen = input->Number();
    g_iAppInitDataLen = input->Number();
    g_iExDataLen = input->Number();
}

void TakeEntries(const Bytes &list)
{
    for (size_t at = 0; at + 3 <= list.size(); at++)
    {
        Room entry(
            Bytes(list.begin() + static_cast<long>(at), list.begin() + static_cast<long>(at + 3)));
        Room tag(2);
        int32_t tagLength = 0;
        int32_t entryLength = 0;
        FUZZ_CHECK(PBOC_GetTagInDOL(entry.Data(), 3, tag.Data(), &tagLength, &entryLength) == 0);
        FUZZ_CHECK(tagLength == 1 || tagLength == 2);
        FUZZ_CHECK(entryLength > tagLength && entryLength <= tagLength + 3);
        FUZZ_CHECK(std::memcmp(tag.Data(), entry.Data(), static_cast<size_t>(tagLength)) == 0);
    }
}

} // namespace

// How the stores are changed, a capacity (two bytes), the list (a length byte before it), changes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const bool freely = input.Flag();
    const int capacity = input.Word() % 600;
    const Bytes list = input.Block();
    const fuzz::World world("", [](const Bytes &) { return fuzz::Answer(); });
    ChangeStores(&input, freely);
    TakeEntries(list);

    // The room that the header names, unless the stores hold other lengths than it knows; a value
    // is never longer than its store.
    const size_t entries = list.size() / 2 + 1;
    Room dol(list), built(entries * (freely ? sizeof g_szAppInitData : 20));
    int32_t length = 0;
    const int result = PBOC_BuildDOL(&context, 0, dol.Data(), dol.Size(), built.Data(), &length);
    FUZZ_CHECK(result == 0 || result == -99);
    FUZZ_CHECK(length >= 0 && length <= built.Size());
    FUZZ_CHECK(built.IsUntouchedFrom(static_cast<size_t>(length)));

    Room bounded(static_cast<size_t>(capacity));
    int32_t boundedLength = 0;
    const int boundedResult =
        BuildListData(dol.Data(), dol.Size(), bounded.Data(), bounded.Size(), &boundedLength);
    FUZZ_CHECK(boundedResult == 0 || boundedResult == -99);
    FUZZ_CHECK(boundedLength >= 0 && boundedLength <= capacity);
    FUZZ_CHECK(result != 0 || length > capacity ||
               (boundedResult == 0 && boundedLength == length &&
                std::memcmp(bounded.Data(), built.Data(), static_cast<size_t>(length)) == 0));
    return 0;
}
