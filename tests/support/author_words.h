// What a page run must keep of what the author wrote: every non-blank run of the author's bytes
// (a "word") is still on the finished page, as text, inside a link's text or behind an added
// escape, except what the finalize step removes by design. The fuzz target of the page run and
// the tests check it with these helpers.
//
//   Words removable = removable_words(repaired.text, plan.description, diagrams, links);
//   EXPECT_TRUE(lost_words(author_text, page.markdown, removable).empty());
//
// Removed by design, per pass of repair and finalize over the repaired text `t`: its front-matter
// (the summary is kept), the marker lines and the generated blocks (code writes them anew), what
// the split takes out of the prose besides those (a first-line H1, the blockquote it moves into
// the summary, "## Sources" and "## Related" sections of links only, sections holding only a
// diagram code draws), authored copies of the diagrams code places, and link texts that showed a
// page's former title. The inline-citation scrub is not among them: after the repair it must
// remove nothing.
#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/finalize.h"
#include "vantorel/workers/wiki/finalize/repair.h"
#include "vantorel/workers/wiki/link_text/link_text.h"

namespace vantorel::test_support {

namespace wiki_ns = workers::wiki;

// Word -> how many times.
using Words = std::unordered_map<std::string, long>;

// Adds `sign` for each word of `text`: each maximal run of characters that are not white space.
inline void count_words(std::string_view text, Words& words, long sign = 1) {
  std::size_t i = 0;
  while (i < text.size()) {
    while (i < text.size() && text::space_at(text, i) != 0) i += text::space_at(text, i);
    const std::size_t start = i;
    while (i < text.size() && text::space_at(text, i) == 0) ++i;
    if (i > start) words[std::string(text.substr(start, i - start))] += sign;
  }
}

// The words of `before` that `after` no longer has (as whole words), with their counts.
inline Words removed_words(std::string_view before, std::string_view after) {
  Words words;
  count_words(before, words);
  count_words(after, words, -1);
  std::erase_if(words, [](const auto& entry) { return entry.second <= 0; });
  return words;
}

inline void add(Words& to, const Words& from) {
  for (const auto& [word, count] : from) to[word] += count;
}

// The words of the marker lines of `t`, and of its lines of ">" alone (an empty blockquote line,
// which the repair may remove where the split would drop it): they are the page format's, not the
// author's.
inline Words marker_words(std::string_view t) {
  namespace wiki = wiki_ns;
  Words words;
  for (std::string_view line : text::Lines(t)) {
    const std::string_view trimmed = text::trim(line);
    if (trimmed == ">" || wiki::detail::OPEN_RE().full_match(trimmed) || wiki::detail::CLOSE_RE().full_match(trimmed)) count_words(line, words);
  }
  return words;
}

// The words one pass may remove by design from the repaired text `t` (see the file comment).
inline Words removable_words(std::string_view t, std::string_view plan_summary, std::span<const wiki_ns::Diagram> diagrams,
                             const wiki_ns::LinkIndex& links) {
  namespace wiki = wiki_ns;
  Words removable;
  const std::vector<std::string_view> lines = text::split_lines(t);
  const std::size_t front = wiki::detail::front_matter_lines(t);
  for (std::size_t i = 0; i < front && i < lines.size(); ++i) count_words(lines[i], removable);
  const std::string_view rest = front < lines.size() ? t.substr(static_cast<std::size_t>(lines[front].data() - t.data())) : "";
  for (const wiki::Segment& segment : wiki::_segments(rest)) {
    if (!segment.part.empty())
      for (std::string_view line : segment.lines) count_words(line, removable);
  }
  add(removable, marker_words(t));
  const wiki::Authored authored = wiki::split_authored(t, plan_summary);
  add(removable, removed_words(wiki::strip_generated(rest), authored.body));
  const std::string copies_dropped = wiki::_drop_duplicate_diagrams(authored.body, diagrams);
  add(removable, removed_words(authored.body, copies_dropped));
  add(removable, removed_words(copies_dropped, links.refresh_link_texts(copies_dropped)));
  return removable;
}

// The hrefs of `targets` a run may write into a page: those holding no white space, "(" or ")"
// (a link to any other would not read back as one, so none is made). `as_read` leaves them out.
inline std::vector<std::string> linkable_hrefs(std::span<const wiki_ns::LinkTarget> targets) {
  std::vector<std::string> out;
  for (const wiki_ns::LinkTarget& target : targets) {
    const std::string_view href = target.href;
    bool plain = href.find_first_of("()") == std::string_view::npos;
    for (std::size_t i = 0; plain && i < href.size(); ++i) plain = text::space_at(href, i) == 0;
    if (plain) out.push_back(target.href);
  }
  return out;
}

// How many times `word` stands in `text`, as a substring (occurrences do not overlap).
inline long occurrences(std::string_view text, std::string_view word) {
  long n = 0;
  for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + word.size())) ++n;
  return n;
}

// `text` as a reader sees its words once links are read as their text: without link
// destinations ("(...)" right after "]", holding no white space or bracket, or one of `hrefs`, the
// destinations of the wiki's pages, which may hold either), without brackets, and without the
// backslash the repair puts before a "[" to escape a citation. Linking a mention or a citation, or
// escaping one, changes the page's bytes inside an author's word ("(see [src/a.c])" becomes "(see
// [src/a.c](../src/a.c))", "Store)" becomes "[Store](store.md))"); read this way it does not.
// With `any_destination` false only the destinations in `hrefs` are left out: a mention linked
// inside text that only looks like a destination ("](../src/a.c)" without its "[") reads that way.
inline std::string as_read(std::string_view text, std::span<const std::string> hrefs = {}, bool any_destination = true) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (c == '\\' && i + 1 < text.size() && text[i + 1] == '[') continue;
    if (c == ']' && i + 1 < text.size() && text[i + 1] == '(') {
      const std::string_view after = text.substr(i + 2);
      const auto page_href = std::find_if(hrefs.begin(), hrefs.end(), [&](const std::string& href) {
        return after.starts_with(href) && after.substr(href.size()).starts_with(')');
      });
      if (page_href != hrefs.end()) {
        i += 2 + page_href->size();
        continue;
      }
      if (!any_destination) continue;
      // Any other destination the run writes holds no white space and no bracket.
      std::size_t close = i + 2;
      while (close < text.size() && text::space_at(text, close) == 0 && std::string_view("()[]").find(text[close]) == std::string_view::npos) ++close;
      if (close < text.size() && text[close] == ')') i = close;
      continue;
    }
    if (c != '[' && c != ']') out += c;
  }
  return out;
}

// The words of `author` that `page` holds fewer times than the author wrote them, beyond what
// `removable` allows; empty when nothing is lost. A word counts as held by the page as it stands
// or as both read (`as_read`, either way). A removable word allows each word it holds, both read.
inline std::vector<std::string> lost_words(std::string_view author, std::string_view page, const Words& removable,
                                           std::span<const std::string> hrefs = {}) {
  Words words;
  count_words(author, words);
  const std::string page_read = as_read(page, hrefs);
  const std::string page_bare = as_read(page, hrefs, false);
  std::vector<std::string> lost;
  for (const auto& [word, count] : words) {
    const std::string read = as_read(word);
    if (read.empty()) continue;
    long missing = count - std::max({occurrences(page, word), occurrences(page_read, read), occurrences(page_bare, as_read(word, {}, false))});
    if (missing <= 0) continue;
    if (const auto same = removable.find(word); same != removable.end()) missing -= same->second;
    for (auto it = removable.begin(); missing > 0 && it != removable.end(); ++it) {
      if (it->first != word && as_read(it->first).find(read) != std::string::npos) missing -= it->second;
    }
    if (missing > 0) lost.push_back(word);
  }
  return lost;
}

}  // namespace vantorel::test_support
