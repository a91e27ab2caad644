#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "vantorel/workers/wiki/page_rules/page_rules.h"
#include "vantorel/workers/wiki/types/types.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {
namespace {

// Headings code writes into a page, or drops as an older writer's sections.
constexpr std::string_view CODE_HEADINGS[] = {"Files", "Related pages", "Related", "Sources"};

bool is_diagram_heading(std::string_view heading) {
  return std::any_of(DIAGRAM_HEADINGS.begin(), DIAGRAM_HEADINGS.end(), [&](const auto& entry) { return entry.second == heading; });
}

std::vector<std::string> keys_of(const std::vector<SectionSpec>& sections) {
  std::vector<std::string> keys;
  for (const SectionSpec& s : sections) keys.push_back(s.key);
  return keys;
}

// The rule containing `needle`, or nullptr.
const std::string* rule_with(const std::vector<std::string>& rules, std::string_view needle) {
  for (const std::string& rule : rules) {
    if (rule.find(needle) != std::string::npos) return &rule;
  }
  return nullptr;
}

// A type small enough to see every rule it yields.
PageType sample_type() {
  return PageType{.id = "sample",
                  .words = {123, 456},
                  .sections = {{.key = "purpose", .heading = "Intro", .required = true},
                               {.key = "design", .heading = "Design"},
                               {.key = "knobs", .heading = "Knobs", .table_cols = {"Knob", "Default"}, .fact = "config"},
                               {.key = "calls", .heading = "Calls", .table_cols = {"Name", "Kind", "Purpose"}, .required = true},
                               {.key = "sequence", .heading = "Sequence diagram"}},
                  .diagram_slots = {{"Sequence diagram", "sequence"}}};
}

TEST(PageTypesCatalogue, IdsAreUniqueAndFound) {
  std::set<std::string> ids;
  for (const PageType& type : page_types()) {
    EXPECT_FALSE(type.id.empty());
    EXPECT_TRUE(ids.insert(type.id).second) << "id used twice: " << type.id;
    EXPECT_EQ(find_page_type(type.id), &type) << type.id;
  }
  for (std::string_view id : {"overview", "module", "submodule", "architecture", "guide", "reference", "other"}) {
    EXPECT_TRUE(ids.contains(std::string(id))) << id;
  }
  for (std::string_view id : {"", "Module", "module ", "widget"}) EXPECT_EQ(find_page_type(id), nullptr) << id;
  EXPECT_EQ(page_types().data(), page_types().data()) << "built once";
}

TEST(PageTypesCatalogue, BudgetsAndSectionsAreWellFormed) {
  for (const PageType& type : page_types()) {
    ASSERT_EQ(type.words.size(), 2u) << type.id;
    EXPECT_GT(type.words[0], 0) << type.id;
    EXPECT_LE(type.words[0], type.words[1]) << type.id;
    std::set<std::string> keys;
    bool any_required = false;
    for (const SectionSpec& s : type.sections) {
      SCOPED_TRACE(type.id + "/" + s.key);
      EXPECT_FALSE(s.key.empty());
      EXPECT_TRUE(keys.insert(s.key).second) << "key used twice";
      EXPECT_FALSE(s.heading.empty());
      EXPECT_FALSE(s.intent.empty());
      any_required = any_required || s.required;
      // A required section must be offered to every page, whatever its grounding.
      if (s.required) {
        EXPECT_TRUE(s.fact.empty());
      }
      if (!s.table_cols.empty()) {
        EXPECT_GE(s.table_cols.size(), 2u);
        EXPECT_EQ(std::set<std::string>(s.table_cols.begin(), s.table_cols.end()).size(), s.table_cols.size());
      }
    }
    EXPECT_TRUE(any_required) << type.id;
  }
}

TEST(PageTypesCatalogue, HeadingsDenoteOneSectionOnly) {
  for (const PageType& type : page_types()) {
    for (const SectionSpec& s : type.sections) {
      std::vector<std::string> names = s.aliases;
      names.push_back(s.heading);
      for (const std::string& name : names) {
        EXPECT_TRUE(heading_matches(s, name));
        for (const SectionSpec& other : type.sections) {
          if (&other != &s) {
            EXPECT_FALSE(heading_matches(other, name)) << type.id << ": \"" << name << "\" also denotes " << other.key;
          }
        }
        for (std::string_view code : CODE_HEADINGS) EXPECT_FALSE(heading_matches(s, code)) << type.id << "/" << s.key;
      }
    }
  }
}

TEST(PageTypesCatalogue, DiagramSlotsNameKnownHeadingsAndSections) {
  for (const PageType& type : page_types()) {
    for (const auto& [heading, key] : type.diagram_slots) {
      SCOPED_TRACE(type.id + ": " + heading);
      EXPECT_TRUE(is_diagram_heading(heading));
      ASSERT_NE(type.section(key), nullptr) << key;
      EXPECT_EQ(diagram_slot(type, heading), type.section(key));
    }
  }
}

TEST(PageTypesCatalogue, SequenceSectionTakesTheSequenceDiagram) {
  int with_sequence = 0;
  for (const PageType& type : page_types()) {
    const SectionSpec* sequence = type.section("sequence");
    if (sequence == nullptr) continue;
    ++with_sequence;
    EXPECT_EQ(diagram_slot(type, "Sequence diagram"), sequence) << type.id;
    EXPECT_TRUE(sequence->fact.empty()) << type.id;
  }
  for (const PageType& type : page_types()) {
    EXPECT_EQ(diagrams_for(type, "high", AUTHORED).empty(), type.section("sequence") == nullptr) << type.id;
  }
  for (std::string_view id : {"module", "submodule", "architecture"}) EXPECT_NE(find_page_type(id)->section("sequence"), nullptr) << id;
  EXPECT_GT(with_sequence, 0);
}

TEST(PageTypesNav, OverviewUnitsAspectsThenOther) {
  const auto types = page_types();
  ASSERT_GE(types.size(), 4u);
  EXPECT_EQ(types.front().id, "overview");
  EXPECT_EQ(types.back().id, "other");
  // 0 front page, 1 unit types, 2 aspect types, 3 catch-all.
  auto role = [](const PageType& t) { return t.id == "overview" ? 0 : t.unit ? 1 : t.id == "other" ? 3 : 2; };
  for (std::size_t i = 1; i < types.size(); ++i) {
    EXPECT_LT(nav_key(types[i - 1]), nav_key(types[i])) << types[i - 1].id << " before " << types[i].id;
    EXPECT_LE(role(types[i - 1]), role(types[i])) << types[i - 1].id << " before " << types[i].id;
    EXPECT_EQ(role(types[i - 1]) == role(types[i]), types[i - 1].nav_section == types[i].nav_section) << types[i].id;
  }
  EXPECT_TRUE(find_page_type("module")->unit && find_page_type("submodule")->unit);
  EXPECT_EQ(nav_key(PageType{.nav_section = 2, .nav_order = 5}), NavKey(2, 5));
  EXPECT_LT(nav_key(PageType{.nav_section = 1, .nav_order = 9}), nav_key(PageType{.nav_section = 2, .nav_order = 0}));
}

TEST(GroundingFacts, Forms) {
  struct Case {
    std::string grounding;
    GroundingFacts facts;
  } cases[] = {
      {"", {}},
      {"facts: config, cli errors", {"config", "cli", "errors"}},
      {"facts:config", {"config"}},
      {"facts: a,,b ,  c\t d,", {"a", "b", "c", "d"}},
      {"facts: a\r\nfacts: b\r\n", {"a", "b"}},
      {"facts: a\u00a0b\u3000c", {"a", "b", "c"}},  // any white space separates
      {"facts: caf\xff", {"caf\xff"}},              // an invalid byte is part of a name
      {"facts: a a\n[fact:a]", {"a"}},
      {"facts:", {}},
      {"facts:  , ", {}},
      {" facts: a", {}},  // not at the line's start
      {"Facts: a", {}},
      {"the facts: a", {}},
      {"fact: a", {}},
      {"prose\nfacts: a\nmore prose", {"a"}},
      {"Uses [fact:api] and [fact:cli].", {"api", "cli"}},
      {"[fact:x.y-z_1]", {"x.y-z_1"}},
      {"[fact:[fact:a]]", {"a"}},
      {"[fact:] [fact: x] [fact:a b] [Fact:y] [fact:z", {}},
      {"facts: a\n[fact:b] facts: c", {"a", "b"}},
  };
  for (const Case& c : cases) EXPECT_EQ(grounding_facts(c.grounding), c.facts) << "[" << c.grounding << "]";
}

TEST(OutlineFor, KeepsSectionsWhoseFactIsPresent) {
  const PageType type{.sections = {{.key = "a", .heading = "A"},
                                   {.key = "b", .heading = "B", .fact = "x"},
                                   {.key = "c", .heading = "C", .fact = "y"},
                                   {.key = "d", .heading = "D"}}};
  struct Case {
    GroundingFacts facts;
    std::vector<std::string> keys;
  } cases[] = {
      {{}, {"a", "d"}},         {{"x"}, {"a", "b", "d"}}, {{"y"}, {"a", "c", "d"}}, {{"x", "y", "z"}, {"a", "b", "c", "d"}},
      {{"X", "Y"}, {"a", "d"}},  // fact names are case-sensitive
  };
  for (const Case& c : cases) EXPECT_EQ(keys_of(outline_for(type, c.facts)), c.keys) << c.facts.size();
  EXPECT_EQ(outline_for(type, {"x"})[1], type.sections[1]);
  EXPECT_TRUE(outline_for(PageType{}, {"x"}).empty());
}

TEST(OutlineFor, CatalogueTypesWithoutAndWithAllFacts) {
  for (const PageType& type : page_types()) {
    GroundingFacts all;
    for (const SectionSpec& s : type.sections) {
      if (!s.fact.empty()) all.insert(s.fact);
    }
    EXPECT_EQ(outline_for(type, all), type.sections) << type.id;
    const std::vector<SectionSpec> bare = outline_for(type, {});
    for (const SectionSpec& s : bare) EXPECT_TRUE(s.fact.empty()) << type.id << "/" << s.key;
    for (const SectionSpec& s : type.sections) {
      if (s.required) {
        EXPECT_NE(std::find(bare.begin(), bare.end(), s), bare.end()) << type.id << "/" << s.key;
      }
    }
  }
}

TEST(DiagramsFor, AuthoredSequenceByImportance) {
  const PageType with{.sections = {{.key = "purpose", .heading = "Overview"}, {.key = "sequence", .heading = "Sequence diagram"}}};
  const PageType without{.sections = {{.key = "purpose", .heading = "Overview"}}};
  struct Case {
    std::string importance;
    bool required;
    int max_nodes;
  } cases[] = {{"high", true, 8}, {"medium", false, 6}, {"low", false, 6}, {"", false, 6}, {"High", false, 6}};
  for (const Case& c : cases) {
    const std::vector<DiagramSpec> specs = diagrams_for(with, c.importance, AUTHORED);
    ASSERT_EQ(specs.size(), 1u) << c.importance;
    EXPECT_EQ(specs[0], (DiagramSpec{.kind = "sequence", .slot = "sequence", .required = c.required, .max_nodes = c.max_nodes}))
        << c.importance;
    EXPECT_TRUE(diagrams_for(without, c.importance, AUTHORED).empty()) << c.importance;
  }
  for (std::string_view selector : {"", "code", "Authored", "architecture"})
    EXPECT_TRUE(diagrams_for(with, "high", selector).empty()) << selector;
}

TEST(PlanType, CatalogueTypeOrThrowNamingTheId) {
  for (const PageType& type : page_types()) EXPECT_EQ(&plan_type(PagePlan{.page_id = "p", .type_id = type.id}), &type) << type.id;
  for (std::string id : {"widget", "", "Module"}) {
    try {
      plan_type(PagePlan{.page_id = "cli", .type_id = id});
      ADD_FAILURE() << "no exception for '" << id << "'";
    } catch (const std::out_of_range& e) {
      EXPECT_NE(std::string(e.what()).find("'" + id + "'"), std::string::npos) << e.what();
      EXPECT_NE(std::string(e.what()).find("cli"), std::string::npos) << e.what();
    }
  }
}

TEST(SessionRules, SampleTypeWithFiles) {
  const std::vector<std::string> files = {"src/a.c", ".\\src\\b.c", "src//a.c", " "};
  const std::vector<std::string> rules = session_rules(sample_type(), files);
  EXPECT_EQ(rules.front(), "Write between 123 and 456 words.");

  const std::string* required = rule_with(rules, "\"Intro\"");
  ASSERT_NE(required, nullptr);
  EXPECT_NE(required->find("\"Calls\""), std::string::npos);
  EXPECT_EQ(required->find("\"Design\""), std::string::npos);
  EXPECT_NE(rule_with(rules, "\"Design\""), nullptr);
  EXPECT_EQ(rule_with(rules, "Knobs"), nullptr) << "a section that needs a fact is not promised";

  const std::string* table = rule_with(rules, "Under \"Calls\"");
  ASSERT_NE(table, nullptr);
  EXPECT_NE(table->find("Name, Kind and Purpose"), std::string::npos) << *table;

  EXPECT_NE(rule_with(rules, "[path](../path#L10-L20)"), nullptr);
  EXPECT_NE(rule_with(rules, "<!-- wiki:"), nullptr);
  const std::string* diagrams = rule_with(rules, "sequenceDiagram");
  ASSERT_NE(diagrams, nullptr);
  EXPECT_NE(diagrams->find("\"Sequence diagram\""), std::string::npos);

  EXPECT_EQ(rules.back(), "This page covers these source files: src/a.c, src/b.c.");
}

TEST(SessionRules, NamesAtMostTwentyFiles) {
  struct Case {
    int files;
    int duplicates;
    std::string tail;
  } cases[] = {{1, 0, "f00."}, {20, 0, "f19."}, {20, 3, "f19."}, {21, 0, "f19, and 1 more."}, {25, 2, "f19, and 5 more."}};
  for (const Case& c : cases) {
    std::vector<std::string> files;
    for (int i = 0; i < c.files; ++i) files.push_back((i < 10 ? "f0" : "f") + std::to_string(i));
    for (int i = 0; i < c.duplicates; ++i) files.push_back("./" + files[static_cast<std::size_t>(i)]);
    const std::string& rule = session_rules(sample_type(), files).back();
    EXPECT_TRUE(rule.ends_with(c.tail)) << rule;
    EXPECT_EQ(rule.find(c.files > 20 ? "f20" : "more"), std::string::npos) << rule;
    EXPECT_EQ(std::count(rule.begin(), rule.end(), ','), std::min(c.files, 20) - 1 + (c.files > 20 ? 1 : 0)) << rule;
  }
}

TEST(SessionRules, CatalogueRulesArePlainSentences) {
  const std::vector<std::string> files = {"src/main.c", "include/api.h"};
  for (const PageType& type : page_types()) {
    // Paths that normalize to nothing are no files.
    EXPECT_EQ(session_rules(type, std::vector<std::string>{"", " ", "./"}), session_rules(type, {})) << type.id;
    for (const std::vector<std::string>& given : {std::vector<std::string>{}, files}) {
      const std::vector<std::string> rules = session_rules(type, given);
      EXPECT_EQ(rules, session_rules(type, given)) << type.id;
      for (const std::string& rule : rules) {
        ASSERT_FALSE(rule.empty()) << type.id;
        EXPECT_TRUE(rule.ends_with('.')) << type.id << ": " << rule;
        EXPECT_EQ(rule.find('\n'), std::string::npos) << type.id << ": " << rule;
      }
      for (const SectionSpec& s : type.sections) {
        if (s.required) {
          EXPECT_NE(rule_with(rules, "\"" + s.heading + "\""), nullptr) << type.id << "/" << s.key;
        }
      }
      EXPECT_EQ(rule_with(rules, "sequenceDiagram") != nullptr, type.section("sequence") != nullptr) << type.id;
      EXPECT_EQ(rule_with(rules, "include/api.h") != nullptr, !given.empty()) << type.id;
      EXPECT_EQ(rule_with(rules, "Draw no diagrams") == nullptr, type.section("sequence") != nullptr) << type.id;
    }
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
