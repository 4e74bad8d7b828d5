#include "api/card_wait.h"

#include <ctime>
#include <unistd.h>

#include "api/wait_flag.h"
#include "vantor/business.h"
#include "vantor/support.h"

namespace
{

constexpr int kWaitEnded = -4001;
constexpr useconds_t kPauseMicroseconds = 100000;

bool IsNoCard(const CardWait &wait, int result)
{
    return result == wait.noCard[0] || result == wait.noCard[1];
}

// The pause between two attempts; false when another thread cancels it.
bool PauseUnlessCancelled(int pauses)
{
    for (int i = 0; i < pauses; i++)
    {
        usleep(kPauseMicroseconds);
        if (WaitIsCancelled())
            return false;
    }
    return true;
}

bool IsWithinLimit(const CardWait &wait, int timeoutSeconds, time_t start, int passes)
{
    if (timeoutSeconds == 0)
        return true;
    if (wait.measure == WaitMeasure::kPasses)
        return passes < timeoutSeconds;
    return time(nullptr) - start < timeoutSeconds;
}

} // namespace

bool RefuseTimeout(int timeoutSeconds)
{
    if (timeoutSeconds >= 0)
        return false;
    GLogE("Timeout Error!\r\n");
    return true;
}

int WaitForCard(const CardWait &wait, int timeoutSeconds, WaitingCard *card)
{
    ClearWaitCancel();
    const time_t start = time(nullptr);
    int passes = 0;
    int result = 0;
    do
    {
        result = wait.attempt(card);
        if (!IsNoCard(wait, result))
            break;
        if (!PauseUnlessCancelled(wait.pauses))
        {
            GLogE("Cancel!\r\n");
            return kWaitCancelled;
        }
        if (wait.measure == WaitMeasure::kPasses && timeoutSeconds != 0)
            passes++;
    } while (IsWithinLimit(wait, timeoutSeconds, start, passes));

    if (result != 0 && passes == timeoutSeconds)
    {
        GLogE("Timeout!\r\n");
        result = kWaitEnded;
    }
    return result;
}

int GiveWaitOutcome(int result, const WaitingCard &card, const HexOutput &output)
{
    if (result != kWaitCancelled)
        *output.length =
            GByte2Hex(card.bytes, static_cast<int>(card.length), output.text, output.size);
    return BO_GetErrorCode(result);
}
