// TLS context: protocol floor, certificate chain and key, client verification,
// cipher lists.
#include "kernel/tls_context.h"

#include <openssl/ssl.h>

#include <cstring>
#include <string>

#include "log/log_macro.h"

namespace kernel {

namespace ssl = boost::asio::ssl;

namespace {

// Every refusal is logged and kept as the reason the server does not start.
bool Refuse(std::string &reason, std::string text) {
    PLAT_LOG(PLAT_LOG_ERROR, "%s", text.c_str());
    reason = std::move(text);
    return false;
}

std::string Text(const char *text) {
    return text != nullptr && text[0] != '\0' ? text : "(none)";
}

bool VersionApply(SSL_CTX *ctx, const char *version, std::string &reason) {
    int floor = 0;
    if (version != nullptr && strcmp(version, "TLSv1.2") == 0) floor = TLS1_2_VERSION;
    if (version != nullptr && strcmp(version, "TLSv1.3") == 0) floor = TLS1_3_VERSION;
    if (floor == 0) return Refuse(reason, "TLS version refused: " + Text(version) + " (TLSv1.2 or TLSv1.3)");
    return SSL_CTX_set_min_proto_version(ctx, floor) == 1 ||
           Refuse(reason, "TLS version not available: " + Text(version));
}

bool KeysApply(ssl::context &context, const REST_SSL_PARAM &param, std::string &reason) {
    std::string password = param.pcKeyPassword != nullptr ? param.pcKeyPassword : "";
    boost::system::error_code ec;
    context.set_password_callback([password](std::size_t, ssl::context::password_purpose) { return password; }, ec);
    if (param.pcCertFile == nullptr || param.pcCertFile[0] == '\0')
        return Refuse(reason, "TLS certificate file missing from the settings");
    context.use_certificate_chain_file(param.pcCertFile, ec);
    if (ec)
        return Refuse(reason, "TLS certificate file refused: " + Text(param.pcCertFile) + " (" + ec.message() + ")");
    if (param.pcKeyFile == nullptr || param.pcKeyFile[0] == '\0')
        return Refuse(reason, "TLS key file missing from the settings");
    context.use_private_key_file(param.pcKeyFile, ssl::context::pem, ec);
    if (ec)
        return Refuse(reason, "TLS key file refused (missing, unreadable or wrong password): " + Text(param.pcKeyFile));
    if (SSL_CTX_check_private_key(context.native_handle()) != 1)
        return Refuse(reason, "TLS key file does not match the certificate: " + Text(param.pcKeyFile));
    return true;
}

bool CaFilesApply(ssl::context &context, const REST_SSL_PARAM &param, std::string &reason) {
    if (param.uiCaFileNum == 0 || param.ppcCaFiles == nullptr) return true;
    for (u32 i = 0; i < param.uiCaFileNum; ++i) {
        const char *file = param.ppcCaFiles[i];
        boost::system::error_code ec;
        if (file != nullptr) context.load_verify_file(file, ec);
        if (file == nullptr || ec) return Refuse(reason, "TLS CA file refused: " + Text(file));
    }
    context.set_verify_mode(ssl::verify_peer | ssl::verify_fail_if_no_peer_cert);
    // Resumed sessions keep the verified peer; OpenSSL requires a context id for that.
    static const unsigned char kSessionContext[] = "rest-engine";
    SSL_CTX_set_session_id_context(context.native_handle(), kSessionContext, sizeof(kSessionContext) - 1);
    return true;
}

// Without a configured list TLS 1.2 offers only suites with forward secrecy
// and authenticated encryption; TLS 1.3 suites all have both.
constexpr char kDefaultCiphers[] =
    "ECDHE-ECDSA-AES128-GCM-SHA256:ECDHE-RSA-AES128-GCM-SHA256:"
    "ECDHE-ECDSA-AES256-GCM-SHA384:ECDHE-RSA-AES256-GCM-SHA384:"
    "ECDHE-ECDSA-CHACHA20-POLY1305:ECDHE-RSA-CHACHA20-POLY1305";

// Names starting "TLS_" are TLS 1.3 suites; the others are TLS 1.2 ciphers.
bool CiphersApply(SSL_CTX *ctx, const REST_SSL_PARAM &param, std::string &reason) {
    std::string suites;
    std::string ciphers;
    for (u32 i = 0; param.ppcCiphers != nullptr && i < param.uiCipherNum; ++i) {
        const char *name = param.ppcCiphers[i];
        if (name == nullptr || name[0] == '\0') continue;
        std::string &list = strncmp(name, "TLS_", 4) == 0 ? suites : ciphers;
        if (!list.empty()) list.push_back(':');
        list.append(name);
    }
    if (!suites.empty() && SSL_CTX_set_ciphersuites(ctx, suites.c_str()) != 1)
        return Refuse(reason, "TLS 1.3 suites refused: " + suites);
    if (ciphers.empty()) ciphers = kDefaultCiphers;
    if (SSL_CTX_set_cipher_list(ctx, ciphers.c_str()) != 1)
        return Refuse(reason, "TLS cipher list refused: " + ciphers);
    return true;
}

}  // namespace

std::shared_ptr<ssl::context> TlsContextMake(const REST_SSL_PARAM &param, std::string &reason) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    context->set_options(ssl::context::default_workarounds | ssl::context::no_compression |
                         ssl::context::single_dh_use);
    SSL_CTX *ctx = context->native_handle();
    SSL_CTX_set_options(ctx, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_SERVER);
    if (!VersionApply(ctx, param.pcSslVersion, reason)) return nullptr;
    if (!KeysApply(*context, param, reason)) return nullptr;
    if (!CaFilesApply(*context, param, reason)) return nullptr;
    if (!CiphersApply(ctx, param, reason)) return nullptr;
    return context;
}

}  // namespace kernel
