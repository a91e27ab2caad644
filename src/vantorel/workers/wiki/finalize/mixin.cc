#include "vantorel/workers/wiki/finalize/mixin.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <unordered_set>

#include "vantorel/workers/report_generator/report_generator.h"
#include "vantorel/workers/wiki/finalize/page.h"
#include "vantorel/workers/wiki/finalize/reading_order.h"
#include "vantorel/workers/wiki/finalize/sources.h"
#include "vantorel/workers/wiki/finalize/steps.h"
#include "vantorel/workers/wiki/page_rules/page_rules.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

namespace vantorel::workers::wiki {

namespace {

std::string repo_link(std::string_view path) { return _repo_rel_link(path); }

// The title a stored row still shows: its "title" entry, or nullopt when there is none.
std::optional<std::string> shown_title(const StoredRow* row) {
  if (row == nullptr || !row->is_object()) return std::nullopt;
  const auto title = row->find("title");
  if (title == row->end() || title->is_null()) return std::nullopt;
  return title->is_string() ? title->get<std::string>() : title->dump();
}

nlohmann::ordered_json optional_json(const std::optional<std::string>& value) {
  return value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json(nullptr);
}

}  // namespace

std::vector<FileFacts> FinalizeMixin::_file_facts(const std::set<std::string, std::less<>>& paths) const {
  return file_facts(repository(), paths);
}

namespace detail {

void add_most_tied(std::vector<LinkTarget>& related, const std::unordered_map<std::string_view, std::size_t>& ties,
                   const std::unordered_set<std::string_view>& shown, std::span<const LinkTarget> targets,
                   const std::unordered_map<std::string_view, std::size_t>& last) {
  std::vector<std::pair<std::string_view, std::size_t>> ranked(ties.begin(), ties.end());
  std::sort(ranked.begin(), ranked.end(), [&](const auto& a, const auto& b) {
    if (a.second != b.second) return a.second > b.second;
    return last.at(a.first) < last.at(b.first);
  });
  std::size_t added = 0;
  for (const auto& [id, count] : ranked) {
    if (added == RELATED_BY_GRAPH) break;
    if (shown.contains(id)) continue;
    related.push_back(targets[last.at(id)]);
    ++added;
  }
}

AuthoredPart authored_part(const FinalizeMixin& generator, const PagePlan& plan, std::string_view text, const FinalizeOptions& options) {
  AuthoredPart part{.authored = split_authored(lf(text), plan.description)};
  part.authored.body = generator._scrub_inline_citations(part.authored.body);
  part.own = generator._validate_citations(part.authored.body, {});
  part.citations = options.seeds.empty() ? part.own : generator._validate_citations(part.authored.body, options.seeds);
  if (options.fill_citations) part.citations = generator._ensure_min_citations(std::move(part.citations), plan.source_files);
  return part;
}

PageFrame page_frame(const PagePlan& plan, const PageType& page_type, const AuthoredPart& part, std::span<const Diagram> diagrams) {
  std::vector<std::string> plan_files;
  plan_files.reserve(plan.source_files.size());
  for (const std::string& path : plan.source_files) plan_files.push_back(_norm(path));
  const std::string& summary = part.authored.summary;
  return PageFrame{.page_id = plan.page_id,
                   .title = plan.title,
                   .summary = summary.empty() ? plan.description : summary,
                   .page_type = page_type,
                   .summary_from_plan = summary.empty(),
                   .sources = source_list(part.own, plan_files),
                   .diagrams = std::vector<Diagram>(diagrams.begin(), diagrams.end())};
}

FinalizedPage finished_page(AuthoredPart part, const PageFrame& frame, const LinkIndex& links, std::string_view grounding) {
  std::vector<std::string> outline;
  for (const SectionSpec& section : outline_for(frame.page_type, grounding_facts(grounding))) outline.push_back(section.key);
  std::string markdown = detail::finalize_page(part.authored, frame, links, repo_link);
  return FinalizedPage{.markdown = std::move(markdown),
                       .authored = std::move(part.authored),
                       .summary = frame.summary,
                       .own_citations = std::move(part.own),
                       .citations = std::move(part.citations),
                       .outline = std::move(outline)};
}

}  // namespace detail

FinalizedPage FinalizeMixin::_finalize(const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams,
                                       std::string_view grounding, const FinalizeOptions& options) const {
  const PageType& page_type = plan_type(plan);
  detail::AuthoredPart part = detail::authored_part(*this, plan, text, options);

  std::vector<LinkTarget> targets = _link_targets();
  std::unordered_map<std::string_view, const LinkTarget*> by_id;
  by_id.reserve(targets.size());
  for (const LinkTarget& target : targets) by_id[target.page_id] = &target;

  std::vector<std::string_view> order;
  order.reserve(_plans.size());
  for (std::size_t i : detail::reading_positions(_plans)) {
    if (by_id.contains(_plans[i].page_id)) order.push_back(_plans[i].page_id);
  }
  const auto found = std::find(order.begin(), order.end(), plan.page_id);
  const std::ptrdiff_t position = found == order.end() ? -1 : found - order.begin();

  PageFrame frame = detail::page_frame(plan, page_type, part, diagrams);
  frame.related = _related_targets(plan, targets);
  if (position > 0) frame.previous = *by_id.at(order[static_cast<std::size_t>(position - 1)]);
  if (position >= 0 && static_cast<std::size_t>(position) + 1 < order.size())
    frame.next = *by_id.at(order[static_cast<std::size_t>(position + 1)]);
  frame.index = _catch_all_index(plan);
  // Moving keeps the targets where `by_id` points; it is not used past this point.
  frame.links = std::move(targets);
  return detail::finished_page(std::move(part), frame, detail::recent_index(frame.links), grounding);
}

std::vector<std::string> FinalizeMixin::_catch_all_index(const PagePlan& plan) const {
  if (!plan.catch_all) return {};
  std::set<std::string, std::less<>> paths;
  for (const std::string& path : plan.source_files) paths.insert(_norm(path));
  return other_code_index(_file_facts(paths), repo_link);
}

std::vector<LinkTarget> FinalizeMixin::_link_targets() const {
  std::vector<LinkTarget> targets;
  targets.reserve(_plans.size());
  for (const PagePlan& plan : _plans) {
    const bool unit = plan_type(plan).unit && plan.children.empty();
    std::vector<std::string> files;
    if (unit) {
      files.reserve(plan.source_files.size());
      for (const std::string& path : plan.source_files) files.push_back(_norm(path));
    }
    const auto stored = _existing.find(plan.page_id);
    const StoredRow* row = stored == _existing.end() ? nullptr : &stored->second;
    const std::optional<std::string> shown[] = {shown_title(row)};
    targets.emplace_back(plan.page_id, plan.title, std::move(files), renamed(former_titles(row), shown, plan.title));
  }
  return targets;
}

std::vector<LinkTarget> FinalizeMixin::_related_targets(const PagePlan& plan, std::span<const LinkTarget> targets) const {
  std::unordered_map<std::string_view, const LinkTarget*> by_id;
  std::unordered_map<std::string_view, std::size_t> rank;
  for (std::size_t i = 0; i < targets.size(); ++i) {
    by_id[targets[i].page_id] = &targets[i];
    rank[targets[i].page_id] = i;
  }

  std::vector<LinkTarget> related;
  std::unordered_set<std::string_view> shown;
  for (const std::string& id : plan.related_pages) {
    if (id == plan.page_id || !by_id.contains(id) || !shown.insert(by_id.at(id)->page_id).second) continue;
    related.push_back(*by_id.at(id));
  }

  std::set<std::string, std::less<>> mine;
  for (const std::string& path : plan.source_files) mine.insert(_norm(path));
  if (mine.empty()) return related;

  // The first page other than this one, in plan order, that claims a file owns it.
  std::unordered_map<std::string_view, std::string_view> owner;
  for (const LinkTarget& target : targets) {
    if (target.page_id == plan.page_id) continue;
    for (const std::string& path : target.files) owner.try_emplace(path, target.page_id);
  }
  std::unordered_map<std::string_view, std::size_t> ties;
  for (const std::string& path : mine) {
    if (auto o = owner.find(path); o != owner.end()) ++ties[o->second];
  }
  for (const auto& [path, dependents] : _file_dependents_map()) {
    const auto path_owner = owner.find(path);
    const bool path_mine = mine.contains(path);
    for (const std::string& dependent : dependents) {
      if (path_owner != owner.end() && mine.contains(dependent)) ++ties[path_owner->second];
      if (path_mine) {
        if (auto o = owner.find(dependent); o != owner.end()) ++ties[o->second];
      }
    }
  }

  detail::add_most_tied(related, ties, shown, targets, rank);
  return related;
}

nlohmann::ordered_json _outline_entry(const SectionSpec& section) {
  nlohmann::ordered_json entry = {{"heading", section.heading}, {"intent", section.intent}};
  if (!section.table_cols.empty()) entry["table"] = section.table_cols;
  entry["required"] = section.required;
  return entry;
}

std::optional<std::string> _heading_of(const PageType& page_type, std::string_view key) {
  const SectionSpec* section = page_type.section(key);
  if (section == nullptr) return std::nullopt;
  return section->heading;
}

std::optional<std::string> _slot_heading(const PageType& page_type, std::string_view diagram_heading) {
  const SectionSpec* slot = diagram_slot(page_type, diagram_heading);
  if (slot == nullptr) return std::nullopt;
  return slot->heading;
}

PageContract FinalizeMixin::_page_contract(const PagePlan& plan, std::string_view grounding) const {
  const PageType& page_type = plan_type(plan);
  const std::vector<std::string> rules = session_rules(page_type, plan.source_files);
  const bool drawn = wiki_config().diagrams;
  const std::vector<Diagram> placed = drawn ? _build_diagrams(plan) : std::vector<Diagram>();
  const std::vector<DiagramSpec> authored = drawn && wiki_config().sequence_diagrams.value_or(true)
                                                ? diagrams_for(page_type, plan.importance, AUTHORED)
                                                : std::vector<DiagramSpec>();
  if (page_type.words.size() != 2) {
    throw std::invalid_argument("page type '" + page_type.id + "' has a word budget of " + std::to_string(page_type.words.size()) +
                                " values, not two");
  }

  nlohmann::ordered_json outline = nlohmann::ordered_json::array();
  for (const SectionSpec& section : outline_for(page_type, grounding_facts(grounding))) outline.push_back(_outline_entry(section));
  nlohmann::ordered_json author_diagrams = nlohmann::ordered_json::array();
  for (const DiagramSpec& diagram : authored) {
    const auto mermaid =
        std::find_if(DIAGRAM_MERMAID.begin(), DIAGRAM_MERMAID.end(), [&](const DiagramMermaid& m) { return m.kind == diagram.kind; });
    if (mermaid == DIAGRAM_MERMAID.end()) throw std::out_of_range("unknown diagram kind '" + diagram.kind + "'");
    author_diagrams.push_back({{"mermaid", mermaid->keyword},
                               {"section", optional_json(_heading_of(page_type, diagram.slot))},
                               {"required", diagram.required},
                               {"max_nodes", diagram.max_nodes}});
  }
  nlohmann::ordered_json type = {{"id", page_type.id},
                                 {"words", {{"min", page_type.words[0]}, {"max", page_type.words[1]}}},
                                 {"outline", std::move(outline)},
                                 {"rules", rules},
                                 {"author_diagrams", std::move(author_diagrams)}};

  nlohmann::ordered_json diagrams = nlohmann::ordered_json::array();
  for (const Diagram& diagram : placed) {
    diagrams.push_back({{"heading", diagram.heading},
                        {"section", optional_json(_slot_heading(page_type, diagram.heading))},
                        {"mermaid", diagram.mermaid}});
  }
  nlohmann::ordered_json link_targets = nlohmann::ordered_json::array();
  for (const LinkTarget& target : _link_targets()) {
    if (target.page_id == plan.page_id) continue;
    link_targets.push_back({{"page_id", target.page_id}, {"title", target.title}, {"link", target.href}});
  }
  return PageContract{{"page_type", std::move(type)}, {"diagrams", std::move(diagrams)}, {"link_targets", std::move(link_targets)}};
}

}  // namespace vantorel::workers::wiki
