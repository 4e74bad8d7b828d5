#include "target/usb_reader.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace target
{

namespace
{

namespace fs = std::filesystem;

constexpr std::chrono::seconds kPatience(10);

bool Await(const std::function<bool()> &isThere)
{
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!isThere())
    {
        if (std::chrono::steady_clock::now() > limit)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10)); // the kernel tells nobody
    }
    return true;
}

// The first line of a file of the system; empty when there is none.
std::string FirstLine(const fs::path &path)
{
    FILE *file = fopen(path.c_str(), "re");
    char line[64] = "";
    if (file == nullptr || fgets(line, sizeof line, file) == nullptr)
        line[0] = '\0';
    if (file != nullptr)
        fclose(file);
    line[strcspn(line, "\n")] = '\0';
    return line;
}

std::string FourDigits(unsigned id)
{
    char text[8];
    snprintf(text, sizeof text, "%04x", id);
    return text;
}

std::set<std::string> DevicesOf(unsigned vendorId, unsigned productId)
{
    std::set<std::string> devices;
    for (const fs::directory_entry &entry : fs::directory_iterator("/sys/bus/usb/devices"))
        if (FirstLine(entry.path() / "idVendor") == FourDigits(vendorId) &&
            FirstLine(entry.path() / "idProduct") == FourDigits(productId))
            devices.insert(entry.path());
    return devices;
}

// Of the one interface of the device at this place.
std::string DriverOf(const fs::path &place)
{
    std::error_code problem;
    const fs::path interface = place / (place.filename().string() + ":1.0");
    return fs::read_symlink(interface / "driver", problem).filename();
}

int ConnectTo(const std::string &path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(end, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error("the reader's control socket does not answer");
    return end;
}

std::string ReadLine(int descriptor)
{
    std::string line;
    char character = 0;
    while (read(descriptor, &character, 1) == 1 && character != '\n')
        line += character;
    return line;
}

} // namespace

bool IsRealTime()
{
    return testing_support::ReadFile("/proc/cmdline").find("vantor.clock=real") !=
           std::string::npos;
}

UsbReader::UsbReader(const std::vector<std::string> &options, unsigned vid, unsigned pid)
    : owner(getpid()), vendorId(vid), productId(pid)
{
    const std::set<std::string> before = DevicesOf(vid, pid);
    std::vector<std::string> words = {VANTOR_BIN_DIR "/vantor-reader",
                                      "usb",
                                      "--attach",
                                      "--quiet",
                                      "--control",
                                      directory.path + "/socket",
                                      "--vid",
                                      std::to_string(vid),
                                      "--pid",
                                      std::to_string(pid)};
    words.insert(words.end(), options.begin(), options.end());
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    int ends[2];
    if (pipe(ends) != 0)
        throw std::runtime_error("no pipe");
    process = fork();
    if (process == 0)
    {
        dup2(ends[1], STDOUT_FILENO);
        close(ends[0]);
        close(ends[1]);
        execv(arguments[0], arguments.data());
        _exit(127);
    }
    close(ends[1]);
    const std::string ready = ReadLine(ends[0]);
    close(ends[0]); // it has nothing more to say
    for (const std::string &device : DevicesOf(vid, pid))
        if (before.count(device) == 0)
            place = device;
    if (place.empty() || ready != "ready USB " + FourDigits(vid) + ":" + FourDigits(pid) ||
        !AwaitDriver("usbhid"))
        throw std::runtime_error("the virtual reader is not on the bus: " + ready);
}

UsbReader::~UsbReader()
{
    if (getpid() != owner)
    {
        directory.path.clear();
        return;
    }
    kill(process, SIGTERM);
    waitpid(process, nullptr, 0);
    Await([this] { return !IsThere(); });
}

std::string UsbReader::Control(const std::string &line) const
{
    const int end = ConnectTo(directory.path + "/socket");
    const std::string text = line + "\n";
    if (write(end, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::runtime_error("the reader's control socket takes nothing");
    const std::string answer = ReadLine(end);
    close(end);
    return answer;
}

long UsbReader::Count(const std::string &key) const
{
    const std::string info = Control("usb info");
    const size_t at = info.find("\"" + key + "\":");
    if (at == std::string::npos)
        throw std::runtime_error("no " + key + " in " + info);
    return atol(info.c_str() + at + key.size() + 3);
}

bool UsbReader::AwaitCount(const std::string &key, long value) const
{
    return Await([&] { return Count(key) == value; });
}

void UsbReader::Plug() const
{
    const std::string answer = Control("plug");
    if (answer != "ok" || !AwaitDriver("usbhid"))
        throw std::runtime_error("the reader could not be plugged in: " + answer);
}

void UsbReader::Refresh() const
{
    if (Control("usb info").find("\"plugged\":false") != std::string::npos)
        Plug();
    Control("fault clear");
    Control("usb clear");
}

bool UsbReader::IsThere() const
{
    return fs::exists(place);
}

std::string UsbReader::DeviceNode() const
{
    char path[64];
    snprintf(path, sizeof path, "/dev/bus/usb/%03d/%03d",
             atoi(FirstLine(place + "/busnum").c_str()),
             atoi(FirstLine(place + "/devnum").c_str()));
    return path;
}

std::string UsbReader::Driver() const
{
    return DriverOf(place);
}

bool UsbReader::AwaitDriver(const std::string &name) const
{
    return Await([&] { return Driver() == name; });
}

bool AwaitKernelDriver(unsigned vendorId, unsigned productId)
{
    return Await(
        [&]
        {
            const std::set<std::string> devices = DevicesOf(vendorId, productId);
            return !devices.empty() && DriverOf(*devices.begin()) == "usbhid";
        });
}

UsbReader &SharedReader()
{
    // Ended with the program: the virtual reader's own end unplugs it.
    static UsbReader reader;
    return reader;
}

} // namespace target
