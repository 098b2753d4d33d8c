#pragma once
// What every registry store answers the same way as Windows: the numbers
// it hands out for open keys and how a value reaches the caller's buffer.
#include <cstdint>
#include <string>

#include "ports/registry_store.h"

namespace lp {

// The smallest number not in use: handles stay small, as the program
// expects. `handles` is an ordered map keyed by handle.
template <class OrderedHandles>
HKEY smallestFreeHandle(const OrderedHandles& handles)
{
    HKEY number = 1;
    for (const auto& entry : handles) {
        if (entry.first != number)
            break;
        ++number;
    }
    return number;
}

// RegQueryValueEx's buffer contract: the type always; with no buffer only
// the size; otherwise the bytes when *size has room for them, else
// ERROR_MORE_DATA with the size needed.
int32_t handOutValue(uint32_t valueType, const std::string& bytes, uint32_t* type, uint8_t* data, uint32_t* size);

} // namespace lp
