// The numbering of the terminal-standard calls.
#include "vantor/terminal.h"

namespace
{

constexpr int kOtherCode = -99;

struct CodeRange
{
    int from; // the lower number
    int to;
    int code;
};

// Uneven here and there: a write time-out goes with the write failures, unreadable records (-4105)
// with the read failures, and -3004 is not told apart. Deliberate.
constexpr CodeRange kCodes[] = {
    {0, 0, 0},           // done
    {-1007, -1007, -1},  // bad parameter
    {-1012, -1012, -1},  //
    {-3001, -3001, -2},  // no card in time
    {-4001, -4001, -2},  //
    {-1000, -1000, -3},  // the reader cannot be opened
    {-1003, -1001, -9},  // the reader does not answer
    {-1008, -1008, -9},  //
    {-1011, -1011, -9},  //
    {-1005, -1005, -10}, // writing failed
    {-2104, -2100, -10}, //
    {-1004, -1004, -11}, // reading failed
    {-1014, -1013, -11}, //
    {-2007, -2000, -11}, //
    {-3000, -3000, -11}, //
    {-3002, -3002, -11}, //
    {-4105, -4105, -11}, //
    {-1009, -1009, -12}, //
    {-3003, -3003, -13}, //
    {-4002, -4002, -14}, // power-off or command failed
    {-4006, -4006, -14}, //
    {-1010, -1010, -15}, //
    {-4003, -4003, -16}, //
    {-1006, -1006, -23}, // cancelled
    {-4000, -4000, -25}, // no power on the card
    {-4005, -4004, -25}, //
    {-4100, -4100, -26}, // no payment system environment
    {-4102, -4101, -27}, // no application
    {-4104, -4103, -28}, // processing options
    {-4108, -4106, -29}, // cryptogram
    {-4109, -4109, -30}, // issuer authentication
    {-4116, -4110, -31}, // issuer script, second cryptogram
    {-4117, -4117, -32}, // no log
};

} // namespace

int Vantor_GetErrorCode(int code)
{
    for (const CodeRange &range : kCodes)
        if (code >= range.from && code <= range.to)
            return range.code;
    return kOtherCode;
}
