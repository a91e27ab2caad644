#include "vantorel/workers/wiki/verify/verify_mixin.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/temp_repository.h"

namespace vantorel::workers::wiki {
namespace {

// The citation checks over a scratch repository of files with known line counts.
class CitationChecks : public ::testing::Test, public VerifyMixin {
 protected:
  void SetUp() override {
    repo_.write("src/parse.c", "1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n");  // 10 lines
    repo_.write("src/open.c", "a\nb\nc");                           // 3 lines, no final newline
    repo_.write("src/empty.c", "");                                 // 0 lines
    repo_.write("docs/a (old) b.md", "x\ny\n");                     // 2 lines
    std::filesystem::create_directories(repo_.root() / "src/dir.c");
  }
  const std::filesystem::path& repository() const override { return repo_.root(); }

  test_support::TempRepository repo_;
};
using ScrubInlineCitations = CitationChecks;
using ValidateCitations = CitationChecks;
using EnsureMinCitations = CitationChecks;

Citation lines(const std::string& path, int start, int end) { return Citation{{"path", path}, {"start", start}, {"end", end}}; }
Citation file(const std::string& path) { return Citation{{"path", path}}; }

TEST_F(ScrubInlineCitations, RemovesOnlyCitations) {
  struct Case {
    std::string in, out;
  } removed[] = {{"Parses input [src/parse.c:10-42].", "Parses input."},
                 {"a \t[parse.c] b [x/y] c [Makefile.am:3]", "a b c"},
                 {"[src/a.c] starts it", " starts it"},
                 {"ends in [lib/x.rs:1-2]\r", "ends in\r"},
                 {"", ""}};
  for (const Case& c : removed) EXPECT_EQ(_scrub_inline_citations(c.in), c.out) << c.in;
  // Task boxes, links, images, escapes, nested and reference labels, reference definitions,
  // inline code and what only looks like a path.
  for (std::string kept :
       {"- [ ] task", "- [x] done", "[src/a.c](../src/a.c)", "[src/a.c][ref]", "[ref][src/a.c]", "![src/logo.png]", "\\[src/a.c]",
        "[[src/a.c]]", "   [src/a.c]: ../src/a.c", "`[src/a.c]`", "`` x [src/a.c] ` ``", "``[src/a.c]` unclosed", "[a b.c]", "[v1.2]",
        "[e.g.]", "[1/2]", "[src/a.c:1-]", "[src/a.c:1:2]", "[https://example.com/a]"})
    EXPECT_EQ(_scrub_inline_citations(kept), kept) << kept;
}

TEST_F(ScrubInlineCitations, FencesAndOtherBytesKept) {
  // A fence line of another kind still closes the fence.
  const std::string body = "a  \r\n\xFF [b]\t\n```c\nx [src/a.c];\n```\n  ~~~\n[src/c.c]\n```\n\n  \u3000x [src/a.c]\u00a0y\n";
  EXPECT_EQ(_scrub_inline_citations(body), "a  \r\n\xFF [b]\t\n```c\nx [src/a.c];\n```\n  ~~~\n[src/c.c]\n```\n\n  \u3000x\u00a0y\n");
}

TEST_F(ValidateCitations, LinksAndLineRanges) {
  struct Case {
    std::string body;
    std::vector<Citation> out;
  } valid[] = {{"[p](../src/parse.c)", {file("src/parse.c")}},
               {"[p](../src/parse.c#L1)", {lines("src/parse.c", 1, 1)}},
               {"[`p`](../src/parse.c#L3-L10)", {lines("src/parse.c", 3, 10)}},
               {"[p](../src/open.c#L3)", {lines("src/open.c", 3, 3)}},
               {"[p](../src/empty.c)", {file("src/empty.c")}},
               {"[p](../docs/a%20%28old%29%20b.md#L2)", {lines("docs/a (old) b.md", 2, 2)}},
               {"[p](.././/src//parse.c)", {file("src/parse.c")}},
               {"```\n[p](../src/parse.c#L2)\n```\n[p](../src/parse.c#L3)", {lines("src/parse.c", 3, 3)}}};
  for (const Case& c : valid) EXPECT_EQ(_validate_citations(c.body, {}), c.out) << c.body;
  for (std::string body :
       {"[p](../src/parse.c#L0)", "[p](../src/parse.c#L0-L3)", "[p](../src/parse.c#L9-L11)", "[p](../src/parse.c#L5-L4)",
        "[p](../src/parse.c#L99999999999999999999999)", "[p](../src/open.c#L4)", "[p](../src/empty.c#L1)", "[p](../src/missing.c)",
        "[p](../src/dir.c)", "[p](../../etc/passwd)", "[p](../src/../src/parse.c)", "![img](../src/parse.c)", "`[p](../src/parse.c)`",
        "[p](src/parse.c)", "[p](../src/parse.c#intro)", "[p](../src/parse.c#L2-3)", "[p](../src/parse.c \"title\")"})
    EXPECT_EQ(_validate_citations(body, {}), std::vector<Citation>{}) << body;
}

TEST_F(ValidateCitations, SeedsFollowProseDuplicatesKept) {
  const std::vector<Citation> seeds = Citation::parse(R"([{"end": 4, "path": "src/parse.c", "start": 1, "note": "kept"},
    {"path": "./src//open.c"}, {"path": "src/missing.c"}, {"path": "src/open.c", "start": 1, "end": 4}, {"path": 7}, "src/parse.c",
    {"path": "src/parse.c", "start": 2}, {"path": "src/parse.c", "start": "2", "end": "3"},
    {"path": "src/parse.c", "start": 1.0, "end": 2.0}, {"path": "src/parse.c", "start": null, "end": null}])");
  const std::vector<Citation> out = _validate_citations("[a](../src/open.c) [b](../src/gone.c) [c](../src/open.c)", seeds);
  EXPECT_EQ(Citation(out).dump(), R"([{"path":"src/open.c"},{"path":"src/open.c"},{"end":4,"path":"src/parse.c","start":1,"note":"kept"},)"
                                  R"({"path":"./src//open.c"},{"path":"src/parse.c","start":null,"end":null}])");
}

TEST_F(EnsureMinCitations, TopsUpInPlanOrderUntilEnough) {
  struct Case {
    std::vector<Citation> citations;
    std::vector<std::string> sources;
    std::vector<Citation> out;
  } cases[] = {{{},
                {"gone.c", "src/dir.c", "./src//open.c", "../src/parse.c", "src/empty.c", "src/parse.c", "docs/a (old) b.md"},
                {file("src/open.c"), file("src/empty.c"), file("src/parse.c")}},
               // Named paths compared normalized; an entry without a string path names none.
               {{Citation{{"path", 3}}, lines("src/open.c", 1, 1), file("./src/parse.c")},
                {"src/open.c", "src/parse.c", "src/empty.c", "docs/a (old) b.md"},
                {Citation{{"path", 3}}, lines("src/open.c", 1, 1), file("./src/parse.c"), file("src/empty.c")}},
               {{file("x"), file("y"), file("z")}, {"src/open.c"}, {file("x"), file("y"), file("z")}}};
  for (const Case& c : cases) EXPECT_EQ(_ensure_min_citations(c.citations, c.sources), c.out) << Citation(c.citations).dump();
}

}  // namespace
}  // namespace vantorel::workers::wiki
