// The picture converter, the optional companion: BMP files in, JPEG, PNG and GIF files out.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <gif_lib.h>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <memory>
#include <png.h>
#include <vector>

#include "standins/photo/photo_room.h"
#include "support/golden_line.h"

namespace fs = std::filesystem;
using testing_support::FromHex;
using testing_support::PhotoRoom;
using testing_support::ReadFile;
using testing_support::WriteFile;

namespace
{

struct Image
{
    int width = 0;
    int height = 0;
    std::vector<unsigned char> pixels; // red, green, blue, from the top left corner
};

// Loaded as libvantor loads it, from the working directory.
struct Converter : testing::Test
{
    PhotoRoom room;
    void *library = nullptr;
    int (*convert)(const char *, const char *, int) = nullptr;

    Converter()
    {
        room.RealConverter();
        library = dlopen("./libPicConvert.so", RTLD_NOW);
        if (library != nullptr)
            convert = reinterpret_cast<decltype(convert)>(dlsym(library, "BmpToJpg"));
    }
    ~Converter() override
    {
        if (library != nullptr)
            dlclose(library);
        EXPECT_EQ(std::string::npos, ReadFile("/proc/self/maps").find("libPicConvert.so"));
    }
    void SetUp() override
    {
        ASSERT_NE(nullptr, convert);
    }
};

std::string Word(int value, int bytes)
{
    std::string text;
    for (int i = 0; i < bytes; i++)
        text += static_cast<char>(value >> 8 * i);
    return text;
}

// A BMP file; a negative height has its top row first.
std::string Bmp(const Image &image, bool topFirst = false)
{
    const size_t row = static_cast<size_t>(image.width) * 3;
    std::string pixels;
    for (int y = 0; y < image.height; y++)
    {
        const int from = topFirst ? y : image.height - 1 - y;
        for (int x = 0; x < image.width; x++)
            for (size_t i = 3; i-- > 0;)
                pixels += static_cast<char>(
                    image.pixels[row * static_cast<size_t>(from) + static_cast<size_t>(x) * 3 + i]);
        pixels += std::string((4 - row % 4) % 4, '\x55');
    }
    return "BM" + Word(54 + static_cast<int>(pixels.size()), 4) + Word(0, 4) + Word(54, 4) +
           Word(40, 4) + Word(image.width, 4) + Word(topFirst ? -image.height : image.height, 4) +
           Word(1, 2) + Word(24, 2) + std::string(24, '\0') + pixels;
}

// Soft colours, different in every corner.
Image Gradient(int width, int height)
{
    Image image{width, height, {}};
    for (int y = 0; y < height; y++)
        for (int x = 0; x < width; x++)
        {
            image.pixels.push_back(static_cast<unsigned char>(40 + 180 * x / width));
            image.pixels.push_back(static_cast<unsigned char>(60 + 150 * y / height));
            image.pixels.push_back(static_cast<unsigned char>(200 - 80 * x / width));
        }
    return image;
}

Image ReadPng(const char *path)
{
    png_image png = {};
    png.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&png, path) == 0)
        return {};
    png.format = PNG_FORMAT_RGB;
    Image image{static_cast<int>(png.width), static_cast<int>(png.height), {}};
    image.pixels.resize(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, image.pixels.data(), 0, nullptr) == 0)
        return {};
    return image;
}

Image ReadJpeg(const char *path)
{
    const std::string file = ReadFile(path);
    jpeg_decompress_struct info;
    jpeg_error_mgr error;
    info.err = jpeg_std_error(&error); // a file that is none ends the program
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, reinterpret_cast<const unsigned char *>(file.data()), file.size());
    jpeg_read_header(&info, TRUE);
    jpeg_start_decompress(&info);
    Image image{static_cast<int>(info.output_width), static_cast<int>(info.output_height), {}};
    EXPECT_EQ(3, info.output_components);
    const size_t row = static_cast<size_t>(info.output_width) * 3;
    image.pixels.resize(row * info.output_height);
    while (info.output_scanline < info.output_height)
    {
        JSAMPROW line = image.pixels.data() + row * info.output_scanline;
        jpeg_read_scanlines(&info, &line, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return image;
}

Image ReadGif(const char *path)
{
    int error = 0;
    GifFileType *gif = DGifOpenFileName(path, &error);
    if (gif == nullptr)
        return {};
    Image image;
    if (DGifSlurp(gif) == GIF_OK && gif->ImageCount == 1)
    {
        image.width = gif->SWidth;
        image.height = gif->SHeight;
        const int count =
            gif->SavedImages[0].ImageDesc.Width * gif->SavedImages[0].ImageDesc.Height;
        for (int i = 0; i < count; i++)
        {
            const GifColorType &colour = gif->SColorMap->Colors[gif->SavedImages[0].RasterBits[i]];
            image.pixels.insert(image.pixels.end(), {colour.Red, colour.Green, colour.Blue});
        }
    }
    DGifCloseFile(gif, &error);
    return image;
}

// The largest difference of a channel; 256 for pictures of different sizes.
int Difference(const Image &left, const Image &right)
{
    if (left.width != right.width || left.height != right.height ||
        left.pixels.size() != right.pixels.size())
        return 256;
    int largest = 0;
    for (size_t i = 0; i < left.pixels.size(); i++)
        largest = std::max(largest, std::abs(left.pixels[i] - right.pixels[i]));
    return largest;
}

} // namespace

TEST_F(Converter, PngKeepsEveryPixel)
{
    for (int width : {1, 2, 3, 4, 5, 102})
    {
        const Image image = Gradient(width, 126);
        WriteFile("in.bmp", Bmp(image));
        EXPECT_EQ(0, convert("in.bmp", "out.png", 60));
        EXPECT_EQ(0, Difference(image, ReadPng("out.png"))) << width;
    }
}

TEST_F(Converter, JpegIsCloseAtAHighQualityAndSmallAtALowOne)
{
    const Image image = Gradient(102, 126);
    WriteFile("in.bmp", Bmp(image));
    EXPECT_EQ(0, convert("in.bmp", "best.jpg", 100));
    EXPECT_EQ(0, convert("in.bmp", "usual.jpeg", 60));
    EXPECT_EQ(0, convert("in.bmp", "worst.jpg", 1));
    EXPECT_LE(Difference(image, ReadJpeg("best.jpg")), 6);
    EXPECT_LE(Difference(image, ReadJpeg("usual.jpeg")), 16);
    EXPECT_GT(fs::file_size("best.jpg"), fs::file_size("usual.jpeg"));
    EXPECT_GT(fs::file_size("usual.jpeg"), fs::file_size("worst.jpg"));
}

TEST_F(Converter, AQualityOutOfRangeIsTheNearest)
{
    WriteFile("in.bmp", Bmp(Gradient(102, 126)));
    for (const auto &[quality, nearest] : {std::pair(0, 1), std::pair(-5, 1), std::pair(1000, 100)})
    {
        EXPECT_EQ(0, convert("in.bmp", "out.jpg", quality));
        EXPECT_EQ(0, convert("in.bmp", "nearest.jpg", nearest));
        EXPECT_EQ(ReadFile("out.jpg"), ReadFile("nearest.jpg"));
    }
}

TEST_F(Converter, GifKeepsAPictureOf256Colours)
{
    Image image{16, 16, {}};
    for (int i = 0; i < 256; i++)
        image.pixels.insert(image.pixels.end(),
                            {static_cast<unsigned char>(i), static_cast<unsigned char>(255 - i),
                             static_cast<unsigned char>(i * 7)});
    WriteFile("in.bmp", Bmp(image));
    EXPECT_EQ(0, convert("in.bmp", "out.gif", 60));
    EXPECT_EQ(0, Difference(image, ReadGif("out.gif")));
}

TEST_F(Converter, GifOfMoreColoursComesClose)
{
    const Image image = Gradient(102, 126);
    WriteFile("in.bmp", Bmp(image));
    EXPECT_EQ(0, convert("in.bmp", "out.gif", 60));
    EXPECT_LE(Difference(image, ReadGif("out.gif")), 12);
}

TEST_F(Converter, GifOfOneAndOfTwoColours)
{
    Image image{3, 2, std::vector<unsigned char>(18, 200)};
    WriteFile("in.bmp", Bmp(image));
    EXPECT_EQ(0, convert("in.bmp", "one.gif", 60));
    EXPECT_EQ(0, Difference(image, ReadGif("one.gif")));
    image.pixels[17] = 10;
    WriteFile("in.bmp", Bmp(image));
    EXPECT_EQ(0, convert("in.bmp", "two.gif", 60));
    EXPECT_EQ(0, Difference(image, ReadGif("two.gif")));
}

TEST_F(Converter, ABmpMayHaveItsTopRowFirst)
{
    const Image image = Gradient(7, 5);
    WriteFile("in.bmp", Bmp(image, true));
    EXPECT_EQ(0, convert("in.bmp", "out.png", 60));
    EXPECT_EQ(0, Difference(image, ReadPng("out.png")));
}

TEST_F(Converter, EndingsAreTakenInEitherCaseAndOthersRefused)
{
    WriteFile("in.bmp", Bmp(Gradient(4, 4)));
    for (const char *path : {"a.JPG", "b.Png", "c.GIF", "d.tar.jpg", "./e.Jpeg"})
        EXPECT_EQ(0, convert("in.bmp", path, 60)) << path;
    for (const char *path : {"out", "out.bmp", "out.jpg2", "jpg", "", ".", "out.jpg/x", "out.webp"})
        EXPECT_EQ(-34, convert("in.bmp", path, 60)) << path;
}

TEST_F(Converter, AMissingPathOrFileIsTold)
{
    WriteFile("in.bmp", Bmp(Gradient(4, 4)));
    EXPECT_EQ(-31, convert(nullptr, "out.jpg", 60));
    EXPECT_EQ(-31, convert("in.bmp", nullptr, 60));
    EXPECT_EQ(-32, convert("missing.bmp", "out.jpg", 60));
    EXPECT_EQ(-32, convert(".", "out.jpg", 60));
    EXPECT_EQ(-36, convert("in.bmp", "missing/out.jpg", 60));
    EXPECT_EQ(-36, convert("in.bmp", "missing/out.png", 60));
    EXPECT_EQ(-36, convert("in.bmp", "missing/out.gif", 60));
    EXPECT_FALSE(fs::exists("out.jpg"));
}

TEST_F(Converter, AFullDiskLeavesNothing)
{
    WriteFile("in.bmp", Bmp(Gradient(102, 126)));
    fs::create_symlink("/dev/full", "out.png");
    EXPECT_EQ(-36, convert("in.bmp", "out.png", 60));
    EXPECT_FALSE(fs::exists("out.png"));
    EXPECT_TRUE(fs::exists("/dev/full"));
}

TEST_F(Converter, FilesThatAreNoSuchPictureAreRefused)
{
    const std::string good = Bmp(Gradient(4, 4));
    const auto refused = [this, &good](size_t offset, const std::string &hex)
    {
        std::string bad = good;
        bad.replace(offset, FromHex(hex).size(), FromHex(hex));
        WriteFile("in.bmp", bad);
        return convert("in.bmp", "out.jpg", 60) == -33;
    };
    EXPECT_FALSE(refused(0, "424D"));
    EXPECT_TRUE(refused(0, "424E")) << "the mark";
    EXPECT_TRUE(refused(0, "434D")) << "the mark";
    EXPECT_TRUE(refused(10, "FFFFFFFF")) << "pixels beyond the file";
    EXPECT_TRUE(refused(10, "37000000")) << "pixels that run out";
    EXPECT_TRUE(refused(10, "00000000")) << "pixels in the head";
    EXPECT_TRUE(refused(14, "0C000000")) << "an older information header";
    EXPECT_TRUE(refused(18, "00000000")) << "no width";
    EXPECT_TRUE(refused(18, "FFFFFFFF")) << "a negative width";
    EXPECT_TRUE(refused(18, "01100000")) << "4097";
    EXPECT_TRUE(refused(18, "05000000")) << "wider than its pixels";
    EXPECT_TRUE(refused(22, "00000000")) << "no height";
    EXPECT_TRUE(refused(22, "00000080")) << "the height that has no opposite";
    EXPECT_TRUE(refused(22, "FFFFFF7F")) << "a huge height";
    EXPECT_TRUE(refused(22, "05000000")) << "higher than its pixels";
    EXPECT_TRUE(refused(26, "0200")) << "planes";
    EXPECT_TRUE(refused(28, "2000")) << "bits of a pixel";
    EXPECT_TRUE(refused(30, "01000000")) << "compressed";
    for (size_t length = 0; length < good.size(); length++)
    {
        WriteFile("in.bmp", good.substr(0, length));
        ASSERT_EQ(-33, convert("in.bmp", "out.jpg", 60)) << length;
    }
}

TEST_F(Converter, ThePhotoOfACardIsUprightAndInItsColours)
{
    // As libvantor writes it: 102 x 126 with rows of 308 bytes that end in FF FF.
    const Image image = Gradient(102, 126);
    std::string bmp = Bmp(image);
    EXPECT_EQ(38862u, bmp.size());
    WriteFile("in.bmp", bmp);
    ASSERT_EQ(0, convert("in.bmp", "out.png", 60));
    const Image png = ReadPng("out.png");
    EXPECT_EQ(102, png.width);
    EXPECT_EQ(126, png.height);
    EXPECT_EQ((std::vector<unsigned char>{40, 60, 200}),
              std::vector<unsigned char>(png.pixels.begin(), png.pixels.begin() + 3))
        << "the top left corner";
}
