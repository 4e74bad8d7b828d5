// The table of calls: what stands in the place of each, and the ways in which it fails.
#include <cstring>
#include <libusb.h>

#include "standins/calls/rows.h"

namespace library_calls
{

static std::string NameOf(int errorNumber)
{
    const char *name = strerrorname_np(errorNumber);
    return name != nullptr ? name : std::to_string(errorNumber);
}

Fault Fails(long result, int errorNumber)
{
    // A signal, or a line that has nothing just now, does not go on for ever.
    const bool lasting = errorNumber != EINTR && errorNumber != EAGAIN;
    return {NameOf(errorNumber), Manner::Instead, result, errorNumber, lasting};
}

Fault FailsAfter(long result, int errorNumber)
{
    return {NameOf(errorNumber) + " behind it", Manner::After, result, errorNumber, true};
}

Fault Gives(int errorNumber)
{
    return {NameOf(errorNumber), Manner::Instead, errorNumber, 0, errorNumber != EINTR};
}

Fault GivesZero(const char *label)
{
    return {label, Manner::Instead, 0, 0, false};
}

Fault Short()
{
    return {"short", Manner::Short, 0, 0, false};
}

static std::string UsbName(int error)
{
    return "libusb's " + std::to_string(error);
}

Fault Usb(int libusbError)
{
    const bool lasting = libusbError != LIBUSB_ERROR_INTERRUPTED;
    return {UsbName(libusbError), Manner::Instead, libusbError, 0, lasting};
}

Fault UsbAfter(int libusbError)
{
    return {UsbName(libusbError) + " behind it", Manner::After, libusbError, 0, true};
}

Row *Alias(const char *name, void *stands)
{
    return new Row{name, stands, {}}; // as long as the table
}

// What cannot fail, or only when it is used wrongly. A bounded snprintf of numbers and short texts
// belongs here: the compiler itself counts on it.
static const char *const kNeverFails[] = {
    "__ctype_b_loc",
    "__cxa_finalize",
    "__errno_location",
    "__fdelt_chk",
    "__fprintf_chk",
    "__gmon_start__",
    "__memcpy_chk",
    "__memmove_chk",
    "__memset_chk",
    "__sprintf_chk",
    "__stack_chk_fail",
    "__stack_chk_guard",
    "__strcat_chk",
    "__strcpy_chk",
    "__strncpy_chk",
    "__wmemcpy_chk",
    "__explicit_bzero_chk",
    "_ITM_deregisterTMCloneTable",
    "_ITM_registerTMCloneTable",
    "_Unwind_Resume",
    "__gxx_personality_v0",
    "_ZSt20__throw_system_errori", // of a lock that is no lock
    "_ZSt7nothrow",
    "abort",
    "dirfd",
    "dlerror",
    "exit",
    "explicit_bzero",
    "fprintf",
    "getpid",
    "libusb_exit",
    "libusb_free_config_descriptor",
    "libusb_free_device_list",
    "libusb_free_transfer",
    "libusb_close",
    "libusb_get_bus_number",
    "libusb_get_device_address",
    "libusb_ref_device",
    "libusb_unref_device",
    "memchr",
    "memcmp",
    "memcpy",
    "memmem",
    "memrchr",
    "memmove",
    "memset",
    "mktime",
    "pthread_barrier_destroy",
    "pthread_barrier_wait",
    "pthread_cond_broadcast",
    "pthread_cond_destroy",
    "pthread_cond_signal",
    "pthread_join",
    "pthread_mutex_destroy",
    "pthread_self",
    "pthread_sigmask",
    "rand",
    "sigfillset",
    "snprintf",
    "__snprintf_chk",
    "sprintf",
    "srand",
    "stderr",
    "strchr",
    "strcmp",
    "strcpy",
    "strcspn",
    "strlen",
    "strncmp",
    "strnlen",
    "strpbrk",
    "strrchr",
    "strspn",
    "strstr",
    "strtol",
    "wcscmp",
    "wcslen",
    "wmemcpy",
};

const std::vector<Row *> &Rows()
{
    static const std::vector<Row *> *rows = []
    {
        auto *list = new RowList;
        for (const auto add :
             {AddClock, AddLineAndFiles, AddStreamsAndDirectories, AddMemory, AddThreads, AddUsb})
            add(list);
        for (const char *name : kNeverFails)
            list->push_back(Alias(name, nullptr));
        return list;
    }();
    return *rows;
}

} // namespace library_calls
