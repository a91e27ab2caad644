#include "vantorel/workers/wiki/finalize/page_run.h"

#include <algorithm>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/finalize/placement.h"
#include "vantorel/workers/wiki/finalize/repair.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::size_t NONE = std::string_view::npos;

std::string in_quotes(std::string_view s) {
  std::string out = "'";
  out.append(s).append("'");
  return out;
}

// What a run needs besides the text: how to finalize, and what the finalize step writes with.
struct RunContext {
  const VerifyMixin& verify;
  const PagePlan& plan;
  std::span<const Diagram> diagrams;
  const LinkIndex& links;
  std::function<FinalizedPage(std::string_view)> finalize;
};

// Finds the line of a repaired text that holds a given line, to place a finding about it. The
// lines are indexed on the first question: most pages have nothing to place.
class LineFinder {
 public:
  LineFinder(std::span<const std::string_view> lines, std::span<const std::size_t> origin, std::size_t from)
      : lines_(lines), origin_(origin), from_(from) {}

  // `finding` placed at the first line that holds `line` (the whole line, or it without its
  // leading white space), column 1; left without a place when there is none.
  Finding place(std::string_view line, Finding finding) const {
    if (at_.empty()) {
      for (std::size_t i = lines_.size(); i-- > from_;) {
        at_[lines_[i]] = i;
        at_.try_emplace(text::ltrim(lines_[i]), i);
      }
    }
    if (const auto it = at_.find(line); it != at_.end() && it->second < origin_.size() && origin_[it->second] != 0) {
      finding.line = origin_[it->second];
      finding.column = 1;
    }
    return finding;
  }

 private:
  std::span<const std::string_view> lines_;
  std::span<const std::size_t> origin_;
  std::size_t from_;
  mutable std::unordered_map<std::string_view, std::size_t> at_;
};

Finding note(std::string_view kind, std::string message) { return Finding{.severity = Severity::NOTE, .kind = std::string(kind), .message = std::move(message)}; }

// The text of an H1 line: after its "#" and white space, without a closing run of "#".
std::string_view h1_text(std::string_view line) {
  std::string_view t = text::trim(text::ltrim(line).substr(1));
  const std::size_t marks = t.find_last_not_of('#');
  if (marks != NONE && marks + 1 < t.size() && (t[marks] == ' ' || t[marks] == '\t')) t = text::rtrim(t.substr(0, marks + 1));
  return t;
}

// Notes on the front-matter the split drops: everything but its summary.
void front_matter_notes(std::string_view text, std::size_t front, std::span<const std::size_t> origin, std::vector<Finding>& out) {
  const text::Match m = detail::FRONT_MATTER_RE().match(text);
  const std::string_view block = m[1];
  Finding f;
  try {
    const yaml::Node document = yaml::load(block);
    std::string dropped;
    for (const yaml::Node::Entry& entry : document.entries) {
      if (entry.key.kind == yaml::Kind::SCALAR && entry.key.text == "summary") continue;
      if (!dropped.empty()) dropped.append(", ");
      dropped.append(in_quotes(yaml::as_text(entry.key)));
    }
    if (dropped.empty()) return;
    f = note("front-matter-dropped", "the front-matter's keys other than 'summary' are not kept: " + dropped);
  } catch (const yaml::ParseError&) {
    std::size_t other = 0;
    for (std::string_view line : text::Lines(block)) other += !text::is_blank(line) && !line.starts_with("summary:");
    if (other == 0) return;
    f = note("front-matter-dropped", "the front-matter is not valid YAML: only its 'summary:' line was read, the rest of it is not kept");
  }
  for (std::size_t i = 0; i < front && i < origin.size(); ++i) {
    if (origin[i] != 0) {
      f.line = origin[i];
      f.column = 1;
      break;
    }
  }
  out.push_back(std::move(f));
}

// "(dest)" of the first link of a list item "- [text](dest)".
std::string_view item_destination(std::string_view item) {
  const std::size_t open = item.find("](");
  if (open == NONE) return {};
  const std::size_t close = item.find(')', open + 2);
  return close == NONE ? std::string_view() : item.substr(open + 2, close - open - 2);
}

// A note on a section the split dropped as one an older page writer appended (`lines` its heading
// and its lines), when it held something the finished page does not show; nullopt otherwise.
std::optional<Finding> dropped_section_note(std::span<const std::string_view> lines, const RunContext& ctx, std::string_view page) {
  const std::optional<std::string_view> heading = detail::h2_title(lines.front());
  if (!heading) return std::nullopt;
  const std::string_view title = *heading;
  if (detail::is_legacy_section(title)) {
    std::string missing;
    std::size_t count = 0;
    for (std::string_view line : lines.subspan(1)) {
      const std::string_view dest = item_destination(line);
      if (text::is_blank(line) || dest.empty()) continue;
      std::string shown = "](";
      shown.append(dest).append(")");
      // A line shown on the page has its link there, and nothing after the link.
      const std::size_t after = static_cast<std::size_t>(dest.data() - line.data()) + dest.size() + 1;
      if (page.find(shown) != NONE && text::is_blank(line.substr(after))) continue;
      if (count++ > 0) missing.append(", ");
      missing.append(in_quotes(text::trim(line)));
    }
    if (count == 0) return std::nullopt;
    return note("link-list-dropped", "the " + in_quotes(title) +
                                         " section holds nothing but list items that start with a link, as an older page writer wrote it, so it is dropped; "
                                         "the page does not show these of its lines: " +
                                         missing);
  }
  // A section holding a lone Mermaid block under the heading of a diagram code builds.
  // Its lines between the first and the last that are not blank (the fence lines).
  const std::string_view* first = nullptr;
  const std::string_view* last = nullptr;
  for (const std::string_view& line : lines.subspan(1)) {
    if (text::is_blank(line)) continue;
    if (first == nullptr) first = &line;
    last = &line;
  }
  std::string_view mermaid;
  if (first != nullptr && first != last) {
    const char* begin = first->data() + first->size() + 1;
    if (begin < last->data()) mermaid = text::trim(std::string_view(begin, static_cast<std::size_t>(last->data() - begin)));
  }
  for (const Diagram& diagram : ctx.diagrams) {
    if (text::trim(diagram.mermaid) == mermaid) return std::nullopt;
  }
  return note("diagram-section-dropped", "the " + in_quotes(title) +
                                             " section holds nothing but a Mermaid diagram, as an older page writer wrote it, so it is dropped; code draws the page's diagrams now, and this one differs from them");
}

// Notes on what the finalize step removes by design from the repaired text `repaired`, as far as
// the finished page `page` does not show it.
std::vector<Finding> removal_notes(const RepairedText& repaired, const FinalizedPage& page, const RunContext& ctx) {
  std::vector<Finding> out;
  const std::string_view text = repaired.text;
  const std::vector<std::string_view> lines = text::split_lines(text);
  const std::size_t front = detail::front_matter_lines(text);
  const LineFinder finder(lines, repaired.origin, front);
  if (front > 0) front_matter_notes(text, front, repaired.origin, out);

  // The body as the split has it just before it drops old sections.
  const std::string_view rest = front < lines.size() ? text.substr(static_cast<std::size_t>(lines[front].data() - text.data())) : "";
  const std::vector<Segment> segments = _segments(rest);
  const std::string stripped = detail::strip_segments(segments, {}, rest.size());
  std::string_view body = stripped;
  const std::string_view first_line = body.substr(0, std::min(body.find('\n'), body.size()));
  if (detail::H1_RE().match(first_line)) {
    if (h1_text(first_line) != text::trim(ctx.plan.title)) {
      out.push_back(finder.place(first_line, note("h1-replaced", "the H1 " + in_quotes(h1_text(first_line)) +
                                                                   " is replaced by the page's title " + in_quotes(ctx.plan.title))));
    }
    body.remove_prefix(std::min(first_line.size() + 1, body.size()));
  }
  std::string kept(text::trim(body));
  if (!detail::summary_before_blockquote(text, lines, front)) kept = _leading_blockquote(kept).second;

  // Old sections: the lines `_drop_legacy_sections` leaves out, one heading and its lines at a time.
  const std::string dropped_from = _drop_legacy_sections(kept);
  const std::vector<std::string_view> before = text::split_lines(kept);
  const std::vector<std::string_view> after = text::split_lines(dropped_from);
  std::size_t j = 0;
  std::vector<std::string_view> section;
  const auto flush = [&] {
    if (section.empty()) return;
    if (std::optional<Finding> f = dropped_section_note(section, ctx, page.markdown)) out.push_back(finder.place(section.front(), std::move(*f)));
    section.clear();
  };
  for (std::string_view line : before) {
    while (j < after.size() && text::is_blank(after[j])) ++j;
    if (text::is_blank(line)) {
      if (!section.empty()) section.push_back(line);
      continue;
    }
    if (j < after.size() && text::trim(line) == text::trim(after[j])) {
      flush();
      ++j;
      continue;
    }
    if (detail::h2_title(line)) flush();
    section.push_back(line);
  }
  flush();

  // Link texts that showed a page's former title.
  const std::string copies_dropped = _drop_duplicate_diagrams(page.authored.body, ctx.diagrams);
  const std::string refreshed = ctx.links.refresh_link_texts(copies_dropped);
  if (refreshed != copies_dropped) {
    const std::vector<std::string_view> old_lines = text::split_lines(copies_dropped);
    const std::vector<std::string_view> new_lines = text::split_lines(refreshed);
    for (std::size_t i = 0; i < old_lines.size() && i < new_lines.size(); ++i) {
      const std::string_view a = old_lines[i], b = new_lines[i];
      if (a == b) continue;
      // The link text that changed: from the "[" before the first difference to the "](" after it.
      std::size_t prefix = 0;
      while (prefix < a.size() && prefix < b.size() && a[prefix] == b[prefix]) ++prefix;
      const std::size_t open = prefix == 0 ? NONE : a.rfind('[', prefix - 1);
      const std::size_t a_end = a.find("](", prefix), b_end = b.find("](", prefix);
      if (open == NONE || a_end == NONE || b_end == NONE) continue;
      out.push_back(finder.place(a, note("link-text-refreshed", "the link text " + in_quotes(a.substr(open + 1, a_end - open - 1)) +
                                                                  " now reads " + in_quotes(b.substr(open + 1, b_end - open - 1)) +
                                                                  ", the linked page's current title")));
    }
  }
  return out;
}

PageRun run(const RunContext& ctx, std::string_view text) {
  const RepairContext repair{.citations = &ctx.verify, .plan_summary = ctx.plan.description};
  PageRun result;
  result.repaired = repair_page_text(text, repair);
  result.page = ctx.finalize(result.repaired.text);
  result.findings = result.repaired.findings;
  for (Finding& f : removal_notes(result.repaired, result.page, ctx)) result.findings.push_back(std::move(f));

  for (;;) {
    RepairedText again = repair_page_text(result.page.markdown, repair);
    FinalizedPage next = ctx.finalize(again.text);
    if (next.markdown == result.page.markdown) return result;
    // Past MAX_PASSES only a pass that makes the page shorter goes on, so the loop always ends.
    if (result.passes >= MAX_PASSES && next.markdown.size() >= result.page.markdown.size()) {
      result.settled = false;
      result.findings.push_back(Finding{.severity = Severity::WARNING,
                                        .kind = "does-not-settle",
                                        .message = "the page still changes when it is finalized again after " + std::to_string(result.passes) +
                                                   " passes; it is written as the last pass left it"});
      return result;
    }
    // The later pass's findings are about the page this run wrote, not about the text as given.
    std::vector<Finding> later = std::move(again.findings);
    for (Finding& f : removal_notes(again, next, ctx)) later.push_back(std::move(f));
    for (Finding& f : later) {
      f.line = f.column = 0;
      f.message.insert(0, "on pass " + std::to_string(result.passes + 1) + ": ");
      result.findings.push_back(std::move(f));
    }
    ++result.passes;
    result.page = std::move(next);
  }
}

}  // namespace

PageRun run_page(const FinalizeBatch& batch, const PageInput& page) {
  const RunContext ctx{.verify = batch.generator(),
                       .plan = *page.plan,
                       .diagrams = page.diagrams,
                       .links = batch.link_index(),
                       .finalize = [&](std::string_view text) {
                         return batch.finalize(*page.plan, text, page.diagrams, page.grounding, page.options);
                       }};
  return run(ctx, page.text);
}

PageRun run_page(const FinalizeMixin& generator, const PagePlan& plan, std::string_view text, std::span<const Diagram> diagrams,
                 std::string_view grounding, const FinalizeOptions& options) {
  const std::vector<LinkTarget> targets = generator._link_targets();
  const LinkIndex links(targets);
  const RunContext ctx{.verify = generator,
                       .plan = plan,
                       .diagrams = diagrams,
                       .links = links,
                       .finalize = [&](std::string_view page) { return generator._finalize(plan, page, diagrams, grounding, options); }};
  return run(ctx, text);
}

}  // namespace vantorel::workers::wiki
