#include "vantorel/workers/wiki/finalize/queries.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/finalize/blocks.h"

namespace vantorel::workers::wiki {
namespace {

using Strings = std::vector<std::string>;

const std::string kPage =
    "# Config\n\n<!-- wiki:summary -->\n> Parses X.\n<!-- /wiki:summary -->\n\n"
    "<!-- wiki:sources -->\n<details>\n- [a.c](../a.c)\n</details>\n<!-- /wiki:sources -->\n\n"
    "## Design\n\nText.\n\n```mermaid\nsequenceDiagram\n  a->>b: x\n```\n\n```\n## Example\n```\n\n"
    "<!-- wiki:diagram -->\n### Architecture\n\n```mermaid\nflowchart TD\n```\n<!-- /wiki:diagram -->\n\n"
    "<!-- wiki:index -->\n## Files\n\n| x |\n<!-- /wiki:index -->\n\n"
    "<!-- wiki:footer -->\n## Related pages\n\n- [P](p.md)\n<!-- /wiki:footer -->\n";

TEST(SearchableText, KeepsTitleSummaryProseAndIndex) {
  EXPECT_EQ(searchable_text(kPage),
            "# Config\n\n> Parses X.\n\n## Design\n\nText.\n\n```mermaid\nsequenceDiagram\n  a->>b: x\n```\n\n```\n## Example\n```\n\n"
            "## Files\n\n| x |\n");
}

TEST(MermaidBlocks, AuthoredAndGeneratedInPageOrder) {
  EXPECT_EQ(mermaid_blocks(kPage), (Strings{"sequenceDiagram\n  a->>b: x", "flowchart TD"}));
  const struct {
    std::string page;
    Strings blocks;
  } cases[] = {// "```mermaid" is a prefix of the trimmed opening line, nothing more; inside an ordinary fence
               // it only closes that fence; a Mermaid fence that never closes, or a "~~~" one, gives nothing
               {"```mermaid\n```", {""}},        {"  ```mermaid  \n  x \n```", {"  x "}},
               {"```mermaidx\ny\n```", {"y"}},   {"```\n```mermaid\ny\n```\nz\n```", {}},
               {"```mermaid\nnever closed", {}}, {"~~~mermaid\nx\n~~~", {}}};
  for (const auto& c : cases) EXPECT_EQ(mermaid_blocks(c.page), c.blocks) << c.page;
}

TEST(SectionHeadings, AuthoredLevelTwoOutsideFences) {
  EXPECT_EQ(section_headings(kPage), (Strings{"Design"}));
  EXPECT_EQ(section_headings(kPage, {INDEX}), (Strings{"Design", "Files"}));
  EXPECT_EQ(section_headings("## A\n### B\n#### C\n##\tTabbed\n##NoBlank\n## Using C#\n## A"), (Strings{"A", "Tabbed", "Using C", "A"}));
}

}  // namespace
}  // namespace vantorel::workers::wiki
