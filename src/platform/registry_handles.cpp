#include "platform/registry_handles.h"

#include <cstring>

namespace lp {

int32_t handOutValue(uint32_t valueType, const std::string& bytes, uint32_t* type, uint8_t* data, uint32_t* size)
{
    const auto length = static_cast<uint32_t>(bytes.size()); // bounded by each store's own limit
    if (type)
        *type = valueType;
    if (!data) {
        if (size)
            *size = length;
        return ERROR_SUCCESS;
    }
    uint32_t room = *size;
    *size = length;
    if (room < length)
        return ERROR_MORE_DATA;
    if (length > 0)
        std::memcpy(data, bytes.data(), length);
    return ERROR_SUCCESS;
}

} // namespace lp
