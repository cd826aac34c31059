// The cJSON node behind a CFJSON handle, for platform code that needs types
// the C face does not expose (numbers, booleans).
#pragma once

#include <cjson/cJSON.h>

#include "plat_json.h"

namespace plat {

inline const cJSON *JsonNode(const CFJSON *item) {
    return reinterpret_cast<const cJSON *>(item);
}

}  // namespace plat
