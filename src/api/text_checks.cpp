// The character-class tests that the IC business calls put their text arguments to.
#include <cstring>

#include "vantor/business.h"
#include "vantor/support.h"

namespace
{

const char kHexDigits[] = "0123456789ABCDEF"; // upper case only: hosts must send upper case
const char kDigits[] = "0123456789";
const char kDigitsAndLetters[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
const char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// The index of the first character that is none of those allowed; -1 when all are.
int FirstBadCharacter(const char *text, const char *allowed)
{
    const size_t good = strspn(text, allowed);
    return text[good] == '\0' ? -1 : static_cast<int>(good);
}

int CodeAt(const char *text, int index)
{
    return static_cast<unsigned char>(text[index]);
}

int CheckPbocText(const char *text, const char *allowed)
{
    if (text == nullptr)
        return 0;
    const int bad = FirstBadCharacter(text, allowed);
    if (bad >= 0)
        GLogI("szPbocData[%d] = %02X\r\n", bad, CodeAt(text, bad));
    return bad < 0;
}

} // namespace

int IsHexDataValue(const char *text)
{
    if (text == nullptr)
        return 0;
    const int bad = FirstBadCharacter(text, kHexDigits);
    if (bad >= 0)
        GLogI("szHexData[%d] = %02X\r\n", bad, CodeAt(text, bad));
    return bad < 0;
}

int IsNumDataValue(const char *text)
{
    return CheckPbocText(text, kDigits);
}

int IsPbocDataValue(const char *text)
{
    return CheckPbocText(text, kDigitsAndLetters);
}

// The other way round than its neighbours: one letter makes the whole text a list of tags.
int IsTagListValue(const char *text)
{
    return text != nullptr && strpbrk(text, kLetters) != nullptr;
}
