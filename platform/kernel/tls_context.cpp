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

bool VersionApply(SSL_CTX *ctx, const char *version) {
    int floor = 0;
    if (version != nullptr && strcmp(version, "TLSv1.2") == 0) floor = TLS1_2_VERSION;
    if (version != nullptr && strcmp(version, "TLSv1.3") == 0) floor = TLS1_3_VERSION;
    if (floor == 0) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS version refused: %s", version != nullptr ? version : "(none)");
        return false;
    }
    return SSL_CTX_set_min_proto_version(ctx, floor) == 1;
}

bool KeysApply(ssl::context &context, const REST_SSL_PARAM &param) {
    std::string password = param.pcKeyPassword != nullptr ? param.pcKeyPassword : "";
    boost::system::error_code ec;
    context.set_password_callback([password](std::size_t, ssl::context::password_purpose) { return password; }, ec);
    context.use_certificate_chain_file(param.pcCertFile, ec);
    if (ec) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS certificate file refused: %s (%s)", param.pcCertFile, ec.message().c_str());
        return false;
    }
    const char *key = param.pcKeyFile != nullptr ? param.pcKeyFile : "(none)";
    if (param.pcKeyFile != nullptr) context.use_private_key_file(param.pcKeyFile, ssl::context::pem, ec);
    if (param.pcKeyFile == nullptr || ec) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS key file refused (wrong file or password): %s", key);
        return false;
    }
    if (SSL_CTX_check_private_key(context.native_handle()) != 1) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS key file does not match the certificate: %s", key);
        return false;
    }
    return true;
}

bool CaFilesApply(ssl::context &context, const REST_SSL_PARAM &param) {
    if (param.uiCaFileNum == 0 || param.ppcCaFiles == nullptr) return true;
    for (u32 i = 0; i < param.uiCaFileNum; ++i) {
        const char *file = param.ppcCaFiles[i];
        boost::system::error_code ec;
        if (file != nullptr) context.load_verify_file(file, ec);
        if (file == nullptr || ec) {
            PLAT_LOG(PLAT_LOG_ERROR, "TLS CA file refused: %s", file != nullptr ? file : "(none)");
            return false;
        }
    }
    context.set_verify_mode(ssl::verify_peer | ssl::verify_fail_if_no_peer_cert);
    // Resumed sessions keep the verified peer; OpenSSL requires a context id for that.
    static const unsigned char kSessionContext[] = "rest-engine";
    SSL_CTX_set_session_id_context(context.native_handle(), kSessionContext, sizeof(kSessionContext) - 1);
    return true;
}

// Names starting "TLS_" are TLS 1.3 suites; the others are TLS 1.2 ciphers.
bool CiphersApply(SSL_CTX *ctx, const REST_SSL_PARAM &param) {
    if (param.uiCipherNum == 0 || param.ppcCiphers == nullptr) return true;
    std::string suites;
    std::string ciphers;
    for (u32 i = 0; i < param.uiCipherNum; ++i) {
        const char *name = param.ppcCiphers[i];
        if (name == nullptr || name[0] == '\0') continue;
        std::string &list = strncmp(name, "TLS_", 4) == 0 ? suites : ciphers;
        if (!list.empty()) list.push_back(':');
        list.append(name);
    }
    if (!suites.empty() && SSL_CTX_set_ciphersuites(ctx, suites.c_str()) != 1) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS 1.3 suites refused: %s", suites.c_str());
        return false;
    }
    if (!ciphers.empty() && SSL_CTX_set_cipher_list(ctx, ciphers.c_str()) != 1) {
        PLAT_LOG(PLAT_LOG_ERROR, "TLS cipher list refused: %s", ciphers.c_str());
        return false;
    }
    return true;
}

}  // namespace

std::shared_ptr<ssl::context> TlsContextMake(const REST_SSL_PARAM &param) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    context->set_options(ssl::context::default_workarounds | ssl::context::no_compression |
                         ssl::context::single_dh_use);
    SSL_CTX *ctx = context->native_handle();
    SSL_CTX_set_options(ctx, SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_session_cache_mode(ctx, SSL_SESS_CACHE_SERVER);
    if (!VersionApply(ctx, param.pcSslVersion)) return nullptr;
    if (!KeysApply(*context, param)) return nullptr;
    if (!CaFilesApply(*context, param)) return nullptr;
    if (!CiphersApply(ctx, param)) return nullptr;
    return context;
}

}  // namespace kernel
