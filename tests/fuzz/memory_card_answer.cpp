// Answers about contactless memory cards, M1 and M0, through the operations and the business calls.
#include "fuzz/support/room.h"
#include "fuzz/support/world.h"
#include "vantor/memory_card_operations.h"
#include "vantor/memory_cards.h"
#include "vantor/support.h"

namespace
{

using fuzz::Bytes;
using fuzz::Room;

bool IsMemoryCardCode(int result)
{
    for (int code : {0, -1, -2, -19, -22, -74, -1000, -1003, -1007, -1008, -1013, -4001, -5103,
                     -5104, -5105, -5106})
        if (result == code)
            return true;
    return (result <= -5001 && result >= -5009) || (result <= -5010 && result >= -5016);
}

void CheckData(int result, const Room &data, const uint32_t &length)
{
    FUZZ_CHECK(IsMemoryCardCode(result));
    FUZZ_CHECK(length <= static_cast<uint32_t>(data.Size()));
    FUZZ_CHECK(data.IsUntouchedFrom(length));
}

void OperateM1(int number, const Bytes &parameters)
{
    Room card(256), block(4096), value(4096), given(parameters);
    Room key(std::string(parameters.begin(), std::find(parameters.begin(), parameters.end(), 0)));
    uint32_t lengths[3] = {};
    CheckData(M1_PowerOn(&context, card.Data(), &lengths[0], 500), card, lengths[0]);
    FUZZ_CHECK(IsMemoryCardCode(M1_Verify(&context, number, number & 1, key.Text(), 500)));
    CheckData(M1_ReadBlock(&context, number, block.Data(), &lengths[1], 500), block, lengths[1]);
    CheckData(M1_ReadValue(&context, number, value.Data(), &lengths[2], 500), value, lengths[2]);
    FUZZ_CHECK(IsMemoryCardCode(M1_WriteBlock(&context, number, given.Data(), given.Size(), 500)));
    const uint32_t amount = static_cast<uint32_t>(number);
    FUZZ_CHECK(IsMemoryCardCode(M1_WriteValue(&context, number, &amount, 500)));
    FUZZ_CHECK(IsMemoryCardCode(M1_Increment(&context, number, &amount, 500)));
    FUZZ_CHECK(IsMemoryCardCode(M1_Decrement(&context, number, &amount, 500)));
    FUZZ_CHECK(IsMemoryCardCode(M1_IncreaseValue(&context, number, number, 500)));
    FUZZ_CHECK(IsMemoryCardCode(M1_DecreaseValue(&context, number, number, 500)));
    FUZZ_CHECK(IsMemoryCardCode(M1_PowerOff(&context, 500)));
}

void OperateM0(int number, const Bytes &parameters)
{
    Room card(256), pages(4096), answer(4096), given(parameters), type(1);
    uint32_t lengths[3] = {};
    CheckData(M0_PowerOn(&context, card.Data(), &lengths[0], 500), card, lengths[0]);
    CheckData(M0_ReadBlock(&context, number, 16, pages.Data(), &lengths[1], 500), pages,
              lengths[1]);
    FUZZ_CHECK(IsMemoryCardCode(M0_WriteBlock(&context, number, given.Data(), given.Size(), 500)));
    CheckData(M0_Interaction(&context, given.Data(), given.Size(), answer.Data(), &lengths[2], 500),
              answer, lengths[2]);
    FUZZ_CHECK(IsMemoryCardCode(M0_ChcekCardType(&context, 0, type.Data(), 500)));
    FUZZ_CHECK(IsMemoryCardCode(M0_PowerOff(&context, 500)));
}

// Data come as text, cut at its room.
void CallM1(int number, int size, Room *text)
{
    Room card(static_cast<size_t>(size)), block(static_cast<size_t>(size)),
        value(static_cast<size_t>(size));
    int32_t length = 0;
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Powerup(size, card.Text(), &length, 1)));
    FUZZ_CHECK(length == -22 || (length >= 0 && length <= size));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Verify(number, number & 1, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1ReadBlock(number, size, block.Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Read(number, size, value.Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1WriteBlock(number, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Write(number, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Increment(number, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Decrement(number, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1IncreaseValue(number, number)));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1DecreaseValue(number, number)));
    FUZZ_CHECK(IsMemoryCardCode(BO_M1Powerdown()));
}

void CallM0(int number, int size, Room *text)
{
    Room card(static_cast<size_t>(size)), pages(static_cast<size_t>(size));
    int32_t length = 0;
    FUZZ_CHECK(IsMemoryCardCode(BO_M0PowerOn(size, card.Text(), &length, 1)));
    FUZZ_CHECK(length == -22 || (length >= 0 && length <= size));
    FUZZ_CHECK(IsMemoryCardCode(BO_M0Read(number, 16, size, pages.Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M0Write(number, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M0VerifyKey(text->Size() - 1, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M0DownKey(32, text->Text())));
    FUZZ_CHECK(IsMemoryCardCode(BO_M0PowerOff()));
}

} // namespace

// Which calls and how the line goes, a number, a size, data, then the answers: a length byte and
// the bytes behind the reader's status, or, with FF, a word of length and the whole payload.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const int number = static_cast<int8_t>(input.Byte());
    const int outSize = input.Byte();
    const Bytes parameters = input.Block();
    Room text(std::string(parameters.begin(), std::find(parameters.begin(), parameters.end(), 0)));
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            [&input](const Bytes &command)
                            {
                                fuzz::Answer answer;
                                const fuzz::Framing framing = fuzz::FramingOf(command);
                                const uint8_t length = input.Byte();
                                answer.bytes =
                                    length == 0xFF
                                        ? fuzz::FramedAnswer(framing, input.Take(input.Word()))
                                        : fuzz::GoodAnswer(framing, input.Take(length));
                                return answer;
                            });
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine((how & 0x20) != 0 ? fuzz::LineKind::kUsb : fuzz::LineKind::kSerial);
    switch (how >> 3 & 0x03)
    {
    case 0:
        OperateM1(number, parameters);
        break;
    case 1:
        OperateM0(number, parameters);
        break;
    case 2:
        CallM1(number, outSize, &text);
        break;
    default:
        CallM0(number, outSize, &text);
        break;
    }
    return 0;
}
