// Keys and PINs that went through a call are nowhere in this process afterwards: the whole of its
// memory is searched, the stack of the thread that made the call included. The virtual reader, who
// knows the keys too, is a process of its own.
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "support/host_library.h"

using testing_support::HostLibrary;
using testing_support::ShippedConfig;
using testing_support::WithSetting;

namespace
{

constexpr uint8_t kMask = 0x5A;
constexpr size_t kStackSize = 1 << 20;

// A secret as the test may hold it: masked, so that the search does not find the test itself.
struct Masked
{
    std::vector<uint8_t> bytes;

    bool IsAt(const volatile uint8_t *place) const
    {
        for (size_t i = 0; i < bytes.size(); i++)
            if ((place[i] ^ kMask) != bytes[i])
                return false;
        return true;
    }
};

uint8_t Digit(char character)
{
    return static_cast<uint8_t>(character <= '9' ? character - '0' : character - 'A' + 10);
}

// The forms in which the bytes "A1A2..." travel: themselves, as hexadecimal text, and as the
// characters of the other framing, 30 and the half byte.
std::vector<Masked> FormsOf(const char *hex)
{
    std::vector<Masked> forms(3);
    for (size_t i = 0; hex[i] != '\0'; i++)
    {
        const uint8_t digit = Digit(hex[i]);
        if (i % 2 == 1)
            forms[0].bytes.push_back(
                static_cast<uint8_t>((Digit(hex[i - 1]) << 4 | digit) ^ kMask));
        forms[1].bytes.push_back(static_cast<uint8_t>(static_cast<uint8_t>(hex[i]) ^ kMask));
        forms[2].bytes.push_back(static_cast<uint8_t>((0x30 + digit) ^ kMask));
    }
    return forms;
}

// How often one of the forms is found in the writable memory of this process.
int CountIn(const std::vector<Masked> &forms)
{
    int found = 0;
    FILE *maps = fopen("/proc/self/maps", "re");
    char line[512];
    while (maps != nullptr && fgets(line, sizeof line, maps) != nullptr)
    {
        unsigned long begin = 0;
        unsigned long end = 0;
        char rights[8] = "";
        if (sscanf(line, "%lx-%lx %7s", &begin, &end, rights) != 3 ||
            strncmp(rights, "rw", 2) != 0 || strstr(line, "[vvar") != nullptr)
            continue;
        for (const Masked &form : forms)
            for (unsigned long at = begin; at + form.bytes.size() <= end; at++)
                if (form.IsAt(reinterpret_cast<const volatile uint8_t *>(at)))
                {
                    found++;
                    std::printf("form %td in %s", &form - forms.data(), line);
                }
    }
    if (maps != nullptr)
        fclose(maps);
    return found;
}

// The secret in the clear, for as long as a call needs it.
struct Clear
{
    std::array<char, 64> text{}; // hexadecimal
    std::array<uint8_t, 32> bytes{};

    explicit Clear(const std::vector<Masked> &forms)
    {
        const auto show = [](uint8_t byte) { return static_cast<uint8_t>(byte ^ kMask); };
        for (size_t i = 0; i < forms[0].bytes.size(); i++)
            bytes[i] = show(forms[0].bytes[i]);
        for (size_t i = 0; i < forms[1].bytes.size(); i++)
            text[i] = static_cast<char>(show(forms[1].bytes[i]));
    }
    ~Clear()
    {
        explicit_bzero(text.data(), text.size());
        explicit_bzero(bytes.data(), bytes.size());
    }
    Clear(const Clear &) = delete;
    Clear &operator=(const Clear &) = delete;
};

// The program, on a pseudo-terminal of its own.
struct ReaderProcess
{
    pid_t process = -1;
    std::string terminal;

    explicit ReaderProcess(const char *profile)
    {
        int ends[2];
        if (pipe(ends) != 0)
            return;
        process = fork();
        if (process == 0)
        {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execl(VANTOR_BIN_DIR "/vantor-reader", "vantor-reader", "--quiet", "--profile", profile,
                  nullptr);
            _exit(127);
        }
        close(ends[1]);
        char line[128] = ""; // "ready pts/7 /dev/pts/7"
        FILE *output = fdopen(ends[0], "r");
        if (fgets(line, sizeof line, output) != nullptr && strrchr(line, ' ') != nullptr)
            terminal.assign(strrchr(line, ' ') + 1, strcspn(strrchr(line, ' ') + 1, "\n"));
        fclose(output);
    }
    ~ReaderProcess()
    {
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }
    ReaderProcess(const ReaderProcess &) = delete;
    ReaderProcess &operator=(const ReaderProcess &) = delete;
};

struct Work
{
    const HostLibrary *library;
    const std::vector<Masked> *forms;
    int (*call)(const HostLibrary &library, const Clear &secret);
    int result;
};

void *Run(void *work)
{
    auto *job = static_cast<Work *>(work);
    const Clear secret(*job->forms);
    job->result = job->call(*job->library, secret);
    return nullptr;
}

struct Desk
{
    ReaderProcess reader;
    HostLibrary library;
    void *stack =
        mmap(nullptr, kStackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);

    Desk(const char *profile, const char *iccmd)
        : reader(profile), library(WithSetting(ShippedConfig(), "Iccmd", iccmd))
    {
        CPP_CALL(library, GSetComName, "_Z11GSetComNameiPKc")(3, reader.terminal.c_str());
        EXPECT_EQ(CALL(library, BO_Open)(3, 9600, 0), 0);
    }
    ~Desk()
    {
        CALL(library, BO_Close)();
        munmap(stack, kStackSize);
    }
    Desk(const Desk &) = delete;
    Desk &operator=(const Desk &) = delete;

    // On a thread whose stack stays after it has ended.
    int Call(const std::vector<Masked> &forms,
             int (*call)(const HostLibrary &library, const Clear &secret)) const
    {
        Work work = {&library, &forms, call, -1};
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstack(&attributes, stack, kStackSize);
        pthread_t thread;
        EXPECT_EQ(pthread_create(&thread, &attributes, Run, &work), 0);
        pthread_join(thread, nullptr);
        pthread_attr_destroy(&attributes);
        return work.result;
    }
};

} // namespace

TEST(SecretsWiped, TheSearchFindsWhatIsThere)
{
    const std::vector<Masked> forms = FormsOf("C0FFEE11DECAF022");
    EXPECT_EQ(CountIn(forms), 0);
    {
        const Clear clear(forms);
        EXPECT_EQ(CountIn(forms), 2); // the text and the bytes
    }
    EXPECT_EQ(CountIn(forms), 0);
}

TEST(SecretsWiped, TheKeyOfAClassicCard)
{
    for (const char *iccmd : {"0", "1"})
    {
        const Desk desk("mifare-classic-in-use", iccmd);
        const std::vector<Masked> key = FormsOf("8E17D25B903C");
        EXPECT_EQ(desk.Call(key,
                            [](const HostLibrary &library, const Clear &secret)
                            {
                                char text[64];
                                int32_t length = 0;
                                CALL(library, BO_M1Powerup)(sizeof text, text, &length, 1);
                                return CALL(library, BO_M1Verify)(1, 0, secret.text.data());
                            }),
                  -5003); // not this card's
        EXPECT_EQ(CountIn(key), 0) << iccmd;
    }
}

TEST(SecretsWiped, TheKeyOfAnUltralightCard)
{
    const Desk desk("ultralight-c", "0");
    const std::vector<Masked> key = FormsOf("49454D4B41455242214E4143554F5946");
    const auto powerOn = [](const HostLibrary &library)
    {
        char text[64];
        int32_t length = 0;
        return CPP_CALL(library, BO_M0PowerOn, "_Z12BO_M0PowerOniPcPii")(sizeof text, text, &length,
                                                                         1);
    };
    ASSERT_EQ(powerOn(desk.library), 0);
    EXPECT_EQ(desk.Call(key,
                        [](const HostLibrary &library, const Clear &secret) {
                            return CPP_CALL(library, BO_M0VerifyKey,
                                            "_Z14BO_M0VerifyKeyiPKc")(32, secret.text.data());
                        }),
              0);
    EXPECT_EQ(CountIn(key), 0);
    EXPECT_EQ(desk.Call(key,
                        [](const HostLibrary &library, const Clear &secret) {
                            return CPP_CALL(library, BO_M0DownKey,
                                            "_Z12BO_M0DownKeyiPKc")(32, secret.text.data());
                        }),
              0);
    EXPECT_EQ(CountIn(key), 0);
    // Page by page the key's bytes go out in reverse: D..A of "IEMKAERB".
    EXPECT_EQ(CountIn(FormsOf("4B4D4549")), 0);
    EXPECT_EQ(CountIn(FormsOf("42524541")), 0);
}

TEST(SecretsWiped, ThePinOfAPurse)
{
    for (const char *iccmd : {"0", "1"})
    {
        const Desk desk("purse", iccmd);
        char atr[512];
        int32_t length = 0;
        int32_t type = 0;
        ASSERT_EQ(CALL(desk.library, BO_IcPowerOn)(0, sizeof atr, atr, &length, &type, 1), 0);
        const std::vector<Masked> pin = FormsOf("8437261596");
        EXPECT_EQ(desk.Call(pin,
                            [](const HostLibrary &library, const Clear &secret) {
                                return CALL(library, EPED_Verify)(&VARIABLE(library, context), 0,
                                                                  secret.bytes.data(), 5);
                            }),
                  -99);
        EXPECT_EQ(CountIn(pin), 0) << iccmd;
    }
}

// An APDU of the host's own, a text: whatever it holds.
TEST(SecretsWiped, ThePinInAnApduOfTheHost)
{
    for (const char *iccmd : {"0", "1"})
    {
        const Desk desk("purse", iccmd);
        char atr[512];
        int32_t length = 0;
        int32_t type = 0;
        ASSERT_EQ(CALL(desk.library, BO_IcPowerOn)(0, sizeof atr, atr, &length, &type, 1), 0);
        const std::vector<Masked> pin = FormsOf("7384261596");
        EXPECT_EQ(desk.Call(pin,
                            [](const HostLibrary &library, const Clear &secret)
                            {
                                char command[32] = "0020000005";
                                strcat(command, secret.text.data());
                                char response[2100];
                                int32_t responseLength = 0;
                                const int result = CALL(library, BO_IcAPDU)(
                                    0, command, static_cast<int>(strlen(command)), 0, response,
                                    &responseLength);
                                explicit_bzero(command, sizeof command);
                                return result;
                            }),
                  0);
        EXPECT_EQ(CountIn(pin), 0) << iccmd;
    }
}

// Without the exchange: the key schedule.
TEST(SecretsWiped, TheKeyOfACipher)
{
    const Desk desk("empty", "0");
    const std::vector<Masked> key = FormsOf("0F1E2D3C4B5A69788796A5B4C3D2E1F0");
    EXPECT_EQ(desk.Call(key,
                        [](const HostLibrary &library, const Clear &secret)
                        {
                            const unsigned char data[8] = {1, 2, 3, 4, 5, 6, 7, 8};
                            unsigned char out[8];
                            CALL(library, DES)(secret.bytes.data(), data, out);
                            CALL(library, _DES)(secret.bytes.data() + 8, data, out);
                            CALL(library, DES3)(secret.bytes.data(), 16, data, out);
                            CALL(library, _DES3)(secret.bytes.data(), 16, data, out);
                            return CALL(library, G3DesEncrypt)(data, secret.bytes.data(), out, 16);
                        }),
              0);
    EXPECT_EQ(CountIn(key), 0);
    EXPECT_EQ(CountIn(FormsOf("0F1E2D3C4B5A6978")), 0);
    EXPECT_EQ(CountIn(FormsOf("8796A5B4C3D2E1F0")), 0);
}
