#include "changes/catalogue.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <filesystem>
#include <set>

#include "support/hostile_names.h"
#include "support/service_test.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

constexpr int kMoreThanAPage = 4100;

class CatalogueTest : public testing::Test {
 protected:
  std::string file() const { return dir_ / "catalogue.db"; }
  Catalogue Open() const { return std::move(*Catalogue::Open(file())); }

  static CatalogueEntry Entry(const std::string& path, ItemKind kind = ItemKind::kPhoto) {
    return {path, kind, {1, 2, 3, 4, 5, 6}, "c0ffee"};
  }

  TempDir dir_;
};

TEST_F(CatalogueTest, AnEntryComesBackAsItWentIn) {
  CatalogueEntry entry = Entry("a/b.mp4", ItemKind::kVideo);
  entry.stamp = {~0ULL, ~0ULL - 1, -1, 1LL << 40, -5, 7};
  entry.outcome = ItemOutcome::kDamaged;
  entry.reason = "cut 'short'";
  Open().Put(entry);
  const auto files = Open().Files("a", "");
  ASSERT_EQ(files.size(), 1U);
  const CatalogueEntry& back = files.front();
  EXPECT_EQ(back.path, "a/b.mp4");
  EXPECT_EQ(back.kind, ItemKind::kVideo);
  EXPECT_TRUE(back.stamp.SameObject(entry.stamp));
  EXPECT_TRUE(back.stamp.SameContent(entry.stamp));
  EXPECT_EQ(back.stamp.changed, 7);
  EXPECT_EQ(back.fingerprint, "c0ffee");
  EXPECT_EQ(back.outcome, ItemOutcome::kDamaged);
  EXPECT_EQ(back.reason, "cut 'short'");
}

TEST_F(CatalogueTest, AFolderGivesItsOwnFilesInByteOrderAndNoOthers) {
  Catalogue catalogue = Open();
  for (const char* path : {"b.jpg", "B.jpg", "a_.jpg", "a/x.jpg", "aa/x.jpg", "\xff.jpg"})
    catalogue.Put(Entry(path));
  catalogue.Put(Entry("a", ItemKind::kFolder));
  std::vector<std::string> paths;
  for (const CatalogueEntry& entry : catalogue.Files("", "")) paths.push_back(entry.path);
  EXPECT_EQ(paths, std::vector<std::string>({"B.jpg", "a_.jpg", "b.jpg", "\xff.jpg"}));
  EXPECT_EQ(catalogue.Files("a", "").size(), 1U);
  EXPECT_EQ(catalogue.FileCount(), 6U);
}

TEST_F(CatalogueTest, ALongFolderComesInPartsWithNothingTwice) {
  Catalogue catalogue = Open();
  for (int i = 0; i < kMoreThanAPage; ++i) catalogue.Put(Entry("f/" + std::to_string(i)));
  std::set<std::string> seen;
  std::string after;
  for (auto part = catalogue.Files("f", after); !part.empty(); part = catalogue.Files("f", after)) {
    for (const CatalogueEntry& entry : part) EXPECT_TRUE(seen.insert(entry.path).second) << entry.path;
    after = part.back().path.substr(2);
  }
  EXPECT_EQ(seen.size(), static_cast<std::size_t>(kMoreThanAPage));
}

TEST_F(CatalogueTest, AnyNameIsKeptAsItIs) {
  Catalogue catalogue = Open();
  std::vector<std::string> names = HostileNames();
  const std::vector<std::string> bytes = HostileBytes();
  names.insert(names.end(), bytes.begin(), bytes.end());
  for (const std::string& name : names) catalogue.Put(Entry(name + "/" + name));
  for (const std::string& name : names) {
    const auto files = catalogue.Files(name, "");
    ASSERT_EQ(files.size(), 1U) << name;
    EXPECT_EQ(files.front().path, name + "/" + name);
    catalogue.Remove(name + "/" + name, ItemKind::kPhoto);
    EXPECT_TRUE(catalogue.Files(name, "").empty());
  }
  EXPECT_FALSE(catalogue.failure());
}

TEST_F(CatalogueTest, AFileThatTookTheNameOfAFolderOutlivesItsRemoval) {
  Catalogue catalogue = Open();
  catalogue.Put(Entry("x", ItemKind::kFolder));
  catalogue.Put(Entry("x"));
  catalogue.Remove("x", ItemKind::kFolder);
  EXPECT_EQ(catalogue.FileCount(), 1U);
}

TEST_F(CatalogueTest, FactsAreKept) {
  EXPECT_FALSE(Open().facts().Find("root"));
  Open().facts().Put("root", "1 'two'");
  EXPECT_EQ(Open().facts().Find("root"), "1 'two'");
}

TEST_F(CatalogueTest, AFileThatIsNoCatalogueIsMadeAnew) {
  WriteFile(file(), "this is no database, and long enough to be looked at as one");
  EXPECT_EQ(Open().FileCount(), 0U);
}

TEST_F(CatalogueTest, AnotherDatabaseInItsPlaceIsMadeAnew) {
  WriteFile(file(), "");
  QueryDatabase(file(), "CREATE TABLE entry (a); CREATE TABLE fact (b)");
  EXPECT_EQ(Open().FileCount(), 0U);
  WriteFile(file(), "");
  QueryDatabase(file(), "CREATE VIEW entry AS SELECT 1; CREATE VIEW fact AS SELECT 2");
  EXPECT_EQ(Open().FileCount(), 0U);
}

// Out of descriptors, room or memory it is as it was.
TEST_F(CatalogueTest, OneThatCannotBeOpenedTodayIsKept) {
  Open().facts().Put("root", "here");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  for (rlim_t allowed = 3; allowed < 16; ++allowed) {
    rlimit few = before;
    few.rlim_cur = allowed;
    setrlimit(RLIMIT_NOFILE, &few);
    const auto catalogue = Catalogue::Open(file());
    const std::string why = catalogue ? "" : catalogue.failure().message;
    setrlimit(RLIMIT_NOFILE, &before);
    if (catalogue) continue;
    EXPECT_EQ(catalogue.failure().status, ExitStatus::kConfiguration);
    EXPECT_TRUE(why.starts_with(file() + ": the catalogue cannot be opened: ")) << why;
  }
  EXPECT_EQ(Open().facts().Find("root"), "here");
}

TEST_F(CatalogueTest, AStatementThatFailsNamesTheFileInOneLine) {
  fs::create_directory(dir_ / "two\nlines");
  const std::string file = dir_ / "two\nlines/catalogue.db";
  Catalogue catalogue = std::move(*Catalogue::Open(file));
  QueryDatabase(file, "DROP TABLE entry");
  EXPECT_EQ(catalogue.FileCount(), 0U);
  ASSERT_TRUE(catalogue.failure());
  EXPECT_EQ(catalogue.failure()->message, dir_ / "two\\nlines/catalogue.db: no such table: entry");
}

TEST_F(CatalogueTest, APlaceThatCannotHoldItIsAFailure) {
  const auto catalogue = Catalogue::Open(dir_ / "missing/catalogue.db");
  ASSERT_FALSE(catalogue);
  EXPECT_EQ(catalogue.failure().status, ExitStatus::kConfiguration);
}

}  // namespace
