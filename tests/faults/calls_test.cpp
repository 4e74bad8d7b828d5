// The stand-in for calls itself: it knows everything that the library calls, reaches the library,
// and nobody else.
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "faults/fault_bench.h"
#include "vantor/ciphers.h"
#include "vantor/support.h"

using namespace faults;
using testing_support::ShippedConfig;

#ifdef VANTOR_PLAIN_BUILD // an instrumented library makes the instruments' calls as well
TEST(Calls, EverythingThatTheLibraryCallsIsKnown)
{
    const testing_support::HostLibrary library;
    EXPECT_EQ(std::vector<std::string>(), library_calls::Unknown(library.handle));
}
#endif

TEST(Calls, AFailureMeetsTheLibraryAlone)
{
    Host host(Line::None, ShippedConfig(), "default", "");
    library_calls::Always("open", "EMFILE");
    int value = 0;
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 4711, &value);
    EXPECT_EQ(4711, value);
    const int own = open(host.library.ConfigPath().c_str(), O_RDONLY);
    EXPECT_GE(own, 0);
    close(own);
    library_calls::AllWell();
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 4711, &value);
    EXPECT_EQ(9600, value);
}

TEST(Calls, TheChosenOneFailsAndTheOthersDoNot)
{
    Host host(Line::None, ShippedConfig(), "default", "");
    int value = 0;
    library_calls::Begin({});
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 4711, &value);
    std::string calls;
    for (const library_calls::Noted &noted : library_calls::End().noted)
        calls += noted.name + " ";
    EXPECT_EQ("open read close ", calls);
    library_calls::Begin({library_calls::Who::Host, 2, 0, false});
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 4711, &value);
    EXPECT_EQ(4711, value);
    CALL(host.library, GGetConfigInt)("devcfg", "DevBaud", 4711, &value);
    EXPECT_EQ(9600, value) << "only that one";
    EXPECT_EQ("read: EIO", library_calls::End().met);
}

TEST(Calls, WhatIsKeptIsNoticed)
{
    Host host(Line::None, ShippedConfig(), "default", "");
    const size_t before = library_calls::Live().size();
    char *text = CALL(host.library, base64_encode)(reinterpret_cast<const unsigned char *>("a"), 1);
    ASSERT_EQ(before + 1, library_calls::Live().size());
    library_calls::Release({text, ""});
    EXPECT_EQ(before, library_calls::Live().size());

    CALL(host.library, GSetLogLevel)(1);
    CALL(host.library, _GAppendDataToLogFile)("/no/such/directory/file", "text", 4);
    void *const lock = &VARIABLE(host.library, fileMutex);
    EXPECT_EQ(std::vector<void *>{lock}, library_calls::LocksHeld());
    library_calls::LetGo(lock);
    EXPECT_TRUE(library_calls::LocksHeld().empty());
}
