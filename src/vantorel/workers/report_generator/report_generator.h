// Facts of repository files for reports and the catch-all page's file table.
//
//   file_facts("/repo", {"src/a.c", "gone.c"}) == {{.path = "src/a.c", .symbols = 4, .loc = 120}}
#pragma once

#include <filesystem>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "vantorel/workers/wiki_cluster/wiki_cluster.h"

namespace vantorel::workers {

// The facts of each of `paths` (repository paths relative to `repository`, a folder), in path
// order. A path that is not a readable regular file, is empty or names a file outside the
// repository (an absolute path, a ".." segment) is left out. Reads each file once.
//
// `loc` is the number of "\n" bytes, plus one when the file is not empty and does not end in "\n"
// ("" has 0 lines, "a" and "a\n" one). `symbols` estimates the definitions the file holds: the
// number of lines (split on "\n") that `detail::is_symbol_line` counts for the file's language.
std::vector<FileFacts> file_facts(const std::filesystem::path& repository, const std::set<std::string, std::less<>>& paths);

namespace detail {

// The languages whose definitions `file_facts` counts.
enum class Language { OTHER, C_FAMILY, PYTHON, RUST, GO, JAVASCRIPT, JAVA, KOTLIN };

// The language of `path` by its extension, in any ASCII case: C_FAMILY .c .h .cc .cpp .cxx .c++
// .hh .hpp .hxx .h++ .ipp .inl; PYTHON .py .pyi; RUST .rs; GO .go; JAVASCRIPT (and TypeScript)
// .js .jsx .mjs .cjs .ts .tsx .mts .cts; JAVA .java; KOTLIN .kt .kts; anything else OTHER.
Language language_of(std::string_view path);

// Whether `line` (one line, no "\n") starts a definition in `language`. "Indented" below means
// after any leading white space; a blank, tab or other white space separates the words.
//   C_FAMILY: at column 0, a function header: a line matching
//       [A-Za-z_][\w \t*&:<>,~]*\([^;]*\)(?:\s*(?:const|noexcept|override|final)\b)*\s*\{?\s*
//     whose first word is not a statement keyword (if, else, for, while, do, switch, return, case,
//     goto, sizeof); or, indented, "typedef" or "#define" ("# define"), or "struct", "class",
//     "enum" or "union" as a word, unless the line ends in ";" without holding "{" (a forward
//     declaration or a variable).
//   PYTHON: indented "def ", "async def ", "class ".
//   RUST: indented, after "pub" or "pub(...)" and any of "async", "const", "unsafe", "extern" or
//     'extern "C"': "fn", "struct", "enum", "trait" or "impl" as a word.
//   GO: indented "func " or "type ".
//   JAVASCRIPT: indented, after "export " or "export default ": "function" (or "async function"),
//     "class " (or "abstract class "), "interface ", "enum ", "type NAME =" or "type NAME<"; or
//     "export const|let|var "; or "const|let|var NAME = " then "(", "function" or "async".
//   JAVA: indented, after any modifiers (public, protected, private, static, final, abstract,
//     sealed, strictfp): "class ", "interface ", "enum ", "record ", "@interface "; or, after one
//     or more modifiers (public, protected, private, static, final, abstract, synchronized, native,
//     default), a type and a name up to "(", on a line without ";" (a method or constructor).
//   KOTLIN: indented, after any modifiers (public, private, protected, internal, open, abstract,
//     final, override, data, sealed, inline, value, suspend, enum, annotation, inner, companion,
//     operator, infix, tailrec, external): "fun", "class", "interface", "object" or "typealias" as
//     a word.
//   OTHER: never.
// Comments and strings are not recognised: a line inside a block comment that looks like a
// definition counts. Linear in the size of `line`.
bool is_symbol_line(Language language, std::string_view line);

}  // namespace detail

}  // namespace vantorel::workers
