#include "vantorel/workers/wiki/findings/findings.h"

namespace vantorel::workers::wiki {

std::string_view severity_name(Severity severity) noexcept {
  switch (severity) {
    case Severity::ERROR:
      return "error";
    case Severity::WARNING:
      return "warning";
    case Severity::NOTE:
      return "note";
  }
  return "note";
}

std::string to_text(const Finding& finding) {
  std::string out = finding.file;
  if (finding.line > 0) {
    out.append(":").append(std::to_string(finding.line));
    if (finding.column > 0) out.append(":").append(std::to_string(finding.column));
  }
  if (!out.empty()) out.append(": ");
  out.append(severity_name(finding.severity)).append(": ").append(finding.message);
  if (!finding.kind.empty()) out.append(" [").append(finding.kind).append("]");
  return out;
}

std::vector<Finding> in_file(std::vector<Finding> findings, std::string_view file) {
  for (Finding& finding : findings) finding.file = file;
  return findings;
}

}  // namespace vantorel::workers::wiki
