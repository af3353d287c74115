// Four processes that know nothing of each other index four sub-trees of one library at once.
#include <cstdlib>
#include <filesystem>

#include "base/text.h"
#include "lumivault/photo_database.h"
#include "lumivault/photo_index.h"
#include "support/child_processes.h"
#include "support/databases.h"
#include "support/media_maker.h"
#include "support/media_record.h"
#include "support/scaled.h"

namespace fs = std::filesystem;

namespace {

constexpr int kProcesses = 4;
constexpr int kAlbums = Scaled(6, 3);
constexpr int kPhotos = 4;

class SubTreesTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    if (IsSkipped()) return;
    Run("INSERT INTO photo_config VALUES ('ms_people_tag_merged', 'on')");
    for (int tree = 0; tree < kProcesses; ++tree) {
      for (int i = 0; i < kAlbums * kPhotos; ++i) {
        MakeJpeg(Path(Photo(tree, i / kPhotos, i % kPhotos)), 8, 6,
                 {{"Iptc.Application2.Keywords", "k" + std::to_string(i)},
                  {"Iptc.Application2.Keywords", "k" + std::to_string(kAlbums * kPhotos - i)}});
      }
    }
  }

  static std::string Tree(int tree) { return "tree" + std::to_string(tree); }
  static std::string Album(int tree, int album) { return Tree(tree) + "/album" + std::to_string(album); }
  static std::string Photo(int tree, int album, int photo) {
    return Album(tree, album) + "/p" + std::to_string(photo) + ".jpg";
  }

  bool Add(const std::string& photo) {
    KAVO_MEDIA_INFO record = RecordOf(Path(photo));
    CopyText(record.szTakenTime, sizeof record.szTakenTime, "2024-01-02 03:04:05");
    return IndexAdd(&record, kIndexed) == 0;
  }
  bool IndexTree(int tree) {
    bool well = IndexDirAdd(Path(Tree(tree)).c_str()) == 0;
    for (int album = 0; album < kAlbums; ++album) {
      well = IndexDirAdd(Path(Album(tree, album)).c_str()) == 0 && well;
      for (int photo = 0; photo < kPhotos; ++photo) well = Add(Photo(tree, album, photo)) && well;
    }
    return well;
  }

  // Whether all of them have done all without a failure.
  bool IndexAtOnce() {
    PhotoDBConnClose();
    return RunChildren(kProcesses, [&](int tree) { return IndexTree(tree) ? EXIT_SUCCESS : EXIT_FAILURE; });
  }

  // Everything but the ids, which are given out in the order of work.
  std::vector<Row> Content() {
    std::vector<Row> rows = Query(
        "SELECT P.path, P.title, S.sharename, R.sharename AS rights FROM photo_image P JOIN photo_share S ON "
        "S.shareid = P.shareid JOIN photo_share R ON R.shareid = P.privilege_shareid ORDER BY P.path");
    for (const char* sql :
         {"SELECT A.sharename, A.public, R.sharename AS reference FROM photo_share A JOIN photo_share R ON "
          "R.shareid = A.ref_shareid ORDER BY A.sharename",
          "SELECT P.path, L.category, L.name FROM photo_image_label B JOIN photo_image P ON P.id = "
          "B.image_id JOIN photo_label L ON L.id = B.label_id ORDER BY P.path, L.category, L.name"}) {
      const auto more = Query(sql);
      rows.insert(rows.end(), more.begin(), more.end());
    }
    return rows;
  }
};

TEST_P(SubTreesTest, GiveTheSameRowsAsOneProcess) {
  ASSERT_TRUE(IndexAtOnce());
  const std::vector<Row> at_once = Content();
  Run("DELETE FROM photo_image");
  Run("DELETE FROM photo_label");
  Run("DELETE FROM photo_share WHERE sharename <> '/'");
  for (int tree = 0; tree < kProcesses; ++tree) ASSERT_TRUE(IndexTree(tree));
  EXPECT_EQ(at_once, Content());
  EXPECT_EQ(at_once.size(),
            static_cast<std::size_t>(kProcesses * kAlbums * kPhotos + kProcesses * kAlbums + kProcesses + 1 +
                                     2 * kProcesses * kAlbums * kPhotos - kProcesses));
}

INSTANTIATE_TEST_SUITE_P(Engines, SubTreesTest, BothEngines(), EngineName);

}  // namespace
