#include "damage/bench/line.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <unistd.h>

#include "support/identity_card.h"
#include "support/reader_script.h"
#include "transport/hid_device.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace damage_testing
{

Line g_line;
uint64_t g_loggedCharacters = 0;

namespace
{

constexpr int kStepUs = 10;           // what a step of the serial line's read waits
constexpr int64_t kSilenceUs = 20000; // what passes in it here
constexpr int64_t kSettledUs = 11000000;
constexpr int kMostExchanges = 200000;
constexpr size_t kReportPayload = 62;
constexpr size_t kReportHeader = 3; // of an output report: number, mode id, length
const char kRefusal[] = "6A83";

struct Setting
{
    std::string key;
    int value;
};

std::vector<Setting> g_settings;
int32_t g_handle = 77; // of the serial line
hid_device_ g_device;  // a record of its own, which the real registry never sees
unsigned g_dice = 1;

std::string Refusal(const std::string &command)
{
    if (command.compare(0, 1, "\x02") == 0)
        return testing_support::UnionFrame("0000" + std::string(kRefusal));
    if (command.compare(0, 2, "60") == 0)
        return testing_support::KrelFrame("00" + std::string(kRefusal));
    if (command.compare(0, 3, "\xAA\xAA\xAA") == 0)
        return testing_support::IdentityFrame(std::string("\0\0\x21", 3)); // cannot be done
    return "";
}

void Say(const std::string &answer)
{
    if (!g_line.usb)
        g_line.waiting += answer;
    else
        for (const std::string &report : InReports(answer))
            g_line.reports.push_back(report);
}

size_t RowOf(const std::string &command)
{
    const std::vector<GoldenExchange> &rows = *g_line.rows;
    for (size_t i = 0; i < rows.size(); i++)
    {
        const size_t row = (g_line.next + i) % rows.size();
        if (rows[row].command == command)
        {
            g_line.inOrder = g_line.inOrder && i == 0 && g_line.next < rows.size();
            return row;
        }
    }
    return kNoRow;
}

void AnswerCommand(size_t row)
{
    if (++g_line.exchanges > kMostExchanges)
    {
        fprintf(stderr, "the call does not come to an end\n");
        abort();
    }
    const std::string command = g_line.heard;
    g_line.heard.clear();
    if (row == kNoRow)
    {
        g_line.inOrder = false;
        Say(Refusal(command));
        return;
    }
    g_line.next = row + 1;
    if (row != g_line.damagedRow)
    {
        Say((*g_line.rows)[row].answer);
        return;
    }
    g_line.damagedRow = kNoRow;
    if (g_line.damagedReports != nullptr)
    {
        for (const std::string &report : *g_line.damagedReports)
            if (!report.empty()) // the channel drops an empty one
                g_line.reports.push_back(report);
    }
    else
        Say(*g_line.damaged);
}

// Over USB a command comes in several reports; it has ended when it is one of the script's, or when
// an answer is asked for.
void Hear(const char *bytes, size_t count)
{
    g_line.heard.append(bytes, count);
    const size_t row = RowOf(g_line.heard);
    if (row != kNoRow || !g_line.usb)
        AnswerCommand(row);
}

void EndCommand()
{
    if (!g_line.heard.empty())
        AnswerCommand(kNoRow);
}

} // namespace

std::vector<std::string> InReports(const std::string &answer)
{
    std::vector<std::string> reports;
    for (size_t at = 0; at < answer.size(); at += kReportPayload)
    {
        const std::string payload = answer.substr(at, kReportPayload);
        std::string report = {2, static_cast<char>(payload.size())};
        report += payload;
        report.resize(kReportPayload + 2, '\0');
        reports.push_back(report);
    }
    return reports;
}

void Rewind(const std::vector<GoldenExchange> &rows)
{
    g_line.rows = &rows;
    g_line.damagedRow = kNoRow;
    g_line.damaged = nullptr;
    g_line.damagedReports = nullptr;
    g_line.next = 0;
    g_line.inOrder = true;
    g_line.heard.clear();
    g_line.exchanges = 0;
    g_line.began += g_line.microseconds;
    g_line.microseconds = 0;
    g_line.paused = 0;
    g_dice = 1;
}

void EmptyLine()
{
    g_line.waiting.clear();
    g_line.reports.clear();
    g_line.firstReport = 0;
}

void LeaveAlone()
{
    EmptyLine();
    g_line.began += kSettledUs;
}

void SetSetting(const std::string &key, int value)
{
    for (Setting &setting : g_settings)
        if (setting.key == key)
        {
            setting.value = value;
            return;
        }
    g_settings.push_back({key, value});
}

void ClearSettings()
{
    g_settings.clear();
}

} // namespace damage_testing

using namespace damage_testing;

// What the linker puts in the place of the library's calls across its own files (--wrap), and the
// real thing under the name that it then has.
extern "C"
{

    void *__real_GOpenCom(int index, int baud);
    int __real_GCloseCom(void *handle);
    int __real_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs);
    int __real_GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs);
    int __real_clock_gettime(clockid_t clock, timespec *time);
    time_t __real_time(time_t *result);
    int __real_usleep(useconds_t microseconds);
    int __real_rand(void);
    void __real_srand(unsigned seed);
    int __real_GGetConfigInt(const char *section, const char *key, int defaultValue, int *value);
    int __real_GSetConfigString(const char *section, const char *key, const char *value);

    void *__wrap_GOpenCom(int index, int baud)
    {
        return g_line.plugged ? &g_handle : __real_GOpenCom(index, baud);
    }

    int __wrap_GCloseCom(void *handle)
    {
        return g_line.plugged ? 0 : __real_GCloseCom(handle);
    }

    int __wrap_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs)
    {
        if (!g_line.plugged)
            return __real_GWriteCom(handle, bytes, count, timeoutMs);
        Hear(reinterpret_cast<const char *>(bytes), static_cast<size_t>(count));
        return count;
    }

    int __wrap_GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs)
    {
        if (!g_line.plugged)
            return __real_GReadCom(handle, buffer, capacity, timeoutUs);
        const size_t count = std::min(static_cast<size_t>(capacity), g_line.waiting.size());
        if (count == 0)
        {
            g_line.microseconds += timeoutUs == kStepUs ? kSilenceUs : timeoutUs;
            return 0;
        }
        memcpy(buffer, g_line.waiting.data(), count);
        g_line.waiting.erase(0, count);
        return static_cast<int>(count);
    }

    int __wrap_clock_gettime(clockid_t clock, timespec *time)
    {
        if (!g_line.plugged || (clock != CLOCK_MONOTONIC && clock != CLOCK_MONOTONIC_COARSE))
            return __real_clock_gettime(clock, time);
        const int64_t now = g_line.began + g_line.microseconds;
        time->tv_sec = static_cast<time_t>(now / 1000000);
        time->tv_nsec = static_cast<long>(now % 1000000 * 1000);
        return 0;
    }

    time_t __wrap_time(time_t *result)
    {
        if (!g_line.plugged)
            return __real_time(result);
        const time_t now = static_cast<time_t>(g_line.microseconds / 1000000);
        if (result != nullptr)
            *result = now;
        return now;
    }

    int __wrap_usleep(useconds_t microseconds)
    {
        if (!g_line.plugged)
            return __real_usleep(microseconds);
        g_line.microseconds += microseconds;
        g_line.paused += microseconds;
        return 0;
    }

    int __wrap_rand(void)
    {
        return g_line.plugged ? static_cast<int>(g_dice++ * 29 & 0x7F) : __real_rand();
    }

    void __wrap_srand(unsigned seed)
    {
        if (!g_line.plugged)
            __real_srand(seed);
        g_dice = 1;
    }

    int __wrap_GGetConfigInt(const char *section, const char *key, int defaultValue, int *value)
    {
        if (!g_line.plugged)
            return __real_GGetConfigInt(section, key, defaultValue, value);
        *value = defaultValue;
        for (const Setting &setting : g_settings)
            if (setting.key == key)
                *value = setting.value;
        return 0;
    }

    int __wrap_GSetConfigString(const char *section, const char *key, const char *value)
    {
        if (!g_line.plugged)
            return __real_GSetConfigString(section, key, value);
        SetSetting(key, atoi(value));
        return 0;
    }

    // The texts are formatted, so that a text without its NUL is found, and dropped.
    static int Format(const char *format, va_list arguments)
    {
        const int length = vsnprintf(nullptr, 0, format, arguments);
        g_loggedCharacters += static_cast<uint64_t>(std::max(length, 0));
        return 0;
    }

    __attribute__((format(printf, 1, 2))) int __wrap_GLogI(const char *format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        const int result = Format(format, arguments);
        va_end(arguments);
        return result;
    }

    __attribute__((format(printf, 1, 2))) int __wrap_GLogE(const char *format, ...)
    {
        va_list arguments;
        va_start(arguments, format);
        const int result = Format(format, arguments);
        va_end(arguments);
        return result;
    }

    // ---- USB: the adapter and the report framing are the library's, what is below is the line
    // ----

    hid_device *__real_hid_open(unsigned short vendor, unsigned short product,
                                const wchar_t *serial);
    void __real_hid_close(hid_device *device);
    int __real_libusb_interrupt_transfer(libusb_device_handle *handle, unsigned char endpoint,
                                         unsigned char *data, int length, int *sent,
                                         unsigned timeout);

    hid_device *__wrap_hid_open(unsigned short vendor, unsigned short product,
                                const wchar_t *serial)
    {
        if (!g_line.plugged)
            return __real_hid_open(vendor, product, serial);
        g_device.interface.outEndpoint = 1;
        return &g_device;
    }

    void __wrap_hid_close(hid_device *device)
    {
        if (!g_line.plugged)
            __real_hid_close(device);
    }

    int __wrap_libusb_interrupt_transfer(libusb_device_handle *handle, unsigned char endpoint,
                                         unsigned char *data, int length, int *sent,
                                         unsigned timeout)
    {
        if (!g_line.plugged)
            return __real_libusb_interrupt_transfer(handle, endpoint, data, length, sent, timeout);
        *sent = length;
        const size_t header = kReportHeader - 1; // a report number 0 is not on the wire
        Hear(reinterpret_cast<const char *>(data) + header, data[1]);
        return 0;
    }

} // extern "C"

namespace hid_channel
{

extern "C"
{
    int __real__ZN11hid_channel10TakeReportEP11hid_device_Phmi(hid_device *device,
                                                               unsigned char *data, size_t length,
                                                               int milliseconds);
    bool __real__ZN11hid_channel9EnterCallEP11hid_device_(hid_device *device);
    void __real__ZN11hid_channel9LeaveCallEP11hid_device_(hid_device *device);
    bool __real__ZN11hid_channel13EnterTransferEP11hid_device_(hid_device *device);
    void __real__ZN11hid_channel13LeaveTransferEP11hid_device_(hid_device *device);

    int __wrap__ZN11hid_channel10TakeReportEP11hid_device_Phmi(hid_device *device,
                                                               unsigned char *data, size_t length,
                                                               int milliseconds)
    {
        if (!g_line.plugged)
            return __real__ZN11hid_channel10TakeReportEP11hid_device_Phmi(device, data, length,
                                                                          milliseconds);
        EndCommand();
        if (g_line.firstReport == g_line.reports.size())
        {
            g_line.microseconds += int64_t{milliseconds} * 1000;
            return 0;
        }
        const std::string &report = g_line.reports[g_line.firstReport++];
        const size_t count = std::min(length, report.size());
        memcpy(data, report.data(), count);
        if (g_line.firstReport == g_line.reports.size())
        {
            g_line.reports.clear();
            g_line.firstReport = 0;
        }
        return static_cast<int>(count);
    }

    bool __wrap__ZN11hid_channel9EnterCallEP11hid_device_(hid_device *device)
    {
        return g_line.plugged || __real__ZN11hid_channel9EnterCallEP11hid_device_(device);
    }

    void __wrap__ZN11hid_channel9LeaveCallEP11hid_device_(hid_device *device)
    {
        if (!g_line.plugged)
            __real__ZN11hid_channel9LeaveCallEP11hid_device_(device);
    }

    bool __wrap__ZN11hid_channel13EnterTransferEP11hid_device_(hid_device *device)
    {
        return g_line.plugged || __real__ZN11hid_channel13EnterTransferEP11hid_device_(device);
    }

    void __wrap__ZN11hid_channel13LeaveTransferEP11hid_device_(hid_device *device)
    {
        if (!g_line.plugged)
            __real__ZN11hid_channel13LeaveTransferEP11hid_device_(device);
    }
}

} // namespace hid_channel
