#include "vantorel/workers/wiki/types/types.h"

#include <stdexcept>

namespace vantorel::workers::wiki {

const PageType& plan_type(const PagePlan& plan) {
  if (const PageType* type = find_page_type(plan.type_id)) return *type;
  std::string message("page '");
  message.append(plan.page_id).append("': unknown page type '").append(plan.type_id).append("'");
  throw std::out_of_range(message);
}

}  // namespace vantorel::workers::wiki
