// One function a command. Each fills the report; the arguments have been checked before.
#pragma once

#include "options.h"
#include "report.h"

namespace tool
{

using Command = void (*)(const Options &options, Report *report);

void Info(const Options &options, Report *report);
void Beep(const Options &options, Report *report);
void IcReset(const Options &options, Report *report);
void IcInfo(const Options &options, Report *report);
void IcLog(const Options &options, Report *report);
void IcLoads(const Options &options, Report *report);
void IcApdu(const Options &options, Report *report);
void IcDetect(const Options &options, Report *report);
void IcArqc(const Options &options, Report *report);
void IcComplete(const Options &options, Report *report);
void IcTransaction(const Options &options, Report *report);
void Ssc(const Options &options, Report *report);
void PurseBalance(const Options &options, Report *report);
void PurseRead(const Options &options, Report *report);
void PurseLog(const Options &options, Report *report);
void PurseLoad(const Options &options, Report *report);
void PursePurchase(const Options &options, Report *report);
void MagRead(const Options &options, Report *report);
void MagWrite(const Options &options, Report *report);
void MagNumber(const Options &options, Report *report);
void IdRead(const Options &options, Report *report);
void IdReset(const Options &options, Report *report);
void M1Read(const Options &options, Report *report);
void M1Write(const Options &options, Report *report);
void M1Value(const Options &options, Report *report);
void M1Increment(const Options &options, Report *report);
void M1Decrement(const Options &options, Report *report);
void M1Dump(const Options &options, Report *report);
void M0Read(const Options &options, Report *report);
void M0Write(const Options &options, Report *report);
void M0Auth(const Options &options, Report *report);
void M0SetKey(const Options &options, Report *report);
void M0Dump(const Options &options, Report *report);
void ExplainError(const Options &options, Report *report);
void ConfigGet(const Options &options, Report *report);
void ConfigSet(const Options &options, Report *report);

// Splits "Iccmd" or "devcfg.Iccmd" into section and key and checks a value that is to be set
// (null: none is). Gives what is wrong, or "".
std::string CheckSetting(const std::string &name, const std::string *value, Options *options);

} // namespace tool
