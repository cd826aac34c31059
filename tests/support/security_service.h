// A stand-in security service on loopback, served by the platform's HTTP
// engine: each path answers with a set status, body and delay (other paths
// 404); calls are counted per path, the last request's method and body kept.
// PlatformSection() is the platform configuration member that maps the
// service ports 32018 and 8073 to it.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <thread>

#include "plat_kernel.h"
#include "support/free_port.h"

namespace rstest {

struct ServiceAnswer {
    u32 status = 200;
    std::string body;
    u32 delayMs = 0;
};

class SecurityService {
public:
    SecurityService() {
        REST_END_POINT endpoint{0, port_, {0, 0}, "127.0.0.1"};
        REST_ServerGenFuncAdd(server_, &SecurityService::Entry, this);
        REST_EndPointBind(server_, &endpoint, 64, 0);
        REST_ServerStart(server_, 0);
    }
    ~SecurityService() { REST_ServerStop(server_); }
    std::string PlatformSection() const {
        std::string port = std::to_string(port_);
        return R"("security_service": {"port_map": {"32018": )" + port + R"(, "8073": )" + port + "}}";
    }

    void Answer(const std::string &path, const ServiceAnswer &answer) {
        std::lock_guard<std::mutex> lock(mutex_);
        answers_[path] = answer;
    }
    // Calls per path; the last method (REST_METHOD_*) and body.
    int Calls(const std::string &path, u32 *lastMethod = nullptr, std::string *lastBody = nullptr) {
        std::lock_guard<std::mutex> lock(mutex_);
        if (lastMethod != nullptr) *lastMethod = lastMethod_;
        if (lastBody != nullptr) *lastBody = lastBody_;
        return calls_[path];
    }

private:
    static void Entry(REST_REQ req, void *user, void *) {
        auto *self = static_cast<SecurityService *>(user);
        std::string path = REST_RequestUriGet(req);
        u32 len = 0;
        const char *body = REST_RequestBodyGet(req, &len);
        std::unique_lock<std::mutex> lock(self->mutex_);
        ++self->calls_[path];
        self->lastMethod_ = REST_RequestMethodGet(req);
        self->lastBody_.assign(body != nullptr ? body : "", body != nullptr ? len : 0);
        auto it = self->answers_.find(path);
        ServiceAnswer answer = it != self->answers_.end() ? it->second : ServiceAnswer{404, "", 0};
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(answer.delayMs));
        REST_ResponseSend(req, answer.status, answer.body.data(), static_cast<u32>(answer.body.size()));
    }

    REST_HANDLE server_ = REST_ServerCreate(0);
    u16 port_ = FreePort();
    std::mutex mutex_;
    std::map<std::string, ServiceAnswer> answers_;
    std::map<std::string, int> calls_;
    u32 lastMethod_ = 0;
    std::string lastBody_;
};

}  // namespace rstest
