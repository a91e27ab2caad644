// End to end: a small repository on disk and a plan of ten pages of several types, finalized page
// by page through a real WikiGenerator, then finalized again from the finished pages. Two pages
// are checked byte for byte; the rest give them their neighbours, link targets and related pages.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "support/temp_repository.h"
#include "vantorel/workers/wiki/finalize/reading_order.h"
#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::workers::wiki {
namespace {

PagePlan plan(std::string id, std::string type, std::string title, std::vector<std::string> files = {}) {
  return PagePlan{.page_id = std::move(id),
                  .title = std::move(title),
                  .description = "The page.",
                  .source_files = std::move(files),
                  .type_id = std::move(type)};
}

TEST(Generator, EveryPageFinalizedAndStable) {
  const test_support::TempRepository repo;
  repo.write("src/store.c", "#include \"store.h\"\n\nint store_put(const char* key) {\n  return key != 0;\n}\n");
  repo.write("src/store.h", "int store_put(const char* key);\n");
  repo.write("src/net.c", "#include \"net.h\"\n#include \"store.h\"\n\nvoid serve(void) {\n}\n");
  repo.write("src/net.h", "void serve(void);\n");
  repo.write("src/extra.c", "int extra(void) {\n  return 1;\n}\n");
  repo.write("client/client.py", "class Client:\n    def put(self, key):\n        return key\n");
  repo.write("client/cli.py", "from client import Client\n\ndef main():\n    Client().put('k')\n");
  repo.write("tools/gen.sh", "#!/bin/sh\necho gen\n");
  std::vector<PagePlan> plans = {plan("index", "overview", "Key-value store"),
                                 plan("store", "module", "Store", {"src/store.c", "src/store.h"}),
                                 plan("net", "module", "Networking", {"src/net.c", "src/net.h"}),
                                 plan("net-proto", "submodule", "Wire protocol", {"./src/net.c"}),
                                 plan("client", "module", "Python client", {"client/client.py", "client/cli.py"}),
                                 plan("design", "architecture", "Design"),
                                 plan("usage", "guide", "Using the store", {"client/cli.py"}),
                                 plan("build", "guide", "Building"),
                                 plan("api", "reference", "API reference", {"src/store.h", "src/net.h"}),
                                 plan("other", "other", "Other code", {"tools/gen.sh", "src/extra.c", "tools//gen.sh"})};
  plans[1].related_pages = {"net", "store", "ghost"};
  plans[1].description = "Keeps pairs.";
  plans[2].children = {"net-proto"};
  plans[9].catch_all = true;
  plans[9].description = "Files that belong to no module.";
  // What the authors wrote, by page id.
  const std::map<std::string, std::string> texts = {
      {"index",
       "---\nsummary: A small key-value store with a C core and a Python client.\n---\n\nThe Store holds data; the Python client "
       "talks to it over the Wire protocol.\n"},
      {"store",
       "---\nsummary: Keeps keys and values in memory.\n---\n\n# Store\n\nThe store keeps pairs; see "
       "[the code](../src/store.c#L3-L5). The Wire protocol sends them, and [Interfaces](api.md) lists the calls.\n\n"
       "## Internals\n\nA hash table.\n"},
      {"net", "> Serves the store over a socket.\n\nSee `src/net.h` and the Store.\n"},
      {"net-proto", "---\nsummary: Frames requests.\n---\n\nUses `src/store` for storage.\n"},
      {"client", "---\nsummary: Talks to the server from Python.\n---\n\n## Usage\n\nRun `client/cli.py` [client/cli.py:1-3].\n"},
      {"design",
       "---\nsummary: How the parts fit.\n---\n\n## Components\n\nThe Store and Networking.\n\n## Sources\n\n"
       "- [a](../src/store.c)\n"},
      {"usage",
       "---\nsummary: Put a key from the command line.\n---\n\n## Steps\n\nRun the client.\n\n## Sequence diagram\n\n"
       "```mermaid\nsequenceDiagram\n  cli->>store: put\n```\n"},
      {"build", ""},
      {"api", "---\nsummary: The calls of the C core.\n---\n\n## Types\n\nNone yet.\n"},
      {"other", ""},
  };
  const WikiGenerator g(
      {.plans = plans,
       .repository = repo.root(),
       .imports = {{"src/store.c", {"src/store.h"}}, {"src/net.c", {"src/net.h", "src/store.h"}}, {"client/cli.py", {"client/client.py"}}},
       .existing = {{"api", StoredRow{{"title", "Interfaces"}}}}});
  const auto finalize_all = [&g](const std::map<std::string, std::string>& authored) {
    std::map<std::string, std::string> pages;
    for (const PagePlan& p : g._plans) {
      pages[p.page_id] = g._finalize(p, authored.at(p.page_id), g._build_diagrams(p), "facts: config", {.fill_citations = true}).markdown;
    }
    return pages;
  };
  const std::map<std::string, std::string> pages = finalize_all(texts);

  EXPECT_EQ(pages.at("store"),
            "# Store\n\n"
            "<!-- wiki:summary -->\n> Keeps keys and values in memory.\n<!-- /wiki:summary -->\n\n"
            "<!-- wiki:sources -->\n<details>\n<summary>Relevant source files</summary>\n\n"
            "- [src/store.c](../src/store.c)\n- [src/store.h](../src/store.h)\n\n</details>\n<!-- /wiki:sources -->\n\n"
            "The store keeps pairs; see [the code](../src/store.c#L3-L5). The [Wire protocol](net-proto.md) sends them, and "
            "[API reference](api.md) lists the calls.\n\n"
            "## Internals\n\nA hash table.\n\n"
            "<!-- wiki:diagram -->\n### Dependencies\n\n```mermaid\nflowchart LR\n  n0[\"src/net.c\"]\n  n1[\"src/store.h\"]\n"
            "  n2[\"src/store.c\"]\n  n0 --> n1\n  n2 --> n1\n```\n<!-- /wiki:diagram -->\n\n"
            "<!-- wiki:footer -->\n## Related pages\n\n- [Networking](net.md)\n- [Wire protocol](net-proto.md)\n\n---\n\n"
            "Previous: [Key-value store](index.md) \u00b7 Next: [Networking](net.md)\n<!-- /wiki:footer -->\n");

  EXPECT_EQ(pages.at("other"),
            "# Other code\n\n"
            "<!-- wiki:summary plan -->\n> Files that belong to no module.\n<!-- /wiki:summary -->\n\n"
            "<!-- wiki:sources -->\n<details>\n<summary>Relevant source files</summary>\n\n"
            "- [tools/gen.sh](../tools/gen.sh)\n- [src/extra.c](../src/extra.c)\n\n</details>\n<!-- /wiki:sources -->\n\n"
            "<!-- wiki:index -->\n## Files\n\n| File | Symbols | Lines |\n| --- | --- | --- |\n"
            "| [src/extra.c](../src/extra.c) | 1 | 3 |\n| [tools/gen.sh](../tools/gen.sh) | 0 | 2 |\n<!-- /wiki:index -->\n\n"
            "<!-- wiki:footer -->\n\nPrevious: [API reference](api.md)\n<!-- /wiki:footer -->\n");

  // Every finished page, finalized again, comes back byte for byte.
  EXPECT_EQ(finalize_all(pages), pages);

  // Neighbours come from the reading order: the catalogue's navigation order, then plan order. A
  // page outside the plan has none.
  std::vector<std::string> order;
  for (const PagePlan& p : reading_order(plans)) order.push_back(p.page_id);
  EXPECT_EQ(order, (std::vector<std::string>{"index", "store", "net", "client", "net-proto", "design", "usage", "build", "api", "other"}));
  EXPECT_EQ(g._finalize(plan("x", "guide", "X"), "", {}, "").markdown,
            "# X\n\n<!-- wiki:summary plan -->\n> The page.\n<!-- /wiki:summary -->\n");
}

}  // namespace
}  // namespace vantorel::workers::wiki
