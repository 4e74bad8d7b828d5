// The records of a card's transaction and load logs.
#include <cctype>

#include "fuzz/support/card.h"
#include "fuzz/support/room.h"
#include "vantor/business.h"
#include "vantor/support.h"
#include "vantor/transactions.h"

namespace
{

using fuzz::Room;

// Two or three digits of count, three of record length, and so many texts.
void CheckDetail(Room *detail, size_t recordLength)
{
    const size_t length = detail->TextLength();
    FUZZ_CHECK(length >= 5);
    const size_t digits = (length - 5) % recordLength == 0 ? 2 : 3;
    const size_t count = (length - 3 - digits) / recordLength;
    FUZZ_CHECK((length - 3 - digits) % recordLength == 0 && count <= 255);
    FUZZ_CHECK(static_cast<size_t>(std::stoul(std::string(detail->Text(), digits))) == count);
    FUZZ_CHECK(static_cast<size_t>(std::stoul(std::string(detail->Text() + digits, 3))) ==
               (count == 0 ? 0 : recordLength));
}

} // namespace

// How the call goes, the application's FCI, the records.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::Input input{data, size};
    const uint8_t how = input.Byte();
    const fuzz::Bytes fci = fuzz::CardResponse(&input);
    const fuzz::World world((how & 0x02) != 0 ? "Iccmd=1\n" : "Iccmd=0\n",
                            fuzz::CardWithFci(fci, &input));
    if ((how & 0x04) != 0)
        GSetLogLevel(2);
    fuzz::OpenLine(fuzz::LineKind::kSerial);
    int32_t mode = how & 0x01;
    if ((how & 0x08) != 0)
    {
        Room detail(24742);
        if (BO_ICGetCircllog(mode, 0, detail.Text(), 1) == 0)
            CheckDetail(&detail, 97);
    }
    else if ((how & 0x10) != 0)
    {
        // The merchant name may hold 00 bytes: the text may end anywhere.
        Room detail(27037);
        BO_ICGetDetail_YC(&mode, nullptr, 0, detail.Text(), 1);
        detail.TextLength();
    }
    else
    {
        Room detail(27037);
        if (BO_ICGetDetail(mode, 0, detail.Text(), 1) == 0)
            CheckDetail(&detail, 106);
    }
    return 0;
}
