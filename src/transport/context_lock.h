// The lock of a device context. Commands are not locked against each other: one at a time is the
// host's business. But a host may close, disconnect or reset from a second thread at any moment of
// a command, and then the record must not come apart: it is looked at and changed under this lock
// only. It is held while a device is opened or closed, with the pass-through sequence that belongs
// to it, never while an answer is waited for. BO_Cancel and BO_CancelWait do without it.
#pragma once

#include <mutex>

#include "vantor/transport.h"

extern std::recursive_mutex s_contextLock; // one for all contexts

using ContextGuard = std::lock_guard<std::recursive_mutex>;

// The field holds 16 characters without a NUL when the text was that long.
bool HasInterfaceType(const DEVCONTEXT *deviceContext, const char *name);
