/* A host application as small as one can be: it reads a setting, and says where from. */
#include <stdio.h>

#include <vantor.h>

int main(void)
{
    char directory[1024];
    int baud = 0;
    GGetDllPath("", directory);
    GGetConfigInt("devcfg", "DevBaud", 0, &baud);
    printf("settings in %s: DevBaud %d\n", directory, baud);
    return baud == 0;
}
