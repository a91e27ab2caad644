// Page types: what kind of page a plan describes, which sections it offers and where the diagrams
// code builds go.
//
//   const PageType module{.id = "module", .words = {400, 1200}, .unit = true,
//                         .sections = {{.key = "api", .heading = "Public API"}}};
//   EXPECT_EQ(module.section("api")->heading, "Public API");
#pragma once

#include <array>
#include <functional>
#include <map>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel::workers {

// Diagram kind -> the heading of the section a diagram of that kind is written under. Code builds
// every kind but "sequence", which authors draw.
inline constexpr std::array<std::pair<std::string_view, std::string_view>, 6> DIAGRAM_HEADINGS = {{
    {"architecture", "Architecture"},
    {"dependencies", "Dependencies"},
    {"class", "Class diagram"},
    {"sequence", "Sequence diagram"},
    {"flow", "Data flow"},
    {"state", "State diagram"},
}};

// One section a page type offers.
struct SectionSpec {
  std::string key{};                      // stable key, unique within the type
  std::string heading{};                  // the level-2 heading the section is written under
  std::vector<std::string> aliases{};     // other headings that denote the same section
  std::string intent{};                   // what the section should say, for the author
  std::vector<std::string> table_cols{};  // columns of the table the section holds; empty for none
  bool required = false;                  // whether every page of the type must have the section
  std::string fact{};                     // grounding fact the section needs; empty when it needs none

  bool operator==(const SectionSpec&) const = default;
};

// The type of a page.
struct PageType {
  std::string id{};                                    // catalogue id, copied into the page contract
  std::vector<int> words{};                            // word budget (minimum, maximum): exactly two values
  bool unit = false;                                   // true for code-unit types (a module, or a part of one)
  int nav_section = 0;                                 // navigation section, ordered
  int nav_order = 0;                                   // order among the types of one navigation section
  std::vector<SectionSpec> sections{};                 // the sections the type offers, in display order
  std::map<std::string, std::string> diagram_slots{};  // diagram heading -> key of the section holding it

  // The section with `key`, or nullptr when the type has none. Points into `sections`.
  const SectionSpec* section(std::string_view key) const noexcept {
    for (const SectionSpec& s : sections) {
      if (s.key == key) return &s;
    }
    return nullptr;
  }

  bool operator==(const PageType&) const = default;
};

// A diagram the author of a page draws: its kind (a key of DIAGRAM_MERMAID) and the section of
// the page type it goes in.
struct DiagramSpec {
  std::string kind{};     // "sequence": authors draw only sequence diagrams
  std::string slot{};     // key of the page type's section that holds it
  bool required = false;  // whether the page must have it
  int max_nodes = 0;      // the most participants/nodes it should show

  bool operator==(const DiagramSpec&) const = default;
};

// The facts a page's grounding carries; a section that needs a fact is offered only with it.
using GroundingFacts = std::set<std::string, std::less<>>;

// A page type's place in the navigation: (navigation section, order among the types).
using NavKey = std::pair<int, int>;

// Diagram kind -> the Mermaid keyword a diagram of that kind starts with, and a one-line
// description of what it should show.
struct DiagramMermaid {
  std::string_view kind;
  std::string_view keyword;
  std::string_view description;
};
inline constexpr std::array<DiagramMermaid, 6> DIAGRAM_MERMAID = {{
    {"architecture", "flowchart TD", "the main components of the code and how they connect"},
    {"dependencies", "flowchart LR", "which files depend on which"},
    {"class", "classDiagram", "the principal types, their members and their relations"},
    {"sequence", "sequenceDiagram", "the calls of one important interaction, in order"},
    {"flow", "flowchart LR", "how data moves from input to output"},
    {"state", "stateDiagram-v2", "the states of one object and the events that move it between them"},
}};

// The selector of author-drawn diagrams in the diagram catalogue.
inline constexpr std::string_view AUTHORED = "authored";

// The built-in catalogue of page types, in navigation order.
std::span<const PageType> page_types();

// The catalogue's type with `id`, or nullptr.
const PageType* find_page_type(std::string_view id);

// The type's navigation position; compares by navigation section, then by order among the types.
NavKey nav_key(const PageType& page_type);

// The facts `grounding` carries. Two forms count, both case-sensitive: a line starting with
// "facts:" lists names after the colon, separated by commas or white space; and a token
// "[fact:NAME]" anywhere names one fact (NAME: ASCII letters, digits, "_", "-", ".").
//
//   EXPECT_EQ(grounding_facts("facts: config, cli\nSee [fact:errors]."),
//             (GroundingFacts{"cli", "config", "errors"}));
GroundingFacts grounding_facts(std::string_view grounding);

// The sections `page_type` offers a page whose grounding carries `facts`, in display order: those
// that need no fact, and those whose fact is among `facts`.
std::vector<SectionSpec> outline_for(const PageType& page_type, const GroundingFacts& facts);

// The diagrams of `page_type` drawn by `selector` (AUTHORED: the author) for a page of
// `importance`, in order.
std::vector<DiagramSpec> diagrams_for(const PageType& page_type, std::string_view importance, std::string_view selector);

// The section of `page_type` in which a diagram with `heading` is placed: the type's section whose
// key its diagram-slot table gives for that heading, or nullptr when the table has no entry or
// names a key the type lacks. Points into `page_type`.
const SectionSpec* diagram_slot(const PageType& page_type, std::string_view heading);

// Whether a level-2 heading as written in a page denotes the section `spec`: `written`, trimmed
// and with each run of white space made one blank, equals the section's heading or one of its
// aliases (normalized the same way), compared under Unicode simple case folding.
bool heading_matches(const SectionSpec& spec, std::string_view written);

}  // namespace vantorel::workers
