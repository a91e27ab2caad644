// A citation: a mapping from string keys to values of any type, as the verification step builds
// it ({"path": "src/parse.c", "start": 10, "end": 42}). Key order is kept, so a citation passes
// through the finalize step and into storage unchanged.
#pragma once

#include <nlohmann/json.hpp>

namespace vantorel::workers::wiki {

using Citation = nlohmann::ordered_json;

}  // namespace vantorel::workers::wiki
