// The diagrams code builds for a page from the repository's file dependency graph.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "vantorel/workers/wiki/types/types.h"

namespace vantorel::workers::wiki {

// Repository path -> the paths that depend on it (import it), every path in `_norm` form.
using DependentsMap = std::map<std::string, std::vector<std::string>, std::less<>>;

class DiagramMixin {
 public:
  // The most edges one flowchart draws.
  static constexpr std::size_t MAX_DIAGRAM_EDGES = 30;

  virtual ~DiagramMixin() = default;

  // The diagrams code builds for `plan`: one "Dependencies" flowchart, or none when it has no
  // edges. Deterministic: the same plan and graph give the same text.
  //
  // The page's files are `_norm` of `plan.source_files`. The flowchart has an edge "a --> b" for
  // each dependency "a depends on b" of the graph (a listed among b's dependents) where a or b is
  // a page file and a differs from b, counted once. Edges are sorted by (a, b) and the first
  // MAX_DIAGRAM_EDGES drawn, followed by "%% N more edges not shown" when N were left out. Nodes
  // are declared first, named n0, n1, ... in the order the drawn edges first name them, each with
  // its path as a quoted label in which `"`, "#", "<", ">", "`", "\r" and "\n" are written as the
  // Mermaid entities "#quot;", "#35;", "#lt;", "#gt;", "#96;", "#13;" and "#10;":
  //
  //   flowchart LR
  //     n0["src/cli.c"]
  //     n1["src/parse.h"]
  //     n0 --> n1
  //
  // Every line after the keyword line is indented by two blanks, so no line starts with a fence or
  // reads as a generated-block marker.
  virtual std::vector<Diagram> _build_diagrams(const PagePlan& plan) const;

  // The file dependency graph, as path -> dependents.
  virtual const DependentsMap& _file_dependents_map() const = 0;
};

namespace detail {

// A dependency "a depends on b" as (a, b).
using DependencyEdge = std::pair<std::string_view, std::string_view>;

// The "Dependencies" flowchart `_build_diagrams` draws from the edges that touch a page's files
// (any order, repeats allowed, none empty or from a file to itself); none without edges. Lets a
// generator that indexes its graph both ways find those edges without reading the whole graph.
std::vector<Diagram> dependencies_diagram(std::vector<DependencyEdge> edges);

}  // namespace detail

}  // namespace vantorel::workers::wiki
