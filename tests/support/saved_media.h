#ifndef TESTS_SUPPORT_SAVED_MEDIA_H_
#define TESTS_SUPPORT_SAVED_MEDIA_H_

#include <gmock/gmock.h>
#include <json/value.h>

#include <string>
#include <vector>

#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/request_context.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/sql_literal.h"

// A library whose files are saved as the indexing service does it.
class SavedMediaTest : public LibraryTest {
 protected:
  // What the service says of a file about which it knows nothing but its name.
  Json::Value Record(const std::string& relative) const {
    Json::Value info(Json::objectValue);
    info["szPath"] = Path(relative);
    info["szName"] = std::string(BaseName(relative));
    info["szTitle"] = std::string(BaseName(relative).substr(0, BaseName(relative).find('.')));
    return info;
  }
  int Save(PHOTO_TABLE_TYPE type, Json::Value info) const {
    EXPECT_EQ(HGAStatusCheck(info["szPath"].asCString()), 0);
    return PhotoInfoDBSave(type, &info);
  }
  int SavePhoto(const Json::Value& info) const { return Save(PHOTO_TABLE_IMAGE, info); }
  int SavePhoto(const char* relative) const { return SavePhoto(Record(relative)); }

  // The column of the file's only row in TABLE, "" without one.
  std::string Column(const std::string& table, const std::string& relative, const std::string& column) {
    const auto rows =
        Query("select " + column + " from " + table + " where path = " + SqlLiteral(Key(relative)));
    EXPECT_LE(rows.size(), 1U);
    return rows.empty() || rows.front().empty() ? "" : rows.front().begin()->second;
  }
  std::string Photo(const std::string& relative, const std::string& column) {
    return Column("photo_image", relative, column);
  }
  // The names of the photo's labels of a category, in order.
  std::vector<std::string> Labels(const std::string& relative, int category) {
    std::vector<std::string> names;
    for (const Row& row :
         Query("select name from photo_label join photo_image_label on label_id = photo_label.id where "
               "category = " +
               std::to_string(category) + " and image_id = " + Photo(relative, "id") + " order by name")) {
      names.push_back(row.at("name"));
    }
    return names;
  }
  void SwitchPeopleMerge(const std::string& value) {
    Run("delete from photo_config where config_key = 'ms_people_tag_merged'");
    Run("insert into photo_config (config_key, config_value) values ('ms_people_tag_merged', '" + value +
        "')");
  }
};

#endif  // TESTS_SUPPORT_SAVED_MEDIA_H_
