#include "vantorel/workers/wiki/link_text/link_text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <unordered_set>

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"
#include "vantorel/workers/wiki/finalize/blocks.h"
#include "vantorel/workers/wiki/finalize/normalize.h"
#include "vantorel/workers/wiki/verify/verify.h"

namespace vantorel::workers::wiki {

namespace {

constexpr std::size_t NPOS = std::string_view::npos;
constexpr std::uint32_t NONE = std::numeric_limits<std::uint32_t>::max();

bool ascii_alpha(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
// Per byte: whether it is an ASCII letter, digit or "_".
constexpr std::array<bool, 256> ASCII_WORD = [] {
  std::array<bool, 256> table{};
  for (int c = 0; c < 256; ++c) table[c] = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  return table;
}();
bool ascii_word(char c) noexcept { return ASCII_WORD[static_cast<unsigned char>(c)]; }
char ascii_lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equal_ignoring_ascii_case(std::string_view a, std::string_view b) noexcept {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return ascii_lower(x) == ascii_lower(y); });
}

// ---------------------------------------------------------------------------------------------
// Characters. A character is a valid UTF-8 sequence or, failing that, one byte on its own.

struct Char {
  std::size_t begin = 0;
  std::size_t end = 0;
  bool valid = false;  // a valid UTF-8 sequence (every ASCII byte is one)
};

unsigned char byte_at(std::string_view s, std::size_t i) noexcept { return static_cast<unsigned char>(s[i]); }

// Length of the valid UTF-8 sequence that starts at `s[i]`, or 0 when none starts there.
std::size_t utf8_length(std::string_view s, std::size_t i) noexcept { return text::decode_utf8(s, i).length; }

Char char_at(std::string_view s, std::size_t i) noexcept {
  if (byte_at(s, i) < 0x80) return {i, i + 1, true};
  const std::size_t length = utf8_length(s, i);
  return length == 0 ? Char{i, i + 1, false} : Char{i, i + length, true};
}

// The character that ends just before `s[end]`, where `end` is a character boundary. A lead byte
// never stands inside another valid sequence, so this agrees with decoding from the start.
Char char_before(std::string_view s, std::size_t end) noexcept {
  if (byte_at(s, end - 1) < 0x80) return {end - 1, end, true};
  const std::string_view head = s.substr(0, end);
  for (std::size_t length = 2; length <= 4 && length <= end; ++length) {
    if (utf8_length(head, end - length) == length) return {end - length, end, true};
  }
  return {end - 1, end, false};
}

// Word characters: Unicode letters and digits and "_". Characters outside ASCII are classified by
// a PCRE2 pattern in UTF mode, remembered in a small cache; an invalid byte is never one.
class WordClasses {
 public:
  bool is_word(std::string_view s, Char c) {
    if (!c.valid) return false;
    if (c.end - c.begin == 1) return ascii_word(s[c.begin]);
    std::uint32_t key = 0;
    for (std::size_t i = c.begin; i < c.end; ++i) key = key << 8 | byte_at(s, i);
    Slot& slot = cache_[(key * 2654435761u) >> (32 - CACHE_BITS)];
    if (slot.key != key) {
      static const text::Pattern word(R"([\p{L}\p{N}_])", text::Pattern::UNICODE);
      slot = {key, static_cast<bool>(word.full_match(s.substr(c.begin, c.end - c.begin)))};
    }
    return slot.word;
  }

 private:
  static constexpr unsigned CACHE_BITS = 9;
  struct Slot {
    std::uint32_t key = 0;  // the character's bytes; 0 for an empty slot (no such character)
    bool word = false;
  };
  std::array<Slot, std::size_t{1} << CACHE_BITS> cache_{};
};

// ---------------------------------------------------------------------------------------------
// Symbols. Titles and prose are matched as symbol streams in which word boundaries are symbols of
// their own: WORD_START stands before the first character of every word, WORD_END after its last.
// A title "Config" becomes WORD_START C o n f i g WORD_END and so matches only a whole word, with
// no check after the fact. A byte that is not part of valid UTF-8 is a symbol apart from the same
// byte inside a character, so a match always starts and ends on character boundaries.

using Symbol = std::uint16_t;
constexpr Symbol INVALID_BYTE = 256;  // INVALID_BYTE + (byte - 0x80) for a byte outside valid UTF-8
constexpr Symbol WORD_START = 384;
constexpr Symbol WORD_END = 385;
constexpr std::size_t ALPHABET = 386;

Symbol symbol_of(unsigned char b, bool valid) noexcept { return valid ? b : static_cast<Symbol>(INVALID_BYTE + (b - 0x80)); }

// The symbols of `title`, last one first (titles are matched from right to left).
void reversed_title_symbols(std::string_view title, WordClasses& words, std::vector<Symbol>& out) {
  out.clear();
  bool previous_word = false;
  for (std::size_t i = 0; i < title.size();) {
    const Char c = char_at(title, i);
    const bool word = words.is_word(title, c);
    if (word && !previous_word) out.push_back(WORD_START);
    if (!word && previous_word) out.push_back(WORD_END);
    for (std::size_t k = c.begin; k < c.end; ++k) out.push_back(symbol_of(byte_at(title, k), c.valid));
    previous_word = word;
    i = c.end;
  }
  if (previous_word) out.push_back(WORD_END);
  std::reverse(out.begin(), out.end());
}

// ---------------------------------------------------------------------------------------------
// A multi-pattern matcher over symbols: a trie with failure links (Aho-Corasick). Built once per
// set of targets. While patterns are added, each node keeps its children in a list (the root in a
// direct table); `build` lays the edges out in one array sorted by node and symbol, without
// hashing or a comparison sort over all edges, so building is linear in the patterns' length.

class Automaton {
 public:
  Automaton() : root_(ALPHABET, 0) {}

  // Adds a non-empty pattern under `id`; a pattern added again keeps its first id.
  void add(std::span<const Symbol> pattern, std::uint32_t id) {
    std::uint32_t node = 0;
    for (const Symbol s : pattern) {
      std::uint32_t next = 0;
      if (node == 0) {
        next = root_[s];
      } else {
        for (next = first_child_[node]; next != 0 && symbol_[next] != s;) next = next_sibling_[next];
      }
      if (next == 0) {
        next = static_cast<std::uint32_t>(nodes_.size());
        nodes_.emplace_back();
        symbol_.push_back(s);
        first_child_.push_back(0);
        if (node == 0) {
          root_[s] = next;
          next_sibling_.push_back(0);
        } else {
          next_sibling_.push_back(first_child_[node]);
          first_child_[node] = next;
        }
      }
      node = next;
    }
    if (nodes_[node].id == NONE) nodes_[node].id = id;
  }

  // Lays out the edges and computes the failure links; call once, after the last `add`.
  void build() {
    edges_.reserve(nodes_.size() - 1);
    std::vector<std::uint32_t> children;
    for (std::uint32_t u = 0; u < nodes_.size(); ++u) {
      children.clear();
      if (u == 0) {
        for (const std::uint32_t c : root_) {
          if (c != 0) children.push_back(c);
        }
      } else {
        for (std::uint32_t c = first_child_[u]; c != 0; c = next_sibling_[c]) children.push_back(c);
        std::sort(children.begin(), children.end(), [&](std::uint32_t x, std::uint32_t y) { return symbol_[x] < symbol_[y]; });
      }
      nodes_[u].first = static_cast<std::uint32_t>(edges_.size());
      for (const std::uint32_t c : children) edges_.push_back({u, symbol_[c], c});
      nodes_[u].last = static_cast<std::uint32_t>(edges_.size());
    }
    symbol_ = {};
    first_child_ = {};
    next_sibling_ = {};
    // Breadth first, so that a node's failure target is final before the node is reached.
    std::vector<std::uint32_t> queue{0};
    queue.reserve(nodes_.size());
    for (std::size_t q = 0; q < queue.size(); ++q) {
      const std::uint32_t u = queue[q];
      for (std::uint32_t e = nodes_[u].first; e < nodes_[u].last; ++e) {
        Node& v = nodes_[edges_[e].to];
        v.fail = u == 0 ? 0 : step(nodes_[u].fail, edges_[e].symbol);
        v.out = v.id != NONE ? v.id : nodes_[v.fail].out;
        queue.push_back(edges_[e].to);
      }
    }
  }

  bool empty() const noexcept { return nodes_.size() == 1; }

  // The child of `node` along `s`, or NONE.
  std::uint32_t child(std::uint32_t node, Symbol s) const noexcept {
    if (node == 0) return root_[s] != 0 ? root_[s] : NONE;
    const Edge* first = edges_.data() + nodes_[node].first;
    const Edge* last = edges_.data() + nodes_[node].last;
    const Edge* hit = std::lower_bound(first, last, s, [](const Edge& e, Symbol x) { return e.symbol < x; });
    return hit != last && hit->symbol == s ? hit->to : NONE;
  }

  // The state after reading `s` in `state`.
  std::uint32_t step(std::uint32_t state, Symbol s) const noexcept {
    while (state != 0) {
      const std::uint32_t next = child(state, s);
      if (next != NONE) return next;
      state = nodes_[state].fail;
    }
    return root_[s];
  }

  // The id of the pattern that ends exactly at `node`, or NONE.
  std::uint32_t id(std::uint32_t node) const noexcept { return nodes_[node].id; }

  // The id of the longest pattern that is a suffix of what `state` has read, or NONE.
  std::uint32_t longest(std::uint32_t state) const noexcept { return nodes_[state].out; }

 private:
  struct Node {
    std::uint32_t id = NONE;   // the pattern ending here
    std::uint32_t out = NONE;  // the longest pattern ending here or along the failure links
    std::uint32_t fail = 0;
    std::uint32_t first = 0;  // this node's edges in `edges_`
    std::uint32_t last = 0;
  };
  struct Edge {
    std::uint32_t from = 0;
    Symbol symbol = 0;
    std::uint32_t to = 0;
  };

  std::vector<Node> nodes_ = std::vector<Node>(1);
  std::vector<Edge> edges_;
  std::vector<std::uint32_t> root_;  // the root's child along each symbol; 0 for none
  // While building, per node: the symbol leading to it, its first child and its next sibling.
  std::vector<Symbol> symbol_ = std::vector<Symbol>(1);
  std::vector<std::uint32_t> first_child_ = std::vector<std::uint32_t>(1);
  std::vector<std::uint32_t> next_sibling_ = std::vector<std::uint32_t>(1);
};


// ---------------------------------------------------------------------------------------------
// Inline structure of one line: what is not prose. No backslash escapes are interpreted.

// A run of a line that is not prose: inline code, a link, an image or bracketed text, raw HTML or
// an autolink, a bare URL, or the rest of a line after a backtick run that nothing closes.
struct Span {
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t ticks = 0;  // the length of the backtick runs around a closed code span, else 0
};

// An inline link "[text](dest)", as offsets into its line.
struct InlineLink {
  std::size_t text_begin = 0;
  std::size_t text_end = 0;
  std::size_t dest_begin = 0;
  std::size_t dest_end = 0;
};

// The end of a bare URL starting at `line[i]`, or NPOS when none starts there.
std::size_t url_end(std::string_view line, std::size_t i) noexcept {
  const std::string_view rest = line.substr(i);
  if (!rest.starts_with("http://") && !rest.starts_with("https://") && !rest.starts_with("www.")) return NPOS;
  std::size_t j = i;
  // "[" must end it: a link written right after a URL then still reads as a link.
  static constexpr std::string_view STOP = "<>[]`";
  while (j < line.size() && STOP.find(line[j]) == NPOS && text::space_at(line, j) == 0) ++j;
  return j;
}

// The end of raw HTML or an autolink starting at `line[i]` (a "<"), or NPOS when none starts there.
// Without its closing ">" (or "-->") it runs to the end of the line.
std::size_t html_end(std::string_view line, std::size_t i) noexcept {
  if (i + 1 >= line.size()) return NPOS;
  const char next = line[i + 1];
  if (!ascii_alpha(next) && next != '/' && next != '!' && next != '?') return NPOS;
  const bool comment = line.substr(i).starts_with("<!--");
  const std::size_t close = comment ? line.find("-->", i + 4) : line.find('>', i + 1);
  if (close == NPOS) return line.size();
  return close + (comment ? 3 : 1);
}

// Per byte: whether the lexer looks at it: code spans, raw HTML, links and images, bare URLs.
constexpr std::array<bool, 256> LEXED = [] {
  std::array<bool, 256> table{};
  for (const char c : std::string_view("`<![]hw")) table[static_cast<unsigned char>(c)] = true;
  return table;
}();

// Finds, left to right as a Markdown reader does, the code spans, links, images, bracketed text,
// raw HTML and bare URLs of a line. Links close on their "]" with a stack of "[" openers; once a
// link closes, the "[" openers before it are inactive (a link holds no link). Reuses its buffers
// from line to line.
class Lexer {
 public:
  void lex(std::string_view line) {
    spans_.clear();
    links_.clear();
    openers_.clear();
    active_from_ = 0;
    match_destinations(line);
    std::size_t i = 0;
    while (i < line.size()) {
      if (!LEXED[byte_at(line, i)]) {
        ++i;
        continue;
      }
      switch (line[i]) {
        case '`':
          i = code_span(line, i);
          break;
        case '<':
          if (const std::size_t end = html_end(line, i); end != NPOS) {
            spans_.push_back({i, end, 0});
            i = end;
          } else {
            ++i;
          }
          break;
        case '!':
          if (i + 1 < line.size() && line[i + 1] == '[') {
            openers_.push_back({i, true});
            i += 2;
          } else {
            ++i;
          }
          break;
        case '[':
          openers_.push_back({i, false});
          ++i;
          break;
        case ']':
          i = close_bracket(line, i);
          break;
        case 'h':
        case 'w':
          if (const std::size_t end = url_end(line, i); end != NPOS) {
            spans_.push_back({i, end, 0});
            i = end;
          } else {
            ++i;
          }
          break;
        default:
          ++i;
      }
    }
  }

  // The runs that are not prose, in line order, none inside another.
  std::span<const Span> spans() const noexcept { return spans_; }
  // The inline links, in line order.
  std::span<const InlineLink> links() const noexcept { return links_; }

 private:
  struct Opener {
    std::size_t pos = 0;
    bool image = false;  // "![" rather than "["
  };
  struct Level {
    std::size_t dest = 0;   // index into `dests_`
    std::size_t depth = 0;  // plain "(" open inside it
  };

  std::size_t code_span(std::string_view line, std::size_t i) {
    const std::size_t end = text::code_span_end(line, i);
    if (end == NPOS) {
      spans_.push_back({i, line.size(), 0});
      return line.size();
    }
    std::size_t ticks = 0;
    while (line[i + ticks] == '`') ++ticks;
    spans_.push_back({i, end, ticks});
    return end;
  }

  // Pairs each "(" that follows a "]" with its matching ")", counting the parentheses of the
  // whole line in one pass.
  void match_destinations(std::string_view line) {
    dests_.clear();
    levels_.clear();
    next_dest_ = 0;
    if (line.find("](") == NPOS) return;
    std::size_t outside = 0;  // plain "(" open outside every destination
    for (std::size_t j = 0; j < line.size(); ++j) {
      if (line[j] == '(') {
        if (j > 0 && line[j - 1] == ']') {
          levels_.push_back({dests_.size(), 0});
          dests_.emplace_back(j, NPOS);
        } else if (levels_.empty()) {
          ++outside;
        } else {
          ++levels_.back().depth;
        }
      } else if (line[j] == ')') {
        if (levels_.empty()) {
          if (outside > 0) --outside;
        } else if (levels_.back().depth > 0) {
          --levels_.back().depth;
        } else {
          dests_[levels_.back().dest].second = j;
          levels_.pop_back();
        }
      }
    }
  }

  // The ")" matching the "(" at `open`, or NPOS. Called with increasing `open`.
  std::size_t destination_end(std::size_t open) noexcept {
    while (next_dest_ < dests_.size() && dests_[next_dest_].first < open) ++next_dest_;
    return next_dest_ < dests_.size() && dests_[next_dest_].first == open ? dests_[next_dest_].second : NPOS;
  }

  std::size_t close_bracket(std::string_view line, std::size_t i) {
    if (openers_.empty()) return i + 1;
    const Opener opener = openers_.back();
    openers_.pop_back();
    const bool active = opener.image || openers_.size() >= active_from_;
    active_from_ = std::min(active_from_, openers_.size());
    if (!active) return i + 1;
    std::size_t end = i + 1;
    bool link = false;
    if (const std::size_t close = i + 1 < line.size() && line[i + 1] == '(' ? destination_end(i + 1) : NPOS; close != NPOS) {
      if (!opener.image) links_.push_back({opener.pos + 1, i, i + 2, close});
      end = close + 1;
      link = true;
    } else if (i + 1 < line.size() && line[i + 1] == '[') {
      // "[text][label]": taken for a reference link, whether or not the label is defined, unless
      // "[label](dest)" is an inline link of its own.
      std::size_t j = i + 2;
      while (j < line.size() && line[j] != '[' && line[j] != ']') ++j;
      const bool label = j < line.size() && line[j] == ']';
      if (label && !(j + 1 < line.size() && line[j + 1] == '(' && destination_end(j + 1) != NPOS)) {
        end = j + 1;
        link = true;
      }
    }
    // Bracketed text "[...]" without a destination may still be a reference link: never prose.
    while (!spans_.empty() && spans_.back().begin >= opener.pos) spans_.pop_back();
    spans_.push_back({opener.pos, end, 0});
    if (link && !opener.image) active_from_ = openers_.size();
    return end;
  }

  std::vector<Span> spans_;
  std::vector<InlineLink> links_;
  std::vector<Opener> openers_;
  std::size_t active_from_ = 0;                             // "[" openers below this index are inactive
  std::vector<std::pair<std::size_t, std::size_t>> dests_;  // "(" after "]" and its ")" (NPOS: none), by position
  std::vector<Level> levels_;
  std::size_t next_dest_ = 0;
};

// ---------------------------------------------------------------------------------------------
// Block structure: which lines hold no prose.

// Level of the heading `line` is (1 to 6), or 0 when it is not a heading line.
int heading_level(std::string_view line) {
  if (line.empty() || line[0] != '#' || !detail::HEADING_RE().match(line)) return 0;
  int level = 0;
  while (line[static_cast<std::size_t>(level)] == '#') ++level;
  return level;
}

bool is_marker_line(std::string_view line) {
  const std::string_view t = text::trim(line);
  return t.starts_with("<!--") && (detail::OPEN_RE().full_match(t) || detail::CLOSE_RE().full_match(t));
}

// "[label]: destination".
bool is_reference_definition(std::string_view line) {
  const std::string_view t = text::ltrim(line);
  if (t.empty() || t[0] != '[') return false;
  const std::size_t close = t.find(']');
  return close != NPOS && close + 1 < t.size() && t[close + 1] == ':';
}

// An HTML block and how it ends: at a blank line, or at the line holding its closing text.
enum class HtmlBlock { NONE, TO_BLANK_LINE, COMMENT, PROCESSING, DECLARATION, CDATA };

std::string_view closing_text(HtmlBlock block) noexcept {
  switch (block) {
    case HtmlBlock::COMMENT:
      return "-->";
    case HtmlBlock::PROCESSING:
      return "?>";
    case HtmlBlock::DECLARATION:
      return ">";
    case HtmlBlock::CDATA:
      return "]]>";
    default:
      return {};
  }
}

// The HTML block that `line` opens: a line starting, after white space, with a comment, a
// processing instruction, a declaration, CDATA, or an opening or closing tag. `after` gets the
// offset just past the opener, where its closing text is looked for.
HtmlBlock html_block_start(std::string_view line, std::size_t& after) {
  const std::string_view t = text::ltrim(line);
  const std::size_t offset = line.size() - t.size();
  if (t.size() < 2 || t[0] != '<') return HtmlBlock::NONE;
  const auto opener = [&](std::string_view head, HtmlBlock block) {
    after = offset + head.size();
    return block;
  };
  if (t.starts_with("<!--")) return opener("<!--", HtmlBlock::COMMENT);
  if (t.starts_with("<?")) return opener("<?", HtmlBlock::PROCESSING);
  if (t.starts_with("<![CDATA[")) return opener("<![CDATA[", HtmlBlock::CDATA);
  if (t[1] == '!' && t.size() > 2 && ascii_alpha(t[2])) return opener("<!", HtmlBlock::DECLARATION);
  std::size_t i = t[1] == '/' ? 2 : 1;
  if (i >= t.size() || !ascii_alpha(t[i])) return HtmlBlock::NONE;
  while (i < t.size() && (ascii_alpha(t[i]) || (t[i] >= '0' && t[i] <= '9') || t[i] == '-')) ++i;
  // A tag name, then the end of the line, white space, ">" or "/"; "<https://x>" is an autolink.
  if (i == t.size() || t[i] == '>' || t[i] == '/' || text::space_at(t, i) != 0) return opener({}, HtmlBlock::TO_BLANK_LINE);
  return HtmlBlock::NONE;
}

// Tracks, line by line, whether a line can hold links: outside fenced code, HTML blocks and the
// "Related"/"Sources" sections, and not a heading, marker, blank or reference definition line.
class BlockState {
 public:
  bool prose(std::string_view line) {
    if (is_fence_line(line)) {
      in_fence_ = !in_fence_;
      html_ = HtmlBlock::NONE;
      return false;
    }
    if (in_fence_) return false;
    if (const int level = heading_level(line)) {
      if (level <= 2) in_section_ = level == 2 && detail::is_legacy_section(detail::h2_title(line).value_or(""));
      return false;
    }
    if (html_ != HtmlBlock::NONE) {
      const bool ends = html_ == HtmlBlock::TO_BLANK_LINE ? text::is_blank(line) : line.find(closing_text(html_)) != NPOS;
      if (ends) html_ = HtmlBlock::NONE;
      return false;
    }
    if (in_section_ || text::is_blank(line) || is_marker_line(line) || is_reference_definition(line)) return false;
    std::size_t after = 0;
    if (const HtmlBlock block = html_block_start(line, after); block != HtmlBlock::NONE) {
      const bool closed_here = block != HtmlBlock::TO_BLANK_LINE && line.find(closing_text(block), after) != NPOS;
      if (!closed_here) html_ = block;
      return false;
    }
    return true;
  }

 private:
  bool in_fence_ = false;
  bool in_section_ = false;  // inside a level-2 "Related" or "Sources" section
  HtmlBlock html_ = HtmlBlock::NONE;
};

// ---------------------------------------------------------------------------------------------
// What a CommonMark reader sees. The line-by-line rules above cannot tell that a line is indented
// code, or that a code span or link begun on one line runs on into the next. `ReaderView` reads
// the body once the way cmark 0.30 does: its block structure (block quotes, list items, fenced and
// indented code, HTML blocks, headings, paragraphs and the link reference definitions at their
// start) and then the inline structure of each paragraph as one text (backslash escapes, code
// spans, autolinks, raw HTML, links and images). What is left of the paragraphs is prose; a link
// goes only where both views see prose, so an inserted link always reads back as one.

using Range = std::pair<std::size_t, std::size_t>;  // [first, second) in the body

bool cm_space(char c) noexcept { return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r'; }
bool cm_punct(char c) noexcept { return (c >= '!' && c <= '/') || (c >= ':' && c <= '@') || (c >= '[' && c <= '`') || (c >= '{' && c <= '~'); }
bool ascii_digit(char c) noexcept { return c >= '0' && c <= '9'; }
bool ascii_alnum(char c) noexcept { return ascii_alpha(c) || ascii_digit(c); }

bool starts_with_ignoring_ascii_case(std::string_view s, std::size_t at, std::string_view prefix) noexcept {
  return at <= s.size() && s.size() - at >= prefix.size() && equal_ignoring_ascii_case(s.substr(at, prefix.size()), prefix);
}

// The end of the first `what` at or after `from`, remembered per pattern: the reader asks with
// increasing `from`, so a search that found nothing, or found a place still ahead, is not repeated.
class Finder {
 public:
  explicit Finder(std::string_view what) : what_(what) {}
  void reset() noexcept { from_ = NPOS; }
  // Where the first `what` at or after `from` starts, or NPOS.
  std::size_t find(std::string_view s, std::size_t from) noexcept {
    if (from_ == NPOS || from < from_ || (found_ != NPOS && found_ < from)) {
      from_ = from;
      found_ = s.find(what_, from);
    }
    return found_;
  }

 private:
  std::string_view what_;
  std::size_t from_ = NPOS;
  std::size_t found_ = NPOS;
};

// The HTML grammar of raw inline HTML and of HTML blocks of the seventh kind: `s[i]` is "<"; the
// end of the tag, or NPOS when an open or closing tag does not start there.
std::size_t html_tag_end(std::string_view s, std::size_t i) noexcept {
  const auto at = [&](std::size_t k) { return k < s.size() ? s[k] : '\0'; };
  const auto tag_name = [&](std::size_t k) {
    if (!ascii_alpha(at(k))) return NPOS;
    while (ascii_alnum(at(k)) || at(k) == '-') ++k;
    return k;
  };
  const auto spaces = [&](std::size_t k) {
    while (cm_space(at(k))) ++k;
    return k;
  };
  std::size_t k = i + 1;
  if (at(k) == '/') {
    k = tag_name(k + 1);
    if (k == NPOS) return NPOS;
    k = spaces(k);
    return at(k) == '>' ? k + 1 : NPOS;
  }
  k = tag_name(k);
  if (k == NPOS) return NPOS;
  while (true) {
    const std::size_t name = spaces(k);
    const char c = at(name);
    if (name == k || !(ascii_alpha(c) || c == '_' || c == ':')) {
      k = name;
      break;
    }
    k = name + 1;
    while (ascii_alnum(at(k)) || at(k) == '_' || at(k) == '.' || at(k) == ':' || at(k) == '-') ++k;
    std::size_t v = spaces(k);
    if (at(v) != '=') continue;
    v = spaces(v + 1);
    if (at(v) == '"' || at(v) == '\'') {
      const std::size_t close = s.find(at(v), v + 1);
      if (close == NPOS) return NPOS;
      k = close + 1;
    } else {
      std::size_t u = v;
      while (u < s.size() && !cm_space(s[u]) && std::string_view("\"'=<>`").find(s[u]) == NPOS) ++u;
      if (u == v) return NPOS;
      k = u;
    }
  }
  if (at(k) == '/') ++k;
  return at(k) == '>' ? k + 1 : NPOS;
}

// The kind (1 to 7) of HTML block that a line opens at `s[i]` ("<"), or 0; `seven` allows the
// seventh kind, which cannot interrupt a paragraph.
int html_block_kind(std::string_view s, std::size_t i, bool seven) noexcept {
  const auto at = [&](std::size_t k) { return k < s.size() ? s[k] : '\n'; };
  for (const std::string_view name : {"script", "pre", "style", "textarea"}) {
    if (starts_with_ignoring_ascii_case(s, i + 1, name) && (cm_space(at(i + 1 + name.size())) || at(i + 1 + name.size()) == '>')) return 1;
  }
  if (s.substr(i).starts_with("<!--")) return 2;
  if (s.substr(i).starts_with("<?")) return 3;
  if (at(i + 1) == '!' && at(i + 2) >= 'A' && at(i + 2) <= 'Z') return 4;
  if (s.substr(i).starts_with("<![CDATA[")) return 5;
  static constexpr std::string_view BLOCK_TAGS[] = {
      "address", "article", "aside", "base", "basefont", "blockquote", "body", "caption", "center", "col", "colgroup", "dd",
      "details", "dialog", "dir", "div", "dl", "dt", "fieldset", "figcaption", "figure", "footer", "form", "frame", "frameset",
      "h1", "h2", "h3", "h4", "h5", "h6", "head", "header", "hr", "html", "iframe", "legend", "li", "link", "main", "menu",
      "menuitem", "nav", "noframes", "ol", "optgroup", "option", "p", "param", "section", "source", "summary", "table", "tbody",
      "td", "tfoot", "th", "thead", "title", "tr", "track", "ul"};
  const std::size_t name = at(i + 1) == '/' ? i + 2 : i + 1;
  std::size_t end = name;
  while (end < s.size() && ascii_alnum(s[end])) ++end;
  for (const std::string_view tag : BLOCK_TAGS) {
    if (end - name != tag.size() || !equal_ignoring_ascii_case(s.substr(name, tag.size()), tag)) continue;
    if (cm_space(at(end)) || at(end) == '>' || (at(end) == '/' && at(end + 1) == '>')) return 6;
  }
  if (!seven) return 0;
  const std::size_t tag_end = html_tag_end(s, i);
  if (tag_end == NPOS) return 0;
  for (std::size_t k = tag_end; k < s.size(); ++k) {
    if (s[k] != ' ' && s[k] != '\t' && s[k] != '\f') return 0;
  }
  return 7;
}

// Reads a body as a CommonMark reader does and keeps where its prose is.
class ReaderView {
 public:
  // Reads `body`; the views below point into it.
  void read(std::string_view body);

  // The places a link may go, in body order, none overlapping.
  std::span<const Range> prose() const noexcept { return prose_; }
  // The code spans outside links and raw HTML that a link may enclose, in body order.
  std::span<const Range> code_spans() const noexcept { return code_spans_; }
  // The inline links "[text](destination)": where "[" and "]" stand, ordered by "[".
  std::span<const Range> links() const noexcept { return links_; }

 private:
  enum class Kind : std::uint8_t { QUOTE, ITEM, PARAGRAPH, FENCED, INDENTED, HTML };
  struct Block {
    Kind kind = Kind::PARAGRAPH;
    int width = 0;             // a list item: the columns its content is indented by
    bool has_child = false;    // a list item: holds a block already
    char fence = 0;            // fenced code: "`" or "~"
    std::size_t fence_length = 0;
    int fence_offset = 0;      // fenced code: the opener's indentation
    int html = 0;              // an HTML block: its kind, 1 to 7
  };
  // One line of a paragraph: its text from the first non-blank character, and its line ending.
  struct Segment {
    std::size_t begin = 0;
    std::size_t end = 0;
    std::size_t ending_end = 0;
  };
  struct Paragraph {
    std::size_t first = 0;  // its segments in `segments_`
    std::size_t last = 0;
    std::size_t inline_start = 0;  // where its text starts after the link reference definitions
  };
  struct Interval {
    std::size_t begin = 0;
    std::size_t end = 0;
    bool code = false;  // a code span not inside a link or raw HTML
  };
  struct Opener {
    std::size_t pos = 0;  // the "[" (or the "!" of "![")
    bool image = false;
    bool bracket_after = false;   // another "[" came after it
    std::size_t links_below = 0;  // the "[" openers (not "![") below it
  };
  enum class Lookup { DEFINED, UNDEFINED, UNKNOWN };

  // Block structure.
  void read_line(std::size_t begin, std::size_t end);
  std::size_t list_marker_end(bool interrupts_paragraph) const;
  void find_first_nonspace();
  void advance(int count, bool columns);
  void open_paragraph_line(std::size_t begin);
  void close_from(std::size_t depth);
  void close_paragraph();
  void push(const Block& block);

  // Paragraph text and inline structure.
  void build_content(const Paragraph& p, bool trim);
  std::size_t reference_definition_end(std::size_t pos);
  void read_inlines(const Paragraph& p);
  std::size_t close_bracket(std::size_t i);
  std::size_t inline_link_end(std::size_t open) const;
  std::size_t link_label_end(std::size_t open) const;
  std::size_t link_url_length(std::size_t at) const;
  std::size_t link_title_length(std::size_t at) const;
  std::size_t spaces_from(std::size_t at) const;
  std::size_t pointy_end(std::size_t i);
  std::size_t closing_backticks(std::size_t end, std::size_t ticks);
  Lookup lookup(std::string_view label) const;
  void add_label(std::string_view label);
  void add_interval(std::size_t begin, std::size_t end, bool code);
  void keep_prose(const Paragraph& p);

  std::string_view body_;
  std::string_view line_;
  std::size_t line_begin_ = 0;
  std::size_t offset_ = 0;  // within `line_`
  int column_ = 0;
  bool partial_tab_ = false;
  std::size_t first_nonspace_ = 0;
  int first_nonspace_column_ = 0;
  int indent_ = 0;
  bool blank_ = false;
  std::vector<Block> open_;
  bool in_paragraph_ = false;

  std::vector<Segment> segments_;
  std::vector<Paragraph> paragraphs_;
  std::unordered_set<std::string> labels_;  // defined labels, ASCII ones normalized
  bool labels_beyond_ascii_ = false;        // some defined label holds a byte beyond ASCII

  std::string content_;                  // one paragraph's text, as the inline reader sees it
  std::vector<std::size_t> starts_;      // per segment: where it starts in `content_`
  std::vector<Interval> intervals_;      // the paragraph's text that is not prose, in order
  std::vector<Opener> openers_;
  std::size_t active_from_ = 0;          // "[" openers below this index are inactive: a link holds no link
  std::vector<Range> runs_;              // backtick runs: start, length
  std::vector<std::uint32_t> next_run_;  // per run: the next run of the same length
  std::vector<std::uint32_t> run_cursor_ = std::vector<std::uint32_t>(MAX_TICKS + 1, NONE);
  std::vector<std::size_t> touched_;     // the lengths `run_cursor_` holds
  std::size_t tail_ = NPOS;              // the text from here on is not prose
  bool ambiguous_ = false;               // the structure depends on what cannot be known here
  Finder comment_end_{"-->"}, double_dash_{"--"}, gt_{">"};
  bool pi_failed_ = false;     // a processing instruction of the paragraph was not closed
  bool cdata_failed_ = false;  // nor was a CDATA section
  std::vector<Range> paragraph_links_;

  std::vector<Range> prose_;
  std::vector<Range> code_spans_;
  std::vector<Range> links_;

  static constexpr std::size_t MAX_TICKS = 1000;  // a longer backtick run never opens a code span
  static constexpr std::size_t MAX_LABEL = 999;
  static constexpr std::size_t MAX_DEPTH = 100;  // block quotes and list items inside one another
};

void ReaderView::read(std::string_view body) {
  body_ = body;
  // Lines end at "\n", "\r\n" or "\r"; a final line ending opens no line after it.
  for (std::size_t begin = 0;;) {
    std::size_t end = body.find_first_of("\r\n", begin);
    if (end == NPOS) end = body.size();
    if (open_.size() > MAX_DEPTH) {
      // Each line is matched against every open block, so a body nested this deep is not read
      // further: nothing from here on is prose, and the paragraph still open is dropped. A label
      // defined further on could be any label.
      if (in_paragraph_) paragraphs_.pop_back();
      in_paragraph_ = false;
      labels_beyond_ascii_ = true;
      break;
    }
    read_line(begin, end);
    if (end == body.size()) break;
    begin = end + (body[end] == '\r' && end + 1 < body.size() && body[end + 1] == '\n' ? 2 : 1);
    if (begin == body.size()) break;
  }
  close_from(0);
  for (const Paragraph& p : paragraphs_) read_inlines(p);
  std::sort(links_.begin(), links_.end());
}

// Moves `count` characters (or columns, where a tab counts as the columns to the next multiple of
// four and may be consumed in part) into the line.
void ReaderView::advance(int count, bool columns) {
  while (count > 0 && offset_ < line_.size()) {
    if (line_[offset_] == '\t') {
      const int to_tab = 4 - column_ % 4;
      if (columns) {
        partial_tab_ = to_tab > count;
        const int step = std::min(count, to_tab);
        column_ += step;
        offset_ += partial_tab_ ? 0 : 1;
        count -= step;
      } else {
        partial_tab_ = false;
        column_ += to_tab;
        ++offset_;
        --count;
      }
    } else {
      partial_tab_ = false;
      ++offset_;
      ++column_;
      --count;
    }
  }
}

void ReaderView::find_first_nonspace() {
  std::size_t i = offset_;
  int column = column_;
  int to_tab = 4 - column_ % 4;
  while (i < line_.size() && (line_[i] == ' ' || line_[i] == '\t')) {
    if (line_[i] == ' ') {
      ++column;
      if (--to_tab == 0) to_tab = 4;
    } else {
      column += to_tab;
      to_tab = 4;
    }
    ++i;
  }
  first_nonspace_ = i;
  first_nonspace_column_ = column;
  indent_ = column - column_;
  blank_ = i == line_.size();
}

void ReaderView::push(const Block& block) {
  if (!open_.empty() && open_.back().kind == Kind::ITEM) open_.back().has_child = true;
  open_.push_back(block);
}

// Closes the open blocks from `depth` on; a paragraph among them is kept for its inlines.
void ReaderView::close_from(std::size_t depth) {
  if (open_.size() > depth && in_paragraph_) close_paragraph();
  open_.resize(std::min(open_.size(), depth));
}

void ReaderView::close_paragraph() {
  in_paragraph_ = false;
  Paragraph& p = paragraphs_.back();
  p.last = segments_.size();
  if (body_[segments_[p.first].begin] != '[') return;
  build_content(p, false);
  std::size_t pos = 0;
  for (std::size_t end; pos < content_.size() && content_[pos] == '[' && (end = reference_definition_end(pos)) != NPOS;) pos = end;
  p.inline_start = pos;
}

void ReaderView::open_paragraph_line(std::size_t begin) {
  if (!in_paragraph_) {
    in_paragraph_ = true;
    paragraphs_.push_back({segments_.size(), segments_.size(), 0});
  }
  segments_.push_back({line_begin_ + begin, line_begin_ + line_.size(), 0});
}

void ReaderView::read_line(std::size_t begin, std::size_t end) {
  line_ = body_.substr(begin, end - begin);
  line_begin_ = begin;
  offset_ = 0;
  column_ = 0;
  partial_tab_ = false;
  if (in_paragraph_) segments_.back().ending_end = begin;  // the previous line's ending ran to here
  const auto peek = [&](std::size_t i) { return i < line_.size() ? line_[i] : '\n'; };

  // The open blocks this line continues.
  std::size_t matched = 0;
  bool all_matched = true;
  for (; matched < open_.size(); ++matched) {
    Block& b = open_[matched];
    find_first_nonspace();
    bool ok = true;
    switch (b.kind) {
      case Kind::QUOTE:
        ok = indent_ <= 3 && peek(first_nonspace_) == '>';
        if (ok) {
          advance(indent_ + 1, true);
          if (peek(offset_) == ' ' || peek(offset_) == '\t') advance(1, true);
        }
        break;
      case Kind::ITEM:
        if (indent_ >= b.width) {
          advance(b.width, true);
        } else if (blank_ && b.has_child) {
          advance(static_cast<int>(first_nonspace_ - offset_), false);
        } else {
          ok = false;
        }
        break;
      case Kind::FENCED: {
        std::size_t run = 0;
        if (indent_ <= 3 && peek(first_nonspace_) == b.fence) {
          std::size_t k = first_nonspace_;
          while (k < line_.size() && line_[k] == b.fence) ++k;
          std::size_t rest = k;
          while (rest < line_.size() && (line_[rest] == ' ' || line_[rest] == '\t')) ++rest;
          if (k - first_nonspace_ >= 3 && rest == line_.size()) run = k - first_nonspace_;
        }
        if (run >= b.fence_length) {  // the closing fence: the line holds nothing else
          close_from(matched);
          return;
        }
        for (int n = b.fence_offset; n > 0 && (peek(offset_) == ' ' || peek(offset_) == '\t'); --n) advance(1, true);
        break;
      }
      case Kind::INDENTED:
        if (indent_ >= 4) {
          advance(4, true);
        } else if (blank_) {
          advance(static_cast<int>(first_nonspace_ - offset_), false);
        } else {
          ok = false;
        }
        break;
      case Kind::HTML:
        ok = b.html <= 5 || !blank_;
        break;
      case Kind::PARAGRAPH:
        ok = !blank_;
        break;
    }
    if (!ok) {
      all_matched = false;
      break;
    }
  }

  // The blocks this line opens. A block opened where the last matched block is a paragraph ends
  // that paragraph and goes into its container.
  const bool tip_is_paragraph = in_paragraph_;
  const std::size_t keep = matched > 0 && open_[matched - 1].kind == Kind::PARAGRAPH ? matched - 1 : matched;
  bool cont_paragraph = keep < matched;
  bool maybe_lazy = tip_is_paragraph;
  bool opened = false;
  bool leaf = false;  // a heading, a thematic break or a setext underline: no prose on the line
  bool paragraph_continues = false;
  const auto start = [&](const Block& block) {
    if (!opened) close_from(keep);
    opened = true;
    push(block);
  };
  const bool in_code_or_html =
      matched > 0 && (open_[matched - 1].kind == Kind::FENCED || open_[matched - 1].kind == Kind::INDENTED || open_[matched - 1].kind == Kind::HTML);
  while (!in_code_or_html) {
    find_first_nonspace();
    const bool indented = indent_ >= 4;
    const char c = peek(first_nonspace_);
    const std::size_t k = first_nonspace_;
    std::size_t run = k;  // the run of `c` from `k`
    while (run < line_.size() && line_[run] == c) ++run;
    run -= k;
    const auto rest_is = [&](std::size_t from, auto allowed) {
      for (std::size_t j = from; j < line_.size(); ++j) {
        if (!allowed(line_[j])) return false;
      }
      return true;
    };
    const auto blank_char = [](char x) { return x == ' ' || x == '\t'; };
    if (!indented && c == '>') {
      advance(static_cast<int>(first_nonspace_ + 1 - offset_), false);
      if (peek(offset_) == ' ' || peek(offset_) == '\t') advance(1, true);
      start({.kind = Kind::QUOTE});
    } else if (!indented && c == '#' && run <= 6 && (k + run == line_.size() || blank_char(line_[k + run]))) {
      if (!opened) close_from(keep);
      // The heading's text is read for its inline structure like a one-line paragraph.
      std::size_t text = k + run;
      while (text < line_.size() && blank_char(line_[text])) ++text;
      if (text < line_.size()) {
        paragraphs_.push_back({segments_.size(), segments_.size() + 1, 0});
        segments_.push_back({line_begin_ + text, line_begin_ + line_.size(), line_begin_ + line_.size()});
      }
      leaf = true;
      break;
    } else if (!indented && (c == '`' || c == '~') && run >= 3 && (c == '~' || line_.find('`', k + run) == NPOS)) {
      start({.kind = Kind::FENCED, .fence = c, .fence_length = run, .fence_offset = static_cast<int>(first_nonspace_ - offset_)});
      advance(static_cast<int>(first_nonspace_ + run - offset_), false);
      break;
    } else if (int html = !indented && c == '<' ? html_block_kind(line_, k, !cont_paragraph && !maybe_lazy) : 0; html > 0) {
      start({.kind = Kind::HTML, .html = html});
      break;
    } else if (!indented && cont_paragraph && (c == '=' || c == '-') && rest_is(k + run, blank_char)) {
      // A setext underline makes the paragraph a heading, unless the paragraph held nothing but
      // link reference definitions: then the line is paragraph text.
      const Paragraph& p = paragraphs_.back();
      std::size_t pos = 0;
      if (body_[segments_[p.first].begin] == '[') {
        build_content({p.first, segments_.size(), 0}, false);
        for (std::size_t e; pos < content_.size() && content_[pos] == '[' && (e = reference_definition_end(pos)) != NPOS;) pos = e;
      }
      if (pos == 0 || pos < content_.size()) {
        close_from(keep);
        leaf = true;
      } else {
        paragraph_continues = true;
      }
      break;
    } else if (!indented && !(cont_paragraph && !all_matched) && (c == '*' || c == '-' || c == '_') &&
               rest_is(k, [&](char x) { return x == c || blank_char(x); }) &&
               static_cast<std::size_t>(std::count(line_.begin() + static_cast<std::ptrdiff_t>(k), line_.end(), c)) >= 3) {
      if (!opened) close_from(keep);
      leaf = true;
      break;
    } else if (std::size_t m = indent_ < 4 ? list_marker_end(cont_paragraph) : 0; m > 0) {
      const int marker_offset = indent_;
      const int marker = static_cast<int>(m - first_nonspace_);
      advance(static_cast<int>(m - offset_), false);
      const std::size_t save_offset = offset_;
      const int save_column = column_;
      const bool save_partial = partial_tab_;
      while (column_ - save_column <= 5 && (peek(offset_) == ' ' || peek(offset_) == '\t')) advance(1, true);
      const int spaces = column_ - save_column;
      int padding = marker + spaces;
      if (spaces >= 5 || spaces < 1 || offset_ == line_.size()) {
        padding = marker + 1;
        offset_ = save_offset;
        column_ = save_column;
        partial_tab_ = save_partial;
        if (spaces > 0) advance(1, true);
      }
      start({.kind = Kind::ITEM, .width = marker_offset + padding});
    } else if (indented && !maybe_lazy && !blank_) {
      advance(4, true);
      start({.kind = Kind::INDENTED});
      break;
    } else {
      break;
    }
    cont_paragraph = false;
    maybe_lazy = false;
  }

  if (leaf) {
    if (!open_.empty() && open_.back().kind == Kind::ITEM) open_.back().has_child = true;
    return;
  }
  find_first_nonspace();
  if (paragraph_continues) {
    open_paragraph_line(first_nonspace_);
    return;
  }
  // A lazy continuation: the paragraph goes on though some container did not match.
  if (!opened && matched < open_.size() && tip_is_paragraph && !blank_ && open_.back().kind == Kind::PARAGRAPH) {
    open_paragraph_line(first_nonspace_);
    return;
  }
  if (!opened) close_from(matched);
  const Kind tip = open_.empty() ? Kind::QUOTE : open_.back().kind;
  if (tip == Kind::FENCED || tip == Kind::INDENTED) return;
  if (tip == Kind::HTML) {
    static constexpr std::string_view ENDS[] = {"", "", "-->", "?>", ">", "]]>"};
    const int kind = open_.back().html;
    bool ends = false;
    if (kind == 1) {
      for (std::size_t k = line_.find("</", first_nonspace_); k != NPOS && !ends; k = line_.find("</", k + 1)) {
        for (const std::string_view name : {"script>", "pre>", "style>", "textarea>"}) ends = ends || starts_with_ignoring_ascii_case(line_, k + 2, name);
      }
    } else if (kind <= 5) {
      ends = line_.find(ENDS[kind], first_nonspace_) != NPOS;
    }
    if (ends) close_from(open_.size() - 1);
    return;
  }
  if (blank_) return;
  if (tip != Kind::PARAGRAPH) push({.kind = Kind::PARAGRAPH});
  open_paragraph_line(first_nonspace_);
}

// Where the list marker at the first non-blank character ends (a bullet, or up to nine digits
// and "." or ")", followed by white space), or 0 when none is there. A list item interrupting a
// paragraph must hold text and, when ordered, start at 1.
std::size_t ReaderView::list_marker_end(bool interrupts_paragraph) const {
  const auto peek = [&](std::size_t i) { return i < line_.size() ? line_[i] : '\n'; };
  std::size_t m = first_nonspace_;
  const char c = peek(m);
  if (c == '*' || c == '-' || c == '+') {
    ++m;
  } else if (ascii_digit(c)) {
    long number = 0;
    for (int digits = 0; digits < 9 && ascii_digit(peek(m)); ++digits) number = number * 10 + (line_[m++] - '0');
    if ((interrupts_paragraph && number != 1) || (peek(m) != '.' && peek(m) != ')')) return 0;
    ++m;
  } else {
    return 0;
  }
  if (!cm_space(peek(m))) return 0;
  if (interrupts_paragraph) {
    std::size_t j = m;
    while (j < line_.size() && (line_[j] == ' ' || line_[j] == '\t')) ++j;
    if (j == line_.size()) return 0;
  }
  return m;
}

// `content_` becomes the text of `segments_[p.first, p.last)`: each line from its first non-blank
// character with its line ending ("\n" for the last line when it has none). Link reference
// definitions are read from that; for the inline reader (`trim`) white space at the end is cut.
void ReaderView::build_content(const Paragraph& p, bool trim) {
  content_.clear();
  starts_.clear();
  for (std::size_t k = p.first; k < p.last; ++k) {
    const Segment& s = segments_[k];
    starts_.push_back(content_.size());
    content_.append(body_.substr(s.begin, std::max(s.end, s.ending_end) - s.begin));
  }
  if (trim) {
    while (!content_.empty() && cm_space(content_.back())) content_.pop_back();
  } else if (content_.empty() || (content_.back() != '\n' && content_.back() != '\r')) {
    content_ += '\n';
  }
}

std::size_t ReaderView::spaces_from(std::size_t at) const {
  while (at < content_.size() && cm_space(content_[at])) ++at;
  return at;
}

// Where the link label "[...]" at `open` ends (after its "]"), or NPOS: no unescaped bracket
// inside, at most 999 characters.
std::size_t ReaderView::link_label_end(std::size_t open) const {
  std::size_t i = open + 1, length = 0;
  while (i < content_.size() && content_[i] != '[' && content_[i] != ']') {
    const std::size_t step = content_[i] == '\\' && i + 1 < content_.size() && cm_punct(content_[i + 1]) ? 2 : 1;
    i += step;
    length += step;
    if (length > MAX_LABEL) return NPOS;
  }
  return i < content_.size() && content_[i] == ']' ? i + 1 : NPOS;
}

// The length of the link destination at `at`, "<...>" or a run without white space whose
// parentheses balance; NPOS when there is none.
std::size_t ReaderView::link_url_length(std::size_t at) const {
  const std::string_view s = content_;
  std::size_t i = at;
  if (i < s.size() && s[i] == '<') {
    for (++i; i < s.size(); ++i) {
      if (s[i] == '>') return i + 1 - at;
      if (s[i] == '\\') {
        ++i;
      } else if (s[i] == '\n' || s[i] == '<') {
        return NPOS;
      }
    }
    return NPOS;
  }
  std::size_t depth = 0;
  while (i < s.size()) {
    if (s[i] == '\\' && i + 1 < s.size() && cm_punct(s[i + 1])) {
      i += 2;
    } else if (s[i] == '(') {
      if (++depth > 32) return NPOS;
      ++i;
    } else if (s[i] == ')') {
      if (depth == 0) break;
      --depth;
      ++i;
    } else if (cm_space(s[i])) {
      if (i == at) return NPOS;
      break;
    } else {
      ++i;
    }
  }
  return i >= s.size() || depth != 0 ? NPOS : i - at;
}

// The length of the link title at `at` ("...", '...' or (...)), or 0. A quote or parenthesis
// inside must be escaped; the longest title that reads so is taken.
std::size_t ReaderView::link_title_length(std::size_t at) const {
  const std::string_view s = content_;
  if (at >= s.size()) return 0;
  const char open = s[at];
  const char close = open == '(' ? ')' : open;
  if (open != '"' && open != '\'' && open != '(') return 0;
  std::size_t last = NPOS;  // the last closer so far, all before it escaped
  for (std::size_t i = at + 1; i < s.size(); ++i) {
    const bool escaped = s[i - 1] == '\\' && i - 1 > at;
    if (s[i] == close) {
      if (!escaped) return i + 1 - at;
      last = i;
    } else if (open == '(' && s[i] == '(' && !escaped) {
      break;
    }
  }
  return last == NPOS ? 0 : last + 1 - at;
}

// Where the link reference definition at `pos` ("[label]: destination 'title'") ends, or NPOS.
// Its label is remembered.
std::size_t ReaderView::reference_definition_end(std::size_t pos) {
  const std::string_view s = content_;
  const std::size_t label_end = link_label_end(pos);
  if (label_end == NPOS || label_end >= s.size() || s[label_end] != ':') return NPOS;
  const std::string_view label = s.substr(pos + 1, label_end - pos - 2);
  const auto skip_blanks = [&](std::size_t i) {
    while (i < s.size() && (s[i] == ' ' || s[i] == '\t')) ++i;
    return i;
  };
  const auto skip_line_end = [&](std::size_t i) {
    if (i < s.size() && s[i] == '\r') ++i;
    if (i < s.size() && s[i] == '\n') ++i;
    return i;
  };
  const auto spnl = [&](std::size_t i) { return skip_blanks(skip_line_end(skip_blanks(i))); };
  bool has_text = false;
  for (const char c : label) has_text = has_text || !cm_space(c);
  if (!has_text) return NPOS;
  std::size_t i = spnl(label_end + 1);
  const std::size_t url = link_url_length(i);
  if (url == NPOS) return NPOS;
  i += url;
  const std::size_t before_title = i;
  i = spnl(i);
  const std::size_t title = i == before_title ? 0 : link_title_length(i);
  i = title > 0 ? i + title : before_title;
  const auto line_ends = [&](std::size_t j) {
    j = skip_blanks(j);
    const std::size_t after = skip_line_end(j);
    return after > j || j == s.size() ? after : NPOS;
  };
  std::size_t end = line_ends(i);
  if (end == NPOS && title > 0) end = line_ends(before_title);
  if (end == NPOS) return NPOS;
  add_label(label);
  return end;
}

// Labels compare case-insensitively with runs of white space as one blank. Only ASCII labels are
// kept exactly; beyond ASCII, case folding could make any two labels equal.
void ReaderView::add_label(std::string_view label) {
  std::string key;
  for (const char c : label) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      labels_beyond_ascii_ = true;
      return;
    }
    if (cm_space(c)) {
      if (!key.empty() && key.back() != ' ') key += ' ';
    } else {
      key += ascii_lower(c);
    }
  }
  if (!key.empty() && key.back() == ' ') key.pop_back();
  labels_.insert(std::move(key));
}

ReaderView::Lookup ReaderView::lookup(std::string_view label) const {
  if (labels_.empty() && !labels_beyond_ascii_) return Lookup::UNDEFINED;
  if (label.size() > MAX_LABEL) return Lookup::UNDEFINED;
  std::string key;
  for (const char c : label) {
    if (static_cast<unsigned char>(c) >= 0x80) return Lookup::UNKNOWN;
    if (cm_space(c)) {
      if (!key.empty() && key.back() != ' ') key += ' ';
    } else {
      key += ascii_lower(c);
    }
  }
  if (!key.empty() && key.back() == ' ') key.pop_back();
  if (key.empty()) return Lookup::UNDEFINED;
  if (labels_.contains(key)) return Lookup::DEFINED;
  return labels_beyond_ascii_ ? Lookup::UNKNOWN : Lookup::UNDEFINED;
}

// Where the closing run of `ticks` backticks for a code span whose opening run ends at `end`
// starts, or NPOS. Runs are looked up by length with a cursor per length, moved forward only.
std::size_t ReaderView::closing_backticks(std::size_t end, std::size_t ticks) {
  if (ticks > MAX_TICKS) return NPOS;
  std::uint32_t& k = run_cursor_[ticks];
  while (k != NONE && runs_[k].first < end) k = next_run_[k];
  return k == NONE ? NPOS : runs_[k].first;
}

// `content_[i]` is "<": the end of the autolink or raw HTML starting there, or NPOS. Sets
// `ambiguous_` for a comment or declaration that CommonMark versions read differently.
std::size_t ReaderView::pointy_end(std::size_t i) {
  const std::string_view s = content_;
  const auto at = [&](std::size_t k) { return k < s.size() ? s[k] : '\0'; };
  // An autolink: a scheme of 2 to 32 characters, ":", no white space, "<" or ">"; or an email.
  if (ascii_alpha(at(i + 1))) {
    std::size_t k = i + 2;
    while (k < s.size() && k - i - 1 < 33 && (ascii_alnum(s[k]) || s[k] == '+' || s[k] == '.' || s[k] == '-')) ++k;
    if (at(k) == ':' && k - i - 1 >= 2 && k - i - 1 <= 32) {
      for (++k; k < s.size() && static_cast<unsigned char>(s[k]) > 0x20 && s[k] != '<' && s[k] != '>';) ++k;
      if (at(k) == '>') return k + 1;
    }
  }
  {
    static constexpr std::string_view LOCAL = ".!#$%&'*+/=?^_`{|}~-";
    std::size_t k = i + 1;
    while (k < s.size() && (ascii_alnum(s[k]) || LOCAL.find(s[k]) != NPOS)) ++k;
    if (k > i + 1 && at(k) == '@') {
      bool ok = true;
      do {
        const std::size_t label = ++k;
        while (k < s.size() && (ascii_alnum(s[k]) || s[k] == '-') && k - label < 63) ++k;
        ok = k > label && ascii_alnum(s[label]) && ascii_alnum(s[k - 1]);
      } while (ok && at(k) == '.');
      if (ok && at(k) == '>') return k + 1;
    }
  }
  if (i + 3 > s.size()) return NPOS;
  if (at(i + 1) == '!' && at(i + 2) == '-') {
    // A comment: "<!--", text that does not start with ">" or "->", holds no "--" and does not
    // end with "-", then "-->"; "<!---->" too. Newer readers take "<!-->", "<!--->" and any text
    // up to the first "-->".
    if (at(i + 3) != '-') return NPOS;
    const std::size_t t = i + 4;
    std::size_t strict = NPOS;
    if (s.substr(i).starts_with("<!---->")) {
      strict = i + 7;
    } else if (!(at(t) == '>' || (at(t) == '-' && at(t + 1) == '>'))) {
      const std::size_t dash = double_dash_.find(s, t);
      if (dash != NPOS && dash > t && at(dash + 2) == '>') strict = dash + 3;
    }
    std::size_t lenient = NPOS;
    if (s.substr(i).starts_with("<!-->")) {
      lenient = i + 5;
    } else if (s.substr(i).starts_with("<!--->")) {
      lenient = i + 6;
    } else if (const std::size_t close = comment_end_.find(s, t); close != NPOS) {
      lenient = close + 3;
    }
    if (strict != lenient) ambiguous_ = true;
    return strict;
  }
  // CDATA and processing instructions: "]" (or "?") takes the character after it along, so the
  // first "]]>" (or "?>") that starts where a character does ends them. Some readers give up on
  // such HTML for the rest of the paragraph once one is not closed; then what follows is unknown.
  const auto scan = [&](std::size_t from, std::string_view close, bool& failed) {
    if (failed) {
      ambiguous_ = true;
      return NPOS;
    }
    for (std::size_t k = from; k < s.size();) {
      if (s.compare(k, close.size(), close) == 0) return k + close.size();
      if (s[k] != close[0]) {
        ++k;
      } else if (close.size() == 3 && at(k + 1) == ']') {
        k += 3;
      } else {
        k += 2;
      }
    }
    failed = true;
    return NPOS;
  };
  if (at(i + 1) == '!' && at(i + 2) == '[') return s.substr(i).starts_with("<![CDATA[") ? scan(i + 9, "]]>", cdata_failed_) : NPOS;
  if (at(i + 1) == '!') {
    // A declaration: "<!", capital letters, white space, anything but ">", then ">". Newer
    // readers take any letter and no white space.
    std::size_t k = i + 2;
    while (at(k) >= 'A' && at(k) <= 'Z') ++k;
    const std::size_t close = ascii_alpha(at(i + 2)) ? gt_.find(s, i + 2) : NPOS;
    const std::size_t strict = k > i + 2 && cm_space(at(k)) && close != NPOS ? close + 1 : NPOS;
    if (strict != (close == NPOS ? NPOS : close + 1)) ambiguous_ = true;
    return strict;
  }
  if (at(i + 1) == '?') return scan(i + 2, "?>", pi_failed_);
  return html_tag_end(s, i);
}

// Marks `[begin, end)` of the paragraph as not prose; an interval that covers earlier ones
// replaces them, so the list stays in order.
void ReaderView::add_interval(std::size_t begin, std::size_t end, bool code) {
  while (!intervals_.empty() && intervals_.back().begin >= begin) intervals_.pop_back();
  intervals_.push_back({begin, end, code});
}

// The end of the inline link "(destination 'title')" whose "(" is at `open`, or NPOS.
std::size_t ReaderView::inline_link_end(std::size_t open) const {
  const std::size_t dest = spaces_from(open + 1);
  const std::size_t url = link_url_length(dest);
  if (url == NPOS) return NPOS;
  const std::size_t end_url = dest + url;
  const std::size_t start_title = spaces_from(end_url);
  const std::size_t end_title = start_title == end_url ? start_title : start_title + link_title_length(start_title);
  const std::size_t end_all = spaces_from(end_title);
  return end_all < content_.size() && content_[end_all] == ')' ? end_all + 1 : NPOS;
}

// Handles the "]" at `i`: pairs it with the last "[" or "![" and reads what follows as a link's
// destination or label. Returns where reading goes on.
std::size_t ReaderView::close_bracket(std::size_t i) {
  if (openers_.empty()) return i + 1;
  const Opener opener = openers_.back();
  openers_.pop_back();
  const bool active = opener.image || openers_.size() >= active_from_;
  active_from_ = std::min(active_from_, openers_.size());
  if (!active) {
    add_interval(opener.pos, i + 1, false);
    return i + 1;
  }
  std::size_t end = NPOS;
  if (i + 1 < content_.size() && content_[i + 1] == '(') {
    end = inline_link_end(i + 1);
    if (end != NPOS && !opener.image) paragraph_links_.emplace_back(opener.pos, i);
  }
  if (end == NPOS) {
    // A reference link: "[text][label]", "[text][]" or "[text]", when the label is defined.
    const std::size_t label_end = i + 1 < content_.size() && content_[i + 1] == '[' ? link_label_end(i + 1) : NPOS;
    const std::size_t text = opener.pos + (opener.image ? 2 : 1);
    std::string_view label;
    bool found = false;
    if (label_end != NPOS) {
      label = std::string_view(content_).substr(i + 2, label_end - i - 3);
      found = std::any_of(label.begin(), label.end(), [](char c) { return !cm_space(c); });
    }
    if (!found && !opener.bracket_after) {
      label = std::string_view(content_).substr(text, i - text);
      found = true;
    }
    Lookup result = found ? lookup(label) : Lookup::UNDEFINED;
    if (result == Lookup::UNKNOWN) {
      // Whether the link forms matters when it would deactivate an opener below, or consume a
      // label holding what would otherwise start a code span or raw HTML.
      const auto links_below = [&](std::size_t k) { return k == 0 ? 0 : openers_[k - 1].links_below + !openers_[k - 1].image; };
      bool matters = !opener.image && links_below(openers_.size()) > links_below(std::min(active_from_, openers_.size()));
      if (label_end != NPOS) {
        const std::string_view inside = std::string_view(content_).substr(i + 1, label_end - i - 1);
        matters = matters || inside.find_first_of("`<") != NPOS;
      }
      if (matters) ambiguous_ = true;
      result = Lookup::UNDEFINED;
    }
    if (result == Lookup::DEFINED) {
      end = label_end != NPOS ? label_end : i + 1;
    }
  }
  if (end == NPOS) {
    add_interval(opener.pos, i + 1, false);
    return i + 1;
  }
  add_interval(opener.pos, end, false);
  if (!opener.image) active_from_ = openers_.size();
  return end;
}

// Reads the inline structure of paragraph `p` and keeps its prose, code spans and links.
void ReaderView::read_inlines(const Paragraph& p) {
  build_content(p, true);
  const std::string_view s = content_;
  intervals_.clear();
  openers_.clear();
  active_from_ = 0;
  paragraph_links_.clear();
  tail_ = NPOS;
  ambiguous_ = false;
  for (Finder* f : {&comment_end_, &double_dash_, &gt_}) f->reset();
  pi_failed_ = false;
  cdata_failed_ = false;
  // The backtick runs, and per length the next run of that length.
  runs_.clear();
  for (std::size_t i = s.find('`', p.inline_start); i != NPOS;) {
    std::size_t j = i;
    while (j < s.size() && s[j] == '`') ++j;
    runs_.emplace_back(i, j - i);
    i = s.find('`', j);
  }
  next_run_.assign(runs_.size(), NONE);
  for (std::size_t k = runs_.size(); k-- > 0;) {
    const std::size_t length = runs_[k].second;
    if (length > MAX_TICKS) continue;
    if (run_cursor_[length] == NONE) touched_.push_back(length);
    next_run_[k] = run_cursor_[length];
    run_cursor_[length] = static_cast<std::uint32_t>(k);
  }

  static constexpr std::array<bool, 256> SPECIAL = [] {
    std::array<bool, 256> table{};
    for (const char c : std::string_view("\\`<![]")) table[static_cast<unsigned char>(c)] = true;
    return table;
  }();
  for (std::size_t i = p.inline_start; i < s.size();) {
    if (!SPECIAL[byte_at(s, i)]) {
      ++i;
      continue;
    }
    switch (s[i]) {
      case '\\':
        i += i + 1 < s.size() && cm_punct(s[i + 1]) ? 2 : 1;
        break;
      case '`': {
        std::size_t j = i;
        while (j < s.size() && s[j] == '`') ++j;
        const std::size_t close = closing_backticks(j, j - i);
        if (close == NPOS) {
          tail_ = std::min(tail_, i);  // a backtick in a link written later could close it
          i = j;
        } else {
          add_interval(i, close + (j - i), true);
          i = close + (j - i);
        }
        break;
      }
      case '<':
        if (const std::size_t end = pointy_end(i); end != NPOS) {
          add_interval(i, end, false);
          i = end;
        } else {
          ++i;
        }
        break;
      case '!':
      case '[': {
        const bool image = s[i] == '!';
        if (image && !(i + 1 < s.size() && s[i + 1] == '[')) {
          ++i;
          break;
        }
        std::size_t links_below = 0;
        if (!openers_.empty()) {
          openers_.back().bracket_after = true;
          links_below = openers_.back().links_below + !openers_.back().image;
        }
        openers_.push_back({.pos = i, .image = image, .links_below = links_below});
        i += image ? 2 : 1;
        break;
      }
      default:
        i = close_bracket(i);
    }
  }
  for (const std::size_t length : touched_) run_cursor_[length] = NONE;
  touched_.clear();
  if (!ambiguous_) keep_prose(p);
}

// Maps what is left of the paragraph's text after `intervals_` back to the body.
void ReaderView::keep_prose(const Paragraph& p) {
  const std::size_t last = std::min(tail_, content_.size());
  std::size_t next = 0;  // the first interval not yet passed
  for (std::size_t k = p.first; k < p.last; ++k) {
    const Segment& seg = segments_[k];
    const std::size_t from = starts_[k - p.first];
    const std::size_t to = std::min(from + (seg.end - seg.begin), last);
    std::size_t pos = std::max(from, p.inline_start);
    while (pos < to) {
      while (next < intervals_.size() && intervals_[next].end <= pos) ++next;
      const std::size_t stop = next < intervals_.size() ? std::min(to, intervals_[next].begin) : to;
      if (stop > pos) prose_.emplace_back(seg.begin + (pos - from), seg.begin + (stop - from));
      if (stop == to) break;
      pos = intervals_[next].end;
    }
  }
  // The line of the paragraph holding content offset `at`, as an index into `starts_`.
  const auto line_of = [&](std::size_t at) {
    return static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), at) - starts_.begin()) - 1;
  };
  // `[begin, end)` of the paragraph's text in the body, when it lies on one line.
  const auto on_one_line = [&](std::size_t begin, std::size_t end, std::vector<Range>& out) {
    const std::size_t k = line_of(begin);
    const Segment& seg = segments_[p.first + k];
    if (end - starts_[k] <= seg.end - seg.begin) out.emplace_back(seg.begin + (begin - starts_[k]), seg.begin + (end - starts_[k]));
  };
  // A link around a code span that starts the paragraph's text and holds "]" could read as a
  // link reference definition ("[`a]: b`](href)").
  for (const Interval& in : intervals_) {
    if (!in.code || in.end > last) continue;
    if (in.begin == p.inline_start && std::string_view(content_).substr(in.begin, in.end - in.begin).find(']') != NPOS) continue;
    on_one_line(in.begin, in.end, code_spans_);
  }
  for (const auto& [open, close] : paragraph_links_) {
    const std::size_t before = links_.size();
    on_one_line(open, close + 1, links_);
    if (links_.size() > before) --links_.back().second;
  }
}

// ---------------------------------------------------------------------------------------------
// Targets.

// A title that a link "[title](href)" carries intact.
bool linkable_title(std::string_view title) noexcept { return !text::is_blank(title) && title.find_first_of("[]`<\n\r") == NPOS; }

// A destination that stays one token in "(href)".
bool linkable_href(std::string_view href) noexcept {
  if (href.find_first_of("()") != NPOS) return false;
  for (std::size_t i = 0; i < href.size(); ++i) {
    if (text::space_at(href, i) != 0) return false;
  }
  return true;
}

// The words titles end with, as a set of hashes in a bit table: a place in prose where a word
// ends can end a mention only when the word is in the set (or, rarely, shares its bit), so the
// matcher is walked from few places. Titles that end in a character other than a word character
// are found through the root of the matcher instead.
class LastWords {
 public:
  // Folds one byte of a word into its hash.
  static std::uint64_t fold(std::uint64_t hash, unsigned char byte) noexcept { return (hash ^ byte) * 0x100000001b3ULL; }
  static constexpr std::uint64_t SEED = 0xcbf29ce484222325ULL;

  void add(std::string_view word) { words_.push_back(hash_of(word)); }

  // Sizes the table for the words added; call once, after the last `add`.
  void build() {
    std::size_t bits = std::size_t{1} << 12;
    while (bits < 32 * words_.size()) bits <<= 1;
    shift_ = 64 - static_cast<unsigned>(std::countr_zero(bits));
    table_.assign(bits / 64, 0);
    for (const std::uint64_t hash : words_) table_[slot(hash) / 64] |= std::uint64_t{1} << (slot(hash) % 64);
    words_ = {};
  }

  bool may_hold(std::uint64_t hash) const noexcept { return (table_[slot(hash) / 64] >> (slot(hash) % 64)) & 1; }

 private:
  static std::uint64_t hash_of(std::string_view word) noexcept {
    std::uint64_t hash = SEED;
    for (const char c : word) hash = fold(hash, static_cast<unsigned char>(c));
    return hash;
  }
  std::size_t slot(std::uint64_t hash) const noexcept { return static_cast<std::size_t>((hash * 0x9e3779b97f4a7c15ULL) >> shift_); }

  std::vector<std::uint64_t> words_;
  std::vector<std::uint64_t> table_ = std::vector<std::uint64_t>(1);
  unsigned shift_ = 58;
};

// The word `title` ends with: its last run of word characters, or nothing when its last character
// is not a word character.
std::string_view last_word(std::string_view title, WordClasses& words) {
  std::size_t start = NPOS;
  for (std::size_t i = 0; i < title.size();) {
    const Char c = char_at(title, i);
    if (!words.is_word(title, c)) {
      start = NPOS;
    } else if (start == NPOS) {
      start = c.begin;
    }
    i = c.end;
  }
  return start == NPOS ? std::string_view() : title.substr(start);
}

// One mention found in a run of prose: the longest title that starts at `begin`.
struct Mention {
  std::size_t begin = 0;
  std::size_t length = 0;
  std::uint32_t title = 0;
};

// The hrefs of the targets in a trie, walked after each "](" of a body to find where it already
// links a target.
struct HrefAutomaton {
  Automaton trie;
  std::vector<std::uint32_t> linkable;  // per trie id: the href id, NONE for an href never linked
};

// One call of `autolink` against prepared targets: which hrefs are linked so far, and the output.
class Linker {
 public:
  Linker(std::string_view body, const LinkIndex::Data& index, std::string_view page_id);

  std::string run();

 private:
  void mark_already_linked();
  bool inside_protected(std::size_t pos) noexcept;
  void link_line(std::string_view line);
  void link_prose(std::string_view line, std::size_t base, std::size_t a, std::size_t b);
  bool reader_code_span(std::size_t begin, std::size_t end) noexcept;
  void link_mentions(std::string_view line, std::size_t base, std::size_t a, std::size_t b);
  void link_run(std::string_view line, std::size_t base, std::size_t a, std::size_t b);
  static std::size_t boundary_after(std::string_view line, std::size_t from, std::size_t limit, std::size_t distance) noexcept;
  void find_mentions(std::string_view line, std::size_t a, std::size_t b);
  bool mentions_ending_at(std::string_view line, std::size_t a, std::size_t e);
  void scan_mentions(std::string_view line, std::size_t a);
  void link_file(std::string_view line, std::size_t base, const Span& span);
  void link(std::size_t begin, std::size_t end, std::span<const std::uint32_t> targets);

  std::string_view body_;
  const LinkIndex::Data& index_;
  std::vector<bool> linked_;  // per href id; the page's own href counts as linked from the start
  std::size_t remaining_ = 0;
  // Where `body_` already links a target ("](" + href + ")" or "#"), by position: no link goes
  // inside, so a second run finds the same targets linked.
  std::vector<std::pair<std::size_t, std::size_t>> protected_;
  std::size_t next_protected_ = 0;

  // What a CommonMark reader sees, read once per call; the places passed so far.
  ReaderView reader_;
  std::size_t next_prose_ = 0;
  std::size_t next_code_span_ = 0;

  WordClasses words_;
  Lexer lexer_;
  std::vector<Mention> found_;
  std::vector<std::size_t> ends_;  // the places in a run where a mention can end, left to right
  std::ptrdiff_t budget_ = 0;      // trie steps the walks back from `ends_` may still take
  std::string out_;
  std::size_t copied_ = 0;       // `body_` is in `out_` up to here
  std::size_t last_end_ = NPOS;  // where the last link's text ended in `body_`
};

// A link text and destination, to look up the title a link should now carry.
struct LinkKey {
  std::string_view href;
  std::string_view text;
  bool operator==(const LinkKey&) const = default;
};

struct LinkKeyHash {
  std::size_t operator()(const LinkKey& key) const noexcept {
    const std::hash<std::string_view> hash;
    return hash(key.href) * 1000003u ^ hash(key.text);
  }
};

}  // namespace

// The targets prepared once: ids for their hrefs, the trie of hrefs, the matcher of titles, the
// files by name and the former titles by link.
struct LinkIndex::Data {
  explicit Data(std::span<const LinkTarget> targets);

  std::span<const LinkTarget> links;
  std::vector<std::uint32_t> href_of;  // per target: its href's id, NONE when it is never linked
  std::vector<std::string_view> hrefs;
  std::unordered_map<std::string_view, std::uint32_t> href_ids;
  HrefAutomaton href_trie;

  Automaton titles;                                            // reversed title symbols, by title id
  LastWords last_words;                                   // the words titles end with
  std::vector<std::vector<std::uint32_t>> title_targets;  // per title id: the targets with that title
  std::vector<std::size_t> title_length;                  // per title id: its length in bytes
  std::size_t longest_title = 0;
  std::unordered_map<std::string_view, std::uint32_t> file_ids;
  std::vector<std::vector<std::uint32_t>> file_targets;  // per file id: the targets claiming it

  std::unordered_map<LinkKey, std::string_view, LinkKeyHash> current_titles;  // (href, former title) -> title

 private:
  void prepare_hrefs();
  void prepare_titles();
  void prepare_files();
  void add_file(std::string_view key, std::size_t k);
};

LinkIndex::Data::Data(std::span<const LinkTarget> targets) : links(targets) {
  prepare_hrefs();
  if (hrefs.empty()) return;  // nothing will ever be linked
  prepare_titles();
  prepare_files();
}

void LinkIndex::Data::prepare_hrefs() {
  href_of.assign(links.size(), NONE);
  // A link showing the current title of some target with its href is not stale, even when two
  // targets share the href and that text is a former title of the other one.
  std::unordered_set<LinkKey, LinkKeyHash> shown;
  if (std::any_of(links.begin(), links.end(), [](const LinkTarget& t) { return !t.former.empty(); })) {
    for (const LinkTarget& target : links) shown.insert(LinkKey{target.href, target.title});
  }
  for (std::size_t k = 0; k < links.size(); ++k) {
    const LinkTarget& target = links[k];
    if (!linkable_title(target.title)) continue;
    for (const std::string& former : target.former) {
      if (!shown.contains(LinkKey{target.href, former})) current_titles.try_emplace(LinkKey{target.href, former}, target.title);
    }
    if (!linkable_href(target.href)) continue;
    const auto [it, fresh] = href_ids.try_emplace(target.href, static_cast<std::uint32_t>(hrefs.size()));
    if (fresh) hrefs.push_back(target.href);
    href_of[k] = it->second;
  }
  if (hrefs.empty()) return;
  std::vector<Symbol> symbols;
  for (const LinkTarget& target : links) {
    if (target.href.find('(') != NPOS) continue;
    symbols.assign(target.href.begin(), target.href.end());
    for (Symbol& s : symbols) s &= 0xFF;
    href_trie.trie.add(symbols, static_cast<std::uint32_t>(href_trie.linkable.size()));
    const auto it = href_ids.find(target.href);
    href_trie.linkable.push_back(it == href_ids.end() ? NONE : it->second);
  }
  href_trie.trie.build();
}

// One matcher over every title that can be mentioned, those of targets that cannot be linked
// included: a mention of them still covers the shorter titles inside it.
void LinkIndex::Data::prepare_titles() {
  std::unordered_map<std::string_view, std::uint32_t> ids;
  std::vector<Symbol> symbols;
  WordClasses words;
  for (std::size_t k = 0; k < links.size(); ++k) {
    const std::string_view title = links[k].title;
    if (!linkable_title(title)) continue;
    const auto [it, fresh] = ids.try_emplace(title, static_cast<std::uint32_t>(title_targets.size()));
    if (fresh) {
      title_targets.emplace_back();
      title_length.push_back(title.size());
      longest_title = std::max(longest_title, title.size());
      reversed_title_symbols(title, words, symbols);
      titles.add(symbols, it->second);
      if (const std::string_view word = last_word(title, words); !word.empty()) last_words.add(word);
    }
    title_targets[it->second].push_back(static_cast<std::uint32_t>(k));
  }
  titles.build();
  last_words.build();
}

void LinkIndex::Data::prepare_files() {
  for (std::size_t k = 0; k < links.size(); ++k) {
    if (href_of[k] == NONE) continue;
    for (const std::string& file : links[k].files) {
      if (file.empty()) continue;
      add_file(file, k);
      if (detail::is_code_file(file)) add_file(std::string_view(file).substr(0, file.rfind('.')), k);
    }
  }
}

void LinkIndex::Data::add_file(std::string_view key, std::size_t k) {
  const auto [it, fresh] = file_ids.try_emplace(key, static_cast<std::uint32_t>(file_targets.size()));
  if (fresh) file_targets.emplace_back();
  std::vector<std::uint32_t>& targets = file_targets[it->second];
  if (targets.empty() || targets.back() != k) targets.push_back(static_cast<std::uint32_t>(k));
}

namespace {

Linker::Linker(std::string_view body, const LinkIndex::Data& index, std::string_view page_id) : body_(body), index_(index) {
  if (index.hrefs.empty()) return;
  linked_.assign(index.hrefs.size(), false);
  // The page never links to itself: its href (derived from its id) counts as linked already.
  std::string own_href(page_id);
  own_href.append(".md");
  if (const auto own = index.href_ids.find(own_href); own != index.href_ids.end()) linked_[own->second] = true;
  mark_already_linked();
  remaining_ = static_cast<std::size_t>(std::count(linked_.begin(), linked_.end(), false));
}

std::string Linker::run() {
  if (remaining_ == 0) return std::string(body_);
  out_.reserve(body_.size() + body_.size() / 64 + 64);
  reader_.read(body_);
  BlockState blocks;
  for (const std::string_view line : text::Lines(body_)) {
    if (remaining_ == 0) break;
    if (blocks.prose(line)) link_line(line);
  }
  out_.append(body_.substr(copied_));
  return std::move(out_);
}

// Marks every href that `body_` already links to, "](" + href + ")" or "](" + href + "#", and
// keeps where: no new link goes inside such a place, the links to the page itself and to targets
// that are never linked included. A walk down the trie of hrefs starts after each "](" and stops
// at the first "(" at the latest, since no href in the trie holds one, so the walks never overlap.
void Linker::mark_already_linked() {
  const Automaton& trie = index_.href_trie.trie;
  for (std::size_t p = body_.find("]("); p != NPOS; p = body_.find("](", p + 2)) {
    std::uint32_t node = 0;
    std::size_t end = 0;
    for (std::size_t i = p + 2; i < body_.size(); ++i) {
      node = trie.child(node, byte_at(body_, i));
      if (node == NONE) break;
      const std::uint32_t id = trie.id(node);
      if (id != NONE && i + 1 < body_.size() && (body_[i + 1] == ')' || body_[i + 1] == '#')) {
        if (const std::uint32_t href = index_.href_trie.linkable[id]; href != NONE) linked_[href] = true;
        end = i + 2;
      }
    }
    if (end != 0) protected_.emplace_back(p, end);
  }
}

// Whether `pos` lies strictly inside one of `protected_`. Called with increasing `pos`.
bool Linker::inside_protected(std::size_t pos) noexcept {
  while (next_protected_ < protected_.size() && protected_[next_protected_].second <= pos) ++next_protected_;
  return next_protected_ < protected_.size() && protected_[next_protected_].first < pos;
}

void Linker::link_line(std::string_view line) {
  lexer_.lex(line);
  const std::size_t base = static_cast<std::size_t>(line.data() - body_.data());
  std::size_t pos = 0;
  for (const Span& span : lexer_.spans()) {
    link_prose(line, base, pos, span.begin);
    if (span.ticks > 0 && reader_code_span(base + span.begin, base + span.end)) link_file(line, base, span);
    pos = span.end;
  }
  link_prose(line, base, pos, line.size());
}

// Links the mentions in `line[a, b)`, prose for the line-by-line rules, where a CommonMark reader
// sees prose too. Called with increasing `a`.
void Linker::link_prose(std::string_view line, std::size_t base, std::size_t a, std::size_t b) {
  const std::span<const Range> prose = reader_.prose();
  while (next_prose_ < prose.size() && prose[next_prose_].second <= base + a) ++next_prose_;
  for (std::size_t k = next_prose_; k < prose.size() && prose[k].first < base + b; ++k) {
    const std::size_t from = std::max(base + a, prose[k].first);
    const std::size_t to = std::min(base + b, prose[k].second);
    if (from < to) link_mentions(line, base, from - base, to - base);
  }
}

// Whether `body_[begin, end)` is a code span a CommonMark reader sees outside links and raw HTML.
// Called with increasing `begin`.
bool Linker::reader_code_span(std::size_t begin, std::size_t end) noexcept {
  const std::span<const Range> spans = reader_.code_spans();
  while (next_code_span_ < spans.size() && spans[next_code_span_].first < begin) ++next_code_span_;
  return next_code_span_ < spans.size() && spans[next_code_span_] == Range{begin, end};
}

// Links the mentions in the prose `line[a, b)`, outside the places that already link a target.
void Linker::link_mentions(std::string_view line, std::size_t base, std::size_t a, std::size_t b) {
  while (a < b && !index_.titles.empty() && remaining_ > 0) {
    inside_protected(base + a);
    if (next_protected_ == protected_.size() || protected_[next_protected_].first >= base + b) {
      link_run(line, base, a, b);
      return;
    }
    const auto [begin, end] = protected_[next_protected_];
    if (begin > base + a) link_run(line, base, a, begin - base);
    a = std::min(b, end - base);
  }
}

// Links the mentions in the run of prose `line[a, b)`: leftmost first, then longest. A long run
// is read in windows, each scanned a title's length past its end, so that `found_` stays small.
void Linker::link_run(std::string_view line, std::size_t base, std::size_t a, std::size_t b) {
  const std::size_t window = std::max<std::size_t>(std::size_t{1} << 16, 4 * index_.longest_title);
  std::size_t cursor = a;
  for (std::size_t x = a; x < b;) {
    const std::size_t y = boundary_after(line, x, b, window);
    find_mentions(line, x, y == b ? b : boundary_after(line, y, b, index_.longest_title));
    for (auto it = found_.begin(); it != found_.end() && it->begin < y; ++it) {
      if (it->begin < cursor) continue;
      cursor = it->begin + it->length;
      link(base + it->begin, base + cursor, index_.title_targets[it->title]);
    }
    x = y;
  }
}

// The first character boundary at least `distance` bytes after the boundary `from`, or `limit`.
std::size_t Linker::boundary_after(std::string_view line, std::size_t from, std::size_t limit, std::size_t distance) noexcept {
  if (limit - from <= distance) return limit;
  std::size_t pos = from;
  while (pos < from + distance) pos = char_at(line, pos).end;
  return pos;
}

// Fills `found_` with the longest mention starting at each character of `line[a, b)`, first
// first. A mention can end only after a word that some title ends with, or after a character that
// some title ends with when that is not a word character: a cheap pass from left to right lists
// those places. In prose the trie of reversed titles is then walked back from each of them; when
// the walks take more steps than a few per byte of the run (titles nested in one another, as in
// "a", "a a", "a a a"), the run is read once through the matcher instead.
void Linker::find_mentions(std::string_view line, std::size_t a, std::size_t b) {
  found_.clear();
  ends_.clear();
  std::uint64_t hash = LastWords::SEED;
  bool in_word = false;
  for (std::size_t i = a; i < b;) {
    const Char c = char_at(line, i);
    if (words_.is_word(line, c)) {
      if (!in_word) hash = LastWords::SEED;
      for (std::size_t k = c.begin; k < c.end; ++k) hash = LastWords::fold(hash, byte_at(line, k));
      in_word = true;
    } else {
      if (in_word && index_.last_words.may_hold(hash)) ends_.push_back(c.begin);
      in_word = false;
      if (index_.titles.child(0, symbol_of(byte_at(line, c.end - 1), c.valid)) != NONE) ends_.push_back(c.end);
    }
    i = c.end;
  }
  if (in_word && index_.last_words.may_hold(hash)) ends_.push_back(b);
  if (ends_.empty()) return;

  budget_ = 4 * static_cast<std::ptrdiff_t>(b - a) + 64;
  bool walked = true;
  for (const std::size_t e : ends_) {
    if (!(walked = mentions_ending_at(line, a, e))) break;
  }
  if (walked) {
    std::sort(found_.begin(), found_.end(), [](const Mention& x, const Mention& y) {
      return x.begin != y.begin ? x.begin < y.begin : x.length > y.length;
    });
    found_.erase(std::unique(found_.begin(), found_.end(), [](const Mention& x, const Mention& y) { return x.begin == y.begin; }),
                 found_.end());
  } else {
    found_.clear();
    scan_mentions(line, a);
    std::reverse(found_.begin(), found_.end());
  }
}

// Fills `found_` as `find_mentions` does, last first, reading the symbols of `line[a, b)` from
// right to left through the matcher of reversed titles, so that at each character the matcher's
// longest match is the longest title starting there. Whenever the matcher is back at its root
// (nothing pending), reading jumps to the next place on the left where a mention can end
// (`ends_`). Every character is read at most once.
void Linker::scan_mentions(std::string_view line, std::size_t a) {
  const Automaton& titles = index_.titles;
  const auto report = [&](std::uint32_t state, std::size_t begin) {
    const std::uint32_t title = titles.longest(state);
    if (title == NONE) return;
    if (!found_.empty() && found_.back().begin == begin) {
      if (found_.back().length < index_.title_length[title]) found_.back() = {begin, index_.title_length[title], title};
      return;
    }
    found_.push_back({begin, index_.title_length[title], title});
  };
  // Starts reading, from the root, at the place `e`, where the character after decides whether a
  // word ends there.
  Char c;
  bool word = false;
  std::uint32_t state = 0;
  const auto start_at = [&](std::size_t e) {
    c = char_before(line, e);
    word = words_.is_word(line, c);
    state = 0;
    if (word && !(e < line.size() && words_.is_word(line, char_at(line, e)))) state = titles.step(state, WORD_END);
  };
  std::size_t next_end = ends_.size() - 1;  // the places left of the one being read: ends_[0 .. next_end]
  start_at(ends_[next_end]);
  while (true) {
    for (std::size_t k = c.end; k-- > c.begin;) state = titles.step(state, symbol_of(byte_at(line, k), c.valid));
    report(state, c.begin);
    // The character before `c` (outside the run when `c` is its first) decides the boundary.
    const Char previous = c.begin > 0 ? char_before(line, c.begin) : Char{};
    const bool word_before = c.begin > 0 && words_.is_word(line, previous);
    if (word && !word_before) {
      state = titles.step(state, WORD_START);
      report(state, c.begin);
    }
    if (c.begin == a) break;
    if (!word && word_before) state = titles.step(state, WORD_END);
    while (next_end != NPOS && ends_[next_end] > c.begin) next_end = next_end == 0 ? NPOS : next_end - 1;
    if (state == 0 && (next_end == NPOS || ends_[next_end] < c.begin)) {
      // Nothing pending, and no mention ends before the next place on the left.
      if (next_end == NPOS) break;
      start_at(ends_[next_end]);
      continue;
    }
    c = previous;
    word = word_before;
  }
}

// Adds to `found_` the titles that lie in `line[a, e)` and end at `e`, walking the trie of reversed
// titles from `e` back along the line's symbols: its characters, WORD_END after the last character
// of a word and WORD_START before the first, with the characters around `line[a, e)` deciding the
// boundaries. Each step spends one unit of `budget_`; false when the budget ran out.
bool Linker::mentions_ending_at(std::string_view line, std::size_t a, std::size_t e) {
  const Automaton& titles = index_.titles;
  const auto found = [&](std::uint32_t node, std::size_t begin) {
    if (const std::uint32_t title = titles.id(node); title != NONE) found_.push_back({begin, index_.title_length[title], title});
  };
  const auto descend = [&](std::uint32_t& node, Symbol symbol) {
    --budget_;
    return (node = titles.child(node, symbol)) != NONE;
  };
  Char c = char_before(line, e);
  bool word = words_.is_word(line, c);
  std::uint32_t node = 0;
  if (word) {
    if (e < line.size() && words_.is_word(line, char_at(line, e))) return budget_ > 0;  // inside a word
    if (!descend(node, WORD_END)) return budget_ > 0;
  }
  while (budget_ > 0) {
    for (std::size_t k = c.end; k-- > c.begin;) {
      if (!descend(node, symbol_of(byte_at(line, k), c.valid))) return budget_ > 0;
    }
    found(node, c.begin);
    const Char previous = c.begin > 0 ? char_before(line, c.begin) : Char{};
    const bool word_before = c.begin > 0 && words_.is_word(line, previous);
    if (word && !word_before) {
      if (!descend(node, WORD_START)) return budget_ > 0;
      found(node, c.begin);
    }
    if (c.begin == a) return budget_ > 0;
    if (!word && word_before && !descend(node, WORD_END)) return budget_ > 0;
    c = previous;
    word = word_before;
  }
  return false;
}

void Linker::link_file(std::string_view line, std::size_t base, const Span& span) {
  const std::string_view content = line.substr(span.begin + span.ticks, span.end - span.begin - 2 * span.ticks);
  const auto it = index_.file_ids.find(content);
  if (it == index_.file_ids.end() || inside_protected(base + span.begin) || inside_protected(base + span.end)) return;
  link(base + span.begin, base + span.end, index_.file_targets[it->second]);
}

// Links `body_[begin, end)` to the first of `targets` not linked yet, if any, unless the link
// would not read as one there: right after "!" it would be an image, right after "\" or "]" an
// escaped bracket or a reference label, and text ending in "\" would escape its "]". The byte
// before is judged as the result has it, so a second run judges the same way.
void Linker::link(std::size_t begin, std::size_t end, std::span<const std::uint32_t> targets) {
  const char before = begin == last_end_ ? ')' : begin > 0 ? body_[begin - 1] : '\n';
  if (before == '!' || before == '\\' || before == ']' || body_[end - 1] == '\\') return;
  for (const std::uint32_t k : targets) {
    const std::uint32_t id = index_.href_of[k];
    if (id == NONE || linked_[id]) continue;
    linked_[id] = true;
    --remaining_;
    out_.append(body_.substr(copied_, begin - copied_));
    out_ += '[';
    out_.append(body_.substr(begin, end - begin));
    out_.append("](");
    out_.append(index_.hrefs[id]);
    out_ += ')';
    copied_ = end;
    last_end_ = end;
    return;
  }
}


}  // namespace

namespace detail {

bool is_code_file(std::string_view path) noexcept {
  static constexpr std::string_view EXTENSIONS[] = {
      "c",   "h",     "cc",     "cpp", "cxx",  "c++",   "hh",  "hpp", "hxx",  "h++", "ipp",  "inl", "m",   "mm",    "cs",  "java",  "kt",
      "kts", "scala", "groovy", "go",  "rs",   "swift", "py",  "pyi", "rb",   "php", "pl",   "pm",  "lua", "js",    "jsx", "mjs",   "cjs",
      "ts",  "tsx",   "mts",    "cts", "dart", "ex",    "exs", "erl", "hrl",  "hs",  "ml",   "mli", "fs",  "fsx",   "clj", "cljs",  "el",
      "jl",  "r",     "zig",    "nim", "v",    "sv",    "vhd", "sh",  "bash", "zsh", "fish", "ps1", "sql", "proto", "vue", "svelte"};
  const std::size_t slash = path.rfind('/');
  const std::string_view name = slash == NPOS ? path : path.substr(slash + 1);
  const std::size_t dot = name.rfind('.');
  if (dot == NPOS || dot == 0 || dot + 1 == name.size()) return false;
  const std::string_view extension = name.substr(dot + 1);
  return std::any_of(std::begin(EXTENSIONS), std::end(EXTENSIONS),
                     [&](std::string_view known) { return equal_ignoring_ascii_case(extension, known); });
}

}  // namespace detail

LinkIndex::LinkIndex(std::span<const LinkTarget> links) : data_(std::make_unique<const Data>(links)) {}
LinkIndex::~LinkIndex() = default;
LinkIndex::LinkIndex(LinkIndex&&) noexcept = default;
LinkIndex& LinkIndex::operator=(LinkIndex&&) noexcept = default;

std::span<const LinkTarget> LinkIndex::links() const noexcept { return data_->links; }

std::string LinkIndex::autolink(std::string_view body, std::string_view page_id) const { return Linker(body, *data_, page_id).run(); }

std::string LinkIndex::refresh_link_texts(std::string_view body) const {
  const auto& titles = data_->current_titles;
  if (titles.empty()) return std::string(body);
  std::string out;
  out.reserve(body.size());
  std::size_t copied = 0;
  bool in_fence = false;
  Lexer lexer;
  // Only a link a CommonMark reader sees is renamed: not one in indented code or an HTML block.
  ReaderView reader;
  if (body.find("](") != NPOS) reader.read(body);
  const std::span<const Range> reader_links = reader.links();
  for (const std::string_view line : text::Lines(body)) {
    if (is_fence_line(line)) {
      in_fence = !in_fence;
      continue;
    }
    if (in_fence || line.find("](") == NPOS) continue;
    lexer.lex(line);
    const std::size_t base = static_cast<std::size_t>(line.data() - body.data());
    for (const InlineLink& link : lexer.links()) {
      const std::string_view text = line.substr(link.text_begin, link.text_end - link.text_begin);
      if (!std::binary_search(reader_links.begin(), reader_links.end(), Range{base + link.text_begin - 1, base + link.text_end})) continue;
      const auto it = titles.find(LinkKey{line.substr(link.dest_begin, link.dest_end - link.dest_begin), text});
      if (it == titles.end() || it->second == text) continue;
      out.append(body.substr(copied, base + link.text_begin - copied));
      out.append(it->second);
      copied = base + link.text_end;
    }
  }
  out.append(body.substr(copied));
  return out;
}

const LinkIndex& detail::recent_index(std::span<const LinkTarget> links) {
  struct Recent {
    std::vector<LinkTarget> links;
    std::unique_ptr<LinkIndex> index;
  };
  thread_local Recent recent;
  // The href follows from the page id, so it need not be compared.
  const auto same = [](const LinkTarget& x, const LinkTarget& y) {
    return x.page_id == y.page_id && x.title == y.title && x.files == y.files && x.former == y.former;
  };
  if (recent.index == nullptr || !std::equal(links.begin(), links.end(), recent.links.begin(), recent.links.end(), same)) {
    recent.index.reset();
    recent.links.assign(links.begin(), links.end());
    recent.index = std::make_unique<LinkIndex>(recent.links);
  }
  return *recent.index;
}

std::string autolink(std::string_view body, std::span<const LinkTarget> links, std::string_view page_id) {
  if (links.empty()) return std::string(body);
  return detail::recent_index(links).autolink(body, page_id);
}

std::string refresh_link_texts(std::string_view body, std::span<const LinkTarget> links) {
  if (links.empty()) return std::string(body);
  return detail::recent_index(links).refresh_link_texts(body);
}

std::vector<std::string> former_titles(const StoredRow* row) {
  std::vector<std::string> out;
  if (row == nullptr || !row->is_object()) return out;
  const auto it = row->find("former_titles");
  if (it == row->end() || !it->is_array()) return out;
  for (const StoredRow& entry : *it) {
    if (entry.is_string()) out.push_back(entry.get<std::string>());
  }
  return out;
}

std::vector<std::string> renamed(std::span<const std::string> former, std::span<const std::optional<std::string>> shown,
                                 std::string_view title) {
  std::vector<std::string> out;
  out.reserve(former.size() + shown.size());
  // Views into `former` and `shown`, which stay put while `out` grows.
  std::unordered_set<std::string_view> listed;
  for (const std::string& name : former) {
    if (name == title) continue;
    listed.insert(name);
    out.push_back(name);
  }
  for (const std::optional<std::string>& name : shown) {
    if (!name || *name == title || !listed.insert(*name).second) continue;
    out.push_back(*name);
  }
  return out;
}

}  // namespace vantorel::workers::wiki
