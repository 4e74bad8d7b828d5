// The modules' operations, each from a request to a reply over the one reader record.
#pragma once

#include "vreader/modules/reader.h"

namespace vreader
{

// device_module.cpp
Reply DeviceInformation(Reader *reader, const Request &request);
Reply DeviceRecord(Reader *reader, const Request &request);
Reply WriteSerial(Reader *reader, const Request &request);
Reply Beep(Reader *reader, const Request &request);
Reply SetBaud(Reader *reader, const Request &request);
Reply ResetReader(Reader *reader, const Request &request);

// escape_module.cpp
Reply SelectPort(Reader *reader, const Request &request);
Reply DeselectPort(Reader *reader, const Request &request);
Reply ResetBySequence(Reader *reader, const Request &request);
Reply SetMode(Reader *reader, const Request &request);

// ic_module.cpp
Reply PowerOnCard(Reader *reader, const Request &request);
Reply PowerOffCard(Reader *reader, const Request &request);
Reply ExchangeApdu(Reader *reader, const Request &request);
Reply DetectCards(Reader *reader, const Request &request);

// identity_module.cpp
Reply ResetIdentity(Reader *reader, const Request &request);
Reply FindIdentityCard(Reader *reader, const Request &request);
Reply SelectIdentityCard(Reader *reader, const Request &request);
Reply ReadIdentityCard(Reader *reader, const Request &request);
Reply SetIdentityBaud(Reader *reader, const Request &request);
// Carries an identity command out, unless a status was set for it, and lets a hostile card at the
// answer.
Reply ServeIdentity(Reader *reader, const Request &request);
bool IdentityIsReached(const Reader &reader);
// Puts a card down, or takes the one that is there away (null): what was found is lost.
void PutIdentityCardDown(Reader *reader, std::shared_ptr<const IdentityCard> card,
                         const std::string &name);

// stripe_module.cpp
Reply ResetStripe(Reader *reader, const Request &request);
Reply AwaitSwipe(Reader *reader, const Request &request);
// The answer to the waiting command when this card is swiped; the command waits no more.
Reply AnswerToSwipe(Reader *reader, const std::string &name, MagneticCard *card);
// "read tracks 2, 3": which tracks a waiting command is about.
std::string TracksText(const Request &request);

// Serve without what the identity module adds.
Reply CarryOut(Reader *reader, const Request &request);

// Power-off without a reply; safe on an empty place.
void PowerOff(CardPlace *place);

} // namespace vreader
