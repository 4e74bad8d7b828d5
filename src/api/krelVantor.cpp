// The IC card calls of the terminal-standard interface: each a thin frame over a variant call.
#include <cstring>

#include "api/terminal_frame.h"
#include "support/fixed_text.h"
#include "vantor/support.h"
#include "vantor/transactions.h"

namespace
{

constexpr int kScriptResultSize = 1024;
constexpr int kCdolSize = 8192;

// A list that is too long is cut; a missing one counts as empty.
struct AidList
{
    char text[64];
};

AidList CopyAidList(const char *aidList)
{
    AidList copy{};
    if (aidList != nullptr)
        CopyText(copy.text, sizeof copy.text, aidList);
    return copy;
}

// Hosts count card types from 1, the business calls from 0. Whatever number comes out is passed on.
int32_t ToBusinessType(int32_t icType)
{
    return static_cast<int32_t>(static_cast<uint32_t>(icType) - 1U);
}

int32_t ToTerminalType(int32_t cardType)
{
    return static_cast<int32_t>(static_cast<uint32_t>(cardType) + 1U);
}

int32_t LengthOf(const char *text)
{
    return static_cast<int32_t>(strlen(text));
}

} // namespace

int IC_GetInfo(const char *port, const char *extendPort, int baudRate, int timeout, int32_t *icType,
               const char *aidList, const char *tagList, int32_t *infoLength, char *info)
{
    const TerminalCall call = {"IC_GetInfo", port, extendPort, baudRate, timeout};
    int32_t cardType = 0;
    LogTerminalEntry("IC_GetInfo", call);
    return RunTerminalCall(
        call,
        [&]
        {
            if (icType == nullptr || aidList == nullptr || tagList == nullptr ||
                infoLength == nullptr || info == nullptr)
                return kBadTerminalArgument;
            GLogI("pnIcType = %d, pszAIDlist = %s, pszTaglist = %s, pnUsrInfoLen = %d\r\n", *icType,
                  aidList, tagList, *infoLength);
            return 0;
        },
        [&]
        {
            const AidList aid = CopyAidList(aidList);
            cardType = ToBusinessType(*icType);
            info[0] = '\0'; // a call that fails leaves an empty text
            return BO_ICGetInfo_YC(&cardType, aid.text, tagList, *infoLength, info, timeout);
        },
        [&](int result)
        {
            *infoLength = LengthOf(info);
            *icType = ToTerminalType(cardType);
            GLogI("Exit IC_GetInfo, ret = %d, pnIcType = %d, pnUsrInfoLen = %d, "
                  "pszUserInfo = %s\r\n",
                  result, *icType, *infoLength, info);
        });
}

int IC_GenARQC(const char *port, const char *extendPort, int baudRate, int timeout, int32_t *icType,
               const char *aidList, const char *txData, int32_t *arqcLength, char *arqc,
               char *iccAppData)
{
    const TerminalCall call = {"IC_GenARQC", port, extendPort, baudRate, timeout};
    int32_t cardType = 0;
    LogTerminalEntry("IC_GenARQC", call);
    return RunTerminalCall(
        call,
        [&]
        {
            if (icType == nullptr || txData == nullptr || arqcLength == nullptr ||
                arqc == nullptr || iccAppData == nullptr)
                return kBadTerminalArgument;
            GLogI("pnIcType = %d, pszAIDlist = %s, pszTxData = %s, pnARQCLen = %d\r\n", *icType,
                  Shown(aidList), txData, *arqcLength);
            return 0;
        },
        [&]
        {
            const AidList aid = CopyAidList(aidList);
            cardType = ToBusinessType(*icType);
            arqc[0] = '\0';
            iccAppData[0] = '\0';
            return BO_ICGenARQC_YC(&cardType, aid.text, txData, *arqcLength, arqc, timeout,
                                   iccAppData);
        },
        [&](int result)
        {
            *arqcLength = LengthOf(arqc);
            *icType = ToTerminalType(cardType);
            GLogI("Exit IC_GenARQC, ret = %d, pnIcType = %d, pnARQCLen = %d, pszARQC = %s, "
                  "pszIcc_appdata = %s\r\n",
                  result, *icType, *arqcLength, arqc, iccAppData);
        });
}

int IC_CtlScriptData(const char *port, const char *extendPort, int baudRate, int timeout,
                     int32_t *icType, const char *txData, const char *arpc, int32_t *tcLength,
                     char *tc, char *scriptResult, const char *iccAppData)
{
    const TerminalCall call = {"IC_CtlScriptData", port, extendPort, baudRate, timeout};
    LogTerminalEntry("IC_CtlScriptData", call);
    return RunTerminalCall(
        call,
        [&]
        {
            if (icType == nullptr || txData == nullptr || arpc == nullptr || tcLength == nullptr ||
                tc == nullptr || scriptResult == nullptr || iccAppData == nullptr ||
                iccAppData[0] == '\0')
                return kBadTerminalArgument;
            GLogI("pnIcType = %d, pszTxData = %s, pszARPC = %s, pnTCLen = %d, "
                  "pszIcc_appdata = %s\r\n",
                  *icType, txData, arpc, *tcLength, iccAppData);
            return 0;
        },
        [&]
        {
            uint8_t cdol[kCdolSize] = {};
            const int cdolLength = GHex2Byte(iccAppData, LengthOf(iccAppData), cdol, sizeof cdol);
            GLogI("iAppDataLen = %d, szAppData = %s\r\n", cdolLength, iccAppData);
            tc[0] = '\0';
            scriptResult[0] = '\0';
            return BO_ICExeScript_YC(ToBusinessType(*icType), txData, arpc, kScriptResultSize,
                                     scriptResult, *tcLength, tc, cdolLength, cdol);
        },
        [&](int result)
        {
            *tcLength = LengthOf(tc);
            GLogI("Exit IC_CtlScriptData, ret = %d, pnIcType = %d, pnTCLen = %d, pszTC = %s, "
                  "pszScriptResult = %s\r\n",
                  result, *icType, *tcLength, tc, scriptResult);
        });
}

int IC_GetTranDeta(const char *port, const char *extendPort, int baudRate, int timeout,
                   int32_t *icType, const char *aidList, int32_t *detailLength, char *detail)
{
    const TerminalCall call = {"IC_GetTranDeta", port, extendPort, baudRate, timeout};
    int32_t cardType = 0;
    LogTerminalEntry("IC_GetTranDeta", call);
    return RunTerminalCall(
        call,
        [&]
        {
            if (icType == nullptr || detailLength == nullptr || detail == nullptr)
                return kBadTerminalArgument;
            GLogI("pnIcType = %d, pszAIDlist = %s, pnTxDetailLen = %d\r\n", *icType, Shown(aidList),
                  *detailLength);
            return 0;
        },
        [&]
        {
            const AidList aid = CopyAidList(aidList);
            cardType = ToBusinessType(*icType);
            detail[0] = '\0';
            return BO_ICGetDetail_YC(&cardType, aid.text, *detailLength, detail, timeout);
        },
        [&](int result)
        {
            *detailLength = LengthOf(detail);
            *icType = ToTerminalType(cardType);
            GLogI("Exit IC_GetTranDeta, ret = %d, pnTxDetailLen = %d, TxDetail = %s\r\n", result,
                  *detailLength, detail);
        });
}
