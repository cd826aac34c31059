// TLS: versions, an encrypted key and its password, client certificates,
// cipher names. Certificates are made here with the openssl tool; requests
// are made with the curl tool so that the client is independent of the engine.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "engine_harness.h"
#include "support/log_capture.h"

namespace {

using enginetest::EchoEntry;
using enginetest::TestServer;

std::string Shell(const std::string &command) {
    std::string out;
    FILE *pipe = popen((command + " 2>/dev/null").c_str(), "r");
    if (pipe == nullptr) return out;
    char chunk[512];
    size_t n;
    while ((n = fread(chunk, 1, sizeof(chunk), pipe)) > 0)
        out.append(chunk, n);
    pclose(pipe);
    return out;
}

class Tls : public ::testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/engine-tls-XXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir_ = pattern;
        const std::string d = dir_ + "/";
        const std::string make =
            "cd " + dir_ +
            " && openssl req -x509 -newkey rsa:2048 -nodes -keyout ca.key -out ca.pem -days 2 -subj /CN=test-ca"
            " && openssl req -newkey rsa:2048 -passout pass:secret -keyout server.key -out server.csr -subj "
            "/CN=localhost"
            " && printf 'subjectAltName=IP:127.0.0.1,DNS:localhost' > san.ext"
            " && openssl x509 -req -in server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out server.pem -days 2"
            " -extfile san.ext"
            " && openssl req -newkey rsa:2048 -nodes -keyout client.key -out client.csr -subj /CN=client"
            " && openssl x509 -req -in client.csr -CA ca.pem -CAkey ca.key -CAcreateserial -out client.pem -days 2"
            " && openssl req -x509 -newkey rsa:2048 -nodes -keyout other.key -out other.pem -days 2 -subj /CN=other";
        ASSERT_EQ(system((make + " >/dev/null 2>&1").c_str()), 0);
        cert_ = d + "server.pem";
        key_ = d + "server.key";
        ca_ = d + "ca.pem";
    }
    void TearDown() override { Shell("rm -rf " + dir_); }

    REST_SSL_PARAM Param(const char *version, const char *password) {
        REST_SSL_PARAM param{};
        param.pcSslVersion = version;
        param.pcCertFile = cert_.c_str();
        param.pcKeyFile = key_.c_str();
        param.pcKeyPassword = password;
        return param;
    }

    // HTTP status the curl tool got, "000" when the handshake failed.
    std::string Curl(uint16_t port, const std::string &options) {
        return Shell("curl -s -o /dev/null -w '%{http_code}' --max-time 10 --cacert " + ca_ + " " + options +
                     " https://127.0.0.1:" + std::to_string(port) + "/a");
    }

    std::string dir_, cert_, key_, ca_;
};

TEST_F(Tls, EncryptedKeyServesTls12AndUp) {
    TestServer server;
    server.Route("/a", EchoEntry);
    REST_SSL_PARAM param = Param("TLSv1.2", "secret");
    ASSERT_EQ(REST_ServerSSLEnable(server.handle(), &param), 0u);
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(Curl(server.port(), "--tlsv1.2 --tls-max 1.2"), "200");
    EXPECT_EQ(Curl(server.port(), "--tlsv1.3"), "200");
    EXPECT_EQ(
        Shell("curl -s --max-time 10 --cacert " + ca_ + " https://127.0.0.1:" + std::to_string(server.port()) + "/a"),
        "ok");
}

TEST_F(Tls, Tls13OnlyRefusesTls12Client) {
    TestServer server;
    server.Route("/a", EchoEntry);
    REST_SSL_PARAM param = Param("TLSv1.3", "secret");
    ASSERT_EQ(REST_ServerSSLEnable(server.handle(), &param), 0u);
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(Curl(server.port(), "--tlsv1.2 --tls-max 1.2"), "000");
    EXPECT_EQ(Curl(server.port(), "--tlsv1.3"), "200");
}

TEST_F(Tls, BadSettingsAreRefusedNamingTheCulprit) {
    rstest::LogCapture log;
    TestServer server;
    std::string missing = dir_ + "/missing.pem";
    struct Case {
        const char *name;
        REST_SSL_PARAM param;
        std::string named;
    };
    Case cases[] = {
        {"wrong password", Param("TLSv1.2", "wrong"), key_},
        {"no password", Param("TLSv1.2", nullptr), key_},
        {"unknown version", Param("SSLv3", "secret"), "SSLv3"},
        {"missing certificate", Param("TLSv1.2", "secret"), missing},
        {"key of another certificate", Param("TLSv1.2", "secret"), dir_ + "/other.key"},
    };
    cases[3].param.pcCertFile = missing.c_str();
    std::string other_key = dir_ + "/other.key";
    cases[4].param.pcKeyFile = other_key.c_str();
    for (Case &c : cases) {
        log.Clear();
        EXPECT_NE(REST_ServerSSLEnable(server.handle(), &c.param), 0u) << c.name;
        EXPECT_GE(log.CountContaining(c.named), 1u) << c.name;
    }
    char bogus[] = "NO-SUCH-CIPHER";
    char *ciphers[] = {bogus};
    REST_SSL_PARAM param = Param("TLSv1.2", "secret");
    param.ppcCiphers = ciphers;
    param.uiCipherNum = 1;
    EXPECT_NE(REST_ServerSSLEnable(server.handle(), &param), 0u);
    EXPECT_GE(log.CountContaining(bogus), 1u);
}

TEST_F(Tls, NoCertificateLeavesPlainHttp) {
    TestServer server;
    server.Route("/a", EchoEntry);
    REST_SSL_PARAM param{};
    param.pcSslVersion = "TLSv1.2";
    ASSERT_EQ(REST_ServerSSLEnable(server.handle(), &param), 0u);
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(enginetest::Fetch(server.port(), enginetest::Get("/a")).body, "ok");
}

TEST_F(Tls, ClientCertificatesVerifiedWhenCaFilesSet) {
    TestServer server;
    server.Route("/a", EchoEntry);
    REST_SSL_PARAM param = Param("TLSv1.2", "secret");
    char *cas[] = {ca_.data()};
    param.ppcCaFiles = cas;
    param.uiCaFileNum = 1;
    ASSERT_EQ(REST_ServerSSLEnable(server.handle(), &param), 0u);
    ASSERT_EQ(server.Start(), 0u);
    const std::string signed_by_ca = "--cert " + dir_ + "/client.pem --key " + dir_ + "/client.key";
    const std::string self_signed = "--cert " + dir_ + "/other.pem --key " + dir_ + "/other.key";
    for (const char *versions : {"--tlsv1.2 --tls-max 1.2", "--tlsv1.3"}) {
        EXPECT_EQ(Curl(server.port(), std::string(versions) + " " + signed_by_ca), "200") << versions;
        EXPECT_EQ(Curl(server.port(), std::string(versions) + " " + self_signed), "000") << versions;
        EXPECT_EQ(Curl(server.port(), versions), "000") << versions;
    }
}

TEST_F(Tls, CipherNamesApplyToTheirVersion) {
    TestServer server;
    server.Route("/a", EchoEntry);
    REST_SSL_PARAM param = Param("TLSv1.2", "secret");
    char suite[] = "TLS_CHACHA20_POLY1305_SHA256";
    char cipher[] = "ECDHE-RSA-AES128-GCM-SHA256";
    char *ciphers[] = {suite, cipher};
    param.ppcCiphers = ciphers;
    param.uiCipherNum = 2;
    ASSERT_EQ(REST_ServerSSLEnable(server.handle(), &param), 0u);
    ASSERT_EQ(server.Start(), 0u);
    EXPECT_EQ(Curl(server.port(), "--tlsv1.2 --tls-max 1.2 --ciphers ECDHE-RSA-AES128-GCM-SHA256"), "200");
    EXPECT_EQ(Curl(server.port(), "--tlsv1.2 --tls-max 1.2 --ciphers ECDHE-RSA-AES256-GCM-SHA384"), "000");
    EXPECT_EQ(Curl(server.port(), "--tlsv1.3 --tls13-ciphers TLS_CHACHA20_POLY1305_SHA256"), "200");
    EXPECT_EQ(Curl(server.port(), "--tlsv1.3 --tls13-ciphers TLS_AES_256_GCM_SHA384"), "000");
}

}  // namespace
