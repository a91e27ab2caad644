#include "vantorel/workers/wiki/finalize/queries.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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
  const std::string text = searchable_text(kPage);
  EXPECT_NE(text.find("# Config\n"), std::string::npos);
  EXPECT_NE(text.find("\n> Parses X.\n"), std::string::npos);
  EXPECT_NE(text.find("| x |"), std::string::npos);
  for (std::string_view gone : {"<!-- wiki:", "a.c", "Architecture", "Related pages"})
    EXPECT_EQ(text.find(gone), std::string::npos) << gone;
  EXPECT_TRUE(text.ends_with("| x |\n"));
  EXPECT_EQ(searchable_text(""), "\n");
  EXPECT_EQ(searchable_text("a\n\n\n"), "a\n");
}

TEST(MermaidBlocks, AuthoredAndGeneratedInPageOrder) {
  EXPECT_EQ(mermaid_blocks(kPage), (Strings{"sequenceDiagram\n  a->>b: x", "flowchart TD"}));
  struct Case {
    std::string page;
    Strings blocks;
  } cases[] = {
      {"```mermaid\n```", {""}},        {"  ```mermaid  \n  x \n```", {"  x "}},
      {"```mermaidx\ny\n```", {"y"}},                                     // a prefix test, nothing more
      {"```Mermaid\ny\n```", {}},       {"```\n```mermaid\ny\n```", {}},  // closes the ordinary fence, opens nothing
      {"```mermaid\nnever closed", {}}, {"~~~mermaid\nx\n~~~", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(mermaid_blocks(c.page), c.blocks) << c.page;
}

TEST(SectionHeadings, AuthoredLevelTwoOutsideFences) {
  EXPECT_EQ(section_headings(kPage), (Strings{"Design"}));
  EXPECT_EQ(section_headings(kPage, {INDEX}), (Strings{"Design", "Files"}));
  EXPECT_EQ(section_headings("## A\n### B\n#### C\n##\tTabbed\n##NoBlank\n## Using C#\n## A"), (Strings{"A", "Tabbed", "Using C", "A"}));
}

}  // namespace
}  // namespace vantorel::workers::wiki
