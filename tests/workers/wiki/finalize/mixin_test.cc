#include "vantorel/workers/wiki/finalize/mixin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace vantorel::workers::wiki {
namespace {

using Ids = std::vector<std::string>;
using Targets = std::vector<LinkTarget>;

// A generator whose collaborators are test doubles that record how they are called.
class FakeGenerator : public FinalizeMixin {
 public:
  std::filesystem::path repo = "/nonexistent-repository";
  WikiConfig config{};
  DependentsMap deps{};
  std::vector<Citation> prose{};  // what the prose of any body cites
  std::vector<Diagram> built{};   // what the diagram builder draws
  bool fail_validation = false;

  mutable int deps_calls = 0, build_calls = 0;

  const std::filesystem::path& repository() const override { return repo; }
  const WikiConfig& wiki_config() const override { return config; }
  const DependentsMap& _file_dependents_map() const override { return ++deps_calls, deps; }
  // Drops everything from the first " [cite]" on.
  std::string _scrub_inline_citations(std::string_view body) const override { return std::string(body.substr(0, body.find(" [cite]"))); }
  std::vector<Citation> _validate_citations(std::string_view, std::vector<Citation> seeds) const override {
    if (fail_validation) throw std::runtime_error("repository unavailable");
    seeds.insert(seeds.begin(), prose.begin(), prose.end());
    return seeds;
  }
  std::vector<Citation> _ensure_min_citations(std::vector<Citation> citations, std::span<const std::string>) const override {
    return citations.push_back({{"path", "filled.c"}}), citations;
  }
  std::vector<Diagram> _build_diagrams(const PagePlan&) const override { return ++build_calls, built; }
  // Finalizes the first plan with no diagrams and no grounding.
  FinalizedPage run(std::string_view text, const FinalizeOptions& options = {}) const {
    return _finalize(_plans.at(0), text, {}, "", options);
  }
};

// The id of the catalogue's first unit type, or of its first other type.
std::string type_id(bool unit) {
  return std::find_if(page_types().begin(), page_types().end(), [&](const PageType& t) { return t.unit == unit; })->id;
}

PagePlan page(const std::string& id, Ids files = {}, Ids related = {}, std::string type = type_id(true)) {
  PagePlan plan{.page_id = id, .title = "Title of " + id, .description = "About " + id + ".", .source_files = std::move(files)};
  plan.related_pages = std::move(related);
  plan.type_id = std::move(type);
  return plan;
}

// A unit page that holds one file, "src/<id>.c".
PagePlan holder(const std::string& id) { return page(id, {"src/" + id + ".c"}); }

bool has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

TEST(Finalize, CitationsOwnStoredSeedsAndFill) {
  FakeGenerator g;
  g.prose = {Citation{{"path", "src/a.c"}}};
  g._plans = {page("a", {"src/a.c"})};
  const FinalizedPage plain = g.run("Text. [cite] gone");
  EXPECT_EQ(plain.authored.body, "Text.");  // the stored authored part is the scrubbed one
  EXPECT_TRUE(plain.own_citations == g.prose && plain.citations == g.prose);
  // Seeds are validated with the page's own citations and stored, not listed; so is the top-up.
  const std::vector<Citation> seeds = {Citation{{"path", "src/seed.c"}}};
  const FinalizedPage seeded = g.run("Text.", {.seeds = seeds, .fill_citations = true});
  EXPECT_EQ(seeded.own_citations, g.prose);
  EXPECT_EQ(seeded.citations, (std::vector<Citation>{g.prose[0], seeds[0], Citation{{"path", "filled.c"}}}));
  EXPECT_TRUE(has(seeded.markdown, "[src/a.c](../src/a.c)") && !has(seeded.markdown, "seed.c") && !has(seeded.markdown, "filled.c"));
}

TEST(Finalize, SummaryFromAuthorOrPlan) {
  FakeGenerator g;
  g._plans = {page("a")};
  const FinalizedPage plan = g.run("---\nsummary: About  a.\n---\nBody."), own = g.run("---\nsummary: Mine.\n---\nBody.");
  EXPECT_TRUE(plan.summary == "About a." && has(plan.markdown, "<!-- wiki:summary plan -->\n> About a.\n")) << plan.markdown;
  EXPECT_TRUE(own.summary == "Mine." && has(own.markdown, "<!-- wiki:summary -->\n> Mine.\n")) << own.markdown;
  EXPECT_EQ(g.run("Body.").markdown, plan.markdown);
  g._plans[0].description = "";
  EXPECT_EQ(g.run("Body.").markdown, "# Title of a\n\nBody.\n");
}

TEST(Finalize, CollaboratorFailuresReachTheCaller) {
  FakeGenerator g;
  g._plans = {page("a")};
  try {
    g._finalize(page("a", {}, {}, "no-such-type"), "x", {}, "");
    ADD_FAILURE() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_NE(std::string(e.what()).find("'no-such-type'"), std::string::npos) << e.what();  // the message names the type
  }
  g.fail_validation = true;
  EXPECT_THROW(g.run("x"), std::runtime_error);
}

TEST(LinkTargets, FilesOfChildlessUnitPagesAndFormerTitles) {
  FakeGenerator g;
  g._plans = {page("parent", {"src/p.c"}), page("child", {"./src/c.c", "src/c.c"}), page("aspect", {"src/a.c"}, {}, type_id(false))};
  g._plans[0].children = {"child"};
  g._existing["child"] = StoredRow{{"title", "Old child"}, {"former_titles", {"Oldest child"}}};
  g._existing["aspect"] = StoredRow{{"summary", "no title here"}};
  EXPECT_EQ(g._link_targets(), (Targets{LinkTarget("parent", "Title of parent", {}, {}),
                                        LinkTarget("child", "Title of child", {"src/c.c", "src/c.c"}, {"Oldest child", "Old child"}),
                                        LinkTarget("aspect", "Title of aspect", {}, {})}));
}

TEST(RelatedTargets, ExplicitThenAtMostThreeMostTied) {
  FakeGenerator g;
  g._plans = {page("me", {"src/me.c", "src/shared.c"}, {"me", "ghost", "b", "b"})};
  for (const char* id : {"a", "b", "c", "d", "e", "x"}) g._plans.push_back(holder(id));
  g._plans[5].source_files.push_back("src/d.c");
  g._plans[6].source_files.push_back("src/shared.c");
  // Ties: x holds a file of mine and I import it (2); I import d (src/d.c is d's, its first
  // claimant's) and d imports me (2); a, c and e import me (1); b is explicit. Equal ties go by plan
  // position, and three pages come from the graph.
  g.deps = {{"src/me.c", {"src/e.c", "src/d.c", "src/c.c", "src/b.c", "src/a.c"}}, {"src/d.c", {"src/me.c"}}, {"src/x.c", {"src/me.c"}}};
  const std::vector<LinkTarget> targets = g._link_targets();
  EXPECT_EQ(g._related_targets(g._plans[0], targets), (Targets{targets[2], targets[4], targets[6], targets[1]}));  // b d x a
  EXPECT_EQ(g.deps_calls, 1);
  // Without source files only the explicit pages, and the graph is not asked.
  g._plans[0].source_files.clear();
  EXPECT_EQ(g._related_targets(g._plans[0], targets), (Targets{targets[2]}));
  EXPECT_EQ(g.deps_calls, 1);
}

TEST(PageContract, ShapeAndDiagramSettings) {
  const PageType& type = *std::find_if(page_types().begin(), page_types().end(), [](const PageType& t) { return t.section("sequence"); });
  FakeGenerator g;
  g.built = {Diagram{.heading = "Dependencies", .mermaid = " flowchart LR\n  a --> b "}, Diagram{.heading = "Nowhere", .mermaid = "x"}};
  g._plans = {PagePlan{.page_id = "a", .title = "A", .importance = "high", .type_id = type.id}, page("b")};
  // Keys in order: each object is compared with one built in the promised order.
  const PageContract contract = g._page_contract(g._plans[0], ""), &drawn = contract["page_type"]["author_diagrams"][0];
  const PageContract links = PageContract::parse(R"([{"page_id":"b","title":"Title of b","link":"b.md"}])");
  EXPECT_EQ(contract.dump(),
            PageContract({{"page_type", contract["page_type"]}, {"diagrams", contract["diagrams"]}, {"link_targets", links}}).dump());
  EXPECT_EQ(contract["page_type"]["words"], (PageContract{{"min", type.words[0]}, {"max", type.words[1]}}));
  const PageContract placed = {
      {"heading", "Dependencies"}, {"section", diagram_slot(type, "Dependencies")->heading}, {"mermaid", " flowchart LR\n  a --> b "}};
  EXPECT_EQ(contract["diagrams"][0].dump(), placed.dump());  // the Mermaid source untrimmed
  EXPECT_TRUE(contract["diagrams"][1]["section"].is_null());
  // An unset sequence-diagram setting counts as true.
  Ids keys;
  for (const auto& [key, value] : drawn.items()) keys.push_back(key);
  EXPECT_EQ(keys, (Ids{"mermaid", "section", "required", "max_nodes"}));
  EXPECT_TRUE(drawn["mermaid"] == "sequenceDiagram" && drawn["section"] == type.section("sequence")->heading);
  g.config.sequence_diagrams = false;
  EXPECT_TRUE(g._page_contract(g._plans[0], "")["page_type"]["author_diagrams"].empty());
  g.config = WikiConfig{.diagrams = false};
  const PageContract bare = g._page_contract(g._plans[0], "");
  EXPECT_TRUE(bare["diagrams"].empty() && bare["page_type"]["author_diagrams"].empty());
  EXPECT_EQ(g.build_calls, 2);
}

TEST(PageContract, OutlineEntries) {
  const SectionSpec plain{.key = "k", .heading = "H", .intent = "I", .required = true};
  EXPECT_EQ(_outline_entry(plain).dump(), R"({"heading":"H","intent":"I","required":true})");
  SectionSpec table = plain;
  table.table_cols = {"Name", "Kind"};
  EXPECT_EQ(_outline_entry(table).dump(), R"({"heading":"H","intent":"I","table":["Name","Kind"],"required":true})");
}

}  // namespace
}  // namespace vantorel::workers::wiki
