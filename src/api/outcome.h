// How a business call ends.
#pragma once

#include "vantor/business.h"
#include "vantor/support.h"

// A failure is logged under the call's own text, then mapped to its public code.
inline int Outcome(int result, const char *failureText)
{
    if (result != 0)
        GLogE("%s", failureText);
    return BO_GetErrorCode(result);
}
