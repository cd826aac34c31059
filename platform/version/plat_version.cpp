// Platform library version, readable by tools.
#include "plat_types.h"

extern "C" PLAT_API const char *PLAT_VersionGet(void) {
    return "0.1.0";
}
