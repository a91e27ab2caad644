// Diagram placement: the diagrams code builds, each placed at the end of the section the page's
// type gives it, or after the prose under a heading of its own.
//
//   place_diagrams("## Design\nText.\n\n## Usage\nMore.", {{"Architecture", "flowchart TD\n  a --> b"}}, type)
//     == "## Design\nText.\n\n<!-- wiki:diagram -->\n### Architecture\n\n```mermaid\nflowchart TD\n"
//        "  a --> b\n```\n<!-- /wiki:diagram -->\n\n## Usage\nMore."
//     (when `type` places "Architecture" in its section headed "Design")
//
// Every block placed is a generated block of part "diagram", so the authored split takes it out
// again and placing the same diagrams into the same body always gives the same text. An authored
// copy of a diagram that code places anyway is dropped first, with the heading over it.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "vantorel/workers/wiki/types/types.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

// One diagram as a generated block of part "diagram": `heading` (the whole heading line, "### "
// or "## " included), an empty line, "```mermaid", `mermaid` trimmed, "```".
std::string _diagram_block(std::string_view heading, std::string_view mermaid);

// `body` with every diagram placed: at the end of the first level-2 section (outside fences)
// that denotes the section `diagram_slot` gives it, under "### " + heading; else after the prose,
// under "## " + heading. With no diagrams the body comes back byte for byte; otherwise blank runs
// are collapsed and the ends trimmed.
std::string place_diagrams(std::string_view body, std::span<const Diagram> diagrams, const PageType& page_type);

// `body` without the authored copies of `diagrams`: a Mermaid block whose trimmed content equals a
// diagram's trimmed source goes, with the blank lines above it and the nearest line above those
// when that line (less leading "#" marks) is one of the diagrams' headings. With no diagrams the
// body comes back byte for byte; otherwise blank runs are collapsed and the ends trimmed.
std::string _drop_duplicate_diagrams(std::string_view body, std::span<const Diagram> diagrams);

}  // namespace vantorel::workers::wiki
