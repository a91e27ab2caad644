// The safe loader: libyaml's events composed into a `Node` tree.
//
// Events build a flat table of slots first, one per node written in the text. An alias does not
// copy anything there: its parent refers to the anchored slot a second time, and the slot's
// counts (nodes, bytes, height of the tree it stands for) are charged against the alias bounds
// before that, so an alias bomb is refused after a few thousand events. The tree is built from
// the table at the end, with recursion bounded by `MAX_DEPTH`.
#include <yaml.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "vantorel/yaml/yaml.h"

namespace vantorel::yaml {

namespace {

constexpr std::string_view STANDARD_TAG_PREFIX = "tag:yaml.org,2002:";
constexpr std::array<std::string_view, 14> STANDARD_TAGS = {"null",  "bool", "int", "float", "binary", "timestamp", "omap",
                                                            "pairs", "set",  "str", "seq",   "map",    "merge",     "value"};

bool is_allowed_tag(std::string_view tag) {
  if (tag == "!") return true;
  if (!tag.starts_with(STANDARD_TAG_PREFIX)) return false;
  tag.remove_prefix(STANDARD_TAG_PREFIX.size());
  return std::find(STANDARD_TAGS.begin(), STANDARD_TAGS.end(), tag) != STANDARD_TAGS.end();
}

bool is_null_spelling(std::string_view text) { return text.empty() || text == "~" || text == "null" || text == "Null" || text == "NULL"; }

std::string_view view(const yaml_char_t* s) {
  return s == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(s));
}

// "line:column: " for a libyaml position.
std::string position(const yaml_mark_t& mark) {
  std::string out = std::to_string(mark.line + 1);
  out.append(":").append(std::to_string(mark.column + 1)).append(": ");
  return out;
}

// "<what> more than <bound><unit>", for the messages of the bounds.
std::string beyond(std::string_view what, std::size_t bound, std::string_view unit) {
  std::string out(what);
  out.append(" more than ").append(std::to_string(bound)).append(unit);
  return out;
}

[[noreturn]] void fail(const yaml_mark_t& mark, std::string_view problem) {
  std::string message = position(mark);
  message.append(problem);
  throw ParseError(message);
}

// Owns a libyaml parser reading `text`.
class Parser {
 public:
  explicit Parser(std::string_view text) {
    if (!yaml_parser_initialize(&parser_)) throw std::bad_alloc();
    // libyaml wants a non-null pointer even for an empty input.
    static const unsigned char EMPTY = 0;
    const auto* bytes = text.empty() ? &EMPTY : reinterpret_cast<const unsigned char*>(text.data());
    yaml_parser_set_input_string(&parser_, bytes, text.size());
    // Never guess the encoding from a byte-order mark: FF FE is not UTF-16 here.
    yaml_parser_set_encoding(&parser_, YAML_UTF8_ENCODING);
  }
  ~Parser() { yaml_parser_delete(&parser_); }
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;

  // Fills `event` with the next event, or throws what libyaml reported.
  void next(yaml_event_t& event) {
    if (yaml_parser_parse(&parser_, &event)) return;
    if (parser_.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
    std::string message;
    if (parser_.error == YAML_READER_ERROR) {
      message.append("byte ").append(std::to_string(parser_.problem_offset)).append(": ");
    } else {
      message = position(parser_.problem_mark);
    }
    message.append(parser_.problem != nullptr ? parser_.problem : "malformed YAML");
    if (parser_.context != nullptr) {
      message.append(" (").append(parser_.context).append(" at ");
      message.append(std::to_string(parser_.context_mark.line + 1)).append(":");
      message.append(std::to_string(parser_.context_mark.column + 1)).append(")");
    }
    throw ParseError(message);
  }

 private:
  yaml_parser_t parser_{};
};

// Owns one event.
struct Event {
  yaml_event_t event{};
  Event() = default;
  ~Event() { yaml_event_delete(&event); }
  Event(const Event&) = delete;
  Event& operator=(const Event&) = delete;
};

// One node as written in the text.
struct Slot {
  Kind kind = Kind::NULL_VALUE;
  std::string text{};                   // a scalar's text
  bool plain = false;                   // a scalar in plain style
  std::vector<std::size_t> children{};  // a sequence's items, or a mapping's key, value, key, value...
  std::size_t nodes = 1;                // nodes of the tree the slot stands for, aliases expanded
  std::size_t bytes = 0;                // scalar bytes of that tree
  std::size_t height = 0;               // collections nested in that tree, the slot's own included
  bool aliased = false;                 // an alias refers to it: its tree is built more than once
};

// A collection whose end event has not come yet.
struct Frame {
  std::size_t slot = 0;
  std::optional<std::string> anchor{};                         // defined once the collection is complete
  std::optional<std::size_t> pending_key{};                    // a mapping's key that waits for its value
  std::unordered_map<std::string, std::size_t> scalar_keys{};  // a mapping's scalar key texts -> index of the key in `children`
  std::optional<std::size_t> null_key{};                       // index of the null key in `children`
};

class Builder {
 public:
  // Takes one event; returns false once the stream has ended.
  bool take(const yaml_event_t& e) {
    switch (e.type) {
      case YAML_STREAM_START_EVENT:
      case YAML_DOCUMENT_END_EVENT:
      case YAML_NO_EVENT:
        return true;
      case YAML_STREAM_END_EVENT:
        return false;
      case YAML_DOCUMENT_START_EVENT:
        if (++documents_ > 1) fail(e.start_mark, "more than one document");
        return true;
      case YAML_ALIAS_EVENT:
        alias(e);
        return true;
      case YAML_SCALAR_EVENT:
        scalar(e);
        return true;
      case YAML_SEQUENCE_START_EVENT:
        start(e, Kind::SEQUENCE, e.data.sequence_start.tag, e.data.sequence_start.anchor);
        return true;
      case YAML_MAPPING_START_EVENT:
        start(e, Kind::MAPPING, e.data.mapping_start.tag, e.data.mapping_start.anchor);
        return true;
      case YAML_SEQUENCE_END_EVENT:
      case YAML_MAPPING_END_EVENT:
        end(e);
        return true;
    }
    return true;
  }

  Node finish() {
    if (!root_) return Node{};
    return build(*root_, false);
  }

 private:
  static void check_tag(const yaml_event_t& e, const yaml_char_t* tag) {
    if (tag == nullptr || is_allowed_tag(view(tag))) return;
    std::string problem = "tag '";
    problem.append(view(tag)).append("' is not allowed");
    fail(e.start_mark, problem);
  }

  void define(std::optional<std::string> anchor, std::size_t slot) {
    if (anchor) anchors_.insert_or_assign(std::move(*anchor), slot);
  }

  static std::optional<std::string> anchor_of(const yaml_char_t* anchor) {
    if (anchor == nullptr) return std::nullopt;
    return std::string(view(anchor));
  }

  void scalar(const yaml_event_t& e) {
    const auto& s = e.data.scalar;
    check_tag(e, s.tag);
    const std::string_view value(reinterpret_cast<const char*>(s.value), s.length);
    const bool plain = s.style == YAML_PLAIN_SCALAR_STYLE;
    Slot slot;
    if ((plain && s.tag == nullptr && is_null_spelling(value)) || view(s.tag) == "tag:yaml.org,2002:null") {
      slot.kind = Kind::NULL_VALUE;
    } else {
      slot.kind = Kind::SCALAR;
      slot.text.assign(value);
      slot.plain = plain;
      slot.bytes = value.size();
    }
    slots_.push_back(std::move(slot));
    define(anchor_of(s.anchor), slots_.size() - 1);
    add(e, slots_.size() - 1);
  }

  void start(const yaml_event_t& e, Kind kind, const yaml_char_t* tag, const yaml_char_t* anchor) {
    check_tag(e, tag);
    if (is_key_position()) fail(e.start_mark, "a mapping key must be a scalar");
    if (frames_.size() >= MAX_DEPTH) fail(e.start_mark, beyond("collections nested", MAX_DEPTH, " deep"));
    slots_.push_back(Slot{.kind = kind});
    frames_.push_back(Frame{.slot = slots_.size() - 1, .anchor = anchor_of(anchor)});
  }

  void end(const yaml_event_t& e) {
    Frame frame = std::move(frames_.back());
    frames_.pop_back();
    Slot& slot = slots_[frame.slot];
    slot.nodes = 1;
    slot.bytes = 0;
    slot.height = 1;
    for (std::size_t child : slot.children) {
      slot.nodes += slots_[child].nodes;
      slot.bytes += slots_[child].bytes;
      slot.height = std::max(slot.height, slots_[child].height + 1);
    }
    define(std::move(frame.anchor), frame.slot);
    add(e, frame.slot);
  }

  void alias(const yaml_event_t& e) {
    const auto found = anchors_.find(std::string(view(e.data.alias.anchor)));
    if (found == anchors_.end()) {
      std::string problem = "undefined alias '";
      problem.append(view(e.data.alias.anchor)).append("'");
      fail(e.start_mark, problem);
    }
    Slot& slot = slots_[found->second];
    if (is_key_position() && slot.kind != Kind::NULL_VALUE && slot.kind != Kind::SCALAR)
      fail(e.start_mark, "a mapping key must be a scalar");
    alias_nodes_ += slot.nodes;
    alias_bytes_ += slot.bytes;
    if (alias_nodes_ > MAX_ALIAS_NODES) fail(e.start_mark, beyond("aliases expand to", MAX_ALIAS_NODES, " nodes"));
    if (alias_bytes_ > MAX_ALIAS_BYTES) fail(e.start_mark, beyond("aliases expand to", MAX_ALIAS_BYTES, " bytes"));
    if (frames_.size() + slot.height > MAX_DEPTH) fail(e.start_mark, beyond("collections nested", MAX_DEPTH, " deep"));
    slot.aliased = true;
    add(e, found->second);
  }

  bool is_key_position() const {
    return !frames_.empty() && slots_[frames_.back().slot].kind == Kind::MAPPING && !frames_.back().pending_key;
  }

  // Hands a complete node to the open collection, or makes it the document.
  void add(const yaml_event_t& e, std::size_t index) {
    if (frames_.empty()) {
      root_ = index;
      return;
    }
    Frame& frame = frames_.back();
    std::vector<std::size_t>& children = slots_[frame.slot].children;
    if (slots_[frame.slot].kind == Kind::SEQUENCE) {
      children.push_back(index);
      return;
    }
    if (!frame.pending_key) {
      if (slots_[index].kind != Kind::NULL_VALUE && slots_[index].kind != Kind::SCALAR)
        fail(e.start_mark, "a mapping key must be a scalar");
      frame.pending_key = index;
      return;
    }
    const std::size_t key = *frame.pending_key;
    frame.pending_key.reset();
    std::optional<std::size_t> earlier;  // where an equal key sits in `children`
    if (slots_[key].kind == Kind::SCALAR) {
      const auto [it, inserted] = frame.scalar_keys.try_emplace(slots_[key].text, children.size());
      if (!inserted) earlier = it->second;
    } else if (frame.null_key) {
      earlier = frame.null_key;
    } else {
      frame.null_key = children.size();
    }
    if (earlier) {
      children[*earlier + 1] = index;  // the later value wins, in the earlier entry's place
    } else {
      children.push_back(key);
      children.push_back(index);
    }
  }

  Node build(std::size_t index, bool shared) {
    Slot& slot = slots_[index];
    shared = shared || slot.aliased;
    Node node;
    node.kind = slot.kind;
    node.plain = slot.plain;
    node.text = shared ? slot.text : std::move(slot.text);
    if (slot.kind == Kind::SEQUENCE) {
      node.items.reserve(slot.children.size());
      for (std::size_t child : slot.children) node.items.push_back(build(child, shared));
    } else if (slot.kind == Kind::MAPPING) {
      node.entries.reserve(slot.children.size() / 2);
      for (std::size_t i = 0; i + 1 < slot.children.size(); i += 2) {
        node.entries.push_back(Node::Entry{.key = build(slot.children[i], shared), .value = build(slot.children[i + 1], shared)});
      }
    }
    return node;
  }

  std::vector<Slot> slots_;
  std::vector<Frame> frames_;
  std::unordered_map<std::string, std::size_t> anchors_;
  std::optional<std::size_t> root_;
  std::size_t documents_ = 0;
  std::size_t alias_nodes_ = 0;  // nodes aliases added so far
  std::size_t alias_bytes_ = 0;  // scalar bytes aliases added so far
};

}  // namespace

Node load(std::string_view text) {
  Parser parser(text);
  Builder builder;
  while (true) {
    Event event;
    parser.next(event.event);
    if (!builder.take(event.event)) break;
  }
  return builder.finish();
}

const Node* find(const Node& mapping, std::string_view key) {
  if (mapping.kind != Kind::MAPPING) return nullptr;
  for (const Node::Entry& entry : mapping.entries) {
    if (entry.key.kind == Kind::SCALAR && entry.key.text == key) return &entry.value;
  }
  return nullptr;
}

}  // namespace vantorel::yaml
