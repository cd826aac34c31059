// A temporary deployment folder (bin/ lib/ conf/ data/ var/log/) for one
// test. While it lives the working directory is its bin/, so the system's
// relative paths ("../lib/...", "../conf/...") land inside it. The previous
// working directory is restored and the folder removed on destruction.
#pragma once

#include <string>

namespace rstest {

class Deployment {
public:
    Deployment();
    ~Deployment();
    Deployment(const Deployment &) = delete;
    Deployment &operator=(const Deployment &) = delete;

    // Absolute path of the folder, without a trailing slash.
    const std::string &Root() const { return root_; }
    // Absolute path of a file or folder given relative to the root.
    std::string Path(const std::string &relative) const;
    // Writes text to a file relative to the root, creating its folders.
    void Write(const std::string &relative, const std::string &text) const;
    // Copies a file (a fixture module, for instance) to a path relative to the root.
    void Copy(const std::string &source, const std::string &relative) const;
    // Writes conf/vog_auth/right.json (one rule), policy.json, jwt.json and service_url_config.json (one
    // entry): an instance made without them gets no kernel server.
    void WriteAccessRules() const;
    // Points the platform's common root here and writes the access rules, so
    // instances can be made; "" on success, else the platform's reason.
    std::string PrepareInstances() const;

private:
    std::string root_;
    std::string previous_cwd_;
};

// Whole text of a file, "" when it cannot be read.
std::string FileText(const std::string &path);

}  // namespace rstest
