// The file of an identity photo.
//
// The library goes by what its path holds anywhere, makes directories that nobody may enter and
// leaves its temporary file behind after some failures. It gets a path in a directory of its own,
// and the finished picture is copied to where it is wanted.
#pragma once

#include <string>

namespace tool
{

struct PhotoPlace
{
    std::string directory; // "" when there is none
    std::string path;
};

struct PhotoTrouble
{
    std::string meaning;
    std::string advice;
};

// What is wrong with the name of the file that is to be written, or "".
std::string CheckPhotoPath(const std::string &path);

PhotoPlace MakePhotoPlace(const std::string &path); // for the same kind of picture
void RemovePhotoPlace(const PhotoPlace &place);
std::string CopyPhoto(const PhotoPlace &place, const std::string &path); // what went wrong, or ""

// What the result of the library's photo step means; `path` is the file that was wanted.
PhotoTrouble ExplainPhoto(int code, const std::string &path);

} // namespace tool
