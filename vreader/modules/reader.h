// The reader as its modules see it: settings, cards, and what commands have changed.
#pragma once

#include "vreader/cards/identity_card.h"
#include "vreader/cards/magnetic_card.h"
#include "vreader/modules/request.h"

#include <deque>
#include <map>

namespace vreader
{

constexpr unsigned kDefaultBaud = 9600;
constexpr unsigned kContactSlots = 32;
constexpr char kIdentityMode = 'S';
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
    std::optional<unsigned long> commandsLeft; // then the card is taken away; nothing: it stays
};

// When the identity module is reached.
enum class IdentityReach
{
    mode,   // while the reader is in mode S
    always, // in every mode
    none    // the reader has no such module
};

enum class IdentityState
{
    idle,
    found,
    selected
};

// Commands that begin with `prefix` are answered with `status` instead of being carried out.
struct InjectedStatus
{
    Bytes prefix;
    Bytes status;
    unsigned long left = 0; // 0: for ever
};

struct IdentityModule
{
    std::shared_ptr<const IdentityCard> card;
    std::string name;
    IdentityState state = IdentityState::idle;
    IdentityReach reach = IdentityReach::mode;
    bool knowsFingerprints = true; // the command 30 10
    unsigned baud = 0;             // as command 60 set it; 0: never
    unsigned lineBaudBefore = 0;   // the line speed to return to when mode S ends
    std::vector<InjectedStatus> injected;
};

// A card that a call is going to meet, so many milliseconds after it began to wait.
struct PlannedSwipe
{
    std::string name;
    std::shared_ptr<MagneticCard> card;
    unsigned long afterMs = 0;
};

struct StripeModule
{
    std::map<std::string, std::shared_ptr<MagneticCard>> cards; // what is written stays on them
    std::optional<Request> waiting;        // a read or write that waits for a card
    std::deque<PlannedSwipe> planned;      // one a call, in this order
    std::optional<PlannedSwipe> everyCall; // when nothing is planned
    Bytes emptyTrack = {0x7F};
};

struct Reader
{
    std::string information = "Virtual reader V1.0";
    InformationForm informationForm = InformationForm::plain;
    Bytes serial = Bytes(kSerialSize, 0);
    Bytes modeAnswer; // to a mode sequence; none: not answered
    bool speaksKrel = true;
    bool speaksUnion = true;
    unsigned firstSector = 0; // the number of a memory card's first sector in commands

    std::map<unsigned, CardPlace> contact; // by slot number; a slot that is not listed is empty
    CardPlace contactless;
    IdentityModule identity;
    StripeModule stripe;
    unsigned baud = kDefaultBaud;
    char port = 0; // the pass-through port selected; 0: none
    char mode = 0; // 'B', 'I' or 'S'; 0 until the host chooses one
    unsigned long beeps = 0;
};

// Carries a command out.
Reply Serve(Reader *reader, const Request &request);

// What a reset and a lost supply have in common: cards without power, no port, no mode, nothing
// found and nothing waited for. The line speed is the caller's: an answer may still have to go out
// at the old one.
void Restart(Reader *reader);

} // namespace vreader
