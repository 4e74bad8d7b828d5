// Rows for a golden line, told as what happens to a card: the framing is put around the bytes here.
//
//     ReaderScript script;
//     script.PowerOn("3B00").Apdu("00A4040000", "6A82").PowerOff();
//     GoldenLine line(script.rows);
#pragma once

#include <string>
#include <vector>

#include "support/golden_line.h"

namespace testing_support
{

// The two framings of a command or an answer, given as hexadecimal text.
std::string KrelFrame(const std::string &payload);  // 60 L payload XOR as text, then 03
std::string UnionFrame(const std::string &payload); // 02, L L payload XOR as nibbles, then 03

struct ReaderScript
{
    bool united = false;      // the Union_ framing
    bool contactless = false; // commands to the contactless card
    std::vector<GoldenExchange> rows;

    ReaderScript &PowerOn(const std::string &atr);
    ReaderScript &PowerOff();
    ReaderScript &Apdu(const std::string &command, const std::string &response);
    // The reader answers with a status of its own ("FB", "1001"): power-on, power-off, APDU.
    ReaderScript &PowerOnFails(const std::string &status);
    ReaderScript &PowerOffFails(const std::string &status);
    ReaderScript &ApduFails(const std::string &command, const std::string &status);
    // A command and answer in the framing, without the status of success in front of the answer.
    ReaderScript &Exchange(const std::string &command, const std::string &answer);

  private:
    std::string Framed(const std::string &payload) const;
    std::string Success() const;
};

} // namespace testing_support
