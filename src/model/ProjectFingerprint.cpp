#include "model/ProjectFingerprint.h"

#include "model/ProjectDocument.h"
#include "model/ProjectPackage.h"

namespace varnelle {

std::optional<std::string> projectFingerprint(const ProjectEditorState& state) {
    AssetReferences numberedReferences;
    for (const URL& source : collectSourceURLs(state)) {
        numberedReferences.emplace(source, "asset-" + std::to_string(numberedReferences.size()));
    }
    try {
        return makeDocument(state, numberedReferences, DocumentLayout::compact);
    } catch (const ProjectEncodingError&) {
        return std::nullopt;
    }
}

}  // namespace varnelle
