#include "ui/built_in_resources.h"

#include <QtGlobal>

#include <mutex>

// Q_INIT_RESOURCE declares a global function, so it must not stand inside a
// namespace.
static void initResourcesOnce()
{
    Q_INIT_RESOURCE(resources);
}

namespace lp {

void loadBuiltInResources()
{
    static std::once_flag once;
    std::call_once(once, initResourcesOnce);
}

} // namespace lp
