#include "late/reader_end.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace late
{

namespace
{

struct Command
{
    Link link;
    Number number;
};

[[noreturn]] void Fail(const char *what)
{
    fprintf(stderr, "late_answers: %s\n", what);
    abort();
}

unsigned Digit(char digit)
{
    return digit <= '9' ? static_cast<unsigned>(digit - '0')
                        : static_cast<unsigned>(digit - 'A' + 10);
}

Number NumberAt(const std::string &bytes, size_t at, unsigned char base = 0)
{
    Number number;
    for (unsigned char &part : number)
        part = static_cast<unsigned char>(static_cast<unsigned char>(bytes.at(at++)) - base);
    return number;
}

// Takes a whole command off the front of the bytes; false when there is none yet.
//   "60" "05" ten digits, two of the check byte, 03
//   02, four characters 30+nibble "0005", ten of the number, two of the check byte, 03
//   AA AA AA 96 69 00 06, the number, a check byte
//   ESC "n", five letters
bool TakeCommand(std::string *heard, Command *command)
{
    if (heard->empty())
        return false;
    const char start = heard->front();
    const size_t size = start == '6' ? 17 : start == '\x02' ? 18 : start == '\xAA' ? 13 : 7;
    if (heard->size() < size)
        return false;
    const std::string frame = heard->substr(0, size);
    heard->erase(0, size);
    std::string bytes;
    switch (start)
    {
    case '6':
        for (size_t i = 4; i < 14; i += 2)
            bytes += static_cast<char>(Digit(frame[i]) << 4 | Digit(frame[i + 1]));
        *command = {Link::kKrel, NumberAt(bytes, 0)};
        return true;
    case '\x02':
        for (size_t i = 5; i < 15; i += 2)
            bytes += static_cast<char>((frame[i] & 0x0F) << 4 | (frame[i + 1] & 0x0F));
        *command = {Link::kUnion, NumberAt(bytes, 0)};
        return true;
    case '\xAA':
        *command = {Link::kIdentity, NumberAt(frame, 7)};
        return true;
    case '\x1B':
        *command = {Link::kStripe, NumberAt(frame, 2, 'A' - 1)};
        return true;
    default:
        Fail("the host wrote what is no command");
    }
}

// The payload is the status of success and the number.
std::string AnswerTo(const Command &command)
{
    const Number &number = command.number;
    char text[64];
    std::string answer;
    switch (command.link)
    {
    case Link::kKrel:
        snprintf(text, sizeof text, "600600%02X%02X%02X%02X%02X00\x03", number[0], number[1],
                 number[2], number[3], number[4]);
        return text;
    case Link::kUnion:
        answer = "\x02"
                 "00070000";
        for (const unsigned char part : number)
        {
            answer += static_cast<char>(0x30 + (part >> 4));
            answer += static_cast<char>(0x30 + (part & 0x0F));
        }
        return answer + "00\x03";
    case Link::kIdentity:
        answer = std::string("\xAA\xAA\xAA\x96\x69\x00\x09\x00\x00\x90", 10);
        answer.append(number.begin(), number.end());
        return answer + '\0';
    case Link::kStripe:
        answer = "\x1Bs";
        for (const unsigned char part : number)
            answer += static_cast<char>('A' - 1 + part);
        return answer + "?\x1C";
    }
    Fail("no such link");
}

void Sleep(int milliseconds)
{
    timespec rest = {milliseconds / 1000, (milliseconds % 1000) * 1000000L};
    while (nanosleep(&rest, &rest) != 0)
        ;
}

} // namespace

ReaderEnd::ReaderEnd() : thread_(&ReaderEnd::Serve, this)
{
}

ReaderEnd::~ReaderEnd()
{
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        ends_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void ReaderEnd::Hear(const std::string &bytes)
{
    const std::lock_guard<std::mutex> guard(mutex_);
    heard_ += bytes;
    changed_.notify_all();
}

unsigned ReaderEnd::Answered()
{
    const std::lock_guard<std::mutex> guard(mutex_);
    return answered_;
}

void ReaderEnd::AwaitAnswers(unsigned count)
{
    std::unique_lock<std::mutex> guard(mutex_);
    changed_.wait(guard, [&] { return answered_ >= count; });
}

void ReaderEnd::Serve()
{
    std::unique_lock<std::mutex> guard(mutex_);
    while (!ends_)
    {
        Command command;
        if (!TakeCommand(&heard_, &command))
        {
            changed_.wait(guard);
            continue;
        }
        guard.unlock();
        const int delayMs = delaysMs.at(command.number[0] - 1U);
        Sleep(delayMs);
        say(AnswerTo(command));
        guard.lock();
        ++answered_;
        changed_.notify_all();
    }
}

} // namespace late
