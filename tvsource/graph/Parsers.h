// The platform's parsers: which filters may take a byte stream of a type apart.
#pragma once

#include "tvsource/source/MediaTypes.h"

#include <windows.h>

#include <string>
#include <vector>

namespace tvsource {

struct ParserClass {
    std::wstring name;
    GUID classId;
};

// The parsers to try for a source that offers `types`, each once: type by type, the one made for the type first, then
// one that judges by the content, then what else is registered for it. Not all of them need exist on this system.
[[nodiscard]] std::vector<ParserClass> ParsersFor(const std::vector<StreamType>& types);

}  // namespace tvsource
