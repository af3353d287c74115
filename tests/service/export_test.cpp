#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "database/library_tables.h"
#include "support/hostile_names.h"
#include "support/media_maker.h"
#include "support/service_test.h"

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

class ExportTest : public ServiceTest {
 protected:
  std::string Export(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"export", folder()};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const RunResult result = Run(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
  // The objects of one table, each strict JSON.
  std::vector<Json::Value> Objects(const std::string& table, const std::vector<std::string>& more = {}) {
    std::vector<Json::Value> objects;
    std::istringstream lines(Export(more));
    for (std::string line; std::getline(lines, line);) {
      const Json::Value object = StrictJson(line + "\n");
      if (object["table"].asString() == table) objects.push_back(object);
    }
    return objects;
  }
  void EmptyLibrary() {
    fs::create_directory(folder());
    Index();
    Query("DELETE FROM photo_config");  // nor the default settings
  }
  void MakeTree() {
    for (int i = 0; i < 40; ++i) {
      const std::string name =
          "f" + std::to_string(i % 7) + "/s" + std::to_string(i % 3) + "/" + std::to_string(i);
      MakeJpeg(File(name + ".jpg"), 8, 8, {{"Iptc.Application2.Keywords", "k" + std::to_string(i % 5)}});
    }
  }
};

TEST_F(ExportTest, EveryColumnOfEveryTableOfTheSchemaTakesPart) {
  EmptyLibrary();
  std::map<std::string, std::set<std::string>> expected;
  for (const Row& row :
       Query("SELECT M.name AS t, C.name AS c FROM sqlite_master M, pragma_table_info(M.name) C "
             "WHERE M.type = 'table' AND M.name NOT LIKE 'sqlite%' AND M.name <> 'lumivault_fact'")) {
    expected[row.at("t")].insert(row.at("c"));
  }
  std::map<std::string, std::set<std::string>> described;
  Lines names;
  for (const LibraryTable& table : LibraryTables()) {
    names.emplace_back(table.name);
    for (const Column& column : table.columns) described[table.name].insert(column.name);
  }
  EXPECT_EQ(described, expected);
  EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST_F(ExportTest, ARowOfEveryTableComesOut) {
  EmptyLibrary();
  for (const LibraryTable& table : LibraryTables()) {
    std::string columns;
    std::string values;
    for (const Column& column : table.columns) {
      columns += (columns.empty() ? "" : ", ") + std::string(column.name);
      values += (values.empty() ? "" : ", ") + std::string(column.number() ? "1" : "'x'");
    }
    Query(std::string("INSERT OR IGNORE INTO ") + table.name + " (" + columns + ") VALUES (" + values + ")");
  }
  for (const LibraryTable& table : LibraryTables()) {
    const std::vector<Json::Value> objects = Objects(table.name, {"--with-ids"});
    ASSERT_EQ(objects.size(), 1U) << table.name;
    for (const Column& column : table.columns) EXPECT_TRUE(objects[0].isMember(column.name)) << column.name;
  }
}

TEST_F(ExportTest, TheNumberOfWorkersAndASecondRunDoNotShow) {
  MakeTree();
  Index({"-j", "1"});
  const std::string one = Export();
  EXPECT_GE(std::count(one.begin(), one.end(), '\n'), 40 + 40 + 28 + 5);
  const std::vector<Json::Value> photos = Objects("photo_image", {"--with-ids"});
  Index({"-j", "1"});
  EXPECT_EQ(Export(), one);
  EXPECT_EQ(Objects("photo_image", {"--with-ids"}), photos);
  ForgetLibrary();
  Index({"-j", "2"});
  EXPECT_EQ(Export(), one);
}

TEST_F(ExportTest, TheWayToALibraryDoesNotShow) {
  MakeTree();
  fs::rename(File("f3"), scratch() / "later");
  Index({"-j", "2"});
  fs::rename(scratch() / "later", File("f3"));
  fs::rename(File("f1"), scratch() / "f1");
  Index({"-j", "1"});
  fs::rename(scratch() / "f1", File("f1"));
  Index({"-j", "2"});
  const std::string in_parts = Export();
  for (const char* workers : {"1", "2"}) {
    EXPECT_EQ(Run({"reindex", folder(), "--quiet", "-j", workers}).status, 0);
    EXPECT_EQ(Export(), in_parts) << "reindex -j " << workers;
    ForgetLibrary();
    Index({"-j", workers});
    EXPECT_EQ(Export(), in_parts) << "index -j " << workers;
  }
}

TEST_F(ExportTest, OtherIdsShowOnlyWithIds) {
  MakeTree();
  Index();
  Query(
      "INSERT INTO photo_access_right VALUES (1000, (SELECT shareid FROM photo_share WHERE sharename = "
      "'f1'), 't1')");
  const std::string before = Export();
  const std::string ids = Export({"--with-ids"});
  Query("PRAGMA foreign_keys = OFF");
  for (const char* sql :
       {"UPDATE photo_image SET id = id + 1000, shareid = shareid + 50, privilege_shareid = "
        "privilege_shareid + 50",
        "UPDATE photo_share SET shareid = shareid + 50, ref_shareid = ref_shareid + 50",
        "UPDATE photo_access_right SET shareid = shareid + 50, time = 't2'",
        "UPDATE photo_label SET id = id + 70",
        "UPDATE photo_image_label SET id = id + 500, image_id = image_id + 1000, label_id = label_id + 70"}) {
    Query(sql);
  }
  EXPECT_EQ(Export(), before);
  EXPECT_NE(Export({"--with-ids"}), ids);
}

TEST_F(ExportTest, IdsGiveWayToWhatTheyStandFor) {
  MakeJpeg(File("2024/a.jpg"), 8, 8, {{"Iptc.Application2.Keywords", "sea"}});
  Index();
  const Json::Value photo = Objects("photo_image").front();
  EXPECT_EQ(photo["share"].asString(), "2024");
  EXPECT_EQ(photo["privilege_share"].asString(), "2024");
  for (const char* id : {"id", "shareid", "privilege_shareid"}) EXPECT_FALSE(photo.isMember(id)) << id;
  const Json::Value link = Objects("photo_image_label").front();
  EXPECT_EQ(link["image_path"].asString(), "2024/a.jpg");
  EXPECT_EQ(link["label_name"].asString(), "sea");
  EXPECT_EQ(link["label_category"].asInt(), 2);
  for (const char* id : {"id", "image_id", "label_id"}) EXPECT_FALSE(link.isMember(id)) << id;
  const Json::Value album = Objects("photo_share").back();
  EXPECT_TRUE(album.isMember("ref_share"));
  for (const char* id : {"shareid", "ref_shareid"}) EXPECT_FALSE(album.isMember(id)) << id;
}

TEST_F(ExportTest, WithIdsShowsIdsAndTimesOfRights) {
  MakeJpeg(File("a.jpg"), 8, 8);
  Index();
  Query("INSERT INTO photo_manage_right VALUES (1026, 1, 'now')");
  const Json::Value photo = Objects("photo_image", {"--with-ids"}).front();
  EXPECT_EQ(photo["id"].asInt(), 1);
  EXPECT_EQ(photo["shareid"].asInt(), 1);
  EXPECT_EQ(photo["share"].asString(), "/");
  EXPECT_EQ(Objects("photo_manage_right", {"--with-ids"}).front()["time"].asString(), "now");
  const Json::Value right = Objects("photo_manage_right").front();
  EXPECT_FALSE(right.isMember("time"));
  EXPECT_EQ(right["userid"].asInt(), 1026);
  EXPECT_EQ(right["share"].asString(), "/");
}

TEST_F(ExportTest, OneChangeOfATitleALabelOrARightShows) {
  MakeTree();
  Index();
  std::string before = Export();
  for (const char* sql :
       {"UPDATE photo_image SET title = 'other' WHERE path = 'f3/s0/3.jpg'",
        "UPDATE photo_label SET name = 'other' WHERE name = 'k3'",
        "UPDATE photo_image_label SET label_id = (SELECT id FROM photo_label WHERE name = 'k1') "
        "WHERE image_id = (SELECT id FROM photo_image WHERE path = 'f0/s0/0.jpg')",
        "UPDATE photo_image_label SET status = 'f' WHERE id = 7",
        "INSERT INTO photo_upload_right VALUES (1000, 2, '')", "UPDATE photo_upload_right SET userid = 1001",
        "UPDATE photo_upload_right SET shareid = 3",
        "UPDATE photo_share SET ref_shareid = 4 WHERE sharename = 'f2'"}) {
    Query(sql);
    const std::string after = Export();
    EXPECT_NE(after, before) << sql;
    before = after;
  }
}

TEST_F(ExportTest, MembersAreSortedByNameAndRowsByKey) {
  EmptyLibrary();
  Query("INSERT INTO photo_config VALUES ('b', '1'), ('a', '2')");
  Query("INSERT INTO photo_label (category, name) VALUES (10, 'a'), (2, 'b'), (2, 'a')");
  EXPECT_TRUE(Export().starts_with(R"({"config_key":"a","config_value":"2","table":"photo_config"}
{"config_key":"b","config_value":"1","table":"photo_config"}
{"category":2,"name":"a","table":"photo_label"}
{"category":2,"name":"b","table":"photo_label"}
{"category":10,"name":"a","table":"photo_label"}
)"));
}

TEST_F(ExportTest, RowsOfOneKeyComeInOneOrderHoweverTheyWereWritten) {
  EmptyLibrary();
  Query("INSERT INTO video_comment (path, comment) VALUES ('v', 'one'), ('v', 'two'), ('u', 'three')");
  const std::string before = Export();
  Query("DELETE FROM video_comment");
  Query("INSERT INTO video_comment (path, comment) VALUES ('v', 'two'), ('u', 'three'), ('v', 'one')");
  EXPECT_EQ(Export(), before);
}

TEST_F(ExportTest, ManyRowsComeOutOnceAndInOrder) {
  EmptyLibrary();
  const std::string numbers =
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 6001) ";
  Query(numbers + "INSERT INTO photo_image (id, path) SELECT i, printf('%05d.jpg', i * 7919 % 10007) FROM n");
  Query(numbers + "INSERT INTO photo_label (id, category, name) SELECT i, i % 3, 'l' || i FROM n");
  Query(numbers + "INSERT INTO photo_image_label (image_id, label_id) SELECT i, i FROM n");
  Query(numbers +
        "INSERT INTO photo_image_label (image_id, label_id) SELECT i, 6002 - i FROM n WHERE i < 3000");
  Query(numbers + "INSERT INTO video_comment (path, comment) SELECT 'v', i FROM n");
  Lines paths;
  for (const Json::Value& photo : Objects("photo_image")) paths.push_back(photo["path"].asString());
  EXPECT_EQ(std::set<std::string>(paths.begin(), paths.end()).size(), 6001U);
  EXPECT_EQ(paths.size(), 6001U);
  EXPECT_TRUE(std::is_sorted(paths.begin(), paths.end()));
  EXPECT_EQ(Objects("photo_label").size(), 6001U);
  EXPECT_EQ(Objects("photo_image_label").size(), 6001U + 2999U);
  EXPECT_EQ(Objects("video_comment").size(), 6001U);
}

TEST_F(ExportTest, RowsThatPointNowhereComeOutWithNull) {
  EmptyLibrary();
  Query("INSERT INTO photo_image_label (image_id, label_id, info) VALUES (77, 78, 'lost')");
  Query("INSERT INTO photo_access_right VALUES (1000, 79, '')");
  Query("INSERT INTO photo_config VALUES (NULL, 'x')");
  Query("INSERT INTO photo_image (path, shareid) VALUES ('', 80)");
  const Json::Value link = Objects("photo_image_label").at(0);
  EXPECT_TRUE(link["image_path"].isNull());
  EXPECT_TRUE(link["label_name"].isNull());
  EXPECT_EQ(link["info"].asString(), "lost");
  EXPECT_TRUE(Objects("photo_access_right").at(0)["share"].isNull());
  EXPECT_TRUE(Objects("photo_config").at(0)["config_key"].isNull());
  EXPECT_EQ(Objects("photo_image").at(0)["path"].asString(), "");
}

TEST_F(ExportTest, AnyNameIsExportedAsItIs) {
  std::set<std::string> expected;
  for (const std::string& name : HostileNames()) {
    if (name.starts_with(".")) continue;
    MakeJpeg(File(name + ".jpg"), 8, 8);
    expected.insert(name + ".jpg");
  }
  Index();
  std::set<std::string> paths;
  for (const Json::Value& photo : Objects("photo_image")) paths.insert(photo["path"].asString());
  EXPECT_EQ(paths, expected);
}

TEST_F(ExportTest, BytesThatAreNotUtf8AreNotLost) {
  EmptyLibrary();
  Query(
      "INSERT INTO photo_image (path, title, size) VALUES ('a', CAST(x'61ff' AS TEXT), CAST(x'fe' AS TEXT)), "
      "('b', CAST(x'61fe' AS TEXT), 1)");
  const std::vector<Json::Value> photos = Objects("photo_image");
  EXPECT_EQ(photos.at(0)["title_base64"].asString(), "Yf8=");
  EXPECT_EQ(photos.at(0)["size_base64"].asString(), "/g==");
  EXPECT_EQ(photos.at(1)["title_base64"].asString(), "Yf4=");
  EXPECT_EQ(photos.at(0)["title"], photos.at(1)["title"]);
}

TEST_F(ExportTest, KeysThatAreNotUtf8AreRowsOfTheirOwn) {
  EmptyLibrary();
  Query("INSERT INTO photo_image (path) VALUES (CAST(x'ff' AS TEXT)), (CAST(x'fe' AS TEXT)), ('z')");
  const std::vector<Json::Value> photos = Objects("photo_image");
  ASSERT_EQ(photos.size(), 3U);
  EXPECT_EQ(photos[0]["path"].asString(), "z");
  EXPECT_EQ(photos[1]["path_base64"].asString(), "/g==");
  EXPECT_EQ(photos[2]["path_base64"].asString(), "/w==");
}

TEST_F(ExportTest, AnEmptyLibraryIsItsRootAlbum) {
  EmptyLibrary();
  EXPECT_EQ(Export(),
            "{\"comment\":\"f\",\"conversion\":\"t\",\"cover\":\"\",\"description\":\"\",\"hits\":0,"
            "\"is_subdir\":\"f\",\"password\":\"\",\"public\":\"t\",\"ref_share\":\"/\",\"sharename\":\"/\","
            "\"table\":\"photo_share\",\"title\":\"\",\"updated\":\"1\"}\n");
}

}  // namespace
