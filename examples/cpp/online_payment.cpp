// An online payment with the terminal-standard calls. Each of them opens the reader and closes it
// again; the card stays powered in between.
//
//     c++ -std=c++17 online_payment.cpp $(pkg-config --cflags --libs vantor) -o online_payment
//     ./online_payment USB 12.34 vantor-issuer
//     ./online_payment pts/7 12.34 vantor-issuer        a device below /dev
//
// The issuer is a program here: it gets the text for the issuer as its last argument and prints the
// answer. In a host of yours the network stands in its place.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iostream>
#include <random>
#include <string>
#include <vantor.h>
#include <vector>

static const int kBaud = 9600;
static const int kWaitSeconds = 10;

// "P012000000001234R0040156S006261121T00200U006154239K0081A2B3C4D", empty for an amount that is
// none. Without field K the library draws the unpredictable number with rand(), which it does not
// seed: it would be the same one in every process.
static std::string TransactionText(const std::string &amount)
{
    const size_t yuan = amount.find_first_not_of("0123456789");
    if (yuan == std::string::npos || yuan < 1 || yuan > 10 || amount[yuan] != '.' ||
        amount.find_first_not_of("0123456789", yuan + 1) != std::string::npos ||
        amount.size() != yuan + 3)
        return "";
    const std::time_t now = std::time(nullptr);
    const std::tm *at = std::localtime(&now);
    char moment[64];
    std::snprintf(moment, sizeof moment, "R0040156S006%02d%02d%02dT00200U006%02d%02d%02dK008%08X",
                  at->tm_year % 100, at->tm_mon + 1, at->tm_mday, at->tm_hour, at->tm_min,
                  at->tm_sec, std::random_device()());
    return "P012" + std::string(10 - yuan, '0') + amount.substr(0, yuan) + amount.substr(yuan + 1) +
           moment;
}

// The answer of the issuer's program, empty when it gave none. The text is hexadecimal digits: a
// shell has nothing to find in it.
static std::string AskIssuer(const std::string &program, const std::string &arqc)
{
    FILE *issuer = popen((program + " " + arqc).c_str(), "r");
    if (issuer == nullptr)
        return "";
    std::vector<char> line(1026);
    const bool isRead = std::fgets(line.data(), static_cast<int>(line.size()), issuer) != nullptr;
    const bool isSound = pclose(issuer) == 0 && isRead;
    return isSound ? std::string(line.data(), std::strcspn(line.data(), "\n")) : "";
}

static bool Failed(const char *call, int result)
{
    // This interface has a numbering of its own, and no texts: vantor error --interface terminal N
    if (result != 0)
        std::cerr << call << ": " << result << "\n";
    return result != 0;
}

int main(int count, char **arguments)
{
    const std::string text = count == 4 ? TransactionText(arguments[2]) : "";
    if (text.empty())
    {
        std::cerr << "usage: online_payment USB|PORT YUAN.CENTS ISSUER\n";
        return 2;
    }
    const char *port = arguments[1];
    std::vector<char> arqc(2583), cdol2(1025), tc(1013), scriptResult(1024);
    int32_t cardType = 1; // contact
    int32_t length = static_cast<int32_t>(arqc.size());
    if (Failed("IC_GenARQC", IC_GenARQC(port, nullptr, kBaud, kWaitSeconds, &cardType, "",
                                        text.c_str(), &length, arqc.data(), cdol2.data())))
        return EXIT_FAILURE;
    std::cout << "for the issuer: " << arqc.data() << "\n";

    // Without an answer the card is told so by an empty one: it is not authenticated, and the call
    // fails and powers the card off.
    std::string answer = AskIssuer(arguments[3], arqc.data());
    if (answer.empty())
        answer = "8A025A31"; // "Z1": declined, the issuer cannot be reached; there is no tag 91
    std::cout << "the issuer answers: " << answer << "\n";
    length = static_cast<int32_t>(tc.size());
    if (Failed("IC_CtlScriptData", IC_CtlScriptData(port, nullptr, kBaud, kWaitSeconds, &cardType,
                                                    text.c_str(), answer.c_str(), &length,
                                                    tc.data(), scriptResult.data(), cdol2.data())))
        return EXIT_FAILURE;
    std::cout << "approved, the card's certificate is " << tc.data() << "\n";
    return EXIT_SUCCESS;
}
