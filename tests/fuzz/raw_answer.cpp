// Raw exchanges: answers of a known length, answers that end in a marker, and what the reader
// sends unasked.
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/link.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

void WatchForTheEnd(const Bytes &wire)
{
    bool packetEnded = false;
    bool writeEnded = false;
    for (size_t count = 0; count <= wire.size(); count += count < 40 ? 1 : 251)
    {
        Room prefix(Bytes(wire.begin(), wire.begin() + static_cast<long>(count)));
        const bool packet = MsrPacketIsEnd(prefix.Data(), static_cast<uint32_t>(count)) != 0;
        const bool write = MsrWriteIsEnd(prefix.Data(), static_cast<uint32_t>(count)) != 0;
        FUZZ_CHECK((packet || !packetEnded) && (write || !writeEnded));
        packetEnded = packet;
        writeEnded = write;
    }
}

bool IsRawResult(int result, int most)
{
    for (int code : {-1, -2, -19, -22, -62, -125})
        if (result == code)
            return true;
    return result >= 0 && result <= most;
}

} // namespace

// Capacity and expected length (two bytes each), how the line behaves, a command, what it says.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const int capacity = input.Word() % 2000;
    const int expected = static_cast<int16_t>(input.Word());
    const uint8_t how = input.Byte();
    const uint8_t written = input.Byte();
    Room command(input.Block());
    const Bytes wire = input.Rest();
    WatchForTheEnd(wire);

    const fuzz::World world("",
                            [&](const Bytes &)
                            {
                                fuzz::Answer answer;
                                answer.bytes = wire;
                                answer.piece = how & 0x0F;
                                answer.gone = (how & 0x80) != 0;
                                if ((how & 0x40) != 0)
                                    answer.written = written;
                                return answer;
                            });
    if ((how & 0x10) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine((how & 0x20) != 0 ? fuzz::LineKind::kUsb : fuzz::LineKind::kSerial);
    const int most = std::max(capacity, command.Size());
    {
        Room response(static_cast<size_t>(capacity));
        FUZZ_CHECK(IsRawResult(RAWL_SendCmd(&context, command.Data(), command.Size(),
                                            response.Data(), response.Size(), expected, 500),
                               most));
    }
    for (const char *endKind : {"?\x1C", "rp/q", "none"})
    {
        Room response(static_cast<size_t>(capacity));
        FUZZ_CHECK(IsRawResult(RAWC_SendCmd(&context, command.Data(), command.Size(),
                                            response.Data(), response.Size(), endKind, 500),
                               most));
    }
    FUZZ_CHECK(IsRawResult(Vantor_ReadData(&context, 500), 4096));
    Vantor_ChangeMode(&context, how & 0x03);
    Vantor_SetBpPort(&context, written);
    Vantor_Reset(&context, 100);
    Vantor_Close(&context);
    return 0;
}
