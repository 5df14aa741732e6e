#pragma once

#include <string>
#include <vector>

#include "editor/InspectorRows.h"

namespace varnelle::test {

/// An editor's look without a project: it notes what is done to it.
class FakeLookEditing final : public LookEditing {
public:
    [[nodiscard]] const OverlayConfiguration& look() const override { return current; }
    void previewLook(OverlayConfiguration look) override {
        steps.emplace_back("preview");
        current = std::move(look);
        changed();
    }
    void commitLook(OverlayConfiguration look) override {
        steps.emplace_back("commit");
        current = std::move(look);
        changed();
    }
    void beginDrag() override { steps.emplace_back("begin"); }
    void endDrag() override { steps.emplace_back("end"); }

    OverlayConfiguration current;
    std::vector<std::string> steps;
    std::function<void()> changed = [] {};
};

}  // namespace varnelle::test
