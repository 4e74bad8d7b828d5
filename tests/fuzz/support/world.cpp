#include "fuzz/support/world.h"

#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "fuzz/support/room.h"
#include "vantor/hid.h"
#include "vantor/identity_operations.h"
#include "vantor/link.h"
#include "vantor/operations.h"
#include "vantor/pboc.h"
#include "vantor/support.h"

extern int64_t g_DevBaud;

namespace fuzz
{

namespace
{

constexpr int kMostExchanges = 4000;
constexpr int kMostPauses = 40;
constexpr time_t kStart = 1735689600; // 2025-01-01

struct Line
{
    Answerer answerer;
    std::string settings;
    Bytes command; // as far as it has been written
    Bytes answer;
    size_t said = 0;
    size_t piece = 0;
    bool gone = false;
    int exchanges = 0;
    int mostExchanges = kMostExchanges;
    uint64_t silenceMs = 10; // of the next read that finds nothing
    int64_t nowUs = 0;
    int pauses = 0;
};

Line *s_line = nullptr; // while a world stands

int32_t s_serialHandle = -1;
int32_t s_usbHandle = -1;

// ---- The library's variables as they are at load ----

struct Stores
{
    unsigned char transaction[sizeof g_szTxData];
    unsigned char application[sizeof g_szAppInitData];
    unsigned char further[sizeof g_szExData];
    int32_t lengths[3];
    char ports[sizeof g_szComName / sizeof g_szComName[0]][sizeof g_szComName[0]];
};

Stores AtLoad()
{
    Stores stores;
    std::memcpy(stores.transaction, g_szTxData, sizeof g_szTxData);
    std::memcpy(stores.application, g_szAppInitData, sizeof g_szAppInitData);
    std::memcpy(stores.further, g_szExData, sizeof g_szExData);
    stores.lengths[0] = g_iTxDataLen;
    stores.lengths[1] = g_iAppInitDataLen;
    stores.lengths[2] = g_iExDataLen;
    std::memcpy(stores.ports, g_szComName, sizeof g_szComName);
    return stores;
}

void PutBackVariables()
{
    static const Stores stores = AtLoad();
    std::memcpy(g_szTxData, stores.transaction, sizeof g_szTxData);
    std::memcpy(g_szAppInitData, stores.application, sizeof g_szAppInitData);
    std::memcpy(g_szExData, stores.further, sizeof g_szExData);
    g_iTxDataLen = stores.lengths[0];
    g_iAppInitDataLen = stores.lengths[1];
    g_iExDataLen = stores.lengths[2];
    std::memcpy(g_szComName, stores.ports, sizeof g_szComName);
    std::memset(g_IccAppData, 0, sizeof g_IccAppData);
    DC_Init(&context);
    g_DevBaud = 9600;
    g_Bp = 0;
    g_Slot = 0;
    g_IcType = 0;
    g_mode_id = 0;
    g_IsCancelWait = 0;
    g_hSdtDll = nullptr;
    COMM_notcancle();
    std::srand(1);
}

// ---- The line ----

bool IsBusy()
{
    return s_line->exchanges >= s_line->mostExchanges;
}

int HearCommand()
{
    Line &line = *s_line;
    line.exchanges++;
    line.silenceMs = 10;
    Answer answer;
    if (IsBusy())
        answer.gone = true;
    else
        answer = line.answerer(line.command);
    const int length = static_cast<int>(line.command.size());
    line.command.clear();
    // What an earlier answer left unread lies before this one's bytes.
    line.answer.erase(line.answer.begin(), line.answer.begin() + static_cast<long>(line.said));
    line.said = 0;
    line.answer.insert(line.answer.end(), answer.bytes.begin(), answer.bytes.end());
    line.piece = answer.piece;
    line.gone = line.gone || answer.gone;
    return answer.written == Answer::kAll ? length : std::min(answer.written, length);
}

int Read(unsigned char *buffer, int capacity)
{
    Line &line = *s_line;
    size_t count = std::min(line.answer.size() - line.said, static_cast<size_t>(capacity));
    if (line.piece != 0)
        count = std::min(count, line.piece);
    if (count == 0 && capacity > 0)
    {
        if (line.gone)
            return -1;
        // Each wait that finds nothing is twice as long as the one before: the longest time-out
        // that there is comes to its end in some thirty of them.
        line.nowUs += static_cast<int64_t>(line.silenceMs) * 1000;
        line.silenceMs = std::min<uint64_t>(line.silenceMs * 2, 1U << 31);
        return 0;
    }
    std::copy_n(line.answer.begin() + static_cast<long>(line.said), count, buffer);
    line.said += count;
    return static_cast<int>(count);
}

// ---- Log texts ----

// The library keeps the text of a log line on purpose. A fuzzer makes millions of them: here they
// are given back after each run, so that memory tells of every other leak.
std::vector<void *> s_logTexts;

void FreeLogTexts()
{
    for (void *text : s_logTexts)
        std::free(text);
    s_logTexts.clear();
}

// The function's place in its file: its neighbour begins where it ends.
bool IsInLogFormatting(const void *caller)
{
#ifdef VANTOR_FUZZ
    return caller >= reinterpret_cast<const void *>(_Safe_vasprintf) &&
           caller < reinterpret_cast<const void *>(GSetLogFilePath);
#else
    (void)caller;
    return false;
#endif
}

// ---- Files ----

struct Scratch
{
    std::string path;
    Scratch()
    {
        std::error_code ignored;
        const std::string memory = "/dev/shm"; // the settings are read at every command
        std::string pattern = (std::filesystem::is_directory(memory, ignored)
                                   ? memory
                                   : std::filesystem::temp_directory_path().string()) +
                              "/vantor-fuzz-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr)
            Broken("no scratch directory", __FILE__, __LINE__);
        path = pattern;
    }
    ~Scratch()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

} // namespace

const std::string &ScratchDirectory()
{
    static const Scratch scratch;
    return scratch.path;
}

std::string ScratchFile(const std::string &name)
{
    return ScratchDirectory() + "/" + name;
}

void WriteScratch(const std::string &path, const void *bytes, size_t count)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    FUZZ_CHECK(file >= 0);
    FUZZ_CHECK(count == 0 || write(file, bytes, count) == static_cast<ssize_t>(count));
    close(file);
}

Bytes ReadScratch(const std::string &path)
{
    Bytes bytes;
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    uint8_t piece[4096];
    for (ssize_t got; file >= 0 && (got = read(file, piece, sizeof piece)) > 0;)
        bytes.insert(bytes.end(), piece, piece + got);
    if (file >= 0)
        close(file);
    return bytes;
}

World::World(const std::string &settings, Answerer answerer)
{
    PutBackVariables();
    s_line = new Line;
    s_line->answerer = std::move(answerer);
    s_line->settings = "[log]\nloglevel=0\n[devcfg]\n" + settings;
    MendLine();
}

World::~World()
{
    delete s_line;
    s_line = nullptr;
    FreeLogTexts();
}

void PlaceOnLine(DEVCONTEXT *deviceContext, LineKind kind)
{
    DC_Init(deviceContext);
    if (kind == LineKind::kSerial)
    {
        DC_SetInterfaceType(deviceContext, "com");
        DC_SetCOMParams(deviceContext, 3, 9600);
        return;
    }
    DC_SetInterfaceType(deviceContext, "hid");
    DC_AddUsbParams(deviceContext, 0x1BC3, 0x0151);
}

void OpenLine(LineKind kind)
{
    PlaceOnLine(&context, kind);
    FUZZ_CHECK(COMM_Open(&context) == 0);
}

void MendLine()
{
    static const std::string path = ScratchFile("config.ini");
    Line mended;
    mended.answerer = s_line->answerer;
    mended.settings = s_line->settings;
    mended.nowUs = s_line->nowUs;
    *s_line = mended;
    WriteScratch(path, mended.settings.data(), mended.settings.size());
    GSetConfigFilePath(path.c_str());
    GSetDllPath(ScratchDirectory().c_str());
    GSetLogFilePath("/dev/null");
    GSetLogLevel(0);
}

int Exchanges()
{
    return s_line->exchanges;
}

void LimitExchanges(int most)
{
    s_line->mostExchanges = most;
}

void EndOfCall()
{
    s_line->pauses = 0;
}

} // namespace fuzz

using fuzz::s_line;

extern "C"
{
    void *__real_GOpenCom(int index, int baud);
    int __real_GCloseCom(void *handle);
    int __real_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs);
    int __real_GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs);
    hid_device *__real_hid_open(unsigned short vid, unsigned short pid, const wchar_t *serial);
    void __real_hid_close(hid_device *device);
    int __real_hid_read_modeid(hid_device *device, unsigned char *buffer, int capacity,
                               int milliseconds);
    int __real_hid_write_modeid(hid_device *device, const unsigned char *data, int length,
                                unsigned char modeId);
    int __real_hid_get_input_report_length(hid_device *device);
    int __real_hid_get_output_report_length(hid_device *device);
    int __real_clock_gettime(clockid_t clock, timespec *now);
    int __real_usleep(useconds_t microseconds);
    time_t __real_time(time_t *result);
    void *__real_malloc(size_t size);

    // Serial ports 1 and 3 are the line. The other ports are what they are on this machine.
    void *__wrap_GOpenCom(int index, int baud)
    {
        if (s_line == nullptr)
            return __real_GOpenCom(index, baud);
        return index == 3 || index == 1 ? &fuzz::s_serialHandle : nullptr;
    }

    int __wrap_GCloseCom(void *handle)
    {
        return handle == &fuzz::s_serialHandle ? 0 : __real_GCloseCom(handle);
    }

    int __wrap_GWriteCom(void *handle, const unsigned char *bytes, int count, int timeoutMs)
    {
        if (s_line == nullptr || handle != &fuzz::s_serialHandle)
            return __real_GWriteCom(handle, bytes, count, timeoutMs);
        if (count < 0 || s_line->gone)
            return -1;
        s_line->command.assign(bytes, bytes + count);
        return fuzz::HearCommand();
    }

    int __wrap_GReadCom(void *handle, unsigned char *buffer, int capacity, int timeoutUs)
    {
        if (s_line == nullptr || handle != &fuzz::s_serialHandle)
            return __real_GReadCom(handle, buffer, capacity, timeoutUs);
        if (capacity < 0 || timeoutUs < 0 || timeoutUs >= 1000000)
            return -1;
        return fuzz::Read(buffer, capacity);
    }

    hid_device *__wrap_hid_open(unsigned short vid, unsigned short pid, const wchar_t *serial)
    {
        if (s_line == nullptr)
            return __real_hid_open(vid, pid, serial);
        return reinterpret_cast<hid_device *>(&fuzz::s_usbHandle);
    }

    static bool IsUsbLine(hid_device *device)
    {
        return s_line != nullptr && device == reinterpret_cast<hid_device *>(&fuzz::s_usbHandle);
    }

    void __wrap_hid_close(hid_device *device)
    {
        if (!IsUsbLine(device))
            __real_hid_close(device);
    }

    // Each report says 62 bytes, zero bytes behind the last ones of the answer.
    int __wrap_hid_read_modeid(hid_device *device, unsigned char *buffer, int capacity,
                               int milliseconds)
    {
        if (!IsUsbLine(device))
            return __real_hid_read_modeid(device, buffer, capacity, milliseconds);
        if (buffer == nullptr || capacity < 0)
            return -1;
        const int room = std::min(capacity, 62);
        const int got = fuzz::Read(buffer, room);
        if (got <= 0)
            return got;
        std::memset(buffer + got, 0, static_cast<size_t>(room - got));
        return room;
    }

    // The caller offers all that is left of its command: what fits one report is the end of it.
    int __wrap_hid_write_modeid(hid_device *device, const unsigned char *data, int length,
                                unsigned char modeId)
    {
        if (!IsUsbLine(device))
            return __real_hid_write_modeid(device, data, length, modeId);
        if (length < 0 || s_line->gone)
            return -1;
        const int sent = std::min(length, 62);
        s_line->command.insert(s_line->command.end(), data, data + sent);
        if (length > 62)
            return sent;
        return fuzz::HearCommand() > 0 ? sent : -1;
    }

    int __wrap_hid_get_input_report_length(hid_device *device)
    {
        return IsUsbLine(device) ? 65 : __real_hid_get_input_report_length(device);
    }

    int __wrap_hid_get_output_report_length(hid_device *device)
    {
        return IsUsbLine(device) ? 65 : __real_hid_get_output_report_length(device);
    }

    int __wrap_clock_gettime(clockid_t clock, timespec *now)
    {
        if (s_line == nullptr || (clock != CLOCK_MONOTONIC && clock != CLOCK_MONOTONIC_COARSE))
            return __real_clock_gettime(clock, now);
        now->tv_sec = s_line->nowUs / 1000000;
        now->tv_nsec = s_line->nowUs % 1000000 * 1000;
        return 0;
    }

    int __wrap_usleep(useconds_t microseconds)
    {
        if (s_line == nullptr)
            return __real_usleep(microseconds);
        s_line->nowUs += microseconds;
        // A wait without a limit is ended as a host's second thread does it.
        if (++s_line->pauses > fuzz::kMostPauses)
            __atomic_store_n(&g_IsCancelWait, 1, __ATOMIC_RELAXED);
        return 0;
    }

    time_t __wrap_time(time_t *result)
    {
        if (s_line == nullptr)
            return __real_time(result);
        const time_t now = fuzz::kStart + static_cast<time_t>(s_line->nowUs / 1000000);
        if (result != nullptr)
            *result = now;
        return now;
    }

    void *__wrap_malloc(size_t size)
    {
        void *memory = __real_malloc(size);
        if (s_line != nullptr && fuzz::IsInLogFormatting(__builtin_return_address(0)))
            fuzz::s_logTexts.push_back(memory);
        return memory;
    }
}
