// Load and unload: what must stand before the first call.
#include <dlfcn.h>

#include "support/start_up.h"
#include "vantor/business.h"
#include "vantor/support.h"
#include "vantor/transport.h"

namespace
{

const char kVersion[] = "V2.1.56.1";

} // namespace

__attribute__((constructor)) void my_init(void)
{
    Dl_info library = {};
    const bool known = dladdr(reinterpret_cast<void *>(my_init), &library) != 0;
    PrepareSupport(known ? library.dli_fname : nullptr);
    GSetComName(1, "/dev/ttyAMA0");
    GLogI("LoadLibrary, version = %s\r\n", kVersion);
}

__attribute__((destructor)) void my_fini(void)
{
    GLogI("FreeLibrary\r\n");
}
