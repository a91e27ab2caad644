// Writing YAML scalars: the `summary:` front-matter line and the flow form of loaded nodes.
//
// A scalar is analysed once as code points, then written in the first style that reads back as
// the same text: plain, single-quoted, double-quoted. Texts holding a line break are always
// double-quoted with the breaks escaped, since a raw U+0085 inside quotes would read back as a
// folded "\n".
#include <string>
#include <string_view>
#include <utility>

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {

namespace {

constexpr std::size_t FOLD_WIDTH = 10000;  // a line is folded only once it is past this column
constexpr std::string_view SUMMARY_KEY = "summary: ";
constexpr std::string_view INDENT = "  ";  // a folded line goes on under the value, indented by this
constexpr char32_t REPLACEMENT = 0xFFFD;
// A flow key longer than this goes after an explicit "? ": libyaml forgets an implicit key that
// runs longer than 1024 characters.
constexpr std::size_t LONG_KEY = 1000;

// The code points of `s`; each byte that is not part of valid UTF-8 becomes U+FFFD.
std::u32string decode(std::string_view s) {
  std::u32string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    const text::Decoded d = text::decode_utf8(s, i);
    out.push_back(d.length == 0 ? REPLACEMENT : d.code_point);
    i += d.length == 0 ? 1 : d.length;
  }
  return out;
}

bool is_break(char32_t c) { return c == '\n' || c == 0x85 || c == 0x2028 || c == 0x2029; }

// Characters a scalar may hold as they are; every other one is written as an escape.
bool is_printable(char32_t c) {
  return c == '\n' || (c >= 0x20 && c <= 0x7E) || c == 0x85 || (c >= 0xA0 && c <= 0xD7FF) || (c >= 0xE000 && c <= 0xFFFD && c != 0xFEFF) ||
         (c >= 0x10000 && c <= 0x10FFFE);
}

// White space that ends an indicator; the end of the text counts too.
bool is_indicator_space(char32_t c) { return c == 0 || c == ' ' || c == '\t' || c == '\r' || is_break(c); }

bool is_one_of(char32_t c, std::string_view set) { return c < 0x80 && set.find(static_cast<char>(c)) != std::string_view::npos; }

// Which styles can carry a text as it is. A text holding a break gets neither plain nor single
// quotes: a raw U+0085 inside quotes reads back as a folded "\n", so breaks are always escaped.
struct Analysis {
  bool block_plain = true;    // plain as a block mapping value
  bool flow_plain = true;     // plain inside a flow collection
  bool single_quoted = true;  // single-quoted

  bool operator==(const Analysis&) const = default;
};

Analysis analyze(const std::u32string& t) {
  Analysis a;
  const std::size_t n = t.size();
  if (n == 0) {
    a.block_plain = a.flow_plain = false;
    return a;
  }
  bool block_indicator = false;
  bool flow_indicator = false;
  bool escaped = false;  // a character only double quotes carry: not printable, or a break
  const std::u32string_view view(t);
  if (view.starts_with(U"---") || view.starts_with(U"...")) block_indicator = flow_indicator = true;

  bool preceded_by_space = true;
  for (std::size_t i = 0; i < n; ++i) {
    const char32_t c = t[i];
    const bool followed_by_space = i + 1 >= n || is_indicator_space(t[i + 1]);
    if (i == 0) {
      if (is_one_of(c, "#,[]{}&*!|>'\"%@`")) block_indicator = flow_indicator = true;
      if (c == '?' || c == ':') {
        flow_indicator = true;
        if (followed_by_space) block_indicator = true;
      }
      if (c == '-' && followed_by_space) block_indicator = flow_indicator = true;
    } else {
      if (is_one_of(c, ",?[]{}")) flow_indicator = true;
      if (c == ':') {
        flow_indicator = true;
        if (followed_by_space) block_indicator = true;
      }
      if (c == '#' && preceded_by_space) block_indicator = flow_indicator = true;
    }
    if (!is_printable(c) || is_break(c)) escaped = true;
    preceded_by_space = is_indicator_space(c);
  }
  const bool edge_blank = t.front() == ' ' || t.back() == ' ';
  if (edge_blank || escaped) a.block_plain = a.flow_plain = false;
  if (block_indicator) a.block_plain = false;
  if (flow_indicator) a.flow_plain = false;
  if (escaped) a.single_quoted = false;
  return a;
}

// True when a YAML 1.1 reader would take the plain text for something other than a string.
bool resolves_to_non_string(std::string_view text) {
  static const text::Pattern implicit(
      // booleans and nulls
      "yes|Yes|YES|no|No|NO|true|True|TRUE|false|False|FALSE|on|On|ON|off|Off|OFF|~|null|Null|NULL|"
      // integers
      "|[-+]?0b[0-1_]+|[-+]?0[0-7_]+|[-+]?(?:0|[1-9][0-9_]*)|[-+]?0x[0-9a-fA-F_]+|[-+]?[1-9][0-9_]*(?::[0-5]?[0-9])+"
      // floats
      "|[-+]?(?:[0-9][0-9_]*)\\.[0-9_]*(?:[eE][-+][0-9]+)?|\\.[0-9][0-9_]*(?:[eE][-+][0-9]+)?"
      "|[-+]?[0-9][0-9_]*(?::[0-5]?[0-9])+\\.[0-9_]*|[-+]?\\.(?:inf|Inf|INF)|\\.(?:nan|NaN|NAN)"
      // timestamps
      "|[0-9]{4}-[0-9]{2}-[0-9]{2}"
      "|[0-9]{4}-[0-9]{1,2}-[0-9]{1,2}(?:[Tt]|[ \\t]+)[0-9]{1,2}:[0-9]{2}:[0-9]{2}(?:\\.[0-9]*)?"
      "(?:[ \\t]*(?:Z|[-+][0-9]{1,2}(?::[0-9]{2})?))?"
      // merge and value keys
      "|<<|=");
  // Every form above starts with one of these characters, or is empty.
  if (!text.empty() && std::string_view("yYnNtTfFoO~-+.0123456789<=").find(text.front()) == std::string_view::npos) return false;
  return static_cast<bool>(implicit.full_match(text));
}

// The plain texts the loader reads as null.
bool is_null_spelling(std::string_view text) { return text.empty() || text == "~" || text == "null" || text == "Null" || text == "NULL"; }

// Appends one scalar to `out`, keeping track of the column for folding.
class ScalarWriter {
 public:
  ScalarWriter(std::string& out, std::size_t column, bool fold) : out_(out), column_(column), fold_(fold) {}

  void plain(const std::u32string& t) {
    for (std::size_t i = 0; i < t.size(); ++i) {
      if (!fold_at(t, i)) put(t[i]);
    }
  }

  void single_quoted(const std::u32string& t) {
    put('\'');
    for (std::size_t i = 0; i < t.size(); ++i) {
      if (fold_at(t, i)) continue;
      if (t[i] == '\'') put('\'');
      put(t[i]);
    }
    put('\'');
  }

  void double_quoted(const std::u32string& t) {
    put('"');
    for (std::size_t i = 0; i < t.size(); ++i) {
      if (fold_at(t, i)) continue;
      const char32_t c = t[i];
      if (c == '"' || c == '\\' || c == '\n' || c == 0x85 || c == 0x2028 || c == 0x2029 || !is_printable(c)) {
        escape(c);
      } else {
        put(c);
      }
    }
    put('"');
  }

 private:
  // Replaces the blank at `t[i]` by a line break when the line is past the fold width and the
  // blank stands alone between two other characters; the reader folds the break back to a blank.
  bool fold_at(const std::u32string& t, std::size_t i) {
    if (!fold_ || t[i] != ' ' || column_ <= FOLD_WIDTH || i == 0 || i + 1 >= t.size() || t[i - 1] == ' ' || t[i + 1] == ' ') return false;
    out_.push_back('\n');
    out_.append(INDENT);
    column_ = INDENT.size();
    return true;
  }

  void put(char32_t c) {
    text::append_utf8(out_, c);
    ++column_;
  }

  void escape(char32_t c) {
    // Characters with a one-letter escape, and their letters.
    static constexpr std::pair<char32_t, char> NAMED[] = {{0x00, '0'},  {0x07, 'a'}, {0x08, 'b'},   {0x09, 't'},  {0x0A, 'n'},
                                                          {0x0B, 'v'},  {0x0C, 'f'}, {0x0D, 'r'},   {0x1B, 'e'},  {'"', '"'},
                                                          {'\\', '\\'}, {0x85, 'N'}, {0x2028, 'L'}, {0x2029, 'P'}};
    char named = 0;
    for (const auto& [from, letter] : NAMED) {
      if (from == c) named = letter;
    }
    std::string e = "\\";
    if (named != 0) {
      e.push_back(named);
    } else {
      const int digits = c <= 0xFF ? 2 : c <= 0xFFFF ? 4 : 8;
      e.push_back(digits == 2 ? 'x' : digits == 4 ? 'u' : 'U');
      for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) e.push_back("0123456789ABCDEF"[(c >> shift) & 0xF]);
    }
    out_.append(e);
    column_ += e.size();
  }

  std::string& out_;
  std::size_t column_;  // characters on the current output line so far
  bool fold_;           // whether long lines may be folded
};

enum class Context { BLOCK_VALUE, FLOW };

// Appends `text` as one scalar in the first style that reads back as the same text.
void write_scalar(std::string& out, std::string_view text, Context context, std::size_t column, bool plain_allowed = true) {
  const std::u32string t = decode(text);
  const Analysis a = analyze(t);
  ScalarWriter writer(out, column, context == Context::BLOCK_VALUE);
  // The typing patterns are ASCII, so bytes `decode` replaced never change their verdict.
  const bool plain = plain_allowed && (context == Context::BLOCK_VALUE ? a.block_plain && !resolves_to_non_string(text)
                                                                       : a.flow_plain && !is_null_spelling(text));
  if (plain) {
    writer.plain(t);
  } else if (a.single_quoted) {
    writer.single_quoted(t);
  } else {
    writer.double_quoted(t);
  }
}

void write_flow(std::string& out, const Node& node) {
  switch (node.kind) {
    case Kind::NULL_VALUE:
      out.append("null");
      return;
    case Kind::SCALAR:
      write_scalar(out, node.text, Context::FLOW, 0);
      return;
    case Kind::SEQUENCE:
      out.push_back('[');
      for (std::size_t i = 0; i < node.items.size(); ++i) {
        if (i > 0) out.append(", ");
        write_flow(out, node.items[i]);
      }
      out.push_back(']');
      return;
    case Kind::MAPPING:
      out.push_back('{');
      for (std::size_t i = 0; i < node.entries.size(); ++i) {
        if (i > 0) out.append(", ");
        std::string key;
        write_flow(key, node.entries[i].key);
        if (key.size() > LONG_KEY) out.append("? ");
        out.append(key);
        out.append(": ");
        write_flow(out, node.entries[i].value);
      }
      out.push_back('}');
      return;
  }
}

}  // namespace

std::string as_text(const Node& node) {
  if (node.kind == Kind::SCALAR) return node.text;
  std::string out;
  if (node.kind != Kind::NULL_VALUE) write_flow(out, node);
  return out;
}

std::string dump_summary(std::string_view summary, bool plain_allowed) {
  std::string out;
  out.reserve(SUMMARY_KEY.size() + summary.size() + 2);
  out.append(SUMMARY_KEY);
  write_scalar(out, summary, Context::BLOCK_VALUE, SUMMARY_KEY.size(), plain_allowed);
  return out;
}

}  // namespace vantorel::yaml
