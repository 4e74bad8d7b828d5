// Reads a bank card's number and its transaction log, with the library loaded at run time: a host
// that can do without a reader starts where there is no library too.
//
//     c++ -std=c++17 card_data.cpp $(pkg-config --cflags vantor) -o card_data
//     ./card_data /opt/vantor/libvantor.so USB
//     ./card_data build/lib/libvantor.so /dev/pts/7
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <vantor.h>
#include <vector>

// The functions that this program uses, under the types that the header gives them.
struct Library
{
    decltype(&::BO_Open) open;
    decltype(&::BO_Close) close;
    decltype(&::BO_ICGetInfo) cardInformation;
    decltype(&::BO_ICGetDetail) transactions;
    decltype(&::BO_GetErrInfo) errorText;
    decltype(&::GSetComName) nameSerialPort;
};

template <typename Function>
static bool Find(void *handle, const char *name, Function *function)
{
    *function = reinterpret_cast<Function>(dlsym(handle, name));
    return *function != nullptr;
}

// The library stays loaded to the end of the program: it keeps its log and its device context.
static std::optional<Library> Load(const char *path)
{
    Library library = {};
    void *handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (handle != nullptr && Find(handle, "BO_Open", &library.open) &&
        Find(handle, "BO_Close", &library.close) &&
        Find(handle, "BO_ICGetInfo", &library.cardInformation) &&
        Find(handle, "BO_ICGetDetail", &library.transactions) &&
        Find(handle, "BO_GetErrInfo", &library.errorText) &&
        Find(handle, "_Z11GSetComNameiPKc", &library.nameSerialPort)) // a C++ symbol
        return library;
    std::cerr << dlerror() << "\n";
    return std::nullopt;
}

static bool Failed(const Library &library, const char *call, int result)
{
    if (result == 0)
        return false;
    char text[64] = "";
    int32_t length = 0;
    library.errorText(result, 0, text, &length);
    std::cerr << call << ": " << result << " " << text << "\n";
    return true;
}

// The value of an item of letter-coded text, "A0166210948000000011J00201". What a card gave is not
// believed: every length is held against the text.
static std::string Item(std::string_view text, char letter)
{
    while (text.size() >= 4)
    {
        const size_t length = std::strtoul(std::string(text.substr(1, 3)).c_str(), nullptr, 10);
        if (length > text.size() - 4)
            break;
        if (text[0] == letter)
            return std::string(text.substr(4, length));
        text.remove_prefix(4 + length);
    }
    return "";
}

static bool PrintCard(const Library &library)
{
    const int contact = 0, seconds = 10, noLog = -4117;
    std::vector<char> info(4409), detail(27037); // the most that the calls give
    if (Failed(library, "BO_ICGetInfo",
               library.cardInformation(contact, "A", 0, info.data(), seconds)))
        return false;
    std::cout << "card number " << Item(info.data(), 'A') << "\n";

    const int result = library.transactions(contact, 0, detail.data(), seconds);
    if (result == noLog)
        std::cout << "the card keeps no transaction log\n";
    else if (Failed(library, "BO_ICGetDetail", result))
        return false;
    else
    {
        const size_t recordLength = 106;
        const std::string_view text(detail.data());
        for (size_t at = text.size() % recordLength; at < text.size(); at += recordLength)
        {
            const std::string_view record = text.substr(at, recordLength);
            std::cout << Item(record, 'S') << " " << Item(record, 'U') << "  amount "
                      << Item(record, 'P') << "  counter " << Item(record, 'X') << "\n";
        }
    }
    return true;
}

int main(int count, char **arguments)
{
    if (count != 3)
    {
        std::cerr << "usage: card_data LIBRARY USB|DEVICE\n";
        return 2;
    }
    const std::optional<Library> library = Load(arguments[1]);
    if (!library)
        return EXIT_FAILURE;
    const int port = std::strcmp(arguments[2], "USB") == 0 ? 0 : 2;
    if (port != 0)
        library->nameSerialPort(port, arguments[2]);
    const bool done =
        !Failed(*library, "BO_Open", library->open(port, 9600, '0')) && PrintCard(*library);
    library->close();
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
