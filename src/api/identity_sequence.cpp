#include "api/identity_sequence.h"

#include <ctime>
#include <unistd.h>

#include "api/wait_flag.h"
#include "vantor/business.h"
#include "vantor/identity_operations.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

constexpr int kNormalMode = 0;
constexpr int kIdentityMode = 2;

constexpr int kCancelled = -1006;
constexpr int kNoCard = -3001;
constexpr int kUnexpectedStatus = -3002;

constexpr uint32_t kCommandTimeoutMs = 1000;
constexpr uint32_t kReadTimeoutMs = 3000;

// The pause between two searches; false when another thread cancels it.
bool PauseUnlessCancelled()
{
    for (int i = 0; i < 9; i++)
    {
        usleep(100000);
        if (WaitIsCancelled())
            return false;
    }
    return true;
}

// Searches until a card is there, the time has passed or the search fails otherwise.
int WaitForCard(int timeoutSeconds)
{
    ClearWaitCancel();
    const time_t start = time(nullptr);
    int result = 0;
    do
    {
        result = ID_FindCard(&context, kCommandTimeoutMs);
        if (result != kNoCard && result != kUnexpectedStatus)
            break;
        if (!PauseUnlessCancelled())
        {
            GLogE("Canceled!\r\n");
            return kCancelled;
        }
    } while (timeoutSeconds == 0 || time(nullptr) - start < timeoutSeconds);
    if (result == 0)
        return 0;
    if (timeoutSeconds == 0)
    {
        GLogE("Timeout!\r\n");
        return kNoCard;
    }
    return 0; // deliberate: a wait with a limit goes on to the selection, which then fails
}

int ReadSelectedCard(IdentityRecord *record)
{
    int32_t length = 0;
    if (ID_ReadCard_FP(&context, record->bytes, &length, kReadTimeoutMs) == 0)
        return 0;
    return ID_ReadCard(&context, record->bytes, &length, kReadTimeoutMs);
}

int Fail(const char *message, int result, int64_t baud)
{
    GLogE("%s", message);
    SwitchBack(baud);
    return result;
}

} // namespace

int64_t SwitchToIdentity()
{
    BO_ChangeMode(kIdentityMode);
    int baud = kUsualBaud;
    GGetConfigInt("devcfg", "IdBaud", kUsualBaud, &baud);
    int64_t baudBefore = kUsualBaud;
    BO_ChangeBaud(baud, &baudBefore);
    return baudBefore;
}

void SwitchBack(int64_t baud)
{
    BO_ChangeMode(kNormalMode);
    BO_ChangeBaud(static_cast<int>(baud), nullptr);
}

int ReadIdentityRecord(int timeoutSeconds, AfterFailedSelection afterFailedSelection,
                       IdentityRecord *record)
{
    const int64_t baud = SwitchToIdentity();
    int result = ID_ResetCard(&context, kCommandTimeoutMs);
    if (result != 0)
        return Fail("ID_ResetCard Error!\r\n", result, baud);
    result = WaitForCard(timeoutSeconds);
    if (result != 0)
    {
        SwitchBack(baud);
        return result;
    }
    result = ID_SelectCard(&context, kCommandTimeoutMs);
    if (result != 0)
        return Fail("ID_SelectCard Error!\r\n", result,
                    afterFailedSelection == AfterFailedSelection::kUsualSpeed ? kUsualBaud : baud);
    result = ReadSelectedCard(record);
    SwitchBack(baud);
    if (result != 0)
        GLogE("ID_ReadCard Error!\r\n");
    return result;
}
