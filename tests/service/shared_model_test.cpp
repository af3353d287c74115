// Random things happen to the folder of a shared tree, with runs in between: what moved keeps its id and its
// person, and the tree equals one made of the same files from nothing. LUMIVAULT_SEED plays a run again,
// LUMIVAULT_OPERATIONS makes it longer.
#include <cstdio>
#include <cstdlib>
#include <random>

#include "folder_model.h"
#include "support/shared_tree_test.h"

namespace {

constexpr unsigned kOperations = 200;
constexpr std::size_t kLongestBurst = 12;

class SharedModelTest : public SharedTreeTest {
 protected:
  // The photos are those of the model; each has its id and its person since it was first seen.
  void CheckKept(const FolderModel& model) {
    EXPECT_EQ(Count(), std::to_string(model.files().size()));
    for (const auto& [path, number] : model.files()) {
      const std::string id = IdOf(path);
      ASSERT_NE(id, "") << path;
      const std::string person = "person" + std::to_string(number);
      const auto known = ids_.find(number);
      if (known != ids_.end()) {
        EXPECT_EQ(id, known->second) << path;
        EXPECT_EQ(PersonOn(path), person) << path;
        continue;
      }
      // A file that was put in the place of a lost one takes over its row, and the person on it.
      Query("DELETE FROM photo_image_label WHERE image_id = " + id +
            " AND label_id IN (SELECT id FROM photo_label WHERE category = 0)");
      NamePerson(path, person);
      ids_[number] = id;
    }
  }
  // Without the people, whom only this tree knows, and the keywords that no photo has any more.
  std::vector<Row> PlainRows() {
    Query(
        "DELETE FROM photo_label L WHERE NOT EXISTS (SELECT 1 FROM photo_image_label B WHERE B.label_id = "
        "L.id)");
    std::vector<Row> rows;
    for (const Row& row : Rows()) {
      if (!row.contains("category") || row.at("category") != "0") rows.push_back(row);
    }
    return rows;
  }

 private:
  std::map<int, std::string> ids_;
};

TEST_F(SharedModelTest, TheTreeFollows) {
  const unsigned seed = FromEnvironment("LUMIVAULT_SEED", std::random_device()());
  std::printf("LUMIVAULT_SEED=%u\n", seed);
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed));
  FolderModel model(folder(), seed);
  Index({"-j", "2"});
  Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  CheckKept(model);
  model.Seen();
  const unsigned operations = FromEnvironment("LUMIVAULT_OPERATIONS", kOperations);
  for (unsigned done = 0; done < operations && !HasFailure();) {
    for (std::size_t burst = 1 + model.Random(kLongestBurst); burst > 0; --burst, ++done) model.Step();
    Index({"-j", "2", "--accept-loss"});
    ASSERT_NO_FATAL_FAILURE(CheckKept(model));
    model.Seen();
  }
  EXPECT_EQ(Index()["added"].asUInt(), 0U);
  const std::vector<Row> rows = PlainRows();
  ForgetLibrary();
  Index();
  EXPECT_EQ(rows, PlainRows());
}

}  // namespace
