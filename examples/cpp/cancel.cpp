// Waits for a card to be swiped; Enter ends the wait.
//
//     c++ -std=c++17 -pthread cancel.cpp $(pkg-config --cflags --libs vantor) -o cancel
//     ./cancel USB
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <vantor.h>

static const int kCancelled = -1006;

// The reader is closed on every way out.
struct OpenReader
{
    int result;
    explicit OpenReader(const char *device)
    {
        const int port = std::strcmp(device, "USB") == 0 ? 0 : 2;
        if (port != 0)
            GSetComName(port, device);
        result = BO_Open(port, 9600, '0');
    }
    ~OpenReader()
    {
        BO_Close();
    }
    OpenReader(const OpenReader &) = delete;
    OpenReader &operator=(const OpenReader &) = delete;
};

// The second thread. A swipe is waited for by reading the line, which BO_Cancel ends; BO_CancelWait
// is for cards that are put in or laid down. One that comes before the read has begun is lost, so
// it is repeated until the wait is over. Each one takes 200 ms.
static void CancelOnEnter(const std::atomic<bool> *isOver)
{
    pollfd enter = {STDIN_FILENO, POLLIN, 0};
    while (!*isOver && poll(&enter, 1, 100) == 0)
        ;
    while (!*isOver)
        BO_Cancel();
}

int main(int count, char **arguments)
{
    if (count != 2)
    {
        std::cerr << "usage: cancel USB|DEVICE\n";
        return 2;
    }
    const OpenReader reader(arguments[1]);
    if (reader.result != 0)
    {
        std::cerr << "BO_Open: " << reader.result << "\n";
        return EXIT_FAILURE;
    }
    std::atomic<bool> isOver{false};
    std::thread canceller(CancelOnEnter, &isOver);
    std::cout << "waiting for a swipe, Enter cancels" << std::endl;

    char track2[256] = "", track3[256] = ""; // zero bytes: the call writes a NUL not always
    uint32_t length2 = 0, length3 = 0;
    const int bothTracks = 23, withoutLimit = 0;
    const int result = BO_ReadMagCard(0, bothTracks, 0, nullptr, nullptr, sizeof track2 - 1, track2,
                                      &length2, sizeof track3 - 1, track3, &length3, withoutLimit);
    isOver = true;
    canceller.join();
    if (result == kCancelled)
        std::cout << "cancelled\n";
    else if (result == 0)
        std::cout << "track 2 " << track2 << "\ntrack 3 " << track3 << "\n";
    else
        std::cerr << "BO_ReadMagCard: " << result << "\n";
    return result == 0 || result == kCancelled ? EXIT_SUCCESS : EXIT_FAILURE;
}
