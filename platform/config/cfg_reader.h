// Typed reads of members of the platform configuration. An absent member
// leaves the value alone (its default); a member of the wrong type, out of
// range or too long for its field fails with a message naming the member.
#pragma once

#include <string>
#include <vector>

#include "json/json_node.h"
#include "plat_types.h"

namespace plat {

class CfgReader {
public:
    // The named member of a section as an object, or null when absent.
    bool Section(const cJSON *parent, const std::string &path, const cJSON *&out);
    // maxLen is the longest text the destination field holds.
    bool Text(const cJSON *section, const std::string &path, std::string &out, size_t maxLen);
    bool Number(const cJSON *section, const std::string &path, u32 &out, u32 max = UINT32_MAX);
    bool Flag(const cJSON *section, const std::string &path, bool &out);
    bool TextList(const cJSON *section, const std::string &path, std::vector<std::string> &out, size_t maxCount);

    // Fails with "<path>: <why>".
    bool Fail(const std::string &path, const std::string &why);
    const std::string &Error() const { return error_; }

private:
    std::string error_;
};

// The member name: the part of a dotted path after its last dot.
const cJSON *CfgMember(const cJSON *section, const std::string &path);

}  // namespace plat
