// The scheme and the secrets of the listening configuration, from the
// platform's microservice REST record.
#include "listen_config.h"

#include <sys/stat.h>

#include <cstdio>

#include "plat_config.h"

namespace host {

namespace {

bool Given(const char *text) {
    return text != nullptr && text[0] != '\0';
}

void WarnIfWorldReadable(const char *path) {
    struct stat info {};
    if (stat(path, &info) != 0 || (info.st_mode & S_IROTH) == 0) return;
    std::fprintf(stderr, "restserver-host: warning: %s is readable by every user; chmod o-r it\n", path);
}

}  // namespace

std::string ListenSchemeGet() {
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    if (cfg == nullptr) return "http";
    bool tls = Given(cfg->pcSslVersion) || Given(cfg->pcCertFile) || Given(cfg->pcKeyFile);
    Haf_FreeMicroserviceRestCfg(&cfg);
    return tls ? "https" : "http";
}

void SecretsPermissionsCheck() {
    WarnIfWorldReadable("../conf/platform.json");
    MicroserviceRestCfg *cfg = Haf_GenMicroserviceRestCfg();
    if (cfg == nullptr) return;
    if (Given(cfg->pcKeyFile)) WarnIfWorldReadable(cfg->pcKeyFile);
    Haf_FreeMicroserviceRestCfg(&cfg);
}

}  // namespace host
