// Answers in the KrelIc framing: cut out of the line's bytes, taken apart, handed on.
#include "fuzz/support/ic_answer.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const fuzz::IcFraming framing = {"Iccmd=0\n",
                                            2,
                                            "60",
                                            1, // the long form leaves one byte more
                                            KrelIc_TrimPackage,
                                            KrelIc_ParseResPackage,
                                            KrelIc_SendCmd};
    fuzz::RunIcAnswer(framing, data, size);
    return 0;
}
