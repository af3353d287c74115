#ifndef TESTS_SUPPORT_COMPARABLE_EXPORT_H_
#define TESTS_SUPPORT_COMPARABLE_EXPORT_H_

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/service_test.h"

// What `export` has printed, but for what only that library knows: people named by hand, the titles of
// photos, which may have been made from an earlier name, and keywords that no photo has any more (the next
// delete takes them).
inline std::vector<std::string> ComparableExport(const std::string& printed) {
  std::vector<std::string> lines;
  std::map<std::string, std::string> keywords;
  std::set<std::string> carried;
  std::istringstream text(printed);
  for (std::string line; std::getline(text, line);) {
    Json::Value row = StrictJson(line + "\n");
    const std::string table = row["table"].asString();
    const bool person = (table == "photo_label" && row["category"].asInt() == 0) ||
                        (table == "photo_image_label" && row["label_category"].asInt() == 0);
    if (person || table == "photo_config") continue;
    if (table == "photo_image") row.removeMember("title");
    if (table == "photo_image_label") carried.insert(row["label_name"].asString());
    if (table == "photo_label") {
      keywords[row["name"].asString()] = row.toStyledString();
    } else {
      lines.push_back(row.toStyledString());
    }
  }
  std::erase_if(keywords, [&](const auto& keyword) { return !carried.contains(keyword.first); });
  for (const auto& [name, line] : keywords) lines.push_back(line);
  std::sort(lines.begin(), lines.end());
  return lines;
}

#endif  // TESTS_SUPPORT_COMPARABLE_EXPORT_H_
