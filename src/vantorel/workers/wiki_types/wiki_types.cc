#include "vantorel/workers/wiki_types/wiki_types.h"

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"

namespace vantorel::workers {

namespace {

std::string comparable(std::string_view heading) { return text::fold_case(text::collapse_spaces(heading)); }

// The built-in catalogue, in navigation order: the front page (section 0), the code-unit types
// (1), the aspect types (2) and the catch-all page "Other code" (3), whose file table code writes.
// A required section never needs a fact, so every page can have it.
std::array<PageType, 7> build_catalogue() {
  const SectionSpec overview{.key = "purpose",
                             .heading = "Overview",
                             .aliases = {"Purpose", "About"},
                             .intent = "what this code is for and where it sits in the project",
                             .required = true};
  const SectionSpec sequence{.key = "sequence",
                             .heading = "Sequence diagram",
                             .aliases = {"Interactions", "Call sequence"},
                             .intent = "one important interaction, drawn as a Mermaid sequence diagram and explained"};
  const SectionSpec configuration{.key = "configuration",
                                  .heading = "Configuration",
                                  .aliases = {"Settings", "Options"},
                                  .intent = "the settings that change the behaviour described here, with defaults",
                                  .table_cols = {"Setting", "Default", "Effect"},
                                  .fact = "config"};
  const SectionSpec errors{.key = "errors",
                           .heading = "Errors",
                           .aliases = {"Error handling", "Failure modes"},
                           .intent = "what can go wrong, how it is reported and what the caller should do",
                           .fact = "errors"};
  const SectionSpec cli{.key = "cli",
                        .heading = "Command line",
                        .aliases = {"CLI", "Command-line interface"},
                        .intent = "the commands and options a user runs, with an example",
                        .table_cols = {"Option", "Argument", "Effect"},
                        .fact = "cli"};
  const SectionSpec api{.key = "api",
                        .heading = "Public interface",
                        .aliases = {"API", "Public API", "Interface"},
                        .intent = "the functions, types and constants other code uses",
                        .table_cols = {"Name", "Kind", "Purpose"},
                        .required = true};

  return {{
      {.id = "overview",
       .words = {300, 900},
       .nav_section = 0,
       .nav_order = 0,
       .sections = {{.key = "purpose",
                     .heading = "Overview",
                     .aliases = {"Purpose", "Introduction", "About"},
                     .intent = "what the project does, for whom, and the problem it solves",
                     .required = true},
                    {.key = "structure",
                     .heading = "Structure",
                     .aliases = {"Architecture", "Components", "Layout"},
                     .intent = "the main parts of the code base and how they fit together, each linked to its page",
                     .required = true},
                    {.key = "getting_started",
                     .heading = "Getting started",
                     .aliases = {"Quick start", "Installation"},
                     .intent = "how to build, install and first run the project"},
                    cli,
                    configuration,
                    {.key = "next",
                     .heading = "Where to read next",
                     .aliases = {"Next steps", "Further reading"},
                     .intent = "which pages to read first, by reader's goal"}},
       .diagram_slots = {{"Architecture", "structure"}, {"Dependencies", "structure"}}},
      {.id = "module",
       .words = {400, 1200},
       .unit = true,
       .nav_section = 1,
       .nav_order = 0,
       .sections = {overview,
                    api,
                    {.key = "internals",
                     .heading = "Internals",
                     .aliases = {"How it works", "Implementation", "Design"},
                     .intent = "how the module does its work: its main algorithms and data structures"},
                    {.key = "flow",
                     .heading = "Data flow",
                     .aliases = {"How data moves"},
                     .intent = "how data enters the module, is transformed and leaves it"},
                    sequence,
                    configuration,
                    errors,
                    {.key = "usage",
                     .heading = "Usage",
                     .aliases = {"Examples", "How to use"},
                     .intent = "a short, realistic example of calling the module"}},
       .diagram_slots = {{"Architecture", "internals"},
                         {"Dependencies", "internals"},
                         {"Class diagram", "api"},
                         {"Data flow", "flow"},
                         {"State diagram", "internals"},
                         {"Sequence diagram", "sequence"}}},
      {.id = "submodule",
       .words = {250, 800},
       .unit = true,
       .nav_section = 1,
       .nav_order = 1,
       .sections = {overview,
                    api,
                    {.key = "internals",
                     .heading = "Internals",
                     .aliases = {"How it works", "Implementation"},
                     .intent = "how this part does its work and how it serves the rest of its module"},
                    sequence,
                    errors},
       .diagram_slots = {{"Architecture", "internals"},
                         {"Dependencies", "internals"},
                         {"Class diagram", "api"},
                         {"Data flow", "internals"},
                         {"State diagram", "internals"},
                         {"Sequence diagram", "sequence"}}},
      {.id = "architecture",
       .words = {500, 1500},
       .nav_section = 2,
       .nav_order = 0,
       .sections = {{.key = "purpose",
                     .heading = "Overview",
                     .aliases = {"Purpose", "Scope"},
                     .intent = "which part of the system this page explains and why it is shaped as it is",
                     .required = true},
                    {.key = "components",
                     .heading = "Components",
                     .aliases = {"Building blocks", "Modules"},
                     .intent = "the components involved and what each is responsible for",
                     .table_cols = {"Component", "Responsibility"},
                     .required = true},
                    {.key = "flow",
                     .heading = "Data flow",
                     .aliases = {"How data moves", "Pipeline"},
                     .intent = "how data moves between the components, from input to output"},
                    sequence,
                    {.key = "decisions",
                     .heading = "Design decisions",
                     .aliases = {"Rationale", "Trade-offs"},
                     .intent = "the choices made, the alternatives and why they were not taken"},
                    configuration},
       .diagram_slots = {{"Architecture", "components"},
                         {"Dependencies", "components"},
                         {"Class diagram", "components"},
                         {"Data flow", "flow"},
                         {"State diagram", "components"},
                         {"Sequence diagram", "sequence"}}},
      {.id = "guide",
       .words = {400, 1500},
       .nav_section = 2,
       .nav_order = 1,
       .sections = {{.key = "purpose",
                     .heading = "Overview",
                     .aliases = {"Purpose", "Goal"},
                     .intent = "what the reader will be able to do after following this guide",
                     .required = true},
                    {.key = "prerequisites",
                     .heading = "Prerequisites",
                     .aliases = {"Before you start", "Requirements"},
                     .intent = "what must be installed, built or known first"},
                    {.key = "steps",
                     .heading = "Steps",
                     .aliases = {"Walkthrough", "How to"},
                     .intent = "the task as numbered steps, each with the code or command it needs",
                     .required = true},
                    cli,
                    configuration,
                    sequence,
                    {.key = "troubleshooting",
                     .heading = "Troubleshooting",
                     .aliases = {"Common problems", "Errors"},
                     .intent = "the errors a reader is likely to meet and how to fix them",
                     .table_cols = {"Symptom", "Cause", "Fix"},
                     .fact = "errors"}},
       .diagram_slots = {{"Data flow", "steps"}, {"State diagram", "steps"}, {"Sequence diagram", "sequence"}}},
      {.id = "reference",
       .words = {300, 2000},
       .nav_section = 2,
       .nav_order = 2,
       .sections = {{.key = "purpose",
                     .heading = "Overview",
                     .aliases = {"Purpose", "Scope"},
                     .intent = "what this reference covers and how its entries are ordered",
                     .required = true},
                    {.key = "api",
                     .heading = "API",
                     .aliases = {"Public interface", "Functions"},
                     .intent = "every public function and type with its signature and contract",
                     .table_cols = {"Name", "Kind", "Purpose"},
                     .fact = "api"},
                    {.key = "types",
                     .heading = "Types",
                     .aliases = {"Data types", "Records"},
                     .intent = "the records and enumerations, field by field",
                     .table_cols = {"Type", "Field", "Meaning"}},
                    cli,
                    configuration,
                    {.key = "errors",
                     .heading = "Errors",
                     .aliases = {"Error codes", "Exit codes"},
                     .intent = "every error or exit code, its cause and the remedy",
                     .table_cols = {"Error", "Cause", "Remedy"},
                     .fact = "errors"}},
       .diagram_slots = {{"Class diagram", "types"}, {"State diagram", "types"}}},
      {.id = "other",
       .words = {100, 500},
       .nav_section = 3,
       .nav_order = 0,
       .sections = {{.key = "purpose",
                     .heading = "Overview",
                     .aliases = {"Purpose", "About"},
                     .intent = "what the files on this page have in common, if anything, and which matter most",
                     .required = true},
                    {.key = "notes",
                     .heading = "Notes",
                     .aliases = {"Remarks", "Highlights"},
                     .intent = "anything about individual files a reader should know"}},
       .diagram_slots = {{"Dependencies", "notes"}}},
  }};
}

// Appends every name in `list` (separated by commas or white space) to `facts`.
void add_listed_facts(std::string_view list, GroundingFacts& facts) {
  std::size_t i = 0;
  while (i < list.size()) {
    std::size_t start = i;
    while (i < list.size() && list[i] != ',' && text::space_at(list, i) == 0) ++i;
    if (i > start) facts.emplace(list.substr(start, i - start));
    if (i < list.size()) i += list[i] == ',' ? 1 : text::space_at(list, i);
  }
}

}  // namespace

std::span<const PageType> page_types() {
  static const std::array<PageType, 7> catalogue = build_catalogue();
  return catalogue;
}

const PageType* find_page_type(std::string_view id) {
  for (const PageType& type : page_types()) {
    if (type.id == id) return &type;
  }
  return nullptr;
}

NavKey nav_key(const PageType& page_type) { return {page_type.nav_section, page_type.nav_order}; }

// Two forms, both case-sensitive: a line that starts with "facts:" lists names after the colon,
// separated by commas or white space ("facts: config, cli errors"); and a token "[fact:NAME]"
// anywhere in the text, NAME being letters, digits, "_", "-" and ".", names one fact. Nothing else
// in the text counts, so prose can mention facts freely.
GroundingFacts grounding_facts(std::string_view grounding) {
  static constexpr std::string_view LINE_KEY = "facts:";
  static const text::Pattern token(R"(\[fact:([A-Za-z0-9_.-]+)\])");
  GroundingFacts facts;
  for (std::string_view line : text::Lines(grounding)) {
    if (line.starts_with(LINE_KEY)) add_listed_facts(line.substr(LINE_KEY.size()), facts);
  }
  // Cheap test first: most groundings carry no token.
  if (grounding.find("[fact:") == std::string_view::npos) return facts;
  for (std::size_t at = 0; at < grounding.size();) {
    const text::Match m = token.search(grounding, at);
    if (!m) break;
    facts.emplace(m[1]);
    at = m.end();
  }
  return facts;
}

std::vector<SectionSpec> outline_for(const PageType& page_type, const GroundingFacts& facts) {
  std::vector<SectionSpec> outline;
  outline.reserve(page_type.sections.size());
  for (const SectionSpec& spec : page_type.sections) {
    if (spec.fact.empty() || facts.contains(spec.fact)) outline.push_back(spec);
  }
  return outline;
}

// Authors draw only sequence diagrams, one per page, in the type's "sequence" section; code builds
// every other kind, so any other selector yields nothing.
std::vector<DiagramSpec> diagrams_for(const PageType& page_type, std::string_view importance, std::string_view selector) {
  if (selector != AUTHORED || page_type.section("sequence") == nullptr) return {};
  const bool high = importance == "high";
  return {DiagramSpec{.kind = "sequence", .slot = "sequence", .required = high, .max_nodes = high ? 8 : 6}};
}

const SectionSpec* diagram_slot(const PageType& page_type, std::string_view heading) {
  const auto slot = page_type.diagram_slots.find(std::string(heading));
  if (slot == page_type.diagram_slots.end()) return nullptr;
  return page_type.section(slot->second);
}

bool heading_matches(const SectionSpec& spec, std::string_view written) {
  const std::string wanted = comparable(written);
  if (comparable(spec.heading) == wanted) return true;
  for (const std::string& alias : spec.aliases) {
    if (comparable(alias) == wanted) return true;
  }
  return false;
}

}  // namespace vantorel::workers
