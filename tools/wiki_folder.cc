#include "wiki_folder.h"

#include <cassert>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_map>
#include <utility>

#include "errors.h"
#include "json_locations.h"

namespace vantorel::tools {

namespace {

using Json = nlohmann::ordered_json;

// A place in the document: its JSON pointer, for locations, and the name a message shows
// ("pages[2].title").
struct Path {
  std::string pointer;
  std::string name;

  Path member(std::string_view key) const {
    Path child{.pointer = pointer, .name = name};
    child.pointer.append("/").append(pointer_step(key));
    if (!child.name.empty()) child.name += '.';
    child.name.append(key);
    return child;
  }
  Path item(std::size_t index) const {
    Path child{.pointer = pointer, .name = name};
    child.pointer.append("/").append(std::to_string(index));
    child.name.append("[").append(std::to_string(index)).append("]");
    return child;
  }
};

std::string_view kind_of(const Json& value) {
  switch (value.type()) {
    case Json::value_t::object:
      return "an object";
    case Json::value_t::array:
      return "an array";
    case Json::value_t::string:
      return "a string";
    case Json::value_t::boolean:
      return "a boolean";
    case Json::value_t::null:
      return "null";
    default:
      return "a number";
  }
}

// `text` in single quotes, for messages; control characters are written as "\xNN", so that a NUL
// or a line break in a page id cannot cut a message short or split it.
std::string single_quoted(std::string_view text) {
  static constexpr char HEX[] = "0123456789ABCDEF";
  std::string out = "'";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      out.append("\\x").append(1, HEX[byte >> 4]).append(1, HEX[byte & 0xF]);
    } else {
      out += c;
    }
  }
  out += '\'';
  return out;
}

// Parses JSON, reporting a syntax error at its line and column.
Json parse_json(std::string_view text, std::string_view display) {
  try {
    return Json::parse(text);
  } catch (const Json::parse_error& e) {
    const Location at = location_of(text, e.byte == 0 ? 0 : e.byte - 1);
    std::string detail = e.what();
    // "[json.exception.parse_error.101] parse error at line 1, column 2: <detail>"
    if (const std::size_t colon = detail.find(": "); colon != std::string::npos) detail.erase(0, colon + 2);
    std::string message(display);
    message.append(":").append(std::to_string(at.line)).append(":").append(std::to_string(at.column));
    message.append(": not valid JSON: ").append(detail);
    throw InputError(message);
  }
}

// Reads one JSON document strictly, failing with the location of the offending value.
class Reader {
 public:
  Reader(std::string_view text, std::string_view display) : display_(display), where_(text) {}

  [[noreturn]] void fail_at(std::optional<Location> at, std::string_view message) const { throw InputError(prefixed(at, message)); }
  [[noreturn]] void fail(const Path& path, std::string_view message) const { fail_at(where_.value(path.pointer), message); }
  [[noreturn]] void fail_key(const Path& path, std::string_view message) const {
    fail_at(where_.key(path.pointer).has_value() ? where_.key(path.pointer) : where_.value(path.pointer), message);
  }
  std::string warning(const Path& path, std::string_view message) const { return prefixed(where_.value(path.pointer), message); }
  std::optional<Location> value_location(const Path& path) const { return where_.value(path.pointer); }
  const JsonLocations& locations() const { return where_; }

  [[noreturn]] void wrong_type(const Path& path, const Json& value, std::string_view expected) const {
    std::string message = path.name;
    message.append(" must be ").append(expected).append(", not ").append(kind_of(value));
    fail(path, message);
  }

  const Json& object(const Path& path, const Json& value) const {
    if (!value.is_object()) wrong_type(path, value, "an object");
    return value;
  }
  std::string string(const Path& path, const Json& value) const {
    if (!value.is_string()) wrong_type(path, value, "a string");
    return value.get<std::string>();
  }
  bool boolean(const Path& path, const Json& value) const {
    if (!value.is_boolean()) wrong_type(path, value, "true or false");
    return value.get<bool>();
  }
  std::vector<std::string> strings(const Path& path, const Json& value) const {
    if (!value.is_array()) wrong_type(path, value, "an array of strings");
    std::vector<std::string> out;
    out.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) out.push_back(string(path.item(i), value[i]));
    return out;
  }

  // Refuses every member of `value` whose key is not in `known`.
  void only_known(const Path& path, const Json& value, std::initializer_list<std::string_view> known) const {
    for (const auto& [key, member] : value.items()) {
      bool listed = false;
      for (std::string_view k : known) listed = listed || k == key;
      if (listed) continue;
      std::string message = path.name.empty() ? std::string("the top level") : path.name;
      message.append(" has an unknown field ").append(single_quoted(key)).append(" (known: ");
      bool first = true;
      for (std::string_view k : known) {
        if (!first) message.append(", ");
        message.append(k);
        first = false;
      }
      message.append(")");
      fail_key(path.member(key), message);
    }
  }

  // The member `key` of the object `value`, failing when a required one is missing.
  const Json* member(const Path& path, const Json& value, std::string_view key, bool required) const {
    const auto found = value.find(key);
    if (found != value.end()) return &*found;
    if (!required) return nullptr;
    std::string message = path.name.empty() ? std::string("the top level") : path.name;
    message.append(" lacks the required field ").append(single_quoted(key));
    fail(path, message);
  }

 private:
  std::string prefixed(std::optional<Location> at, std::string_view message) const {
    std::string out(display_);
    if (at) out.append(":").append(std::to_string(at->line)).append(":").append(std::to_string(at->column));
    out.append(": ").append(message);
    return out;
  }

  std::string display_;
  JsonLocations where_;
};

wiki::WikiConfig read_config(const Reader& reader, const Path& path, const Json& value) {
  reader.object(path, value);
  reader.only_known(path, value, {"diagrams", "sequence_diagrams"});
  wiki::WikiConfig config;
  if (const Json* diagrams = reader.member(path, value, "diagrams", false))
    config.diagrams = reader.boolean(path.member("diagrams"), *diagrams);
  if (const Json* sequence = reader.member(path, value, "sequence_diagrams", false)) {
    config.sequence_diagrams = reader.boolean(path.member("sequence_diagrams"), *sequence);
  }
  return config;
}

wiki::ImportMap read_imports(const Reader& reader, const Path& path, const Json& value) {
  reader.object(path, value);
  wiki::ImportMap imports;
  for (const auto& [file, imported] : value.items()) imports[file] = reader.strings(path.member(file), imported);
  return imports;
}

std::string known_types() {
  std::string out;
  for (const workers::PageType& type : workers::page_types()) {
    if (!out.empty()) out.append(", ");
    out.append(type.id);
  }
  return out;
}

PageEntry read_page(const Reader& reader, const Path& path, const Json& value) {
  reader.object(path, value);
  reader.only_known(path, value,
                    {"page_id", "title", "description", "type", "source_files", "catch_all", "children", "related_pages", "importance",
                     "grounding", "seeds"});
  PageEntry entry;
  wiki::PagePlan& plan = entry.plan;

  const Path id_path = path.member("page_id");
  plan.page_id = reader.string(id_path, *reader.member(path, value, "page_id", true));
  if (!is_plain_page_id(plan.page_id)) {
    std::string message = "page id ";
    message.append(single_quoted(plan.page_id)).append(" is not a plain file name (it must not be empty or hold '/', '\\', '..' or NUL)");
    reader.fail(id_path, message);
  }
  plan.title = reader.string(path.member("title"), *reader.member(path, value, "title", true));

  const Path type_path = path.member("type");
  plan.type_id = reader.string(type_path, *reader.member(path, value, "type", true));
  if (workers::find_page_type(plan.type_id) == nullptr) {
    std::string message = "unknown page type ";
    message.append(single_quoted(plan.type_id)).append(" (known: ").append(known_types()).append(")");
    reader.fail(type_path, message);
  }

  if (const Json* v = reader.member(path, value, "description", false)) plan.description = reader.string(path.member("description"), *v);
  if (const Json* v = reader.member(path, value, "source_files", false))
    plan.source_files = reader.strings(path.member("source_files"), *v);
  if (const Json* v = reader.member(path, value, "catch_all", false)) plan.catch_all = reader.boolean(path.member("catch_all"), *v);
  if (const Json* v = reader.member(path, value, "children", false)) plan.children = reader.strings(path.member("children"), *v);
  if (const Json* v = reader.member(path, value, "related_pages", false)) {
    plan.related_pages = reader.strings(path.member("related_pages"), *v);
  }
  if (const Json* v = reader.member(path, value, "importance", false)) plan.importance = reader.string(path.member("importance"), *v);
  if (const Json* v = reader.member(path, value, "grounding", false)) entry.grounding = reader.string(path.member("grounding"), *v);
  if (const Json* v = reader.member(path, value, "seeds", false)) {
    const Path seeds = path.member("seeds");
    if (!v->is_array()) reader.wrong_type(seeds, *v, "an array of citation objects");
    for (std::size_t i = 0; i < v->size(); ++i) entry.seeds.push_back(reader.object(seeds.item(i), (*v)[i]));
  }
  return entry;
}

// Warns about ids in `field` of page `index` that no page has.
void warn_unknown_ids(const Reader& reader, const Path& page, std::string_view field, std::span<const std::string> ids,
                      const std::unordered_map<std::string, std::size_t>& known, std::vector<std::string>& warnings) {
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (known.contains(ids[i])) continue;
    std::string message = page.member(field).item(i).name;
    message.append(": no page has the id ").append(single_quoted(ids[i]));
    warnings.push_back(reader.warning(page.member(field).item(i), message));
  }
}

}  // namespace

bool is_plain_page_id(std::string_view page_id) noexcept {
  return !page_id.empty() && page_id.find_first_of(std::string_view("/\\\0", 3)) == std::string_view::npos &&
         page_id.find("..") == std::string_view::npos;
}

WikiFile parse_wiki_json(std::string_view text, std::string_view display) {
  const Json document = parse_json(text, display);
  const Reader reader(text, display);
  if (const auto& repeated = reader.locations().repeated_key()) {
    const std::size_t slash = repeated->pointer.rfind('/');
    std::string message = "the key ";
    message.append(single_quoted(repeated->pointer.substr(slash + 1))).append(" appears twice in one object");
    reader.fail_at(repeated->key, message);
  }

  const Path root;
  reader.object(Path{.pointer = "", .name = "the top level"}, document);
  reader.only_known(root, document, {"config", "imports", "pages"});

  WikiFile wiki;
  if (const Json* config = reader.member(root, document, "config", false))
    wiki.config = read_config(reader, root.member("config"), *config);
  if (const Json* imports = reader.member(root, document, "imports", false))
    wiki.imports = read_imports(reader, root.member("imports"), *imports);

  const Path pages_path = root.member("pages");
  const Json& pages = *reader.member(root, document, "pages", true);
  if (!pages.is_array()) reader.wrong_type(pages_path, pages, "an array of page objects");

  std::unordered_map<std::string, std::size_t> first_use;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const Path page_path = pages_path.item(i);
    PageEntry entry = read_page(reader, page_path, pages[i]);
    const auto [at, fresh] = first_use.emplace(entry.plan.page_id, i);
    if (!fresh) {
      std::string message = "page id ";
      message.append(single_quoted(entry.plan.page_id)).append(" is used twice");
      if (const auto first = reader.value_location(pages_path.item(at->second).member("page_id"))) {
        message.append(" (first on line ").append(std::to_string(first->line)).append(")");
      }
      reader.fail(page_path.member("page_id"), message);
    }
    wiki.pages.push_back(std::move(entry));
  }
  for (std::size_t i = 0; i < wiki.pages.size(); ++i) {
    const wiki::PagePlan& plan = wiki.pages[i].plan;
    warn_unknown_ids(reader, pages_path.item(i), "children", plan.children, first_use, wiki.warnings);
    warn_unknown_ids(reader, pages_path.item(i), "related_pages", plan.related_pages, first_use, wiki.warnings);
  }
  return wiki;
}

StoredRows parse_manifest(std::string_view text, std::string_view display) {
  const Json document = parse_json(text, display);
  const Reader reader(text, display);
  const Path root{.pointer = "", .name = "the manifest"};
  reader.object(root, document);
  StoredRows rows;
  for (const auto& [page_id, row] : document.items()) {
    Path path = root;
    path.pointer.append("/").append(pointer_step(page_id));
    path.name = "the row of page ";
    path.name.append(single_quoted(page_id));
    rows.emplace(page_id, reader.object(path, row));
  }
  return rows;
}

std::string manifest_text(std::span<const PageEntry> pages, std::span<const wiki::FinalizedPage> finalized,
                          std::span<const wiki::LinkTarget> targets) {
  assert(pages.size() == finalized.size() && pages.size() == targets.size());
  Json manifest = Json::object();
  for (std::size_t i = 0; i < pages.size(); ++i) {
    assert(targets[i].page_id == pages[i].plan.page_id);
    const wiki::FinalizedPage& page = finalized[i];
    manifest[pages[i].plan.page_id] =
        Json{{"title", pages[i].plan.title},        {"summary", page.summary}, {"citations", page.citations},
             {"own_citations", page.own_citations}, {"outline", page.outline}, {"former_titles", targets[i].former}};
  }
  std::string text = manifest.dump(2, ' ', false, Json::error_handler_t::replace);
  text += '\n';
  return text;
}

}  // namespace vantorel::tools
