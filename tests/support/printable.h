// Test output for texts with odd bytes: every byte outside printable ASCII as \xHH.
#pragma once

#include <string>
#include <string_view>

namespace vantorel::test_support {

// `s` with every byte outside printable ASCII (and the backslash) written as \xHH, cut short
// after `limit` bytes.
inline std::string printable(std::string_view s, std::size_t limit = 400) {
  std::string out;
  for (std::size_t i = 0; i < s.size() && i < limit; ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c >= 0x20 && c < 0x7F && c != '\\') {
      out.push_back(static_cast<char>(c));
    } else {
      out.append("\\x");
      out.push_back("0123456789ABCDEF"[c >> 4]);
      out.push_back("0123456789ABCDEF"[c & 0xF]);
    }
  }
  if (s.size() > limit) out.append("... (").append(std::to_string(s.size())).append(" bytes)");
  return out;
}

}  // namespace vantorel::test_support
