#include "config/cfg_reader.h"

#include <cmath>

namespace plat {

const cJSON *CfgMember(const cJSON *section, const std::string &path) {
    if (section == nullptr) return nullptr;
    std::string name = path.substr(path.rfind('.') + 1);
    return cJSON_GetObjectItemCaseSensitive(section, name.c_str());
}

bool CfgReader::Fail(const std::string &path, const std::string &why) {
    error_ = path + ": " + why;
    return false;
}

bool CfgReader::Section(const cJSON *parent, const std::string &path, const cJSON *&out) {
    out = CfgMember(parent, path);
    if (out == nullptr || cJSON_IsObject(out)) return true;
    out = nullptr;
    return Fail(path, "expected an object");
}

bool CfgReader::Text(const cJSON *section, const std::string &path, std::string &out, size_t maxLen) {
    const cJSON *item = CfgMember(section, path);
    if (item == nullptr) return true;
    if (!cJSON_IsString(item)) return Fail(path, "expected a string");
    std::string text = item->valuestring;
    if (text.size() > maxLen) {
        return Fail(path,
                    "text of " + std::to_string(text.size()) + " characters is longer than " + std::to_string(maxLen));
    }
    out = std::move(text);
    return true;
}

bool CfgReader::Number(const cJSON *section, const std::string &path, u32 &out, u32 max) {
    const cJSON *item = CfgMember(section, path);
    if (item == nullptr) return true;
    if (!cJSON_IsNumber(item)) return Fail(path, "expected a number");
    double value = item->valuedouble;
    if (value < 0 || value > max || std::floor(value) != value) {
        return Fail(path, "expected a whole number from 0 to " + std::to_string(max));
    }
    out = static_cast<u32>(value);
    return true;
}

bool CfgReader::Flag(const cJSON *section, const std::string &path, bool &out) {
    const cJSON *item = CfgMember(section, path);
    if (item == nullptr) return true;
    if (!cJSON_IsBool(item)) return Fail(path, "expected true or false");
    out = cJSON_IsTrue(item);
    return true;
}

bool CfgReader::TextList(const cJSON *section, const std::string &path, std::vector<std::string> &out,
                         size_t maxCount) {
    const cJSON *item = CfgMember(section, path);
    if (item == nullptr) return true;
    if (!cJSON_IsArray(item)) return Fail(path, "expected an array of strings");
    std::vector<std::string> list;
    const cJSON *element = nullptr;
    cJSON_ArrayForEach(element, item) {
        if (!cJSON_IsString(element)) return Fail(path, "expected an array of strings");
        list.emplace_back(element->valuestring);
    }
    if (list.size() > maxCount) return Fail(path, "more than " + std::to_string(maxCount) + " entries");
    out = std::move(list);
    return true;
}

}  // namespace plat
