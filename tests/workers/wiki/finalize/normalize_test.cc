#include "vantorel/workers/wiki/finalize/normalize.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace vantorel::workers::wiki {
namespace {

TEST(DropLegacySections, LinkListsAndLoneCodeBuiltDiagrams) {
  const std::string block = "\n```mermaid\nflowchart TD\n  a --> b\n```";
  struct Case {
    std::string body, out;
  } cases[] = {
      {"Text.\n\n## Sources\n\n- [a](x)\n- [b](y)", "Text."},
      {"Text.\n\n## Related\n* [a](x) and more\n  - [b](y)", "Text."},
      {"## Sources ##\n- [a](x)\n\n# Next", "# Next"},
      {"## Sources\n- [a](x)\n### Notes\ntext", "### Notes\ntext"},  // a section ends at a heading of any level
      {"## Sources\n- [a](x)\n## Related\n- [b](y)\n## Kept\n- [c](z)", "## Kept\n- [c](z)"},
      {"Text.\n\n## Sources\n\n\n", "Text.\n\n## Sources"},  // nothing but blank lines: stays
      // a code-built diagram's section holding one Mermaid block and nothing else goes
      {"Text.\n\n## Architecture\n" + block, "Text."},
      {"## Dependencies\n" + block + "\n\n## Next\nx", "## Next\nx"},
      {"## Data flow\n  ```mermaid\nx\n  ```  ", ""},
  };
  for (const Case& c : cases) EXPECT_EQ(_drop_legacy_sections(c.body), c.out) << c.body;
  const std::string kept[] = {// not only links, not a legacy heading
                              "## Related\n- [a](x)\nsee also", "## Sources\n-[a](x)", "## Sources\n- [a]", "##Sources\n- [a](x)",
                              "### Sources\n- [a](x)", "## sources\n- [a](x)", "## Related pages\n- [a](x)",
                              // prose or a second block by the diagram, a sequence diagram (authors draw those), not Mermaid
                              "## Architecture\nProse." + block, "## Architecture\n" + block + block, "## Sequence diagram\n" + block,
                              "## Data flow\n```\nx\n```"};
  for (const std::string& body : kept) EXPECT_EQ(_drop_legacy_sections(body), body);
}

TEST(NormalizeBody, OneEmptyLineBeforeHeadingsOutsideFences) {
  struct Case {
    std::string body, out;
  } cases[] = {
      {"# T\n## A\n### B\n#### C", "# T\n\n## A\n\n### B\n\n#### C"},
      {"Intro\n \n## A", "Intro\n \n## A"},  // a blank line already separates
      {"```\n# not a heading\n```\n# H", "```\n# not a heading\n```\n\n# H"},
      {"a\n#nothing\n####### seven\n#\tTab", "a\n#nothing\n####### seven\n\n#\tTab"},
  };
  for (const Case& c : cases) EXPECT_EQ(_normalize_body(c.body), c.out) << c.body;
}

// The direct scan gives what the quadratic pattern it replaces gives, on many short lines.
TEST(H2Title, AgreesWithThePattern) {
  const text::Pattern reference(R"(^##[ \t]+(\S.*?)[ \t#]*$)");
  const std::vector<std::string> alphabet = {"#", "#", " ", "\t", "a", "\u3000", "\r", "\xFF", "\u00e9", "\v"};
  std::mt19937 rng(5);
  for (int i = 0; i < 200000; ++i) {
    std::string line = rng() % 2 ? "##" : "";
    for (int n = static_cast<int>(rng() % 9); n > 0; --n) line += alphabet[rng() % alphabet.size()];
    ASSERT_EQ(detail::h2_title(line), reference.match(line).group(1)) << "line: [" << line << "]";
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
