/* An online payment with a contact card: the card's request cryptogram (ARQC) goes to the issuer,
 * its answer goes back to the card, which then gives its certificate (TC) or declines (AAC).
 *
 *     cc -std=c11 online_payment.c $(pkg-config --cflags --libs vantor) -o online_payment
 *     vantor-reader --profile online                  says: ready pts/7 /dev/pts/7
 *     ./online_payment /dev/pts/7 12.34 vantor-issuer
 *
 * The issuer is a program here: it gets the text for the issuer as its last argument and prints the
 * answer. In a host of yours the network stands in its place.
 */
#define _POSIX_C_SOURCE 200809L /* popen, localtime_r */

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/random.h>
#include <time.h>
#include <vantor.h>

enum
{
    kSerialPort = 2, /* any of 1 to 15: GSetComName gives it its name */
    kContact = 0,
    kWaitSeconds = 10,
    kIssuerDeclined = -4115,
    kCardDeclined = -4114
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

/* The transaction text: amount, currency, date, type, time, unpredictable number. Both halves get
 * the same one. Without field K the library draws the number with rand(), which it does not seed:
 * it would be the same one in every process. */
static int MakeText(const char *amount, char *text, size_t size)
{
    static const char kDigits[] = "0123456789";
    const size_t yuan = strspn(amount, kDigits);
    const time_t now = time(NULL);
    unsigned int number = 0;
    struct tm at;
    if (yuan < 1 || yuan > 10 || amount[yuan] != '.' || strspn(amount + yuan + 1, kDigits) != 2 ||
        amount[yuan + 3] != '\0' || getrandom(&number, sizeof number, 0) != sizeof number)
        return 0;
    localtime_r(&now, &at);
    snprintf(text, size, "P012%010llu%sR0040156S006%02d%02d%02dT00200U006%02d%02d%02dK008%08X",
             strtoull(amount, NULL, 10), amount + yuan + 1, at.tm_year % 100, at.tm_mon + 1,
             at.tm_mday, at.tm_hour, at.tm_min, at.tm_sec, number);
    return 1;
}

/* What the card decided stands in the upper two bits of tag 9F27: 80 ARQC, 40 TC, 00 AAC. */
static int Decision(const char *arqcHex)
{
    unsigned char objects[1300];
    unsigned char value[1300] = {0};
    int32_t length = 0;
    const int count = GHex2Byte(arqcHex, (int)strlen(arqcHex), objects, sizeof objects);
    if (count < 0 ||
        PBOC_GetTagValue((const unsigned char *)"\x9F\x27", 2, objects, count, value, &length) < 0)
        return -1;
    return value[0] & 0xC0;
}

/* The text is hexadecimal digits: a shell has nothing to find in it. */
static int AskIssuer(const char *program, const char *arqcHex, char *answer, int size)
{
    char command[4096];
    if (snprintf(command, sizeof command, "%s %s", program, arqcHex) >= (int)sizeof command)
        return 0;
    FILE *issuer = popen(command, "r");
    if (issuer == NULL)
        return 0;
    const int isRead = fgets(answer, size, issuer) != NULL;
    answer[isRead ? strcspn(answer, "\n") : 0] = '\0';
    return pclose(issuer) == 0 && isRead;
}

static int Complete(const char *text, const char *answer, const char *cdol2Hex)
{
    char scriptResult[1023];
    char tc[1013];
    unsigned char cdol2[512];
    const int length = GHex2Byte(cdol2Hex, (int)strlen(cdol2Hex), cdol2, sizeof cdol2);
    const int result = BO_ICExeScript_YC(kContact, text, answer, sizeof scriptResult, scriptResult,
                                         sizeof tc, tc, length > 0 ? length : 0, cdol2);
    if (result == 0)
        printf("approved, the card's certificate is %s\n", tc);
    else if (result == kIssuerDeclined || result == kCardDeclined)
        printf("declined by the %s\n", result == kIssuerDeclined ? "issuer" : "card");
    else
        return Failed("BO_ICExeScript_YC", result);
    return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

static int Pay(const char *text, const char *issuer)
{
    char arqc[2583];  /* the most that the call gives */
    char cdol2[1025]; /* the host keeps it for the second half */
    char answer[1025] = "";
    int32_t cardType = kContact;
    const int result = BO_ICGenARQC_YC(&cardType, "", text, sizeof arqc, arqc, kWaitSeconds, cdol2);
    if (result != 0)
        return Failed("BO_ICGenARQC_YC", result);
    printf("for the issuer: %s\n", arqc);
    /* From here on the card is powered: every way out of this function ends with a power-off, which
     * the second half does by itself. */
    const int decision = Decision(arqc);
    if (decision != 0x80)
    {
        BO_IcPowerOff(kContact);
        printf("the card decided itself: %s\n", decision == 0x40 ? "approved" : "declined");
        return decision == 0x40 ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    if (!AskIssuer(issuer, arqc, answer, sizeof answer))
    {
        BO_IcPowerOff(kContact);
        fprintf(stderr, "the issuer gave no answer\n");
        return EXIT_FAILURE;
    }
    printf("the issuer answers: %s\n", answer);
    return Complete(text, answer, cdol2);
}

int main(int count, char **arguments)
{
    char text[128];
    if (count != 4 || !MakeText(arguments[2], text, sizeof text))
    {
        fprintf(stderr, "usage: online_payment USB|DEVICE YUAN.CENTS ISSUER\n");
        return 2;
    }
    const int result = OpenReader(arguments[1]);
    const int status = result == 0 ? Pay(text, arguments[3]) : Failed("BO_Open", result);
    BO_Close();
    return status;
}
