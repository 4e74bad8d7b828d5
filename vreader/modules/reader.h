// The reader as its modules see it: settings, cards, and what commands have changed.
#pragma once

#include "vreader/modules/request.h"

#include <map>

namespace vreader
{

constexpr unsigned kDefaultBaud = 9600;
constexpr unsigned kContactSlots = 32;
constexpr size_t kSerialSize = 32;
constexpr size_t kInformationLimit = 120; // status and text must fit a host's 256-byte buffer

enum class InformationForm
{
    plain, // status, text
    record // status, 06 10, 14 bytes, length, text
};

// A contact slot or the antenna.
struct CardPlace
{
    std::shared_ptr<Card> card;
    std::string name;
    bool powered = false;
    bool takenOut = false; // the card was removed under power and no power-on or -off came since
};

struct Reader
{
    std::string information = "Virtual reader V1.0";
    InformationForm informationForm = InformationForm::plain;
    Bytes serial = Bytes(kSerialSize, 0);
    Bytes modeAnswer = {'O', 'K'};
    bool speaksKrel = true;
    bool speaksUnion = true;

    std::map<unsigned, CardPlace> contact; // by slot number; a slot that is not listed is empty
    CardPlace contactless;
    unsigned baud = kDefaultBaud;
    char port = 0; // the pass-through port selected; 0: none
    char mode = 0; // 'B', 'I' or 'S'; 0 until the host chooses one
    unsigned long beeps = 0;
};

// Carries a command out.
Reply Serve(Reader *reader, const Request &request);

// What a reset and a lost supply have in common: cards without power, no port, no mode. The line
// speed is the caller's: an answer may still have to go out at the old one.
void Restart(Reader *reader);

} // namespace vreader
