// The calls of support.h, ciphers.h and text_conversion.h.
#include "vantor/support.h"

#include <cstdarg>

#include "vantor/ciphers.h"
#include "vantor/text_conversion.h"
#include "whole_session.h"

namespace fuzz
{

namespace
{

// An append that failed keeps the lock, and every later log line of the process would wait for it.
void ReleaseLog()
{
    pthread_mutex_trylock(&fileMutex);
    pthread_mutex_unlock(&fileMutex);
}

// A file of this process's own; now and then one that cannot be.
std::string FilePath(Session *session)
{
    const uint8_t which = session->Byte();
    return which < 0xE0 ? ScratchFile(which % 2 != 0 ? "some.bin" : "other.ini")
                        : ScratchDirectory() + "/none/" + std::to_string(which);
}

__attribute__((format(printf, 2, 3))) int Format(char **text, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = _Safe_vasprintf(text, format, arguments);
    va_end(arguments);
    return length;
}

int CountEntries(const char *, const char *, uint64_t)
{
    return 0;
}

using TextToBytes = int (*)(const char *, int, unsigned char *, int);
using BytesToText = int (*)(const unsigned char *, int, char *, int);

void ToBytes(Session *session, TextToBytes convert, int more)
{
    Room in(session->Block()), out(session->Size(300) + static_cast<size_t>(more));
    const int count = convert(in.Text(), in.Size(), out.Data(), out.Size() - more);
    FUZZ_CHECK(count <= out.Size() - more);
}

void ToText(Session *session, BytesToText convert, int more)
{
    Room in(session->Block()), out(session->Size(600) + static_cast<size_t>(more));
    const int count = convert(in.Data(), in.Size(), out.Text(), out.Size() - more);
    FUZZ_CHECK(count <= out.Size() - more);
}

using Cipher = int (*)(const unsigned char *, const unsigned char *, unsigned char *);

Bytes Of(Session *session, size_t size)
{
    Bytes bytes = session->Block();
    bytes.resize(size);
    return bytes;
}

void RunCipher(Session *session, Cipher cipher)
{
    Room data(Of(session, 8)), key(Of(session, 8)), out(8);
    FUZZ_CHECK(cipher(data.Data(), key.Data(), out.Data()) == 0);
}

void Encode(Session *session)
{
    Room data(session->Block());
    char *text = base64_encode(data.Data(), data.Size());
    FUZZ_CHECK(text != nullptr && std::strlen(text) == (data.size + 2) / 3 * 4);
    std::free(text);
}

void Decode(Session *session)
{
    Room text(session->Block());
    int size = 0;
    unsigned char *data = base64_decode(text.Text(), text.Size(), &size);
    FUZZ_CHECK(data != nullptr && size >= 0);
    std::free(data);
}

void Digest(Session *session)
{
    Room data(session->Block()), text(33);
    unsigned char digest[16];
    MD5CONTEXT md5;
    MD5Init(&md5);
    MD5Update(&md5, data.Data(), static_cast<unsigned>(data.size));
    MD5Final(digest, &md5);
    FUZZ_CHECK(MD5Result(digest, text.Text(), 33) != nullptr && text.TextLength() == 32);
}

const Call kCalls[] = {
    {"GLogI",
     [](Session *s)
     {
         Room text(s->Text());
         GLogI("%s\r\n", text.Text());
     }},
    {"GLogE",
     [](Session *s)
     {
         Room text(s->Text());
         GLogE("%s", text.Text());
     }},
    {"GDbgPrintStr",
     [](Session *s)
     {
         Room text(s->Text());
         GDbgPrintStr(s->mode, text.Text());
         ReleaseLog();
     }},
    {"_GAppendDataToLogFile",
     [](Session *s)
     {
         Room path(FilePath(s)), text(s->Block());
         _GAppendDataToLogFile(path.Text(), text.Text(), static_cast<uint32_t>(text.size));
         ReleaseLog();
     }},
    {"_Safe_vasprintf",
     [](Session *s)
     {
         Room words(s->Text());
         char *text = nullptr;
         const int length = Format(&text, "%s %d", words.Text(), s->mode);
         FUZZ_CHECK(text != nullptr && std::strlen(text) == static_cast<size_t>(length));
    // Given back with the log's own texts in a fuzzer's build: see world.cpp.
#ifndef VANTOR_FUZZ
         std::free(text);
#endif
     }},
    {"GSetLogFilePath",
     [](Session *s)
     {
         // A log that cannot be opened holds up every later line, so it is one that can.
         GSetLogFilePath(s->mode < 0 ? ScratchFile("session.log").c_str() : "/dev/null");
     }},
    {"GSetLogLevel", [](Session *s) { GSetLogLevel(s->mode + 1); }},
    {"GScanDirectory",
     [](Session *s)
     {
         Room path(FilePath(s));
         GScanDirectory(path.Text(), CountEntries, 0);
         GScanDirectory(ScratchDirectory().c_str(), ScanDirCallback, 0);
     }},
    {"ScanDirCallback",
     [](Session *s)
     {
         Room name(s->mode < 0 ? s->Text() : "qz_20240307.log");
         const std::string path = ScratchFile(name.Text());
         FUZZ_CHECK(ScanDirCallback(name.Text(), path.c_str(), 0) == 0);
     }},
    {"GSetConfigFilePath",
     [](Session *s)
     {
         Room path(s->mode < 0 ? FilePath(s) : ScratchFile("config.ini"));
         GSetConfigFilePath(path.Text());
     }},
    {"GGetConfigInt",
     [](Session *s)
     {
         Room key(s->Text());
         int value = 0;
         GGetConfigInt("devcfg", key.Text(), 3, &value);
     }},
    {"GGetConfigString",
     [](Session *s)
     {
         Room key(s->Text()), value(256, 0);
         GGetConfigString("devcfg", key.Text(), "", value.Text(), 256);
         value.TextLength();
     }},
    {"GSetConfigString",
     [](Session *s)
     {
         static const char *const keys[] = {"Iccmd", "IdChange", "IdBaud", "DevBaud", "devtype"};
         const char *key = keys[s->Byte() % 5];
         Room value(s->Text());
         GSetConfigString("devcfg", key, value.Text());
     }},
    {"GSetDllPath",
     [](Session *s)
     {
         Room path(s->Text());
         GSetDllPath(path.Text());
     }},
    {"GGetDllPath",
     [](Session *)
     {
         Room path(1024);
         GGetDllPath(nullptr, path.Text());
         path.TextLength();
     }},
    {"_IniReadValue",
     [](Session *s)
     {
         Room path(FilePath(s)), key(s->Text()), value(256, 0);
         _IniReadValue("devcfg", key.Text(), "d", value.Text(), path.Text());
         value.TextLength();
     }},
    {"_IniWriteValue",
     [](Session *s)
     {
         Room path(FilePath(s)), key(s->Text()), value(s->Text());
         _IniWriteValue("devcfg", key.Text(), value.Text(), path.Text());
     }},
    {"GHex2Byte", [](Session *s) { ToBytes(s, GHex2Byte, 0); }},
    {"GByte2Hex", [](Session *s) { ToText(s, GByte2Hex, 0); }},
    {"GXor",
     [](Session *s)
     {
         Room first(s->Block()), second(first.size), out(first.size);
         GXor(first.Data(), second.Data(), out.Data(), first.Size());
     }},
    {"GBCD2Ansi", [](Session *s) { ToText(s, GBCD2Ansi, 0); }},
    {"GAnsi2BCD", [](Session *s) { ToBytes(s, GAnsi2BCD, 0); }},
    {"GTrimZero",
     [](Session *s)
     {
         Room in(s->Block()), out(s->Size(300));
         GTrimZero(in.Data(), static_cast<uint32_t>(in.size), out.Data(), out.Size());
     }},
    {"GURLEncode", [](Session *s) { ToText(s, GURLEncode, 1); }},
    {"GURLDecode", [](Session *s) { ToBytes(s, GURLDecode, 1); }},
    {"hex2num", [](Session *s) { FUZZ_CHECK(hex2num(static_cast<char>(s->Byte())) <= 111); }},
    {"GCalXor, GCalSum, GCalCRC16, UpdateCRC16",
     [](Session *s)
     {
         Room in(s->Block());
         GCalXor(in.Data(), in.size);
         GCalSum(in.Data(), in.size);
         UpdateCRC16(GCalCRC16(in.Data(), in.Size()), 7);
     }},
    {"GDesEncrypt", [](Session *s) { RunCipher(s, GDesEncrypt); }},
    {"GDesDecrypt", [](Session *s) { RunCipher(s, GDesDecrypt); }},
    {"G3DesEncrypt",
     [](Session *s)
     {
         Bytes key = s->Block();
         key.resize(24);
         Room data(Of(s, 8)), keyRoom(key), out(8);
         G3DesEncrypt(data.Data(), keyRoom.Data(), out.Data(), s->mode < 0 ? 24 : 16);
     }},
    {"G3DesDecrypt",
     [](Session *s)
     {
         Bytes key = s->Block();
         key.resize(24);
         Room data(Of(s, 8)), keyRoom(key), out(8);
         G3DesDecrypt(data.Data(), keyRoom.Data(), out.Data(), s->mode < 0 ? 24 : 16);
     }},
    {"DES, _DES",
     [](Session *s)
     {
         Room key(Of(s, 8)), data(Of(s, 8)), cipher(8), plain(8);
         DES(key.Data(), data.Data(), cipher.Data());
         _DES(key.Data(), cipher.Data(), plain.Data());
         FUZZ_CHECK(std::memcmp(plain.Data(), data.Data(), 8) == 0);
     }},
    {"DES3, _DES3",
     [](Session *s)
     {
         Room key(s->Block()), data(Of(s, 8)), cipher(8), plain(8);
         DES3(key.Data(), key.Size(), data.Data(), cipher.Data());
         _DES3(key.Data(), key.Size(), cipher.Data(), plain.Data());
         FUZZ_CHECK(std::memcmp(plain.Data(), data.Data(), 8) == 0);
     }},
    {"MD5Init, MD5Update, MD5Final, MD5Result", Digest},
    {"base64_encode", Encode},
    {"base64_decode", Decode},
    {"GOpenFile, GWriteFile, GReadFile, GCloseFile",
     [](Session *s)
     {
         const int mode = s->Byte() % 10;
         Room path(FilePath(s)), data(s->Block());
         FILE *file = GOpenFile(path.Text(), mode);
         GWriteFile(file, data.Data(), data.Size());
         GReadFile(file, data.Data(), data.Size());
         GCloseFile(file);
     }},
    {"GGetFileSize",
     [](Session *s)
     {
         Room path(FilePath(s));
         FUZZ_CHECK(GGetFileSize(path.Text()) >= 0);
     }},
    {"GGetFileName",
     [](Session *s)
     {
         Room path(s->Text()), name(1 + s->Size(30));
         GGetFileName(path.Text(), name.Text(), name.Size());
         name.TextLength();
     }},
    {"GGetLocalFilePath",
     [](Session *s)
     {
         Room out(s->Size(30));
         FUZZ_CHECK(GGetLocalFilePath(out.Text(), out.Size(), "x") < 0);
     }},
    {"GMd5Encode",
     [](Session *s)
     {
         Room data(s->Block()), text(33);
         if (GMd5Encode(data.Text(), data.Size(), text.Text(), 33) == 0)
             FUZZ_CHECK(text.TextLength() == 32);
     }},
    {"GGetFileMd5",
     [](Session *s)
     {
         Room path(FilePath(s)), text(33);
         if (GGetFileMd5(path.Text(), text.Text(), 33) == 0)
             FUZZ_CHECK(text.TextLength() == 32);
     }},
    {"mmi_chset_ucs2_gb18030_2byte_size, ..._4byte_size, ..._4byte_size_add",
     [](Session *)
     {
         FUZZ_CHECK(mmi_chset_ucs2_gb18030_2byte_size() == 21872);
         FUZZ_CHECK(mmi_chset_ucs2_gb18030_4byte_size() == 39339);
         FUZZ_CHECK(mmi_chset_ucs2_gb18030_4byte_size_add() == 1);
     }},
    {"mmi_chset_ucs2_to_gb18030_2_byte_search, ..._4_byte_search, ..._4_byte_search_add",
     [](Session *s)
     {
         const uint16_t code = s->input->Word();
         uint16_t two = 0;
         uint32_t four = 0;
         mmi_chset_ucs2_to_gb18030_2_byte_search(code, &two);
         mmi_chset_ucs2_to_gb18030_4_byte_search(code, &four);
         mmi_chset_ucs2_to_gb18030_4_byte_search_add(code, &four);
     }},
    {"mmi_chset_ucs2_to_gb18030",
     [](Session *s)
     {
         Room unit(Of(s, 2)), out(4);
         FUZZ_CHECK(mmi_chset_ucs2_to_gb18030(out.Data(), unit.Data()) <= 4);
     }},
    {"mmi_chset_ucs2_to_gb18030_str, app_ucs2_strlen",
     [](Session *s)
     {
         Bytes bytes = s->Block();
         bytes.resize(bytes.size() / 2 * 2 + 2);
         bytes[bytes.size() - 1] = bytes[bytes.size() - 2] = 0;
         Room text(bytes), out(2 * bytes.size() + 2);
         FUZZ_CHECK(app_ucs2_strlen(text.Data()) < bytes.size() / 2);
         FUZZ_CHECK(mmi_chset_ucs2_to_gb18030_str(out.Data(), text.Data(),
                                                  static_cast<uint16_t>(out.size)) <= out.size);
     }},
    {"GStrUnicode2GB18030",
     [](Session *s)
     {
         Room text(s->Block()), out(4 * ((text.size + 1) / 2) + 2);
         FUZZ_CHECK(GStrUnicode2GB18030(text.Text(), out.Text(), text.Size()) <= out.Size());
     }},
};

} // namespace

CallTable SupportCalls()
{
    return TableOf(kCalls);
}

} // namespace fuzz
