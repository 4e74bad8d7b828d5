// The payment system environment: its FCI and the records of its directory files.
#include "fuzz/support/card.h"
#include "fuzz/support/room.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

using fuzz::Room;

bool IsCommandResult(int result)
{
    for (int code : {0, 100, -99, -22, -74, -4004, -4005, -4006})
        if (result == code)
            return true;
    return false;
}

bool IsWithin(const Room &area, int32_t length)
{
    return length >= 0 && length <= area.Size() &&
           area.IsUntouchedFrom(std::max<size_t>(8, static_cast<size_t>(length)));
}

} // namespace

// How the line speaks, then the card's responses.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const int cardType = how & 0x01;
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            fuzz::CardOfResponses(&input));
    fuzz::LimitExchanges(1200);
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine(fuzz::LineKind::kSerial);

    Room directory(VANTOR_PBOC_AREA_SIZE), aid(VANTOR_PBOC_AREA_SIZE), fci(VANTOR_PBOC_AREA_SIZE);
    int32_t length = 0;
    static const unsigned char name[] = "1PAY.SYS.DDF01";
    FUZZ_CHECK(
        IsCommandResult(PBOC_SelectPSE(&context, cardType, name, 14, directory.Data(), &length)));
    FUZZ_CHECK(IsWithin(directory, length));

    int32_t aidLength = -1;
    FUZZ_CHECK(PBOC_GetAID(&context, cardType, directory.Data(), length, aid.Data(), &aidLength) ==
               0);
    FUZZ_CHECK(IsWithin(aid, aidLength));
    // A record and its follow-ups, 255 records in all, and the selection before.
    FUZZ_CHECK(fuzz::Exchanges() <= 256 * 33);

    int32_t fciLength = 0;
    FUZZ_CHECK(IsCommandResult(
        PBOC_SelectAID(&context, cardType, aid.Data(), aidLength, fci.Data(), &fciLength)));
    FUZZ_CHECK(IsWithin(fci, fciLength));
    return 0;
}
