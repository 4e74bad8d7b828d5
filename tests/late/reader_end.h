// The reader's end of a line for the late answers: it answers each command with the command's own
// number, in the order in which they came, and as late as the command says.
//
// A command's number is five bytes, each 1 to 26: the lateness (an index), and four that count.
// They travel as they are in the frames of the IC and identity links, as letters on the stripe
// link.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace late
{

enum class Link
{
    kKrel,
    kUnion,
    kIdentity,
    kStripe
};

using Number = std::array<unsigned char, 5>;

struct ReaderEnd
{
    std::function<void(const std::string &answer)> say;
    std::array<int, 4> delaysMs{}; // by a number's first byte less one

    ReaderEnd();
    ~ReaderEnd();
    // What the host wrote, in any pieces.
    void Hear(const std::string &bytes);
    // How many commands since the start are answered; and until so many are.
    unsigned Answered();
    void AwaitAnswers(unsigned count);

  private:
    void Serve();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string heard_;
    unsigned answered_ = 0;
    bool ends_ = false;
    std::thread thread_;
};

} // namespace late
