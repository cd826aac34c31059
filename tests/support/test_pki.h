// Test certificates and tokens, made at test time with the openssl tool in a
// folder the caller names (nothing is kept, so nothing expires in the
// repository): a CA, a signing certificate it issued, an unrelated CA, and
// tokens in their header form. For one thread at a time.
#pragma once

#include <signal.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace rstest {

inline std::string ReadFile(const std::string &path) {
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// SIGCHLD at its default first: a token verification sets it to ignore, and system() waits.
inline void Run(const std::string &command) {
    signal(SIGCHLD, SIG_DFL);
    if (system((command + " 2>/dev/null").c_str()) != 0) throw std::runtime_error("failed: " + command);
}

class TestPki {
public:
    explicit TestPki(const std::string &dir) : dir_(dir) {
        std::filesystem::create_directories(dir);
        std::string req = "cd " + dir + " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 " +
                          "-nodes -days 2 -subj /CN=";
        Run(req + "ca -keyout ca.key -out ca.pem");
        Run(req + "signer -addext basicConstraints=CA:FALSE -CA ca.pem -CAkey ca.key -keyout sign.key -out sign.pem");
        Run(req + "unrelated -keyout other.key -out other.pem");
    }
    // "ca" or "sign".
    std::string Pem(const std::string &name) const { return ReadFile(dir_ + "/" + name + ".pem"); }
    // The security service's answer with "ca" and, unless told otherwise, "signingCert".
    std::string CertAnswer(bool withSign = true) const {
        auto quoted = [](std::string pem) {
            for (size_t at = pem.find('\n'); at != std::string::npos; at = pem.find('\n', at))
                pem.replace(at, 1, "\\n");
            return "\"" + pem + "\"";
        };
        return "{\"ca\": " + quoted(Pem("ca")) + (withSign ? ", \"signingCert\": " + quoted(Pem("sign")) : "") + "}";
    }
    // The PEM body of a CMS message signing json, without armour lines and newlines, "/" as "-".
    std::string Token(const std::string &json, bool byUnrelatedCa = false) const {
        std::ofstream(dir_ + "/content.json") << json;
        std::string signer = byUnrelatedCa ? "other" : "sign";
        Run("cd " + dir_ + " && openssl cms -sign -nodetach -outform PEM -in content.json -signer " + signer +
            ".pem -inkey " + signer + ".key | grep -v -- ----- | tr -d '\\n' | tr / - > token");
        std::string token = ReadFile(dir_ + "/token");
        if (token.empty()) throw std::runtime_error("signing failed");
        return token;
    }

private:
    std::string dir_;
};

// Puts a script named openssl, made in dir, first on PATH while it lives: it
// counts the verifications, then runs the real tool, or the given shell text.
class OpensslOnPath {
public:
    explicit OpensslOnPath(const std::string &dir, const std::string &replacement = "") : dir_(dir) {
        std::filesystem::create_directories(dir);
        std::ofstream(dir + "/openssl") << "#!/bin/sh\n[ \"$2\" = -verify ] && echo >> " << dir << "/runs\n"
                                        << (replacement.empty() ? "PATH=" + path_ + " exec openssl \"$@\""
                                                                : replacement);
        std::filesystem::permissions(dir + "/openssl", std::filesystem::perms::owner_all);
        setenv("PATH", (dir + ":" + path_).c_str(), 1);
    }
    ~OpensslOnPath() { setenv("PATH", path_.c_str(), 1); }
    int Verifications() const {
        std::string runs = ReadFile(dir_ + "/runs");
        return static_cast<int>(std::count(runs.begin(), runs.end(), '\n'));
    }

private:
    std::string dir_, path_ = getenv("PATH");
};

}  // namespace rstest
