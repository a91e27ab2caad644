#include "vantorel/workers/wiki/finalize/blocks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vantorel/text/text.h"

namespace vantorel::workers::wiki {

// Prints a segment list readably when an expectation fails.
void PrintTo(const Segment& s, std::ostream* os) {
  *os << "(\"" << s.part << "\", \"" << s.attribute << "\", [";
  for (std::size_t i = 0; i < s.lines.size(); ++i) *os << (i ? ", " : "") << '"' << s.lines[i] << '"';
  *os << "])";
}

namespace {

using Segments = std::vector<Segment>;

Segment authored(std::vector<std::string_view> lines) { return Segment{.part = "", .attribute = "", .lines = std::move(lines)}; }

Segment block(std::string_view part, std::string_view attribute, std::vector<std::string_view> lines) {
  return Segment{.part = part, .attribute = attribute, .lines = std::move(lines)};
}

TEST(MarkerGrammar, OpeningMarkers) {
  struct Case {
    std::string line;
    bool opens;
    std::string part, attribute;
  } cases[] = {
      {"<!-- wiki:summary -->", true, "summary", ""},
      {"<!-- wiki:summary plan -->", true, "summary", "plan"},
      {"  <!-- wiki:index -->  ", true, "index", ""},
      {"<!-- wiki:index -->\r", true, "index", ""},
      {"\t\u3000<!-- wiki:my-part x-y -->\u00a0", true, "my-part", "x-y"},
      {"<!-- wiki:- -->", true, "-", ""},
      {"<!--wiki:index-->", false, "", ""},
      {"<!-- wiki:Index -->", false, "", ""},
      {"<!-- wiki:index  plan -->", false, "", ""},
      {"<!-- wiki:index plan x -->", false, "", ""},
      {"<!-- wiki:index2 -->", false, "", ""},
      {"<!-- wiki:in_dex -->", false, "", ""},
      {"<!-- wiki: -->", false, "", ""},
      {"<!--  wiki:index -->", false, "", ""},
      {"<!-- wiki :index -->", false, "", ""},
      {"<!-- wiki:index  -->", false, "", ""},
      {"<!-- wiki:index --> x", false, "", ""},
      {"> <!-- wiki:index -->", false, "", ""},
      {"<!-- wiki:index -->\xFF", false, "", ""},
  };
  for (const Case& c : cases) {
    const text::Match m = detail::OPEN_RE().full_match(text::trim(c.line));
    ASSERT_EQ(static_cast<bool>(m), c.opens) << c.line;
    if (c.opens) {
      EXPECT_EQ(m[1], c.part) << c.line;
      EXPECT_EQ(m[2], c.attribute) << c.line;
      EXPECT_EQ(m.group(2).has_value(), !c.attribute.empty()) << c.line;
    }
    // What _segments does with the same line on its own.
    const Segments segments = _segments(c.line);
    EXPECT_EQ(segments.size(), c.opens ? 2u : 1u) << c.line;
  }
}

TEST(MarkerGrammar, ClosingMarkers) {
  for (std::string yes : {"<!-- /wiki:summary -->", " <!-- /wiki:a-b -->\r"}) {
    EXPECT_TRUE(detail::CLOSE_RE().full_match(text::trim(yes))) << yes;
    EXPECT_EQ(_segments(yes), (Segments{authored({})})) << yes;  // a stray closer is dropped
  }
  for (std::string no : {"<!-- /wiki:summary plan -->", "<!--/wiki:summary -->", "<!-- / wiki:summary -->", "<!-- /wiki:Summary -->"}) {
    EXPECT_FALSE(detail::CLOSE_RE().full_match(text::trim(no))) << no;
    EXPECT_EQ(_segments(no), (Segments{authored({no})})) << no;
  }
}

TEST(Block, WritesMarkersAroundLines) {
  EXPECT_EQ(_block(SUMMARY, {"> Parses the configuration."}, " plan"),
            "<!-- wiki:summary plan -->\n> Parses the configuration.\n<!-- /wiki:summary -->");
  EXPECT_EQ(_block(FOOTER, {}), "<!-- wiki:footer -->\n<!-- /wiki:footer -->");
  EXPECT_EQ(_block(INDEX, {"", " x "}), "<!-- wiki:index -->\n\n x \n<!-- /wiki:index -->");
  const std::vector<std::string> owned = {"a", "b"};
  EXPECT_EQ(_block(SOURCES, owned), "<!-- wiki:sources -->\na\nb\n<!-- /wiki:sources -->");
  // The attribute is inserted verbatim: without its blank it reads back as another part name,
  // "indexplan", which "<!-- /wiki:index -->" does not close.
  const std::string glued = _block("index", {"x"}, "plan");
  EXPECT_EQ(_segments(glued), (Segments{authored({}), authored({"x", "<!-- /wiki:index -->"})}));
}

TEST(Block, ReadsBackAsOneSegment) {
  const std::vector<std::string_view> lines = {"> text", "```mermaid", "<!-- wiki:index -->", "<!-- /wiki:other -->", "", "```"};
  for (std::string_view part : {SUMMARY, SOURCES, DIAGRAM, INDEX, FOOTER, std::string_view("a-b")}) {
    for (auto [attribute, written_attribute] : {std::pair<std::string_view, std::string_view>{"", ""}, {"plan", " plan"}}) {
      const std::string written = _block(part, lines, written_attribute);
      EXPECT_EQ(_segments(written), (Segments{authored({}), block(part, attribute, lines), authored({})})) << written;
    }
  }
}

TEST(Segments, EdgesOfThePage) {
  EXPECT_EQ(_segments(""), (Segments{authored({""})}));
  EXPECT_EQ(_segments("a\n\nb\n"), (Segments{authored({"a", "", "b", ""})}));
  EXPECT_EQ(_segments("<!-- wiki:summary -->\nx\n<!-- /wiki:summary -->\nrest"),
            (Segments{authored({}), block("summary", "", {"x"}), authored({"rest"})}));
  EXPECT_EQ(_segments("top\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->"),
            (Segments{authored({"top"}), block("footer", "", {"x"}), authored({})}));
  EXPECT_EQ(_segments("<!-- wiki:a -->\n<!-- /wiki:a -->\n<!-- wiki:b -->\n<!-- /wiki:b -->"),
            (Segments{authored({}), block("a", "", {}), authored({}), block("b", "", {}), authored({})}));
}

TEST(Segments, BlockEndsAtItsOwnCloser) {
  EXPECT_EQ(_segments("<!-- wiki:summary -->\n<!-- /wiki:sources -->\n<!-- wiki:index -->\n<!-- /wiki:summary plan -->\n"
                      "<!-- /wiki:summary -->\n<!-- /wiki:summary -->\nz"),
            (Segments{authored({}), block("summary", "", {"<!-- /wiki:sources -->", "<!-- wiki:index -->", "<!-- /wiki:summary plan -->"}),
                      authored({"z"})}));
}

TEST(Segments, FencesInsideBlocksLeaveTheFenceStateAlone) {
  // The diagram block holds an unbalanced fence; the marker after it still counts.
  EXPECT_EQ(_segments("<!-- wiki:diagram -->\n```mermaid\n<!-- /wiki:diagram -->\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->"),
            (Segments{authored({}), block("diagram", "", {"```mermaid"}), authored({}), block("footer", "", {"f"}), authored({})}));
}

TEST(Segments, FencedCodeHidesMarkers) {
  EXPECT_EQ(_segments("```\n<!-- wiki:index -->\n<!-- /wiki:index -->\n```\n<!-- wiki:index -->\ni\n<!-- /wiki:index -->"),
            (Segments{authored({"```", "<!-- wiki:index -->", "<!-- /wiki:index -->", "```"}), block("index", "", {"i"}), authored({})}));
  // A fence that never closes makes every later marker ordinary text.
  EXPECT_EQ(_segments("~~~\n<!-- wiki:a -->\n<!-- /wiki:a -->"), (Segments{authored({"~~~", "<!-- wiki:a -->", "<!-- /wiki:a -->"})}));
}

TEST(Segments, BlockThatNeverClosesGivesItsLinesBack) {
  EXPECT_EQ(_segments("a\n<!-- wiki:sources -->\nx\n<!-- /wiki:footer -->"),
            (Segments{authored({"a"}), authored({"x", "<!-- /wiki:footer -->"})}));
  EXPECT_EQ(_segments("<!-- wiki:sources -->"), (Segments{authored({}), authored({})}));
}

TEST(Segments, ViewsPointIntoThePage) {
  const std::string page = "a\n<!-- wiki:summary plan -->\nb\n<!-- /wiki:summary -->";
  const Segments segments = _segments(page);
  ASSERT_EQ(segments.size(), 3u);
  EXPECT_EQ(segments[1].part.data(), page.data() + page.find("summary"));
  EXPECT_EQ(segments[1].lines[0].data(), page.data() + page.find("\nb\n") + 1);
}

TEST(StripGenerated, RemovesBlocks) {
  struct Case {
    std::string page, stripped;
  } cases[] = {
      {"", ""},
      {"a\n<!-- wiki:footer -->\nx\n<!-- /wiki:footer -->\nb", "a\n\nb"},
      {"\n\n  a\n\n\n\nb  \n\n", "a\n\nb"},
      {"<!-- wiki:summary -->\n> s\n<!-- /wiki:summary -->\n\nbody\n\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->\n", "body"},
      {"a\n<!-- /wiki:index -->\nb", "a\nb"},  // a stray closer goes, with nothing in its place
      {"```\n<!-- /wiki:index -->\n```", "```\n<!-- /wiki:index -->\n```"},
      {"a\n<!-- wiki:sources -->\nx\ny", "a\n\nx\ny"},  // an unclosed block's lines come back
      {"a\n```\n\n\n\n```\n<!-- wiki:x -->\n<!-- /wiki:x -->\n\n\nb", "a\n```\n\n\n\n```\n\nb"},
  };
  for (const Case& c : cases) EXPECT_EQ(strip_generated(c.page), c.stripped) << c.page;
}

TEST(StripGenerated, KeepUnwrapsTheNamedParts) {
  const std::string page =
      "<!-- wiki:summary plan -->\n> The summary.\n<!-- /wiki:summary -->\n"
      "<!-- wiki:sources -->\n- src\n<!-- /wiki:sources -->\nBody.\n<!-- wiki:footer -->\nf\n<!-- /wiki:footer -->";
  EXPECT_EQ(strip_generated(page, {SUMMARY}), "> The summary.\n\nBody.");
  EXPECT_EQ(strip_generated(page, {SUMMARY, FOOTER}), "> The summary.\n\nBody.\n\nf");
  EXPECT_EQ(strip_generated(page), "Body.");
  const std::vector<std::string_view> keep = {SOURCES};
  EXPECT_EQ(strip_generated(page, keep), "- src\n\nBody.");
}

}  // namespace
}  // namespace vantorel::workers::wiki
