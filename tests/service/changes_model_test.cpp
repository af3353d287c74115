// Random things happen to a folder, with runs in between; the library must equal one made of a copy of the
// folder from nothing, and what moved must have kept its id and its people.
//
// LUMIVAULT_SEED plays a run again, LUMIVAULT_OPERATIONS and LUMIVAULT_KILLS make it longer.
#include <signal.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "folder_model.h"
#include "support/comparable_export.h"
#include "support/library_rows.h"

namespace fs = std::filesystem;

namespace {

constexpr unsigned kOperations = 300;
constexpr unsigned kOperationsBetweenComparisons = 100;
constexpr std::size_t kLongestBurst = 6;
constexpr std::size_t kRareReindex = 12;
constexpr unsigned kKills = 5;
constexpr std::size_t kLongestLife = 250;  // milliseconds

std::string PersonOf(int number) {
  return "person" + std::to_string(number);
}

class ModelTest : public LibraryRowsTest, public testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    seed_ = FromEnvironment("LUMIVAULT_SEED", std::random_device()());
    std::printf("LUMIVAULT_SEED=%u\n", seed_);
    std::fflush(stdout);
    merging_ = seed_ % 2 == 0;
  }

  // Sends what happened: by a scan, or now and then by a full reindex, which merges the people of every file.
  void Follow(FolderModel& model) {
    if (!merging_ && model.Random(kRareReindex) == 0) {
      const RunResult result = Run({"reindex", folder(), "--quiet", "--accept-loss", "-j", GetParam()});
      ASSERT_EQ(result.status, 0) << result.out << result.err;
    } else {
      Index({"-j", GetParam(), "--accept-loss"});
    }
    CheckKept(model);
    model.Seen();
  }

  void CheckKept(const FolderModel& model) {
    const std::map<std::string, Kept> rows = KeptRows();
    EXPECT_EQ(rows.size(), model.files().size());
    std::string names;
    for (const auto& [path, number] : model.files()) {
      const auto row = rows.find(path);
      ASSERT_NE(row, rows.end()) << path;
      const auto known = ids_.find(number);
      const bool merged = merging_ && model.overwritten().contains(number);
      if (known != ids_.end()) {
        EXPECT_EQ(row->second.id, known->second) << path;
        EXPECT_TRUE(merged || row->second.people == PersonOf(number)) << path << ": " << row->second.people;
      }
      // A file that was put in the place of a lost one takes over its row, and the person on it.
      if (known == ids_.end() || merged) names += Naming(row->second.id, PersonOf(number));
      ids_[number] = row->second.id;
    }
    if (!names.empty()) Execute(names);
  }
  // The statements that make PERSON the only one on photo ID.
  static std::string Naming(const std::string& id, const std::string& person) {
    return "DELETE FROM photo_image_label WHERE image_id = " + id +
           " AND label_id IN (SELECT id FROM photo_label WHERE category = 0);"
           "INSERT OR IGNORE INTO photo_label (category, name) VALUES (0, '" +
           person + "'); INSERT INTO photo_image_label (image_id, label_id, info_new) SELECT " + id +
           ", id, '{\"x\":0.1,\"y\":0.1,\"width\":0.2,\"height\":0.2}' FROM photo_label WHERE name = '" +
           person + "';";
  }
  void Execute(const std::string& statements) const {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((folder() / ".KAVOHGADB").c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, ("BEGIN;" + statements + "COMMIT").c_str(), nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(database);
  }

  struct Kept {
    std::string id;
    std::string people;
  };
  std::map<std::string, Kept> KeptRows() const {
    std::map<std::string, Kept> kept;
    for (const Row& row : Query(
             "SELECT path, id, (SELECT group_concat(L.name) FROM photo_image_label B JOIN photo_label L ON "
             "L.id = B.label_id WHERE L.category = 0 AND B.image_id = P.id) AS people FROM photo_image P")) {
      kept[row.at("path")] = {row.at("id"), row.at("people")};
    }
    return kept;
  }

  std::vector<std::string> Exported(const fs::path& library) {
    const RunResult result = Run({"export", library});
    EXPECT_EQ(result.status, 0) << result.err;
    return ComparableExport(result.out);
  }
  void ExpectNothingToDo() {
    const Json::Value report = Index();
    for (const char* work : {"added", "folders", "moved", "deleted"})
      EXPECT_EQ(report[work].asUInt(), 0U) << work;
  }
  void CompareWithNew() {
    ExpectNothingToDo();
    const fs::path copy = scratch() / ("copy" + std::to_string(copies_++));
    ASSERT_EQ(std::system(("cp -a '" + folder().string() + "' '" + copy.string() + "' && rm -f '" +
                           copy.string() + "'/.KAVOHGADB*")
                              .c_str()),
              0);
    EXPECT_EQ(Run({"index", copy, "--quiet"}).status, 0);
    EXPECT_EQ(Exported(folder()), Exported(copy));
    fs::remove_all(copy);
  }

  unsigned seed_ = 0;
  bool merging_ = false;
  int copies_ = 0;
  std::map<int, std::string> ids_;
};

TEST_P(ModelTest, TheLibraryFollows) {
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed_));
  FolderModel model(folder(), seed_);
  Index({"-j", GetParam()});
  if (!merging_)
    Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  CheckKept(model);
  model.Seen();
  const unsigned operations = FromEnvironment("LUMIVAULT_OPERATIONS", kOperations);
  unsigned compared = 0;
  for (unsigned done = 0; done < operations && !HasFailure();) {
    SCOPED_TRACE("operation " + std::to_string(done));
    for (std::size_t burst = 1 + model.Random(kLongestBurst); burst > 0; --burst, ++done) model.Step();
    ASSERT_NO_FATAL_FAILURE(Follow(model));
    if (done < compared + kOperationsBetweenComparisons) continue;
    CompareWithNew();
    compared = done;
  }
}

// The supervisor with its workers, or one worker alone.
class KilledTest : public ModelTest {
 protected:
  void StartAndKill(FolderModel& model, const std::string& command) {
    const auto run = Start({command, folder(), "--quiet", "--accept-loss", "-j", GetParam()});
    std::this_thread::sleep_for(std::chrono::milliseconds(model.Random(life_)));
    const pid_t worker = model.Random(3) == 0 ? ChildOf(run->pid()) : 0;
    if (worker != 0) {
      kill(worker, SIGKILL);
    } else {
      run->Signal(SIGKILL);
    }
    const bool killed = run->Wait().status == kKilledBy + SIGKILL || worker != 0;
    killed_ += killed ? 1U : 0U;
    // How long a run takes depends on the machine.
    if (!killed) life_ = life_ / 2 + 1;
  }
  void Play(const std::string& command) {
    SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed_));
    FolderModel model(folder(), seed_);
    Index();
    merging_ = false;
    Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
    CheckKept(model);
    model.Seen();
    const unsigned kills = FromEnvironment("LUMIVAULT_KILLS", kKills);
    for (unsigned i = 0; i < kills && !HasFailure(); ++i) {
      SCOPED_TRACE("kill " + std::to_string(i));
      for (std::size_t burst = kLongestBurst; burst > 0; --burst) model.Step();
      StartAndKill(model, command);
      EXPECT_EQ(Run({command, folder(), "--quiet", "--accept-loss"}).status, 0);
      ASSERT_NO_FATAL_FAILURE(CheckKept(model));
      model.Seen();
    }
    EXPECT_GT(killed_, 0U);
    std::printf("%u of %u runs were killed before their end\n", killed_, kills);
    CompareWithNew();
  }

  unsigned killed_ = 0;
  unsigned life_ = kLongestLife;  // in milliseconds
};

TEST_P(KilledTest, AScanRunAgainEndsTheSame) {
  Play("index");
}

TEST_P(KilledTest, AReindexRunAgainEndsTheSame) {
  Play("reindex");
}

INSTANTIATE_TEST_SUITE_P(Workers, KilledTest, testing::Values("1", "2"));

INSTANTIATE_TEST_SUITE_P(Workers, ModelTest, testing::Values("1", "2"));

}  // namespace
