#include "vantorel/workers/wiki/repo_facts/repo_facts.h"

#include <cstring>

namespace vantorel::workers::wiki {

std::string lf(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  std::size_t i = 0;
  while (i < text.size()) {
    const void* hit = std::memchr(text.data() + i, '\r', text.size() - i);
    const std::size_t cr = hit == nullptr ? text.size() : static_cast<std::size_t>(static_cast<const char*>(hit) - text.data());
    out.append(text.substr(i, cr - i));
    if (cr == text.size()) break;
    out += '\n';
    i = cr + 1;
    if (i < text.size() && text[i] == '\n') ++i;
  }
  return out;
}

std::string _norm(std::string_view path) {
  std::string out;
  out.reserve(path.size());
  for (char c : path) {
    if (c == '\\') c = '/';
    if (c == '/' && !out.empty() && out.back() == '/') continue;
    out += c;
  }
  std::size_t start = 0;
  for (;;) {
    if (out.compare(start, 1, "/") == 0) {
      start += 1;
    } else if (out.compare(start, 2, "./") == 0) {
      start += 2;
    } else {
      break;
    }
  }
  out.erase(0, start);
  if (!out.empty() && out.back() == '/') out.pop_back();
  return out;
}

std::string _repo_rel_link(std::string_view path) {
  std::string out = "../";
  out.reserve(path.size() + 3);
  for (char c : path) {
    switch (c) {
      case ' ':
        out += "%20";
        break;
      case '(':
        out += "%28";
        break;
      case ')':
        out += "%29";
        break;
      default:
        out += c;
    }
  }
  return out;
}

}  // namespace vantorel::workers::wiki
