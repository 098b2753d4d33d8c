#pragma once
// Screen calls for tests: records what the procedures asked of the screens.
#include <string>
#include <vector>

#include "core/context.h"

namespace lp::sim {

class RecordingScreenCalls final : public ScreenCalls {
public:
    void SelectScreen(const std::string& screenKey) override { selected.push_back(screenKey); }
    void UnloadMainWindow() override { ++unloadRequests; }
    void setMousePointer(int pointer) override
    {
        mousePointer = pointer;
        pointerChanges.push_back(pointer);
    }

    std::vector<std::string> selected; // screen keys, in order
    int unloadRequests = 0;
    int mousePointer = 0;              // the current pointer
    std::vector<int> pointerChanges;   // every pointer set, in order
};

} // namespace lp::sim
