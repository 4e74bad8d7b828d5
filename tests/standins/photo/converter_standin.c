/* Stand-in for a picture converter: writes down what it was told, and whether the BMP file was
 * there and the target was not. Returns -77. */
#include <stdio.h>
#include <unistd.h>

__attribute__((visibility("default"))) int BmpToJpg(const char *bmpPath, const char *targetPath,
                                                    int quality)
{
    const int hasBmp = access(bmpPath, R_OK) == 0;
    const int hasTarget = access(targetPath, F_OK) == 0;
    FILE *file = fopen(targetPath, "w");
    if (file == NULL)
        return -78;
    fprintf(file, "%s (%s), %s (%s), %d", bmpPath, hasBmp ? "there" : "missing", targetPath,
            hasTarget ? "there" : "missing", quality);
    fclose(file);
    return -77;
}
