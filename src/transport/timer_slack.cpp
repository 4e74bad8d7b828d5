#include "transport/timer_slack.h"

#include <sys/prctl.h>

static const int kRaisedSlackNs = 2000000;

void RaiseTimerSlack(TimerSlack *slack)
{
    if (slack->tried)
        return;
    slack->tried = true;
    slack->savedNs = prctl(PR_GET_TIMERSLACK);
    // A slack of 0 would be put back as the default, and one beyond an int reads as negative.
    if (slack->savedNs <= 0 || slack->savedNs >= kRaisedSlackNs)
        return;
    slack->raised = prctl(PR_SET_TIMERSLACK, kRaisedSlackNs) == 0;
}

void RestoreTimerSlack(TimerSlack *slack)
{
    if (!slack->raised)
        return;
    prctl(PR_SET_TIMERSLACK, slack->savedNs);
    slack->raised = false;
}
