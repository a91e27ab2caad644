#include "page_checks.h"

#include <gtest/gtest.h>

#include <numeric>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/finalize.h"

namespace vantorel::tools {
namespace {

namespace wiki = vantorel::workers::wiki;

// A finished page with a source list, a diagram and a footer, as the page writer lays one out.
std::string page(std::string_view sources_item, std::string_view diagram, std::string_view footer_item) {
  std::string out = "# T\n\n";
  out.append(wiki::_block(wiki::SOURCES, {"<details>", "<summary>Relevant source files</summary>", "", sources_item, "", "</details>"}));
  out.append("\n\nBody.\n\n").append(wiki::_block(wiki::DIAGRAM, {"### Dependencies", "", "```mermaid", diagram, "```"}));
  return out.append("\n\n").append(wiki::_block(wiki::FOOTER, {"## Related pages", "", footer_item})).append("\n");
}

// "kind@line" for each finding: what a reader of the program's output tells apart.
std::vector<std::string> kinds(const std::vector<wiki::Finding>& findings) {
  std::vector<std::string> out;
  for (const wiki::Finding& f : findings) out.push_back(f.kind + "@" + std::to_string(f.line));
  return out;
}

std::vector<std::size_t> numbered(std::string_view text) {
  std::vector<std::size_t> origin(text::count_lines(text));
  std::iota(origin.begin(), origin.end(), 1);
  return origin;
}

TEST(PageChecks, ChangedBlocksTellEditsFromPlanChanges) {
  const std::string finished = page("- [a.c](../a.c)", "a --> b", "- [Log](log.md)");
  const std::vector<wiki::LinkTarget> targets = {{"log", "Log", {}, {"Journal"}}};
  const wiki::LinkIndex index(targets);
  // The sources block opens on line 3, the diagram block on line 14, the footer on line 22.
  struct Case {
    std::string on_disk;
    std::vector<std::string> expected;  // without stored digests: the writer's shape decides
  };
  const Case cases[] = {
      {finished, {}},
      {"# T\n\nBody.\n", {}},
      {page("- [a.c](../a.c)", "a --> b", "- [Journal](log.md)"), {}},  // a link under a former title
      {page("- [my dir/b.c](../my%20dir/b.c)", "a --> b", "- [Log](log.md)"), {"block-regenerated@3"}},
      {page("- a.c, mostly", "a --> b", "- [Log](log.md)"), {"block-edited@3"}},
      {page("- [a.c](../a.c)", "a --> c", "- [Notes](notes.md)"), {"block-regenerated@14", "block-regenerated@22"}},
      {page("- [a.c](../a.c)", "```", "- [Log](log.md)"), {"block-edited@14"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(kinds(changed_blocks(c.on_disk, numbered(c.on_disk), block_digests(finished), index, nullptr)), c.expected) << c.on_disk;
  }

  // With the digests the last run kept, a block that still has the shape the writer gives it but
  // is not what that run wrote was edited; one that is what it wrote changed with the plan.
  const std::string written = page("- [a.c](../a.c)", "a --> c", "- [Log](log.md)");
  const std::vector<std::string> stored = block_digests(written);
  EXPECT_EQ(stored.size(), 3u);
  EXPECT_EQ(kinds(changed_blocks(written, numbered(written), block_digests(finished), index, &stored)), std::vector<std::string>{"block-regenerated@14"});
  const std::string edited = page("- [a.c](../a.c)", "a --> d", "- [Log](log.md)");
  const std::vector<wiki::Finding> found = changed_blocks(edited, numbered(edited), block_digests(finished), index, &stored);
  ASSERT_EQ(kinds(found), std::vector<std::string>{"block-edited@14"});
  EXPECT_EQ(found[0].message, "the 'Dependencies' diagram block was edited by hand; code writes it anew from the plan, so the edit is lost");
}

}  // namespace
}  // namespace vantorel::tools
