#include "vantorel/workers/wiki/finalize/normalize.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "vantorel/text/pattern.h"
#include "vantorel/text/text.h"

namespace vantorel::workers::wiki {
namespace {

TEST(DropLegacySections, LinkLists) {
  struct Case {
    std::string body, out;
  } cases[] = {
      {"Text.\n\n## Sources\n\n- [a](x)\n- [b](y)", "Text."},
      {"Text.\n\n## Related\n* [a](x) and more\n  - [b](y)", "Text."},
      {"Text.\n\n## Related\n- [a](x)\nsee also", "Text.\n\n## Related\n- [a](x)\nsee also"},
      {"Text.\n\n## Sources\n\n\n", "Text.\n\n## Sources"},  // nothing but blank lines: stays
      {"## Sources ##\n- [a](x)\n\n# Next", "# Next"},
      {"##Sources\n- [a](x)", "##Sources\n- [a](x)"},
      {"### Sources\n- [a](x)", "### Sources\n- [a](x)"},
      {"## sources\n- [a](x)", "## sources\n- [a](x)"},
      {"## Related pages\n- [a](x)", "## Related pages\n- [a](x)"},
      {"## Sources\n- [a](x)\n### Notes\ntext", "### Notes\ntext"},  // ends at a heading of any level
      {"## Sources\n- [a](x)\n## Related\n- [b](y)\n## Kept\n- [c](z)", "## Kept\n- [c](z)"},
      {"## Sources\n- [a]", "## Sources\n- [a]"},
      {"## Sources\n-[a](x)", "## Sources\n-[a](x)"},
  };
  for (const Case& c : cases) EXPECT_EQ(_drop_legacy_sections(c.body), c.out) << c.body;
}

TEST(DropLegacySections, DiagramSections) {
  const std::string block = "\n```mermaid\nflowchart TD\n  a --> b\n```";
  struct Case {
    std::string body, out;
  } cases[] = {
      {"Text.\n\n## Architecture\n" + block, "Text."},
      {"## Dependencies\n" + block + "\n\n## Next\nx", "## Next\nx"},
      {"## Architecture\nProse first." + block, "## Architecture\nProse first." + block},
      {"## Architecture\n" + block + "\nProse after.", "## Architecture\n" + block + "\nProse after."},
      {"## Architecture\n" + block + block, "## Architecture\n" + block + block},  // two blocks
      {"## Sequence diagram\n" + block, "## Sequence diagram\n" + block},          // authors draw these
      {"## Data flow\n```\nx\n```", "## Data flow\n```\nx\n```"},                  // not Mermaid
      {"## Data flow\n  ```mermaid\nx\n  ```  ", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(_drop_legacy_sections(c.body), c.out) << c.body;
}

TEST(NormalizeBody, OneEmptyLineBeforeHeadings) {
  struct Case {
    std::string body, out;
  } cases[] = {
      {"", ""},
      {"Intro\n## A\ntext", "Intro\n\n## A\ntext"},
      {"# T\n## A\n### B\n#### C", "# T\n\n## A\n\n### B\n\n#### C"},
      {"Intro\n\n\n\n## A", "Intro\n\n## A"},
      {"Intro\n \n## A", "Intro\n \n## A"},  // a blank line already separates
      {"```\n# not a heading\n```", "```\n# not a heading\n```"},
      {"```\nx\n```\n# H", "```\nx\n```\n\n# H"},
      {"a\n#nothing\n####### seven\n#\tTab", "a\n#nothing\n####### seven\n\n#\tTab"},
      {"\n\n## First\n\n", "## First"},
  };
  for (const Case& c : cases) EXPECT_EQ(_normalize_body(c.body), c.out) << c.body;
}

std::string random_body(std::mt19937& rng) {
  static const std::vector<std::string> pieces = {"Text.",
                                                  "",
                                                  " ",
                                                  "## Sources",
                                                  "## Related",
                                                  "## Architecture",
                                                  "## Data flow",
                                                  "## Sequence diagram",
                                                  "### Notes",
                                                  "# Top",
                                                  "- [a](x)",
                                                  "* [b](y) more",
                                                  "```mermaid",
                                                  "```",
                                                  "~~~",
                                                  "flowchart TD",
                                                  "  ## Sources",
                                                  "## Kept",
                                                  "\u3000",
                                                  "caf\u00e9 \xFF"};
  std::string body;
  const int n = static_cast<int>(rng() % 16);
  for (int i = 0; i < n; ++i) body += pieces[rng() % pieces.size()] + "\n";
  return body;
}

TEST(NormalizeProperty, OwnOutputIsAFixedPoint) {
  std::mt19937 rng(99);
  for (int i = 0; i < 20000; ++i) {
    const std::string body = random_body(rng);
    const std::string normalized = _normalize_body(body);
    ASSERT_EQ(_normalize_body(normalized), normalized) << "body: [" << body << "]";
    const std::string dropped = _drop_legacy_sections(std::string(text::trim(body)));
    ASSERT_EQ(_drop_legacy_sections(dropped), dropped) << "body: [" << body << "]";
  }
}

// The direct scan gives what the quadratic pattern it replaces gives, on many short lines.
TEST(H2Title, AgreesWithThePattern) {
  const text::Pattern reference(R"(^##[ \t]+(\S.*?)[ \t#]*$)");
  const std::vector<std::string> alphabet = {"#", "#", " ", "\t", "a", "\u3000", "\r", "\xFF", "\u00e9", "\v"};
  std::mt19937 rng(5);
  for (int i = 0; i < 200000; ++i) {
    std::string line = rng() % 2 ? "##" : "";
    const int n = static_cast<int>(rng() % 9);
    for (int k = 0; k < n; ++k) line += alphabet[rng() % alphabet.size()];
    const text::Match m = reference.match(line);
    const std::optional<std::string_view> title = detail::h2_title(line);
    ASSERT_EQ(title.has_value(), static_cast<bool>(m)) << "line: [" << line << "]";
    if (title) {
      ASSERT_EQ(*title, m[1]) << "line: [" << line << "]";
    }
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
