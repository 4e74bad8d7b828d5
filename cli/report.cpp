#include "report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace tool
{

void Say(const Report &report, const std::string &text)
{
    if (report.json)
        return;
    fputs(text.c_str(), stdout);
    fflush(stdout);
}

static void PrintJson(const Json &document)
{
    // Arguments are echoed in messages and may be any bytes.
    const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
    printf("%s\n", text.c_str());
}

static Json FailureJson(const Report &report)
{
    if (report.cancelled)
        return {{"kind", "cancelled"}, {"message", "cancelled"}};
    const Failure &failure = *report.failure;
    if (failure.call.empty())
        return {{"kind", "failed"}, {"message", failure.meaning}, {"try", failure.advice}};
    return {{"kind", "failed"},
            {"message", failure.meaning},
            {"call", failure.call},
            {"code", failure.code},
            {"text", failure.text.empty() ? Json(nullptr) : Json(failure.text)},
            {"try", failure.advice}};
}

static void PrintFailure(const Report &report)
{
    if (report.cancelled)
    {
        fputs("cancelled\n", stderr);
        return;
    }
    const Failure &failure = *report.failure;
    if (failure.call.empty())
        fprintf(stderr, "vantor: %s\n", failure.meaning.c_str());
    else
        fprintf(stderr, "vantor: %s failed with %d%s: %s\n", failure.call.c_str(), failure.code,
                failure.text.empty() ? "" : (" (" + failure.text + ")").c_str(),
                failure.meaning.c_str());
    if (!failure.advice.empty())
        fprintf(stderr, "try: %s\n", failure.advice.c_str());
}

// A result that nobody got, on a full disk or in a closed pipe, is none.
static bool OutputIsLost()
{
    if (fflush(stdout) == 0 && ferror(stdout) == 0)
        return false;
    fprintf(stderr, "vantor: the output could not be written (%s)\n", strerror(errno));
    return true;
}

int Finish(const Report &report)
{
    const bool ok = !report.cancelled && !report.failure;
    if (report.json)
    {
        Json document = {{"command", report.command}, {"ok", ok}, {"result", report.result}};
        if (!ok)
            document["error"] = FailureJson(report);
        PrintJson(document);
    }
    else if (!ok)
    {
        fflush(stdout);
        PrintFailure(report);
    }
    return !OutputIsLost() && ok ? kDone : kFailed;
}

int PrintWrongUse(bool json, const std::string &message)
{
    if (!json)
        fprintf(stderr, "vantor: %s\ntry: vantor --help\n", message.c_str());
    else
        PrintJson({{"command", nullptr},
                   {"ok", false},
                   {"result", Json::object()},
                   {"error", {{"kind", "usage"}, {"message", message}}}});
    (void)OutputIsLost(); // it is wrong use all the same
    return kWrongUse;
}

} // namespace tool
