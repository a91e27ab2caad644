#include "vantorel/workers/wiki/finalize/blocks.h"

#include <gtest/gtest.h>

#include "vantorel/text/text.h"

namespace vantorel::workers::wiki {
namespace {

// The segments of `page` written out: authored text as "[line|line]", a block as
// "<part attribute:line|line>".
std::string cut(std::string_view page) {
  std::string out;
  for (const Segment& s : _segments(page)) {
    if (!s.part.empty()) out.append("<").append(s.part).append(s.attribute.empty() ? "" : " ").append(s.attribute).append(":");
    out.append(s.part.empty() ? "[" : "").append(text::join(s.lines, "|")).append(s.part.empty() ? "]" : ">");
  }
  return out;
}

TEST(Segments, MarkersAndTheBlocksBetweenThem) {
  const struct {
    std::string page, segments;
  } cases[] = {
      // an opening marker is recognised once its line is trimmed; its attribute is one word
      {"<!-- wiki:summary plan -->\nx\n<!-- /wiki:summary -->", "[]<summary plan:x>[]"},
      {"a\n  <!-- wiki:index -->\r\nx\n <!-- /wiki:index -->\r\nb", "[a]<index:x>[b]"},
      {"\t\u3000<!-- wiki:my-part x-y -->\u00a0\n<!-- /wiki:my-part -->", "[]<my-part x-y:>[]"},
      // blocks back to back
      {"<!-- wiki:a -->\n<!-- /wiki:a -->\n<!-- wiki:b -->\n<!-- /wiki:b -->", "[]<a:>[]<b:>[]"},
      // inside a block only its own closer counts: fences and other markers are its content
      {"<!-- wiki:s -->\n```\n<!-- wiki:i -->\n<!-- /wiki:o -->\n<!-- /wiki:s plan -->\n<!-- /wiki:s -->\nz",
       "[]<s:```|<!-- wiki:i -->|<!-- /wiki:o -->|<!-- /wiki:s plan -->>[z]"},
      // an unbalanced fence inside a block leaves the fence state of the page alone
      {"<!-- wiki:d -->\n```mermaid\n<!-- /wiki:d -->\n<!-- wiki:f -->\nf\n<!-- /wiki:f -->", "[]<d:```mermaid>[]<f:f>[]"},
      // fenced code hides markers; a fence that never closes hides every later one
      {"```\n<!-- wiki:i -->\n<!-- /wiki:i -->\n```\n<!-- wiki:i -->\ni\n<!-- /wiki:i -->",
       "[```|<!-- wiki:i -->|<!-- /wiki:i -->|```]<i:i>[]"},
      {"~~~\n<!-- wiki:a -->\n<!-- /wiki:a -->", "[~~~|<!-- wiki:a -->|<!-- /wiki:a -->]"},
      // a block that never closes gives its lines back, without its opening marker; a closing
      // marker with no block is dropped
      {"a\n<!-- wiki:sources -->\nx\n<!-- /wiki:footer -->", "[a][x|<!-- /wiki:footer -->]"},
      {"a\n<!-- /wiki:summary -->\n <!-- /wiki:a-b -->\r", "[a]"},
  };
  for (const auto& c : cases) EXPECT_EQ(cut(c.page), c.segments) << c.page;
  const std::string text[] = {// spacing, case, names, attributes, anything around an opening marker
                              "<!--wiki:index-->", "<!-- wiki:Index -->", "<!-- wiki:index  plan -->", "<!-- wiki:index plan x -->",
                              "<!-- wiki:index2 -->", "<!-- wiki: -->", "<!--  wiki:index -->", "<!-- wiki:index  -->",
                              "<!-- wiki:index --> x", "> <!-- wiki:index -->", "<!-- wiki:index -->\xFF",
                              // closing markers
                              "<!-- /wiki:summary plan -->", "<!--/wiki:summary -->", "<!-- /wiki:Summary -->"};
  for (const std::string& line : text) EXPECT_EQ(cut(line), std::string("[").append(line).append("]"));
}

TEST(Block, WritesMarkersAroundLinesAndReadsBackAsOneSegment) {
  EXPECT_EQ(_block(SUMMARY, {"> Parses the configuration."}, " plan"),
            "<!-- wiki:summary plan -->\n> Parses the configuration.\n<!-- /wiki:summary -->");
  const std::vector<std::string> lines = {"```mermaid", "<!-- wiki:index -->", "<!-- /wiki:diagram plan -->", ""};
  EXPECT_EQ(cut(_block(DIAGRAM, lines, " plan")), "[]<diagram plan:```mermaid|<!-- wiki:index -->|<!-- /wiki:diagram plan -->|>[]");
}

TEST(StripGenerated, DropsBlocksOrUnwrapsTheKeptOnes) {
  const std::string page =
      "<!-- wiki:summary plan -->\n> The summary.\n<!-- /wiki:summary -->\n"
      "<!-- wiki:sources -->\n- src\n<!-- /wiki:sources -->\nBody.\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->";
  const struct {
    std::string page;
    std::vector<std::string_view> keep;
    std::string stripped;
  } cases[] = {
      {"\n\n  a\n\n\n\nb  \n\n", {}, "a\n\nb"},
      {"a\n<!-- /wiki:index -->\nb", {}, "a\nb"},           // a stray closer goes, with nothing in its place
      {"a\n<!-- wiki:sources -->\nx\ny", {}, "a\n\nx\ny"},  // an unclosed block's lines come back
      {"a\n```\n\n\n\n```\n<!-- wiki:x -->\n<!-- /wiki:x -->\n\n\nb", {}, "a\n```\n\n\n\n```\n\nb"},
      {page, {}, "Body."},
      {page, {SUMMARY}, "> The summary.\n\nBody."},
      {page, {SUMMARY, FOOTER}, "> The summary.\n\nBody.\n\nf"},
  };
  for (const auto& c : cases) EXPECT_EQ(strip_generated(c.page, c.keep), c.stripped) << c.page;
}

}  // namespace
}  // namespace vantorel::workers::wiki
