// g_IsCancelWait ends the waits for a card from another thread. It is a plain integer that hosts
// may see and set; the library touches it with relaxed atomics only.
#pragma once

#include "vantor/transport.h"

inline void RaiseWaitCancel()
{
    __atomic_store_n(&g_IsCancelWait, 1, __ATOMIC_RELAXED);
}

inline void ClearWaitCancel()
{
    __atomic_store_n(&g_IsCancelWait, 0, __ATOMIC_RELAXED);
}

inline bool WaitIsCancelled()
{
    return __atomic_load_n(&g_IsCancelWait, __ATOMIC_RELAXED) == 1;
}
