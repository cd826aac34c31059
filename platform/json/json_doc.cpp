// CFJSON: the platform JSON layer, a thin null-safe face on cJSON. CFJSON is
// an opaque name for a cJSON node; every lookup returns null on any failure.
#include <cjson/cJSON.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <new>

#include "plat_json.h"

namespace {

cJSON *Node(const CFJSON *item) {
    return reinterpret_cast<cJSON *>(const_cast<CFJSON *>(item));
}
CFJSON *Wrap(cJSON *node) {
    return reinterpret_cast<CFJSON *>(node);
}

}  // namespace

extern "C" PLAT_API CFJSON *CFJSON_Parse(const char *pcText) {
    if (pcText == nullptr) return nullptr;
    return Wrap(cJSON_Parse(pcText));
}

extern "C" PLAT_API CFJSON *CFJSON_ParseAt(const char *pcText, u32 *puiErrorOffset) {
    if (pcText == nullptr) return nullptr;
    const char *pcEnd = pcText;
    cJSON *node = cJSON_ParseWithOpts(pcText, &pcEnd, 0);
    if (node == nullptr && puiErrorOffset != nullptr && pcEnd != nullptr && pcEnd >= pcText)
        *puiErrorOffset = static_cast<u32>(pcEnd - pcText);
    return Wrap(node);
}

extern "C" PLAT_API CFJSON *CFJSON_ObjectItemGet(const CFJSON *pstObject, const char *pcName) {
    if (pcName == nullptr || !cJSON_IsObject(Node(pstObject))) return nullptr;
    return Wrap(cJSON_GetObjectItemCaseSensitive(Node(pstObject), pcName));
}

extern "C" PLAT_API CFJSON *CFJSON_ArrayItemGet(const CFJSON *pstArray, u32 uiIndex) {
    if (!cJSON_IsArray(Node(pstArray)) || uiIndex > INT32_MAX) return nullptr;
    return Wrap(cJSON_GetArrayItem(Node(pstArray), static_cast<int>(uiIndex)));
}

extern "C" PLAT_API u32 CFJSON_ArraySizeGet(const CFJSON *pstArray) {
    if (!cJSON_IsArray(Node(pstArray))) return 0;
    return static_cast<u32>(cJSON_GetArraySize(Node(pstArray)));
}

extern "C" PLAT_API CFJSON *CFJSON_NextItemGet(const CFJSON *pstObject, const CFJSON *pstItem) {
    if (!cJSON_IsObject(Node(pstObject))) return nullptr;
    if (pstItem == nullptr) return Wrap(Node(pstObject)->child);
    return Wrap(Node(pstItem)->next);
}

extern "C" PLAT_API const char *CFJSON_StringKeyGet(const CFJSON *pstItem) {
    if (pstItem == nullptr) return nullptr;
    return Node(pstItem)->string;
}

extern "C" PLAT_API const char *CFJSON_StringValueGet(const CFJSON *pstItem) {
    if (!cJSON_IsString(Node(pstItem))) return nullptr;
    return Node(pstItem)->valuestring;
}

extern "C" PLAT_API CFJSON *CFJSON_ObjectCreate(void) {
    return Wrap(cJSON_CreateObject());
}

// One block holds the member's node, then its value, then its name, so a
// member costs one allocation. The flags are cJSON's own for a value and a
// name it does not own: cJSON_Delete frees the block and nothing in it.
extern "C" PLAT_API u32 CFJSON_AddString2Object(CFJSON *pstObject, const char *pcName, const char *pcValue) {
    if (!cJSON_IsObject(Node(pstObject)) || pcName == nullptr || pcValue == nullptr) return PLAT_ERR;
    size_t value_size = strlen(pcValue) + 1;
    size_t name_size = strlen(pcName) + 1;
    auto *member = static_cast<cJSON *>(cJSON_malloc(sizeof(cJSON) + value_size + name_size));
    if (member == nullptr) return PLAT_ERR;
    memset(member, 0, sizeof(cJSON));
    char *value = reinterpret_cast<char *>(member + 1);
    char *name = value + value_size;
    memcpy(value, pcValue, value_size);
    memcpy(name, pcName, name_size);
    member->type = cJSON_String | cJSON_IsReference;
    member->valuestring = value;
    if (!cJSON_AddItemToObjectCS(Node(pstObject), name, member)) {
        cJSON_free(member);
        return PLAT_ERR;
    }
    return PLAT_OK;
}

namespace {

// Bytes a JSON string holds as they are: not the terminator, a control
// byte, a quote or a backslash.
constexpr auto kPlainByte = [] {
    std::array<bool, 256> plain{};
    for (size_t byte = 32; byte < plain.size(); ++byte)
        plain[byte] = byte != '"' && byte != '\\';
    return plain;
}();

// Text being printed: in the caller's stack buffer until it outgrows it,
// then on the heap, doubling. A failed growth throws std::bad_alloc.
class PrintText {
public:
    PrintText(char *stack, size_t size) : data_(stack), capacity_(size), stack_(stack) {}
    PrintText(const PrintText &) = delete;
    PrintText &operator=(const PrintText &) = delete;
    ~PrintText() {
        if (data_ != stack_) free(data_);
    }

    void Append(const char *text, size_t length) {
        if (length > capacity_ - size_) Grow(length);
        memcpy(data_ + size_, text, length);
        size_ += length;
    }
    void Append(char byte) {
        if (size_ == capacity_) Grow(1);
        data_[size_++] = byte;
    }
    const char *Data() const { return data_; }
    size_t Size() const { return size_; }

private:
    void Grow(size_t more) {
        size_t capacity = std::max(capacity_ * 2, size_ + more);
        auto *grown = static_cast<char *>(malloc(capacity));
        if (grown == nullptr) throw std::bad_alloc();
        memcpy(grown, data_, size_);
        if (data_ != stack_) free(data_);
        data_ = grown;
        capacity_ = capacity;
    }

    char *data_;
    size_t size_ = 0;
    size_t capacity_;
    char *stack_;
};

// Unformatted text exactly as cJSON_PrintUnformatted gives it, written in
// one pass. Numbers are left to cJSON, whose formatting is the reference.
class JsonWriter {
public:
    explicit JsonWriter(PrintText &out) : out_(out) {}

    bool Value(const cJSON *item) {
        switch (item->type & 0xFF) {
            case cJSON_NULL:
                out_.Append("null", 4);
                return true;
            case cJSON_False:
                out_.Append("false", 5);
                return true;
            case cJSON_True:
                out_.Append("true", 4);
                return true;
            case cJSON_Number:
                return Number(item);
            case cJSON_Raw:
                if (item->valuestring == nullptr) return false;
                out_.Append(item->valuestring, strlen(item->valuestring));
                return true;
            case cJSON_String:
                Text(item->valuestring);
                return true;
            case cJSON_Array:
                return Members(item->child, '[', ']', false);
            case cJSON_Object:
                return Members(item->child, '{', '}', true);
            default:
                return false;
        }
    }

private:
    bool Members(const cJSON *child, char open, char close, bool named) {
        out_.Append(open);
        for (; child != nullptr; child = child->next) {
            if (named) {
                Text(child->string);
                out_.Append(':');
            }
            if (!Value(child)) return false;
            if (child->next != nullptr) out_.Append(',');
        }
        out_.Append(close);
        return true;
    }

    // Quotes, backslashes and control bytes are escaped; every other byte is
    // copied, in runs.
    void Text(const char *text) {
        out_.Append('"');
        if (text != nullptr) {
            auto at = reinterpret_cast<const unsigned char *>(text);
            for (;;) {
                const unsigned char *run = at;
                while (kPlainByte[*at])
                    ++at;
                out_.Append(reinterpret_cast<const char *>(run), static_cast<size_t>(at - run));
                if (*at == '\0') break;
                Escape(*at++);
            }
        }
        out_.Append('"');
    }

    // The bytes with a short escape, each followed by its letter; any other
    // control byte is written as \u00XX.
    void Escape(unsigned char byte) {
        static const char kShort[] = "\"\"\\\\\bb\ff\nn\rr\tt";
        static const char kHex[] = "0123456789abcdef";
        for (const char *pair = kShort; *pair != '\0'; pair += 2) {
            if (static_cast<unsigned char>(pair[0]) != byte) continue;
            const char escaped[2] = {'\\', pair[1]};
            out_.Append(escaped, sizeof(escaped));
            return;
        }
        const char escaped[6] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0xF]};
        out_.Append(escaped, sizeof(escaped));
    }

    bool Number(const cJSON *item) {
        char number[64];
        if (!cJSON_PrintPreallocated(const_cast<cJSON *>(item), number, sizeof(number), 0)) return false;
        out_.Append(number, strlen(number));
        return true;
    }

    PrintText &out_;
};

// Most answers fit here, so printing them allocates only the result.
constexpr size_t kPrintStack = 2048;

}  // namespace

// Written in one pass, then copied once into a block of the exact size.
extern "C" PLAT_API char *CFJSON_Print(const CFJSON *pstItem) {
    if (pstItem == nullptr) return nullptr;
    try {
        char stack[kPrintStack];
        PrintText out(stack, sizeof(stack));
        if (!JsonWriter(out).Value(Node(pstItem))) return nullptr;
        auto *text = static_cast<char *>(cJSON_malloc(out.Size() + 1));
        if (text == nullptr) return nullptr;
        memcpy(text, out.Data(), out.Size());
        text[out.Size()] = '\0';
        return text;
    } catch (...) {
        return nullptr;
    }
}

extern "C" PLAT_API void CFJSON_Free(void *pText) {
    if (pText != nullptr) cJSON_free(pText);
}

extern "C" PLAT_API void CFJSON_Delete(CFJSON *pstItem) {
    cJSON_Delete(Node(pstItem));
}
