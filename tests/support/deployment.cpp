#include "deployment.h"

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "plat_config.h"

namespace fs = std::filesystem;

namespace rstest {

Deployment::Deployment() {
    std::string pattern = (fs::temp_directory_path() / "rs-deploy-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root_ = pattern;
    for (const char *dir : {"bin", "lib", "conf", "data", "var/log"})
        fs::create_directories(Path(dir));
    previous_cwd_ = fs::current_path().string();
    fs::current_path(Path("bin"));
}

Deployment::~Deployment() {
    std::error_code ignored;
    fs::current_path(previous_cwd_, ignored);
    fs::remove_all(root_, ignored);
}

std::string Deployment::Path(const std::string &relative) const {
    return root_ + "/" + relative;
}

void Deployment::Write(const std::string &relative, const std::string &text) const {
    fs::path target = Path(relative);
    fs::create_directories(target.parent_path());
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) throw std::runtime_error("cannot write " + target.string());
}

void Deployment::Copy(const std::string &source, const std::string &relative) const {
    fs::path target = Path(relative);
    fs::create_directories(target.parent_path());
    fs::copy_file(source, target, fs::copy_options::overwrite_existing);
}

void Deployment::WriteAccessRules() const {
    Write("conf/vog_auth/right.json", R"([{"method":"GET","uri-pattern":"rest/a","action":"read"}])");
    Write("conf/vog_auth/policy.json", R"({"read":"role:op_admin"})");
    Write("conf/vog_auth/jwt.json", R"({"jwt":"test-deployment-jwt"})");
    Write("conf/vog_auth/service_url_config.json", R"({"/rest/plat/*":{"type":"plat","domain":"platform"}})");
}

std::string Deployment::PrepareInstances() const {
    std::string json = "{\"node\":{\"common_root\":\"" + root_ + "\"}}";
    if (PLAT_InitFromText(json.c_str()) != 0) return PLAT_LastError();
    WriteAccessRules();
    return "";
}

std::string FileText(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

}  // namespace rstest
