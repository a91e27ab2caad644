#include "vantorel/workers/wiki/finalize/authored.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <unordered_set>
#include <vector>

#include "vantorel/text/pattern.h"

namespace vantorel::workers::wiki {

void PrintTo(const Authored& a, std::ostream* os) { *os << "{body: \"" << a.body << "\", summary: \"" << a.summary << "\"}"; }

namespace {

TEST(AuthoredText, FrontMatterThenBody) {
  EXPECT_EQ((Authored{.body = "Body."}).text(), "Body.");
  EXPECT_EQ((Authored{.body = "Body.", .summary = "Parses the configuration."}).text(),
            "---\nsummary: Parses the configuration.\n---\n\nBody.");
  EXPECT_EQ((Authored{.body = "", .summary = "yes"}).text(), "---\nsummary: 'yes'\n---\n\n");
  // Records compare, order and hash by value, so they can serve as keys.
  const std::unordered_set<Authored> keys = {Authored{.body = "a"}, Authored{.body = "a"}, Authored{.body = "a", .summary = "s"}};
  EXPECT_EQ(keys.size(), 2u);
  EXPECT_LT((Authored{.body = "a"}), (Authored{.body = "b"}));
}

TEST(SplitAuthored, FrontMatter) {
  struct Case {
    std::string text, body, summary;
  } cases[] = {
      {"---\nsummary: Parses the configuration.\n---\n\n# Config\n\nBody.", "Body.", "Parses the configuration."},
      {"\xEF\xBB\xBF \n\n\t---\nsummary: S.\n---\nBody.", "Body.", "S."},
      {"---  \nsummary: S.\n--- \t\nBody.", "Body.", "S."},
      {"---\nsummary: S.\n---", "", "S."},
      // Not valid YAML: the "summary:" line gives the summary, and the block still goes.
      {"---\nsummary: Keys: values and more\n---\nBody.", "Body.", "Keys: values and more"},
      {"---\nsummary: \"Quoted\"\n---\nBody.", "Body.", "Quoted"},
      {"---\nsummary: \"Quoted\"\nbad: [\n---\nBody.", "Body.", "Quoted"},
      {"---\nsummary: '\"Mixed\n: [\n---\nBody.", "Body.", "Mixed"},
      {"---\nsummary:\n  On the next line.\n---\nBody.", "Body.", "On the next line."},
      // Valid YAML without a summary: the block goes, the summary comes from the prose.
      {"---\ntitle: Config\n---\n> First part\n> second part.\n\nBody.", "Body.", "First part second part."},
      {"---\nsummary: ~\n---\nBody.", "Body.", ""},
      {"---\nsummary: 42\n---\nBody.", "Body.", "42"},
      {"---\nsummary: \"  Spaced\n   out  \"\n---\nBody.", "Body.", "Spaced out"},
      // Not front-matter: the lines stay in the prose.
      {"---\njust words\n---\nBody.", "---\njust words\n---\nBody.", ""},
      {"---\n- a\n---\nBody.", "---\n- a\n---\nBody.", ""},
      {"---\r\nsummary: S.\r\n---\r\nBody.", "---\r\nsummary: S.\r\n---\r\nBody.", ""},
      {"---\n---\nBody.", "---\n---\nBody.", ""},
      {"Intro\n---\nsummary: S.\n---\n", "Intro\n---\nsummary: S.\n---", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(split_authored(c.text), (Authored{.body = c.body, .summary = c.summary})) << c.text;
}

TEST(SplitAuthored, FinalizedPage) {
  const std::string page =
      "# Config\n<!-- wiki:summary -->\n> Parses X.\n<!-- /wiki:summary -->\n\n<!-- wiki:sources -->\n- src\n<!-- /wiki:sources -->\n\n"
      "Body.\n\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->\n";
  EXPECT_EQ(split_authored(page), (Authored{.body = "Body.", .summary = "Parses X."}));
  // The plan's summary block never gives the author's summary; a blockquote opening the prose does.
  std::string plan_page = page;
  plan_page.replace(plan_page.find("summary -->"), 11, "summary plan -->");
  EXPECT_EQ(split_authored(plan_page), (Authored{.body = "Body."}));
  plan_page.replace(plan_page.find("Body."), 5, "> Quoted.\n\nBody.");
  EXPECT_EQ(split_authored(plan_page), (Authored{.body = "Body.", .summary = "Quoted."}));
  // Front-matter wins over the block; only the first author's block is read, even when empty.
  EXPECT_EQ(split_authored("---\nsummary: F.\n---\n" + page).summary, "F.");
  EXPECT_EQ(split_authored("<!-- wiki:summary -->\n<!-- /wiki:summary -->\n<!-- wiki:summary -->\n> B.\n<!-- /wiki:summary -->\nx").summary,
            "");
}

TEST(SplitAuthored, PlanSummaryAndHeadings) {
  const std::string text = "---\nsummary: Reads  the plan.\n---\nBody.";
  EXPECT_EQ(split_authored(text, "Reads the plan.").summary, "");
  EXPECT_EQ(split_authored(text, " Reads\nthe plan. ").summary, "");
  EXPECT_EQ(split_authored(text, "Reads the plan").summary, "Reads the plan.");
  EXPECT_EQ(split_authored("Body.", "").summary, "");
  EXPECT_EQ(split_authored("# Title\n# Second\n\nText").body, "# Second\n\nText");
  EXPECT_EQ(split_authored("#Title\nText").body, "#Title\nText");
  EXPECT_EQ(split_authored("Text\n## Sources\n- [a](x)\n## Next\nMore").body, "Text\n\n## Next\nMore");
}

TEST(SplitAuthored, OddTextNeverThrows) {
  const std::vector<std::string> blocks = {
      std::string("summary: a\0b", 12),
      "summary: \xFF\xFE",
      "summary: \"unclosed",
      "summary: !python/object x",
      "summary: !!binary x",
      "a: &a [1]\nb: &b [*a,*a,*a,*a,*a,*a,*a,*a,*a]\nc: &c [*b,*b,*b,*b,*b,*b,*b,*b,*b]\nd: &d [*c,*c,*c,*c,*c,*c,*c,*c,*c]\n"
      "e: &e [*d,*d,*d,*d,*d,*d,*d,*d,*d]\nf: &f [*e,*e,*e,*e,*e,*e,*e,*e,*e]\ng: [*f,*f,*f,*f,*f,*f,*f,*f,*f]\nsummary: Bomb.",
      std::string(20u << 20, '['),
      "summary: [a, {b: c}]",
      "\t- x\nsummary: Tab.",
      "%YAML 1.1\n%YAML 1.1\nsummary: x"};
  for (const std::string& block : blocks) {
    const std::string text = "---\n" + block + "\n---\nBody.";
    EXPECT_NO_THROW(split_authored(text)) << block.substr(0, 80);
  }
  EXPECT_EQ(split_authored("---\nsummary: \xFF\xFE\n---\nBody.").summary, "\xFF\xFE");
  EXPECT_EQ(split_authored("---\nsummary: \"unclosed\n---\nBody.").summary, "unclosed");
  EXPECT_EQ(split_authored("---\nsummary: !python/object x\n---\nBody.").summary, "!python/object x");
}

TEST(Blockquotes, TextAndLeadingQuote) {
  const std::vector<std::string_view> lines = {"> a", "", "  >  b ", ">", "> > c", "plain"};
  EXPECT_EQ(_blockquote_text(lines), "a b  > c plain");
  EXPECT_EQ(_leading_blockquote("> a\n>b\n\nRest.\n"), (std::pair<std::string, std::string>{"a b", "Rest."}));
  EXPECT_EQ(_leading_blockquote("> a\n  > b\nRest"), (std::pair<std::string, std::string>{"a", "> b\nRest"}));
  EXPECT_EQ(_leading_blockquote("  > quoted"), (std::pair<std::string, std::string>{"", "  > quoted"}));
  EXPECT_EQ(_one_line("  a \n\n b\t "), "a b");
  EXPECT_EQ(_one_line("\u3000x\u00a0\u2028y\xFF"), "x y\xFF");
  EXPECT_EQ(_one_line(" \n "), "");
}

// The direct scan gives what the quadratic pattern it replaces gives, on many short texts.
TEST(SummaryLine, AgreesWithThePattern) {
  const text::Pattern reference(R"(^summary:\s*(.+?)\s*$)", text::Pattern::MULTILINE);
  const std::vector<std::string> alphabet = {"summary:", "summary:", "\n", " ", "\t", "x", "\u3000", "\r", "\xFF", "\u00e9", "'"};
  std::mt19937 rng(17);
  for (int i = 0; i < 200000; ++i) {
    std::string text;
    const int n = static_cast<int>(rng() % 8);
    for (int k = 0; k < n; ++k) text += alphabet[rng() % alphabet.size()];
    const text::Match m = reference.search(text);
    const std::optional<std::string_view> value = detail::summary_line(text);
    ASSERT_EQ(value.has_value(), static_cast<bool>(m)) << "text: [" << text << "]";
    if (value) {
      ASSERT_EQ(*value, m[1]) << "text: [" << text << "]";
      ASSERT_EQ(value->data(), m[1].data()) << "text: [" << text << "]";
    }
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
