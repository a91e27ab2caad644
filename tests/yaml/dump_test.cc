// The summary dumper: exact bytes for one-line summaries, folding of very long lines, and the
// round trip through the loader for many generated summaries.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/printable.h"
#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {
namespace {

std::string shown(std::string_view s) { return test_support::printable(s, 400); }

// What the loader gives back under "summary", or a description of what went wrong.
std::string read_back(const std::string& yaml) {
  try {
    const Node doc = load(yaml);
    const Node* value = find(doc, "summary");
    if (value == nullptr) return "<no summary key>";
    if (value->kind != Kind::SCALAR) return "<not a scalar>";
    return as_text(*value);
  } catch (const std::exception& e) {
    std::string out = "<";
    out.append(e.what()).append(">");
    return out;
  }
}

struct Case {
  std::string summary;
  std::string expected;  // the whole output
};

void check_cases(const std::vector<Case>& cases) {
  for (const Case& c : cases) {
    const std::string got = dump_summary(c.summary);
    EXPECT_EQ(got, c.expected) << "summary: " << shown(c.summary) << "\n     got: " << shown(got);
  }
}

TEST(YamlDumpSummary, CollaboratorExamples) {
  check_cases({
      {"Parses the configuration.", "summary: Parses the configuration."},
      {"yes", "summary: 'yes'"},
      {"42", "summary: '42'"},
      {"1e3", "summary: 1e3"},
      {"a: b", "summary: 'a: b'"},
      {"it's #1", "summary: 'it''s #1'"},
      {"C# it's", "summary: C# it's"},
      {"#1 pick", "summary: '#1 pick'"},
      {"x\x7Fy", R"(summary: "x\x7Fy")"},
      {"\U0001F680 Fast parser", "summary: \U0001F680 Fast parser"},
      {"tab\there", R"(summary: "tab\there")"},
      {"\U0001F680\tgo", "summary: \"\U0001F680\\tgo\""},
  });
}

TEST(YamlDumpSummary, IndicatorsAtTheStart) {
  check_cases({
      {"#x", "summary: '#x'"},     {",x", "summary: ',x'"},   {"[x", "summary: '[x'"},     {"]x", "summary: ']x'"},
      {"{x", "summary: '{x'"},     {"}x", "summary: '}x'"},   {"&x", "summary: '&x'"},     {"*x", "summary: '*x'"},
      {"!x", "summary: '!x'"},     {"|x", "summary: '|x'"},   {">x", "summary: '>x'"},     {"'x", "summary: '''x'"},
      {"\"x", "summary: '\"x'"},   {"%x", "summary: '%x'"},   {"@x", "summary: '@x'"},     {"`x", "summary: '`x'"},
      {"?x", "summary: ?x"},       {"? x", "summary: '? x'"}, {"?", "summary: '?'"},       {":x", "summary: :x"},
      {": x", "summary: ': x'"},   {":", "summary: ':'"},     {"-x", "summary: -x"},       {"- x", "summary: '- x'"},
      {"-", "summary: '-'"},       {"--", "summary: --"},     {"---", "summary: '---'"},   {"--- x", "summary: '--- x'"},
      {"---x", "summary: '---x'"}, {"...", "summary: '...'"}, {"...x", "summary: '...x'"}, {"..", "summary: .."},
      {"<", "summary: <"},         {"~x", "summary: ~x"},
  });
}

TEST(YamlDumpSummary, IndicatorsInside) {
  check_cases({
      {"a:b", "summary: a:b"},
      {"a: b", "summary: 'a: b'"},
      {"a:", "summary: 'a:'"},
      {"Note: see below", "summary: 'Note: see below'"},
      {"a #b", "summary: 'a #b'"},
      {"a#b", "summary: a#b"},
      {"a#", "summary: a#"},
      {"x, y [z] {w} ?v", "summary: x, y [z] {w} ?v"},
      {"a - b", "summary: a - b"},
      {"a & b * c ! d | e > f % g @ h ` i", "summary: a & b * c ! d | e > f % g @ h ` i"},
      {"say \"hi\"", "summary: say \"hi\""},
      {"it's", "summary: it's"},
      {"'quoted'", "summary: '''quoted'''"},
      {"back\\slash", "summary: back\\slash"},
      {"a\"b\tc\\", R"(summary: "a\"b\tc\\")"},
  });
}

TEST(YamlDumpSummary, BlanksAtTheEdges) {
  check_cases({
      {"", "summary: ''"},
      {" a", "summary: ' a'"},
      {"a ", "summary: 'a '"},
      {"  ", "summary: '  '"},
      {" it's ", "summary: ' it''s '"},
      {"a  b", "summary: a  b"},
      {"\u00a0a\u3000", "summary: \u00a0a\u3000"},  // not blanks to YAML
      {"\ta", R"(summary: "\ta")"},
  });
}

TEST(YamlDumpSummary, ImplicitTypesAreQuoted) {
  const std::vector<std::string> typed = {
      // booleans and nulls
      "yes", "Yes", "YES", "no", "No", "NO", "true", "True", "TRUE", "false", "False", "FALSE", "on", "On", "ON", "off", "Off", "OFF", "~",
      "null", "Null", "NULL",
      // integers
      "0b1010", "-0b1_0", "+0b0", "0777", "+0_7", "0", "-0", "+42", "1_000", "1__", "0x1F", "-0xdead_BEEF", "190:20:30", "1:2", "-1:59",
      // floats
      "1.5", "-1.5", "1.", "1_0.5_", ".5", "1.5e+3", "1.0E-10", ".5e-1", "190:20:30.15", "-1:0.", ".inf", "-.inf", "+.INF", ".Inf", ".nan",
      ".NaN", ".NAN",
      // timestamps
      "2001-12-14", "2001-12-14t21:59:43.10-05:00", "2001-12-14 21:59:43.10 -5", "2001-12-15T02:59:43.1Z", "2001-1-1 1:00:00",
      "2001-12-14  21:59:43", "2001-12-14T21:59:43 +05:30",
      // merge and value keys
      "<<", "="};
  std::vector<Case> cases;
  for (const std::string& t : typed) cases.push_back({t, "summary: '" + t + "'"});
  check_cases(cases);
}

TEST(YamlDumpSummary, NearMissesStayPlain) {
  const std::vector<std::string> plain = {// not a boolean or null spelling
                                          "y", "n", "Y", "yEs", "oN", "TRue", "yes!", "nul", "NuLL",
                                          // not an integer or float: an exponent needs a sign, a sign needs a digit before the point
                                          "0b", "0b2", "08", "09", "0x", "0xG", "1_000a", "--1", "1,000", "1:60", "1e3", "1.5e3", "+.5",
                                          "-.nan", ".NAn", "inf", "nan", "1.2.3", "0o17", "\u0661\u0662\u0663",
                                          // not a timestamp, merge key or value key
                                          "2001-1-1", "2001-12-14x", "01-12-14", "2001-12-14 21:59", "2001-12-14T21:59:43 Z5", "<<<",
                                          "==", "= x", "<< x"};
  std::vector<Case> cases;
  for (const std::string& t : plain) cases.push_back({t, "summary: " + t});
  check_cases(cases);
}

TEST(YamlDumpSummary, SpecialCharactersAreEscaped) {
  check_cases({
      {std::string("a\0b", 3), R"(summary: "a\0b")"},
      {"\a\b\v\f\r\x1B", R"(summary: "\a\b\v\f\r\e")"},
      {"\x01\x1F", R"(summary: "\x01\x1F")"},
      {"DEL\x7F", R"(summary: "DEL\x7F")"},
      {"c1\u0080\u009F", R"(summary: "c1\x80\x9F")"},
      {"bom\uFEFF", R"(summary: "bom\uFEFF")"},
      {"\uFFFE\uFFFF", R"(summary: "\uFFFE\uFFFF")"},
      {"max\U0010FFFF", R"(summary: "max\U0010FFFF")"},
      {"it's\t", R"(summary: "it's\t")"},
      {"\U0001D11E \u00e9\u4e2d", "summary: \U0001D11E \u00e9\u4e2d"},  // printable beyond ASCII stands as it is
      {"\U0001F680\U0010FFFE", "summary: \U0001F680\U0010FFFE"},
      {"\uE000\uFFFD", "summary: \uE000\uFFFD"},
  });
}

// A text holding a break may take any form that reads back equal; these are the forms chosen.
TEST(YamlDumpSummary, BreaksGoInDoubleQuotes) {
  check_cases({
      {"a\nb", R"(summary: "a\nb")"},
      {"a\u0085b", R"(summary: "a\Nb")"},
      {"a\u2028b", R"(summary: "a\Lb")"},
      {"a\u2029b", R"(summary: "a\Pb")"},
      {"it's\n", R"(summary: "it's\n")"},
  });
}

TEST(YamlDumpSummary, InvalidUtf8BecomesReplacementCharacters) {
  check_cases({
      {"caf\xE9", "summary: caf\uFFFD"},
      {"\342\202A", "summary: \uFFFD\uFFFDA"},
      {"\xED\xA0\x80", "summary: \uFFFD\uFFFD\uFFFD"},  // a surrogate
      {"\xC0\xAF", "summary: \uFFFD\uFFFD"},            // overlong
      {"\xF4\x90\x80\x80", "summary: \uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xFF: x", "summary: '\uFFFD: x'"},
      {"\xFF\t", "summary: \"\uFFFD\\t\""},
  });
  EXPECT_EQ(read_back(dump_summary("caf\xE9 ok")), "caf\uFFFD ok");
}

// "summary: " takes 9 columns; a lone blank is replaced by a line break once the line is past
// column 10000, counted in characters.
TEST(YamlDumpSummary, FoldsOnlyPastTenThousandColumns) {
  const std::string a9991(9991, 'a');
  const std::string a9992(9992, 'a');
  std::string rockets;
  for (int i = 0; i < 9992; ++i) rockets.append("\U0001F680");
  const std::string w(6000, 'w');
  check_cases({
      {a9991 + " b", "summary: " + a9991 + " b"},
      {a9992 + " b", "summary: " + a9992 + "\n  b"},
      {a9992 + "  b", "summary: " + a9992 + "  b"},                                // two blanks: never folded
      {a9992 + " ", "summary: '" + a9992 + " '"},                                  // a final blank: never folded
      {"#" + a9991.substr(1) + " b", "summary: '#" + a9991.substr(1) + "\n  b'"},  // the quote takes a column
      {"#" + a9991.substr(2) + " b", "summary: '#" + a9991.substr(2) + " b'"},
      {"'" + a9991.substr(2) + " b", "summary: '''" + a9991.substr(2) + "\n  b'"},  // so does the doubled quote
      {"\t" + a9991.substr(2) + " b", "summary: \"\\t" + a9991.substr(2) + "\n  b\""},
      {"\t" + a9991.substr(3) + " b", "summary: \"\\t" + a9991.substr(3) + " b\""},
      {rockets + " b", "summary: " + rockets + "\n  b"},
      {w + " " + w + " " + w + " " + w, "summary: " + w + " " + w + "\n  " + w + " " + w},
      {std::string(30000, 'x'), "summary: " + std::string(30000, 'x')},
  });
}

// Pieces the generator strings together: everything the style rules look at.
const std::vector<std::string> kPieces = {"word",
                                          "Parses",
                                          "the",
                                          "configuration.",
                                          "caf\u00e9",
                                          "\u65e5\u672c\u8a9e",
                                          "\U0001F680",
                                          "\U0001D11E",
                                          "\u00a0",
                                          "\u3000",
                                          "'",
                                          "\"",
                                          "''",
                                          ": ",
                                          ":",
                                          " #",
                                          "#",
                                          "-",
                                          "- ",
                                          "?",
                                          "? ",
                                          "&",
                                          "*",
                                          "!",
                                          "%",
                                          "@",
                                          "`",
                                          "|",
                                          ">",
                                          ",",
                                          "[",
                                          "]",
                                          "{",
                                          "}",
                                          "\\",
                                          "---",
                                          "...",
                                          "<<",
                                          "=",
                                          "yes",
                                          "No",
                                          "TRUE",
                                          "off",
                                          "y",
                                          "n",
                                          "~",
                                          "null",
                                          "Null",
                                          "NULL",
                                          "42",
                                          "-0x1F",
                                          "0777",
                                          "1_000",
                                          "1.5",
                                          "+.5",
                                          ".inf",
                                          ".NaN",
                                          "1e3",
                                          "1.5e+3",
                                          "190:20:30",
                                          "2001-12-14",
                                          "2001-12-14t21:59:43.10-05:00",
                                          "2001-12-14 21:59:43.10 -5",
                                          " ",
                                          "  ",
                                          "\u2003",
                                          "\u202F",
                                          "\t",
                                          "\r",
                                          "\n",
                                          "\r\n",
                                          "\n\n",
                                          " \n",
                                          "\n ",
                                          std::string(1, '\0'),
                                          "\x01",
                                          "\x1B",
                                          "\x7F",
                                          "\u0080",
                                          "\u0085",
                                          "\u2028",
                                          "\u2029",
                                          "\uFEFF",
                                          "\uFFFE",
                                          "\uFFFF",
                                          "\U0010FFFF",
                                          "\U0010FFFE"};

std::string random_summary(std::mt19937& rng, int index) {
  std::string s;
  const int n = static_cast<int>(rng() % 8);
  for (int i = 0; i < n; ++i) s += kPieces[rng() % kPieces.size()];
  if (index % 40 == 0) {
    // Long enough to fold, once or several times, with pieces in between.
    const std::size_t target = index % 80 == 0 ? 30000 : 10000 + rng() % 2000;
    while (s.size() < target) {
      s += std::string(1 + rng() % 60, static_cast<char>('a' + rng() % 26));
      s += rng() % 10 == 0 ? kPieces[rng() % kPieces.size()] : " ";
    }
  }
  return s;
}

TEST(YamlDumpSummary, ReadsBackEqualForGeneratedSummaries) {
  std::mt19937 rng(20240611);
  for (int i = 0; i < 4000; ++i) {
    const std::string s = random_summary(rng, i);
    const std::string yaml = dump_summary(s);
    ASSERT_EQ(read_back(yaml), s) << "summary: " << shown(s) << "\n    yaml: " << shown(yaml);
  }
}

TEST(YamlDumpSummary, ReadsBackEqualForEverySinglePieceAndPair) {
  for (const std::string& a : kPieces) {
    for (const std::string& b : kPieces) {
      const std::string s = a + b;
      ASSERT_EQ(read_back(dump_summary(s)), s) << "summary: " << shown(s) << "\n    yaml: " << shown(dump_summary(s));
    }
  }
}

}  // namespace
}  // namespace vantorel::yaml
