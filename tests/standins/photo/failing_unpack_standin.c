/* Stand-in for the decoder of identity photos: refuses every photo. */
__attribute__((visibility("default"))) int unpack(const unsigned char *photo, unsigned char *pixels,
                                                  int option)
{
    (void)photo;
    (void)pixels;
    (void)option;
    return -1;
}
