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

// Power-off without a reply; safe on an empty place.
void PowerOff(CardPlace *place);

} // namespace vreader
