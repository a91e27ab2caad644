#include "vantorel/workers/wiki_types/wiki_types.h"

#include "vantorel/text/text.h"

namespace vantorel::workers {

namespace {

std::string comparable(std::string_view heading) { return text::fold_case(text::collapse_spaces(heading)); }

}  // namespace

const SectionSpec* diagram_slot(const PageType& page_type, std::string_view heading) {
  const auto slot = page_type.diagram_slots.find(std::string(heading));
  if (slot == page_type.diagram_slots.end()) return nullptr;
  return page_type.section(slot->second);
}

bool heading_matches(const SectionSpec& spec, std::string_view written) {
  const std::string wanted = comparable(written);
  if (comparable(spec.heading) == wanted) return true;
  for (const std::string& alias : spec.aliases) {
    if (comparable(alias) == wanted) return true;
  }
  return false;
}

}  // namespace vantorel::workers
