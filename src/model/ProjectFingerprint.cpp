#include "model/ProjectFingerprint.h"

#include "model/ProjectDocument.h"
#include "model/ProjectPackage.h"

namespace varnelle {

std::optional<std::string> projectFingerprint(const ProjectEditorState& state) {
    AssetReferences placeholders;
    for (const URL& source : collectSourceURLs(state)) {
        placeholders.emplace(source, "asset-" + std::to_string(placeholders.size()));
    }
    try {
        return makeDocument(state, placeholders, DocumentLayout::compact);
    } catch (const ProjectEncodingError&) {
        return std::nullopt;
    }
}

}  // namespace varnelle
