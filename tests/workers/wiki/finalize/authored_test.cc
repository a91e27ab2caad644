#include "vantorel/workers/wiki/finalize/authored.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vantorel::workers::wiki {

void PrintTo(const Authored& a, std::ostream* os) { *os << "{body: \"" << a.body << "\", summary: \"" << a.summary << "\"}"; }

namespace {

TEST(AuthoredText, FrontMatterThenBody) {
  EXPECT_EQ((Authored{.body = "Body."}).text(), "Body.");
  EXPECT_EQ((Authored{.body = "Body.", .summary = "Parses the configuration."}).text(),
            "---\nsummary: Parses the configuration.\n---\n\nBody.");
  // Trimming the line must not take white space YAML keeps off the end of a plain scalar.
  EXPECT_EQ((Authored{.body = "B", .summary = "~\u00a0"}).text(), "---\nsummary: '~\u00a0'\n---\n\nB");
}

TEST(SplitAuthored, SummaryFromFrontMatterBlockOrQuote) {
  const std::string author = "<!-- wiki:summary -->\n> Parses X.\n<!-- /wiki:summary -->\n\n",
                    plan = "<!-- wiki:summary plan -->\n> About.\n<!-- /wiki:summary -->\n\n",
                    rest =
                        "<!-- wiki:sources -->\n- src\n<!-- /wiki:sources -->\n\nBody.\n\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->\n";
  struct Case {
    std::string text, body, summary, plan = "";
  } cases[] = {
      {"---\nsummary: Parses the configuration.\n---\n\n# Config\n\nBody.", "Body.", "Parses the configuration."},
      {"\xEF\xBB\xBF \n\n\t---  \nsummary: S.\n--- \t\nBody.", "Body.", "S."},
      {"---\nsummary: 42\n---\nBody.", "Body.", "42"},
      {"---\nsummary: ~\n---\nBody.", "Body.", ""},
      // Not valid YAML: the "summary:" line gives the summary, quotes at its ends go, the block goes.
      {"---\nsummary: Keys: values and more\n---\nBody.", "Body.", "Keys: values and more"},
      {"---\nsummary: \"Quoted\"\nbad: [\n---\nBody.", "Body.", "Quoted"},
      // Valid YAML without a summary: the block goes, the summary comes from a leading blockquote,
      // its lines joined.
      {"---\ntitle: Config\n---\n> First part\n> second part.\n\nBody.", "Body.", "First part second part."},
      {"> a\n  > b\nRest", "> b\nRest", "a"},
      // Not front-matter: the lines stay in the prose.
      {"---\njust words\n---\nBody.", "---\njust words\n---\nBody.", ""},
      {"Intro\n---\nsummary: S.\n---\n", "Intro\n---\nsummary: S.\n---", ""},
      // A summary equal to the plan's description, blank runs aside, is the plan's.
      {"---\nsummary: Reads  the plan.\n---\nBody.", "Body.", "", " Reads\nthe plan. "},
      {"---\nsummary: Reads the plan.\n---\nBody.", "Body.", "Reads the plan.", "Reads the plan"},
      // A page finalized before: the first summary block the author's (not the plan's) gives the
      // summary, even when empty; front-matter wins over it.
      {"# Config\n" + author + rest, "Body.", "Parses X."},
      {"# Config\n" + plan + rest, "Body.", ""},
      {"# Config\n" + plan + "> Quoted.\n\n" + rest, "Body.", "Quoted."},
      {"---\nsummary: F.\n---\n" + author + rest, "Body.", "F."},
      {"<!-- wiki:summary -->\n<!-- /wiki:summary -->\n" + author + "x", "x", ""},
      {"<!-- wiki:summary -->\n> a\n\n  >  b \n>\n> > c\nplain\n<!-- /wiki:summary -->\nx", "x", "a b > c plain"},
      // Only a first line that is an H1 goes; legacy sections go, headings get their empty line.
      {"# Title\n# Second\n\nText", "# Second\n\nText", ""},
      {"#Title\nText", "#Title\nText", ""},
      {"Text\n## Sources\n- [a](x)\n## Next\nMore", "Text\n\n## Next\nMore", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(split_authored(c.text, c.plan), (Authored{.body = c.body, .summary = c.summary})) << c.text;
}

// The direct scan gives what the quadratic pattern it replaces gives, on many short texts.
TEST(SummaryLine, AgreesWithThePattern) {
  const text::Pattern reference(R"(^summary:\s*(.+?)\s*$)", text::Pattern::MULTILINE);
  const std::vector<std::string> alphabet = {"summary:", "summary:", "\n", " ", "\t", "x", "\u3000", "\r", "\xFF", "\u00e9", "'"};
  std::mt19937 rng(17);
  for (int i = 0; i < 200000; ++i) {
    std::string text;
    for (int n = static_cast<int>(rng() % 8); n > 0; --n) text += alphabet[rng() % alphabet.size()];
    const std::optional<std::string_view> value = detail::summary_line(text), expected = reference.search(text).group(1);
    ASSERT_EQ(value, expected) << "text: [" << text << "]";
    ASSERT_EQ(value ? value->data() : nullptr, expected ? expected->data() : nullptr) << "text: [" << text << "]";  // a view into `text`
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
