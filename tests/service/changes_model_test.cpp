// Random things happen to a folder, with runs in between; the library must equal one made of the same files
// from nothing, and what moved must have kept its id and its person.
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>

#include "support/library_rows.h"
#include "support/media_maker.h"

namespace fs = std::filesystem;

namespace {

constexpr int kRounds = 12;
constexpr int kOperationsOfRound = 30;
constexpr int kFirstFiles = 24;
constexpr std::size_t kLongestName = 60;
// The plug-in cuts the names of albums at 255 bytes.
constexpr std::size_t kLongestFolder = 120;

// The folder as the test knows it: every file with the mark that it was born with.
class Model {
 public:
  Model(fs::path root, unsigned seed) : root_(std::move(root)), random_(seed) {
    folders_ = {""};
    for (int i = 0; i < kFirstFiles; ++i) Create();
  }

  const std::map<std::string, int>& files() const { return files_; }
  // A run has seen everything made so far.
  void Seen() { seen_ = next_; }

  void Step() {
    switch (random_() % 10) {
      case 0:
      case 1:
        return Create();
      case 2:
        return Overwrite();
      case 3:
        return Delete();
      case 4:
        return MakeFolder();
      case 5:
        return RenameFolder();
      case 6:
        return Swap();
      default:
        return Rename();
    }
  }

 private:
  std::string NewName() {
    static const std::vector<std::string> kParts{
        "a",  "it's", "100%", "_",    "\"q\"", "back\\slash",
        "\n", "😀",    "B b",  "x*y?", ";--",   std::string(kLongestName, 'l')};
    return kParts[random_() % kParts.size()] + std::to_string(next_++);
  }
  std::string Folder() { return folders_[random_() % folders_.size()]; }
  std::string NewPath() {
    const std::string folder = Folder();
    return (folder.empty() ? "" : folder + "/") + NewName();
  }
  // A file at random; "" when there is none.
  std::string AnyFile() {
    if (files_.empty()) return "";
    return std::next(files_.begin(), static_cast<long>(random_() % files_.size()))->first;
  }

  void Create() {
    const std::string path = NewPath() + ".jpg";
    if (path.size() > 1000) return;
    Write(path);
    files_[path] = next_;
  }
  void Write(const std::string& path) {
    MakeJpeg(root_ / path, 8 + static_cast<int>(random_() % 8), 8,
             {{"Exif.Image.Make", "m" + std::to_string(++next_)},
              {"Iptc.Application2.Keywords", "k" + std::to_string(random_() % 5)}});
  }
  void Overwrite() {
    const std::string path = AnyFile();
    if (!path.empty()) Write(path);
  }
  void Delete() {
    const std::string path = AnyFile();
    if (path.empty()) return;
    fs::remove(root_ / path);
    files_.erase(path);
  }
  void Rename() {
    const std::string from = AnyFile();
    if (from.empty()) return;
    // A file that no run has seen and that takes the place of another one is a change of that one's content.
    const bool replaces = random_() % 4 == 0 && files_[from] <= seen_;
    const std::string to = replaces ? AnyFile() : NewPath() + ".jpg";
    if (to == from || to.size() > 1000) return;
    fs::rename(root_ / from, root_ / to);
    files_[to] = files_[from];
    files_.erase(from);
  }
  void Swap() {
    const std::string a = AnyFile();
    const std::string b = AnyFile();
    if (a == b) return;
    fs::rename(root_ / a, root_ / "swap");
    fs::rename(root_ / b, root_ / a);
    fs::rename(root_ / "swap", root_ / b);
    std::swap(files_[a], files_[b]);
  }
  void MakeFolder() {
    const std::string path = NewPath();
    if (path.size() > kLongestFolder) return;
    fs::create_directory(root_ / path);
    folders_.push_back(path);
  }
  void RenameFolder() {
    const std::string from = Folder();
    const std::string to = NewPath();
    if (from.empty() || to.size() > kLongestFolder || (to + "/").starts_with(from + "/")) return;
    for (const std::string& folder : folders_) {
      if (folder.starts_with(from) && folder.size() + to.size() - from.size() > 2 * kLongestFolder) return;
    }
    fs::rename(root_ / from, root_ / to);
    const auto moved = [&](const std::string& path) { return to + path.substr(from.size()); };
    std::map<std::string, int> files;
    for (const auto& [path, mark] : files_) files[path.starts_with(from + "/") ? moved(path) : path] = mark;
    files_ = files;
    for (std::string& folder : folders_) {
      if ((folder + "/").starts_with(from + "/")) folder = moved(folder);
    }
  }

  fs::path root_;
  std::mt19937 random_;
  std::vector<std::string> folders_;
  std::map<std::string, int> files_;
  int next_ = 0;
  int seen_ = 0;
};

class ModelTest : public LibraryRowsTest, public testing::WithParamInterface<const char*> {
 protected:
  // What every file's row is called by, as far as the last run saw it: mark -> id.
  void CheckKept(const Model& model) {
    for (const auto& [path, mark] : model.files()) {
      const std::string id = IdOf(path);
      ASSERT_NE(id, "") << path;
      const auto known = ids_.find(mark);
      if (known != ids_.end()) {
        EXPECT_EQ(id, known->second) << path;
        EXPECT_EQ(People(id), "person" + std::to_string(mark)) << path;
      } else {
        ForgetReplaced(model, id, path);
        Query("INSERT OR IGNORE INTO photo_label (category, name) VALUES (0, 'person" + std::to_string(mark) +
              "')");
        Query("INSERT INTO photo_image_label (image_id, label_id) SELECT " + id +
              ", id FROM photo_label WHERE name = 'person" + std::to_string(mark) + "'");
      }
      ids_[mark] = id;
    }
  }
  // A file that was put in the place of a lost one takes over its row, and the person on it.
  void ForgetReplaced(const Model& model, const std::string& id, const std::string& path) {
    for (const auto& [other, mark] : model.files()) {
      EXPECT_NE(People(id), "person" + std::to_string(mark)) << path << " has the row of " << other;
    }
    Query("DELETE FROM photo_image_label WHERE image_id = " + id +
          " AND label_id IN (SELECT id FROM photo_label WHERE category = 0)");
  }
  std::string People(const std::string& id) const {
    return Value(
        "SELECT group_concat(L.name) FROM photo_image_label B JOIN photo_label L ON L.id = B.label_id WHERE "
        "L.category = 0 AND B.image_id = " +
        id);
  }
  // The rows of the files as they are, without the people, whom only this library knows.
  std::vector<Row> PlainRows() const {
    std::vector<Row> rows;
    for (const Row& row : Rows()) {
      if (!row.contains("category") || row.at("category") != "0") rows.push_back(row);
    }
    return rows;
  }

  std::map<int, std::string> ids_;
};

TEST_P(ModelTest, TheLibraryFollows) {
  const char* given = std::getenv("LUMIVAULT_SEED");
  const unsigned seed =
      given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
  std::printf("LUMIVAULT_SEED=%u\n", seed);
  SCOPED_TRACE("LUMIVAULT_SEED=" + std::to_string(seed));
  Model model(folder(), seed);
  Index({"-j", GetParam()});
  // The people of this test are in the rows alone; merged, they would be made those of the files at every
  // save.
  Query("UPDATE photo_config SET config_value = 'off' WHERE config_key = 'ms_people_tag_merged'");
  model.Seen();
  CheckKept(model);
  for (int round = 0; round < kRounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    for (int i = 0; i < kOperationsOfRound; ++i) model.Step();
    Index({"-j", GetParam(), "--accept-loss"});
    model.Seen();
    CheckKept(model);
    EXPECT_EQ(Count(), std::to_string(model.files().size()));
    EXPECT_EQ(Index()["unchanged"].asUInt(), model.files().size());
  }
  const std::vector<Row> rows = PlainRows();
  for (const char* suffix : {"", "-wal", "-shm"}) fs::remove(folder() / (std::string(".KAVOHGADB") + suffix));
  Index();
  EXPECT_EQ(rows, PlainRows());
}

INSTANTIATE_TEST_SUITE_P(Workers, ModelTest, testing::Values("1", "2"));

}  // namespace
