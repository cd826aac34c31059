// How a client reaches the instances, as the platform configuration says.
#pragma once

#include <string>

namespace host {

// "https" when the platform configuration asks for TLS (a version, a
// certificate or a key), else "http".
std::string ListenSchemeGet();

// Warns on stderr about secrets readable by every user: the platform
// configuration (it may hold the key password) and the TLS private key.
void SecretsPermissionsCheck();

}  // namespace host
