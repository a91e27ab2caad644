#include "vantorel/workers/wiki/finalize/page.h"

#include <gtest/gtest.h>

#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {
namespace {

const LinkTarget kPrev("intro", "Introduction", {}, {});
const LinkTarget kNext("cli", "Command line", {}, {});
const LinkTarget kRelated("p", "P", {}, {});

TEST(FinalizePage, PartsInOrderAndOneLinkPerSource) {
  PageFrame full{.page_id = "config", .title = "Config [v2]", .summary = "Reads\n the   configuration. ", .summary_from_plan = true};
  full.sources = {"src/a (old).c", "src/b.c"}, full.related = {kRelated}, full.previous = kPrev, full.next = kNext;
  full.index = {"## Files", "", "| x |"};
  full.diagrams = {{.heading = "Architecture", .mermaid = "flowchart TD"}};  // placed anew, its authored copy dropped
  const struct {
    std::string body;
    PageFrame frame;
    std::string page;
  } cases[] = {
      {"", {.title = "T"}, "# T\n"},
      {"\n\nBody.\n\n", {.title = "T"}, "# T\n\nBody.\n"},
      {"", {.title = "T", .summary = " \n "}, "# T\n\n<!-- wiki:summary -->\n> \n<!-- /wiki:summary -->\n"},
      {"", {.title = "T", .related = {kRelated}}, "# T\n\n<!-- wiki:footer -->\n## Related pages\n\n- [P](p.md)\n<!-- /wiki:footer -->\n"},
      // a footer of neighbours alone opens the block with an empty line
      {"", {.title = "T", .next = kNext}, "# T\n\n<!-- wiki:footer -->\n\nNext: [Command line](cli.md)\n<!-- /wiki:footer -->\n"},
      {"## Architecture\n```mermaid\nflowchart TD\n```\nBody.", full,
       "# Config [v2]\n\n<!-- wiki:summary plan -->\n> Reads the configuration.\n<!-- /wiki:summary -->\n\n"
       "<!-- wiki:sources -->\n<details>\n<summary>Relevant source files</summary>\n\n"
       "- [src/a (old).c](../src/a%20%28old%29.c)\n- [src/b.c](../src/b.c)\n\n</details>\n<!-- /wiki:sources -->\n\n"
       "Body.\n\n<!-- wiki:diagram -->\n## Architecture\n\n```mermaid\nflowchart TD\n```\n<!-- /wiki:diagram -->\n\n"
       "<!-- wiki:index -->\n## Files\n\n| x |\n<!-- /wiki:index -->\n\n"
       "<!-- wiki:footer -->\n## Related pages\n\n- [P](p.md)\n\n---\n\n"
       "Previous: [Introduction](intro.md) \u00b7 Next: [Command line](cli.md)\n<!-- /wiki:footer -->\n"},
  };
  std::vector<std::string> calls;  // the paths the link function is given, in order
  const RepoLink recording = [&](std::string_view path) { return _repo_rel_link(calls.emplace_back(path)); };
  for (const auto& c : cases) EXPECT_EQ(finalize_page(Authored{.body = c.body}, c.frame, recording), c.page);
  EXPECT_EQ(calls, full.sources);
  // What the link function throws reaches the caller.
  const RepoLink failing = [](std::string_view) -> std::string { throw std::runtime_error("no repository"); };
  EXPECT_THROW(finalize_page(Authored{}, full, failing), std::runtime_error);
}

}  // namespace
}  // namespace vantorel::workers::wiki
