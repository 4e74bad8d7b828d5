#include "advice.h"

namespace tool
{

// In the texts {port} is the port in use, {iccmd} the configured command set, {other} the other.
struct Entry
{
    const char *call; // nullptr: any call
    int code;
    const char *meaning;
    const char *advice;
};

static const char kSilentReader[] =
    "is the reader at {port}, powered and on the right line speed (--baud)? A reader that speaks "
    "the other command set stays silent too: vantor config set Iccmd {other}";
static const char kUnionOnly[] =
    "only the Union command set has this command; if the reader speaks it: "
    "vantor config set Iccmd 1";
static const char kCardPosition[] =
    "is the card in, chip first and the right way up? A card on the antenna needs --contactless, "
    "another contact slot --slot N, more time --timeout SECONDS";
static const char kOtherCard[] = "is it a PBOC bank card? Look at its answers with: vantor ic apdu "
                                 "00A404000E315041592E5359532E444446303100";
static const char kReadAgain[] =
    "leave the card in place and read again; is its contact or antenna clean?";
static const char kStripe[] = "swipe again, evenly and over the whole length; tracks that the card "
                              "does not have can be left out (--tracks)";
static const char kNoSwipe[] =
    "swipe while vantor waits; more time: --timeout SECONDS. A reader that has no stripe module "
    "stays silent too";
static const char kIdentityModule[] =
    "has the reader an identity module? Its speed and how it is switched in: vantor config get "
    "IdBaud, vantor config get IdChange";
static const char kStripeWrite[] = "swipe again; does this reader write, and does this stripe take "
                                   "the data?";
static const char kPurse[] =
    "does the balance allow it, is the key index right (--key-index), and does the account want "
    "the "
    "PIN (--pin)? The status stands in the log when loglevel is 2: vantor config set loglevel 2";
static const char kOtherPurse[] = "is it a purse card? Another application: --aid HEX";
static const char kPurseMac[] =
    "do the issuer's keys belong to this card (options behind --)? vantor-issuer --help lists them";
static const char kAnswerOfIssuer[] =
    "does the issuer's answer belong to this card and this transaction, and did the card stay in "
    "place? The status stands in the log when loglevel is 2: vantor config set loglevel 2";
static const char kNoSecond[] =
    "a card that gives its cryptogram at once has no second one: --scripts-only";
static const char kMemoryCard[] = "lay the card on the antenna and leave it there; m1 is for "
                                  "Mifare Classic, m0 for Ultralight C. "
                                  "More time: --timeout SECONDS";
static const char kMemoryKey[] =
    "is it this card's key (--key, --key-b)? A card that refused a key says nothing until it is "
    "powered up again";
static const char kMemoryRefusal[] =
    "do the access bits let this key do it (try the other one: --key, --key-b), and did the card "
    "stay in place?";
static const char kMemoryValue[] =
    "is it a value block, does its value allow it, do the access bits let this key do it (try the "
    "other one: --key, --key-b), and did the card stay in place?";
static const char kMemoryPage[] =
    "does the card ask for its key (--key), is the page locked, and did the card stay in place?";
static const char kArgument[] = "see vantor --help for what the command takes";

static const Entry kEntries[] = {
    // One call's own meaning goes before the general one.
    {"BO_CardDetect", -1008,
     "card detection exists only in the Union command set (Iccmd is "
     "{iccmd})",
     kUnionOnly},
    {"BO_Beep", -1008, "the buzzer exists only in the Union command set (Iccmd is {iccmd})",
     kUnionOnly},
    {"BO_ICGetCircllog", -4103, "the card has no load log (its application names none, tag DF4D)",
     "only cards with electronic cash keep one; the transactions: vantor ic log"},
    {"BO_ICExeScript", -4109,
     "the card did not accept the issuer's authentication or a script, or there was no script",
     kAnswerOfIssuer},
    {"BO_SSCReadInfo", -4100,
     "the card has no social security application, or not all of its files",
     "is it a social security card? Look at its answers with: vantor ic apdu "
     "00A404000F7378312E73682EE7A4BEE4BC9AE4BF"},
    {"BO_SSCReadInfo", -99, "a record of the social security application could not be read",
     kReadAgain},
    {"PBOC_SelectAID", -99, "the card has no such purse application", kOtherPurse},
    {"PBOC_SelectAID", 100, "the card's purse application is invalidated", kOtherPurse},
    {"EPED_Verify", -99, "the card refused the PIN", "is it the right one (--pin)? Mind the tries"},
    {"EPED_GetBalance", -99, "the card gives no balance",
     "some applications want the PIN first (--pin), or know only the deposit (--deposit)"},
    {"EPED_ReadBinary", -99, "the card does not give this file",
     "is it the right number? Some files want the PIN first (--pin)"},
    {"EPED_InitForLoad", -99, "the card refused to prepare a load", kPurse},
    {"EPED_InitForPurchase", -99, "the card refused to prepare a purchase", kPurse},
    {"EPED_Load", -99, "the card refused the load", kPurseMac},
    {"EPED_Purchase", -99, "the card refused the purchase", kPurseMac},

    {"BO_ReadMagCard", -1004, "no card was swiped in time", kNoSwipe},
    {"BO_WriteMagCard", -1004, "no card was swiped in time", kNoSwipe},
    {"BO_GetMagCardNo", -1004, "no card was swiped in time", kNoSwipe},
    {"BO_WriteMagCard", -2104,
     "the module gave a status that is not known: the tracks may be written or not",
     "look at the card: vantor mag read"},
    {"BO_ReadIdInfo", -1004, "the identity module does not answer", kIdentityModule},
    {"BO_IdReset", -1004, "the identity module does not answer", kIdentityModule},
    {"BO_M0PowerOn", -4001, "no memory card of this class came", kMemoryCard},
    {"BO_M0Write", -5105, "the card did not take this page", kMemoryPage},

    {nullptr, 0, "done", ""},
    {nullptr, -1000, "the port could not be opened", "is the reader connected to {port}?"},
    {nullptr, -1001, "the reader does not answer", kSilentReader},
    {nullptr, -1002, "the device is in use", "close the other program that holds {port}"},
    {nullptr, -1003, "no device", "is the reader connected to {port}?"},
    {nullptr, -1004, "no answer in time", kSilentReader},
    {nullptr, -1005, "the data could not be sent in time", "is the reader still at {port}?"},
    {nullptr, -1006, "cancelled", ""},
    {nullptr, -1007, "an argument is out of range", kArgument},
    {nullptr, -1008, "the reader does not support this (Iccmd is {iccmd})",
     "choose the command set that the reader speaks: vantor config set Iccmd 0, or 1"},
    {nullptr, -1009, "a library could not be loaded", "is it beside the program?"},
    {nullptr, -1010, "a library lacks a function", "is it the right version?"},
    {nullptr, -1011, "the reader's module could not be switched", "reset the reader and try again"},
    {nullptr, -1012, "a device parameter is not valid", "look at the settings: vantor config get"},
    {nullptr, -1013, "no answer, or a garbled one", kSilentReader},
    {nullptr, -1014, "communication failed",
     "is the reader still connected to {port}? Then look "
     "at the cable"},
    {nullptr, -2000, "tracks 1, 2 and 3 could not be read", kStripe},
    {nullptr, -2001, "track 1 could not be read", kStripe},
    {nullptr, -2002, "track 2 could not be read", kStripe},
    {nullptr, -2003, "track 3 could not be read", kStripe},
    {nullptr, -2004, "tracks 2 and 3 could not be read", kStripe},
    {nullptr, -2005, "track 2 is empty", kStripe},
    {nullptr, -2006, "track 3 is empty", kStripe},
    {nullptr, -2007, "tracks 2 and 3 are empty", kStripe},
    {nullptr, -2100, "tracks 1, 2 and 3 could not be written", kStripeWrite},
    {nullptr, -2101, "track 1 could not be written", kStripeWrite},
    {nullptr, -2102, "track 2 could not be written", kStripeWrite},
    {nullptr, -2103, "track 3 could not be written", kStripeWrite},
    {nullptr, -2104, "tracks 2 and 3 could not be written", kStripeWrite},
    {nullptr, -2105, "the stripe holds no card number that could be read", kStripe},
    {nullptr, -2106, "tracks 1 and 2 could not be read", kStripe},
    {nullptr, -2107, "tracks 1 and 3 could not be read", kStripe},
    {nullptr, -2108, "tracks 1 and 3 are empty", kStripe},
    {nullptr, -2109, "tracks 1 and 2 are empty", kStripe},
    {nullptr, -2110, "tracks 1, 2 and 3 are empty", kStripe},
    {nullptr, -2111, "track 1 is empty", kStripe},
    {nullptr, -3000, "the identity module does not answer",
     "is its speed right (vantor config get IdBaud), and how it is switched in (IdChange)?"},
    {nullptr, -3001, "no identity card found", "lay the card on the identity card's field"},
    {nullptr, -3002, "the identity card could not be read", kReadAgain},
    {nullptr, -3003, "the photo could not be made",
     "is the photo decoder in the working directory?"},
    {nullptr, -3004, "the identity module did not take the baud rate",
     "set a rate that it knows: vantor config set IdBaud 115200"},
    {nullptr, -4000, "the card did not power on", kCardPosition},
    {nullptr, -4001, "no card came", kCardPosition},
    {nullptr, -4002, "the card did not power off, or the reader refused a baud rate",
     "take the card out and try again; is DevBaud a rate the reader knows?"},
    {nullptr, -4003, "the APDU is malformed", kArgument},
    {nullptr, -4004, "the card is not powered", "has it been taken out? Put it in again"},
    {nullptr, -4005, "no card in the reader", kCardPosition},
    {nullptr, -4006, "the card did not answer the APDU", kReadAgain},
    {nullptr, -4100, "the card has no payment system environment (1PAY.SYS.DDF01)", kOtherCard},
    {nullptr, -4101, "the card's directory names no application", kOtherCard},
    {nullptr, -4102, "the card's application could not be selected", kOtherCard},
    {nullptr, -4103, "the card asks for data that the terminal does not have (PDOL)", kOtherCard},
    {nullptr, -4104, "the card refused GET PROCESSING OPTIONS", kOtherCard},
    {nullptr, -4105, "the application's records could not be read", kReadAgain},
    {nullptr, -4106, "the card asks for data that the terminal does not have (CDOL)", kOtherCard},
    {nullptr, -4107, "the card made no cryptogram", kReadAgain},
    {nullptr, -4108, "the cryptogram's data could not be returned", kReadAgain},
    {nullptr, -4109, "the card did not accept the issuer's authentication",
     "does the issuer's answer belong to this card and this transaction?"},
    {nullptr, -4110, "the card did not carry out the issuer's script",
     "does the script belong to this card and this transaction?"},
    {nullptr, -4111, "the card has no CDOL2, or no first half went before", kNoSecond},
    {nullptr, -4112, "the card refused the second cryptogram (a TC was asked for)",
     kAnswerOfIssuer},
    {nullptr, -4113, "the card refused the second cryptogram (after a referral)", kAnswerOfIssuer},
    {nullptr, -4114, "declined: the card gave an AAC though the issuer approved", kAnswerOfIssuer},
    {nullptr, -4115, "declined: the issuer declined and the card gave its AAC",
     "ask the issuer why it declined"},
    {nullptr, -4116, "the card refused the second cryptogram (an AAC was asked for)",
     kAnswerOfIssuer},
    {nullptr, -4117, "the card has no transaction log (its application names none, tag 9F4D)",
     "not every card keeps one"},
    {nullptr, -5010, "the block number is out of range", kArgument},
    {nullptr, -5011, "the sector number is out of range", kArgument},
    {nullptr, -5012, "the data must be 16 bytes", kArgument},
    {nullptr, -5013, "the data must be 4 bytes", kArgument},
    {nullptr, -5014, "the key must be 6 bytes", kArgument},
    {nullptr, -5015, "the key type must be 60 or 61", kArgument},

    {nullptr, -5016, "the amount must be 1 or more", kArgument},
    {nullptr, -5001, "no memory card of this class came", kMemoryCard},
    {nullptr, -5002, "the memory card did not power off", "take it away"},
    {nullptr, -5003, "the card refused the key", kMemoryKey},
    {nullptr, -5004, "the card does not give this block", kMemoryRefusal},
    {nullptr, -5005, "the card did not take this block", kMemoryRefusal},
    {nullptr, -5006, "the card gives no value", kMemoryValue},
    {nullptr, -5007, "the card did not take the value", kMemoryValue},
    {nullptr, -5008, "the card did not add", kMemoryValue},
    {nullptr, -5009, "the card did not subtract", kMemoryValue},
    {nullptr, -5103, "the card did not prove that it holds the key", kMemoryKey},
    {nullptr, -5104, "the card does not give this page", kMemoryPage},
    {nullptr, -5105, "the card refused to write, or the key", kMemoryPage},
    {nullptr, -5106, "the page number is out of range", kArgument},

    // Internal results; the calls that hand them on unmapped are few.
    {nullptr, -1, "communication failed", "is the reader still connected to {port}?"},
    {nullptr, -2, "the port could not be opened", "is the reader connected to {port}?"},
    {nullptr, -16, "the device is in use", "close the other program that holds {port}"},
    {nullptr, -19, "no device", "is the reader connected to {port}?"},
    {nullptr, -22, "an argument is out of range", kArgument},
    {nullptr, -62, "no answer in time", kSilentReader},
    {nullptr, -74, "no answer, or a garbled one", kSilentReader},
    {nullptr, -99, "the reader or the card answered with a failure status",
     "the status stands in the log when loglevel is 2: vantor config set loglevel 2"},
    {nullptr, -125, "cancelled", ""},
};

std::string FillPlaces(std::string text, const Surroundings &surroundings)
{
    const struct
    {
        std::string_view name;
        std::string value;
    } kPlaces[] = {
        {"{port}", surroundings.port},
        {"{iccmd}", std::to_string(surroundings.iccmd)},
        {"{other}", surroundings.iccmd == 0 ? "1" : "0"},
    };
    for (const auto &place : kPlaces)
        for (size_t at = text.find(place.name); at != std::string::npos; at = text.find(place.name))
            text.replace(at, place.name.size(), place.value);
    return text;
}

Advice FindAdvice(std::string_view call, int code, const Surroundings &surroundings)
{
    for (const Entry &entry : kEntries)
        if (entry.code == code && (entry.call == nullptr || call == entry.call))
            return {FillPlaces(entry.meaning, surroundings),
                    FillPlaces(entry.advice, surroundings)};
    if (code > 0) // a power-on hands on the length of an answer whose status it does not know
        return {"the reader answered with a status that has no code of its own",
                "the answer stands in the log when loglevel is 2: vantor config set loglevel 2"};
    return {"a code without a meaning of its own", ""};
}

} // namespace tool
