// The reader's identity module.
#include "vantor/operations.h"

// The second way of switching the identity module in: a host that chose it gets its 0, and nothing
// is sent. Deliberate.
int ID_ChangeSDT(void)
{
    return 0;
}
