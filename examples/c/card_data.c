/* Reads a bank card's number and its transaction log.
 *
 *     cc -std=c11 card_data.c $(pkg-config --cflags --libs vantor) -o card_data
 *     ./card_data USB              the reader on USB
 *     ./card_data /dev/ttyS0       a reader on a serial line; a virtual one: /dev/pts/7
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <vantor.h>

enum
{
    kSerialPort = 2, /* any of 1 to 15: GSetComName gives it its name */
    kContact = 0,
    kWaitSeconds = 10,
    kRecordLength = 106,
    kNoLog = -4117
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

/* Finds an item of letter-coded text, "A0166210948000000011J00201": the letter, three digits of
 * length, the value. What a card gave is not believed: every length is held against the text. */
static int FindItem(const char *text, char letter, char *value, size_t size)
{
    size_t left = strlen(text);
    while (left >= 4)
    {
        const char digits[4] = {text[1], text[2], text[3], '\0'};
        const size_t length = strtoul(digits, NULL, 10);
        if (length > left - 4)
            return 0;
        if (text[0] == letter && length < size)
        {
            memcpy(value, text + 4, length);
            value[length] = '\0';
            return 1;
        }
        text += 4 + length;
        left -= 4 + length;
    }
    return 0;
}

static void PrintRecord(const char *text)
{
    char record[kRecordLength + 1];
    char amount[13], date[7], time[7], counter[5];
    memcpy(record, text, kRecordLength);
    record[kRecordLength] = '\0';
    if (FindItem(record, 'P', amount, sizeof amount) && FindItem(record, 'S', date, sizeof date) &&
        FindItem(record, 'U', time, sizeof time) && FindItem(record, 'X', counter, sizeof counter))
        printf("%.2s-%.2s-%.2s %.2s:%.2s:%.2s  amount %s  counter %s\n", date, date + 2, date + 4,
               time, time + 2, time + 4, amount, counter);
}

static int PrintCard(void)
{
    static char info[4409];    /* the most that BO_ICGetInfo gives */
    static char detail[27037]; /* the most that BO_ICGetDetail gives */
    char number[257] = "";
    int result = BO_ICGetInfo(kContact, "A", 0, info, kWaitSeconds);
    if (result != 0)
        return Failed("BO_ICGetInfo", result);
    if (FindItem(info, 'A', number, sizeof number) && number[0] != '\0')
        printf("card number %s\n", number);
    else
        printf("the card shows no number\n");

    result = BO_ICGetDetail(kContact, 0, detail, kWaitSeconds);
    if (result == kNoLog)
        printf("the card keeps no transaction log\n");
    else if (result != 0)
        return Failed("BO_ICGetDetail", result);
    else
    {
        /* In front stand the number of records and the length of one: 5 digits, 6 from 100 records
         * on. Records have one length, so what is left over is that head. */
        const size_t length = strlen(detail);
        for (size_t at = length % kRecordLength; at < length; at += kRecordLength)
            PrintRecord(detail + at);
    }
    return EXIT_SUCCESS;
}

int main(int count, char **arguments)
{
    if (count != 2)
    {
        fprintf(stderr, "usage: card_data USB|DEVICE\n");
        return 2;
    }
    const int result = OpenReader(arguments[1]);
    const int status = result == 0 ? PrintCard() : Failed("BO_Open", result);
    BO_Close(); /* also right after a failed open */
    return status;
}
