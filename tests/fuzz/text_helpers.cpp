// The helpers for bytes and texts that a host calls with anything: hexadecimal, BCD, URL and Base64
// text, the conversion to GB18030, checksums, ciphers, names of files.
#include "fuzz/support/room.h"
#include "vantor/ciphers.h"
#include "vantor/support.h"
#include "vantor/text_conversion.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

void Hex(Room *in, int capacity)
{
    Room bytes(static_cast<size_t>(capacity)), text(static_cast<size_t>(capacity));
    Room digits(static_cast<size_t>(capacity)), packed(static_cast<size_t>(capacity));
    int count = GHex2Byte(in->Text(), in->Size(), bytes.Data(), capacity);
    FUZZ_CHECK(count <= capacity &&
               (count < 0 || bytes.IsUntouchedFrom(static_cast<size_t>(count))));
    count = GByte2Hex(in->Data(), in->Size(), text.Text(), capacity);
    FUZZ_CHECK(count <= capacity &&
               (count < 0 || text.IsUntouchedFrom(static_cast<size_t>(count))));
    count = GBCD2Ansi(in->Data(), in->Size(), digits.Text(), capacity);
    FUZZ_CHECK(count <= capacity &&
               (count < 0 || digits.IsUntouchedFrom(static_cast<size_t>(count))));
    count = GAnsi2BCD(in->Text(), in->Size(), packed.Data(), capacity);
    FUZZ_CHECK(count <= capacity &&
               (count < 0 || packed.IsUntouchedFrom(static_cast<size_t>(count))));

    // There and back.
    Room hex(2 * in->size), again(in->size);
    if (in->size == 0)
        return;
    FUZZ_CHECK(GByte2Hex(in->Data(), in->Size(), hex.Text(), hex.Size()) == hex.Size());
    FUZZ_CHECK(GHex2Byte(hex.Text(), hex.Size(), again.Data(), again.Size()) == in->Size());
    FUZZ_CHECK(std::memcmp(again.Data(), in->Data(), in->size) == 0);
}

void Url(Room *in, int capacity)
{
    Room text(static_cast<size_t>(capacity) + 1), bytes(static_cast<size_t>(capacity) + 1);
    FUZZ_CHECK(GURLEncode(in->Data(), in->Size(), text.Text(), capacity) <= capacity);
    FUZZ_CHECK(GURLDecode(in->Text(), in->Size(), bytes.Data(), capacity) <= capacity);
    Room whole(3 * in->size + 2), again(3 * in->size + 2);
    const int length = GURLEncode(in->Data(), in->Size(), whole.Text(), whole.Size() - 1);
    if (length == 0) // nothing, or a zero byte
        return;
    FUZZ_CHECK(whole.TextLength() == static_cast<size_t>(length));
    FUZZ_CHECK(GURLDecode(whole.Text(), length, again.Data(), again.Size() - 1) == in->Size());
    FUZZ_CHECK(std::memcmp(again.Data(), in->Data(), in->size) == 0);
}

void Base64(Room *in)
{
    char *text = base64_encode(in->Data(), in->Size());
    FUZZ_CHECK(text != nullptr && std::strlen(text) == (in->size + 2) / 3 * 4);
    int size = -1;
    unsigned char *bytes = base64_decode(text, static_cast<int>(std::strlen(text)), &size);
    FUZZ_CHECK(bytes != nullptr && size >= in->Size());
    FUZZ_CHECK(std::memcmp(bytes, in->Data(), in->size) == 0);
    std::free(bytes);
    std::free(text);
    bytes = base64_decode(in->Text(), in->Size(), &size);
    FUZZ_CHECK(bytes != nullptr && size >= 0);
    const Bytes all(bytes, bytes + size); // every byte that the size tells is there to be read
    FUZZ_CHECK(all.size() >= in->size / 4 * 3);
    std::free(bytes);
}

void Gb18030(Room *in)
{
    // An odd byte at the end begins a unit of its own.
    Room out(4 * ((std::min<size_t>(in->size, 510) + 1) / 2) + 2);
    FUZZ_CHECK(GStrUnicode2GB18030(in->Text(), out.Text(), in->Size()) <= out.Size());
    // The other conversions end at a code unit 0000.
    Bytes ended(in->Data(), in->Data() + in->size);
    ended.resize((ended.size() + 1) / 2 * 2);
    ended.insert(ended.end(), {0, 0});
    Room text(ended), converted(2 * ended.size() + 2);
    const uint32_t units = app_ucs2_strlen(text.Data());
    FUZZ_CHECK(units < ended.size() / 2);
    mmi_chset_ucs2_to_gb18030_str(converted.Data(), text.Data(),
                                  static_cast<uint16_t>(converted.size));
    for (size_t at = 0; at + 2 <= ended.size(); at += 2)
    {
        Room unit(4);
        const uint32_t count = mmi_chset_ucs2_to_gb18030(unit.Data(), text.Data() + at);
        FUZZ_CHECK((count == 1 || count == 2 || count == 4) && unit.IsUntouchedFrom(count));
    }
}

void Digests(Room *in, Room *key)
{
    Room text(33), encoded(33);
    unsigned char digest[16];
    MD5CONTEXT md5;
    MD5Init(&md5);
    const unsigned half = static_cast<unsigned>(in->size / 2);
    MD5Update(&md5, in->Data(), half);
    MD5Update(&md5, in->Data() + half, static_cast<unsigned>(in->size) - half);
    MD5Final(digest, &md5);
    FUZZ_CHECK(MD5Result(digest, text.Text(), 33) != nullptr && text.TextLength() == 32);
    if (GMd5Encode(in->Text(), in->Size(), encoded.Text(), 33) == 0)
        FUZZ_CHECK(std::strcmp(text.Text(), encoded.Text()) == 0);
    GCalXor(in->Data(), in->size);
    GCalSum(in->Data(), in->size);
    GCalCRC16(in->Data(), in->Size());
    if (in->size < 8)
        return;
    Room cipher(8), plain(8);
    DES3(key->Data(), key->Size(), in->Data(), cipher.Data());
    _DES3(key->Data(), key->Size(), cipher.Data(), plain.Data());
    FUZZ_CHECK(std::memcmp(plain.Data(), in->Data(), 8) == 0);
    if (key->size != 16 && key->size != 24)
        return;
    FUZZ_CHECK(G3DesEncrypt(in->Data(), key->Data(), cipher.Data(), key->Size()) == 0);
    FUZZ_CHECK(G3DesDecrypt(cipher.Data(), key->Data(), plain.Data(), key->Size()) == 0);
    FUZZ_CHECK(std::memcmp(plain.Data(), in->Data(), 8) == 0);
}

void Trim(Room *in, int capacity)
{
    Room out(static_cast<size_t>(capacity));
    const int count = GTrimZero(in->Data(), static_cast<uint32_t>(in->size), out.Data(), capacity);
    FUZZ_CHECK(count == -22 || count == -99 || (count > 0 && count <= capacity));
    FUZZ_CHECK(count < 0 || out.IsUntouchedFrom(static_cast<size_t>(count)));
}

void NameFile(const Bytes &bytes, int capacity)
{
    Room path(std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)));
    Room name(static_cast<size_t>(capacity));
    if (GGetFileName(path.Text(), name.Text(), capacity) == 0)
        name.TextLength();
}

} // namespace

// A capacity (two bytes), a key with its length before it, the bytes.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const int capacity = input.Word() % 2000;
    Room key(input.Take(input.Byte() % 33));
    const Bytes bytes = input.Rest();
    Room in(bytes);
    Hex(&in, capacity);
    Url(&in, capacity);
    Base64(&in);
    Gb18030(&in);
    Digests(&in, &key);
    Trim(&in, capacity);
    NameFile(bytes, capacity);
    return 0;
}
