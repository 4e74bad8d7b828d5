#include "pboc/data_object_list.h"

#include <climits>
#include <cstring>

#include "pboc/terminal_data.h"
#include "vantor/pboc.h"

int BuildListData(const uint8_t *list, int listLength, uint8_t *data, int capacity,
                  int32_t *dataLength)
{
    if (list == nullptr || data == nullptr || dataLength == nullptr)
        return listLength > 0 ? kNotFound : 0;
    int built = 0;
    int32_t entryLength = 0;
    for (int offset = 0; offset < listLength; offset += entryLength)
    {
        // An entry is at most a two-byte tag and the first byte of its length; what a list cut
        // short lacks of that reads as zero.
        uint8_t entry[3] = {};
        const int rest = listLength - offset;
        memcpy(entry, list + offset, rest < 3 ? static_cast<size_t>(rest) : sizeof entry);
        Tag tag{};
        int32_t tagLength = 0;
        PBOC_GetTagInDOL(entry, rest, tag.bytes, &tagLength, &entryLength);
        tag.length = tagLength;

        // The length that the card asks for is not looked at: the stores hold each value in the
        // length that PBOC gives it.
        int valueLength = 0;
        const int result = CopyTerminalValue(tag, data + built, capacity - built, &valueLength);
        if (result != 0)
            return result;
        built += valueLength;
        *dataLength = built;
    }
    return 0; // an empty list leaves *dataLength as it was
}

int PBOC_GetTagInDOL(const unsigned char *entry, int /*remaining*/, unsigned char *tag,
                     int32_t *tagLength, int32_t *entryLength)
{
    if (entry == nullptr || tag == nullptr || tagLength == nullptr || entryLength == nullptr)
        return 0;
    *tagLength = (entry[0] & 0x1F) == 0x1F ? 2 : 1;
    memcpy(tag, entry, static_cast<size_t>(*tagLength));
    const unsigned char length = entry[*tagLength];
    *entryLength = *tagLength + (length == 0x81 ? 2 : length == 0x82 ? 3 : 1);
    return 0;
}

int PBOC_BuildDOL(DEVCONTEXT * /*deviceContext*/, int /*cardType*/, const unsigned char *dol,
                  int dolLength, unsigned char *data, int32_t *dataLength)
{
    return BuildListData(dol, dolLength, data, INT_MAX, dataLength);
}
