// Page types: what kind of page a plan describes, which sections it offers and where the diagrams
// code builds go.
//
//   const PageType module{.id = "module", .words = {400, 1200}, .unit = true,
//                         .sections = {{.key = "api", .heading = "Public API"}}};
//   EXPECT_EQ(module.section("api")->heading, "Public API");
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::workers {

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

}  // namespace vantorel::workers
