// Configuration operations that exist for their callers and do nothing: the
// environment is searched by walking its lists, and authentication has
// nothing to register per instance.
#include "config/restserver_cfg.h"
#include "config/restserver_cfg_register.h"

extern "C" RS_API RS_META_MODULE *RsConfModuleFind(void) {
    return nullptr;
}

extern "C" RS_API RS_META_AUTH *RsConfAuthFind(void) {
    return nullptr;
}

extern "C" RS_API u32 RsAuthRegister(void) {
    return RS_OK;
}
