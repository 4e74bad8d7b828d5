#include "support/reader_script.h"

namespace testing_support
{

std::string KrelFrame(const std::string &payload)
{
    const std::string bytes = FromHex(payload);
    std::string frame = "\x60";
    frame += static_cast<char>(bytes.size());
    frame += bytes;
    unsigned char check = 0;
    for (char byte : frame)
        check ^= static_cast<unsigned char>(byte);
    frame += static_cast<char>(check);
    std::string text;
    for (char byte : frame)
        text += ToHex(std::string(1, byte)).substr(0, 2);
    return text + ETX;
}

std::string UnionFrame(const std::string &payload)
{
    const std::string bytes = FromHex(payload);
    unsigned char check = 0;
    for (char byte : bytes)
        check ^= static_cast<unsigned char>(byte);
    std::string frame;
    frame += static_cast<char>(bytes.size() >> 8);
    frame += static_cast<char>(bytes.size() & 0xFF);
    frame += bytes;
    frame += static_cast<char>(check);
    std::string text = STX;
    for (char byte : frame)
    {
        text += static_cast<char>(0x30 + (static_cast<unsigned char>(byte) >> 4));
        text += static_cast<char>(0x30 + (byte & 0x0F));
    }
    return text + ETX;
}

std::string ReaderScript::Framed(const std::string &payload) const
{
    return united ? UnionFrame(payload) : KrelFrame(payload);
}

std::string ReaderScript::Success() const
{
    return united ? "0000" : "00";
}

ReaderScript &ReaderScript::Exchange(const std::string &command, const std::string &answer)
{
    rows.push_back({Framed(command), Framed(answer)});
    return *this;
}

ReaderScript &ReaderScript::PowerOnFails(const std::string &status)
{
    if (united)
        return Exchange(contactless ? "32240000" : "3222000000", status);
    return Exchange(contactless ? "D1" : "E101", status);
}

ReaderScript &ReaderScript::PowerOn(const std::string &atr)
{
    return PowerOnFails(Success() + atr);
}

ReaderScript &ReaderScript::PowerOffFails(const std::string &status)
{
    if (united)
        return Exchange(contactless ? "32250000" : "322300", status);
    return Exchange(contactless ? "D2" : "E201", status);
}

ReaderScript &ReaderScript::PowerOff()
{
    return PowerOffFails(Success());
}

ReaderScript &ReaderScript::ApduFails(const std::string &command, const std::string &status)
{
    if (united)
        return Exchange((contactless ? "3226FF" : "322600") + command, status);
    return Exchange((contactless ? "D3" : "E301") + command, status);
}

ReaderScript &ReaderScript::Apdu(const std::string &command, const std::string &response)
{
    return ApduFails(command, Success() + response);
}

} // namespace testing_support
