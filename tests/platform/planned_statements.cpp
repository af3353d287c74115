#include "platform/planned_statements.h"

#include <algorithm>

namespace {

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// As the template builder does: SQLite has no escape of its own.
std::string WithPatterns(std::string text, Engine engine) {
  const std::string placeholder = "@KAVO:LVAR";
  for (std::size_t at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, at)) {
    text.replace(at, placeholder.size(), "1");
    if (engine == Engine::kSqlite) text.insert(text.find('\'', at) + 1, " ESCAPE '\\'");
  }
  return text;
}

}  // namespace

std::vector<std::string> Filled(const std::string& text, Engine engine) {
  std::string filled = WithPatterns(text, engine);
  for (const char* value : {"@KAVO:VAR", "@KAVO:INT", "@KAVO:LLINT"}) filled = Replaced(filled, value, "1");
  filled = Replaced(filled, "PRAGMA case_sensitive_like=true;", "");
  std::vector<std::string> statements;
  for (std::size_t at = 0; at < filled.size();) {
    const std::size_t end = std::min(filled.find(';', at), filled.size());
    const std::string statement = filled.substr(at, end - at);
    if (statement.find_first_not_of(' ') != std::string::npos) statements.push_back(statement);
    at = end + 1;
  }
  return statements;
}

std::string Formatted(const std::string& format, const std::vector<std::string>& values) {
  std::string text = format;
  std::size_t at = 0;
  for (const std::string& value : values) {
    at = text.find('%', at);
    while (text.at(at + 1) == '%') at = text.find('%', at + 2);
    text.replace(at, 2, value);
    at += value.size();
  }
  return Replaced(text, "%%", "%");
}

std::string Named(const std::string& text, const std::vector<std::string>& names) {
  const std::string placeholder = "@KAVO:NEVAR";
  std::string named = text;
  std::size_t at = 0;
  for (const std::string& name : names) {
    at = named.find(placeholder, at);
    named.replace(at, placeholder.size(), name);
    at += name.size();
  }
  return named;
}

std::string Where(const std::string& table, const std::string& condition) {
  return "SELECT * FROM " + table + " WHERE " + condition;
}
