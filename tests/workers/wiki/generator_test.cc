// End to end: a small repository on disk and a plan of ten pages of several types, finalized page
// by page through a real WikiGenerator, then finalized again from the finished pages.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/orchestrator/orchestrator.h"

namespace vantorel::workers::wiki {
namespace {

namespace fs = std::filesystem;

class Repository {
 public:
  Repository() : root_(fs::temp_directory_path() / ("vantorel-generator-" + std::to_string(std::random_device{}()))) {
    write("src/store.c", "#include \"store.h\"\n\nint store_put(const char* key) {\n  return key != 0;\n}\n");
    write("src/store.h", "int store_put(const char* key);\n");
    write("src/net.c", "#include \"net.h\"\n#include \"store.h\"\n\nvoid serve(void) {\n}\n");
    write("src/net.h", "void serve(void);\n");
    write("src/extra.c", "int extra(void) {\n  return 1;\n}\n");
    write("client/client.py", "class Client:\n    def put(self, key):\n        return key\n");
    write("client/cli.py", "from client import Client\n\ndef main():\n    Client().put('k')\n");
    write("tools/gen.sh", "#!/bin/sh\necho gen\n");
  }
  ~Repository() { fs::remove_all(root_); }
  const fs::path& root() const { return root_; }

 private:
  void write(const std::string& path, const std::string& text) {
    fs::create_directories((root_ / path).parent_path());
    std::ofstream(root_ / path, std::ios::binary) << text;
  }
  fs::path root_;
};

PagePlan plan(std::string id, std::string type, std::string title, std::vector<std::string> files = {}) {
  return PagePlan{.page_id = std::move(id),
                  .title = std::move(title),
                  .description = "The page.",
                  .source_files = std::move(files),
                  .type_id = std::move(type)};
}

struct Wiki {
  std::vector<PagePlan> plans;
  std::map<std::string, std::string> texts;  // what the authors wrote, by page id
};

Wiki wiki() {
  Wiki w;
  w.plans = {plan("index", "overview", "Key-value store"),
             plan("store", "module", "Store", {"src/store.c", "src/store.h"}),
             plan("net", "module", "Networking", {"src/net.c", "src/net.h"}),
             plan("net-proto", "submodule", "Wire protocol", {"./src/net.c"}),
             plan("client", "module", "Python client", {"client/client.py", "client/cli.py"}),
             plan("design", "architecture", "Design"),
             plan("usage", "guide", "Using the store", {"client/cli.py"}),
             plan("build", "guide", "Building"),
             plan("api", "reference", "API reference", {"src/store.h", "src/net.h"}),
             plan("other", "other", "Other code", {"tools/gen.sh", "src/extra.c", "tools//gen.sh"})};
  w.plans[1].related_pages = {"net", "store", "ghost"};
  w.plans[1].description = "Keeps pairs.";
  w.plans[2].children = {"net-proto"};
  w.plans[9].catch_all = true;
  w.plans[9].description = "Files that belong to no module.";
  w.texts = {
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
  return w;
}

WikiGenerator generator(const Repository& repo, const Wiki& w) {
  return WikiGenerator(
      {.plans = w.plans,
       .repository = repo.root(),
       .imports = {{"src/store.c", {"src/store.h"}}, {"src/net.c", {"src/net.h", "src/store.h"}}, {"client/cli.py", {"client/client.py"}}},
       .existing = {{"api", StoredRow{{"title", "Interfaces"}}}}});
}

std::map<std::string, std::string> finalize_all(const WikiGenerator& g, const std::map<std::string, std::string>& texts) {
  std::map<std::string, std::string> pages;
  for (const PagePlan& p : g._plans) {
    pages[p.page_id] = g._finalize(p, texts.at(p.page_id), g._build_diagrams(p), "facts: config", {.fill_citations = true}).markdown;
  }
  return pages;
}

TEST(Generator, EveryPageFinalizedAndStable) {
  const Repository repo;
  const Wiki w = wiki();
  const WikiGenerator g = generator(repo, w);
  const std::map<std::string, std::string> pages = finalize_all(g, w.texts);

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

  // The author's sequence diagram stays in its section; the legacy list under "Sources" goes; an
  // inline citation is scrubbed; a module path in inline code links to its page.
  EXPECT_NE(pages.at("usage").find("## Sequence diagram\n\n```mermaid\nsequenceDiagram\n  cli->>store: put\n```"), std::string::npos);
  EXPECT_EQ(pages.at("design").find("## Sources"), std::string::npos);
  EXPECT_EQ(pages.at("client").find("[client/cli.py:1-3]"), std::string::npos);
  // A unit page with children claims no files, so its header's path links nowhere.
  EXPECT_NE(pages.at("net").find("See `src/net.h` and the [Store](store.md)."), std::string::npos);
  EXPECT_NE(pages.at("net-proto").find("[`src/store`](store.md)"), std::string::npos);
  EXPECT_NE(pages.at("net").find("<!-- wiki:summary -->\n> Serves the store over a socket."), std::string::npos);

  // Every finished page, finalized again, comes back byte for byte.
  EXPECT_EQ(finalize_all(g, pages), pages);
}

TEST(Generator, DependentsAreTheImportsInverted) {
  const Repository repo;
  const WikiGenerator g = generator(repo, wiki());
  EXPECT_EQ(g._file_dependents_map(),
            (DependentsMap{
                {"client/client.py", {"client/cli.py"}}, {"src/net.h", {"src/net.c"}}, {"src/store.h", {"src/net.c", "src/store.c"}}}));
}

}  // namespace
}  // namespace vantorel::workers::wiki
