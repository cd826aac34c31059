// Library version, readable by hosts and tools.
#include "restserver_export.h"

extern "C" RS_API const char *RESTSERVER_VersionGet(void) {
    return "0.1.0";
}
