// Reads an identity card and its photo with the terminal-standard call.
//
//     c++ -std=c++17 identity_card.cpp $(pkg-config --cflags --libs vantor) -o identity_card
//     ./identity_card USB head.bmp
//     ./identity_card pts/7 head.bmp                    a device below /dev
//
// The photo needs the site's decoder, libwlt.so, in the working directory. The call writes
// "IdChange=1" into the library's settings.
#include <cstdlib>
#include <iconv.h>
#include <iostream>
#include <string>
#include <vantor.h>
#include <vector>

// Cards hold UCS-2, the library gives GB18030.
static std::string Utf8(std::string text)
{
    const iconv_t converter = iconv_open("UTF-8", "GB18030");
    if (converter == reinterpret_cast<iconv_t>(-1))
        return "";
    std::vector<char> utf8(2 * text.size() + 1); // at most three bytes for two
    char *in = text.data(), *out = utf8.data();
    size_t left = text.size(), room = utf8.size();
    iconv(converter, &in, &left, &out, &room);
    iconv_close(converter);
    return std::string(utf8.data(), out);
}

static std::vector<std::string> Fields(const std::string &text)
{
    std::vector<std::string> fields(1);
    for (const char character : text)
        if (character == '|')
            fields.emplace_back();
        else
            fields.back() += character;
    return fields;
}

int main(int count, char **arguments)
{
    if (count != 3)
    {
        std::cerr << "usage: identity_card USB|PORT PHOTO.bmp\n";
        return 2;
    }
    std::vector<char> info(4096);
    const int result = ID_GetInfo(arguments[1], nullptr, 9600, 10, arguments[2], nullptr, nullptr,
                                  nullptr, info.data());
    // With a text the card was read, and a failure is that of the photo.
    const std::vector<std::string> fields = Fields(Utf8(info.data()));
    if (fields.size() > 8)
        std::cout << "name " << fields[0] << "\nbirth " << fields[3] << "\nnumber " << fields[5]
                  << "\nvalid to " << fields[8] << "\n";
    if (result != 0)
    {
        std::cerr << "ID_GetInfo: " << result << "\n"; // vantor error --interface terminal N
        return EXIT_FAILURE;
    }
    std::cout << "photo " << arguments[2] << "\n";
    return EXIT_SUCCESS;
}
