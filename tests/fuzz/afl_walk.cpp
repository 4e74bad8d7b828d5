// GET PROCESSING OPTIONS and the records that the file locator names; GET DATA.
#include "fuzz/support/card.h"
#include "fuzz/support/room.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

using fuzz::Room;

void ReadRecords(int cardType, Room *afl, int32_t aflLength)
{
    Room data(VANTOR_APP_DATA_SIZE);
    int32_t length = -1;
    FUZZ_CHECK(PBOC_GetAppData(&context, cardType, afl->Data(), aflLength, data.Data(), &length) ==
               0);
    FUZZ_CHECK(length >= 0 && length <= VANTOR_APP_DATA_SIZE);
    FUZZ_CHECK(data.IsUntouchedFrom(static_cast<size_t>(length)));
}

} // namespace

// How the line speaks, the PDOL's data, the card's responses.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    Room options(input.Block());
    const int cardType = how & 0x01;
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            fuzz::CardOfResponses(&input));
    fuzz::LimitExchanges(600);
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine(fuzz::LineKind::kSerial);

    Room aip(VANTOR_PBOC_AREA_SIZE), afl(VANTOR_PBOC_AREA_SIZE), balance(VANTOR_PBOC_AREA_SIZE);
    int32_t aipLength = 0;
    int32_t aflLength = 0;
    const int result = PBOC_GetProcOptions(&context, cardType, options.Data(), options.Size(),
                                           aip.Data(), &aipLength, afl.Data(), &aflLength);
    FUZZ_CHECK(result == 0 || result == 100 || result == -99);
    FUZZ_CHECK(aipLength >= 0 && aipLength <= aip.Size());
    FUZZ_CHECK(aflLength >= 0 && aflLength <= afl.Size());
    FUZZ_CHECK(afl.IsUntouchedFrom(std::max<size_t>(8, static_cast<size_t>(aflLength))));
    ReadRecords(cardType, &afl, aflLength);
    // Each record that is asked for brings a byte at least, but for 128 of them.
    FUZZ_CHECK(fuzz::Exchanges() <= 33 * (1 + VANTOR_APP_DATA_SIZE + 128));

    static const unsigned char tag[] = {0x9F, 0x79};
    int32_t length = 0;
    PBOC_GetData(&context, cardType, tag, sizeof tag, balance.Data(), &length);
    FUZZ_CHECK(length >= 0 && length <= balance.Size());
    FUZZ_CHECK(balance.IsUntouchedFrom(std::max<size_t>(8, static_cast<size_t>(length))));
    return 0;
}
