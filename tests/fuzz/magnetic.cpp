// Magnetic stripes: what the module says about tracks read and written, and track texts.
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/magnetic_stripe.h"
#include "vantor/magnetic_stripe_operations.h"
#include "vantor/support.h"
#include "vantor/terminal.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

const uint32_t kModes[] = {1, 2, 3, 12, 13, 23, 123, 0};

bool IsStripeCode(int result)
{
    for (int code :
         {0,     -1,    -2,    -19,   -22,   -62,   -125,  -2000, -2001, -2002, -2003, -2004,
          -2102, -2103, -2104, -2105, -2106, -2107, -1000, -1003, -1004, -1006, -1007, -1014})
        if (result == code)
            return true;
    return false;
}

// Behind tracks 2 and 3 stands a NUL while both are shorter than their room; nothing else is
// written that the room does not hold.
void Split(const std::string &reply, size_t one, size_t two, size_t three)
{
    Room text(reply);
    Room track1(one), track2(two), track3(three);
    FUZZ_CHECK(GetMsrTrackData(text.Text(), static_cast<uint32_t>(two), track2.Text(),
                               static_cast<uint32_t>(three), track3.Text()) == 0);
    Room again1(one), again2(two), again3(three);
    FUZZ_CHECK(GetMsrTrackData123(text.Text(), static_cast<uint32_t>(one), again1.Text(),
                                  static_cast<uint32_t>(two), again2.Text(),
                                  static_cast<uint32_t>(three), again3.Text()) == 0);
    FUZZ_CHECK(GetMsrTrackData123(text.Text(), 0, nullptr, static_cast<uint32_t>(two),
                                  again2.Text(), 0, nullptr) == 0);
    for (int kind = -1; kind < 4; kind++)
    {
        Room number(reply.size() + 1);
        const int result = MSR_GetCardNo(kind, text.Text(), number.Text());
        FUZZ_CHECK(result == 0 || result == -2105);
        if (result == 0)
            number.TextLength();
    }
}

void ReadTracks(uint32_t mode, size_t capacity)
{
    Room one(capacity, 0), two(capacity, 0), three(capacity, 0);
    const uint32_t room = static_cast<uint32_t>(capacity);
    FUZZ_CHECK(IsStripeCode(MSR_ReadTrack(&context, 0, mode, room, one.Text(), room, two.Text(),
                                          room, three.Text(), 1000)));
    uint32_t lengths[3] = {};
    FUZZ_CHECK(IsStripeCode(BO_ReadMagCard(0, mode, room, one.Text(), &lengths[0], room, two.Text(),
                                           &lengths[1], room, three.Text(), &lengths[2], 1)));
    for (uint32_t length : lengths)
        FUZZ_CHECK(length <= room);
}

void TakeNumber(uint32_t mode, int kind)
{
    Room number(256);
    uint32_t length = 0;
    FUZZ_CHECK(IsStripeCode(BO_GetMagCardNo(0, mode, kind, number.Text(), &length, 1)));
    FUZZ_CHECK(length == 0 || length == number.TextLength());
}

void WriteTracks(const std::string &text)
{
    Room track(text);
    for (uint32_t mode : {1U, 2U, 3U, 23U, 7U})
        FUZZ_CHECK(
            IsStripeCode(MSR_WriteTrack(&context, 0, mode, track.Text(), track.Text(), 1000)));
    FUZZ_CHECK(IsStripeCode(BO_WriteMagCard(0, 0, 0, track.Text(), 0, track.Text(), 0, 1)));
    FUZZ_CHECK(IsStripeCode(BO_WriteMagCard(0, 0, 0, track.Text(), 0, nullptr, 0, 1)));
    IsTrackDataValue(track.Text());
}

} // namespace

// Mode and separator, a capacity, how the line behaves, a track to write, what the module says.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t choice = input.Byte();
    const size_t capacity = input.Word() % 300;
    const uint8_t how = input.Byte();
    const std::string track = input.Text();
    const Bytes wire = input.Rest();
    const std::string reply(wire.begin(), std::find(wire.begin(), wire.end(), 0));
    Split(reply, capacity, capacity % 7 + reply.size() / 2, capacity % 100);

    const fuzz::World world("",
                            [&](const Bytes &)
                            {
                                fuzz::Answer answer;
                                answer.bytes = wire;
                                answer.piece = how & 0x0F;
                                answer.gone = (how & 0x80) != 0;
                                return answer;
                            });
    if ((how & 0x10) != 0)
        GSetLogLevel(2);
    const bool usb = (how & 0x20) != 0;
    fuzz::OpenLine(usb ? fuzz::LineKind::kUsb : fuzz::LineKind::kSerial);
    const uint32_t mode = kModes[choice & 0x07];
    if ((how & 0x40) == 0)
    {
        ReadTracks(mode, capacity);
        TakeNumber(mode, (choice >> 3 & 0x03) - 1);
        return 0;
    }
    WriteTracks(track);
    BO_ResetMsr();
    COMM_Close(&context);
    Room two(255), three(255);
    MS_ReadCard("USB", nullptr, 9600, 1, static_cast<int>(mode), 0, two.Text(), three.Text());
    return 0;
}
