/* Fills the slots behind the cJSON forwarders with libcjson's own functions, before any other
 * constructor of this library runs. The library's handle is asked, never the global scope: a host
 * that has a cJSON of its own must not end up behind our symbols. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern const char cjson_names[] __attribute__((visibility("hidden")));
extern void *cjson_slot[] __attribute__((visibility("hidden")));

__attribute__((constructor(101))) static void ResolveCjson(void)
{
    void *libcjson = dlopen("libcjson.so.1", RTLD_NOW | RTLD_LOCAL); /* mapped already: DT_NEEDED */
    int slot = 0;
    for (const char *name = cjson_names; *name != '\0'; name += strlen(name) + 1)
    {
        cjson_slot[slot] = libcjson != NULL ? dlsym(libcjson, name) : NULL;
        if (cjson_slot[slot] == NULL)
        {
            fprintf(stderr, "libvantor: %s: %s\n", name, dlerror());
            abort();
        }
        slot++;
    }
    /* It stays mapped as long as this library needs it. Kept open it would never let go of us: its
     * own calls are bound to our forwarders, and the last dlclose of a host would unload nothing.
     */
    dlclose(libcjson);
}
