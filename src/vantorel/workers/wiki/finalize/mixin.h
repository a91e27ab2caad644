// FinalizeMixin: the part of the wiki generator that finalizes one page of either flow (a model's
// completion, an agent's whole-page save, or cached prose) and describes a page to an agent.
//
//   WikiGenerator generator(...);  // derives from FinalizeMixin
//   const FinalizedPage page = generator._finalize(plan, text, diagrams, grounding, {.fill_citations = true});
//   write(plan.page_id + ".md", page.markdown);
//
// `_finalize` separates the authored part from anything code wrote before, scrubs and validates
// the citations, gathers what code writes around the body (link targets, related pages, reading
// order, source list, file table) and has `finalize_page` write the page. Nothing is kept between
// calls: every call reads the generator's plans and stored rows anew. Whatever a collaborator
// throws reaches the caller, and no partial result is returned.
#pragma once

#include <cstddef>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vantorel/workers/wiki/diagrams/diagrams.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/link_text/link_text.h"
#include "vantorel/workers/wiki/types/types.h"
#include "vantorel/workers/wiki/verify/citation.h"
#include "vantorel/workers/wiki/verify/verify_mixin.h"
#include "vantorel/workers/wiki_cluster/wiki_cluster.h"
#include "vantorel/workers/wiki_types/wiki_types.h"

namespace vantorel::workers::wiki {

// A finalized page and what its writers store with it.
struct FinalizedPage {
  std::string markdown{};                 // the page file
  Authored authored{};                    // the authored part, inline citations scrubbed; the build cache keeps its text()
  std::string summary{};                  // the summary under the H1: the author's, else the plan's description
  std::vector<Citation> own_citations{};  // the valid citations the prose itself makes
  std::vector<Citation> citations{};      // the citations stored with the page (seeds and fill included)
  std::vector<std::string> outline{};     // keys of the sections the page was offered

  bool operator==(const FinalizedPage&) const = default;
};

// The optional arguments of `_finalize`, given by name.
struct FinalizeOptions {
  std::vector<Citation> seeds{};  // citations the grounding vouches for, stored with the page's own
  bool fill_citations = false;    // top the stored citations up to the minimum with the page's files
};

// The page contract handed to an agent: {"page_type", "diagrams", "link_targets"}, keys in order.
using PageContract = nlohmann::ordered_json;

namespace detail {

// The most pages the dependency ranking adds after a plan's own related pages.
inline constexpr std::size_t RELATED_BY_GRAPH = 3;

}  // namespace detail

class FinalizeMixin : public DiagramMixin, public VerifyMixin {
 public:
  std::vector<PagePlan> _plans;                          // every page of the wiki's plan, in plan order
  std::unordered_map<std::string, StoredRow> _existing;  // rows stored for pages built before, by page id

  // Finalizes one page of either flow. `text` is what the author wrote; `diagrams` the diagrams
  // code places; `grounding` the page's grounding text, whose outline is stored with the page.
  FinalizedPage _finalize(const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams, std::string_view grounding,
                          const FinalizeOptions& options = {}) const;

  // The file table of the catch-all page; nothing for any other page.
  std::vector<std::string> _catch_all_index(const PagePlan& plan) const;

  // What an agent is told about the page it writes: its type, word budget, outline, rules and
  // author-drawn diagrams; the diagrams code places, each with its section; the pages it can link
  // to. Fails when the page type's word budget does not hold exactly two values.
  PageContract _page_contract(const PagePlan& plan, std::string_view grounding) const;

  // Every page of the plan as a link target, in plan order; the files of a code-unit page without
  // children link to it too, and a page's former titles come from its stored row.
  std::vector<LinkTarget> _link_targets() const;

  // The plan's related pages that exist (first occurrences, the page itself left out), then up to
  // RELATED_BY_GRAPH unit pages most tied to the page's files, by holding them or through the
  // file dependency graph in either direction.
  std::vector<LinkTarget> _related_targets(const PagePlan& plan, std::span<const LinkTarget> targets) const;

  // The generator's configuration.
  virtual const WikiConfig& wiki_config() const = 0;

 protected:
  // The facts of repository files for the catch-all page's table (`file_facts` over the
  // generator's repository).
  virtual std::vector<FileFacts> _file_facts(const std::set<std::string, std::less<>>& paths) const;
};

// One outline entry of the contract: {"heading", "intent", "table" (only with columns), "required"}.
nlohmann::ordered_json _outline_entry(const SectionSpec& section);

// The heading of the page type's section with `key`, or nullopt.
std::optional<std::string> _heading_of(const PageType& page_type, std::string_view key);

// The heading of the section in which the page type places the diagram with `diagram_heading`,
// or nullopt.
std::optional<std::string> _slot_heading(const PageType& page_type, std::string_view diagram_heading);

}  // namespace vantorel::workers::wiki
