// A picture in memory, and what reads and writes one. All results: 0 or a code below.
#pragma once

#include <cstdint>
#include <vector>

constexpr int kMissingPath = -31;
constexpr int kUnreadable = -32;
constexpr int kNotAPicture = -33;
constexpr int kUnknownFormat = -34;
constexpr int kNotEncoded = -35;
constexpr int kNotWritten = -36;

struct Picture
{
    int width = 0;
    int height = 0;
    std::vector<uint8_t> pixels; // red, green, blue; the top row first, without padding
};

int ReadBmp(const char *path, Picture *picture);

// The encoded file, in memory.
int EncodeJpeg(const Picture &picture, int quality, std::vector<uint8_t> *file);
int EncodePng(const Picture &picture, std::vector<uint8_t> *file);
int EncodeGif(const Picture &picture, std::vector<uint8_t> *file);
