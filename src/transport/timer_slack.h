// The calling thread's timer slack: how late the kernel may let a timed wait of this thread end.
#pragma once

struct TimerSlack
{
    bool tried;
    bool raised;
    int savedNs;
};

// Lets timed waits of this thread end up to 2 ms late. Only the first call does anything, and that
// neither when the thread's own slack is as wide or cannot be told (real-time threads).
void RaiseTimerSlack(TimerSlack *slack);

// Puts back what RaiseTimerSlack found; nothing when it was not raised.
void RestoreTimerSlack(TimerSlack *slack);
