/* Stand-in for the decoder of identity photos: not a decoder. It draws a portrait, 102 x 126, whose
 * colours and background come from the 1024 bytes, so that the same bytes always give the same
 * picture and one other byte gives another one. Refuses a photo of zero bytes only. */
#include <stdint.h>

enum
{
    kWidth = 102,
    kHeight = 126,
    kPhotoSize = 1024,
    kOption = 788, /* what the decoder is called with */
    kMosaic = 32   /* the bytes lie 32 x 32 behind the portrait */
};

typedef struct
{
    unsigned char red, green, blue;
} Colour;

typedef struct
{
    Colour coat, skin, hair, wall;
} Look;

static uint32_t Mix(uint32_t hash, unsigned char byte)
{
    return (hash ^ byte) * 16777619u; /* FNV-1a */
}

static unsigned char Between(uint32_t hash, int low, int high)
{
    return (unsigned char)(low + (int)(hash % (uint32_t)(high - low + 1)));
}

static Look LookOf(uint32_t hash)
{
    Look look;
    look.coat.red = Between(hash, 20, 150);
    look.coat.green = Between(hash >> 5, 20, 130);
    look.coat.blue = Between(hash >> 10, 40, 180);
    look.skin.red = Between(hash >> 3, 225, 245);
    look.skin.green = Between(hash >> 7, 185, 205);
    look.skin.blue = Between(hash >> 11, 150, 175);
    look.hair.red = Between(hash >> 4, 15, 70);
    look.hair.green = Between(hash >> 8, 15, 45);
    look.hair.blue = Between(hash >> 12, 15, 35);
    look.wall.red = Between(hash >> 6, 170, 200);
    look.wall.green = Between(hash >> 9, 190, 215);
    look.wall.blue = Between(hash >> 13, 215, 235);
    return look;
}

static int InEllipse(int x, int y, int centreX, int centreY, int radiusX, int radiusY)
{
    const int dx = x - centreX;
    const int dy = y - centreY;
    return dx * dx * radiusY * radiusY + dy * dy * radiusX * radiusX <=
           radiusX * radiusX * radiusY * radiusY;
}

/* The wall, in which the photo's bytes show as a faint mosaic. */
static Colour Wall(const unsigned char *photo, const Look *look, int x, int y)
{
    const int shade = photo[y * kMosaic / kHeight * kMosaic + x * kMosaic / kWidth] / 16;
    Colour wall = look->wall;
    wall.red = (unsigned char)(wall.red + shade);
    wall.green = (unsigned char)(wall.green + shade);
    wall.blue = (unsigned char)(wall.blue + shade);
    return wall;
}

static Colour ColourAt(const unsigned char *photo, const Look *look, int x, int y)
{
    static const Colour kEye = {40, 35, 45};
    static const Colour kMouth = {170, 80, 80};
    static const Colour kCollar = {245, 245, 245};
    if (InEllipse(x, y, 41, 56, 3, 2) || InEllipse(x, y, 61, 56, 3, 2))
        return kEye;
    if (InEllipse(x, y, 51, 75, 9, 2))
        return kMouth;
    if (InEllipse(x, y, 51, 60, 22, 29) && !InEllipse(x, y, 51, 30, 24, 12))
        return look->skin;
    if (InEllipse(x, y, 51, 46, 27, 30))
        return look->hair;
    if (x > 42 && x < 60 && y > 80 && y < 98)
        return look->skin; /* the neck */
    if (InEllipse(x, y, 51, 100, 16, 10))
        return kCollar;
    if (InEllipse(x, y, 51, 132, 46, 38))
        return look->coat;
    return Wall(photo, look, x, y);
}

/* Red, green, blue; the bottom row first, as the BMP file wants it. */
__attribute__((visibility("default"))) int unpack(const unsigned char *photo, unsigned char *pixels,
                                                  int option)
{
    uint32_t hash = 2166136261u;
    int isEmpty = 1;
    for (int i = 0; i < kPhotoSize; i++)
    {
        hash = Mix(hash, photo[i]);
        isEmpty = isEmpty && photo[i] == 0;
    }
    if (isEmpty || option != kOption)
        return -1;
    const Look look = LookOf(hash);
    for (int y = kHeight - 1; y >= 0; y--)
        for (int x = 0; x < kWidth; x++, pixels += 3)
        {
            const Colour colour = ColourAt(photo, &look, x, y);
            pixels[0] = colour.red;
            pixels[1] = colour.green;
            pixels[2] = colour.blue;
        }
    return 1;
}
