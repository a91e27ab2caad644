// Link targets: the pages another page's prose can link to.
//
//   const LinkTarget cli("cli", "Command line", {"src/cli.c"}, {"CLI"});
//   EXPECT_EQ(cli.href, "cli.md");
//   EXPECT_EQ(autolink("Run the Command line tool.", {&cli, 1}, "home"), "Run the [Command line](cli.md) tool.");
//   EXPECT_EQ(autolink("See `src/cli`.", {&cli, 1}, "home"), "See [`src/cli`](cli.md).");
//   EXPECT_EQ(refresh_link_texts("[CLI](cli.md)", {&cli, 1}), "[Command line](cli.md)");
//
// Besides the record, the file holds what keeps a page's links to its neighbours current: linking
// the first mention of each other page, renaming the text of links to a page whose title changed,
// and the bookkeeping of the titles a page had before.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantorel::workers::wiki {

// The record the generator stored for a page built before: a JSON object, keys in stored order.
using StoredRow = nlohmann::ordered_json;

// A page that another page can link to: by its title, by a title it had before, and, for a
// code-unit page, by the repository paths of its files. Built from exactly these four values;
// the link destination `href` is derived from the page id, so no caller can forget or contradict
// it.
struct LinkTarget {
  LinkTarget(std::string page_id, std::string title, std::vector<std::string> files, std::vector<std::string> former)
      : page_id(std::move(page_id)),
        title(std::move(title)),
        files(std::move(files)),
        former(std::move(former)),
        href(this->page_id + ".md") {}

  std::string page_id;              // the page's id
  std::string title;                // its current title
  std::vector<std::string> files;   // normalized repository paths it claims; empty for most pages
  std::vector<std::string> former;  // titles the page had before
  std::string href;                 // the link destination: page_id + ".md"

  bool operator==(const LinkTarget&) const = default;
};

// `body` with the first mention of each target linked. A target is linked at most once, at the
// earliest place that names it:
//   - a whole-word, case-sensitive mention of its title in prose becomes "[title](href)";
//   - an inline-code span whose content is exactly one of its files, or for a source-code file
//     (see `detail::is_code_file`) that path without its extension, becomes "[`span`](href)".
// Whole word: when the title starts with a letter, digit or "_" (Unicode letters and digits), the
// character before the mention is none of these, and likewise the character after it when the
// title ends with one; a byte that is not valid UTF-8 is neither. Where mentions overlap, the one
// that starts first wins, then the longest, so "Config loader" is never linked as "Config". A title
// counts as a mention even where its target is not linked (the page's own title, a target already
// linked or with a refused href), so a shorter title inside it stays unlinked.
//
// Never linked: the target whose page id is `page_id`; a target already linked, that is when
// `body` holds "](" + href + ")" or "](" + href + "#"; a target whose title is blank or holds "[",
// "]", "`", "<", "\n" or "\r", or whose href holds white space, "(" or ")". Targets that share a
// title (or a file) take its mentions in list order: the first unlinked one gets the first mention.
// A place is passed over when its link would not read as one: right after "!" (an image), "\" (an
// escaped bracket) or "]" (a reference label), or text that ends in "\".
//
// Never linked inside: fenced code (fence lines included), inline code apart from the file case,
// a link, image or bracketed text "[...]" (text, destination or label), the text "](" + href + ")"
// or "](" + href + "#" of any target wherever it stands, a bare URL ("http://", "https://" or
// "www." up to white space, "<", ">", "[", "]" or "`"), an autolink or inline raw HTML ("<" and a
// letter, "/", "!" or "?", up to the next ">" on the line, a comment up to "-->", the rest of the
// line when there is none), an HTML block (from a line starting with a tag, comment, declaration
// or processing instruction to a blank line, or for all but a tag to the line that closes it; a
// fence line ends it too), a heading line, a generated-block marker line, a link reference
// definition line, the rest of a line after a backtick run that nothing closes, and the lines of a
// level-2 section titled "Related" or "Sources", which runs to the next level-1 or level-2 heading
// outside fences. Backslash escapes are not interpreted by these rules.
//
// Besides, a link goes only where a CommonMark reader (cmark 0.30) sees prose, so every inserted
// link reads back as a link: never inside indented code (four columns or more, a tab counting to
// the next multiple of four, not continuing a paragraph; inside a list item counted from the
// item's text), fenced code as a reader pairs fences (a fence inside a longer one included; the
// toggle rule above still applies too), an HTML block as a reader ends it (a <pre>, <script>,
// <style> or <textarea> block at its closing tag, past blank lines), a link reference definition
// over any of its lines, or a code span, link, image, bracketed text, autolink or raw HTML that
// runs across line breaks of a paragraph; nor in the rest of a paragraph after a backtick run that
// nothing in it closes, nor in a paragraph whose reading depends on which reference labels a
// reader folds together or on its version (odd HTML comments and declarations), nor below a
// nesting of more than 100 block quotes and list items. A file's code span is linked only where
// the reader sees that same span.
//
// Everything else is copied byte for byte: with no targets the result is `body`. Applying
// `autolink` to its own result changes nothing. Linear in the size of `body` and of the titles,
// files and hrefs; never fails on odd text.
std::string autolink(std::string_view body, std::span<const LinkTarget> links, std::string_view page_id);

// `body` with the text of each link "[text](href)" outside fenced and inline code, on one line and
// read as a link by a CommonMark reader (so not in indented code or an HTML block), replaced by the
// target's current title when `href` is exactly a target's href and `text` exactly one of that
// target's former titles (the first such target in list order). A target whose title `autolink`
// would refuse keeps its old link texts, and a text that is the current title of any target with
// that href is kept (two targets may share an href). Everything else is copied byte for byte.
//
//   refresh_link_texts("[CLI](cli.md) and `[CLI](cli.md)`", links) == "[Command line](cli.md) and `[CLI](cli.md)`"
std::string refresh_link_texts(std::string_view body, std::span<const LinkTarget> links);

// Link targets prepared once for `autolink` and `refresh_link_texts`. Preparing costs more than
// linking a page (for 1,000 targets about 1.4 ms, against 0.1 ms to link 20 KiB of prose), so a
// caller that links many pages against the same targets (every page of a wiki links against every
// other) prepares them once and links each page in time that depends on that page only. Keeps a view of `links`, which must outlive the index and stay unchanged.
// Immutable once built: several threads may use one index at once.
//
//   const LinkIndex index(targets);
//   for (Page& page : pages) page.body = index.autolink(index.refresh_link_texts(page.body), page.id);
class LinkIndex {
 public:
  explicit LinkIndex(std::span<const LinkTarget> links);
  ~LinkIndex();
  LinkIndex(LinkIndex&&) noexcept;
  LinkIndex& operator=(LinkIndex&&) noexcept;

  // What `autolink(body, links(), page_id)` returns.
  std::string autolink(std::string_view body, std::string_view page_id) const;
  // What `refresh_link_texts(body, links())` returns.
  std::string refresh_link_texts(std::string_view body) const;
  // The targets the index was built from.
  std::span<const LinkTarget> links() const noexcept;

  struct Data;  // the prepared matchers; defined where they are used

 private:
  std::unique_ptr<const Data> data_;
};

// The strings of the stored row's "former_titles" list, in order (other entries skipped); empty when
// `row` is null, not an object, or has no such list.
std::vector<std::string> former_titles(const StoredRow* row);

// The former titles of a page whose title is now `title`: `former` in order, then each entry of
// `shown` (titles the page was shown under) that is set, differs from `title` and is not listed
// yet. No entry equal to `title` is kept.
//
//   renamed({"A", "B"}, {"C", std::nullopt, "A", "T"}, "T") == {"A", "B", "C"}
std::vector<std::string> renamed(std::span<const std::string> former, std::span<const std::optional<std::string>> shown,
                                 std::string_view title);

namespace detail {

// Whether `path` ends in the extension of a source-code file, so that `autolink` also takes the
// path without that extension for the file: .c .h .cc .cpp .cxx .c++ .hh .hpp .hxx .h++ .ipp .inl
// .m .mm .cs .java .kt .kts .scala .groovy .go .rs .swift .py .pyi .rb .php .pl .pm .lua .js .jsx
// .mjs .cjs .ts .tsx .mts .cts .dart .ex .exs .erl .hrl .hs .ml .mli .fs .fsx .clj .cljs .el .jl
// .r .zig .nim .v .sv .vhd .sh .bash .zsh .fish .ps1 .sql .proto .vue .svelte, in any ASCII case.
// Only the last path segment counts, and a leading dot ("src/.bashrc") is no extension.
bool is_code_file(std::string_view path) noexcept;

// `links` prepared for linking, kept per thread for the next call: the pages of a wiki all link
// against the same targets, so `autolink`, `refresh_link_texts` and the page writer, called page
// after page, prepare them once. The targets are compared in full on every call (a copy is kept),
// so a changed list is always prepared anew. The reference is valid until the thread's next call.
const LinkIndex& recent_index(std::span<const LinkTarget> links);

}  // namespace detail

}  // namespace vantorel::workers::wiki
