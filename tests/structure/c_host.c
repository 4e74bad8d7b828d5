/* A host application in C, linked to libvantor alone: the header is C, the calls with C++ symbols
 * are reachable, and cJSON comes with the library. */
#include <cjson/cJSON.h>
#include <stdio.h>
#include <string.h>

#include "vantor.h"

static int Expect(int isTrue, const char *what)
{
    if (!isTrue)
        fprintf(stderr, "failed: %s\n", what);
    return isTrue ? 0 : 1;
}

int main(void)
{
    int failures = 0;
    char text[64] = "";
    int32_t length = 0;
    BO_GetErrInfo(0, 0, text, &length);
    failures += Expect(strcmp(text, "成功") == 0 && length == 6, "BO_GetErrInfo(0)");
    failures += Expect(GSetComName(16, "/dev/null") == -99, "GSetComName by its C++ symbol");
    failures += Expect(GMd5Encode("abc", 3, text, sizeof text) == 0 &&
                           strcmp(text, "900150983CD24FB0D6963F7D28E17F72") == 0,
                       "GMd5Encode by its C++ symbol");
    failures += Expect(BO_M0Read(-1, 4, sizeof text, text) == -5106, "BO_M0Read by its C++ symbol");
    failures += Expect(context.isOpen == 0, "the device context is a variable of the library");

    cJSON *json = cJSON_Parse("{\"reader\":[1,2,3]}");
    cJSON *list = cJSON_GetObjectItem(json, "reader");
    failures += Expect(cJSON_GetArraySize(list) == 3, "cJSON parses through the library");
    char *printed = cJSON_PrintUnformatted(json);
    failures += Expect(printed != NULL && strcmp(printed, "{\"reader\":[1,2,3]}") == 0,
                       "cJSON prints through the library");
    cJSON_free(printed);
    cJSON_Delete(json);
    return failures;
}
