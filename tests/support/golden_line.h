// A scripted line: a pseudo-terminal whose other end waits for given bytes and answers with given
// bytes. It fails the test on the first byte that differs and prints both.
//
//     GoldenLine line{{"60028100E3" ETX, "600300010260" ETX}}; // rows of command, answer
//     GSetComName(3, line.path.c_str());
//     ...                                                      // what the host does
//     line.Finish();                                           // or let it go out of scope
#pragma once

#include <atomic>
#include <initializer_list>
#include <string>
#include <thread>
#include <vector>

// The bytes that open and close what travels as text.
#define STX "\x02"
#define ETX "\x03"
#define ESC "\x1B"

namespace testing_support
{

struct GoldenExchange
{
    // What the host must write, byte for byte. Empty: the answer comes unasked. The unasked answers
    // at the start of a script (4000 bytes at most) lie ready when the constructor returns.
    std::string command;
    // What the line then says, noise and all; empty: nothing.
    std::string answer;
    size_t pieceSize = 0; // the answer in pieces of so many bytes; 0: in one
    int delayMs = 0;      // wait before each piece
    bool hangUp = false;  // then hang up, as a cable that is pulled: the terminal is gone
};

struct GoldenLine
{
    std::string path; // "/dev/pts/7"; raw from the start

    GoldenLine(std::initializer_list<GoldenExchange> script);
    explicit GoldenLine(std::vector<GoldenExchange> script);
    ~GoldenLine(); // finishes, when the test has not
    GoldenLine(const GoldenLine &) = delete;
    GoldenLine &operator=(const GoldenLine &) = delete;

    // Ends the script: fails the test unless the host wrote every command, and nothing else.
    // Everything that was written before this call is seen.
    void Finish();

  private:
    void Serve();
    void Hear(char byte);
    void Compare(char byte);
    void Answer(const GoldenExchange &row);
    bool Say(const std::string &bytes); // false: the line is ending
    bool WaitOrEnd(short event, int milliseconds);

    std::vector<GoldenExchange> script_;
    size_t row_ = 0;      // the exchange that is under way
    std::string heard_;   // the bytes of its command so far
    std::string failure_; // what went wrong first; empty while all is well
    std::string held_;    // bytes that may turn out to be the end signal
    std::atomic<bool> ending_{false};
    bool ended_ = false;
    int master_ = -1;
    int slave_ = -1;
    int stop_[2] = {-1, -1};
    std::thread thread_;
};

// "60 02 81 00" and back; for bytes that do not read well as text.
std::string FromHex(const std::string &hex);
std::string ToHex(const std::string &bytes);

} // namespace testing_support
