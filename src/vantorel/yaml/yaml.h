// YAML for the page front matter: a safe loader that yields plain data, and the writer of the
// one-key mapping `summary: <scalar>`.
//
// The loader reads exactly one document into a tree of nulls, scalars, sequences and mappings. It
// never converts a scalar to a number, boolean or date: a scalar keeps the text it was written
// with, once unquoted and unescaped. Hostile text (deep nesting, alias bombs, unknown tags, bytes
// that are not UTF-8) is refused with `ParseError`:
//
//   Node doc = load("summary: 'it''s 42'\nlist: [a, ~]\n");
//   EXPECT_EQ(as_text(*find(doc, "summary")), "it's 42");
//   EXPECT_EQ(as_text(*find(doc, "list")), "[a, null]");
//   EXPECT_EQ(dump_summary("yes"), "summary: 'yes'");
//   EXPECT_EQ(as_text(*find(load(dump_summary(s)), "summary")), s);  // for any UTF-8 `s`
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vantorel::yaml {

// Bounds the loader enforces on any text.
inline constexpr std::size_t MAX_DEPTH = 512;                    // collections nested in one another
inline constexpr std::size_t MAX_ALIAS_NODES = 100'000;          // nodes that aliases add, all aliases together
inline constexpr std::size_t MAX_ALIAS_BYTES = 4 * 1024 * 1024;  // scalar bytes that aliases add, all together

// The text is not one loadable document: libyaml refused it, it holds more than one document, a
// mapping key is a sequence or mapping, a tag is not a standard one, or a bound above is exceeded.
// The message starts with "line:column: " where libyaml gives a position.
class ParseError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

enum class Kind {
  NULL_VALUE,  // null: `~`, `null`, an empty value, `!!null ...`
  SCALAR,      // any other scalar, as text
  SEQUENCE,    // `items`
  MAPPING,     // `entries`
};

// One node of a loaded document. A value type: copying copies the whole tree.
struct Node {
  struct Entry;

  Kind kind = Kind::NULL_VALUE;  // what the node is; the default node is null
  std::string text{};            // a scalar's text; empty for every other kind
  bool plain = false;            // a scalar written without quotes (plain style); false for every other kind
  std::vector<Node> items{};     // a sequence's items, in order
  // A mapping's entries, in order of first appearance; keys are null or scalar and distinct. No
  // "{}" initializer: clang with libstdc++ would need `Entry` complete already to compile it.
  std::vector<Entry> entries;

  bool operator==(const Node&) const = default;
};

struct Node::Entry {
  Node key{};    // a null or scalar node
  Node value{};  // the value the last entry with this key gave

  bool operator==(const Entry&) const = default;
};

// Loads the one document `text` holds. An empty text, or one of comments and blank lines only, is a
// null node. The text is read as UTF-8 whatever its first bytes are, and may hold NUL bytes (which
// libyaml refuses like other control characters).
//
// A plain scalar "", "~", "null", "Null" or "NULL" without a tag, and any scalar tagged `!!null`,
// is a null node; every other scalar keeps its text. An alias is a copy of the node its anchor
// names. When a mapping repeats a key (keys compared by kind and text), the later value replaces
// the earlier one in the earlier entry's place. Tags allowed are the non-specific `!` and
// `tag:yaml.org,2002:` followed by null, bool, int, float, binary, timestamp, omap, pairs, set,
// str, seq, map, merge or value; they change nothing but `!!null`. Merge keys (`<<`) are ordinary
// keys.
//
// Throws `ParseError` for every reason the text is not one loadable document, and `std::bad_alloc`
// when memory runs out; nothing else. Work and memory are linear in the size of the text plus the
// alias bounds, and the stack depth is bounded by `MAX_DEPTH`.
Node load(std::string_view text);

// The node as one line of text: a scalar's text, "" for null, and the YAML flow form of a
// sequence or mapping (`[a, b]`, `{k: v, n: [1, null]}`), where each scalar is plain when that
// reads back as the same scalar text in flow context, else quoted, and null is `null`. Loading a
// flow form gives back the same kinds and texts (plain flags aside). Inside a flow form, bytes of
// a scalar that are not UTF-8 are written as U+FFFD; a lone scalar's text is returned as it is.
std::string as_text(const Node& node);

// The value under the scalar key whose text is `key`, or nullptr when `mapping` is not a mapping or
// has no such key. The pointer points into `mapping`.
const Node* find(const Node& mapping, std::string_view key);

// "summary: " followed by `summary` as one YAML scalar, without a line break at the end. The style
// is the one a YAML 1.1 emitter picks (plain when the text reads back as the same string, else
// single-quoted, else double-quoted with escapes), and a line is folded only past 10000 columns,
// at a single blank between two other characters. Loading the result and taking "summary" gives
// `summary` back exactly, with one lossy exception: each byte that is not part of valid UTF-8 is
// written as U+FFFD.
//
//   dump_summary("Parses the configuration.") == "summary: Parses the configuration."
//   dump_summary("a: b") == "summary: 'a: b'"
//   dump_summary("tab\there") == "summary: \"tab\\there\""
//
// With `plain_allowed` false the scalar is quoted even where plain would do, for callers that
// trim the line afterwards and must not cut into a plain scalar ending in non-YAML white space.
std::string dump_summary(std::string_view summary, bool plain_allowed = true);

}  // namespace vantorel::yaml
