#include "photo_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace tool
{

namespace fs = std::filesystem;

static const char kDecoder[] = "libwlt.so";
static const char kConverter[] = "libPicConvert.so";

// The ending as the library knows it; "" for a file that is no picture.
static std::string Ending(const std::string &path)
{
    static const struct
    {
        const char *ending;
        const char *known;
    } kEndings[] = {
        {".bmp", ".bmp"}, {".jpg", ".jpg"}, {".jpeg", ".jpg"}, {".png", ".png"}, {".gif", ".gif"},
    };
    std::string ending = fs::path(path).extension().string();
    for (char &character : ending)
        character = static_cast<char>(tolower(static_cast<unsigned char>(character)));
    for (const auto &each : kEndings)
        if (ending == each.ending)
            return each.known;
    return "";
}

std::string CheckPhotoPath(const std::string &path)
{
    if (path.empty())
        return "";
    if (Ending(path).empty())
        return "--photo takes a file name that ends in .bmp, .jpg, .png or .gif, not \"" + path +
               "\"";
    std::error_code ignored;
    const std::string parent = fs::path(path).parent_path().string();
    const std::string directory = parent.empty() ? "." : parent;
    const std::string cannot = "cannot write " + path + ": ";
    if (fs::is_directory(path, ignored))
        return cannot + "it is a directory";
    if (!fs::is_directory(directory, ignored))
        return cannot + "there is no directory " + directory;
    const bool isThere = access(path.c_str(), F_OK) == 0;
    if (access(isThere ? path.c_str() : directory.c_str(), isThere ? W_OK : W_OK | X_OK) != 0)
        return cannot + strerror(errno);
    return "";
}

PhotoPlace MakePhotoPlace(const std::string &path)
{
    char directory[] = "/tmp/vantor-photo-XXXXXX"; // open to this user only
    if (mkdtemp(directory) == nullptr)
        return {};
    return {directory, std::string(directory) + "/photo" + Ending(path)};
}

void RemovePhotoPlace(const PhotoPlace &place)
{
    std::error_code ignored;
    if (!place.directory.empty())
        fs::remove_all(place.directory, ignored);
}

std::string CopyPhoto(const PhotoPlace &place, const std::string &path)
{
    std::error_code error;
    fs::copy_file(place.path, path, fs::copy_options::overwrite_existing, error);
    return error ? "the photo could not be written to " + path + ": " + error.message() : "";
}

// ---- Failures ----

static std::string Here()
{
    std::error_code error;
    const fs::path here = fs::current_path(error);
    return error ? "the working directory" : here.string();
}

// The library looks for both in the working directory of the process and nowhere else.
static PhotoTrouble Missing(const char *library, const std::string &advice)
{
    const std::string here = Here();
    if (access(library, F_OK) != 0)
        return {std::string("no photo: there is no ") + library + " in " + here, advice};
    return {std::string("no photo: ") + library + " in " + here + " could not be loaded",
            "is it made for this machine, and are the libraries there that it needs itself?"};
}

static PhotoTrouble Lacking(const char *library, const char *entry)
{
    return {std::string("no photo: ") + library + " in " + Here() + " has no entry \"" + entry +
                "\"",
            "is it the right library?"};
}

PhotoTrouble ExplainPhoto(int code, const std::string &path)
{
    switch (code)
    {
    case -1014:
        return Missing(kDecoder, "start vantor in the directory that holds the site's photo "
                                 "decoder");
    case -1000:
        return Lacking(kDecoder, "unpack");
    case -3:
        return {"no photo: the decoder refused the photo of this card, or the disk is full",
                "leave the card in place and read again; does the card hold a photo?"};
    case -1009:
        return Missing(kConverter,
                       "a .bmp needs none; else put the converter that comes with libvantor there");
    case -1010:
        return Lacking(kConverter, "BmpToJpg");
    default:
        return {"no photo: the converter refused to make a " + Ending(path) + " file",
                "a .bmp needs no converter"};
    }
}

} // namespace tool
