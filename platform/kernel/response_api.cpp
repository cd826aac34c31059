// Response operations for entry functions. A whole answer is collected on
// the request and written by the connection when the entry returns; the
// parts of a chunked answer are written as the entry makes them.
#include <strings.h>

#include <charconv>
#include <cstring>

#include "kernel/request.h"
#include "log/log_macro.h"

using kernel::Reply;
using kernel::Request;

namespace {

// Framing and connection fields belong to the engine.
const char *const kReservedFields[] = {"content-length", "transfer-encoding", "connection"};

bool IsFieldText(const char *text) {
    return text[strcspn(text, "\r\n")] == '\0';
}

bool IsReserved(const char *name) {
    for (const char *reserved : kReservedFields) {
        if (strcasecmp(name, reserved) == 0) return true;
    }
    return false;
}

bool IsStatus(u32 status) {
    return status >= 100 && status <= 999;
}

void AppendChunk(std::string &body, const char *data, u32 len, bool framed) {
    if (!framed) {
        body.append(data, len);
        return;
    }
    char size[16];
    auto result = std::to_chars(size, size + sizeof(size), len, 16);
    body.append(size, result.ptr).append("\r\n").append(data, len).append("\r\n");
}

}  // namespace

extern "C" {

PLAT_API u32 REST_ResponseHeadAdd(REST_REQ req, const char *pcName, const char *pcValue) {
    if (req == nullptr || pcName == nullptr || pcValue == nullptr || pcName[0] == '\0') return PLAT_ERR;
    Reply &reply = static_cast<Request *>(req)->reply;
    if (reply.state != Reply::State::kNone) return PLAT_ERR;
    if (!IsFieldText(pcName) || !IsFieldText(pcValue) || strchr(pcName, ':') != nullptr || IsReserved(pcName)) {
        PLAT_LOG(PLAT_LOG_WARN, "response field refused: %s", pcName);
        return PLAT_ERR;
    }
    try {
        reply.fields.append(pcName).append(": ").append(pcValue).append("\r\n");
        if (strcasecmp(pcName, "content-type") == 0) reply.has_content_type = true;
        return PLAT_OK;
    } catch (...) {
        return PLAT_ERR;
    }
}

PLAT_API u32 REST_ResponseSend(REST_REQ req, u32 uiStatus, const char *pcData, u32 uiLen) {
    if (req == nullptr || !IsStatus(uiStatus) || (pcData == nullptr && uiLen != 0)) return PLAT_ERR;
    Reply &reply = static_cast<Request *>(req)->reply;
    if (reply.state != Reply::State::kNone) return PLAT_ERR;
    try {
        reply.body.assign(pcData != nullptr ? pcData : "", uiLen);
        reply.status = uiStatus;
        reply.state = Reply::State::kWhole;
        return PLAT_OK;
    } catch (...) {
        return PLAT_ERR;
    }
}

PLAT_API u32 REST_ResponseChunkSendStart(REST_REQ req, u32 uiStatus) {
    if (req == nullptr || !IsStatus(uiStatus)) return PLAT_ERR;
    Reply &reply = static_cast<Request *>(req)->reply;
    if (reply.state != Reply::State::kNone) return PLAT_ERR;
    reply.status = uiStatus;
    reply.state = Reply::State::kChunked;
    return PLAT_OK;
}

PLAT_API u32 REST_ResponseChunkSend(REST_REQ req, const char *pcData, u32 uiLen) {
    if (req == nullptr || (pcData == nullptr && uiLen != 0)) return PLAT_ERR;
    Request *request = static_cast<Request *>(req);
    if (request->reply.state != Reply::State::kChunked) return PLAT_ERR;
    if (request->reply.broken) return PLAT_ERR;
    if (uiLen == 0) return PLAT_OK;  // an empty part would end the answer on the wire
    try {
        AppendChunk(request->reply.body, pcData, uiLen, request->chunk_framing);
    } catch (...) {
        return PLAT_ERR;
    }
    // Written now: an answer never piles up in memory while its entry runs.
    if (request->sink != nullptr && !request->sink->StreamFlush(*request)) return PLAT_ERR;
    return PLAT_OK;
}

PLAT_API u32 REST_ResponseChunkSendEnd(REST_REQ req) {
    if (req == nullptr) return PLAT_ERR;
    Reply &reply = static_cast<Request *>(req)->reply;
    if (reply.state != Reply::State::kChunked) return PLAT_ERR;
    reply.state = Reply::State::kChunksEnded;
    return PLAT_OK;
}

}  // extern "C"
