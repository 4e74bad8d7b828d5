#include "damage/bench/scheme.h"

#include <cstdlib>
#include <cstring>

#include "support/identity_card.h"
#include "support/reader_script.h"

namespace damage_testing
{

namespace
{

// Of the damaged answers of a subject so many are tried; a sanitizer makes each of them dearer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t kUsualCount = 800;
#else
constexpr size_t kUsualCount = 4000;
#endif
constexpr size_t kLongFormFrom = 255;
constexpr size_t kLongFormBase = 0xB0; // what the byte behind FF counts from
constexpr size_t kLongestLongForm = kLongFormFrom + 0xFF - kLongFormBase;

// 00, FF, the ends and beginnings of frames, digits, ESC, "?", 1C, "r" and "A" of the stripe, tags.
const std::string kMeaningful("\x00\xFF\x02\x03"
                              "06F\x1B?\x1Cr"
                              "A|\x70\x77\x80\x81\x82\xAA",
                              19);

bool GetsEveryValue(size_t at, size_t size)
{
    return size <= kShortAnswer || at < kHead || at + kTail >= size;
}

std::string Nibbles(const std::string &frame)
{
    std::string bytes;
    for (size_t i = 1; i + 2 < frame.size(); i += 2)
        bytes += static_cast<char>((frame[i] & 0x0F) << 4 | (frame[i + 1] & 0x0F));
    return bytes;
}

char Check(const std::string &bytes)
{
    char check = 0;
    for (char byte : bytes)
        check = static_cast<char>(check ^ byte);
    return check;
}

std::string KrelIcFrame(const std::string &payload)
{
    static const char kDigits[] = "0123456789ABCDEF";
    const bool isLong = payload.size() >= kLongFormFrom;
    if (isLong && (payload.size() > kLongestLongForm || payload[0] != '\0'))
        return "";
    std::string bytes = "\x60";
    if (isLong)
    {
        bytes += '\xFF';
        bytes += static_cast<char>(payload.size() - kLongFormFrom + kLongFormBase);
        bytes.append(payload, 1); // the status is not sent
    }
    else
        bytes += static_cast<char>(payload.size()) + payload;
    bytes += Check(bytes);
    std::string text;
    for (char byte : bytes)
        text += {kDigits[static_cast<unsigned char>(byte) >> 4], kDigits[byte & 0x0F]};
    return text + ETX;
}

std::string UnionFrame(const std::string &payload)
{
    std::string bytes = {static_cast<char>(payload.size() >> 8), static_cast<char>(payload.size())};
    bytes += payload + Check(payload);
    std::string text = STX;
    for (char byte : bytes)
        text += {static_cast<char>(0x30 + (static_cast<unsigned char>(byte) >> 4)),
                 static_cast<char>(0x30 + (byte & 0x0F))};
    return text + ETX;
}

} // namespace

size_t CountOfDamage(size_t size)
{
    size_t count = size;
    for (size_t at = 0; at < size; at++)
        count += GetsEveryValue(at, size) ? 255 : 4;
    const bool everyValue = TriesAll() && size <= kShortAnswer;
    return count + (size + 1) * (everyValue ? 256 : kMeaningful.size() + 1);
}

bool TriesAll()
{
    static const char *const text = getenv("VANTOR_DAMAGE");
    return text != nullptr && strcmp(text, "all") == 0;
}

static size_t TriedCount()
{
    static const char *const text = getenv("VANTOR_DAMAGE");
    static const size_t count = text != nullptr ? strtoul(text, nullptr, 10) : 0;
    return count > 0 ? count : kUsualCount;
}

size_t StrideFor(size_t count)
{
    const auto isPrime = [](size_t number)
    {
        for (size_t divisor = 2; divisor * divisor <= number; divisor++)
            if (number % divisor == 0)
                return false;
        return true;
    };
    size_t stride = TriesAll() ? 1 : count / TriedCount();
    while (stride > 1 && !isPrime(stride))
        stride++;
    return stride > 0 ? stride : 1;
}

void ForEachDamage(const std::string &good, const std::function<void(const std::string &)> &visit)
{
    const size_t size = good.size();
    const auto byteAt = [&](size_t at) { return static_cast<unsigned char>(good[at]); };
    for (size_t length = 0; length < size; length++)
        visit(good.substr(0, length));

    std::string damaged = good;
    for (size_t at = 0; at < size; at++)
    {
        const unsigned char before = byteAt(at);
        for (unsigned value = 0; value < 256; value++)
        {
            const bool few = value == 0x00 || value == 0xFF || value == (before ^ 0x01U) ||
                             value == (before ^ 0x80U);
            if (value == before || !(few || GetsEveryValue(at, size)))
                continue;
            damaged[at] = static_cast<char>(value);
            visit(damaged);
        }
        damaged[at] = good[at];
    }

    const bool everyValue = TriesAll() && size <= kShortAnswer;
    for (size_t at = 0; at <= size; at++)
    {
        for (unsigned value = 0; value < 256; value++)
        {
            const char byte = static_cast<char>(value);
            const bool doubles = at > 0 && byte == good[at - 1];
            if (everyValue || doubles || kMeaningful.find(byte) != std::string::npos)
                visit(good.substr(0, at) + byte + good.substr(at));
        }
    }
}

bool TakeFrameOff(const std::string &answer, Frame *frame, std::string *payload)
{
    if (answer.compare(0, 2, "60") == 0 && answer.size() > 6)
    {
        const std::string bytes = testing_support::FromHex(answer.substr(0, answer.size() - 1));
        const bool isLong = static_cast<unsigned char>(bytes[1]) == 0xFF;
        *frame = Frame::kKrelIc;
        *payload =
            isLong ? '\0' + bytes.substr(3, bytes.size() - 4) : bytes.substr(2, bytes.size() - 3);
        return true;
    }
    if (answer.compare(0, 1, STX) == 0 && answer.size() > 7)
    {
        const std::string bytes = Nibbles(answer);
        *frame = Frame::kUnion;
        *payload = bytes.substr(2, bytes.size() - 3);
        return true;
    }
    if (answer.compare(0, 5, "\xAA\xAA\xAA\x96\x69") == 0 && answer.size() > 8)
    {
        *frame = Frame::kIdentity;
        *payload = answer.substr(7, answer.size() - 8);
        return true;
    }
    return false;
}

std::string PutFrameAround(Frame frame, const std::string &payload)
{
    switch (frame)
    {
    case Frame::kKrelIc:
        return KrelIcFrame(payload);
    case Frame::kUnion:
        return UnionFrame(payload);
    default:
        return testing_support::IdentityFrame(payload);
    }
}

} // namespace damage_testing
