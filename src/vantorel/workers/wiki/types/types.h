// The plan of one wiki page, as the generator's planner writes it, and the diagrams code builds
// for a page.
//
//   const PagePlan plan{.page_id = "cli", .title = "Command line", .source_files = {"src/cli.c"}};
//   const Diagram graph{.heading = "Dependencies", .mermaid = "flowchart LR\n  a --> b"};
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

struct PagePlan {
  std::string page_id{};                     // unique per page; the page file is page_id + ".md"
  std::string title{};                       // the page's current title
  std::string description{};                 // the plan's one-sentence description of the page
  std::vector<std::string> source_files{};   // repository paths as the plan lists them (not normalized)
  bool catch_all = false;                    // true only for the catch-all page ("Other code")
  std::vector<std::string> children{};       // page ids of the sub-pages; empty when there are none
  std::vector<std::string> related_pages{};  // page ids the plan names as related
  std::string importance{};                  // opaque to the finalize step; handed to the diagram catalogue
  std::string type_id{};                     // id of the page's type in the page-type catalogue

  bool operator==(const PagePlan&) const = default;
};

// A diagram code builds for a page.
struct Diagram {
  std::string heading{};  // the diagram's heading, without "#" marks
  std::string mermaid{};  // the Mermaid source, without its fence lines

  bool operator==(const Diagram&) const = default;
};

// The generator's configuration, as far as the finalize step reads it.
struct WikiConfig {
  bool diagrams = true;                     // code builds diagrams, and authors draw theirs
  std::optional<bool> sequence_diagrams{};  // authors draw sequence diagrams; unset counts as true

  bool operator==(const WikiConfig&) const = default;
};

// The page type of `plan`: the catalogue's type with the plan's `type_id`. Throws
// std::out_of_range naming the id when the catalogue has no such type.
const PageType& plan_type(const PagePlan& plan);

}  // namespace vantorel::workers::wiki
