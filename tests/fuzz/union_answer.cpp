// Answers in the Union_ framing: cut out of the line's bytes, taken apart, handed on.
#include "fuzz/support/ic_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const fuzz::IcFraming framing = {
        "Iccmd=1\n", 1, "\x02", 0, Union_TrimPackage, Union_ParseResPackage, Union_SendCmd};
    fuzz::RunIcAnswer(framing, data, size);
    return 0;
}
