#include "vantorel/workers/wiki/finalize/placement.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vantorel/workers/wiki/finalize/blocks.h"

namespace vantorel::workers::wiki {
namespace {

// A type that places "Architecture" in its "design" section (also known as "Overview") and
// "Dependencies" in "deps", a section the pages below never have.
PageType module_type() {
  return PageType{.id = "module",
                  .sections = {{.key = "design", .heading = "Design", .aliases = {"Overview"}}, {.key = "deps", .heading = "Dependencies"}},
                  .diagram_slots = {{"Architecture", "design"}, {"Dependencies", "deps"}, {"Class diagram", "missing"}}};
}

const Diagram kArch{.heading = "Architecture", .mermaid = "\n\nflowchart TD\n  a --> b\n\n"};
const Diagram kDeps{.heading = "Dependencies", .mermaid = "flowchart LR\n  x --> y"};

std::string arch_block(std::string_view marks) { return _diagram_block(std::string(marks) + "Architecture", "flowchart TD\n  a --> b"); }

TEST(DiagramBlock, Lines) {
  EXPECT_EQ(_diagram_block("## Data flow", "  \nflowchart LR\n  a --> b\n "),
            "<!-- wiki:diagram -->\n## Data flow\n\n```mermaid\nflowchart LR\n  a --> b\n```\n<!-- /wiki:diagram -->");
}

TEST(PlaceDiagrams, WhereEachDiagramGoes) {
  const PageType type = module_type();
  const std::vector<Diagram> both = {kArch, kDeps};
  const std::vector<Diagram> arch = {kArch};
  const std::string deps_trailing = _diagram_block("## Dependencies", kDeps.mermaid);
  struct Case {
    std::string name, body;
    std::vector<Diagram> diagrams;
    std::string out;
  } cases[] = {
      {"no section on an empty body", "", both, _diagram_block("## Architecture", kArch.mermaid) + "\n\n" + deps_trailing},
      {"end of its section", "## Design\nText.\n## Usage\nMore.", arch,
       "## Design\nText.\n\n" + arch_block("### ") + "\n\n## Usage\nMore."},
      {"last section, before trailing blocks", "Intro\n\n## Overview ##\nText.", both,
       "Intro\n\n## Overview ##\nText.\n\n" + arch_block("### ") + "\n\n" + deps_trailing},
      {"sub-sections stay inside", "## design\nA\n### Sub\nB\n\n\n## Next", arch,
       "## design\nA\n### Sub\nB\n\n" + arch_block("### ") + "\n\n## Next"},
      {"first matching section only", "## Design\nA\n## Design\nB", arch, "## Design\nA\n\n" + arch_block("### ") + "\n\n## Design\nB"},
      {"heading in a fence starts nothing", "```\n## Design\n```\nText.", arch, "```\n## Design\n```\nText.\n\n" + arch_block("## ")},
      {"nothing after an unclosed fence", "```\nx\n## Design\nText.", arch, "```\nx\n## Design\nText.\n\n" + arch_block("## ")},
      {"two diagrams, one section, in order",
       "## Design\nA",
       {kArch, Diagram{.heading = "Architecture", .mermaid = "flowchart TD\n  c"}},
       "## Design\nA\n\n" + arch_block("### ") + "\n\n" + _diagram_block("### Architecture", "flowchart TD\n  c")},
      {"slot naming a key the type lacks",
       "## Design\nA",
       {Diagram{.heading = "Class diagram", .mermaid = "classDiagram"}},
       "## Design\nA\n\n" + _diagram_block("## Class diagram", "classDiagram")},
      {"collapses and trims even when nothing matches", "\n\nA\n\n\n\nB\n\n", {kDeps}, "A\n\nB\n\n" + deps_trailing},
  };
  for (const Case& c : cases) EXPECT_EQ(place_diagrams(c.body, c.diagrams, type), c.out) << c.name;
  EXPECT_EQ(place_diagrams("\n\nA\n\n\n\nB  \n", {}, type), "\n\nA\n\n\n\nB  \n");  // no diagrams: byte for byte
}

TEST(PlaceDiagrams, PlacingAgainAfterStrippingGivesTheSameText) {
  const PageType type = module_type();
  const std::vector<Diagram> both = {kArch, kDeps};
  const std::string placed = place_diagrams("Intro\n\n## Design\nText.\n\n### Sub\n\n## Usage\nMore.", both, type);
  EXPECT_EQ(place_diagrams(strip_generated(placed), both, type), placed);
}

TEST(DropDuplicateDiagrams, Copies) {
  const std::vector<Diagram> arch = {kArch};
  struct Case {
    std::string name, body, out;
  } cases[] = {
      {"copy under its heading", "Before.\n\n### Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```\n\nAfter.", "Before.\n\nAfter."},
      {"plain heading line, indented fence", "Before.\nArchitecture\n  ```mermaid   \n\nflowchart TD\n  a --> b\n\n```\nAfter.",
       "Before.\nAfter."},
      {"other line above stays", "Before.\n\n\n```mermaid\nflowchart TD\n  a --> b\n```", "Before."},
      {"different content stays", "## Architecture\n```mermaid\nflowchart TD\n a --> b\n```",
       "## Architecture\n```mermaid\nflowchart TD\n a --> b\n```"},
      {"unclosed copy runs to the end", "A\n## Architecture\n```mermaid\nflowchart TD\n  a --> b", "A"},
      {"inside another fence too", "~~~\n```mermaid\nflowchart TD\n  a --> b\n```\n~~~", "~~~\n~~~"},
      {"collapses and trims", "\n\nA\n\n\n\nB\n\n", "A\n\nB"},
  };
  for (const Case& c : cases) EXPECT_EQ(_drop_duplicate_diagrams(c.body, arch), c.out) << c.name;
  EXPECT_EQ(_drop_duplicate_diagrams(" A\n\n\n", {}), " A\n\n\n");
}

}  // namespace
}  // namespace vantorel::workers::wiki
