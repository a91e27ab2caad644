#include "wiki_folder.h"

#include <cassert>
#include <nlohmann/json.hpp>
#include <optional>
#include <unordered_map>
#include <utility>

#include "errors.h"
#include "json_locations.h"
#include "vantorel/text/text.h"

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

// Builds the document as nlohmann's own reader does (a repeated key keeps its first place and takes
// the later value), but finds a key already in a large object through an index instead of a search
// through the object, so that a wiki.json or a manifest of thousands of pages reads in linear time.
class DocumentBuilder final : public nlohmann::json_sax<Json> {
 public:
  Json take() { return std::move(root_); }

  bool null() override { return value(nullptr); }
  bool boolean(bool b) override { return value(b); }
  bool number_integer(number_integer_t n) override { return value(n); }
  bool number_unsigned(number_unsigned_t n) override { return value(n); }
  bool number_float(number_float_t n, const string_t&) override { return value(n); }
  bool string(string_t& text) override { return value(std::move(text)); }
  bool binary(binary_t& bytes) override { return value(Json::binary(std::move(bytes))); }
  bool start_object(std::size_t) override { return open(Json::object()); }
  bool key(string_t& name) override {
    open_.back().key = std::move(name);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(Json::array()); }
  bool end_array() override { return close(); }
  bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception& e) override {
    if ((e.id / 100) % 100 == 4) throw *static_cast<const Json::out_of_range*>(&e);
    throw *static_cast<const Json::parse_error*>(&e);
  }

 private:
  static constexpr std::size_t INDEXED = 16;  // objects with more members than this get an index

  struct Open {
    Json* container = nullptr;
    std::string key{};                                        // the key of the member being read
    std::unordered_map<std::string, std::size_t> at{};  // key -> member, once the object is large
  };

  // Adds `v` to the innermost open container (or makes it the document) and returns where it is.
  Json* place(Json&& v) {
    if (open_.empty()) {
      root_ = std::move(v);
      return &root_;
    }
    Open& top = open_.back();
    if (top.container->is_array()) {
      top.container->push_back(std::move(v));
      return &top.container->back();
    }
    auto& members = static_cast<std::vector<std::pair<const std::string, Json>>&>(top.container->get_ref<Json::object_t&>());
    std::size_t found = members.size();
    if (members.size() <= INDEXED) {
      for (std::size_t i = 0; i < members.size(); ++i) {
        if (members[i].first == top.key) found = i;
      }
    } else if (const auto hit = top.at.find(top.key); hit != top.at.end()) {
      found = hit->second;
    }
    if (found < members.size()) {
      members[found].second = std::move(v);
      return &members[found].second;
    }
    members.emplace_back(std::move(top.key), std::move(v));
    if (members.size() == INDEXED + 1) {
      for (std::size_t i = 0; i < members.size(); ++i) top.at.emplace(members[i].first, i);
    } else if (members.size() > INDEXED + 1) {
      top.at.emplace(members.back().first, members.size() - 1);
    }
    return &members.back().second;
  }

  bool value(Json&& v) {
    place(std::move(v));
    return true;
  }
  bool open(Json&& container) {
    Json* placed = place(std::move(container));
    open_.push_back(Open{.container = placed});
    return true;
  }
  bool close() {
    open_.pop_back();
    return true;
  }

  Json root_;
  std::vector<Open> open_;
};

// Parses JSON, reporting a syntax error at its line and column.
Json parse_json(std::string_view text, std::string_view display) {
  try {
    DocumentBuilder builder;
    Json::sax_parse(text, &builder);
    return builder.take();
  } catch (const Json::parse_error& e) {
    const Location at = location_of(text, e.byte == 0 ? 0 : e.byte - 1);
    std::string detail = e.what();
    // "[json.exception.parse_error.101] parse error at line 1, column 2: <detail>"
    if (const std::size_t colon = detail.find(": "); colon != std::string::npos) detail.erase(0, colon + 2);
    throw InputError(display, "invalid-json", "not valid JSON: " + detail, at.line, at.column);
  }
}

// Reads one JSON document strictly, failing with the location of the offending value.
class Reader {
 public:
  Reader(std::string_view text, std::string_view display) : display_(display), text_(text) {}

  [[noreturn]] void fail_at(std::optional<Location> at, std::string_view kind, std::string_view message) const {
    throw InputError(finding(at, wiki::Severity::ERROR, kind, message));
  }
  [[noreturn]] void fail(const Path& path, std::string_view kind, std::string_view message) const {
    fail_at(where().value(path.pointer), kind, message);
  }
  [[noreturn]] void fail_key(const Path& path, std::string_view kind, std::string_view message) const {
    fail_at(where().key(path.pointer).has_value() ? where().key(path.pointer) : where().value(path.pointer), kind, message);
  }
  wiki::Finding warning(const Path& path, std::string_view kind, std::string_view message) const {
    return finding(where().value(path.pointer), wiki::Severity::WARNING, kind, message);
  }
  std::optional<Location> value_location(const Path& path) const { return where().value(path.pointer); }
  // Where every value and key of the text stands; indexed on first use, since a text read without
  // a message never needs it.
  const JsonLocations& where() const {
    if (!where_) where_.emplace(text_);
    return *where_;
  }

  [[noreturn]] void wrong_type(const Path& path, const Json& value, std::string_view expected) const {
    std::string message = path.name;
    message.append(" must be ").append(expected).append(", not ").append(kind_of(value));
    fail(path, "wrong-type", message);
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
      fail_key(path.member(key), "unknown-field", message);
    }
  }

  // The member `key` of the object `value`, failing when a required one is missing.
  const Json* member(const Path& path, const Json& value, std::string_view key, bool required) const {
    const auto found = value.find(key);
    if (found != value.end()) return &*found;
    if (!required) return nullptr;
    std::string message = path.name.empty() ? std::string("the top level") : path.name;
    message.append(" lacks the required field ").append(single_quoted(key));
    fail(path, "missing-field", message);
  }

 private:
  wiki::Finding finding(std::optional<Location> at, wiki::Severity severity, std::string_view kind, std::string_view message) const {
    return wiki::Finding{.file = display_,
                         .line = at ? at->line : 0,
                         .column = at ? at->column : 0,
                         .severity = severity,
                         .kind = std::string(kind),
                         .message = std::string(message)};
  }

  std::string display_;
  std::string_view text_;
  mutable std::optional<JsonLocations> where_;
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

// What keeps `title` from being written as a page's H1 and read back the same, as a phrase, or ""
// when nothing does.
std::string_view title_problem(std::string_view title) {
  if (title.empty()) return "is empty";
  if (title.find_first_of("\r\n") != std::string_view::npos) return "holds a line break";
  if (text::space_at(title, 0) != 0) return "starts with white space";
  if (text::space_before(title, title.size()) != 0) return "ends with white space";
  return {};
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
    message.append(single_quoted(plan.page_id))
        .append(" is not a plain file name (it must not be empty or hold '/', '\\', '..', '[', ']', NUL or a line break)");
    reader.fail(id_path, "bad-page-id", message);
  }
  const Path title_path = path.member("title");
  plan.title = reader.string(title_path, *reader.member(path, value, "title", true));
  if (const std::string_view problem = title_problem(plan.title); !problem.empty()) {
    reader.fail(title_path, "bad-title", title_path.name + " " + std::string(problem) + "; the title is the page's H1, which a finished page must read back as it is");
  }

  const Path type_path = path.member("type");
  plan.type_id = reader.string(type_path, *reader.member(path, value, "type", true));
  if (workers::find_page_type(plan.type_id) == nullptr) {
    std::string message = "unknown page type ";
    message.append(single_quoted(plan.type_id)).append(" (known: ").append(known_types()).append(")");
    reader.fail(type_path, "unknown-page-type", message);
  }

  if (const Json* v = reader.member(path, value, "description", false)) plan.description = reader.string(path.member("description"), *v);
  if (const Json* v = reader.member(path, value, "source_files", false)) {
    const Path files = path.member("source_files");
    plan.source_files = reader.strings(files, *v);
    for (std::size_t i = 0; i < plan.source_files.size(); ++i) {
      if (plan.source_files[i].find_first_of("\r\n") == std::string::npos) continue;
      reader.fail(files.item(i), "bad-path", files.item(i).name + " holds a line break; a path is one line of the page's source list");
    }
  }
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
                      const std::unordered_map<std::string, std::size_t>& known, std::vector<wiki::Finding>& warnings) {
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (known.contains(ids[i])) continue;
    std::string message = page.member(field).item(i).name;
    message.append(": no page has the id ").append(single_quoted(ids[i]));
    warnings.push_back(reader.warning(page.member(field).item(i), "unknown-page-id", message));
  }
}

}  // namespace

bool is_plain_page_id(std::string_view page_id) noexcept {
  return !page_id.empty() && page_id.find_first_of(std::string_view("/\\\0\r\n[]", 7)) == std::string_view::npos &&
         page_id.find("..") == std::string_view::npos;
}

WikiFile parse_wiki_json(std::string_view text, std::string_view display) {
  const Json document = parse_json(text, display);
  const Reader reader(text, display);
  const JsonLocations keys(text, JsonLocations::Index::REPEATED_KEY);
  if (const auto& repeated = keys.repeated_key()) {
    const std::size_t slash = repeated->pointer.rfind('/');
    std::string message = "the key ";
    message.append(single_quoted(repeated->pointer.substr(slash + 1))).append(" appears twice in one object");
    reader.fail_at(repeated->key, "duplicate-key", message);
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
      reader.fail(page_path.member("page_id"), "duplicate-page-id", message);
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
                          std::span<const wiki::LinkTarget> targets, std::span<const std::vector<std::string>> blocks) {
  assert(pages.size() == finalized.size() && pages.size() == targets.size() && pages.size() == blocks.size());
  Json manifest = Json::object();
  // Page ids are unique, so rows are appended without looking for their key first.
  auto& rows = static_cast<std::vector<std::pair<const std::string, Json>>&>(manifest.get_ref<Json::object_t&>());
  rows.reserve(pages.size());
  for (std::size_t i = 0; i < pages.size(); ++i) {
    assert(targets[i].page_id == pages[i].plan.page_id);
    const wiki::FinalizedPage& page = finalized[i];
    rows.emplace_back(pages[i].plan.page_id,
                      Json{{"title", pages[i].plan.title},        {"summary", page.summary}, {"citations", page.citations},
                           {"own_citations", page.own_citations}, {"outline", page.outline}, {"former_titles", targets[i].former},
                           {"blocks", blocks[i]}});
  }
  std::string text = manifest.dump(2, ' ', false, Json::error_handler_t::replace);
  text += '\n';
  return text;
}

}  // namespace vantorel::tools
