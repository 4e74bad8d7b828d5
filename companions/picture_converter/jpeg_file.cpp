#include "picture.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>

namespace
{

struct ErrorExit
{
    jpeg_error_mgr manager; // first, so that the library's pointer is this record's
    std::jmp_buf place;
};

[[noreturn]] void LeaveOnError(j_common_ptr info)
{
    std::longjmp(reinterpret_cast<ErrorExit *>(info->err)->place, 1);
}

void SayNothing(j_common_ptr)
{
}

struct Compression
{
    jpeg_compress_struct info;
    ErrorExit error;
    unsigned char *bytes; // of malloc
    unsigned long count;
};

// Nothing in here needs a destructor: an error leaves it by a jump.
bool Compress(const Picture &picture, int quality, Compression *compression)
{
    jpeg_compress_struct *info = &compression->info;
    info->err = jpeg_std_error(&compression->error.manager);
    info->err->error_exit = LeaveOnError;
    info->err->output_message = SayNothing;
    if (setjmp(compression->error.place) != 0)
        return false;
    jpeg_create_compress(info);
    jpeg_mem_dest(info, &compression->bytes, &compression->count);
    info->image_width = static_cast<JDIMENSION>(picture.width);
    info->image_height = static_cast<JDIMENSION>(picture.height);
    info->input_components = 3;
    info->in_color_space = JCS_RGB;
    jpeg_set_defaults(info);
    jpeg_set_quality(info, std::clamp(quality, 1, 100), TRUE);
    jpeg_start_compress(info, TRUE);
    while (info->next_scanline < info->image_height)
    {
        const size_t offset = size_t{info->next_scanline} * info->image_width * 3;
        JSAMPROW row = const_cast<JSAMPROW>(picture.pixels.data() + offset);
        jpeg_write_scanlines(info, &row, 1);
    }
    jpeg_finish_compress(info);
    return true;
}

} // namespace

int EncodeJpeg(const Picture &picture, int quality, std::vector<uint8_t> *file)
{
    Compression compression = {};
    const bool done = Compress(picture, quality, &compression);
    jpeg_destroy_compress(&compression.info);
    if (!done)
        return kNotEncoded; // where the library's buffer is now, it alone knew
    file->assign(compression.bytes, compression.bytes + compression.count);
    std::free(compression.bytes);
    return 0;
}
