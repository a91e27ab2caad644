// The summary dumper: exact bytes for one-line summaries, folding of very long lines, and the
// round trip through the loader for generated summaries.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/printable.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {
namespace {

using namespace std::string_literals;

struct Case {
  std::string summary, value;  // the value is what follows "summary: "
};

void expect_dumps(const Case& c) {
  const std::string got = dump_summary(c.summary);
  EXPECT_EQ(got, std::string("summary: ").append(c.value))
      << "summary: " << test_support::printable(c.summary) << "\n     got: " << test_support::printable(got);
}

// One row per rule of the style choice: plain unless a rule rules it out, else single quotes, else
// double quotes.
TEST(YamlDumpSummary, OneLineSummariesGiveExactBytes) {
  const Case cases[] = {
      // The collaborators' examples.
      {"Parses the configuration.", "Parses the configuration."},
      {"yes", "'yes'"},
      {"42", "'42'"},
      {"1e3", "1e3"},  // an exponent needs a sign
      {"a: b", "'a: b'"},
      {"it's #1", "'it''s #1'"},
      {"C# it's", "C# it's"},
      {"#1 pick", "'#1 pick'"},
      {"x\x7Fy", R"("x\x7Fy")"},
      {"\U0001F680 Fast parser", "\U0001F680 Fast parser"},
      {"tab\there", R"("tab\there")"},
      {"\U0001F680\tgo", "\"\U0001F680\\tgo\""},
      // The other indicators as the first character (most of them in the loop below).
      {"'x", "'''x'"},
      {"?x", "?x"},
      {"? x", "'? x'"},
      {":x", ":x"},
      {": x", "': x'"},
      {"-x", "-x"},
      {"- x", "'- x'"},
      // Indicators further on, document markers, blanks at the edges.
      {"a:", "'a:'"},                            // the end of the text counts as white space
      {"a:b,c [d] {e} ?f", "a:b,c [d] {e} ?f"},  // flow indicators matter only in flow context
      {"---x", "'---x'"},
      {"...x", "'...x'"},
      {"", "''"},
      {" a", "' a'"},
      {"a ", "'a '"},
      {"\u00a0a\u3000", "\u00a0a\u3000"},  // white space, but no blank
      // What YAML 1.1 reads as other than a string: one row per kind, and near misses.
      {"~", "'~'"},
      {"y", "y"},
      {"0x1F", "'0x1F'"},
      {"190:20:30", "'190:20:30'"},
      {"-1_0.5e+3", "'-1_0.5e+3'"},
      {"-.inf", "'-.inf'"},
      {"+.5", "+.5"},
      {"2001-12-14t21:59:43.10-05:00", "'2001-12-14t21:59:43.10-05:00'"},
      {"2001-1-1", "2001-1-1"},
      {"<<", "'<<'"},
      {"=", "'='"},
      // Characters only double quotes carry, and their escapes.
      {"\"\\\0\a\b\t\v\f\r\x1B\x01"s, R"("\"\\\0\a\b\t\v\f\r\e\x01")"},
      {"c1\u0080\u009F", R"("c1\x80\x9F")"},
      {"a\u0085\u2028\u2029b", R"("a\N\L\Pb")"},
      {"\uFEFF\uFFFF\U0010FFFF", R"("\uFEFF\uFFFF\U0010FFFF")"},
      // Bytes that are not UTF-8: each one becomes U+FFFD.
      {"caf\xE9", "caf\uFFFD"},
      {"\xED\xA0\x80: x", "'\uFFFD\uFFFD\uFFFD: x'"},
  };
  for (const Case& c : cases) expect_dumps(c);
  for (const char indicator : std::string_view(",[]{}&*!|>\"%@`")) expect_dumps({{indicator, 'x'}, {'\'', indicator, 'x', '\''}});
}

// "summary: " takes 9 columns; a lone blank becomes a line break once the line is past column
// 10000, counted in characters.
TEST(YamlDumpSummary, FoldsOnlyPastTenThousandColumns) {
  const std::string a(9991, 'a'), w(6000, 'w');
  std::string rockets;  // 9991 characters, four times as many bytes
  for (int i = 0; i < 9991; ++i) rockets.append("\U0001F680");
  const Case cases[] = {
      {a + " b", a + " b"},
      {a + "a b", a + "a\n  b"},
      {a + "a  b", a + "a  b"},     // two blanks are never folded
      {a + "a ", "'" + a + "a '"},  // nor is a final one
      {std::string("#").append(9990, 'a').append(" b"), std::string("'#").append(9990, 'a').append("\n  b'")},  // the quote takes a column
      {rockets + " b", rockets + " b"},
      {w + " " + w + " " + w + " " + w, w + " " + w + "\n  " + w + " " + w},
  };
  for (const Case& c : cases) expect_dumps(c);
}

// What the loader gives back under "summary", or what went wrong.
std::string read_back(const std::string& yaml) try {
  const Node doc = load(yaml);
  const Node* value = find(doc, "summary");
  return value != nullptr && value->kind == Kind::SCALAR ? value->text : "<no summary scalar>";
} catch (const ParseError& e) {
  return std::string("<").append(e.what()).append(">");
}

// Pieces the generator strings together: what the style rules look at.
const std::string PIECES[] = {
    // words, indicators, implicit types
    "word", "the", "caf\u00e9", "\u65e5\u672c\u8a9e", "\U0001F680", "\u00a0", "'", "\"", "''", ": ", ":", " #", "#", "-", "- ", "?", "? ",
    "&", "*", "!", "%", "@", "`", "|", ">", ",", "[", "]", "{", "}", "\\", "---", "...", "<<", "=", "yes", "No", "off", "y", "~", "null",
    "42", "-0x1F", "0777", "1.5", "+.5", ".inf", "1e3", "1.5e+3", "190:20:30", "2001-12-14", "2001-12-14 21:59:43.10 -5",
    // blanks, breaks and special characters
    " ", "  ", "\t", "\r", "\n", "\r\n", " \n", "\n ", "\0"s, "\x01", "\x1B", "\x7F", "\u0080", "\u0085", "\u2028", "\u2029", "\uFEFF",
    "\uFFFE", "\uFFFF", "\U0010FFFF", "\U0010FFFE"};

// Every pair of pieces first, then random runs of pieces, some long enough to fold several times.
TEST(YamlDumpSummary, ReadsBackEqualForGeneratedSummaries) {
  const std::size_t n = std::size(PIECES);
  std::mt19937 rng(20240611);
  for (std::size_t i = 0; i < n * n + 4000; ++i) {
    std::string s = i < n * n ? PIECES[i / n] + PIECES[i % n] : "";
    for (std::size_t k = i < n * n ? 0 : rng() % 8; k > 0; --k) s.append(PIECES[rng() % n]);
    const std::size_t target = i >= n * n && i % 40 == 0 ? 10000 + rng() % 20000 : 0;
    while (s.size() < target) s.append(1 + rng() % 60, static_cast<char>('a' + rng() % 26)).append(rng() % 10 ? " " : PIECES[rng() % n]);
    const std::string yaml = dump_summary(s);
    ASSERT_EQ(read_back(yaml), s) << "summary: " << test_support::printable(s) << "\n    yaml: " << test_support::printable(yaml);
  }
}

}  // namespace
}  // namespace vantorel::yaml
