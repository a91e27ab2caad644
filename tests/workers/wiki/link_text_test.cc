#include "vantorel/workers/wiki/link_text/link_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace vantorel::workers::wiki {
namespace {

// The targets most tables link against; the page itself is "home".
const std::vector<LinkTarget>& targets() {
  static const std::vector<LinkTarget> all = {
      LinkTarget("config", "Config", {"src/config.c", "src/config.h"}, {"Settings"}),
      LinkTarget("loader", "Config loader", {"src/loader.py"}, {}),
      LinkTarget("cli", "Command line", {"src/cli.c"}, {"CLI", "Cli tool"}),
      LinkTarget("readme", "Readme", {"README.md"}, {}),
      LinkTarget("cpp", "C++", {}, {}),
      LinkTarget("naive", "Na\u00efve", {}, {}),
      LinkTarget("summary", "summary", {}, {}),
  };
  return all;
}

struct Case {
  std::string body, out;
};

void expect_autolink(std::span<const Case> cases, std::span<const LinkTarget> links, std::string_view page_id = "home") {
  for (const Case& c : cases) {
    const std::string got = autolink(c.body, links, page_id);
    EXPECT_EQ(got, c.out) << "body: [" << c.body << "]\ngot:  [" << got << "]";
  }
}

TEST(Autolink, HeaderExamples) {
  const LinkTarget cli("cli", "Command line", {"src/cli.c"}, {"CLI"});
  EXPECT_EQ(autolink("Run the Command line tool.", {&cli, 1}, "home"), "Run the [Command line](cli.md) tool.");
  EXPECT_EQ(autolink("See `src/cli`.", {&cli, 1}, "home"), "See [`src/cli`](cli.md).");
  EXPECT_EQ(refresh_link_texts("[CLI](cli.md)", {&cli, 1}), "[Command line](cli.md)");
  EXPECT_EQ(refresh_link_texts("[CLI](cli.md) and `[CLI](cli.md)`", {&cli, 1}), "[Command line](cli.md) and `[CLI](cli.md)`");
  EXPECT_EQ(renamed(std::vector<std::string>{"A", "B"}, std::vector<std::optional<std::string>>{"C", std::nullopt, "A", "T"}, "T"),
            (std::vector<std::string>{"A", "B", "C"}));
}

TEST(Autolink, MentionsInProse) {
  const Case cases[] = {
      {"Uses Config.", "Uses [Config](config.md)."},
      {"Config", "[Config](config.md)"},
      {"Config and Config.", "[Config](config.md) and Config."},  // the first mention only
      {"a\nConfig\r\nb", "a\n[Config](config.md)\r\nb"},
      {"(Config), *Config*", "([Config](config.md)), *Config*"},
      {"- item: Config", "- item: [Config](config.md)"},
      {"| Config | x |", "| [Config](config.md) | x |"},
      {"> Config", "> [Config](config.md)"},
      {"config CONFIG", "config CONFIG"},  // case-sensitive
      {"C++ and Command line", "[C++](cpp.md) and [Command line](cli.md)"},
      {"Command  line", "Command  line"},  // the title as written, blanks included
      {"Na\u00efve code", "[Na\u00efve](naive.md) code"},
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, WholeWordsOnly) {
  const Case cases[] = {
      {"Configs", "Configs"},
      {"preConfig", "preConfig"},
      {"_Config", "_Config"},
      {"Config_", "Config_"},
      {"Config2 2Config", "Config2 2Config"},
      {"Config-based", "[Config](config.md)-based"},
      {"\u00e9Config", "\u00e9Config"},                           // a Unicode letter before
      {"Config\u00e9", "Config\u00e9"},                           // and after
      {"\u65e5\u672cConfig", "\u65e5\u672cConfig"},               // CJK letters are letters
      {"\u0663Config", "\u0663Config"},                           // an Arabic-Indic digit is a digit
      {"\u2014Config\u2014", "\u2014[Config](config.md)\u2014"},  // punctuation is not
      {"\u00a0Config\u3000", "\u00a0[Config](config.md)\u3000"},
      {"\xFF"
       "Config\xFE",
       "\xFF[Config](config.md)\xFE"},  // invalid bytes are neither letters nor digits
      {"\xC3"
       "Config",
       "\xC3[Config](config.md)"},  // a lead byte without its continuation
      {"Na\u00efvet\u00e9", "Na\u00efvet\u00e9"},
      {"aC++ C++x", "aC++ [C++](cpp.md)x"},  // only the word end of a title is checked
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, TitlesWithOddBytes) {
  const std::vector<LinkTarget> links = {LinkTarget("latin", "caf\xE9", {}, {}), LinkTarget("cut", "caf\xC3", {}, {}),
                                         LinkTarget("tail", "\xA9", {}, {})};
  const Case cases[] = {
      {"caf\xE9 au lait", "[caf\xE9](latin.md) au lait"},
      {"caf\xE9x", "[caf\xE9](latin.md)x"},  // the title ends in an invalid byte: no word end to check
      {"caf\u00e9", "caf\u00e9"},            // half a character never matches
      {"caf\xC3 x", "[caf\xC3](cut.md) x"},  // but the same byte on its own does
      {"x\xA9y", "x[\xA9](tail.md)y"},
  };
  expect_autolink(cases, links);
}

TEST(Autolink, LongestTitleWins) {
  const std::vector<LinkTarget> links = {LinkTarget("a", "A", {}, {}), LinkTarget("ab", "A B", {}, {}), LinkTarget("abc", "A B C", {}, {}),
                                         LinkTarget("bc", "B C", {}, {}), LinkTarget("b", "B", {}, {})};
  const Case cases[] = {
      {"A B C", "[A B C](abc.md)"},
      {"A B D", "[A B](ab.md) D"},
      {"x B C, A", "x [B C](bc.md), [A](a.md)"},
      {"A B C then A B C, A B, B C, A, B", "[A B C](abc.md) then A B C, [A B](ab.md), [B C](bc.md), [A](a.md), [B](b.md)"},
      {"A BC", "[A](a.md) BC"},
  };
  expect_autolink(cases, links);
  // A linked longer title still covers the shorter ones inside it.
  const Case loader[] = {
      {"The Config loader reads.", "The [Config loader](loader.md) reads."},
      {"Config loader, Config loader and Config", "[Config loader](loader.md), Config loader and [Config](config.md)"},
  };
  expect_autolink(loader, targets());
}

TEST(Autolink, NothingLinkedInCodeLinksAndHtml) {
  const Case cases[] = {
      {"```\nConfig\n```", "```\nConfig\n```"},
      {"```Config", "```Config"},
      {"~~~\nConfig\n~~~\nConfig", "~~~\nConfig\n~~~\n[Config](config.md)"},
      {"  ```\nConfig", "  ```\nConfig"},  // a fence that never closes
      {"`Config` and ``a ` Config``", "`Config` and ``a ` Config``"},
      {"it`s Config", "it`s Config"},  // the rest of the line after an unclosed backtick
      {"[the Config](x.md)", "[the Config](x.md)"},
      {"[x](Config) [x](a Config b)", "[x](Config) [x](a Config b)"},
      {"![Config](c.png)", "![Config](c.png)"},
      {"[Config] [Config][ref] [x][Config]", "[Config] [Config][ref] [x][Config]"},
      {"[![Config](b.svg)](https://ci)", "[![Config](b.svg)](https://ci)"},
      {"<https://Config.example/x>", "<https://Config.example/x>"},
      {"a <span title=\"Config\">b</span> Config", "a <span title=\"Config\">b</span> [Config](config.md)"},
      {"a <!-- Config --> b", "a <!-- Config --> b"},
      {"a <b Config", "a <b Config"},  // a tag that never closes
      {"see https://example.com/Config and www.Config.org", "see https://example.com/Config and www.Config.org"},
      {"a < Config", "a < [Config](config.md)"},  // not a tag
      {"# Config\n## Config\n###### Config", "# Config\n## Config\n###### Config"},
      {"#Config", "#[Config](config.md)"},  // no heading without a blank after the "#"
      {"<!-- wiki:summary -->\nsummary\n<!-- /wiki:summary -->", "<!-- wiki:summary -->\n[summary](summary.md)\n<!-- /wiki:summary -->"},
      {"[ref]: ./Config.md", "[ref]: ./Config.md"},
      {"<div>\nConfig\n</div>\n\nConfig", "<div>\nConfig\n</div>\n\n[Config](config.md)"},
      {"<!--\nConfig\n-->\nConfig", "<!--\nConfig\n-->\n[Config](config.md)"},
      {"<!-- one line -->\nConfig", "<!-- one line -->\n[Config](config.md)"},
      {"<b>Config</b>", "<b>Config</b>"},
      {"<https://x> Config", "<https://x> [Config](config.md)"},
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, NothingLinkedInRelatedOrSources) {
  const Case cases[] = {
      {"## Related\n- Config\n\n## Next\nConfig", "## Related\n- Config\n\n## Next\n[Config](config.md)"},
      {"## Sources\nConfig\n# Top\nConfig", "## Sources\nConfig\n# Top\n[Config](config.md)"},
      {"## Related ##\nConfig", "## Related ##\nConfig"},
      {"## Related\n### Sub\nConfig", "## Related\n### Sub\nConfig"},  // a level-3 heading does not end it
      {"## Related\n```\n## Next\n```\nConfig", "## Related\n```\n## Next\n```\nConfig"},
      {"### Related\nConfig", "### Related\n[Config](config.md)"},
      {"## Related pages\nConfig", "## Related pages\n[Config](config.md)"},
      {"## related\nConfig", "## related\n[Config](config.md)"},
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, NothingLinkedWhereTheLinkWouldNotReadAsOne) {
  const std::vector<LinkTarget> links = {LinkTarget("config", "Config", {}, {}), LinkTarget("wow", "Wow!", {}, {}),
                                         LinkTarget("slash", "end\\", {}, {})};
  const Case cases[] = {
      {"!Config", "!Config"},                               // "![" would make an image
      {"\\Config", "\\Config"},                             // "\[" is an escaped bracket
      {"[a]Config", "[a]Config"},                           // "[a][" would read as a reference label
      {"end\\ x", "end\\ x"},                               // "\]" would escape the bracket
      {"Wow!Config", "[Wow!](wow.md)[Config](config.md)"},  // once linked, the "!" stands inside a link
      {"!Config Config", "!Config [Config](config.md)"},
  };
  expect_autolink(cases, links);
}

TEST(Autolink, FileSpans) {
  const Case cases[] = {
      {"`src/config.c`", "[`src/config.c`](config.md)"},
      {"`src/config` here", "[`src/config`](config.md) here"},  // a code file without its extension
      {"`src/config.h`", "[`src/config.h`](config.md)"},
      {"``src/config.c``", "[``src/config.c``](config.md)"},
      {"`README.md`", "[`README.md`](readme.md)"},
      {"`README`", "`README`"},  // not a code file
      {"`src/config.cc` `config.c` ` src/config.c `", "`src/config.cc` `config.c` ` src/config.c `"},
      {"[`src/config.c`](x.md)", "[`src/config.c`](x.md)"},
      {"```\n`src/config.c`\n```", "```\n`src/config.c`\n```"},
      {"`src/config.c` and Config", "[`src/config.c`](config.md) and Config"},  // the earliest place wins
      {"Config and `src/config.c`", "[Config](config.md) and `src/config.c`"},
      {"`src/loader` `src/loader.py`", "[`src/loader`](loader.md) `src/loader.py`"},
      {"[see `src/cli.c`", "[see [`src/cli.c`](cli.md)"},
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, IsCodeFile) {
  struct PathCase {
    std::string path;
    bool code;
  } cases[] = {
      {"src/a.c", true},    {"a.CPP", true},      {"lib/x.py", true},  {"web/app.tsx", true},  {"run.sh", true},
      {"README.md", false}, {"data.json", false}, {"Makefile", false}, {"src/.bashrc", false}, {"src.c/readme", false},
      {"a.", false},        {"", false},          {"x.pyc", false},
  };
  for (const PathCase& c : cases) EXPECT_EQ(detail::is_code_file(c.path), c.code) << c.path;
}

TEST(Autolink, NeverThePageItself) {
  EXPECT_EQ(autolink("Config and `src/config.c`", targets(), "config"), "Config and `src/config.c`");
  // The page's own title still covers the shorter titles inside it.
  EXPECT_EQ(autolink("Config loader uses Config.", targets(), "loader"), "Config loader uses [Config](config.md).");
}

TEST(Autolink, AlreadyLinkedTargetsAreLeftAlone) {
  const Case cases[] = {
      {"[c](config.md) Config", "[c](config.md) Config"},
      {"Config, [c](config.md#usage)", "Config, [c](config.md#usage)"},
      {"`x ](config.md) y` Config", "`x ](config.md) y` Config"},  // anywhere in the body
      {"[c](config.md/x) Config", "[c](config.md/x) [Config](config.md)"},
      {"[c](./config.md) Config", "[c](./config.md) [Config](config.md)"},
      {"[c](xconfig.md) Config", "[c](xconfig.md) [Config](config.md)"},
      {"[c]( config.md) Config", "[c]( config.md) [Config](config.md)"},
  };
  expect_autolink(cases, targets());
}

TEST(Autolink, NeverLinkedTargets) {
  struct Never {
    LinkTarget target;
    std::string body;
  } cases[] = {
      {LinkTarget("blank", " \u3000", {}, {}), "a  \u3000 b"},
      {LinkTarget("empty", "", {"a.c"}, {}), "x `a.c`"},
      {LinkTarget("open", "a[b", {}, {}), "a[b"},
      {LinkTarget("close", "a]b", {}, {}), "a]b"},
      {LinkTarget("tick", "a`b", {}, {}), "a`b"},
      {LinkTarget("angle", "a<b", {}, {}), "a<b"},
      {LinkTarget("newline", "a\nb", {}, {}), "a\nb"},
      {LinkTarget("return", "a\rb", {}, {}), "a\rb"},
      {LinkTarget("two words", "Fine", {}, {}), "Fine"},
      {LinkTarget("tab\t", "Fine", {}, {}), "Fine"},
      {LinkTarget("ideographic\u3000", "Fine", {}, {}), "Fine"},
      {LinkTarget("paren(", "Fine", {"f.c"}, {}), "Fine `f.c`"},
      {LinkTarget("paren)", "Fine", {}, {}), "Fine"},
  };
  for (const Never& c : cases) {
    EXPECT_EQ(autolink(c.body, {&c.target, 1}, "home"), c.body) << "title: [" << c.target.title << "] href: [" << c.target.href << "]";
  }
}

TEST(Autolink, TargetsSharingATitleTakeItsMentionsInListOrder) {
  const std::vector<LinkTarget> links = {LinkTarget("a", "Foo", {"x.c"}, {}), LinkTarget("b", "Foo", {"x.c"}, {}),
                                         LinkTarget("a", "Bar", {}, {})};
  const Case cases[] = {
      {"Foo Foo Foo", "[Foo](a.md) [Foo](b.md) Foo"},
      {"[x](a.md) Foo Foo", "[x](a.md) [Foo](b.md) Foo"},
      {"`x.c` Foo `x.c`", "[`x.c`](a.md) [Foo](b.md) `x.c`"},
      {"Bar Foo", "[Bar](a.md) [Foo](b.md)"},  // one page id, one href: linked once
  };
  expect_autolink(cases, links);
}

TEST(Autolink, NoTargetsGiveTheBodyBack) {
  const std::string bodies[] = {"", "Config", "a\r\n\xFF\xC3\n```\n", std::string("nul\0byte", 8), "[x](config.md)"};
  const std::vector<LinkTarget> none;
  const std::vector<LinkTarget> only_self = {LinkTarget("home", "Config", {}, {})};
  for (const std::string& body : bodies) {
    EXPECT_EQ(autolink(body, none, "home"), body);
    EXPECT_EQ(autolink(body, only_self, "home"), body);
  }
}

// ---------------------------------------------------------------------------------------------
// Idempotence over generated bodies and target sets.

const std::vector<std::string> kTitles = {"Config",    "Config loader", "loader", "Loader", "C++",   "Na\u00efve", "\u65e5\u672c",
                                          "x\xFFy",    " spaced ",      "a.b",    "Go!",    "end\\", "(paren)",    "Wow!",
                                          "caf\u00e9", "Config Config", "\xFF",   "\u00e9", "a",     "a a",        "1st",
                                          "www",       "http",          "md",     "x",      "Fine",  "a[b",        ""};
const std::vector<std::string> kPageIds = {"config", "loader", "a`b",  "a]b", "a[b",     "a>b", "q\"x", "a<b", "a#b",   "x",
                                           "y",      "sp ace", "pa(r", "",    "\u00fcn", "a!b", "a\\b", "md",  "http:", "www"};
const std::vector<std::string> kFiles = {"src/a.c", "src/config.c", "README.md", "src/a", "x.py", "lib/x.py", "a`b.c", "md"};
const std::vector<std::string> kFragments = {
    // words and code spans, some naming files
    "the", "and", "Configs", "preConfig", "`src/a.c`", "`src/a`", "`README.md`", "``x.py``", "`lib/x`", "`a`b.c`", "``a`b.c``",
    // links, images, brackets and their pieces
    "[Config](x.md)", "[t](config.md)", "](config.md#s)", "![img](a.png)", "[ref][x]", "[", "]", "(", ")", "](", "](x.md)", "[x]",
    // code, HTML and URLs, whole or cut short
    "`", "``", "<b>", "<span a=1", ">", "-->", "<!-- c -->", "<x", "<", "https://x.y/Config", "www.a.b",
    // odd bytes and punctuation
    "!", "\\", "\xFF", "\xC3", "\u00e9", "\u3000", "\r", "*", "_", "#", "\"", "~"};
const std::vector<std::string> kLines = {
    // fences and headings
    "```", "~~~", "  ```py", "# Top", "## Related", "## Sources", "## Other", "### Related", "## Config",
    // markers, HTML blocks, a reference definition, blank lines
    "<!-- wiki:summary -->", "<!-- /wiki:summary -->", "<div>", "<!-- start", "-->", "<?x", "?>", "[r]: Config", "", "", "   "};

std::string random_line(std::mt19937& rng) {
  if (rng() % 4 == 0) return kLines[rng() % kLines.size()];
  std::string line;
  const int n = 1 + static_cast<int>(rng() % 9);
  for (int i = 0; i < n; ++i) {
    if (rng() % 2 == 0) line += ' ';
    line += rng() % 2 == 0 ? kTitles[rng() % kTitles.size()] : kFragments[rng() % kFragments.size()];
  }
  return line;
}

std::string random_body(std::mt19937& rng) {
  std::string body;
  const int n = static_cast<int>(rng() % 10);
  for (int i = 0; i < n; ++i) {
    if (i > 0) body += '\n';
    body += random_line(rng);
  }
  return body;
}

std::vector<LinkTarget> random_targets(std::mt19937& rng) {
  std::vector<LinkTarget> links;
  const int n = static_cast<int>(rng() % 7);
  for (int i = 0; i < n; ++i) {
    std::vector<std::string> files;
    if (rng() % 2 == 0) files.push_back(kFiles[rng() % kFiles.size()]);
    if (rng() % 4 == 0) files.push_back(kFiles[rng() % kFiles.size()]);
    links.emplace_back(kPageIds[rng() % kPageIds.size()], kTitles[rng() % kTitles.size()], files, std::vector<std::string>{});
  }
  return links;
}

std::string describe(const std::string& body, const std::vector<LinkTarget>& links, const std::string& page_id) {
  std::ostringstream out;
  out << "body: [" << body << "]\npage: [" << page_id << "]\n";
  for (const LinkTarget& t : links) {
    out << "target: [" << t.page_id << "] [" << t.title << "]";
    for (const std::string& f : t.files) out << " [" << f << "]";
    out << "\n";
  }
  return out.str();
}

std::size_t count(std::string_view haystack, std::string_view needle) {
  std::size_t n = 0;
  for (std::size_t p = haystack.find(needle); p != std::string_view::npos; p = haystack.find(needle, p + 1)) ++n;
  return n;
}

TEST(AutolinkProperty, OwnResultIsAFixedPoint) {
  std::mt19937 rng(20240611);
  int changed = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::string body = random_body(rng);
    const std::vector<LinkTarget> links = random_targets(rng);
    const std::string page_id = rng() % 3 == 0 && !links.empty() ? links[0].page_id : "home";
    const std::string once = autolink(body, links, page_id);
    const std::string twice = autolink(once, links, page_id);
    ASSERT_EQ(twice, once) << describe(body, links, page_id) << "once: [" << once << "]";
    if (once != body) ++changed;
  }
  EXPECT_GT(changed, 2000);  // the generator does reach bodies that get links
}

// Linking only inserts "[" and "](href)" around text of the body, at most once per target, never
// for the page itself or a target already linked.
TEST(AutolinkProperty, OnlyInsertsOneLinkPerTarget) {
  std::mt19937 rng(7);
  for (int i = 0; i < 20000; ++i) {
    const std::string body = random_body(rng);
    const std::vector<LinkTarget> links = random_targets(rng);
    const std::string page_id = rng() % 3 == 0 && !links.empty() ? links[0].page_id : "home";
    const std::string once = autolink(body, links, page_id);
    std::string restored = once;
    std::vector<std::string> seen;
    for (const LinkTarget& t : links) {
      if (std::find(seen.begin(), seen.end(), t.href) != seen.end()) continue;
      seen.push_back(t.href);
      const std::string opening = std::string("](").append(t.href);
      const std::string closing = opening + ")";
      const std::size_t before = count(body, closing);
      const std::size_t after = count(once, closing);
      if (before > 0 || count(body, opening + "#") > 0) {
        // An existing link is never cut by a new one.
        ASSERT_EQ(after, before) << describe(body, links, page_id) << "once: [" << once << "]";
        ASSERT_EQ(count(once, opening + "#"), count(body, opening + "#")) << describe(body, links, page_id);
        continue;
      }
      if (t.page_id == page_id || t.href.find_first_of(" ()") != std::string::npos) {
        ASSERT_LE(after, before) << describe(body, links, page_id) << "once: [" << once << "]";
        continue;
      }
      const std::size_t added = after - before;
      ASSERT_LE(added, 1u) << describe(body, links, page_id) << "once: [" << once << "]";
      if (added == 0) continue;
      const std::size_t at = restored.find(closing);
      const std::size_t open = restored.rfind('[', at);
      ASSERT_NE(open, std::string::npos) << describe(body, links, page_id);
      restored.erase(at, closing.size());
      restored.erase(open, 1);
    }
    ASSERT_EQ(restored, body) << describe(body, links, page_id) << "once: [" << once << "]";
  }
}

// On a line of plain prose, mentions are exactly what a naive scan finds: at each character, every
// title is tried, whole words only, the longest taken.
struct Atom {
  std::string bytes;
  bool word;
};
const std::vector<Atom> kAtoms = {{"a", true},  {"b", true},      {"1", true},      {"_", true},       {" ", false},      {"-", false},
                                  {".", false}, {"\u00e9", true}, {"\u0663", true}, {"\u2014", false}, {"\u3000", false}, {"\xFF", false}};

std::vector<std::size_t> random_atoms(std::mt19937& rng, std::size_t max) {
  std::vector<std::size_t> out(rng() % (max + 1));
  for (std::size_t& a : out) a = rng() % kAtoms.size();
  return out;
}

std::string spell(const std::vector<std::size_t>& atoms) {
  std::string out;
  for (std::size_t a : atoms) out += kAtoms[a].bytes;
  return out;
}

std::string naive_autolink(const std::vector<std::size_t>& body, const std::vector<std::vector<std::size_t>>& titles,
                           const std::vector<std::size_t>& title_of, std::size_t self) {
  std::vector<bool> linked(title_of.size(), false);
  std::string out;
  for (std::size_t i = 0; i < body.size();) {
    std::size_t best = titles.size();
    for (std::size_t t = 0; t < titles.size(); ++t) {
      if (std::find(title_of.begin(), title_of.end(), t) == title_of.end()) continue;  // no target has it
      const std::vector<std::size_t>& title = titles[t];
      const std::size_t n = title.size();
      if (i + n > body.size() || !std::equal(title.begin(), title.end(), body.begin() + static_cast<std::ptrdiff_t>(i))) continue;
      if (kAtoms[title.front()].word && i > 0 && kAtoms[body[i - 1]].word) continue;
      if (kAtoms[title.back()].word && i + n < body.size() && kAtoms[body[i + n]].word) continue;
      if (best == titles.size() || n > titles[best].size()) best = t;
    }
    if (best == titles.size()) {
      out += kAtoms[body[i++]].bytes;
      continue;
    }
    const std::string text = spell(titles[best]);
    std::size_t k = 0;
    while (k < title_of.size() && (title_of[k] != best || k == self || linked[k])) ++k;
    if (k < title_of.size()) {
      linked[k] = true;
      out.append("[").append(text).append("](t").append(std::to_string(k)).append(".md)");
    } else {
      out += text;
    }
    i += titles[best].size();
  }
  return out;
}

TEST(AutolinkProperty, MatchesANaiveScanOnPlainProse) {
  std::mt19937 rng(99);
  for (int i = 0; i < 20000; ++i) {
    std::vector<std::vector<std::size_t>> titles;
    for (std::size_t n = 1 + rng() % 5; titles.size() < n;) {
      std::vector<std::size_t> title = random_atoms(rng, 4);
      const std::string spelled = spell(title);
      const bool blank = spelled.find_first_not_of(" ") == std::string::npos || spelled == "\u3000" ||
                         spelled.find_first_not_of(" \u3000") == std::string::npos;
      if (blank || std::any_of(titles.begin(), titles.end(), [&](const auto& t) { return spell(t) == spelled; })) continue;
      titles.push_back(title);
    }
    std::vector<LinkTarget> links;
    std::vector<std::size_t> title_of;
    for (std::size_t k = 0, n = 1 + rng() % 6; k < n; ++k) {
      title_of.push_back(rng() % titles.size());
      links.emplace_back(std::string("t").append(std::to_string(k)), spell(titles[title_of.back()]), std::vector<std::string>{},
                         std::vector<std::string>{});
    }
    const std::size_t self = rng() % 4 == 0 ? 0 : links.size();
    const std::vector<std::size_t> body = random_atoms(rng, 40);
    const std::string page_id = self == 0 ? "t0" : "home";
    const std::string want = naive_autolink(body, titles, title_of, self);
    ASSERT_EQ(autolink(spell(body), links, page_id), want) << describe(spell(body), links, page_id);
  }
}

// Inputs on which a matcher that tries each title, or a scan that restarts at each bracket or
// backtick, would take quadratic time. Nothing is timed: such a version would not finish.
TEST(AutolinkLargeInput, NestedTitlesAndLongLines) {
  std::vector<LinkTarget> links;
  std::string title = "a";
  for (int k = 0; k < 2000; ++k) {
    links.emplace_back(std::string("t").append(std::to_string(k)), title, std::vector<std::string>{}, std::vector<std::string>{});
    title += " a";
  }
  std::string body;
  for (int k = 0; k < 1000000; ++k) body += "a ";
  const std::string out = autolink(body, links, "home");
  EXPECT_EQ(out.size(), body.size() + std::string("[](t1999.md)").size());
  EXPECT_TRUE(out.starts_with("[a a a")) << out.substr(0, 20);

  // No target's title occurs: only the word boundaries are checked, once each.
  std::string words;
  for (int k = 0; k < 300000; ++k) words += "a\u00e9 ";
  EXPECT_EQ(autolink(words, links, "home"), words);

  const std::vector<LinkTarget> config = {LinkTarget("config", "Config", {"a.c"}, {})};
  const std::size_t n = 2000000;
  for (const std::string& unit : {std::string("["), std::string("]("), std::string("![a]("), std::string("<a "), std::string("[a]["),
                                  std::string("``a`"), std::string("(")}) {
    std::string line;
    while (line.size() < n) line += unit;
    const std::string got = autolink(line + " Config", config, "home");
    EXPECT_GE(got.size(), line.size()) << unit;
  }
  std::string hrefs;
  while (hrefs.size() < n) hrefs += "](config.m";
  EXPECT_EQ(autolink(hrefs + " Config", config, "home"), hrefs + " [Config](config.md)");
}

// A long run of prose is read in windows of 64 KiB; a mention across a window's end is still one
// mention, and the longest.
TEST(AutolinkLargeInput, MentionsAcrossWindowEnds) {
  for (std::size_t at = (1u << 16) - 14; at <= (1u << 16) + 2; ++at) {
    const std::string filler = std::string(at - 1, 'z') + " ";
    const std::string got = autolink(filler + "Config loader tail Config loader Config", targets(), "home");
    EXPECT_EQ(got, filler + "[Config loader](loader.md) tail Config loader [Config](config.md)") << "at " << at;
  }
  // A title longer than a window.
  const std::string long_title(100000, 'q');
  const std::vector<LinkTarget> links = {LinkTarget("long", long_title, {}, {}), LinkTarget("short", "qq", {}, {})};
  const std::string body = std::string("x ").append(long_title).append(" qq");
  EXPECT_EQ(autolink(body, links, "home"), std::string("x [").append(long_title).append("](long.md) [qq](short.md)"));
}

// ---------------------------------------------------------------------------------------------

TEST(RefreshLinkTexts, FormerTitlesBecomeTheCurrentOne) {
  std::vector<LinkTarget> links = targets();
  links.emplace_back("bad", "a]b", std::vector<std::string>{}, std::vector<std::string>{"Old"});
  const Case cases[] = {
      {"[CLI](cli.md)", "[Command line](cli.md)"},
      {"[Cli tool](cli.md) and [CLI](cli.md).", "[Command line](cli.md) and [Command line](cli.md)."},
      {"[Settings](config.md)", "[Config](config.md)"},
      {"[x [CLI](cli.md) y]", "[x [Command line](cli.md) y]"},
      {"# See [CLI](cli.md)", "# See [Command line](cli.md)"},
      {"## Related\n- [CLI](cli.md)", "## Related\n- [Command line](cli.md)"},
      {"[Command line](cli.md)", "[Command line](cli.md)"},
      {"[CLI](cli.md#usage)", "[CLI](cli.md#usage)"},  // the href exactly
      {"[CLI](./cli.md)", "[CLI](./cli.md)"},
      {"[CLI](config.md)", "[CLI](config.md)"},  // another target's former title
      {"[cli](cli.md)", "[cli](cli.md)"},
      {"[ CLI ](cli.md)", "[ CLI ](cli.md)"},
      {"`[CLI](cli.md)`", "`[CLI](cli.md)`"},
      {"```\n[CLI](cli.md)\n```\n[CLI](cli.md)", "```\n[CLI](cli.md)\n```\n[Command line](cli.md)"},
      {"![CLI](cli.md)", "![CLI](cli.md)"},  // an image, not a link
      {"[CLI][cli.md]", "[CLI][cli.md]"},
      {"[Old](bad.md)", "[Old](bad.md)"},  // the new title would break the link
      {"\xFF[CLI](cli.md)\xFE", "\xFF[Command line](cli.md)\xFE"},
  };
  for (const Case& c : cases) EXPECT_EQ(refresh_link_texts(c.body, links), c.out) << c.body;
}

TEST(RefreshLinkTexts, NothingToRefreshGivesTheBodyBack) {
  const std::vector<LinkTarget> none;
  const std::vector<LinkTarget> no_former = {LinkTarget("cli", "Command line", {}, {})};
  for (const std::string body : {"", "[CLI](cli.md)", "a\r\n\xFF"}) {
    EXPECT_EQ(refresh_link_texts(body, none), body);
    EXPECT_EQ(refresh_link_texts(body, no_former), body);
  }
}

// ---------------------------------------------------------------------------------------------

TEST(FormerTitles, ReadsTheStringsOfTheStoredList) {
  struct RowCase {
    std::string json;
    std::vector<std::string> out;
  } cases[] = {
      {R"({"former_titles": ["A", "B"]})", {"A", "B"}},
      {R"({"former_titles": ["A", 1, null, "", ["C"], {"D": 1}, "B"], "title": "T"})", {"A", "", "B"}},
      {R"({"former_titles": []})", {}},
      {R"({"former_titles": "A"})", {}},
      {R"({"former_titles": {"A": 1}})", {}},
      {R"({"title": "T"})", {}},
      {R"(["A", "B"])", {}},
      {R"("former_titles")", {}},
      {"null", {}},
  };
  for (const RowCase& c : cases) {
    const StoredRow row = StoredRow::parse(c.json);
    EXPECT_EQ(former_titles(&row), c.out) << c.json;
  }
  EXPECT_EQ(former_titles(nullptr), std::vector<std::string>{});
}

TEST(Renamed, FormerThenShownWithoutTheTitle) {
  using Shown = std::vector<std::optional<std::string>>;
  struct RenameCase {
    std::vector<std::string> former;
    Shown shown;
    std::string title;
    std::vector<std::string> out;
  } cases[] = {
      {{}, {}, "T", {}},
      {{"A"}, {"T"}, "T", {"A"}},
      {{"A", "T", "B"}, {}, "T", {"A", "B"}},  // the title never stays listed
      {{}, {"A", std::nullopt, "B", "A"}, "T", {"A", "B"}},
      {{"A", "B"}, {"B", "C", "A", "C"}, "T", {"A", "B", "C"}},
      {{}, {std::string()}, "T", {""}},  // set, though empty
      {{"B", "A"}, {"C"}, "C", {"B", "A"}},
      {{"a"}, {"A"}, "T", {"a", "A"}},  // compared exactly
  };
  for (const RenameCase& c : cases) {
    EXPECT_EQ(renamed(c.former, c.shown, c.title), c.out) << "title: " << c.title;
  }
}

}  // namespace
}  // namespace vantorel::workers::wiki
