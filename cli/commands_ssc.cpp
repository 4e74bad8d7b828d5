#include "commands.h"

#include "presentation.h"
#include "session.h"
#include "social_security.h"
#include "vantor.h"

namespace tool
{

void Ssc(const Options &options, Report *report)
{
    WithReader(
        options, report,
        [&]
        {
            char info[1024] = {}; // 845 are needed; the text is appended to what stands there
            const int code = WaitingForCard(
                options,
                [&] { return BO_SSCReadInfo(options.mode, info, options.timeoutSeconds); });
            if (Failed(options, report, "BO_SSCReadInfo", code))
                return;
            BO_IcPowerOff(options.mode); // after a success the card is still powered
            const SocialSecurityFields list = ReadSocialSecurity(info, options.mask);
            if (!list.error.empty())
            {
                report->failure =
                    Failure{"", 0, "", "the card's answer is malformed, " + list.error,
                            "read again; if it stays so, the card's data are damaged"};
                return;
            }
            report->result["fields"] = SocialSecurityJson(list);
            Say(*report, SocialSecurityText(list));
        });
}

} // namespace tool
