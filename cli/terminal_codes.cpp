#include "advice.h"

namespace tool
{

// The numbering of the terminal-standard interface is coarser than the library's own: one code may
// stand for several troubles.
static const struct
{
    int code;
    const char *meaning;
    const char *advice;
} kTerminalCodes[] = {
    {0, "done", ""},
    {-1, "an argument is out of range or missing", "see vantor --help for what the command takes"},
    {-2, "no card came in time", "is the card in? More time: --timeout SECONDS"},
    {-3, "the reader could not be opened", "is the reader connected to {port}?"},
    {-9, "the reader is not there, in use by another program, or cannot do this",
     "is the reader at {port} and powered? The other command set: vantor config set Iccmd {other}"},
    {-10, "the data could not be written", "is the reader still at {port}?"},
    {-11, "reading failed: no answer, a garbled one, or records that cannot be read",
     "is the reader at {port} on the right line speed (--baud), and the card still in place? The "
     "other command set: vantor config set Iccmd {other}"},
    {-12, "a library could not be loaded", "is it beside the program?"},
    {-13, "the photo could not be made", "is the photo decoder in the working directory?"},
    {-14, "the card did not power off, or did not answer an APDU",
     "leave the card in place and try again; is its contact or antenna clean?"},
    {-15, "a library lacks a function", "is it the right version?"},
    {-16, "the APDU is malformed", "see vantor --help for what the command takes"},
    {-23, "cancelled", ""},
    {-25, "the card could not be powered on, or there is none",
     "is the card in, chip first and the right way up? A card on the antenna needs --contactless"},
    {-26, "the card has no payment system environment (1PAY.SYS.DDF01)",
     "is it a PBOC bank card? Look at its answers with: vantor ic apdu "
     "00A404000E315041592E5359532E444446303100"},
    {-27, "the card's application could not be found or selected",
     "is the application on this card (--aid)?"},
    {-28,
     "the card asks for data that the terminal does not have, has no PDOL, or refused GET "
     "PROCESSING OPTIONS",
     "the main interface also takes cards without a PDOL: --interface bo"},
    {-29, "the card made no cryptogram", "leave the card in place and try again"},
    {-30, "the card did not accept the issuer's authentication, or a script failed",
     "does the issuer's answer belong to this card and this transaction?"},
    {-31, "the card declined, or refused the second cryptogram",
     "the main interface tells more: --interface bo"},
    {-32, "the card has no transaction log (its application names none, tag 9F4D)",
     "not every card keeps one"},
    {-99, "a code that this interface has no number for",
     "the library's log has the code behind it: vantor config set loglevel 2"},
};

Advice FindTerminalAdvice(int code, const Surroundings &surroundings)
{
    for (const auto &entry : kTerminalCodes)
        if (entry.code == code)
            return {FillPlaces(entry.meaning, surroundings),
                    FillPlaces(entry.advice, surroundings)};
    return {"a code that this interface does not give", ""};
}

bool IsTerminalCall(std::string_view call)
{
    return call.substr(0, 3) == "IC_";
}

} // namespace tool
