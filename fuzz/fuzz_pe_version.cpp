// Any bytes as a PE image: the version reader must answer (a version or
// none) without reading outside the image or looping on its resource tree.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/pe_version_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    lp::PeVersionReader::fromImage(std::string_view(reinterpret_cast<const char*>(data), size));
    return 0;
}
