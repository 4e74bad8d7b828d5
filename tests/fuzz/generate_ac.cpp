// Answers to GENERATE AC, and what is built of them for the issuer.
#include "fuzz/support/card.h"
#include "fuzz/support/room.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

void BuildForIssuer(const Bytes &answer)
{
    Room in(answer), result(VANTOR_PBOC_AREA_SIZE);
    int32_t length = -1;
    const int built = PBOC_BuildARQCBack(in.Data(), in.Size(), result.Data(), &length);
    FUZZ_CHECK(built == 0 || built == -99);
    if (built != 0)
    {
        FUZZ_CHECK(length == -1 && result.IsUntouchedFrom(0));
        return;
    }
    FUZZ_CHECK(length > 0 && length <= result.Size());
    FUZZ_CHECK(result.IsUntouchedFrom(static_cast<size_t>(length)));
    // The terminal's own objects are always there, the unpredictable number among them.
    static const unsigned char number[] = {0x9F, 0x37};
    Room value(VANTOR_PBOC_AREA_SIZE);
    FUZZ_CHECK(memmem(result.Data(), static_cast<size_t>(length), number, sizeof number) !=
               nullptr);
}

} // namespace

// What is asked for, how the line speaks, CDOL1's data, the responses; all of it again as an
// answer.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const uint8_t control = input.Byte();
    const Bytes whole(input.bytes, input.bytes + input.left);
    Room list(input.Block());
    const int cardType = how & 0x01;
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            fuzz::CardOfResponses(&input));
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine(fuzz::LineKind::kSerial);
    BuildForIssuer(whole);

    Room answer(VANTOR_PBOC_AREA_SIZE);
    int32_t length = -1;
    const int result = PBOC_GenerateAC(&context, cardType, control, list.Data(), list.Size(),
                                       answer.Data(), &length);
    if (result != 0)
    {
        FUZZ_CHECK(length == -1 && answer.IsUntouchedFrom(0));
        return 0;
    }
    FUZZ_CHECK(length >= 0 && length <= 506);
    FUZZ_CHECK(answer.IsUntouchedFrom(static_cast<size_t>(length)));
    BuildForIssuer(Bytes(answer.Data(), answer.Data() + length));
    return 0;
}
