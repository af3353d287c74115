// A scan of a part of a library tells what the scan of all of it tells of that part.
//
// LUMIVAULT_SEED plays the random scans again.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <random>

#include "base/path_below.h"
#include "changes/survey.h"
#include "common/path_parts.h"
#include "files/looking.h"
#include "folder_model.h"
#include "support/hostile_names.h"
#include "support/open_watch.h"
#include "support/temp_dir.h"

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

constexpr uid_t kNobody = 65534;
constexpr int kRandomTrees = 12;
constexpr int kRandomScopes = 25;
constexpr std::size_t kLongestBurst = 12;

// The names that were looked at since it was emptied.
Strings& LookedAt() {
  static Strings names;
  return names;
}

struct Wanted {
  std::string path;
  Reach reach;
};

WalkScope ScopeOf(const std::vector<Wanted>& wanted) {
  WalkScope scope;
  for (const Wanted& one : wanted) scope.Add(one.path, one.reach);
  return scope;
}

// Said anew, one by one: what WANTED means by itself.
bool IsMeant(const std::vector<Wanted>& wanted, const std::string& path) {
  return std::any_of(wanted.begin(), wanted.end(), [&](const Wanted& one) {
    if (path == one.path) return true;
    if (one.reach == Reach::kFolder) return !path.empty() && FolderOf(path) == one.path;
    return one.reach == Reach::kTree && (one.path.empty() || LiesBelow(path, one.path));
  });
}

// The differences as lines that can be compared and read.
struct Told {
  Strings lines;
  std::set<std::string> unknown;
  std::map<std::string, std::uint64_t> mounts;
};

std::string LineOf(const char* what, const CatalogueEntry& entry) {
  return std::string(what) + (entry.elsewhere ? " elsewhere " : " ") + entry.path;
}

std::string LineOf(const char* what, const Arrival& arrival) {
  std::string line(what);
  if (arrival.known) line += ", known";
  if (arrival.replaces) line += ", replaces";
  if (arrival.hides) line += ", hides";
  return line + " " + std::to_string(static_cast<int>(arrival.kind)) + " " +
         std::to_string(arrival.stamp.inode) + " " + arrival.path;
}

// WANTS says of a path whether its line is.
template <typename Wants>
Told Tell(const Differences& found, Wants wants) {
  Told told;
  const auto add = [&](const char* what, const auto& entries) {
    for (const auto& entry : entries) {
      if (wants(entry.path)) told.lines.push_back(LineOf(what, entry));
    }
  };
  add("folder", found.folders);
  add("file", found.files);
  add("gone folder", found.gone_folders);
  add("gone file", found.gone_files);
  add("replaced folder", found.replaced_folders);
  add("replaced file", found.replaced_files);
  told.unknown = found.unknown;
  told.mounts = found.mounts;
  return told;
}

class SurveyScopeTest : public testing::Test {
 protected:
  SurveyScopeTest() {
    fs::create_directory(root());
    library_.folder = root();
  }
  ~SurveyScopeTest() override { EXPECT_TRUE(LookAs(std::nullopt)); }

  fs::path root() const { return dir_.path() / "photos"; }
  void Make(const std::string& path) const { WriteFile(root() / path, path); }
  void MakeAll(const Strings& paths) const {
    for (const std::string& path : paths) Make(path);
  }

  Differences Run(const WalkScope& scope = WalkScope::Whole()) {
    auto differences = Survey(library_, catalogue_, scope).Run();
    EXPECT_TRUE(differences);
    return differences ? std::move(*differences) : Differences{};
  }
  // All that a scan of what is WANTED tells.
  Strings Lines(const std::vector<Wanted>& wanted) {
    const WalkScope scope = ScopeOf(wanted);
    const Differences found = Run(scope);
    Strings lines;
    for (const Arrival& folder : found.folders) lines.push_back("folder " + folder.path);
    for (const Arrival& file : found.files) lines.push_back("file " + file.path);
    for (const CatalogueEntry& folder : found.gone_folders) lines.push_back("gone folder " + folder.path);
    for (const CatalogueEntry& file : found.gone_files) lines.push_back("gone file " + file.path);
    for (const std::string& path : found.unknown) lines.push_back("unknown " + path);
    return lines;
  }
  void RecordAll() {
    const Differences found = Run();
    for (const auto* arrivals : {&found.folders, &found.files}) {
      for (const Arrival& arrival : *arrivals) catalogue_.Put({arrival.path, arrival.kind, arrival.stamp});
    }
    for (const auto* gone : {&found.gone_files, &found.gone_folders}) {
      for (const CatalogueEntry& entry : *gone) catalogue_.Remove(entry.path, entry.kind);
    }
  }
  // The scan of what is WANTED tells what that of the whole library tells of it.
  void ExpectPartOf(const Differences& whole, const std::vector<Wanted>& wanted) {
    std::set<std::string> lost;  // folders of the scope that are gone
    for (const CatalogueEntry& folder : whole.gone_folders) {
      if (IsMeant(wanted, folder.path)) lost.insert(folder.path);
    }
    const auto meant = [&](const std::string& path) {
      return IsMeant(wanted, path) || LiesInOne(lost, path);
    };
    const WalkScope scope = ScopeOf(wanted);
    const Differences part = Run(scope);
    const Told told = Tell(part, [](const std::string&) { return true; });
    EXPECT_EQ(told.lines, Tell(whole, meant).lines);
    EXPECT_EQ(part.recorded_files, whole.recorded_files);
    for (const std::string& path : part.unknown) EXPECT_TRUE(IsMeant(wanted, path)) << path;
    for (const std::string& path : whole.unknown)
      EXPECT_TRUE(!meant(path) || part.unknown.contains(path)) << path;
    for (const Wanted& one : wanted)
      EXPECT_EQ(LiesInOne(part.unknown, one.path), LiesInOne(whole.unknown, one.path)) << one.path;
  }

  TempDir dir_;
  Library library_;
  Catalogue catalogue_ = std::move(*Catalogue::Open(dir_ / "catalogue.db"));
};

TEST_F(SurveyScopeTest, OfATreeAllThatIsBelowIsCompared) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg", "f/g.jpg"});
  EXPECT_EQ(Lines({{"b", Reach::kTree}}),
            Strings({"folder b", "folder b/d", "file b/c.jpg", "file b/d/e.jpg"}));
}

TEST_F(SurveyScopeTest, OfAFolderWhatLiesDirectlyInItIsCompared) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg", "b/d/deep/e.jpg", "f/g.jpg"});
  EXPECT_EQ(Lines({{"b", Reach::kFolder}}), Strings({"folder b", "folder b/d", "file b/c.jpg"}));
}

TEST_F(SurveyScopeTest, OfANameNothingElseIsCompared) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg", "b/x.jpg"});
  EXPECT_EQ(Lines({{"b/x.jpg", Reach::kName}}), Strings({"file b/x.jpg"}));
  EXPECT_EQ(Lines({{"b/d", Reach::kName}}), Strings({"folder b/d"}));
}

TEST_F(SurveyScopeTest, TheLibraryItselfCanBeMeant) {
  MakeAll({"a.jpg", "b/c.jpg"});
  EXPECT_EQ(Lines({{"", Reach::kTree}}), Strings({"folder b", "file a.jpg", "file b/c.jpg"}));
  EXPECT_EQ(Lines({{"", Reach::kFolder}}), Strings({"folder b", "file a.jpg"}));
  EXPECT_EQ(Lines({{"", Reach::kName}}), Strings());
  EXPECT_EQ(Lines({}), Strings());
}

TEST_F(SurveyScopeTest, SlashesAroundANameDoNotCount) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg"});
  EXPECT_EQ(Lines({{"/b//c.jpg/", Reach::kName}}), Strings({"file b/c.jpg"}));
  EXPECT_EQ(Lines({{"b/d/", Reach::kTree}}), Strings({"folder b/d", "file b/d/e.jpg"}));
}

TEST_F(SurveyScopeTest, DotsAreNamesThatNothingBears) {
  MakeAll({"a.jpg", "b/c.jpg"});
  EXPECT_EQ(Lines({{"b/../a.jpg", Reach::kName}, {"./a.jpg", Reach::kName}, {"..", Reach::kTree}}),
            Strings());
}

TEST_F(SurveyScopeTest, ANameWithAByteThatNoNameHasIsNotTheOneBeforeIt) {
  Make("a.jpg");
  RecordAll();
  fs::remove(root() / "a.jpg");
  EXPECT_EQ(Lines({{std::string("a.jpg\0b", 7), Reach::kName}}), Strings());
}

TEST_F(SurveyScopeTest, APathThatIsTooLongForAFileMeansNothing) {
  constexpr int kNames = 1'000'000;
  std::string path;
  for (int i = 0; i < kNames; ++i) path += "a/";
  WalkScope scope;
  scope.Add(path, Reach::kTree);
  EXPECT_TRUE(scope.Top().empty());
  scope.Add(std::string(4095, 'a'), Reach::kName);
  EXPECT_FALSE(scope.Top().empty());
}

TEST_F(SurveyScopeTest, NamesAreBytes) {
  Strings names = HostileNames();
  const Strings bytes = HostileBytes();
  names.insert(names.end(), bytes.begin(), bytes.end());
  for (const std::string& name : names) Make(name + "/" + name + ".jpg");
  RecordAll();
  for (const std::string& name : names) fs::remove(root() / name / (name + ".jpg"));
  const Differences whole = Run();
  EXPECT_GT(whole.gone_files.size(), names.size() / 2);
  for (const std::string& name : names) {
    ExpectPartOf(whole, {{name, Reach::kFolder}});
    ExpectPartOf(whole, {{name + "/" + name + ".jpg", Reach::kName}});
  }
}

TEST_F(SurveyScopeTest, ScopesThatOverlapCountOnce) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg"});
  const std::vector<Wanted> wanted{{"b/d", Reach::kTree},     {"b", Reach::kTree},
                                   {"b", Reach::kFolder},     {"b/d/e.jpg", Reach::kName},
                                   {"b/c.jpg", Reach::kName}, {"b/", Reach::kName}};
  EXPECT_EQ(Lines(wanted), Strings({"folder b", "folder b/d", "file b/c.jpg", "file b/d/e.jpg"}));
  const WalkScope scope = ScopeOf(wanted);
  EXPECT_EQ(Run(scope).counts.found, 2U);
}

TEST_F(SurveyScopeTest, WhatIsOutsideIsNotCounted) {
  MakeAll({"a.jpg", "note.txt", "b/c.jpg", "b/note.txt", "b/.hidden"});
  const WalkScope scope = ScopeOf({{"b", Reach::kTree}});
  const Differences found = Run(scope);
  EXPECT_EQ(found.counts.found, 1U);
  EXPECT_EQ(found.counts.skipped,
            (decltype(found.counts.skipped){{"hidden", 1}, {"not a photo or video", 1}}));
}

TEST_F(SurveyScopeTest, WhatIsGoneOutsideIsNotTold) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg", "f/g.jpg"});
  RecordAll();
  for (const char* path : {"a.jpg", "b/c.jpg", "b/d/e.jpg", "f"}) fs::remove_all(root() / path);
  EXPECT_EQ(Lines({{"b", Reach::kFolder}}), Strings({"gone file b/c.jpg"}));
  EXPECT_EQ(Lines({{"b/d/e.jpg", Reach::kName}}), Strings({"gone file b/d/e.jpg"}));
}

TEST_F(SurveyScopeTest, AFolderThatIsGoneIsGoneWithEverythingBelow) {
  MakeAll({"a.jpg", "b/c.jpg", "b/d/e.jpg", "b/d/deep/f.jpg"});
  RecordAll();
  fs::remove_all(root() / "b");
  const Strings all{"gone folder b",     "gone folder b/d",     "gone folder b/d/deep",
                    "gone file b/c.jpg", "gone file b/d/e.jpg", "gone file b/d/deep/f.jpg"};
  EXPECT_EQ(Lines({{"b", Reach::kName}}), all);
  EXPECT_EQ(Lines({{"b", Reach::kFolder}}), all);
  EXPECT_EQ(Lines({{"", Reach::kFolder}}), all) << "it lies directly in the library";
}

TEST_F(SurveyScopeTest, WhatLayInAFolderThatIsGoneIsGoneWithoutThatFolder) {
  MakeAll({"b/c.jpg", "b/d/e.jpg", "b/x.jpg"});
  RecordAll();
  fs::remove_all(root() / "b");
  EXPECT_EQ(Lines({{"b/c.jpg", Reach::kName}}), Strings({"gone file b/c.jpg"}));
  EXPECT_EQ(Lines({{"b/d", Reach::kTree}}), Strings({"gone folder b/d", "gone file b/d/e.jpg"}));
}

TEST_F(SurveyScopeTest, ANameThatIsAFolderNowIsBoth) {
  MakeAll({"x.jpg", "y.jpg"});
  RecordAll();
  fs::remove(root() / "x.jpg");
  Make("x.jpg/z.jpg");
  EXPECT_EQ(Lines({{"x.jpg", Reach::kName}}), Strings({"folder x.jpg", "gone file x.jpg"}));
}

TEST_F(SurveyScopeTest, BehindALinkOnTheWayNothingIsKnown) {
  MakeAll({"b/c.jpg", "b/d/e.jpg"});
  RecordAll();
  fs::rename(root() / "b", dir_.path() / "b");
  fs::create_directory_symlink(dir_.path() / "b", root() / "b");
  EXPECT_EQ(Lines({{"b/c.jpg", Reach::kName}, {"b/d", Reach::kTree}}),
            Strings({"unknown b/c.jpg", "unknown b/d"}));
}

TEST_F(SurveyScopeTest, BehindAFolderThatCannotBeReadNothingIsKnown) {
  MakeAll({"b/c.jpg", "b/d/e.jpg"});
  RecordAll();
  fs::remove_all(root() / "b/d");
  if (geteuid() == 0) {
    chmod(dir_.path().c_str(), 0755);
    ASSERT_TRUE(LookAs(kNobody));
  }
  chmod((root() / "b").c_str(), 0);
  EXPECT_EQ(Lines({{"b/c.jpg", Reach::kName}, {"b/d", Reach::kTree}}),
            Strings({"unknown b/c.jpg", "unknown b/d"}));
  const WalkScope scope = ScopeOf({{"b/d", Reach::kTree}});
  const Differences found = Run(scope);
  ASSERT_EQ(found.counts.failed.size(), 1U);
  EXPECT_EQ(found.counts.failed.front().path, root() / "b") << "which is why";
  chmod((root() / "b").c_str(), 0755);
}

TEST_F(SurveyScopeTest, NothingOutsideIsLookedAt) {
  MakeAll({"in/a.jpg", "in/b.jpg", "in/sub/c.jpg", "out/d.jpg", "e.jpg"});
  const OpenWatch outside(root() / "out");
  const OpenWatch below(root() / "in/sub");
  LookedAt().clear();
  EXPECT_EQ(Lines({{"in/a.jpg", Reach::kName}}), Strings({"file in/a.jpg"}));
  EXPECT_EQ(LookedAt(), Strings({"a.jpg"}));
  EXPECT_FALSE(outside.WasOpened());
  EXPECT_FALSE(below.WasOpened());
  LookedAt().clear();
  Run();
  EXPECT_EQ(LookedAt().size(), 5U) << "the whole scan looks at all";
  EXPECT_TRUE(outside.WasOpened());
  EXPECT_TRUE(below.WasOpened());
}

TEST_F(SurveyScopeTest, AnEmptyLibraryIsSeenWhereAllOfItsNamesAreMeant) {
  for (const Reach reach : {Reach::kTree, Reach::kFolder, Reach::kName}) {
    const WalkScope scope = ScopeOf({{"", reach}});
    EXPECT_EQ(Run(scope).root_empty, reach != Reach::kName);
  }
  Make("a.jpg");
  const WalkScope scope = ScopeOf({{"", Reach::kFolder}});
  EXPECT_FALSE(Run(scope).root_empty);
}

TEST_F(SurveyScopeTest, ManyRecordedFilesOfOneFolderAreAllCompared) {
  constexpr int kFiles = 4'100;
  std::vector<Wanted> wanted;
  for (int i = 0; i < kFiles; ++i) {
    const std::string path = "b/" + std::to_string(i) + ".jpg";
    catalogue_.Put({path, ItemKind::kPhoto, {}});
    wanted.push_back({path, Reach::kName});
  }
  fs::create_directory(root() / "b");
  const WalkScope names = ScopeOf(wanted);
  EXPECT_EQ(Run(names).gone_files.size(), std::size_t{kFiles});
  const WalkScope folder = ScopeOf({{"b", Reach::kFolder}});
  EXPECT_EQ(Run(folder).gone_files.size(), std::size_t{kFiles});
}

// An earlier catalogue had the numbers of devices in its stamps; a part says nothing of the others.
TEST_F(SurveyScopeTest, APartLeavesDeviceNumbersElsewhereToTheWholeScan) {
  MakeAll({"a.jpg", "b/c.jpg"});
  const WalkScope scope = ScopeOf({{"b", Reach::kTree}});
  Run(scope);
  EXPECT_FALSE(catalogue_.facts().Find("file_systems"));
  Run();
  EXPECT_TRUE(catalogue_.facts().Find("file_systems"));
}

class MountedScopeTest : public SurveyScopeTest {
 protected:
  void SetUp() override {
    fs::create_directory(root() / "disk");
    if (mount("none", (root() / "disk").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << "no mounts here";
    mounted_ = true;
    MakeAll({"a.jpg", "disk/b.jpg", "disk/deep/c.jpg", "disk/deep/d.jpg"});
    RecordAll();
  }
  void TearDown() override { Unmount(); }
  void Unmount() {
    if (mounted_) umount((root() / "disk").c_str());
    mounted_ = false;
  }
  const std::vector<std::vector<Wanted>> scopes_{
      {{"disk", Reach::kName}},       {{"disk", Reach::kTree}}, {{"disk/deep", Reach::kTree}},
      {{"disk/b.jpg", Reach::kName}}, {{"", Reach::kFolder}},   {{"disk/deep/c.jpg", Reach::kName}}};

 private:
  bool mounted_ = false;
};

TEST_F(MountedScopeTest, AFileSystemOnTheWayIsKnown) {
  const Differences whole = Run();
  ASSERT_EQ(whole.mounts.size(), 1U);
  for (const std::vector<Wanted>& wanted : scopes_) {
    const WalkScope scope = ScopeOf(wanted);
    const Differences part = Run(scope);
    EXPECT_EQ(part.mounts, whole.mounts) << wanted.front().path;
    EXPECT_TRUE(part.files.empty()) << wanted.front().path;
    EXPECT_TRUE(part.folders.empty()) << wanted.front().path;
  }
  const WalkScope beside = ScopeOf({{"a.jpg", Reach::kName}});
  EXPECT_TRUE(Run(beside).mounts.empty());
}

TEST_F(MountedScopeTest, WhatWentFromAFileSystemThatIsThereIsNotElsewhere) {
  fs::remove_all(root() / "disk/deep");
  fs::remove(root() / "disk/b.jpg");
  const Differences whole = Run();
  ASSERT_EQ(whole.gone_files.size(), 3U);
  EXPECT_FALSE(whole.gone_files.front().elsewhere);
  for (const std::vector<Wanted>& wanted : scopes_) ExpectPartOf(whole, wanted);
}

TEST_F(MountedScopeTest, WhatWentWithItsFileSystemIsElsewhere) {
  Unmount();
  const Differences whole = Run();
  ASSERT_EQ(whole.gone_files.size(), 3U);
  EXPECT_TRUE(whole.gone_files.front().elsewhere);
  for (const std::vector<Wanted>& wanted : scopes_) ExpectPartOf(whole, wanted);
}

class RandomScopeTest : public SurveyScopeTest {
 protected:
  RandomScopeTest() {
    const char* given = std::getenv("LUMIVAULT_SEED");
    seed_ =
        given != nullptr ? static_cast<unsigned>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    std::printf("LUMIVAULT_SEED=%u\n", seed_);
  }

  // Paths that are there, or were.
  Strings Known() {
    Strings paths{""};
    for (const auto& entry : fs::recursive_directory_iterator(root()))
      paths.push_back(fs::relative(entry.path(), root()));
    for (const CatalogueEntry& folder : catalogue_.Folders()) {
      paths.push_back(folder.path);
      for (const CatalogueEntry& file : catalogue_.Files(folder.path, "")) paths.push_back(file.path);
    }
    return paths;
  }
  static std::vector<Wanted> Any(FolderModel& model, const Strings& known) {
    std::vector<Wanted> wanted;
    for (std::size_t i = model.Random(4); i < 4; ++i) {
      std::string path = known[model.Random(known.size())];
      if (model.Random(8) == 0) path += path.empty() ? "nowhere" : "/nowhere";
      wanted.push_back({path, static_cast<Reach>(1 + model.Random(3))});
    }
    return wanted;
  }
  // A folder that has become a link to it while somebody looks.
  void HideOne(FolderModel& model, const Strings& known) {
    const std::string path = known[model.Random(known.size())];
    if (path.empty() || !fs::is_directory(fs::symlink_status(root() / path))) return;
    hidden_ = root() / path;
    fs::rename(hidden_, dir_.path() / "hidden");
    fs::create_directory_symlink(dir_.path() / "hidden", hidden_);
  }
  void ShowAgain() {
    if (hidden_.empty()) return;
    fs::remove(hidden_);
    fs::rename(dir_.path() / "hidden", hidden_);
    hidden_.clear();
  }

  unsigned seed_ = 0;
  fs::path hidden_;
};

TEST_F(RandomScopeTest, APartOfRandomChangesIsThatPartOfAllOfThem) {
  FolderModel model(root(), seed_);
  for (int tree = 0; tree < kRandomTrees; ++tree) {
    RecordAll();
    for (std::size_t i = model.Random(kLongestBurst); i < kLongestBurst; ++i) {
      model.Step();
      model.Seen();
    }
    const Strings known = Known();
    if (model.Random(2) == 0) HideOne(model, known);
    const Differences whole = Run();
    for (int i = 0; i < kRandomScopes && !HasFailure(); ++i) {
      const std::vector<Wanted> wanted = Any(model, known);
      std::string text;
      for (const Wanted& one : wanted)
        text += one.path + " (" + std::to_string(static_cast<int>(one.reach)) + ") ";
      SCOPED_TRACE(text);
      ExpectPartOf(whole, wanted);
    }
    ShowAgain();
  }
}

}  // namespace

// Stands before the system's: the names that are looked at in folders are noted.
extern "C" int statx(int folder, const char* __restrict name, int flags, unsigned mask,
                     struct statx* __restrict status) noexcept {
  if (*name != '\0' && *name != '/') LookedAt().emplace_back(name);
  return static_cast<int>(syscall(SYS_statx, folder, name, flags, mask, status));
}
