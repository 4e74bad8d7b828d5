/* Waits for a card without a time limit; Ctrl-C ends the wait, and the port is closed as it should.
 *
 *     cc -std=c11 -pthread cancel.c $(pkg-config --cflags --libs vantor) -o cancel
 *     ./cancel USB
 */
#define _POSIX_C_SOURCE 200809L /* sigwait, nanosleep */

#include <pthread.h>
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <vantor.h>

enum
{
    kSerialPort = 2, /* any of 1 to 15: GSetComName gives it its name */
    kContact = 0,
    kWithoutLimit = 0,
    kCancelled = -1006
};

static atomic_int g_isOver;

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

/* The second thread. A cancel that comes just before the wait begins is lost, so it is repeated
 * until the wait is over. BO_CancelWait itself returns at once. */
static void *CancelOnSignal(void *signals)
{
    const struct timespec pause = {0, 100000000};
    int number = 0;
    sigwait(signals, &number);
    while (!atomic_load(&g_isOver))
    {
        BO_CancelWait();
        nanosleep(&pause, NULL);
    }
    return NULL;
}

static int WaitForCard(void)
{
    char atr[512];
    int32_t length = 0;
    int32_t cardType = 0;
    const int result = BO_IcPowerOn(kContact, sizeof atr, atr, &length, &cardType, kWithoutLimit);
    atomic_store(&g_isOver, 1);
    if (result == kCancelled)
    {
        printf("cancelled\n");
        return EXIT_SUCCESS;
    }
    if (result != 0)
        return Failed("BO_IcPowerOn", result);
    printf("card, answer to reset %.*s\n", (int)length, atr); /* there is no NUL behind it */
    BO_IcPowerOff(kContact);
    return EXIT_SUCCESS;
}

int main(int count, char **arguments)
{
    sigset_t signals;
    pthread_t canceller;
    if (count != 2)
    {
        fprintf(stderr, "usage: cancel USB|DEVICE\n");
        return 2;
    }
    /* Before any other thread starts: all of them leave the signal to the one that waits for it. */
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, NULL);

    const int result = OpenReader(arguments[1]);
    if (result != 0)
        return Failed("BO_Open", result);
    if (pthread_create(&canceller, NULL, CancelOnSignal, &signals) != 0)
    {
        BO_Close();
        return EXIT_FAILURE;
    }
    printf("waiting for a card, Ctrl-C cancels\n");
    fflush(stdout);
    const int status = WaitForCard();
    pthread_kill(canceller, SIGINT); /* when a card came first it still waits for the signal */
    pthread_join(canceller, NULL);
    BO_Close();
    return status;
}
