// The safe loader: nulls and scalars, mappings and duplicate keys, aliases and their bounds, tags,
// the flow form of `as_text`, and hostile inputs that must throw ParseError and nothing else.
#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/printable.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {

using namespace std::string_literals;
using namespace std::string_view_literals;

// Prints a node as its flow form when an expectation fails.
void PrintTo(const Node& node, std::ostream* os) { *os << (node.kind == Kind::NULL_VALUE ? "null" : as_text(node)); }

namespace {

std::string shown(std::string_view s) { return test_support::printable(s, 300); }

// "loaded", "ParseError", or the other exception that escaped.
std::string outcome(std::string_view text) {
  try {
    load(text);
    return "loaded";
  } catch (const ParseError&) {
    return "ParseError";
  } catch (const std::exception& e) {
    std::string out = "other exception: ";
    out.append(e.what());
    return out;
  }
}

// Same kinds and texts all the way down; plain flags aside.
bool same_data(const Node& a, const Node& b) {
  if (a.kind != b.kind || a.text != b.text || a.items.size() != b.items.size() || a.entries.size() != b.entries.size()) return false;
  for (std::size_t i = 0; i < a.items.size(); ++i) {
    if (!same_data(a.items[i], b.items[i])) return false;
  }
  for (std::size_t i = 0; i < a.entries.size(); ++i) {
    if (!same_data(a.entries[i].key, b.entries[i].key) || !same_data(a.entries[i].value, b.entries[i].value)) return false;
  }
  return true;
}

std::string repeat(std::string_view piece, std::size_t n) {
  std::string out;
  out.reserve(piece.size() * n);
  for (std::size_t i = 0; i < n; ++i) out.append(piece);
  return out;
}

Node scalar(std::string text, bool plain = true) { return Node{.kind = Kind::SCALAR, .text = std::move(text), .plain = plain}; }

TEST(YamlLoadScalars, NullsAndTextsAsWritten) {
  struct Case {
    std::string text;
    Kind kind;
    std::string scalar;  // the scalar's text
    bool plain;
  } cases[] = {
      {"~", Kind::NULL_VALUE, "", false},
      {"null", Kind::NULL_VALUE, "", false},
      {"Null", Kind::NULL_VALUE, "", false},
      {"NULL", Kind::NULL_VALUE, "", false},
      {"--- \n", Kind::NULL_VALUE, "", false},
      {"!!null foo", Kind::NULL_VALUE, "", false},
      {"!!null 'x'", Kind::NULL_VALUE, "", false},
      {"!<tag:yaml.org,2002:null> ''", Kind::NULL_VALUE, "", false},
      {"nULL", Kind::SCALAR, "nULL", true},
      {"nul", Kind::SCALAR, "nul", true},
      {"'null'", Kind::SCALAR, "null", false},
      {"\"~\"", Kind::SCALAR, "~", false},
      {"''", Kind::SCALAR, "", false},
      {"!!str null", Kind::SCALAR, "null", true},
      {"!!str", Kind::SCALAR, "", true},
      {"! null", Kind::SCALAR, "null", true},
      {"42", Kind::SCALAR, "42", true},
      {"-0x1F", Kind::SCALAR, "-0x1F", true},
      {"1.5e+3", Kind::SCALAR, "1.5e+3", true},
      {"yes", Kind::SCALAR, "yes", true},
      {"2001-12-14", Kind::SCALAR, "2001-12-14", true},
      {"!!int 42", Kind::SCALAR, "42", true},
      {"!!bool yes", Kind::SCALAR, "yes", true},
      {"'it''s'", Kind::SCALAR, "it's", false},
      {"\"a\\tb\\\\\"", Kind::SCALAR, "a\tb\\", false},
      {"\"\\u00e9\\U0001F680\\x7F\\0\"", Kind::SCALAR, std::string("\u00e9\U0001F680\x7F\0", 8), false},
      {"\"\\N\\L\\P\\_\"", Kind::SCALAR, "\u0085\u2028\u2029\u00a0", false},
      {"'  '", Kind::SCALAR, "  ", false},
      {"a  b  ", Kind::SCALAR, "a  b", true},
      {"two\n  lines", Kind::SCALAR, "two lines", true},
      {"|\n  a\n  b\n", Kind::SCALAR, "a\nb\n", false},
      {">\n  a\n  b\n", Kind::SCALAR, "a b\n", false},
      {"--- a\n...\n", Kind::SCALAR, "a", true},
      {"\uFEFFcaf\u00e9", Kind::SCALAR, "caf\u00e9", true},  // a UTF-8 byte-order mark is skipped
      {"\U0001F680 \u3000x", Kind::SCALAR, "\U0001F680 \u3000x", true},
  };
  for (const Case& c : cases) {
    const Node node = load(c.text);
    EXPECT_EQ(node.kind, c.kind) << shown(c.text);
    EXPECT_EQ(node.text, c.scalar) << shown(c.text) << " gave " << shown(node.text);
    EXPECT_EQ(node.plain, c.plain) << shown(c.text);
  }
}

TEST(YamlLoadScalars, EmptyTextsAreNull) {
  for (std::string_view text : {"", "\n", "   \n\n", "# only a comment", "# one\n# two\n", "---\n", "---\n...\n"}) {
    EXPECT_EQ(load(text), Node{}) << shown(text);
  }
}

TEST(YamlLoadMapping, FindsValuesUnderScalarKeys) {
  const Node doc = load("summary: Parses it.\nempty:\nlist: [a, b]\n'42': quoted\n~: null key\n");
  ASSERT_EQ(doc.kind, Kind::MAPPING);
  ASSERT_EQ(doc.entries.size(), 5u);
  ASSERT_NE(find(doc, "summary"), nullptr);
  EXPECT_EQ(*find(doc, "summary"), scalar("Parses it."));
  EXPECT_EQ(*find(doc, "empty"), Node{});
  EXPECT_EQ(find(doc, "list")->items, (std::vector<Node>{scalar("a"), scalar("b")}));
  EXPECT_EQ(*find(doc, "42"), scalar("quoted"));
  EXPECT_EQ(find(doc, ""), nullptr);  // the null key is not a scalar key
  EXPECT_EQ(find(doc, "missing"), nullptr);
  EXPECT_EQ(find(*find(doc, "list"), "a"), nullptr);  // not a mapping
  EXPECT_EQ(find(Node{}, "summary"), nullptr);
}

TEST(YamlLoadMapping, LaterDuplicateKeyWinsInTheEarlierPlace) {
  struct Case {
    std::string text;
    std::string flow;  // as_text of the loaded mapping
  } cases[] = {
      {"a: 1\nb: 2\na: 3\n", "{a: 3, b: 2}"},           {"a: 1\n'a': 2\n\"a\": 3\n", "{a: 3}"},
      {"~: 1\nnull: 2\n? \n: 3\n", "{null: 3}"},        {"'': 1\n~: 2\n", "{'': 1, null: 2}"},  // an empty scalar key is not the null key
      {"'null': 1\nnull: 2\n", "{'null': 1, null: 2}"}, {"{a: 1, b: {c: 2}, b: 3}", "{a: 1, b: 3}"},
      {"a: &x [1]\na: 2\nb: *x\n", "{a: 2, b: [1]}"},  // an anchored value that was replaced can still be aliased
  };
  for (const Case& c : cases) {
    const Node doc = load(c.text);
    EXPECT_EQ(as_text(doc), c.flow) << shown(c.text);
  }
}

TEST(YamlLoadAliases, AliasIsACopyOfTheAnchoredNode) {
  const Node doc = load("base: &b {name: x, tags: [p, q]}\ncopy: *b\nscalar: &s 'it''s'\nagain: *s\nkey: {*s : v}\n");
  ASSERT_NE(find(doc, "copy"), nullptr);
  EXPECT_EQ(*find(doc, "copy"), *find(doc, "base"));
  EXPECT_EQ(*find(doc, "again"), scalar("it's", false));
  EXPECT_EQ(as_text(*find(doc, "key")), "{it's: v}");

  // An anchor defined again names the later node from there on.
  EXPECT_EQ(as_text(load("a: &x 1\nb: *x\nc: &x 2\nd: *x\n")), "{a: 1, b: 1, c: 2, d: 2}");
  EXPECT_EQ(as_text(load("[&x [&x a, *x], *x]")), "[[a, a], [a, a]]");
  // Nested aliases copy whole trees.
  EXPECT_EQ(as_text(load("a: &a [x]\nb: &b [*a, *a]\nc: [*b, *b]\n")), "{a: [x], b: [[x], [x]], c: [[[x], [x]], [[x], [x]]]}");
  // Merge keys stay ordinary keys.
  EXPECT_EQ(as_text(load("a: &a {x: 1}\nb:\n  <<: *a\n  y: 2\n")), "{a: {x: 1}, b: {<<: {x: 1}, y: 2}}");
}

TEST(YamlLoadTags, StandardTagsAreAllowed) {
  for (std::string_view tag :
       {"null", "bool", "int", "float", "binary", "timestamp", "omap", "pairs", "set", "str", "seq", "map", "merge", "value"}) {
    std::string text = "a: !!";
    text.append(tag).append(" x\nb: !<tag:yaml.org,2002:").append(tag).append("> [y]\n");
    EXPECT_EQ(outcome(text), "loaded") << text;
  }
  for (std::string_view text :
       {"! x", "!!map {a: b}", "!!seq [a]", "%TAG ! tag:yaml.org,2002:\n--- !str a", "%TAG !y! tag:yaml.org,2002:\n--- !y!int 1"}) {
    EXPECT_EQ(outcome(text), "loaded") << text;
  }
}

TEST(YamlLoadTags, OtherTagsAreRefused) {
  for (std::string_view text :
       {"!foo x", "!!python/object:os.system x", "!<tag:example.com,2000:x> y", "!! x", "!!strx a", "--- !local\na: b", "a: !!map2 {}",
        "[!x a]", "%TAG !e! tag:example.com,2000:\n--- !e!x a", "!<tag:yaml.org,2002:> a", "!!Str a"}) {
    EXPECT_EQ(outcome(text), "ParseError") << text;
  }
}

TEST(YamlLoadBounds, NestingUpToTheDepthLimit) {
  struct Case {
    std::string name;
    std::string open, middle, close;
  } cases[] = {
      {"flow sequences", "[", "a", "]"},
      {"flow mappings", "{a: ", "b", "}"},
      {"block sequences", "- ", "a", ""},
  };
  for (const Case& c : cases) {
    const std::string at_limit = repeat(c.open, MAX_DEPTH) + c.middle + repeat(c.close, MAX_DEPTH);
    const std::string past_limit = repeat(c.open, MAX_DEPTH + 1) + c.middle + repeat(c.close, MAX_DEPTH + 1);
    EXPECT_EQ(outcome(at_limit), "loaded") << c.name;
    EXPECT_EQ(outcome(past_limit), "ParseError") << c.name;
  }
  // Block mappings, one level of indentation each.
  std::string mappings;
  for (std::size_t i = 0; i < MAX_DEPTH; ++i) mappings.append(std::string(i, ' ')).append("k:\n");
  EXPECT_EQ(outcome(mappings), "loaded");  // the innermost value is a null, not a mapping
  mappings.append(std::string(MAX_DEPTH, ' ')).append("k: v\n");
  EXPECT_EQ(outcome(mappings), "ParseError");
  // A node that is nested at the limit is still a complete tree.
  const Node deep = load(repeat("[", MAX_DEPTH) + repeat("]", MAX_DEPTH));
  EXPECT_EQ(as_text(deep), repeat("[", MAX_DEPTH) + repeat("]", MAX_DEPTH));
}

TEST(YamlLoadBounds, AliasesMayNotNestPastTheDepthLimit) {
  // The anchored tree is 10 deep; the alias sits inside the root mapping and `k` sequences.
  const auto text = [](std::size_t k) {
    return "a: &x " + repeat("[", 10) + repeat("]", 10) + "\nb: " + repeat("[", k) + "*x" + repeat("]", k) + "\n";
  };
  EXPECT_EQ(outcome(text(MAX_DEPTH - 11)), "loaded");
  EXPECT_EQ(outcome(text(MAX_DEPTH - 10)), "ParseError");
}

TEST(YamlLoadBounds, AliasExpansionIsBoundedInNodes) {
  // An anchored sequence of `per - 1` scalars is `per` nodes; each alias adds that many.
  const std::size_t per = 1000;
  const std::size_t aliases = MAX_ALIAS_NODES / per;
  const auto text = [&](std::size_t n) { return "a: &x [" + repeat("s, ", per - 2) + "s]\nb: [" + repeat("*x, ", n) + "]\n"; };
  EXPECT_EQ(outcome(text(aliases)), "loaded");
  EXPECT_EQ(outcome(text(aliases + 1)), "ParseError");
  const Node doc = load(text(aliases));
  EXPECT_EQ(find(doc, "b")->items.size(), aliases);
  EXPECT_EQ(find(doc, "b")->items.back(), *find(doc, "a"));
}

TEST(YamlLoadBounds, AliasExpansionIsBoundedInBytes) {
  const std::string big(MAX_ALIAS_BYTES / 4, 'x');
  const auto text = [&](std::size_t n) { return "a: &x " + big + "\nb: [" + repeat("*x, ", n) + "]\n"; };
  EXPECT_EQ(outcome(text(4)), "loaded");
  EXPECT_EQ(outcome(text(5)), "ParseError");
}

TEST(YamlLoadBounds, BillionLaughsIsRefused) {
  std::string text = "a: &a [\"lol\", \"lol\", \"lol\", \"lol\", \"lol\", \"lol\", \"lol\", \"lol\", \"lol\"]\n";
  for (char level = 'b'; level <= 'j'; ++level) {
    const std::string prev(1, static_cast<char>(level - 1));
    text.append(1, level).append(": &").append(1, level).append(" [");
    for (int i = 0; i < 9; ++i) text.append(i ? ", *" : "*").append(prev);
    text.append("]\n");
  }
  EXPECT_EQ(outcome(text), "ParseError") << text;
  // The same with keys, and with a mapping at every level.
  std::string keys = "a: &a {x: lol, y: lol, z: lol}\n";
  for (char level = 'b'; level <= 'z'; ++level) {
    const std::string prev(1, static_cast<char>(level - 1));
    keys.append(1, level).append(": &").append(1, level).append(" {x: *").append(prev).append(", y: *").append(prev);
    keys.append(", z: *").append(prev).append("}\n");
  }
  EXPECT_EQ(outcome(keys), "ParseError") << keys;
}

TEST(YamlLoadHostile, MalformedTextsThrowParseError) {
  const std::vector<std::string_view> texts = {
      // libyaml's own errors
      "a: b: c", "[a", "{a: b", "'abc", "\"abc", "[a, b}", "{a: [}]", "- a\nb: c", "a:\n\tb: c", "@a", "`a", "\"\\q\"", "\"\\x\"",
      "\"\\uD800\"", "\"\\U00110000\"", "&a &b x", "*", "%YAML 2.0\n--- a", "%YAML 1.1\n%YAML 1.1\n--- a", "key: |\n  a\n b: c",
      "- [a\n- b", "? a\n? b\n: c\n: d", "...",
      // what the reader refuses: control characters, NUL, invalid UTF-8, UTF-16 with its byte-order mark
      "\x01", "a: \x1B", "a\0b"sv, "\0"sv, "'x\n\x7F'", "\xC3\x28", "caf\xE9", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC0\xAF", "\xFF\xFE",
      "\377\376a\0"sv, "\xFE\xFF\0a"sv, "a: \xC2",
      // aliases
      "a: *x", "&a [*a]", "&m {k: *m}", "*a\n",
      // more than one document
      "a\n---\nb", "--- a\n--- b", "---\na\n...\n---\nb\n", "--- a\n...\n--- \n",
      // keys that are collections
      "[a]: b", "{a: b}: c", "? [a]\n: b", "? {a: b}\n: c", "a: &x [1]\n*x : 2", "{[a]: b}", "[{a: b}: c]", "? - a\n: b"};
  for (std::string_view text : texts) EXPECT_EQ(outcome(text), "ParseError") << shown(text);
  // An implicit key longer than libyaml allows.
  EXPECT_EQ(outcome(std::string(2000, 'k') + ": v"), "ParseError");
}

TEST(YamlLoadHostile, ByteOrderMarkNeverSwitchesEncoding) {
  // UTF-16 "a: b" after its byte-order mark: as UTF-8 it is invalid, never the mapping.
  EXPECT_EQ(outcome("\377\376a\0:\0 \0b\0"sv), "ParseError");
  EXPECT_EQ(load("\uFEFFa: b"), load("a: b"));
}

TEST(YamlLoadHostile, HugeInputsThrowParseError) {
  const std::size_t size = 20 * 1024 * 1024;
  const auto random_text = [size](std::string_view alphabet) {
    std::mt19937 rng(42);
    std::string out(size, '\0');
    for (char& c : out) c = alphabet.empty() ? static_cast<char>(rng()) : alphabet[rng() % alphabet.size()];
    return out;
  };
  // Each text is made only when its turn comes, so one at a time is held.
  struct Case {
    std::string name;
    std::function<std::string()> make;
  } cases[] = {
      {"random bytes", [&] { return random_text(""); }},
      {"random indicators", [&] { return random_text("[]{}:,-?&*!|>'\"%@` \n\tab#~"); }},
      {"open brackets", [&] { return std::string(size, '['); }},
      {"open braces", [&] { return std::string(size, '{'); }},
      {"block entries", [&] { return repeat("- ", size / 2); }},
      {"flow mapping keys", [&] { return repeat("{a: ", size / 4); }},
      {"unclosed double quote", [&] { return "\"" + std::string(size, 'a'); }},
      {"unclosed single quote", [&] { return "'" + std::string(size, 'a'); }},
      {"control character at the end", [&] { return std::string(size, 'a') + "\x01"; }},
      {"invalid UTF-8 at the end", [&] { return std::string(size, 'a') + "\xC3"; }},
      {"anchors", [&] { return repeat("&a ", size / 3); }},
      {"aliases", [&] { return "a: &a x\nb: [" + repeat("*a,", size / 3) + "]"; }},
      {"continuation bytes", [&] { return std::string(size, '\x80'); }},
  };
  for (const Case& c : cases) EXPECT_EQ(outcome(c.make()), "ParseError") << c.name;
}

TEST(YamlLoadHostile, HugeScalarLoads) {
  const std::string text(20 * 1024 * 1024, 'a');
  const Node node = load(text);
  EXPECT_EQ(node.kind, Kind::SCALAR);
  EXPECT_EQ(node.text.size(), text.size());
  EXPECT_EQ(load(repeat("# comment\n", 2 * 1024 * 1024)), Node{});
}

TEST(YamlLoadAsText, FlowForms) {
  struct Case {
    std::string text;
    std::string flow;
  } cases[] = {
      {"[a, b]", "[a, b]"},
      {"k: v\nn: [1, 2]\n", "{k: v, n: [1, 2]}"},
      {"[]", "[]"},
      {"{}", "{}"},
      {"[[], {}, [[]]]", "[[], {}, [[]]]"},
      {"a: {b: [c, {d: e}]}", "{a: {b: [c, {d: e}]}}"},
      {"[~, 'null', 'NULL', '', ' x', 'x ', 'a: b', 'a,b', '[x', 'x]', '{', '-', '- x', '#x', 'a #b', '?x', -x, 'a:b', yes, 42, a b]",
       "[null, 'null', 'NULL', '', ' x', 'x ', 'a: b', 'a,b', '[x', 'x]', '{', '-', '- x', '#x', 'a #b', '?x', -x, 'a:b', yes, 42, a b]"},
      {"[\"a\\tb\", \"it's\", \"x\\ny\", \"it's\\t\", 'a''b', \"\\u00e9\\U0001F680\", \"\\x7F\", \"\\u2028\", \"\\\\\"]",
       "[\"a\\tb\", it's, \"x\\ny\", \"it's\\t\", a'b, \u00e9\U0001F680, \"\\x7F\", \"\\L\", \\]"},
      {"{~: a, '': b, 'null': c}", "{null: a, '': b, 'null': c}"},
  };
  for (const Case& c : cases) {
    const Node node = load(c.text);
    const std::string flow = as_text(node);
    EXPECT_EQ(flow, c.flow) << shown(c.text);
    EXPECT_TRUE(same_data(load(flow), node)) << shown(c.text) << " -> " << shown(flow);
  }
}

TEST(YamlLoadAsText, ScalarsAndNulls) {
  EXPECT_EQ(as_text(load("'  x '")), "  x ");
  EXPECT_EQ(as_text(load("~")), "");
  EXPECT_EQ(as_text(Node{}), "");
  EXPECT_EQ(as_text(scalar("a: b")), "a: b");
  // Inside a flow form, bytes that are not UTF-8 become U+FFFD.
  EXPECT_EQ(as_text(Node{.kind = Kind::SEQUENCE, .items = {scalar("caf\xE9")}}), "[caf\uFFFD]");
}

TEST(YamlLoadAsText, LongKeysReadBack) {
  for (std::size_t length : {10u, 999u, 1000u, 1001u, 1024u, 1500u, 5000u}) {
    const Node map{.kind = Kind::MAPPING,
                   .entries = {{scalar(std::string(length, 'k')), scalar("v")}, {scalar(std::string(length, 'q') + ":"), Node{}}}};
    const std::string flow = as_text(map);
    EXPECT_TRUE(same_data(load(flow), map)) << length << ": " << shown(flow);
  }
}

// Token soup: whatever comes of it loads or throws ParseError, and what loads reads back from
// its flow form.
TEST(YamlLoadAsText, GeneratedDocumentsReadBackOrFailCleanly) {
  const std::vector<std::string> tokens = {"a",    "b",        "k: ",      ":",   ": ",   "- ",     "[",      "]",       "{",   "}",
                                           ", ",   ",",        "&x ",      "&y ", "*x",   "*y",     "!!str ", "!!null ", "!e ", "? ",
                                           "'q'",  "'it''s'",  "\"d\\t\"", "\n",  "\n  ", "\n    ", "---\n",  "...\n",   "#c",  "~",
                                           "null", "|\n  t\n", ">\n  f\n", "\t",  " ",    "yes",    "42",     "\u00e9",  "''",  "\"\""};
  std::mt19937 rng(1234);
  int loaded = 0;
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    const int n = 1 + static_cast<int>(rng() % 14);
    for (int j = 0; j < n; ++j) text += tokens[rng() % tokens.size()];
    Node node;
    try {
      node = load(text);
    } catch (const ParseError&) {
      continue;
    } catch (const std::exception& e) {
      FAIL() << shown(text) << " threw " << e.what();
    }
    ++loaded;
    if (node.kind != Kind::SEQUENCE && node.kind != Kind::MAPPING) continue;
    const std::string flow = as_text(node);
    Node again;
    ASSERT_NO_THROW(again = load(flow)) << shown(text) << " -> " << shown(flow);
    ASSERT_TRUE(same_data(again, node)) << shown(text) << " -> " << shown(flow) << " -> " << shown(as_text(again));
  }
  EXPECT_GT(loaded, 1000);  // the generator reaches loadable documents, not only errors
}

}  // namespace
}  // namespace vantorel::yaml
