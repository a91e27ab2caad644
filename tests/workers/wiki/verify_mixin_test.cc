#include "vantorel/workers/wiki/verify/verify_mixin.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace vantorel::workers::wiki {
namespace {

namespace fs = std::filesystem;

// A scratch repository in a fresh temporary folder, removed again at the end of the test.
class TempRepo {
 public:
  TempRepo() {
    std::random_device seed;
    std::string name = "vantorel-verify-";
    name.append(std::to_string(seed())).append("-").append(std::to_string(seed()));
    root_ = fs::temp_directory_path() / name;
    fs::create_directories(root_);
  }
  ~TempRepo() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  TempRepo(const TempRepo&) = delete;
  TempRepo& operator=(const TempRepo&) = delete;

  void write(const std::string& path, const std::string& content) const {
    const fs::path file = root_ / path;
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
  }
  void mkdir(const std::string& path) const { fs::create_directories(root_ / path); }
  const fs::path& root() const { return root_; }

 private:
  fs::path root_;
};

// The citation checks against one scratch repository.
class Verifier : public VerifyMixin {
 public:
  explicit Verifier(fs::path root) : root_(std::move(root)) {}
  const fs::path& repository() const override { return root_; }

 private:
  fs::path root_;
};

// A repository with files of known lengths, shared by the validation tests.
class ValidateCitations : public ::testing::Test {
 protected:
  void SetUp() override {
    repo_.write("src/parse.c", "1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n");  // 10 lines
    repo_.write("src/open.c", "a\nb\nc");                           // 3 lines, no final newline
    repo_.write("src/empty.c", "");                                 // 0 lines
    repo_.write("docs/a (old) b.md", "x\ny\n");                     // 2 lines
    repo_.mkdir("src/dir.c");
  }

  TempRepo repo_;
  Verifier verifier_{repo_.root()};
};

Citation lines(const std::string& path, int start, int end) { return Citation{{"path", path}, {"start", start}, {"end", end}}; }
Citation file(const std::string& path) { return Citation{{"path", path}}; }

TEST(ScrubInlineCitations, WhatIsRemoved) {
  const TempRepo repo;
  const Verifier v(repo.root());
  struct Case {
    std::string in, out;
  } cases[] = {
      {"Parses input [src/parse.c:10-42].", "Parses input."},
      {"Parses input [src/parse.c].", "Parses input."},
      {"Parses input [src/parse.c:7].", "Parses input."},
      {"Parses input \t [parse.c]", "Parses input"},
      {"[src/a.c]", ""},
      {"[src/a.c] starts it", " starts it"},
      {"a [x/y] b [Makefile.am:3] c", "a b c"},
      {"[a/b.c] [c/d.e]", ""},
      {"see [src/a.c:1] and [a link](x.md)", "see and [a link](x.md)"},
      {"ends in [lib/x.rs:1-2]\r", "ends in\r"},
  };
  for (const Case& c : cases) EXPECT_EQ(v._scrub_inline_citations(c.in), c.out) << c.in;
}

TEST(ScrubInlineCitations, WhatStays) {
  const TempRepo repo;
  const Verifier v(repo.root());
  for (std::string keep : {"- [ ] task",
                           "- [x] done",
                           "- [X] done",
                           "[text](../src/a.c)",
                           "[src/a.c](../src/a.c)",
                           "[x][ref]",
                           "two [a/b.c][c/d.e]",
                           "[src/a.c][ref]",
                           "[ref][src/a.c]",
                           "![src/logo.png]",
                           "\\[src/a.c]",
                           "[[src/a.c]]",
                           "[a b.c]",
                           "[v1.2]",
                           "[e.g.]",
                           "[1/2]",
                           "[note]",
                           "[src/a.c:]",
                           "[src/a.c:1-]",
                           "[src/a.c:x]",
                           "[src/a.c:1:2]",
                           "[https://example.com/a]",
                           "[src/a.c]: https://example.com",
                           "   [src/a.c]: ../src/a.c",
                           "`[src/a.c]`",
                           "`` x [src/a.c] ` ``",
                           "``[src/a.c]` unclosed",
                           "[src/`a`.c]",
                           "[]",
                           "no brackets at all"}) {
    EXPECT_EQ(v._scrub_inline_citations(keep), keep) << keep;
  }
}

TEST(ScrubInlineCitations, FencedCodeIsLeftAlone) {
  const TempRepo repo;
  const Verifier v(repo.root());
  const std::string body =
      "Before [src/a.c].\n"
      "```c\n"
      "x = y [src/a.c];\n"
      "```\n"
      "Between [src/b.c:1].\n"
      "  ~~~\n"
      "[src/c.c]\n"
      "```\n"  // a fence line of another kind still toggles
      "After [src/d.c]\n";
  EXPECT_EQ(v._scrub_inline_citations(body),
            "Before.\n"
            "```c\n"
            "x = y [src/a.c];\n"
            "```\n"
            "Between.\n"
            "  ~~~\n"
            "[src/c.c]\n"
            "```\n"
            "After\n");
}

TEST(ScrubInlineCitations, OtherBytesKept) {
  const TempRepo repo;
  const Verifier v(repo.root());
  // Line endings, trailing blanks, odd bytes and blank lines pass through unchanged.
  const std::string body = "a  \r\n\n\n\xFF\xFE [b]\t\n  \u3000x [src/a.c]\u00a0y\n\n";
  EXPECT_EQ(v._scrub_inline_citations(body), "a  \r\n\n\n\xFF\xFE [b]\t\n  \u3000x\u00a0y\n\n");
  EXPECT_EQ(v._scrub_inline_citations(""), "");
  // Scrubbing its own result changes nothing.
  const std::string once = v._scrub_inline_citations(body);
  EXPECT_EQ(v._scrub_inline_citations(once), once);
}

TEST_F(ValidateCitations, LineRanges) {
  struct Case {
    std::string body;
    std::vector<Citation> out;
  } cases[] = {
      {"[p](../src/parse.c)", {file("src/parse.c")}},
      {"[p](../src/parse.c#L1)", {lines("src/parse.c", 1, 1)}},
      {"[p](../src/parse.c#L3-L10)", {lines("src/parse.c", 3, 10)}},
      {"[p](../src/parse.c#L10-L10)", {lines("src/parse.c", 10, 10)}},
      {"[p](../src/parse.c#L0)", {}},
      {"[p](../src/parse.c#L0-L3)", {}},
      {"[p](../src/parse.c#L11)", {}},
      {"[p](../src/parse.c#L9-L11)", {}},
      {"[p](../src/parse.c#L5-L4)", {}},
      {"[p](../src/parse.c#L99999999999999999999999)", {}},
      {"[p](../src/open.c#L3)", {lines("src/open.c", 3, 3)}},
      {"[p](../src/open.c#L4)", {}},
      {"[p](../src/empty.c)", {file("src/empty.c")}},
      {"[p](../src/empty.c#L1)", {}},
      {"[p](../src/missing.c)", {}},
      {"[p](../src/dir.c)", {}},
      {"[p](../src)", {}},
      {"[p](../)", {}},
      {"[p](../../etc/passwd)", {}},
      {"[p](../docs/a%20%28old%29%20b.md#L2)", {lines("docs/a (old) b.md", 2, 2)}},
      {"[p](.././/src//parse.c)", {file("src/parse.c")}},
  };
  for (const Case& c : cases) EXPECT_EQ(verifier_._validate_citations(c.body, {}), c.out) << c.body;
}

TEST_F(ValidateCitations, WhatIsACitation) {
  struct Case {
    std::string body;
    std::vector<Citation> out;
  } cases[] = {
      {"[`parse.c`](../src/parse.c#L2)", {lines("src/parse.c", 2, 2)}},
      {"see [a](../src/parse.c) and [b](../src/open.c#L1-L2).", {file("src/parse.c"), lines("src/open.c", 1, 2)}},
      {"![img](../src/parse.c)", {}},
      {"`[p](../src/parse.c)`", {}},
      {"[p](src/parse.c)", {}},
      {"[p](../src/parse.c#intro)", {}},
      {"[p](../src/parse.c#L2-3)", {}},
      {"[p](../src/parse.c \"title\")", {}},
      {"[p] (../src/parse.c)", {}},
      {"(../src/parse.c)", {}},
      {"[p](../src/parse.c", {}},
      {"[x [p](../src/parse.c#L4) y](other.md)", {lines("src/parse.c", 4, 4)}},
  };
  for (const Case& c : cases) EXPECT_EQ(verifier_._validate_citations(c.body, {}), c.out) << c.body;
}

TEST_F(ValidateCitations, FencedCodeHasNone) {
  const std::string body =
      "[a](../src/parse.c#L1)\n"
      "```\n"
      "[b](../src/parse.c#L2)\n"
      "```\n"
      "[c](../src/parse.c#L3)\n"
      "~~~~\n"
      "[d](../src/parse.c#L4)\n";
  EXPECT_EQ(verifier_._validate_citations(body, {}), (std::vector<Citation>{lines("src/parse.c", 1, 1), lines("src/parse.c", 3, 3)}));
}

TEST_F(ValidateCitations, SeedsFollowInOrderDuplicatesKept) {
  const std::string body = "[a](../src/open.c) [b](../src/parse.c#L2) [c](../src/open.c) [d](../src/gone.c)";
  const std::vector<Citation> seeds = {
      lines("src/parse.c", 2, 2),
      file("src/missing.c"),
      Citation{{"end", 4}, {"path", "src/parse.c"}, {"start", 1}, {"note", "kept as it is"}},
      file("./src//open.c"),
      lines("src/parse.c", 4, 3),
      Citation{{"path", 7}},
      Citation{{"path", nullptr}},
      Citation("src/parse.c"),
      Citation{{"path", "src/parse.c"}, {"start", 2}},
      Citation{{"path", "src/parse.c"}, {"start", "2"}, {"end", "3"}},
      Citation{{"path", "src/parse.c"}, {"start", 1.0}, {"end", 2.0}},
      Citation{{"path", "src/parse.c"}, {"start", nullptr}, {"end", nullptr}},
      Citation{{"path", "src/dir.c"}},
      lines("src/open.c", 1, 3),
  };
  const std::vector<Citation> expected = {
      file("src/open.c"),
      lines("src/parse.c", 2, 2),
      file("src/open.c"),
      lines("src/parse.c", 2, 2),
      Citation{{"end", 4}, {"path", "src/parse.c"}, {"start", 1}, {"note", "kept as it is"}},
      file("./src//open.c"),
      Citation{{"path", "src/parse.c"}, {"start", nullptr}, {"end", nullptr}},
      lines("src/open.c", 1, 3),
  };
  const std::vector<Citation> out = verifier_._validate_citations(body, seeds);
  EXPECT_EQ(out, expected);
  ASSERT_EQ(out.size(), expected.size());
  EXPECT_EQ(out[4].dump(), expected[4].dump());  // key order kept
}

TEST(EnsureMinCitations, TopsUpInPlanOrderAndStops) {
  TempRepo repo;
  for (const char* f : {"a.c", "b.c", "c.c", "d.c", "sub/e.c"}) repo.write(f, "x\n");
  repo.mkdir("dir");
  const Verifier v(repo.root());
  struct Case {
    std::string name;
    std::vector<Citation> citations;
    std::vector<std::string> sources;
    std::vector<Citation> out;
  } cases[] = {
      {"none cited: the first three existing", {}, {"a.c", "b.c", "c.c", "d.c"}, {file("a.c"), file("b.c"), file("c.c")}},
      {"missing files and folders skipped",
       {},
       {"gone.c", "dir", "./b.c", "sub\\e.c", "d.c", "a.c"},
       {file("b.c"), file("sub/e.c"), file("d.c")}},
      {"named files not added again",
       {lines("a.c", 1, 1), lines("a.c", 1, 1)},
       {"a.c", "./a.c", "c.c", "d.c"},
       {lines("a.c", 1, 1), lines("a.c", 1, 1), file("c.c"), file("d.c")}},
      {"names compared normalized", {file("./b.c")}, {"b.c", "a.c", "c.c"}, {file("./b.c"), file("a.c"), file("c.c")}},
      {"already enough", {file("x"), file("y"), file("z")}, {"a.c"}, {file("x"), file("y"), file("z")}},
      {"not enough files", {file("a.c")}, {"gone.c", "b.c"}, {file("a.c"), file("b.c")}},
      {"entries without a path name nothing",
       {Citation{{"path", 3}}, Citation("a.c"), file("d.c")},
       {"a.c", "b.c", "c.c"},
       {Citation{{"path", 3}}, Citation("a.c"), file("d.c"), file("a.c"), file("b.c")}},
      {"outside the repository", {}, {"../a.c", "/", ""}, {}},
  };
  for (const Case& c : cases) EXPECT_EQ(v._ensure_min_citations(c.citations, c.sources), c.out) << c.name;
}

}  // namespace
}  // namespace vantorel::workers::wiki
