#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "model/ProjectDocument.h"
#include "model/ProjectFingerprint.h"

using namespace varnelle;

/// Whatever the bytes of a manifest are, reading them ends in a project or in an error of ours; and what was
/// read can be written, and reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
    const URL package("/package");
    const auto parse = [&package](std::string_view text) {
        return parseDocument(text, "Fuzz.varnelle", package, [&package](const std::string& reference) {
            if (reference.empty()) throw ProjectPersistenceError::missingAsset(reference);
            return package.appending(reference);
        });
    };
    try {
        const ProjectEditorState state = parse({reinterpret_cast<const char*>(bytes), count});
        AssetReferences references;
        for (const URL& source : collectSourceURLs(state)) references[source] = source.string();
        const ProjectEditorState again = parse(makeDocument(state, references, DocumentLayout::pretty));
        if (!(again == state) || projectFingerprint(again) != projectFingerprint(state)) std::abort();
    } catch (const Error&) {
        return 0;
    }
    return 0;
}
