// The safe loader: nulls and scalars, repeated keys, aliases, the flow form of `as_text`, tags,
// the bounds, and hostile texts that must throw ParseError and nothing else.
#include <gtest/gtest.h>

#include <string>

#include "support/printable.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {
namespace {

using namespace std::literals;

std::string shown(std::string_view s) { return test_support::printable(s, 300); }

// "loaded" or "ParseError"; any other exception escapes and fails the test.
std::string outcome(std::string_view text) {
  try {
    load(text);
    return "loaded";
  } catch (const ParseError&) {
    return "ParseError";
  }
}

Node scalar(std::string text, bool plain) { return Node{.kind = Kind::SCALAR, .text = std::move(text), .plain = plain, .entries = {}}; }

std::string repeat(std::string_view piece, std::size_t n) {
  std::string out;
  for (std::size_t i = 0; i < n; ++i) out.append(piece);
  return out;
}

TEST(YamlLoad, NullsAndScalarTexts) {
  struct Case {
    std::string text;
    Node node;
  } cases[] = {
      {"", {}},
      {"# a comment\n---\n...\n", {}},
      {"~", {}},
      {"!!null 'x'", {}},
      {"nULL", scalar("nULL", true)},
      {"'null'", scalar("null", false)},
      {"''", scalar("", false)},
      {"! null", scalar("null", true)},
      {R"("\t\\\u00e9\U0001F680\0\N")", scalar("\t\\\u00e9\U0001F680\0\u0085"s, false)},
      {"|\n  a\n", scalar("a\n", false)},
      {"\uFEFFcaf\u00e9", scalar("caf\u00e9", true)},  // a UTF-8 byte-order mark is skipped
  };
  for (const Case& c : cases) {
    const Node node = load(c.text);
    EXPECT_EQ(node, c.node) << shown(c.text) << " gave " << shown(as_text(node)) << (node.plain ? ", plain" : "");
  }
}

// A document as `as_text` writes it: a scalar plain in the flow form when that reads back as the
// same scalar, else quoted. Repeated keys and aliases show in it too.
TEST(YamlLoad, AsTextOfDocuments) {
  const std::string long_key(1500, 'k');  // libyaml forgets an implicit key past 1024 characters
  struct Case {
    std::string text, flow;
  } cases[] = {
      {"'  x '", "  x "},  // a lone scalar as it is
      {"~", ""},
      {"k: v\nn: [1, ~, []]\ne: {}\n~: a\n'': b\n'null': c\n", "{k: v, n: [1, null, []], e: {}, null: a, '': b, 'null': c}"},
      {"[' x', 'x ', 'a: b', 'a:b', 'a,b', '[x', 'x]', '{', '}', '-', '- x', -x, '#x', 'a #b', a#b, '?x', '&x', yes, a b]",
       "[' x', 'x ', 'a: b', 'a:b', 'a,b', '[x', 'x]', '{', '}', '-', '- x', -x, '#x', 'a #b', a#b, '?x', '&x', yes, a b]"},
      {R"(["a\tb", "it's", "x\ny", 'a''b', "\U0001F680", "\x7F\u2028", "\\"])",
       "[\"a\\tb\", it's, \"x\\ny\", a'b, \U0001F680, \"\\x7F\\L\", \\]"},
      {"{? " + long_key + " : v}", "{? " + long_key + ": v}"},
      // A repeated key: the later value wins, in the earlier entry's place.
      {"a: 1\nb: &x [x]\n'a': 2\n~: 3\nnull: 4\nb: 5\nc: *x\n", "{a: 2, b: 5, null: 4, c: [x]}"},
      // An alias copies its node; an anchor defined again names the later node; merge keys are ordinary keys.
      {"a: &x {k: [p, q]}\nb: *x\nm: {<<: *x}\nc: &x 's'\nd: {*x : *x}\ne: [&y [&y z, *y], *y]\n",
       "{a: {k: [p, q]}, b: {k: [p, q]}, m: {<<: {k: [p, q]}}, c: s, d: {s: s}, e: [[z, z], [z, z]]}"},
  };
  for (const Case& c : cases) EXPECT_EQ(as_text(load(c.text)), c.flow) << shown(c.text);
  EXPECT_EQ(as_text(Node{.kind = Kind::SEQUENCE, .items = {scalar("caf\xE9", false)}, .entries = {}}), "[caf\uFFFD]");
}

TEST(YamlLoad, FindsTheValueUnderAScalarKey) {
  const Node doc = load("~: 1\n'': 2\nb: [x]\n");
  EXPECT_EQ(find(doc, "")->text, "2");  // the null key is no scalar key
  EXPECT_EQ(find(doc, "x"), nullptr);
  EXPECT_EQ(find(*find(doc, "b"), "x"), nullptr);  // not a mapping
}

TEST(YamlLoad, OnlyStandardTagsAreAllowed) {
  for (std::string tag :
       {"null", "bool", "int", "float", "binary", "timestamp", "omap", "pairs", "set", "str", "seq", "map", "merge", "value"})
    EXPECT_EQ(outcome(std::string("a: !!").append(tag).append(" x\nb: !<tag:yaml.org,2002:").append(tag).append("> [y]")), "loaded") << tag;
  for (std::string_view text : {"!foo x", "!!python/object:os.system x", "!<tag:example.com,2000:x> y", "!! x", "!!strx a", "!!Str a",
                                "[!x a]", "--- !local\na: b", "!<tag:yaml.org,2002:> a"})
    EXPECT_EQ(outcome(text), "ParseError") << text;
}

TEST(YamlLoadBounds, NestingStopsAtTheDepthLimit) {
  const auto nested = [](std::size_t n, std::string_view inner) { return std::string(n, '[').append(inner).append(n, ']'); };
  EXPECT_EQ(outcome(nested(MAX_DEPTH, "a")), "loaded");
  EXPECT_EQ(outcome(nested(MAX_DEPTH + 1, "a")), "ParseError");
  // An alias brings the height of its tree, 10 here, under the root mapping and the sequences around it.
  const std::string anchored = "a: &x " + nested(10, "") + "\nb: ";
  EXPECT_EQ(outcome(anchored + nested(MAX_DEPTH - 11, "*x")), "loaded");
  EXPECT_EQ(outcome(anchored + nested(MAX_DEPTH - 10, "*x")), "ParseError");
}

TEST(YamlLoadBounds, AliasExpansionStopsAtTheLimits) {
  // Each alias of the anchored sequence adds 1000 nodes; each alias of the big scalar adds its bytes.
  const std::string nodes = "a: &x [" + repeat("s, ", 998) + "s]\nb: [" + repeat("*x, ", MAX_ALIAS_NODES / 1000);
  EXPECT_EQ(outcome(nodes + "]"), "loaded");
  EXPECT_EQ(outcome(nodes + "*x]"), "ParseError");
  const std::string bytes = "a: &x " + std::string(MAX_ALIAS_BYTES / 4, 'x') + "\nb: [*x, *x, *x, *x";
  EXPECT_EQ(outcome(bytes + "]"), "loaded");
  EXPECT_EQ(outcome(bytes + ", *x]"), "ParseError");
}

TEST(YamlLoadBounds, BillionLaughsIsRefused) {
  std::string text = "a: &a [lol, lol, lol, lol, lol, lol, lol, lol, lol]\n";
  for (char c = 'b'; c <= 'j'; ++c) {
    const std::string alias{'*', static_cast<char>(c - 1), ',', ' '};
    text.append({c, ':', ' ', '&', c, ' ', '['}).append(repeat(alias, 9)).append("]\n");
  }
  EXPECT_EQ(outcome(text), "ParseError") << text;
}

TEST(YamlLoadHostile, MalformedTextsThrowParseError) {
  const std::string_view texts[] = {
      // libyaml's own errors
      "a: b: c", "[a", "{a: b", "'abc", "[a, b}", "- a\nb: c", "a:\n\tb: c", "@a", "\"\\q\"", "\"\\uD800\"", "&a &b x", "%YAML 2.0\n--- a",
      // control characters, NUL, bytes that are not UTF-8, UTF-16 "a: b" after its byte-order mark
      "a: \x1B", "a\0b"sv, "caf\xE9", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xC0\xAF", "\377\376a\0:\0 \0b\0"sv, "\376\377\0a\0:\0 \0b"sv,
      // an alias to nothing or to a node not yet complete, more than one document, keys that are collections
      "a: *x", "&a [*a]", "a\n---\nb", "--- a\n...\n--- \n", "[a]: b", "? {a: b}\n: c", "a: &x [1]\n*x : 2", "[{a: b}: c]"};
  for (std::string_view text : texts) EXPECT_EQ(outcome(text), "ParseError") << shown(text);
  EXPECT_EQ(outcome(std::string(2000, 'k') + ": v"), "ParseError");  // an implicit key longer than libyaml allows
}

// 20 MB each: refused in linear time without deep recursion, or loaded.
TEST(YamlLoadHostile, HugeInputs) {
  const std::size_t size = 20 * 1024 * 1024;
  EXPECT_EQ(outcome(std::string(size, '[')), "ParseError");
  EXPECT_EQ(outcome(repeat("- ", size / 2)), "ParseError");
  EXPECT_EQ(outcome(std::string(size, 'a').insert(0, 1, '"')), "ParseError");
  EXPECT_EQ(outcome("a: &a x\nb: [" + repeat("*a,", size / 3) + "]"), "ParseError");
  EXPECT_EQ(load(std::string(size, 'a')).text.size(), size);
}

}  // namespace
}  // namespace vantorel::yaml
