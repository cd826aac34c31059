// Destination check shared by the bounded text operations.
#ifndef PLAT_TEXT_DEST_H
#define PLAT_TEXT_DEST_H

#include <cstddef>
#include <cstdint>

// A destination may be written when present and non-empty; a size above half
// the address space can only be a negative length converted by mistake.
inline bool IsUsableDest(const void *dest, size_t destMax) {
    return dest != nullptr && destMax != 0 && destMax <= (SIZE_MAX >> 1);
}

#endif
