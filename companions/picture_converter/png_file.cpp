#include "picture.h"

#include <png.h>

int EncodePng(const Picture &picture, std::vector<uint8_t> *file)
{
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = static_cast<png_uint_32>(picture.width);
    image.height = static_cast<png_uint_32>(picture.height);
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    file->resize(size);
    const int done = png_image_write_to_memory(&image, file->data(), &size, 0,
                                               picture.pixels.data(), 0, nullptr);
    png_image_free(&image);
    if (done == 0)
        return kNotEncoded;
    file->resize(size);
    return 0;
}
