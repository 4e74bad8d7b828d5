#include "pboc/tlv.h"

#include <cstring>

#include "vantor/pboc.h"

namespace
{

struct ParsedObject
{
    const uint8_t *tag;
    int tagLength;
    bool constructed;
    TlvObject value;
    int next; // where the walk goes on: behind a value, inside a constructed object
};

// A constructed object with a two-byte length ends a search, but a store is written through it.
enum class ConstructedTwoByteLength
{
    kEndsTheWalk,
    kIsSteppedOver
};

bool ParseLength(const uint8_t *buffer, int bufferLength, int offset, int *fieldLength,
                 int *valueLength)
{
    if (offset >= bufferLength)
        return false;
    const int first = buffer[offset];
    // 0x83 and above are no long forms here: such a byte is itself the length.
    *fieldLength = first == 0x81 ? 2 : first == 0x82 ? 3 : 1;
    if (*fieldLength > bufferLength - offset)
        return false;
    if (first == 0x81)
        *valueLength = buffer[offset + 1];
    else if (first == 0x82)
        *valueLength = buffer[offset + 1] << 8 | buffer[offset + 2];
    else
        *valueLength = first;
    return true;
}

bool ParseObject(const uint8_t *buffer, int bufferLength, int offset,
                 ConstructedTwoByteLength twoByteLength, ParsedObject *object)
{
    if (offset >= bufferLength)
        return false;
    object->tag = buffer + offset;
    object->tagLength = (buffer[offset] & 0x1F) == 0x1F ? 2 : 1;
    object->constructed = (buffer[offset] & 0x20) != 0;
    offset += object->tagLength;

    int fieldLength = 0;
    int valueLength = 0;
    if (!ParseLength(buffer, bufferLength, offset, &fieldLength, &valueLength))
        return false;
    if (object->constructed)
    {
        // Entered, whatever length it claims: its contents are checked one by one.
        if (fieldLength == 3 && twoByteLength == ConstructedTwoByteLength::kEndsTheWalk)
            return false;
        valueLength = 0;
    }
    offset += fieldLength;
    if (valueLength > bufferLength - offset)
        return false;
    object->value = {offset, valueLength};
    object->next = offset + valueLength;
    return true;
}

bool HasTag(const ParsedObject &object, const uint8_t *tag, int tagLength)
{
    return object.tagLength == tagLength &&
           memcmp(object.tag, tag, static_cast<size_t>(tagLength)) == 0;
}

bool Find(const uint8_t *tag, int tagLength, const uint8_t *buffer, int bufferLength,
          TlvObject *found)
{
    ParsedObject object{};
    while (ParseObject(buffer, bufferLength, object.next, ConstructedTwoByteLength::kEndsTheWalk,
                       &object))
        if (HasTag(object, tag, tagLength))
        {
            *found = object.value;
            return true;
        }
    return false;
}

} // namespace

bool FindObject(const Tag &tag, const uint8_t *buffer, int bufferLength, TlvObject *object)
{
    return Find(tag.bytes, tag.length, buffer, bufferLength, object);
}

int CopyValue(const Tag &tag, const uint8_t *buffer, int bufferLength, uint8_t *value, int capacity)
{
    TlvObject object{};
    if (!FindObject(tag, buffer, bufferLength, &object))
        return 0;
    const int length = object.length < capacity ? object.length : capacity;
    memcpy(value, buffer + object.offset, static_cast<size_t>(length));
    return length;
}

int PBOC_GetTagValue(const unsigned char *tag, int tagLength, const unsigned char *buffer,
                     int bufferLength, unsigned char *value, int32_t *valueLength)
{
    if (value == nullptr || valueLength == nullptr)
        return kNotFound;
    memset(value, 0, 8);
    *valueLength = 0;
    TlvObject object{};
    if (tag == nullptr || buffer == nullptr || !Find(tag, tagLength, buffer, bufferLength, &object))
        return kNotFound;
    memmove(value, buffer + object.offset, static_cast<size_t>(object.length));
    *valueLength = object.length;
    return object.offset;
}

int PBOC_SetTagValue(const unsigned char *tag, int tagLength, unsigned char *buffer,
                     int bufferLength, const unsigned char *value, int valueLength)
{
    if (tag == nullptr || buffer == nullptr || value == nullptr)
        return kNotFound;
    ParsedObject object{};
    while (ParseObject(buffer, bufferLength, object.next, ConstructedTwoByteLength::kIsSteppedOver,
                       &object))
        // An object of the tag but of another length is passed over: values never change size.
        if (HasTag(object, tag, tagLength) && object.value.length == valueLength)
        {
            memmove(buffer + object.value.offset, value, static_cast<size_t>(valueLength));
            return 0;
        }
    return kNotFound;
}
