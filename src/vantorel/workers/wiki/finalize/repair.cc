#include "vantorel/workers/wiki/finalize/repair.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/authored.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/repo_facts/repo_facts.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::size_t NONE = std::string_view::npos;

// How far back from a closing marker the lines of its block are looked for: longer than any block
// the page writer writes (a file table has at most 300 rows).
constexpr std::size_t MAX_SHAPE_LINES = 4096;

std::string in_quotes(std::string_view s) {
  std::string out = "'";
  out.append(s).append("'");
  return out;
}

// ---------------------------------------------------------------------------------------------
// Marker lines, read as `_segments` reads them.

enum class MarkerKind { NONE, OPEN, CLOSE };

struct Marker {
  MarkerKind kind = MarkerKind::NONE;
  std::string_view part{};  // a view into the line
};

Marker marker_of(std::string_view line) {
  if (line.find("<!--") == NONE) return {};
  const std::string_view t = text::trim(line);
  if (const text::Match m = detail::OPEN_RE().full_match(t)) return {MarkerKind::OPEN, m[1]};
  if (const text::Match m = detail::CLOSE_RE().full_match(t)) return {MarkerKind::CLOSE, m[1]};
  return {};
}

std::string opening_marker(std::string_view part) {
  std::string out = "<!-- wiki:";
  out.append(part).append(" -->");
  return out;
}

std::string closing_marker(std::string_view part) {
  std::string out = "<!-- /wiki:";
  out.append(part).append(" -->");
  return out;
}

// ---------------------------------------------------------------------------------------------
// The shapes of the blocks the page writer emits, line by line.

class ShapeCursor {
 public:
  ShapeCursor(std::span<const std::string_view> lines, std::size_t at, std::size_t end) : lines_(lines), at_(at), end_(end) {}

  // Takes the next line when it is `expected`.
  bool is(std::string_view expected) { return one([&](std::string_view l) { return l == expected; }); }
  // Takes the next line when `test` holds for it.
  template <class Test>
  bool one(Test test) {
    if (at_ >= end_ || !test(lines_[at_])) return false;
    ++at_;
    return true;
  }
  // Takes lines while `test` holds; how many.
  template <class Test>
  std::size_t many(Test test) {
    std::size_t n = 0;
    while (one(test)) ++n;
    return n;
  }
  std::size_t at() const noexcept { return at_; }
  void rewind(std::size_t at) noexcept { at_ = at; }

 private:
  std::span<const std::string_view> lines_;
  std::size_t at_;
  std::size_t end_;
};

// "- [text](link)": an item of the source list or of the related pages.
bool is_link_item(std::string_view l) { return l.starts_with("- [") && l.ends_with(")"); }

bool is_nav_line(std::string_view l) { return (l.starts_with("Previous: [") || l.starts_with("Next: [")) && l.ends_with(")"); }

bool is_diagram_heading(std::string_view l) {
  for (std::string_view marks : {"## ", "### "}) {
    if (l.starts_with(marks) && !text::is_blank(l.substr(marks.size()))) return true;
  }
  return false;
}

bool is_index_row(std::string_view l) { return l.starts_with("| [") && l.ends_with(" |"); }

bool is_index_count(std::string_view l) {
  if (!l.starts_with("And ") || !l.ends_with(" more files.")) return false;
  const std::string_view digits = l.substr(4, l.size() - 4 - 12);
  return !digits.empty() && digits.find_first_not_of("0123456789") == NONE;
}

// Whether a block of `part` the page writer emits can begin with the line `l`.
bool could_start_shape(std::string_view part, std::string_view l) {
  if (part == SUMMARY) return l.starts_with("> ");
  if (part == SOURCES) return l == "<details>";
  if (part == DIAGRAM) return is_diagram_heading(l);
  if (part == INDEX) return l == "## Files";
  if (part == FOOTER) return l == "## Related pages" || l.empty();
  return false;
}

}  // namespace

std::size_t detail::writer_shape_length(std::string_view part, std::span<const std::string_view> lines, std::size_t at, std::size_t end) {
  ShapeCursor c(lines, at, std::min(end, lines.size()));
  bool whole = false;
  if (part == SUMMARY) {
    whole = c.one([](std::string_view l) { return l.starts_with("> "); });
  } else if (part == SOURCES) {
    whole = c.is("<details>") && c.is("<summary>Relevant source files</summary>") && c.is("") && c.many(is_link_item) > 0 && c.is("") &&
            c.is("</details>");
  } else if (part == DIAGRAM) {
    whole = c.one(is_diagram_heading) && c.is("") && c.is("```mermaid") &&
            c.many([](std::string_view l) { return !is_fence_line(l); }) > 0 && c.is("```");
  } else if (part == INDEX) {
    whole = c.is("## Files") && c.is("") && c.is("| File | Symbols | Lines |") && c.is("| --- | --- | --- |");
    if (whole) {
      c.many(is_index_row);
      const std::size_t rows_end = c.at();
      if (!(c.is("") && c.one(is_index_count))) c.rewind(rows_end);
    }
  } else if (part == FOOTER) {
    if (c.is("## Related pages") && c.is("") && c.many(is_link_item) > 0) {
      whole = true;
      const std::size_t items_end = c.at();
      if (!(c.is("") && c.is("---") && c.is("") && c.one(is_nav_line))) c.rewind(items_end);
    } else {
      c.rewind(at);
      whole = c.is("") && c.one(is_nav_line);
    }
  }
  return whole ? c.at() - at : 0;
}

std::size_t detail::front_matter_lines(std::string_view text) {
  const text::Match m = FRONT_MATTER_RE().match(text);
  if (!m || !_front_matter(m[1])) return 0;
  const std::size_t breaks = static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(m.end()), '\n'));
  // A match that ends at the very end of the text, without a line break, takes its last line too.
  return m.end() > 0 && text[m.end() - 1] == '\n' ? breaks : breaks + 1;
}

namespace {

// The summary the split finds before it looks at a blockquote opening the prose: the
// front-matter's, else the text of the first summary block that is not the plan's; "" for none.
std::string summary_given(std::string_view text, std::span<const std::string_view> lines, std::size_t front) {
  if (front > 0) {
    const text::Match m = detail::FRONT_MATTER_RE().match(text);
    if (std::optional<std::string> summary = _front_matter(m[1]); summary && !summary->empty()) return std::move(*summary);
  }
  bool in_fence = false;
  for (std::size_t i = front; i < lines.size(); ++i) {
    if (!in_fence && marker_of(lines[i]).kind == MarkerKind::OPEN) {
      const text::Match open = detail::OPEN_RE().full_match(text::trim(lines[i]));
      std::size_t j = i + 1;
      while (j < lines.size() && !(marker_of(lines[j]).kind == MarkerKind::CLOSE && marker_of(lines[j]).part == open[1])) ++j;
      if (j == lines.size()) return {};
      if (open[1] == SUMMARY && open[2] != detail::FROM_PLAN) return _blockquote_text(std::span(lines).subspan(i + 1, j - i - 1));
      i = j;
      continue;
    }
    if (is_fence_line(lines[i])) in_fence = !in_fence;
  }
  return {};
}

}  // namespace

bool detail::summary_before_blockquote(std::string_view text, std::span<const std::string_view> lines, std::size_t front) {
  return !summary_given(text, lines, front).empty();
}

namespace {

// ---------------------------------------------------------------------------------------------
// A text under repair: its lines, where each came from in the input, and the findings so far.

struct Draft {
  std::string text{};                // "\n" line endings
  std::vector<std::size_t> origin{}; // per line: its 0-based line in the input, NONE for an added line
  std::vector<Finding> findings{};

  // A finding placed at `line` of this draft (0-based), `column` bytes into it (0-based).
  void report(std::size_t line, std::size_t column, Severity severity, std::string_view kind, std::string message) {
    Finding f{.severity = severity, .kind = std::string(kind), .message = std::move(message)};
    if (line < origin.size() && origin[line] != NONE) {
      f.line = origin[line] + 1;
      f.column = column + 1;
    }
    findings.push_back(std::move(f));
  }
  // The input line (1-based) that `line` of this draft came from, as a phrase: "line 12".
  std::string where(std::size_t line) const {
    if (line < origin.size() && origin[line] != NONE) return "line " + std::to_string(origin[line] + 1);
    return "the added line";
  }
};

// Whole-line edits of one pass, in line order: lines inserted before a line, lines removed.
class LineEdits {
 public:
  void insert_before(std::size_t line, std::string text) { edits_.push_back({line, false, std::move(text)}); }
  void remove(std::size_t line) { edits_.push_back({line, true, {}}); }
  bool empty() const noexcept { return edits_.empty(); }

  // `draft` with the edits applied; `lines` are its lines.
  void apply(Draft& draft, std::span<const std::string_view> lines) {
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& a, const Edit& b) { return a.line < b.line; });
    std::string out;
    out.reserve(draft.text.size() + 64 * edits_.size());
    std::vector<std::size_t> origin;
    origin.reserve(lines.size() + edits_.size());
    bool first = true;
    const auto put = [&](std::string_view line, std::size_t from) {
      if (!first) out += '\n';
      first = false;
      out.append(line);
      origin.push_back(from);
    };
    std::size_t e = 0;
    for (std::size_t i = 0; i <= lines.size(); ++i) {
      bool removed = false;
      for (; e < edits_.size() && edits_[e].line == i; ++e) {
        if (edits_[e].remove) {
          removed = true;
        } else {
          put(edits_[e].text, NONE);
        }
      }
      if (i < lines.size() && !removed) put(lines[i], draft.origin[i]);
    }
    draft.text = std::move(out);
    draft.origin = std::move(origin);
    edits_.clear();
  }

 private:
  struct Edit {
    std::size_t line;
    bool remove;
    std::string text;
  };
  std::vector<Edit> edits_;
};

// ---------------------------------------------------------------------------------------------
// Structure: code fences and generated-block markers, read as `_segments` reads them after the
// front-matter, repaired where the split would give lines back or swallow them.

class StructurePass {
 public:
  StructurePass(Draft& draft, std::span<const std::string_view> lines) : draft_(draft), lines_(lines) {
    for (std::size_t i = 0; i < lines.size(); ++i) {
      if (const Marker m = marker_of(lines[i]); m.kind == MarkerKind::CLOSE) closers_[m.part].push_back(i);
    }
  }

  // Repairs the lines from `first` on; true when anything changed.
  bool run(std::size_t first) {
    std::size_t i = first;
    barrier_ = first;
    while (i < lines_.size()) i = step(i);
    if (in_fence_) {
      if (const std::size_t resume = close_fence(); resume != NONE) {
        in_fence_ = false;
        barrier_ = resume;
        for (i = resume; i < lines_.size();) i = step(i);
      }
    }
    const bool changed = !edits_.empty();
    edits_.apply(draft_, lines_);
    return changed;
  }

 private:
  // Handles the line `i`; returns the next line to handle.
  std::size_t step(std::size_t i) {
    const std::string_view line = lines_[i];
    if (!in_fence_) {
      const Marker marker = marker_of(line);
      if (marker.kind == MarkerKind::OPEN) return opening(i, marker.part);
      if (marker.kind == MarkerKind::CLOSE) return closing(i, marker.part);
    }
    if (is_fence_line(line)) {
      in_fence_ = !in_fence_;
      if (in_fence_) fence_ = i;
    }
    return i + 1;
  }

  // The first closing marker of `part` after line `i`, or NONE.
  std::size_t next_closer(std::string_view part, std::size_t i) const {
    const auto it = closers_.find(part);
    if (it == closers_.end()) return NONE;
    const auto after = std::upper_bound(it->second.begin(), it->second.end(), i);
    return after == it->second.end() ? NONE : *after;
  }

  // The first marker line strictly between `a` and `b`, or NONE.
  std::size_t marker_between(std::size_t a, std::size_t b) const {
    for (std::size_t j = a + 1; j < b; ++j) {
      if (marker_of(lines_[j]).kind != MarkerKind::NONE) return j;
    }
    return NONE;
  }

  std::size_t opening(std::size_t i, std::string_view part) {
    const std::size_t closer = next_closer(part, i);
    const std::size_t inner = closer == NONE ? NONE : marker_between(i, closer);
    if (closer != NONE && inner == NONE) {
      barrier_ = closer + 1;
      return closer + 1;
    }
    // The block never closes, or would run on to the closing marker of a later block.
    const std::size_t limit = closer == NONE ? lines_.size() : inner;
    const std::size_t shape = detail::writer_shape_length(part, lines_, i + 1, limit);
    const std::size_t column = line_column(i);
    if (shape > 0) {
      const std::size_t end = i + 1 + shape;
      edits_.insert_before(end, closing_marker(part));
      draft_.report(i, column, Severity::WARNING, "unclosed-block",
                    "the " + in_quotes(part) + " block has no closing marker; its lines have the shape code writes there, so the block was closed after " +
                        draft_.where(end - 1));
      barrier_ = end;
      return end;
    }
    edits_.remove(i);
    draft_.report(i, column, Severity::WARNING, "stray-marker",
                  "the opening marker of the " + in_quotes(part) +
                      " block has no closing marker and the lines after it are not what code writes there; the marker line was removed and the lines stay as prose");
    barrier_ = i + 1;
    return i + 1;
  }

  std::size_t closing(std::size_t i, std::string_view part) {
    const std::size_t column = line_column(i);
    const std::size_t lowest = std::max(barrier_, i > MAX_SHAPE_LINES ? i - MAX_SHAPE_LINES : 0);
    std::size_t start = NONE;
    for (std::size_t s = i; s-- > lowest;) {
      // A block never holds a marker line: the shape cannot reach past one.
      if (marker_of(lines_[s]).kind != MarkerKind::NONE) break;
      if (could_start_shape(part, lines_[s]) && detail::writer_shape_length(part, lines_, s, i) == i - s) {
        start = s;
        break;
      }
    }
    if (start != NONE) {
      edits_.insert_before(start, opening_marker(part));
      draft_.report(i, column, Severity::WARNING, "unopened-block",
                    "the " + in_quotes(part) + " block has no opening marker; the lines from " + draft_.where(start) +
                        " have the shape code writes there, so they were taken as the block");
    } else {
      edits_.remove(i);
      draft_.report(i, column, Severity::WARNING, "stray-marker",
                    "a closing marker of the " + in_quotes(part) + " block with no block before it; the marker line was removed");
    }
    barrier_ = i + 1;
    return i + 1;
  }

  // Closes the fence opened at `fence_`, which nothing closes: before the first generated block
  // after it, else after the last line that is not blank. Returns the line to go on from (the
  // block's opening marker), or NONE when the fence ran to the end of the text.
  std::size_t close_fence() {
    std::size_t block = NONE;
    for (std::size_t j = fence_ + 1; j < lines_.size() && block == NONE; ++j) {
      const Marker m = marker_of(lines_[j]);
      if (m.kind == MarkerKind::OPEN && next_closer(m.part, j) != NONE) block = j;
    }
    std::size_t at = block == NONE ? lines_.size() : block;
    while (at > fence_ + 1 && text::is_blank(lines_[at - 1])) --at;
    const std::string_view opener = text::ltrim(lines_[fence_]);
    const std::size_t run = std::min(opener.find_first_not_of(opener[0]), opener.size());
    edits_.insert_before(at, std::string(opener.substr(0, run)));
    draft_.report(fence_, line_column(fence_), Severity::WARNING, "unclosed-fence",
                  "this code fence is never closed; a closing fence was added after " + draft_.where(at - 1) +
                      (block == NONE ? ", the end of the prose" : ", before the generated blocks that follow"));
    return block;
  }

  // Where the text of line `i` starts: the column a finding about the whole line points at.
  std::size_t line_column(std::size_t i) const { return lines_[i].size() - text::ltrim(lines_[i]).size(); }

  Draft& draft_;
  std::span<const std::string_view> lines_;
  std::unordered_map<std::string_view, std::vector<std::size_t>> closers_;  // part -> its closing marker lines
  LineEdits edits_;
  bool in_fence_ = false;
  std::size_t fence_ = 0;    // the line of the fence that is open
  std::size_t barrier_ = 0;  // no block taken back from a closing marker reaches above this line
};

// ---------------------------------------------------------------------------------------------
// Inline citations in the lines the split keeps as the body.

// The lines of a repaired text, told apart as the split tells them apart.
struct BodyLines {
  std::vector<std::size_t> lines;  // the body's lines, in order
  std::vector<bool> in_section;    // per entry of `lines`: inside a "Sources" or "Related" section
  std::size_t first = NONE;        // the body's first line that is not blank: the split trims it
};

// Which lines of `lines` (whose first `front` lines are front-matter) end up in the body, and
// which of them the dropping of old link lists looks at: every authored line outside generated
// blocks, less the H1 the split drops and the blockquote it takes for the summary.
BodyLines body_lines(std::span<const std::string_view> lines, std::size_t front, bool has_summary) {
  std::vector<std::size_t> authored;
  std::vector<bool> after_block;  // per authored line: a block stands right before it
  bool in_fence = false;
  bool gap = false;
  std::string_view part;  // the open block's part; empty in authored text
  for (std::size_t i = front; i < lines.size(); ++i) {
    const std::string_view line = lines[i];
    if (!part.empty()) {
      const Marker m = marker_of(line);
      if (m.kind == MarkerKind::CLOSE && m.part == part) part = {};
      continue;
    }
    if (!in_fence) {
      const Marker m = marker_of(line);
      if (m.kind == MarkerKind::OPEN) {
        part = m.part;
        gap = true;
        continue;
      }
      if (m.kind == MarkerKind::CLOSE) continue;
    }
    if (is_fence_line(line)) in_fence = !in_fence;
    authored.push_back(i);
    after_block.push_back(gap);
    gap = false;
  }

  BodyLines body;
  std::size_t k = 0;
  const auto skip_blank = [&] {
    while (k < authored.size() && text::is_blank(lines[authored[k]])) ++k;
  };
  skip_blank();
  if (k < authored.size() && detail::H1_RE().match(text::ltrim(lines[authored[k]]))) {
    ++k;
    skip_blank();
  }
  if (!has_summary && k < authored.size() && text::ltrim(lines[authored[k]]).starts_with('>')) {
    // The leading blockquote: up to the first line that does not start with ">", or a block.
    ++k;
    while (k < authored.size() && !after_block[k] && lines[authored[k]].starts_with('>')) ++k;
    skip_blank();
  }
  if (k < authored.size()) body.first = authored[k];

  bool in_section = false;
  for (; k < authored.size(); ++k) {
    const std::size_t i = authored[k];
    const std::string_view line = i == body.first ? text::ltrim(lines[i]) : lines[i];
    if (const std::optional<std::string_view> title = detail::h2_title(line)) {
      in_section = detail::is_legacy_section(*title);
    } else if (line.starts_with('#') && detail::HEADING_RE().match(line)) {
      in_section = false;
    }
    body.lines.push_back(i);
    body.in_section.push_back(in_section);
  }
  return body;
}

// Blockquotes opening the prose that hold no text and have another blockquote after them. Where the
// split looks for the summary there (the author gave none, or gave the plan's own, which the page
// shows as the plan's), it drops such a blockquote without taking it and reads the next one only
// on the next run: one run per empty blockquote. They hold nothing but ">", so they are removed
// here. The last one before other text stays: the split drops it in the same run, and removing it
// would make that text the first line, which the split drops when it is an H1.
void repair_empty_quotes(Draft& draft, std::string_view plan_summary) {
  const std::vector<std::string_view> lines = text::split_lines(draft.text);
  const std::size_t front = detail::front_matter_lines(draft.text);
  const std::string given = _one_line(summary_given(draft.text, lines, front));
  if (!given.empty() && given != _one_line(plan_summary)) return;
  const BodyLines body = body_lines(lines, front, true);
  LineEdits edits;
  std::vector<std::string_view> quote;
  for (std::size_t k = 0; k < body.lines.size() && text::ltrim(lines[body.lines[k]]).starts_with('>');) {
    // One blockquote as the split reads it: lines in a row that start with ">" (the first trimmed).
    std::size_t end = k + 1;
    while (end < body.lines.size() && body.lines[end] == body.lines[end - 1] + 1 && lines[body.lines[end]].starts_with('>')) ++end;
    quote.clear();
    for (std::size_t j = k; j < end; ++j) quote.push_back(j == k ? text::ltrim(lines[body.lines[j]]) : lines[body.lines[j]]);
    if (!_one_line(_blockquote_text(quote)).empty()) break;
    std::size_t next = end;
    while (next < body.lines.size() && text::is_blank(lines[body.lines[next]])) ++next;
    if (next == body.lines.size() || !text::ltrim(lines[body.lines[next]]).starts_with('>')) break;
    for (std::size_t j = k; j < end; ++j) edits.remove(body.lines[j]);
    const std::size_t first = body.lines[k];
    draft.report(first, lines[first].size() - text::ltrim(lines[first]).size(), Severity::NOTE, "empty-quote-removed",
                 "this blockquote opens the prose and holds no text; the split drops it and would take the blockquote after it for the "
                 "summary only on the next run, so it was removed");
    k = next;
  }
  if (!edits.empty()) edits.apply(draft, lines);
}

// One inline citation found in the body.
struct Found {
  std::size_t line;    // the line of the draft
  std::size_t offset;  // where the line's view starts in the line (the body's first line is trimmed)
  detail::InlineCitation at;
  bool in_section;
};

// The reason an inline citation that resolves to nothing stays as text, as a phrase.
std::string unresolved_reason(const CitationTarget& target) {
  using Status = CitationTarget::Status;
  switch (target.status) {
    case Status::PAST_END:
      return "cites lines " + std::to_string(target.start) + "-" + std::to_string(target.end) + " but " + target.path + " has " +
             std::to_string(target.file_lines) + (target.file_lines == 1 ? " line" : " lines");
    case Status::BAD_RANGE:
      return "cites no line of " + target.path + " (line 0, or a range that ends before it starts)";
    case Status::NO_LINK:
      return "names " + target.path + ", which a link cannot carry (a '#' would start an anchor)";
    default:
      return target.path.empty() ? "names no path inside the repository" : "names no file of the repository";
  }
}

void repair_citations(Draft& draft, const VerifyMixin& verify) {
  const std::vector<std::string_view> lines = text::split_lines(draft.text);
  const std::size_t front = detail::front_matter_lines(draft.text);
  const BodyLines body = body_lines(lines, front, detail::summary_before_blockquote(draft.text, lines, front));

  std::vector<Found> found;
  std::vector<detail::InlineCitation> on_line;
  bool in_fence = false;
  for (std::size_t k = 0; k < body.lines.size(); ++k) {
    const std::size_t i = body.lines[k];
    if (is_fence_line(lines[i])) {
      in_fence = !in_fence;
      continue;
    }
    if (in_fence || lines[i].find('[') == NONE) continue;
    const std::string_view view = i == body.first ? text::ltrim(lines[i]) : lines[i];
    on_line.clear();
    detail::inline_citations(view, on_line);
    for (const detail::InlineCitation& c : on_line) found.push_back({i, lines[i].size() - view.size(), c, body.in_section[k]});
  }
  if (found.empty()) return;

  // "[" TEXT "]" of each citation, as a view into the draft.
  const auto cited = [&](const Found& f) { return lines[f.line].substr(f.offset + f.at.begin, f.at.end - f.at.begin); };
  std::vector<std::string_view> texts;
  for (const Found& f : found) {
    if (!f.in_section) texts.push_back(cited(f).substr(1, cited(f).size() - 2));
  }
  const std::vector<CitationTarget> targets = verify.resolve_inline_citations(texts);

  std::string out;
  out.reserve(draft.text.size() + 32 * found.size());
  std::size_t copied = 0;  // the draft is in `out` up to here
  std::size_t next_target = 0;
  for (const Found& f : found) {
    const std::string_view citation = cited(f);
    const std::size_t at = static_cast<std::size_t>(citation.data() - draft.text.data());
    const std::size_t column = f.offset + f.at.begin;
    out.append(draft.text, copied, at - copied);
    copied = at + citation.size();
    const std::string shown(citation);
    if (f.in_section) {
      out.append("\\").append(citation);
      draft.report(f.line, column, Severity::NOTE, "citation-in-link-list",
                   "the inline citation " + shown +
                       " stands in a 'Sources' or 'Related' section, which the split drops when it holds nothing but links; it was escaped and stays as text");
      continue;
    }
    const CitationTarget& target = targets[next_target++];
    if (target.status == CitationTarget::Status::FOUND) {
      out.append(citation).append("(").append(target.link).append(")");
      draft.report(f.line, column, Severity::NOTE, "citation-linked",
                   "the inline citation " + shown + " now links to " + target.link + ", where it counts as a citation of the page");
      continue;
    }
    out.append("\\").append(citation);
    const bool lines_wrong = target.status == CitationTarget::Status::PAST_END || target.status == CitationTarget::Status::BAD_RANGE;
    draft.report(f.line, column, Severity::WARNING, lines_wrong ? "citation-out-of-range" : "citation-unresolved",
                 "the inline citation " + shown + " " + unresolved_reason(target) + "; it was escaped and stays as text");
  }
  out.append(draft.text, copied);
  draft.text = std::move(out);
}

}  // namespace

RepairedText repair_page_text(std::string_view input, const RepairContext& context) {
  Draft draft{.text = lf(input)};
  draft.origin.resize(text::count_lines(draft.text));
  for (std::size_t i = 0; i < draft.origin.size(); ++i) draft.origin[i] = i;

  // Removing a marker line at the top can turn what follows into front-matter, which moves where
  // the prose starts; so the structure is read again until it holds (twice at most in practice).
  for (int round = 0; round < 4; ++round) {
    const std::vector<std::string_view> lines = text::split_lines(draft.text);
    const std::size_t front = detail::front_matter_lines(draft.text);
    StructurePass pass(draft, lines);  // rebuilds the draft's text once it is done with `lines`
    if (!pass.run(front)) break;
  }
  if (context.citations != nullptr) repair_citations(draft, *context.citations);
  // After the citations: escaping one can make the lines above it valid front-matter, which moves
  // where the prose starts.
  repair_empty_quotes(draft, context.plan_summary);
  for (std::size_t& line : draft.origin) line = line == NONE ? 0 : line + 1;
  return RepairedText{.text = std::move(draft.text), .findings = std::move(draft.findings), .origin = std::move(draft.origin)};
}

}  // namespace vantorel::workers::wiki
