#include "api/card_elements.h"

#include <cstring>

#include "vantor/transport.h"

int ReadElement(const CardSession &card, const Tag &tag, Source source,
                uint8_t (&value)[kResponseArea])
{
    constexpr int kNone = -1;
    if (source == Source::kGetData)
    {
        int32_t length = 0;
        PBOC_GetData(&context, card.cardType, tag.bytes, tag.length, value, &length);
        return length > 0 ? length : kNone;
    }
    TlvObject object{};
    if (!FindObject(tag, card.applicationData, card.applicationDataLength, &object))
        return kNone;
    return CopyValue(tag, card.applicationData, card.applicationDataLength, value, sizeof value);
}

void WriteElements(const CardSession &card, const Element *elements, size_t count,
                   const char *tagList, char *info)
{
    for (size_t i = 0; i < count; i++)
    {
        const Element &element = elements[i];
        if (strchr(tagList, element.letter) == nullptr)
            continue;
        uint8_t value[kResponseArea] = {};
        const int length = ReadElement(card, element.tag, element.source, value);
        info = element.append(info, element.letter, value, length > 0 ? length : 0);
    }
    *info = '\0';
}
