// What tests of changes to a library look at.
#ifndef TESTS_SUPPORT_LIBRARY_ROWS_H_
#define TESTS_SUPPORT_LIBRARY_ROWS_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/service_test.h"
#include "support/sql_literal.h"

class LibraryRowsTest : public ServiceTest {
 protected:
  // Every row as far as it does not depend on ids, on the clock, or on what a photo was called before (a
  // title made from a name is not told from one that somebody gave).
  std::vector<Row> Rows() const {
    return QueryAll(
        {"SELECT P.*, S.sharename AS in_album, R.sharename AS rights_of, 0 AS id, 0 AS shareid, 0 AS "
         "privilege_shareid, '' AS title, '' AS create_time FROM photo_image P LEFT JOIN photo_share S ON "
         "S.shareid = P.shareid LEFT JOIN photo_share R ON R.shareid = P.privilege_shareid ORDER BY P.path",
         "SELECT A.sharename, A.public, A.is_subdir, A.updated, A.conversion, R.sharename AS refers_to FROM "
         "photo_share A LEFT JOIN photo_share R ON R.shareid = A.ref_shareid ORDER BY A.sharename",
         "SELECT P.path, L.name, L.category, B.info, B.status FROM photo_image_label B JOIN photo_image P "
         "ON P.id = B.image_id JOIN photo_label L ON L.id = B.label_id ORDER BY P.path, L.category, L.name",
         "SELECT category, name FROM photo_label ORDER BY category, name"});
  }

  // The key of the file at PATH as a literal.
  std::string KeyLiteral(const std::string& path) const { return SqlLiteral(Key(path)); }
  std::string IdOf(const std::string& path) const {
    return Value("SELECT id FROM photo_image WHERE path = " + KeyLiteral(path));
  }
  std::string AlbumId(const std::string& name) const {
    return Value("SELECT shareid FROM photo_share WHERE sharename = '" + name + "'");
  }
  std::string Count() const { return Value("SELECT count(*) FROM photo_image"); }

  // A person whom somebody has named on a photo; no file knows of her.
  void NamePerson(const std::string& path, const std::string& person) const {
    // Merged, the people of a row would be made those of the file at every save.
    Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
    Query("INSERT INTO photo_label (category, name) VALUES (0, '" + person + "') ON CONFLICT DO NOTHING");
    Query(
        "INSERT INTO photo_image_label (image_id, label_id) SELECT P.id, L.id FROM photo_image P, "
        "photo_label L WHERE P.path = " +
        KeyLiteral(path) + " AND L.name = '" + person + "'");
  }
  std::string PersonOn(const std::string& path) const {
    return Value(
        "SELECT L.name FROM photo_image P JOIN photo_image_label B ON B.image_id = P.id JOIN "
        "photo_label L ON L.id = B.label_id WHERE L.category = 0 AND P.path = " +
        KeyLiteral(path));
  }
};

#endif  // TESTS_SUPPORT_LIBRARY_ROWS_H_
