// Replies of the identity module: the end of a frame, its payload, the raw record.
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

// Once a frame is whole it stays whole, whatever comes behind it.
void WatchForTheEnd(const Bytes &wire)
{
    bool ended = false;
    for (size_t count = 0; count <= wire.size(); count += count < 20 ? 1 : 997)
    {
        Room prefix(Bytes(wire.begin(), wire.begin() + static_cast<long>(count)));
        const bool isEnd = KrelIdPacketIsEnd(prefix.Data(), static_cast<uint32_t>(count)) != 0;
        FUZZ_CHECK(isEnd || !ended);
        ended = isEnd;
    }
}

bool IsIdentityCode(int result)
{
    for (int code : {0, -1, -2, -19, -22, -62, -125, -3000, -3001, -3002, -3004})
        if (result == code)
            return true;
    return false;
}

void ReadRecords()
{
    Room raw(4096), withFingerprint(4096);
    int32_t length = -1;
    FUZZ_CHECK(IsIdentityCode(ID_ResetCard(&context, 1000)));
    FUZZ_CHECK(IsIdentityCode(ID_FindCard(&context, 1000)));
    FUZZ_CHECK(IsIdentityCode(ID_SelectCard(&context, 1000)));
    FUZZ_CHECK(IsIdentityCode(ID_SetIdBaud(&context, 115200, 1000)));
    int result = ID_ReadCard(&context, raw.Data(), &length, 3000);
    FUZZ_CHECK(IsIdentityCode(result));
    FUZZ_CHECK(result != 0 || (length >= 0 && raw.IsUntouchedFrom(static_cast<size_t>(length))));
    FUZZ_CHECK(result == 0 || (length == -1 && raw.IsUntouchedFrom(0)));
    result = ID_ReadCard_FP(&context, withFingerprint.Data(), &length, 3000);
    FUZZ_CHECK(IsIdentityCode(result));
    FUZZ_CHECK(result != 0 || (length >= 0 && length <= 4096));
}

} // namespace

// Two bytes of capacity, one that says how the line behaves, then what it says.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const int capacity = input.Word() % 5000;
    const uint8_t how = input.Byte();
    const Bytes wire = input.Rest();
    WatchForTheEnd(wire);

    const fuzz::World world("IdBaud=115200\n",
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
    fuzz::OpenLine((how & 0x20) != 0 ? fuzz::LineKind::kUsb : fuzz::LineKind::kSerial);
    static const unsigned char command[] = {0x20, 0x01};
    Room response(static_cast<size_t>(capacity));
    const int result =
        ID_SendCmd(&context, command, sizeof command, response.Data(), response.Size(), 1000);
    FUZZ_CHECK(result >= -125 && result <= 4096);
    // What was received is counted with the frame around it; the payload is shorter.
    FUZZ_CHECK(result != -22 || response.IsUntouchedFrom(0));
    if ((how & 0x40) != 0)
        ReadRecords();
    return 0;
}
