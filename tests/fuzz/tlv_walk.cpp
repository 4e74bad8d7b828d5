// Walks over TLV objects, reading and writing, held against a walk written anew here.
#include "fuzz/support/room.h"
#include "pboc/tlv.h"
#include "vantor/pboc.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

struct Object
{
    size_t tag;
    size_t tagLength;
    size_t value;
    size_t length;
};

// All objects of the bytes, in order, up to the first one that is malformed. `enters` says whether
// a constructed object with a length of two bytes is entered as others are, or ends the walk.
std::vector<Object> Objects(const Bytes &bytes, bool enters)
{
    std::vector<Object> objects;
    size_t at = 0;
    while (at < bytes.size())
    {
        Object object = {at, (bytes[at] & 0x1F) == 0x1F ? size_t{2} : size_t{1}, 0, 0};
        const bool constructed = (bytes[at] & 0x20) != 0;
        at += object.tagLength;
        if (at >= bytes.size())
            break;
        const uint8_t first = bytes[at];
        const size_t fieldLength = first == 0x81 ? 2 : first == 0x82 ? 3 : 1;
        if (bytes.size() - at < fieldLength)
            break;
        object.length = first;
        if (fieldLength == 2)
            object.length = bytes[at + 1];
        if (fieldLength == 3)
            object.length = static_cast<size_t>(bytes[at + 1]) << 8 | bytes[at + 2];
        if (constructed && fieldLength == 3 && !enters)
            break;
        if (constructed)
            object.length = 0;
        at += fieldLength;
        if (bytes.size() - at < object.length)
            break;
        object.value = at;
        at += object.length;
        objects.push_back(object);
    }
    return objects;
}

bool HasTag(const Bytes &bytes, const Object &object, const Bytes &tag)
{
    return object.tagLength == tag.size() &&
           std::memcmp(bytes.data() + object.tag, tag.data(), tag.size()) == 0;
}

void Get(const Bytes &bytes, const Bytes &tag)
{
    Room tagRoom(tag), buffer(bytes);
    Room value(std::max<size_t>(bytes.size(), 8));
    int32_t length = -1;
    const int result = PBOC_GetTagValue(tagRoom.Data(), tagRoom.Size(), buffer.Data(),
                                        buffer.Size(), value.Data(), &length);
    const Object *expected = nullptr;
    const std::vector<Object> objects = Objects(bytes, false);
    for (const Object &object : objects)
        if (expected == nullptr && HasTag(bytes, object, tag))
            expected = &object;
    FUZZ_CHECK(result == (expected == nullptr ? -99 : static_cast<int>(expected->value)));
    FUZZ_CHECK(length == (expected == nullptr ? 0 : static_cast<int>(expected->length)));
    FUZZ_CHECK(length == 0 ||
               std::memcmp(value.Data(), bytes.data() + result, static_cast<size_t>(length)) == 0);
    FUZZ_CHECK(value.IsUntouchedFrom(std::max<size_t>(8, static_cast<size_t>(length))));
    if (tag.size() != 1 && tag.size() != 2)
        return;
    Room cut(5);
    Tag known = {{tag[0], tag.size() == 2 ? tag[1] : uint8_t{0}}, static_cast<int>(tag.size())};
    FUZZ_CHECK(CopyValue(known, buffer.Data(), buffer.Size(), cut.Data(), cut.Size()) ==
               std::min(length, 5));
}

void Set(const Bytes &bytes, const Bytes &tag, const Bytes &value)
{
    Room tagRoom(tag), buffer(bytes), valueRoom(value);
    const int result = PBOC_SetTagValue(tagRoom.Data(), tagRoom.Size(), buffer.Data(),
                                        buffer.Size(), valueRoom.Data(), valueRoom.Size());
    Bytes expected = bytes;
    int expectedResult = -99;
    for (const Object &object : Objects(bytes, true))
    {
        if (!HasTag(bytes, object, tag) || object.length != value.size())
            continue;
        std::copy(value.begin(), value.end(), expected.begin() + static_cast<long>(object.value));
        expectedResult = 0;
        break;
    }
    FUZZ_CHECK(result == expectedResult);
    FUZZ_CHECK(bytes.empty() || std::memcmp(buffer.Data(), expected.data(), bytes.size()) == 0);
}

} // namespace

// A tag of up to 3 bytes, a new value, the objects.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const Bytes tag = input.Take(input.Byte() % 4);
    const Bytes value = input.Block();
    const Bytes bytes = input.Rest();
    Get(bytes, tag);
    Set(bytes, tag, value);
    return 0;
}
