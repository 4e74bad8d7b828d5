#include "support/golden_line.h"

#include <cctype>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

namespace testing_support
{

namespace
{

// Written into the host's side of the line when the test ends: what arrives before it is all that
// the host ever wrote, and no clock is asked.
const std::string kEndSignal = "\xF0 golden line ends \xF1";

int OpenRaw(const char *path)
{
    const int descriptor = open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (descriptor < 0 || tcgetattr(descriptor, &settings) != 0)
        throw std::runtime_error(std::string("golden line: cannot open ") + path);
    cfmakeraw(&settings);
    tcsetattr(descriptor, TCSANOW, &settings);
    return descriptor;
}

} // namespace

GoldenLine::GoldenLine(std::initializer_list<GoldenExchange> script)
    : GoldenLine(std::vector<GoldenExchange>(script))
{
}

GoldenLine::GoldenLine(std::vector<GoldenExchange> script) : script_(std::move(script))
{
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    char name[128] = {};
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0 ||
        ptsname_r(master_, name, sizeof name) != 0 || pipe2(stop_, O_CLOEXEC) != 0)
        throw std::runtime_error("golden line: no pseudo-terminal");
    path = name;
    slave_ = OpenRaw(name); // stays open, so that a host that closes does not hang up the line
    int expected = 0;
    while (row_ < script_.size() && script_[row_].command.empty() && !script_[row_].hangUp)
    {
        expected += static_cast<int>(script_[row_].answer.size());
        if (expected > 4000)
            throw std::runtime_error("golden line: more than the terminal holds");
        Answer(script_[row_++]);
        int waiting = 0; // the kernel carries the bytes across in its own time
        while (ioctl(slave_, FIONREAD, &waiting) == 0 && waiting < expected)
            std::this_thread::yield();
    }
    thread_ = std::thread(&GoldenLine::Serve, this);
}

GoldenLine::~GoldenLine()
{
    Finish();
}

void GoldenLine::Finish()
{
    if (!thread_.joinable())
        return;
    ending_ = true;
    const bool signalled = write(slave_, kEndSignal.data(), kEndSignal.size()) > 0 &&
                           write(stop_[1], "s", 1) == 1; // the second ends a wait in an answer
    thread_.join();
    for (int descriptor : {master_, slave_, stop_[0], stop_[1]})
        if (descriptor >= 0)
            close(descriptor);
    if (failure_.empty() && !heard_.empty() && row_ == script_.size())
        failure_ = "the script has ended, heard " + ToHex(heard_);
    if (failure_.empty() && row_ < script_.size())
        failure_ = "exchange " + std::to_string(row_) + " never came:\n  expected " +
                   ToHex(script_[row_].command) + "\n  heard    " + ToHex(heard_);
    if (failure_.empty() && !signalled && !script_.back().hangUp)
        failure_ = "the host's side of the line is gone";
    if (!failure_.empty())
        ADD_FAILURE() << "golden line: " << failure_;
}

void GoldenLine::Serve()
{
    while (row_ < script_.size() && script_[row_].command.empty())
        Answer(script_[row_++]);
    char bytes[512];
    while (!ended_)
    {
        pollfd line{master_, POLLIN, 0};
        poll(&line, 1, -1);
        const ssize_t count = read(master_, bytes, sizeof bytes);
        if (count <= 0)
            return;
        for (ssize_t i = 0; i < count && !ended_; i++)
            Hear(bytes[i]);
    }
}

void GoldenLine::Hear(char byte)
{
    if (!ending_ && held_.empty())
    {
        Compare(byte);
        return;
    }
    held_ += byte;
    if (held_ == kEndSignal)
        ended_ = true;
    while (!ended_ && !held_.empty() && kEndSignal.compare(0, held_.size(), held_) != 0)
    {
        Compare(held_[0]);
        held_.erase(0, 1);
    }
}

void GoldenLine::Compare(char byte)
{
    heard_ += byte;
    if (!failure_.empty() || row_ == script_.size())
        return; // what was heard is printed in the end
    const std::string &command = script_[row_].command;
    if (command.compare(0, heard_.size(), heard_) != 0)
        failure_ = "exchange " + std::to_string(row_) + " differs at byte " +
                   std::to_string(heard_.size() - 1) + ":\n  expected " + ToHex(command) +
                   "\n  heard    " + ToHex(heard_);
    if (heard_ != command)
        return;
    heard_.clear();
    do
        Answer(script_[row_++]);
    while (row_ < script_.size() && script_[row_].command.empty());
}

void GoldenLine::Answer(const GoldenExchange &row)
{
    const size_t step = row.pieceSize == 0 ? row.answer.size() : row.pieceSize;
    for (size_t start = 0; start < row.answer.size(); start += step)
    {
        if (row.delayMs > 0 && !WaitOrEnd(0, row.delayMs))
            return;
        if (!Say(row.answer.substr(start, step)))
            return;
    }
    if (row.hangUp)
    {
        close(master_);
        master_ = -1;
        ended_ = true;
    }
}

// A host that stops reading while the line floods it must not hold up the end.
bool GoldenLine::Say(const std::string &bytes)
{
    size_t said = 0;
    while (said < bytes.size())
    {
        const ssize_t count = write(master_, bytes.data() + said, bytes.size() - said);
        if (count > 0)
            said += static_cast<size_t>(count);
        else if (!WaitOrEnd(POLLOUT, -1))
            return false;
    }
    return true;
}

bool GoldenLine::WaitOrEnd(short event, int milliseconds)
{
    pollfd waits[2] = {{stop_[0], POLLIN, 0}, {event == 0 ? -1 : master_, event, 0}};
    poll(waits, 2, milliseconds);
    return waits[0].revents == 0;
}

std::string FromHex(const std::string &hex)
{
    std::string digits;
    for (char character : hex)
        if (isxdigit(static_cast<unsigned char>(character)))
            digits += character;
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

std::string ToHex(const std::string &bytes)
{
    static const char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (char byte : bytes)
    {
        const auto value = static_cast<unsigned char>(byte);
        text += {kDigits[value >> 4], kDigits[value & 0x0F], ' '};
    }
    return text;
}

} // namespace testing_support
