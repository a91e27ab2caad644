#include "vantorel/workers/wiki/finalize/mixin.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/finalize/reading_order.h"

namespace vantorel::workers::wiki {
namespace {

// A generator whose collaborators are test doubles that record how they are called.
class FakeGenerator : public FinalizeMixin {
 public:
  std::filesystem::path repo = "/nonexistent-repository";
  WikiConfig config{};
  DependentsMap deps{};
  std::vector<Citation> prose{};   // what the prose of any body cites
  std::vector<Diagram> built{};    // what the diagram builder draws
  std::vector<FileFacts> facts{};  // what the repository knows of any file
  bool fail_validation = false;

  mutable int deps_calls = 0;
  mutable int build_calls = 0;
  mutable int ensure_calls = 0;
  mutable int facts_calls = 0;
  mutable std::vector<std::vector<Citation>> validated_seeds{};
  mutable std::set<std::string, std::less<>> facts_paths{};

  const std::filesystem::path& repository() const override { return repo; }
  const WikiConfig& wiki_config() const override { return config; }
  const DependentsMap& _file_dependents_map() const override {
    ++deps_calls;
    return deps;
  }
  std::string _scrub_inline_citations(std::string_view body) const override {
    std::string out(body);
    for (std::size_t at; (at = out.find(" [cite]")) != std::string::npos;) out.erase(at, 7);
    return out;
  }
  std::vector<Citation> _validate_citations(std::string_view, std::vector<Citation> seeds) const override {
    if (fail_validation) throw std::runtime_error("repository unavailable");
    validated_seeds.push_back(seeds);
    std::vector<Citation> out = prose;
    out.insert(out.end(), seeds.begin(), seeds.end());
    return out;
  }
  std::vector<Citation> _ensure_min_citations(std::vector<Citation> citations, std::span<const std::string>) const override {
    ++ensure_calls;
    citations.push_back({{"path", "filled.c"}});
    return citations;
  }
  std::vector<Diagram> _build_diagrams(const PagePlan&) const override {
    ++build_calls;
    return built;
  }

 protected:
  std::vector<FileFacts> _file_facts(const std::set<std::string, std::less<>>& paths) const override {
    ++facts_calls;
    facts_paths = paths;
    return facts;
  }
};

const PageType& unit_type() {
  for (const PageType& type : page_types()) {
    if (type.unit) return type;
  }
  throw std::logic_error("the catalogue has no unit type");
}

const PageType& aspect_type() {
  for (const PageType& type : page_types()) {
    if (!type.unit) return type;
  }
  throw std::logic_error("the catalogue has no aspect type");
}

PagePlan unit_page(std::string id, std::vector<std::string> files, std::vector<std::string> related = {}) {
  return PagePlan{.page_id = id,
                  .title = "Title of " + id,
                  .description = "About " + id + ".",
                  .source_files = std::move(files),
                  .related_pages = std::move(related),
                  .type_id = unit_type().id};
}

std::vector<std::string> ids(const std::vector<LinkTarget>& targets) {
  std::vector<std::string> out;
  for (const LinkTarget& t : targets) out.push_back(t.page_id);
  return out;
}

using Ids = std::vector<std::string>;

TEST(Finalize, CitationsOwnStoredSeedsAndFill) {
  FakeGenerator g;
  g.prose = {Citation{{"path", "src/a.c"}}};
  g._plans = {unit_page("a", {"src/a.c"})};
  const FinalizedPage plain = g._finalize(g._plans[0], "Text [cite].", {}, "");
  EXPECT_EQ(plain.own_citations, g.prose);
  EXPECT_EQ(plain.citations, g.prose);
  EXPECT_EQ(plain.authored.body, "Text.");  // the stored authored part is the scrubbed one
  EXPECT_EQ(g.ensure_calls, 0);
  EXPECT_EQ(g.validated_seeds.size(), 1u);

  const std::vector<Citation> seeds = {Citation{{"path", "src/seed.c"}}};
  const FinalizedPage seeded = g._finalize(g._plans[0], "Text.", {}, "", {.seeds = seeds, .fill_citations = true});
  EXPECT_EQ(g.validated_seeds.back(), seeds);
  EXPECT_EQ(seeded.own_citations, g.prose);
  EXPECT_EQ(seeded.citations, (std::vector<Citation>{g.prose[0], seeds[0], Citation{{"path", "filled.c"}}}));
  EXPECT_EQ(g.ensure_calls, 1);
  // Neither a seed nor the top-up puts its file in the source list; the prose's citation does.
  EXPECT_NE(seeded.markdown.find("[src/a.c](../src/a.c)"), std::string::npos);
  EXPECT_EQ(seeded.markdown.find("seed.c"), std::string::npos);
  EXPECT_EQ(seeded.markdown.find("filled.c"), std::string::npos);
}

TEST(Finalize, SummaryFromAuthorOrPlan) {
  FakeGenerator g;
  g._plans = {unit_page("a", {})};
  const FinalizedPage from_plan = g._finalize(g._plans[0], "Body.", {}, "");
  EXPECT_EQ(from_plan.summary, "About a.");
  EXPECT_NE(from_plan.markdown.find("<!-- wiki:summary plan -->\n> About a."), std::string::npos);
  const FinalizedPage same = g._finalize(g._plans[0], "---\nsummary: About  a.\n---\nBody.", {}, "");
  EXPECT_NE(same.markdown.find("<!-- wiki:summary plan -->"), std::string::npos);
  const FinalizedPage own = g._finalize(g._plans[0], "---\nsummary: Mine.\n---\nBody.", {}, "");
  EXPECT_EQ(own.summary, "Mine.");
  EXPECT_NE(own.markdown.find("<!-- wiki:summary -->\n> Mine."), std::string::npos);
  g._plans[0].description = "";
  EXPECT_EQ(g._finalize(g._plans[0], "Body.", {}, "").markdown, "# Title of a\n\nBody.\n");
}

TEST(Finalize, NeighboursInReadingOrder) {
  FakeGenerator g;
  g._plans = {unit_page("a", {}), unit_page("b", {}), unit_page("c", {})};
  auto footer = [&](const PagePlan& plan) {
    const std::string md = g._finalize(plan, "x", {}, "").markdown;
    const std::size_t at = md.find("<!-- wiki:footer -->");
    return at == std::string::npos ? std::string() : md.substr(at);
  };
  EXPECT_NE(footer(g._plans[0]).find("\nNext: [Title of b](b.md)\n"), std::string::npos);
  EXPECT_NE(footer(g._plans[1]).find("Previous: [Title of a](a.md) \u00b7 Next: [Title of c](c.md)"), std::string::npos);
  EXPECT_NE(footer(g._plans[2]).find("\nPrevious: [Title of b](b.md)\n"), std::string::npos);
  EXPECT_EQ(footer(unit_page("stranger", {})), "");  // not in the plan: no neighbours
  g._plans.resize(1);
  EXPECT_EQ(footer(g._plans[0]), "");
}

TEST(Finalize, CatchAllIndexOnlyForTheCatchAllPage) {
  FakeGenerator g;
  g.facts = {FileFacts{.path = "lib/x.c", .symbols = 3, .loc = 40}};
  g._plans = {unit_page("a", {"./lib/x.c", "lib//x.c", "lib\\x.c"})};
  EXPECT_TRUE(g._finalize(g._plans[0], "x", {}, "").markdown.find("wiki:index") == std::string::npos);
  EXPECT_EQ(g.facts_calls, 0);
  g._plans[0].catch_all = true;
  const std::string md = g._finalize(g._plans[0], "x", {}, "").markdown;
  EXPECT_EQ(g.facts_paths, (std::set<std::string, std::less<>>{"lib/x.c"}));
  EXPECT_NE(md.find("<!-- wiki:index -->\n## Files\n"), std::string::npos);
  EXPECT_NE(md.find("| [lib/x.c](../lib/x.c) | 3 | 40 |"), std::string::npos);
}

TEST(Finalize, FinalizingTheResultAgainChangesNothing) {
  FakeGenerator g;
  g.prose = {Citation{{"path", "src/a.c"}}};
  g._plans = {unit_page("a", {"src/a.c"}, {"b"}), unit_page("b", {"src/b.c"})};
  g._plans[0].catch_all = true;
  g.facts = {FileFacts{.path = "src/a.c", .symbols = 1, .loc = 2}};
  const std::vector<Diagram> diagrams = {Diagram{.heading = "Dependencies", .mermaid = "flowchart LR\n  a --> b"}};
  const FinalizedPage first = g._finalize(g._plans[0], "---\nsummary: S.\n---\n# T\n\nSee Title of b.\n\n## Usage\n\nText.", diagrams, "");
  const FinalizedPage second = g._finalize(g._plans[0], first.markdown, diagrams, "");
  EXPECT_EQ(second.markdown, first.markdown);
  // The first run's links are part of the authored text from then on, and stay as they are.
  EXPECT_NE(second.authored.body.find("[Title of b](b.md)"), std::string::npos);
  EXPECT_EQ(g._finalize(g._plans[0], second.markdown, diagrams, "").authored, second.authored);
}

TEST(Finalize, CollaboratorFailuresReachTheCaller) {
  FakeGenerator g;
  g.fail_validation = true;
  g._plans = {unit_page("a", {})};
  EXPECT_THROW(g._finalize(g._plans[0], "x", {}, ""), std::runtime_error);
  PagePlan unknown = g._plans[0];
  unknown.type_id = "no-such-type";
  g.fail_validation = false;
  EXPECT_THROW(g._finalize(unknown, "x", {}, ""), std::out_of_range);
}

TEST(LinkTargets, FilesAndFormerTitles) {
  FakeGenerator g;
  PagePlan parent = unit_page("parent", {"src/p.c"});
  parent.children = {"child"};
  PagePlan aspect = unit_page("aspect", {"src/a.c"});
  aspect.type_id = aspect_type().id;
  g._plans = {parent, unit_page("child", {"./src/c.c", "src/c.c"}), aspect};
  g._existing["child"] = StoredRow{{"title", "Old child"}, {"former_titles", {"Oldest child"}}};
  g._existing["aspect"] = StoredRow{{"summary", "no title here"}};
  const std::vector<LinkTarget> targets = g._link_targets();
  ASSERT_EQ(targets.size(), 3u);
  EXPECT_TRUE(targets[0].files.empty());
  EXPECT_EQ(targets[1].files, (Ids{"src/c.c", "src/c.c"}));
  EXPECT_TRUE(targets[2].files.empty());
  EXPECT_EQ(targets[1].former, (Ids{"Oldest child", "Old child"}));
  EXPECT_TRUE(targets[0].former.empty());
  EXPECT_TRUE(targets[2].former.empty());
  EXPECT_EQ(targets[1].href, "child.md");
}

TEST(RelatedTargets, ExplicitThenMostTied) {
  FakeGenerator g;
  g._plans = {unit_page("me", {"src/me.c", "src/shared.c"}, {"me", "ghost", "y", "y"}),
              unit_page("w", {"src/w.c"}),
              unit_page("x", {"src/x.c", "src/shared.c"}),
              unit_page("y", {"src/y.c"}),
              unit_page("z", {"src/z.c"}),
              unit_page("v", {"src/v.c"})};
  // x holds a file of mine and I import it; w and z each import a file of mine; y is explicit.
  g.deps = {{"src/x.c", {"src/me.c"}}, {"src/me.c", {"src/w.c", "src/z.c", "src/y.c"}}, {"src/shared.c", {"src/me.c"}}};
  const std::vector<LinkTarget> targets = g._link_targets();
  EXPECT_EQ(ids(g._related_targets(g._plans[0], targets)), (Ids{"y", "x", "w", "z"}));
  EXPECT_EQ(g.deps_calls, 1);

  // Without source files only the explicit pages, and the graph is not asked.
  PagePlan bare = g._plans[0];
  bare.source_files.clear();
  EXPECT_EQ(ids(g._related_targets(bare, targets)), (Ids{"y"}));
  EXPECT_EQ(g.deps_calls, 1);
}

TEST(RelatedTargets, AtMostThreeFromTheGraphAfterExplicitOnes) {
  FakeGenerator g;
  g._plans = {unit_page("me", {"src/me.c"}, {"b"}), unit_page("a", {"src/a.c"}), unit_page("b", {"src/b.c"}),
              unit_page("c", {"src/c.c"}),          unit_page("d", {"src/d.c"}), unit_page("e", {"src/e.c", "src/d.c"})};
  g.deps = {{"src/me.c", {"src/e.c", "src/d.c", "src/c.c", "src/b.c", "src/a.c"}}, {"src/d.c", {"src/me.c"}}};
  // d is tied twice (src/d.c counts for d, its first claimant, not e); equal ties go by plan
  // position; b is explicit and not repeated; three pages come from the graph.
  EXPECT_EQ(ids(g._related_targets(g._plans[0], g._link_targets())), (Ids{"b", "d", "a", "c"}));
}

TEST(PageContract, Shape) {
  FakeGenerator g;
  g.built = {Diagram{.heading = "Dependencies", .mermaid = " flowchart LR\n  a --> b "}, Diagram{.heading = "Nowhere", .mermaid = "x"}};
  g._plans = {unit_page("a", {"src/a.c"}), unit_page("b", {})};
  const PageType& type = unit_type();
  const PageContract contract = g._page_contract(g._plans[0], "");
  ASSERT_TRUE(contract.is_object());
  EXPECT_EQ(contract.begin().key(), "page_type");
  EXPECT_EQ(contract["page_type"]["id"], type.id);
  EXPECT_EQ(contract["page_type"]["words"].dump(),
            "{\"min\":" + std::to_string(type.words[0]) + ",\"max\":" + std::to_string(type.words[1]) + "}");
  EXPECT_EQ(contract["diagrams"].size(), 2u);
  EXPECT_EQ(contract["diagrams"][0]["mermaid"], " flowchart LR\n  a --> b ");  // untrimmed
  EXPECT_TRUE(contract["diagrams"][1]["section"].is_null());
  EXPECT_EQ(contract["link_targets"].dump(), R"([{"page_id":"b","title":"Title of b","link":"b.md"}])");
  EXPECT_EQ(g.build_calls, 1);

  g.config.diagrams = false;
  const PageContract bare = g._page_contract(g._plans[0], "");
  EXPECT_TRUE(bare["diagrams"].empty());
  EXPECT_TRUE(bare["page_type"]["author_diagrams"].empty());
  EXPECT_EQ(g.build_calls, 1);
}

TEST(PageContract, AuthorDiagramsFollowTheSequenceSetting) {
  const PageType* with_sequence = nullptr;
  for (const PageType& type : page_types()) {
    if (type.section("sequence") != nullptr) with_sequence = &type;
  }
  ASSERT_NE(with_sequence, nullptr);
  FakeGenerator g;
  g._plans = {PagePlan{.page_id = "a", .title = "A", .importance = "high", .type_id = with_sequence->id}};
  EXPECT_FALSE(g._page_contract(g._plans[0], "")["page_type"]["author_diagrams"].empty());  // unset counts as true
  g.config.sequence_diagrams = false;
  EXPECT_TRUE(g._page_contract(g._plans[0], "")["page_type"]["author_diagrams"].empty());
  g.config.sequence_diagrams = true;
  const auto entry = g._page_contract(g._plans[0], "")["page_type"]["author_diagrams"][0];
  EXPECT_EQ(entry["mermaid"], "sequenceDiagram");
  EXPECT_EQ(entry["section"], with_sequence->section("sequence")->heading);
  std::vector<std::string> keys;
  for (auto it = entry.begin(); it != entry.end(); ++it) keys.push_back(it.key());
  EXPECT_EQ(keys, (Ids{"mermaid", "section", "required", "max_nodes"}));
}

TEST(PageContract, OutlineEntriesAndLookups) {
  const SectionSpec plain{.key = "k", .heading = "H", .intent = "I", .required = true};
  EXPECT_EQ(_outline_entry(plain).dump(), R"({"heading":"H","intent":"I","required":true})");
  SectionSpec table = plain;
  table.table_cols = {"Name", "Kind"};
  EXPECT_EQ(_outline_entry(table).dump(), R"({"heading":"H","intent":"I","table":["Name","Kind"],"required":true})");
  const PageType type{.sections = {plain}, .diagram_slots = {{"Architecture", "k"}, {"Data flow", "gone"}}};
  EXPECT_EQ(_heading_of(type, "k"), "H");
  EXPECT_EQ(_heading_of(type, "gone"), std::nullopt);
  EXPECT_EQ(_slot_heading(type, "Architecture"), "H");
  EXPECT_EQ(_slot_heading(type, "Data flow"), std::nullopt);
}

TEST(ReadingOrder, NavigationThenPlanOrder) {
  EXPECT_TRUE(reading_order({}).empty());
  std::vector<PagePlan> plans;
  for (const PageType& type : page_types()) {
    plans.push_back(PagePlan{.page_id = type.id + "-1", .type_id = type.id});
    plans.push_back(PagePlan{.page_id = type.id + "-2", .type_id = type.id});
  }
  std::reverse(plans.begin(), plans.end());
  const std::vector<PagePlan> ordered = reading_order(plans);
  ASSERT_EQ(ordered.size(), plans.size());
  for (std::size_t i = 1; i < ordered.size(); ++i) {
    const NavKey before = nav_key(plan_type(ordered[i - 1]));
    const NavKey after = nav_key(plan_type(ordered[i]));
    EXPECT_LE(before, after);
    if (ordered[i - 1].type_id == ordered[i].type_id) {
      EXPECT_TRUE(ordered[i - 1].page_id.ends_with("-2"));  // the reversed input's order is kept
    }
  }
  EXPECT_EQ(reading_order(ordered), ordered);
}

}  // namespace
}  // namespace vantorel::workers::wiki
