/* Reads an identity card: its fields in UTF-8, and its photo as a BMP file.
 *
 *     cc -std=c11 identity_card.c $(pkg-config --cflags --libs vantor) -o identity_card
 *     ./identity_card USB head.bmp
 *
 * The photo needs the site's decoder, libwlt.so, in the working directory.
 */
#include <iconv.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vantor.h>

enum
{
    kSerialPort = 2, /* any of 1 to 15: GSetComName gives it its name */
    kWaitSeconds = 10
};

static int Failed(const char *call, int result)
{
    char text[64];
    int32_t length = 0;
    BO_GetErrInfo(result, 0, text, &length); /* a short Chinese text, UTF-8 */
    fprintf(stderr, "%s: %d %s\n", call, result, text);
    return EXIT_FAILURE;
}

static int OpenReader(const char *port)
{
    if (strcmp(port, "USB") == 0)
        return BO_Open(0, 9600, '0');
    GSetComName(kSerialPort, port);
    return BO_Open(kSerialPort, 9600, '0');
}

/* Cards hold UCS-2, the library gives GB18030. */
static int ToUtf8(char *text, size_t length, char *utf8, size_t size)
{
    iconv_t converter = iconv_open("UTF-8", "GB18030");
    size_t room = size - 1;
    if (converter == (iconv_t)-1)
        return 0;
    const size_t result = iconv(converter, &text, &length, &utf8, &room);
    iconv_close(converter);
    *utf8 = '\0';
    return result != (size_t)-1;
}

static void PrintFields(const char *text)
{
    static const char *const kNames[] = {"name",   "sex",       "nation",     "birth",    "address",
                                         "number", "authority", "valid from", "valid to", "kind"};
    for (size_t i = 0; i < sizeof kNames / sizeof kNames[0]; i++)
    {
        const size_t length = strcspn(text, "|");
        printf("%-10s %.*s\n", kNames[i], (int)length, text);
        text += length;
        if (*text == '|')
            text++;
    }
}

static int ReadCard(const char *photo)
{
    char info[1024] = "";
    char utf8[3 * sizeof info];
    uint32_t length = 0;
    const int result = BO_ReadIdInfo(photo, 0, info, &length, NULL, 0, NULL, NULL, kWaitSeconds);
    /* Without a text the reading failed; with one the result is that of the photo. */
    if (length == 0)
        return Failed("BO_ReadIdInfo", result);
    if (ToUtf8(info, length, utf8, sizeof utf8))
        PrintFields(utf8);
    if (result != 0)
        return Failed("the photo", result);
    printf("photo      %s\n", photo);
    return EXIT_SUCCESS;
}

int main(int count, char **arguments)
{
    if (count != 3)
    {
        fprintf(stderr, "usage: identity_card USB|DEVICE PHOTO.bmp\n");
        return 2;
    }
    const int result = OpenReader(arguments[1]);
    const int status = result == 0 ? ReadCard(arguments[2]) : Failed("BO_Open", result);
    BO_Close();
    return status;
}
