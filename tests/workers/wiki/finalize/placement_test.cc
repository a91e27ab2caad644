#include "vantorel/workers/wiki/finalize/placement.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/finalize/blocks.h"

namespace vantorel::workers::wiki {
namespace {

const Diagram kArch{.heading = "Architecture", .mermaid = "\n\nflowchart TD\n  a --> b\n\n"};
const Diagram kDeps{.heading = "Dependencies", .mermaid = "flowchart LR\n  x --> y"};
const Diagram kOther{.heading = "Architecture", .mermaid = "flowchart TD\n  c"},
    kClasses{.heading = "Class diagram", .mermaid = "classDiagram"};

// `diagram` as placed under a heading of `marks` ("### " inside a section, "## " after the prose).
std::string placed(std::string marks, const Diagram& diagram) { return _diagram_block(marks.append(diagram.heading), diagram.mermaid); }

TEST(PlaceDiagrams, WhereEachDiagramGoes) {
  EXPECT_EQ(_diagram_block("## Data flow", "  \nflowchart LR\n  a --> b\n "),
            "<!-- wiki:diagram -->\n## Data flow\n\n```mermaid\nflowchart LR\n  a --> b\n```\n<!-- /wiki:diagram -->");
  // "Architecture" goes in the section "Design" (also known as "Overview"); "Dependencies" and
  // "Class diagram" go in sections the pages never have.
  const PageType type{
      .sections = {{.key = "design", .heading = "Design", .aliases = {"Overview"}}, {.key = "deps", .heading = "Dependencies"}},
      .diagram_slots = {{"Architecture", "design"}, {"Dependencies", "deps"}, {"Class diagram", "missing"}}};
  const std::string arch = placed("### ", kArch), deps = placed("## ", kDeps);
  const struct {
    std::string body;
    std::vector<Diagram> diagrams;
    std::string out;
  } cases[] = {
      {"", {kArch, kDeps}, placed("## ", kArch) + "\n\n" + deps},
      {"## Design\nText.\n## Usage\nMore.", {kArch}, "## Design\nText.\n\n" + arch + "\n\n## Usage\nMore."},
      {"Intro\n\n## Overview ##\nText.", {kArch, kDeps}, "Intro\n\n## Overview ##\nText.\n\n" + arch + "\n\n" + deps},
      {"## design\nA\n### Sub\nB\n\n\n## Next", {kArch}, "## design\nA\n### Sub\nB\n\n" + arch + "\n\n## Next"},
      {"## Design\nA\n## Design\nB", {kArch}, "## Design\nA\n\n" + arch + "\n\n## Design\nB"},  // the first section only
      {"```\n## Design\n```\nText.", {kArch}, "```\n## Design\n```\nText.\n\n" + placed("## ", kArch)},
      {"## Design\nA", {kArch, kOther}, "## Design\nA\n\n" + arch + "\n\n" + placed("### ", kOther)},
      {"## Design\nA", {kClasses}, "## Design\nA\n\n" + placed("## ", kClasses)},
      {"\n\nA\n\n\n\nB\n\n", {kDeps}, "A\n\nB\n\n" + deps},
  };
  for (const auto& c : cases) EXPECT_EQ(place_diagrams(c.body, c.diagrams, type), c.out) << c.body;
  EXPECT_EQ(place_diagrams("\n\nA\n\n\n\nB  \n", {}, type), "\n\nA\n\n\n\nB  \n");  // no diagrams: byte for byte
  // Placing again into the body without the blocks gives the same text.
  const std::vector<Diagram> both = {kArch, kDeps};
  const std::string page = place_diagrams("Intro\n\n## Design\nText.\n\n### Sub\n\n## Usage\nMore.", both, type);
  EXPECT_EQ(place_diagrams(strip_generated(page), both, type), page);
}

TEST(DropDuplicateDiagrams, CopiesAndTheHeadingOverThem) {
  const std::vector<Diagram> arch = {kArch};
  const struct {
    std::string body, out;
  } cases[] = {
      {"Before.\n\n### Architecture\n\n```mermaid\nflowchart TD\n  a --> b\n```\n\nAfter.", "Before.\n\nAfter."},
      {"Before.\nArchitecture\n  ```mermaid   \n\nflowchart TD\n  a --> b\n\n```\nAfter.", "Before.\nAfter."},
      {"Before.\n\n\n```mermaid\nflowchart TD\n  a --> b\n```", "Before."},
      {"A\n## Architecture\n```mermaid\nflowchart TD\n  a --> b", "A"},  // an unclosed copy runs to the end
      {"~~~\n```mermaid\nflowchart TD\n  a --> b\n```\n~~~", "~~~\n~~~"},
      {"## Architecture\n```mermaid\nflowchart TD\n a --> b\n```", "## Architecture\n```mermaid\nflowchart TD\n a --> b\n```"},
  };
  for (const auto& c : cases) EXPECT_EQ(_drop_duplicate_diagrams(c.body, arch), c.out) << c.body;
  EXPECT_EQ(_drop_duplicate_diagrams(" A\n\n\n", {}), " A\n\n\n");
}

}  // namespace
}  // namespace vantorel::workers::wiki
