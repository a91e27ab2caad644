// autolink checked by a CommonMark parser (cmark): every link it inserts must read back as a link
// to its target with the title (or the backticked path) as its text, no link the author wrote may
// be lost, taking the inserted links out must give the body back, and a second run changes
// nothing. Run on generated pages of many shapes and on the Markdown files found under
// /usr/share/doc (none is needed; none is kept).
#include <cmark.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "vantorel/workers/wiki/link_text/link_text.h"

namespace vantorel::workers::wiki {
namespace {

using LinkKey = std::pair<std::string, std::string>;  // href, text as the reader shows it

// The text a reader shows for a link's content: its text and code, line breaks as "\n".
void append_text(cmark_node* node, std::string& out) {
  for (cmark_node* child = cmark_node_first_child(node); child != nullptr; child = cmark_node_next(child)) {
    switch (cmark_node_get_type(child)) {
      case CMARK_NODE_TEXT:
      case CMARK_NODE_CODE:
        out.append(cmark_node_get_literal(child));
        break;
      case CMARK_NODE_SOFTBREAK:
      case CMARK_NODE_LINEBREAK:
        out += '\n';
        break;
      default:
        append_text(child, out);
    }
  }
}

// Every link a CommonMark reader sees in `page`, with how often.
std::map<LinkKey, int> links_read(const std::string& page) {
  std::map<LinkKey, int> links;
  const std::unique_ptr<cmark_node, void (*)(cmark_node*)> document(cmark_parse_document(page.data(), page.size(), CMARK_OPT_DEFAULT),
                                                                     cmark_node_free);
  cmark_iter* iter = cmark_iter_new(document.get());
  for (cmark_event_type event; (event = cmark_iter_next(iter)) != CMARK_EVENT_DONE;) {
    cmark_node* node = cmark_iter_get_node(iter);
    if (event != CMARK_EVENT_ENTER || cmark_node_get_type(node) != CMARK_NODE_LINK) continue;
    std::string text;
    append_text(node, text);
    ++links[{cmark_node_get_url(node), text}];
  }
  cmark_iter_free(iter);
  return links;
}

// A link autolink inserted: its href and its text as written ("Title" or "`path`").
struct Inserted {
  std::string href;
  std::string text;
};

// The links `linked` has beyond `body`, found by walking both: where they differ, `linked` must
// hold "[" + text + "](" + href + ")" for a target's title, or for a code span of `body` at that
// place. False when `linked` is not `body` with such links added.
bool inserted_links(const std::string& body, const std::string& linked, const std::vector<LinkTarget>& targets,
                    std::vector<Inserted>& out) {
  std::size_t i = 0, j = 0;
  while (i < linked.size()) {
    if (j < body.size() && linked[i] == body[j]) {
      ++i, ++j;
      continue;
    }
    if (linked[i] != '[') return false;
    std::vector<std::string> texts;
    if (j < body.size() && body[j] == '`') {
      std::size_t ticks = 0;
      while (j + ticks < body.size() && body[j + ticks] == '`') ++ticks;
      const std::size_t close = body.find(std::string(ticks, '`'), j + ticks);
      if (close != std::string::npos) texts.push_back(body.substr(j, close + ticks - j));
    }
    for (const LinkTarget& t : targets) texts.push_back(t.title);
    bool found = false;
    for (const std::string& text : texts) {
      if (text.empty() || body.compare(j, text.size(), text) != 0) continue;
      for (const LinkTarget& t : targets) {
        const std::string link = "[" + text + "](" + t.href + ")";
        if (linked.compare(i, link.size(), link) != 0) continue;
        out.push_back({t.href, text});
        i += link.size();
        j += text.size();
        found = true;
        break;
      }
      if (found) break;
    }
    if (!found) return false;
  }
  return j == body.size();
}

struct Tally {
  int pages = 0;
  int inserted = 0;
  int not_read_as_links = 0;  // inserted links a reader does not show as such
  int authors_lost = 0;       // links of the author a reader no longer shows
  int other = 0;              // pages not settled by a second run, or changed beyond links
  std::vector<std::string> reports;

  void report(std::string message) {
    if (reports.size() < 5) reports.push_back(std::move(message));
  }
  // Prints the totals and the first problems; fails when there were any.
  void check(const std::string& what) const {
    std::cout << what << ": " << pages << ", links inserted: " << inserted << ", not read as links: " << not_read_as_links
              << ", author links lost: " << authors_lost << ", other problems: " << other << "\n";
    for (const std::string& r : reports) ADD_FAILURE() << r;
    EXPECT_EQ(not_read_as_links + authors_lost + other, 0);
  }
};

// Links `body` against `targets` and checks the result with cmark, counting problems in `tally`.
void check_page(const std::string& name, const std::string& body, const std::vector<LinkTarget>& targets, Tally& tally) {
  ++tally.pages;
  const std::string linked = autolink(body, targets, "home");
  if (autolink(linked, targets, "home") != linked) {
    ++tally.other;
    tally.report(name + ": a second run changed the page\n" + body);
  }
  std::vector<Inserted> inserted;
  if (!inserted_links(body, linked, targets, inserted)) {
    ++tally.other;
    tally.report(name + ": the linked page is not the body with links added\nbody:\n" + body + "\nlinked:\n" + linked);
    return;
  }
  tally.inserted += static_cast<int>(inserted.size());
  if (inserted.empty()) return;
  std::map<LinkKey, int> gained = links_read(linked);
  for (const auto& [key, n] : links_read(body)) gained[key] -= n;
  for (const Inserted& link : inserted) {
    // A file's link shows its path as code: the reader's text is the span's content.
    std::string text = link.text;
    if (text.starts_with('`')) text = text.substr(text.find_first_not_of('`'), text.size() - 2 * text.find_first_not_of('`'));
    int& n = gained[{link.href, text}];
    if (n > 0) {
      --n;
      continue;
    }
    ++tally.not_read_as_links;
    tally.report(name + ": [" + link.text + "](" + link.href + ") does not read as a link\nbody:\n" + body + "\nlinked:\n" + linked);
  }
  for (const auto& [key, n] : gained) {
    if (n >= 0) continue;
    tally.authors_lost -= n;
    tally.report(name + ": the author's link [" + key.second + "](" + key.first + ") is lost\nbody:\n" + body + "\nlinked:\n" + linked);
  }
}

// Link targets taken from a page's own words: up to 24 titles of one or two words (letters,
// digits, "_", "-", "." and "+", at least four characters), picked with a fixed seed, and up to 8
// backticked spans holding "/" or "." as files. Ids "t0", "t1", ...
std::vector<LinkTarget> targets_from_words(const std::string& page, unsigned seed) {
  std::vector<std::string> words;
  std::vector<std::string> spans;
  const auto word_char = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' ||
           c == '+';
  };
  for (std::size_t i = 0; i < page.size();) {
    if (page[i] == '`') {
      const std::size_t close = page.find('`', i + 1);
      if (close != std::string::npos && close - i < 60) {
        const std::string span = page.substr(i + 1, close - i - 1);
        if (!span.empty() && span.find_first_of(" \t\n\r`") == std::string::npos && span.find_first_of("/.") != std::string::npos)
          spans.push_back(span);
      }
      ++i;
      continue;
    }
    if (!word_char(page[i])) {
      ++i;
      continue;
    }
    std::size_t end = i;
    while (end < page.size() && word_char(page[end])) ++end;
    std::string word = page.substr(i, end - i);
    while (!word.empty() && (word.back() == '.' || word.back() == '-')) word.pop_back();
    if (word.size() >= 4 && std::isalpha(static_cast<unsigned char>(word[0]))) words.push_back(word);
    i = end;
  }
  std::mt19937 rng(seed);
  std::vector<LinkTarget> targets;
  std::set<std::string> titles;
  for (int k = 0; k < 24 && !words.empty(); ++k) {
    const std::size_t at = rng() % words.size();
    std::string title = words[at];
    if (rng() % 3 == 0 && at + 1 < words.size()) title.append(" ").append(words[at + 1]);
    if (!titles.insert(title).second) continue;
    targets.emplace_back("t" + std::to_string(targets.size()), title, std::vector<std::string>{}, std::vector<std::string>{});
  }
  for (int k = 0; k < 8 && !spans.empty(); ++k) {
    const std::string& file = spans[rng() % spans.size()];
    targets.emplace_back("t" + std::to_string(targets.size()), "File " + std::to_string(k), std::vector<std::string>{file},
                         std::vector<std::string>{});
  }
  return targets;
}

// ---------------------------------------------------------------------------------------------
// Generated pages: blocks of many shapes, the titles of a small vocabulary everywhere.

const std::vector<std::string> WORDS = {"Config", "Config loader", "Parser", "Index", "the", "uses", "and", "Cache", "see", "runs"};

class PageMaker {
 public:
  explicit PageMaker(unsigned seed) : rng_(seed) {}

  std::string page() {
    std::string out;
    for (int blocks = 1 + static_cast<int>(rng_() % 7); blocks > 0; --blocks) {
      block(out, "");
      out += rng_() % 4 == 0 ? "\n" : "\n\n";
    }
    return out;
  }

 private:
  std::size_t roll(std::size_t n) { return rng_() % n; }
  const std::string& word() { return WORDS[roll(WORDS.size())]; }

  // A few words with inline pieces, some of which run across a line break (`prefix` starts
  // every line after the first).
  std::string inline_text(const std::string& prefix, int lines) {
    static const std::vector<std::string> PIECES = {
        "`code Config`", "`two\n{}lines Index`", "``a ` Parser``", "[Config\n{}text](x.md)", "[a](\n{}Config.md)",
        "[a](y.md \"Index\n{}title\")", "![Cache](c.png)", "<span\n{}title=\"Config\">x</span>", "<https://Index.example>",
        "\\`Config\\`", "\\[Parser\\]", "*Cache*", "`src/a.c`", "`src/b`", "<!-- Config\n{}-->", "[ref][Config]",
        "[x [y](z.md) Index](w.md)", "`", "[", "](", "<b>", "&amp;", "[Parser]", "a\\", "[Config](<u v.md>)"};
    std::string out;
    for (int line = 0; line < lines; ++line) {
      if (line > 0) out.append("\n").append(prefix);
      for (int n = 1 + static_cast<int>(roll(6)); n > 0; --n) {
        if (n < 6 && roll(3) == 0) {
          std::string piece = PIECES[roll(PIECES.size())];
          for (std::size_t at; (at = piece.find("{}")) != std::string::npos;) piece.replace(at, 2, prefix + std::string(roll(3), ' '));
          out.append(piece);
        } else {
          out.append(word());
        }
        out += ' ';
      }
    }
    return out;
  }

  // One block, every line starting with `prefix` (the indentation or quote marker of the
  // containers around it).
  void block(std::string& out, const std::string& prefix, int depth = 0) {
    const std::string indents[] = {"", " ", "  ", "   ", "    ", "     ", "\t", " \t", "      ", "        "};
    switch (roll(depth < 2 ? 12 : 8)) {
      case 0:
      case 1:  // a paragraph, maybe with indented and lazy lines
        out.append(prefix).append(inline_text(prefix, 1 + static_cast<int>(roll(3))));
        if (roll(2) == 0) out.append("\n").append(prefix).append(indents[roll(10)]).append(word()).append(" continued");
        break;
      case 2:  // indented code
        for (int n = 1 + static_cast<int>(roll(3)); n > 0; --n) {
          out.append(prefix).append(indents[4 + roll(6)]).append(word()).append(" ").append(word());
          if (n > 1) out.append(roll(4) == 0 ? "\n" : "\n").append(roll(5) == 0 ? prefix + "\n" : "");
        }
        break;
      case 3: {  // fenced code, sometimes holding a shorter fence of the other kind or left open
        const std::string fence = roll(2) ? "````" : "~~~~";
        const std::string inner = fence[0] == '`' ? "```" : "~~~";
        out.append(prefix).append(indents[roll(4)]).append(fence).append(roll(2) ? "" : " info").append("\n");
        out.append(prefix).append(word()).append("\n");
        if (roll(2)) out.append(prefix).append(inner).append("\n").append(prefix).append(word()).append("\n").append(prefix).append(inner).append("\n");
        out.append(prefix).append(word()).append(" `src/a.c`\n");
        if (roll(6) != 0) out.append(prefix).append(indents[roll(4)]).append(roll(4) ? fence : fence + "`~");
        break;
      }
      case 4: {  // an HTML block
        static const std::vector<std::string> OPEN = {"<div>", "<pre>", "<!-- note", "<custom-tag>", "<?php", "<table>", "<span>", "<b x", "<DIV class=\"a\">"};
        out.append(prefix).append(indents[roll(5)]).append(OPEN[roll(OPEN.size())]).append("\n");
        out.append(prefix).append(word()).append(" ").append(word()).append("\n");
        if (roll(2)) out.append(prefix).append("\n").append(prefix).append(word()).append("\n");
        out.append(prefix).append(roll(2) ? "</div> -->" : "</pre> ?>");
        break;
      }
      case 5:  // headings
        if (roll(2)) {
          out.append(prefix).append(std::string(1 + roll(3), '#')).append(" ").append(word());
        } else {
          out.append(prefix).append(inline_text(prefix, 1)).append("\n").append(prefix).append(roll(2) ? "===" : "---");
        }
        break;
      case 6:  // a reference definition, maybe over lines
        out.append(prefix).append("[").append(word()).append("]:").append(roll(2) ? "\n" + prefix : " ").append("/url");
        if (roll(2)) out.append(roll(2) ? "\n" + prefix : " ").append("\"").append(word()).append(" title\"");
        out.append("\n").append(prefix).append(word());
        break;
      case 7:  // a thematic break, or a line of odd markers
        out.append(prefix).append(roll(2) ? "***" : "- - -").append("\n").append(prefix).append(word());
        break;
      default: {  // a list item or a block quote holding more blocks
        if (roll(3) == 0) {
          out.append(prefix).append(roll(2) ? "> " : ">");
          block(out, prefix + (roll(3) ? "> " : ""), depth + 1);
          break;
        }
        static const std::vector<std::string> MARKERS = {"- ", "* ", "1. ", "10) ", "-   ", "-\t", "2.  "};
        const std::string marker = MARKERS[roll(MARKERS.size())];
        std::size_t width = marker.size();
        if (marker == "-\t") width = 2;
        out.append(prefix).append(marker).append(inline_text(prefix + std::string(width, ' '), 1));
        for (int n = static_cast<int>(roll(3)); n > 0; --n) {
          out.append(roll(2) ? "\n\n" + prefix : "\n" + prefix);
          const std::size_t extra = roll(7);  // 0 to 6 columns past the content's column
          if (roll(2)) {
            out.append(std::string(width + extra, ' ')).append(word()).append(" ").append(word());
          } else {
            block(out, prefix + std::string(width + (extra < 4 ? 0 : extra), ' '), depth + 1);
          }
        }
      }
    }
  }

  std::mt19937 rng_;
};

std::vector<LinkTarget> generated_targets(const std::string& page, unsigned seed) {
  std::vector<LinkTarget> targets = {
      LinkTarget("config", "Config", {"src/a.c"}, {}), LinkTarget("loader", "Config loader", {}, {}),
      LinkTarget("index", "Index", {"src/b.c"}, {}),   LinkTarget("parser", "Parser", {}, {}),
      LinkTarget("cache", "Cache", {}, {}),             LinkTarget("home", "Home", {}, {}),
  };
  for (LinkTarget& t : targets_from_words(page, seed)) targets.emplace_back("w" + t.page_id, t.title, t.files, t.former);
  return targets;
}

// A short page of Markdown's marks in random order, titles among them.
std::string noise_page(std::mt19937& rng) {
  static const std::vector<std::string> TOKENS = {
      "Config", "Index", "Config loader", " ", " ", "\n", "\n", "\n\n", "    ", "\t", "`", "``", "[", "]", "(", ")", "](", "](x.md)",
      "<", ">", "!", "\\", "*", "- ", "1. ", "2) ", "> ", "# ", "```", "~~~", "<div>", "<!--", "-->", "--", "\"", "'", "=", "===",
      "<a ", "<a>", "x.md", ":", "]:", "\r\n", "\r", "<http://a.b>", "a@b.c>", "<!DOCTYPE ", "<?", "?>", "&amp;", "`src/a.c`"};
  std::string page;
  for (std::size_t n = rng() % 40; n > 0; --n) page.append(TOKENS[rng() % TOKENS.size()]);
  return page;
}

TEST(AutolinkCommonMark, GeneratedPagesReadBackAsLinks) {
  Tally tally;
  for (unsigned seed = 1; seed <= 6000; ++seed) {
    const std::string page = PageMaker(seed).page();
    check_page("generated page " + std::to_string(seed), page, generated_targets(page, seed), tally);
  }
  std::mt19937 rng(7);
  for (int n = 0; n < 40000; ++n) {
    const std::string page = noise_page(rng);
    check_page("noise page " + std::to_string(n), page, generated_targets(page, static_cast<unsigned>(n)), tally);
  }
  tally.check("generated pages");
  EXPECT_GT(tally.inserted, 40000);  // the generators reach pages that get links
}

// The Markdown files under /usr/share/doc, .md.gz ones through gzip; none when there are none.
std::vector<std::pair<std::string, std::string>> documentation_pages() {
  std::vector<std::pair<std::string, std::string>> pages;
  std::error_code error;
  std::vector<std::filesystem::path> paths;
  for (std::filesystem::recursive_directory_iterator it("/usr/share/doc", error), end; !error && it != end; it.increment(error)) {
    const std::string name = it->path().filename().string();
    if (it->is_regular_file(error) && (name.ends_with(".md") || name.ends_with(".md.gz") || name.ends_with(".markdown")))
      paths.push_back(it->path());
  }
  std::sort(paths.begin(), paths.end());
  for (const std::filesystem::path& path : paths) {
    std::string text;
    if (path.extension() == ".gz") {
      const std::string command = "gzip -dc '" + path.string() + "' 2>/dev/null";
      FILE* pipe = popen(command.c_str(), "r");
      if (pipe == nullptr) continue;
      char buffer[65536];
      for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;) text.append(buffer, n);
      if (pclose(pipe) != 0) continue;
    } else {
      std::ifstream in(path, std::ios::binary);
      std::ostringstream content;
      content << in.rdbuf();
      text = content.str();
    }
    pages.emplace_back(path.string(), std::move(text));
  }
  return pages;
}

TEST(AutolinkCommonMark, DocumentationPagesReadBackAsLinks) {
  const auto pages = documentation_pages();
  if (pages.empty()) GTEST_SKIP() << "no Markdown files under /usr/share/doc";
  Tally tally;
  unsigned seed = 0;
  for (const auto& [name, page] : pages) check_page(name, page, targets_from_words(page, ++seed), tally);
  tally.check("documentation pages");
}

}  // namespace
}  // namespace vantorel::workers::wiki
